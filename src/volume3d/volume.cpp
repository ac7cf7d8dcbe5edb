#include "volume3d/volume.h"

#include <algorithm>
#include <cmath>

namespace volume3d {

double Length(Vec3 a) { return std::sqrt(Dot(a, a)); }

Vec3 Normalized(Vec3 a) {
  const double length = Length(a);
  return length > 0.0 ? a * (1.0 / length) : a;
}

Volume::Volume(int nx, int ny, int nz, Vec3 spacing, Vec3 origin, std::array<Vec3, 3> axes)
    : nx_(nx), ny_(ny), nz_(nz), spacing_(spacing), origin_(origin), axes_(axes),
      samples_(static_cast<std::size_t>(nx) * ny * nz, 0) {}

void Volume::SummariseBricks() {
  // A position p in [0, n - 1] falls in brick p >> kBrickShift, the last position included.
  bricksX_ = ((nx_ - 1) >> kBrickShift) + 1;
  bricksY_ = ((ny_ - 1) >> kBrickShift) + 1;
  const int bricksZ = ((nz_ - 1) >> kBrickShift) + 1;
  bricks_.assign(static_cast<std::size_t>(bricksX_) * bricksY_ * bricksZ, Range{INT16_MAX, INT16_MIN});
  // Each sample widens the range of every brick that reads it: its own and, on a brick's first row,
  // plane or column, the brick before.
  for (int k = 0; k < nz_; ++k) {
    const int bz1 = std::min(k >> kBrickShift, bricksZ - 1);
    const int bz0 = (k & (kBrick - 1)) == 0 && k > 0 ? bz1 - 1 : bz1;
    for (int j = 0; j < ny_; ++j) {
      const int by1 = std::min(j >> kBrickShift, bricksY_ - 1);
      const int by0 = (j & (kBrick - 1)) == 0 && j > 0 ? by1 - 1 : by1;
      const std::int16_t* row = samples_.data() + (static_cast<std::size_t>(k) * ny_ + j) * nx_;
      for (int bx = 0; bx < bricksX_; ++bx) {
        const int first = bx << kBrickShift;
        const int last = std::min(first + kBrick, nx_ - 1);
        const auto [low, high] = std::minmax_element(row + first, row + last + 1);
        for (int bz = bz0; bz <= bz1; ++bz)
          for (int by = by0; by <= by1; ++by) {
            Range& range = bricks_[(static_cast<std::size_t>(bz) * bricksY_ + by) * bricksX_ + bx];
            range.low = std::min(range.low, *low);
            range.high = std::max(range.high, *high);
          }
      }
    }
  }
  const auto [low, high] = std::minmax_element(samples_.begin(), samples_.end());
  whole_ = Range{*low, *high};
}

Vec3 Volume::Centre() const {
  return origin_ + axes_[0] * (spacing_.x * (nx_ - 1) / 2) + axes_[1] * (spacing_.y * (ny_ - 1) / 2) +
         axes_[2] * (spacing_.z * (nz_ - 1) / 2);
}

double Volume::Diagonal() const {
  return Length(Vec3{spacing_.x * (nx_ - 1), spacing_.y * (ny_ - 1), spacing_.z * (nz_ - 1)});
}

Vec3 Volume::ToGrid(Vec3 patient) const { return DirectionToGrid(patient - origin_); }

Vec3 Volume::DirectionToGrid(Vec3 direction) const {
  return {Dot(axes_[0], direction) / spacing_.x, Dot(axes_[1], direction) / spacing_.y,
          Dot(axes_[2], direction) / spacing_.z};
}

Vec3 Volume::GradientToPatient(Vec3 gradient) const {
  return axes_[0] * (gradient.x / spacing_.x) + axes_[1] * (gradient.y / spacing_.y) +
         axes_[2] * (gradient.z / spacing_.z);
}

}  // namespace volume3d
