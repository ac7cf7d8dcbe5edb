// The direction a volume is looked at from: three orthonormal patient directions, the screen's right,
// its up and the direction of the rays into the screen. The eye looks at the volume's centre from
// far away (a parallel projection), so only the directions matter.
#pragma once

#include "volume3d/volume.h"

namespace volume3d {

struct ViewDirections {
  Vec3 right;
  Vec3 up;
  Vec3 into;
};

// The patient seen from the front, head up: rays run from anterior to posterior, the patient's left on
// the screen's right, as radiologists look at a patient.
ViewDirections FrontView();

// The view after the eye has moved `azimuth` degrees about the screen's up direction (positive: to the
// right) and then `elevation` degrees about its right direction (positive: up), around the volume.
ViewDirections Turned(const ViewDirections& view, double azimuth, double elevation);

}  // namespace volume3d
