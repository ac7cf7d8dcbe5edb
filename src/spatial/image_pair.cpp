#include "spatial/image_pair.h"

#include <algorithm>
#include <string>

#include "foundation/text_utils.h"

namespace {

std::u16string TrimmedFrameOfReference(ImageInfoStrategy& image) {
  std::u16string uid(image.GetFrameOfReferenceUid().View());
  Trim(uid);
  return uid;
}

char16_t UpperAscii(char16_t c) { return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - u'a' + u'A') : c; }

bool ReadSpacing(ImageInfoStrategy& image, ImageGeometry& geometry) {
  return image.GetPixelSpacing(&geometry.firstSpacing, &geometry.secondSpacing);
}

bool ReadPosition(ImageInfoStrategy& image, ImageGeometry& geometry) {
  Point3D& p = geometry.position;
  return image.GetImagePosition(&p.x, &p.y, &p.z);
}

bool ReadOrientation(ImageInfoStrategy& image, ImageGeometry& geometry) {
  Point3D& u = geometry.firstDirection;
  Point3D& v = geometry.secondDirection;
  return image.GetImageOrientation(&u.x, &u.y, &u.z, &v.x, &v.y, &v.z);
}

}  // namespace

bool SameFrameOfReference(ImageInfoStrategy& a, ImageInfoStrategy& b) {
  const std::u16string first = TrimmedFrameOfReference(a);
  const std::u16string second = TrimmedFrameOfReference(b);
  if (first.empty() || second.empty()) return false;
  return std::equal(first.begin(), first.end(), second.begin(), second.end(),
                    [](char16_t x, char16_t y) { return UpperAscii(x) == UpperAscii(y); });
}

bool ReadGeometries(ImageInfoStrategy& a, ImageInfoStrategy& b, ImageGeometry& first, ImageGeometry& second) {
  if (!ReadSpacing(a, first) || !ReadSpacing(b, second) || !ReadPosition(a, first) || !ReadPosition(b, second) ||
      !ReadOrientation(a, first) || !ReadOrientation(b, second))
    return false;
  first.rows = a.GetRows();
  first.columns = a.GetColumns();
  second.rows = b.GetRows();
  second.columns = b.GetColumns();
  return true;
}
