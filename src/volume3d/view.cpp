#include "volume3d/view.h"

#include <cmath>
#include <numbers>

namespace volume3d {

// Patient coordinates: x to the patient's left, y to the back, z to the head.
ViewDirections FrontView() { return {{1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}, {0.0, 1.0, 0.0}}; }

ViewDirections Turned(const ViewDirections& view, double azimuth, double elevation) {
  const double a = azimuth * std::numbers::pi / 180.0;
  const double e = elevation * std::numbers::pi / 180.0;
  // The eye stands at -into from the centre. Moving it to the right turns -into towards right.
  ViewDirections turned = view;
  turned.into = view.into * std::cos(a) - view.right * std::sin(a);
  turned.right = view.right * std::cos(a) + view.into * std::sin(a);
  // Moving it up turns -into towards up.
  const ViewDirections across = turned;
  turned.into = across.into * std::cos(e) - across.up * std::sin(e);
  turned.up = across.up * std::cos(e) + across.into * std::sin(e);
  // Repeated turns during a drag would let rounding bend the directions apart.
  turned.into = Normalized(turned.into);
  turned.right = Normalized(Cross(turned.into, turned.up));
  turned.up = Cross(turned.right, turned.into);
  return turned;
}

}  // namespace volume3d
