// The ray caster against what numpy works out from the shapes of a synthetic volume: a sphere and a
// box, rendered from four directions (scripts/make_volume_references.py, whose docstring describes the
// volume built here, the views and the files in tests/data/volume3d).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "volume3d/ray_caster.h"
#include "volume3d/view.h"
#include "volume3d/volume.h"

namespace volume3d {
namespace {

constexpr int kSize = 96;
// A step well below the grid's spacing, so that a ray does not pass over the inside of a shape.
constexpr double kStep = 0.25;
// How far a sampled shade may stray from the true surface's, in a pixel and on average: the normal comes
// from differences over one cell of a sampled ramp, which tilts it by a few degrees.
constexpr float kShadeTolerance = 0.12f;
constexpr float kMeanShadeTolerance = 0.03f;

// A shape's value near its outline, by the signed distance to it (negative inside): linear across 2 mm.
double Ramp(double distance, double inside) {
  return -1000 + (inside + 1000) * std::clamp(0.5 - distance / 2.0, 0.0, 1.0);
}

Volume SphereAndBox() {
  Volume volume(40, 36, 30, {1.0, 1.2, 1.5}, {0, 0, 0}, {Vec3{1, 0, 0}, Vec3{0, 1, 0}, Vec3{0, 0, 1}});
  const Vec3 low{24, 6, 4};
  const Vec3 high{36, 32, 18};
  for (int k = 0; k < volume.Nz(); ++k) {
    std::int16_t* slice = volume.Slice(k);
    for (int j = 0; j < volume.Ny(); ++j)
      for (int i = 0; i < volume.Nx(); ++i) {
        const Vec3 p{i * 1.0, j * 1.2, k * 1.5};
        const double sphere = Length(p - Vec3{13, 20, 24}) - 10.0;
        const Vec3 below = low - p;
        const Vec3 above = p - high;
        const Vec3 out{std::max({below.x, above.x, 0.0}), std::max({below.y, above.y, 0.0}),
                       std::max({below.z, above.z, 0.0})};
        const double inside = std::max({below.x, above.x, below.y, above.y, below.z, above.z});
        const double box = inside > 0 ? Length(out) : inside;
        slice[j * volume.Nx() + i] = static_cast<std::int16_t>(std::lround(std::max(Ramp(sphere, 1000), Ramp(box, 500))));
      }
  }
  volume.SummariseBricks();
  return volume;
}

std::vector<float> Reference(const std::string& name) {
  std::ifstream file(std::string(ONDREL_TEST_DATA_DIR) + "/volume3d/" + name + ".f32", std::ios::binary);
  std::vector<float> values(kSize * kSize);
  file.read(reinterpret_cast<char*>(values.data()), static_cast<std::streamsize>(values.size() * sizeof(float)));
  EXPECT_TRUE(file) << name;
  return values;
}

struct Case {
  const char* what;
  double azimuth;
  double elevation;
};

constexpr Case kViews[] = {
    {"from the front", 0, 0},
    {"turned right and up", 30, 20},
    {"turned far left and high", -75, 40},
    {"from the side, below", 90, -30},
};

std::string Name(const char* kind, const Case& view) {
  return std::string(kind) + "_az" + std::to_string(static_cast<int>(view.azimuth)) + "_el" +
         std::to_string(static_cast<int>(view.elevation));
}

RayPicture Render(const Volume& volume, const Case& view, Rendering rendering, int low) {
  RenderSettings settings;
  settings.rendering = rendering;
  settings.low = low;
  settings.high = 2000;
  settings.step = kStep;
  return CastRays(volume, Turned(FrontView(), view.azimuth, view.elevation), kSize, kSize, settings);
}

TEST(RayCaster, MaximumIntensityProjectionIsTheBrightestShapeOnEachRay) {
  const Volume volume = SphereAndBox();
  for (const Case& view : kViews) {
    const std::vector<float> expected = Reference(Name("mip", view));
    const RayPicture picture = Render(volume, view, Rendering::Mip, 100);
    int checked = 0;
    int wrong = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
      if (std::isnan(expected[i])) continue;
      ++checked;
      if (picture.values[i] != expected[i]) ++wrong;
    }
    EXPECT_EQ(wrong, 0) << view.what;
    EXPECT_GT(checked, kSize * kSize * 3 / 4) << view.what;  // the outlines' bands leave most pixels
  }
}

// The outline of what the surface shows, and its shade where the shape's normal is known.
void CheckSurface(int low) {
  const Volume volume = SphereAndBox();
  for (const Case& view : kViews) {
    const std::string name = Name(("surface" + std::to_string(low)).c_str(), view);
    const std::vector<float> expected = Reference(name);
    const RayPicture picture = Render(volume, view, Rendering::Surface, low);
    int outlineWrong = 0;
    int shaded = 0;
    double shadeError = 0.0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const float want = expected[i];
      const float got = picture.values[i];
      if (std::isnan(want)) continue;
      if ((want == kNothing) != (got == kNothing)) {
        ++outlineWrong;
        continue;
      }
      if (want == kNothing || want > 1.0f) continue;
      ++shaded;
      shadeError += std::abs(got - want);
      EXPECT_NEAR(got, want, kShadeTolerance) << name << " pixel " << i % kSize << "," << i / kSize;
    }
    EXPECT_EQ(outlineWrong, 0) << name;
    if (shaded > 0) {
      EXPECT_LT(shadeError / shaded, kMeanShadeTolerance) << name;
    }
  }
}

TEST(RayCaster, SurfaceShowsBothShapesWhenTheRangeTakesBoth) { CheckSurface(300); }

TEST(RayCaster, SurfaceLeavesOutTheBoxBelowTheRange) { CheckSurface(700); }

// A plane of 1000 one sample thick on a brick's first column: the rays on either side of it read it,
// so the projection follows the interpolation across it, 1000 falling to -1000 one sample away.
TEST(RayCaster, RaysSeeASampleFromTheBricksOnBothSidesOfIt) {
  constexpr int kPlane = Volume::kBrick;
  constexpr int kSide = 17;
  Volume volume(kSide, kSide, kSide, {1, 1, 1}, {0, 0, 0}, {Vec3{1, 0, 0}, Vec3{0, 1, 0}, Vec3{0, 0, 1}});
  for (int k = 0; k < kSide; ++k)
    for (int j = 0; j < kSide; ++j)
      for (int i = 0; i < kSide; ++i) volume.Slice(k)[j * kSide + i] = i == kPlane ? 1000 : -1000;
  volume.SummariseBricks();
  constexpr int kWidth = 160;
  const RayPicture picture = CastRays(volume, FrontView(), kWidth, kWidth, {Rendering::Mip, -990, 2000, 0.5, 2});
  const double pixel = volume.Diagonal() / kWidth;
  const float* middle = picture.values.data() + kWidth * (kWidth / 2);
  int near = 0;
  for (int x = 0; x < kWidth; ++x) {
    const double distance = std::abs(volume.Centre().x + (x + 0.5 - kWidth / 2.0) * pixel - kPlane);
    if (distance >= 0.99) continue;
    ++near;
    EXPECT_NEAR(middle[x], -1000 + 2000 * (1 - distance), 0.5) << "column " << x;
  }
  EXPECT_GT(near, 8);
}

TEST(RayCaster, OneThreadAndTwoDrawTheSamePicture) {
  const Volume volume = SphereAndBox();
  RenderSettings settings{Rendering::Surface, 300, 2000, 0.5, 1};
  const ViewDirections view = Turned(FrontView(), 30, 20);
  const RayPicture one = CastRays(volume, view, 40, 30, settings);
  settings.threads = 2;
  EXPECT_EQ(CastRays(volume, view, 40, 30, settings).values, one.values);
}

TEST(RayCaster, ColoursTheSurfaceAndGreysTheProjection) {
  RayPicture picture{3, 1, {kNothing, 0.5f, 1.0f}};
  EXPECT_EQ(ToRgb(picture, {Rendering::Surface, 0, 100}, 0xFF80FF),
            (std::vector<std::uint8_t>{0, 0, 0, 128, 64, 128, 255, 128, 255}));
  picture.values = {kNothing, 25.0f, 150.0f};
  EXPECT_EQ(ToRgb(picture, {Rendering::Mip, 0, 100}, 0xFF80FF),
            (std::vector<std::uint8_t>{0, 0, 0, 64, 64, 64, 255, 255, 255}));
}

}  // namespace
}  // namespace volume3d
