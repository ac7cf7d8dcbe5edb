// One volume of a series: 16-bit samples on a regular grid in patient space, and the brick summary
// that lets a ray leap over what it would not see.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace volume3d {

struct Vec3 {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
};
constexpr Vec3 operator+(Vec3 a, Vec3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
constexpr Vec3 operator-(Vec3 a, Vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
constexpr Vec3 operator*(Vec3 a, double s) { return {a.x * s, a.y * s, a.z * s}; }
constexpr double Dot(Vec3 a, Vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
constexpr Vec3 Cross(Vec3 a, Vec3 b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
double Length(Vec3 a);
// `a` scaled to length 1; the zero vector stays zero.
Vec3 Normalized(Vec3 a);

// Samples lie x fastest (along a slice's rows), then y (down its columns), then z (slice by slice).
// Sample (i, j, k) stands at origin + axes[0] * i * spacing.x + axes[1] * j * spacing.y +
// axes[2] * k * spacing.z in patient coordinates (mm).
class Volume {
 public:
  // Brick edge in samples. A brick's summary covers its samples and the next one on each axis, which a
  // trilinear sample inside the brick also reads.
  static constexpr int kBrick = 8;
  static constexpr int kBrickShift = 3;

  struct Range {
    std::int16_t low;
    std::int16_t high;
  };

  Volume() = default;
  // A volume of nx x ny x nz samples, all 0; each size must be at least 2. Throws std::bad_alloc.
  Volume(int nx, int ny, int nz, Vec3 spacing, Vec3 origin, std::array<Vec3, 3> axes);

  int Nx() const { return nx_; }
  int Ny() const { return ny_; }
  int Nz() const { return nz_; }
  Vec3 Spacing() const { return spacing_; }
  Vec3 Origin() const { return origin_; }
  const std::array<Vec3, 3>& Axes() const { return axes_; }
  bool Empty() const { return samples_.empty(); }

  std::int16_t* Slice(int k) { return samples_.data() + static_cast<std::size_t>(k) * nx_ * ny_; }
  const std::int16_t* Samples() const { return samples_.data(); }
  std::size_t Bytes() const { return samples_.size() * sizeof(std::int16_t); }

  // Summarises the bricks; call once the samples are in, before any ray is cast.
  void SummariseBricks();
  int BricksX() const { return bricksX_; }
  int BricksY() const { return bricksY_; }
  const Range& Brick(int bx, int by, int bz) const {
    return bricks_[(static_cast<std::size_t>(bz) * bricksY_ + by) * bricksX_ + bx];
  }
  // The range of every sample.
  Range Whole() const { return whole_; }

  // The centre of the grid and its diagonal, in patient coordinates.
  Vec3 Centre() const;
  double Diagonal() const;
  // Patient coordinates into grid coordinates (sample units), for a point and for a direction.
  Vec3 ToGrid(Vec3 patient) const;
  Vec3 DirectionToGrid(Vec3 direction) const;
  // A gradient in grid coordinates (per sample) into patient coordinates (per mm).
  Vec3 GradientToPatient(Vec3 gradient) const;

 private:
  int nx_ = 0;
  int ny_ = 0;
  int nz_ = 0;
  Vec3 spacing_;
  Vec3 origin_;
  std::array<Vec3, 3> axes_{};
  std::vector<std::int16_t> samples_;
  int bricksX_ = 0;
  int bricksY_ = 0;
  std::vector<Range> bricks_;
  Range whole_{0, 0};
};

}  // namespace volume3d
