#include "volume3d/ray_caster.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

namespace volume3d {
namespace {

// Light: ambient, diffuse and specular weights, and the specular exponent.
constexpr float kAmbient = 0.15f;
constexpr float kDiffuse = 0.7f;
constexpr float kSpecular = 0.15f;
constexpr int kSpecularPower = 20;
// Halvings of the step between the last sample outside the range and the first one within it.
constexpr int kRefinements = 5;

struct Point {
  float x, y, z;
};

// The volume as the inner loop reads it.
class Sampler {
 public:
  explicit Sampler(const Volume& volume)
      : volume_(volume), samples_(volume.Samples()), nx_(volume.Nx()), ny_(volume.Ny()),
        plane_(static_cast<std::ptrdiff_t>(volume.Nx()) * volume.Ny()),
        maxX_(static_cast<float>(volume.Nx() - 1)), maxY_(static_cast<float>(volume.Ny() - 1)),
        maxZ_(static_cast<float>(volume.Nz() - 1)) {}

  // Trilinear interpolation at a grid position, which is held to the grid.
  float At(Point p) const {
    const float x = std::clamp(p.x, 0.0f, maxX_);
    const float y = std::clamp(p.y, 0.0f, maxY_);
    const float z = std::clamp(p.z, 0.0f, maxZ_);
    // The last cell is read from its lower corner, so that the corner after it is still in the grid.
    const int i = std::min(static_cast<int>(x), nx_ - 2);
    const int j = std::min(static_cast<int>(y), ny_ - 2);
    const int k = std::min(static_cast<int>(z), static_cast<int>(maxZ_) - 1);
    const float fx = x - static_cast<float>(i);
    const float fy = y - static_cast<float>(j);
    const float fz = z - static_cast<float>(k);
    const std::int16_t* s = samples_ + i + static_cast<std::ptrdiff_t>(j) * nx_ + k * plane_;
    const float c00 = s[0] + fx * static_cast<float>(s[1] - s[0]);
    const float c10 = s[nx_] + fx * static_cast<float>(s[nx_ + 1] - s[nx_]);
    const std::int16_t* t = s + plane_;
    const float c01 = t[0] + fx * static_cast<float>(t[1] - t[0]);
    const float c11 = t[nx_] + fx * static_cast<float>(t[nx_ + 1] - t[nx_]);
    const float c0 = c00 + fy * (c10 - c00);
    const float c1 = c01 + fy * (c11 - c01);
    return c0 + fz * (c1 - c0);
  }

  // The brick a grid position inside the grid falls in.
  const Volume::Range& BrickAt(Point p, int& bx, int& by, int& bz) const {
    bx = static_cast<int>(std::max(p.x, 0.0f)) >> Volume::kBrickShift;
    by = static_cast<int>(std::max(p.y, 0.0f)) >> Volume::kBrickShift;
    bz = static_cast<int>(std::max(p.z, 0.0f)) >> Volume::kBrickShift;
    bx = std::min(bx, volume_.BricksX() - 1);
    by = std::min(by, volume_.BricksY() - 1);
    bz = std::min(bz, ((volume_.Nz() - 1) >> Volume::kBrickShift));
    return volume_.Brick(bx, by, bz);
  }

  // The gradient at a position by central differences one sample apart, in patient coordinates.
  Vec3 Gradient(Point p) const {
    const Vec3 grid{(At({p.x + 1, p.y, p.z}) - At({p.x - 1, p.y, p.z})) / 2.0,
                    (At({p.x, p.y + 1, p.z}) - At({p.x, p.y - 1, p.z})) / 2.0,
                    (At({p.x, p.y, p.z + 1}) - At({p.x, p.y, p.z - 1})) / 2.0};
    return volume_.GradientToPatient(grid);
  }

 private:
  const Volume& volume_;
  const std::int16_t* samples_;
  int nx_;
  int ny_;
  std::ptrdiff_t plane_;
  float maxX_;
  float maxY_;
  float maxZ_;
};

// One ray in grid coordinates: position origin + step * t at sample t, for t from first to last.
struct Ray {
  Point origin;
  Point step;
  long first = 0;
  long last = -1;

  Point At(double t) const {
    const auto f = static_cast<float>(t);
    return {origin.x + step.x * f, origin.y + step.y * f, origin.z + step.z * f};
  }
  // The first sample past the brick (bx, by, bz) that the ray is in at sample t.
  long PastBrick(long t, int bx, int by, int bz) const {
    double exit = static_cast<double>(last) + 1;
    const auto leave = [&](float o, float s, int b) {
      if (s > 0) exit = std::min(exit, (static_cast<double>((b + 1) << Volume::kBrickShift) - o) / s);
      if (s < 0) exit = std::min(exit, (static_cast<double>(b << Volume::kBrickShift) - o) / s);
    };
    leave(origin.x, step.x, bx);
    leave(origin.y, step.y, by);
    leave(origin.z, step.z, bz);
    return std::max(t + 1, static_cast<long>(std::ceil(exit)));
  }
};

// Clips the samples 0 .. count of a ray to the grid [0, n - 1] on each axis.
void Clip(Ray& ray, long count, const Volume& volume) {
  double enter = 0.0;
  double exit = static_cast<double>(count);
  const auto clip = [&](float o, float s, int n) {
    const double top = n - 1;
    if (s == 0) {
      if (o < 0 || o > top) exit = -1;
      return;
    }
    double a = (0 - o) / s;
    double b = (top - o) / s;
    if (a > b) std::swap(a, b);
    enter = std::max(enter, a);
    exit = std::min(exit, b);
  };
  clip(ray.origin.x, ray.step.x, volume.Nx());
  clip(ray.origin.y, ray.step.y, volume.Ny());
  clip(ray.origin.z, ray.step.z, volume.Nz());
  ray.first = static_cast<long>(std::ceil(enter));
  ray.last = exit < enter ? ray.first - 1 : static_cast<long>(std::floor(exit));
}

// Walks the ray's samples, leaping over each brick `useless` refuses; `visit` takes each other sample's
// position and says whether the ray goes on. A brick is judged once, where the ray enters it: the
// samples up to its far side are all visited (visiting one more than needed changes no pixel, leaping
// over one would).
template <class Useless, class Visit>
void March(const Sampler& sampler, const Ray& ray, Useless useless, Visit visit) {
  int bx = 0;
  int by = 0;
  int bz = 0;
  long t = ray.first;
  while (t <= ray.last) {
    const Point p = ray.At(static_cast<double>(t));
    const bool leap = useless(sampler.BrickAt(p, bx, by, bz));
    const long end = std::min(ray.PastBrick(t, bx, by, bz), ray.last + 1);
    if (leap) {
      t = end;
      continue;
    }
    for (; t < end; ++t)
      if (!visit(ray.At(static_cast<double>(t)), t)) return;
  }
}

float Projection(const Sampler& sampler, const Ray& ray, const RenderSettings& settings, float ceiling) {
  const auto low = static_cast<float>(settings.low);
  const auto high = static_cast<float>(settings.high);
  float best = kNothing;
  const auto useless = [&](const Volume::Range& brick) {
    return brick.high < settings.low || brick.low > settings.high ||
           static_cast<float>(std::min<int>(brick.high, settings.high)) <= best;
  };
  March(sampler, ray, useless, [&](Point p, long) {
    const float value = sampler.At(p);
    if (value >= low && value <= high && value > best) best = value;
    return best < ceiling;  // nothing further along can be brighter
  });
  return best;
}

float Shade(const Sampler& sampler, Point p, const Vec3& into) {
  const Vec3 normal = Normalized(sampler.Gradient(p));
  // A flat field (a cut through the volume's edge) has no gradient: it faces the eye.
  const double cosine = Length(normal) > 0 ? std::abs(Dot(normal, into)) : 1.0;
  const auto c = static_cast<float>(cosine);
  return std::min(1.0f, kAmbient + kDiffuse * c + kSpecular * std::pow(c, static_cast<float>(kSpecularPower)));
}

float Surface(const Sampler& sampler, const Ray& ray, const RenderSettings& settings, const Vec3& into) {
  const auto low = static_cast<float>(settings.low);
  const auto high = static_cast<float>(settings.high);
  const auto inside = [&](float value) { return value >= low && value <= high; };
  const auto useless = [&](const Volume::Range& brick) {
    return brick.high < settings.low || brick.low > settings.high;
  };
  float shade = kNothing;
  March(sampler, ray, useless, [&](Point p, long t) {
    if (!inside(sampler.At(p))) return true;
    // The crossing lies after the sample before, which was outside the range or in a brick leapt over.
    double outside = std::max(static_cast<double>(t) - 1, static_cast<double>(ray.first));
    double within = static_cast<double>(t);
    for (int i = 0; i < kRefinements && within > outside; ++i) {
      const double middle = (outside + within) / 2;
      (inside(sampler.At(ray.At(middle))) ? within : outside) = middle;
    }
    shade = Shade(sampler, ray.At(within), into);
    return false;
  });
  return shade;
}

}  // namespace

RayPicture CastRays(const Volume& volume, const ViewDirections& view, int width, int height,
                    const RenderSettings& settings) {
  RayPicture picture;
  picture.width = std::max(width, 0);
  picture.height = std::max(height, 0);
  picture.values.assign(static_cast<std::size_t>(picture.width) * picture.height, kNothing);
  if (picture.values.empty() || volume.Empty() || settings.low > settings.high || !(settings.step > 0)) return picture;

  const Sampler sampler(volume);
  const double diagonal = volume.Diagonal();
  const double pixel = diagonal / std::min(picture.width, picture.height);
  const long count = static_cast<long>(std::floor(diagonal / settings.step));
  const Vec3 start = volume.Centre() - view.into * (diagonal / 2);
  const Vec3 gridStep = volume.DirectionToGrid(view.into * settings.step);
  const Point step{static_cast<float>(gridStep.x), static_cast<float>(gridStep.y), static_cast<float>(gridStep.z)};
  // The brightest sample the range lets through: a projection that reaches it is done.
  const auto ceiling = static_cast<float>(std::min<int>(volume.Whole().high, settings.high));

  std::atomic<int> nextRow{0};
  const auto castRows = [&] {
    for (int y = nextRow++; y < picture.height; y = nextRow++) {
      float* row = picture.values.data() + static_cast<std::size_t>(y) * picture.width;
      const double up = (picture.height / 2.0 - y - 0.5) * pixel;
      for (int x = 0; x < picture.width; ++x) {
        const double right = (x + 0.5 - picture.width / 2.0) * pixel;
        const Vec3 origin = volume.ToGrid(start + view.right * right + view.up * up);
        Ray ray{{static_cast<float>(origin.x), static_cast<float>(origin.y), static_cast<float>(origin.z)}, step};
        Clip(ray, count, volume);
        row[x] = settings.rendering == Rendering::Mip ? Projection(sampler, ray, settings, ceiling)
                                                      : Surface(sampler, ray, settings, view.into);
      }
    }
  };
  std::vector<std::jthread> helpers;
  for (int i = 1; i < std::max(settings.threads, 1); ++i) helpers.emplace_back(castRows);
  castRows();
  helpers.clear();  // joins them before the picture leaves
  return picture;
}

std::vector<std::uint8_t> ToRgb(const RayPicture& picture, const RenderSettings& settings, std::uint32_t colour) {
  std::vector<std::uint8_t> rgb(picture.values.size() * 3, 0);
  const float red = static_cast<float>((colour >> 16) & 0xFF);
  const float green = static_cast<float>((colour >> 8) & 0xFF);
  const float blue = static_cast<float>(colour & 0xFF);
  const float span = static_cast<float>(std::max(settings.high - settings.low, 1));
  for (std::size_t i = 0; i < picture.values.size(); ++i) {
    const float value = picture.values[i];
    if (value == kNothing) continue;
    std::uint8_t* pixel = rgb.data() + 3 * i;
    if (settings.rendering == Rendering::Surface) {
      pixel[0] = static_cast<std::uint8_t>(red * value + 0.5f);
      pixel[1] = static_cast<std::uint8_t>(green * value + 0.5f);
      pixel[2] = static_cast<std::uint8_t>(blue * value + 0.5f);
    } else {
      const float grey = std::clamp((value - static_cast<float>(settings.low)) / span, 0.0f, 1.0f) * 255.0f;
      pixel[0] = pixel[1] = pixel[2] = static_cast<std::uint8_t>(grey + 0.5f);
    }
  }
  return rgb;
}

}  // namespace volume3d
