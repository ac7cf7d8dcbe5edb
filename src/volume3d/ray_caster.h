// Ray casting through a volume, one ray a pixel along the view's direction (a parallel projection),
// samples taken at a fixed distance apart by trilinear interpolation.
//
// Two renderings. The maximum intensity projection keeps the largest sample within the visible range.
// The surface stops at the first sample within it, refines the crossing between that sample and the
// one before, and shades it by the gradient there under one light at the eye: ambient 0.15, diffuse
// 0.7 and specular 0.15 (exponent 20) of the cosine between the gradient and the ray.
//
// Rays leap over bricks of the volume whose samples can't matter (outside the range, or for the
// projection no brighter than what the ray holds), and stop as soon as nothing further can change
// their pixel. Rows are shared out among threads.
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "volume3d/view.h"
#include "volume3d/volume.h"

namespace volume3d {

enum class Rendering { Surface, Mip };

struct RenderSettings {
  Rendering rendering = Rendering::Surface;
  int low = 0;  // the visible range, low <= high, in sample values
  int high = 0;
  double step = 1.0;  // mm between the samples of a ray, above 0
  int threads = 2;
};

// What a pixel's ray saw: the largest sample within the range (projection) or the shade in [0, 1]
// (surface); kNothing where it met no sample within the range.
inline constexpr float kNothing = -std::numeric_limits<float>::infinity();

struct RayPicture {
  int width = 0;
  int height = 0;
  std::vector<float> values;  // row by row, top row first
};

// Casts width x height rays through the volume seen along `view`: the picture's centre looks at the
// volume's centre and its smaller side spans the volume's diagonal, so that the whole volume shows at
// any angle. The volume's bricks must be summarised. Throws std::bad_alloc and std::system_error (a
// thread that can't start).
RayPicture CastRays(const Volume& volume, const ViewDirections& view, int width, int height,
                    const RenderSettings& settings);

// The picture in colour, 8-bit red, green and blue a pixel, row by row: the surface in `colour`
// (0x00RRGGBB) times its shade, the projection in grey from black at the range's low end to white at
// its high end; black where the ray saw nothing.
std::vector<std::uint8_t> ToRgb(const RayPicture& picture, const RenderSettings& settings, std::uint32_t colour);

}  // namespace volume3d
