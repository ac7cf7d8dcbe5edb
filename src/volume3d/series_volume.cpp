#include "volume3d/series_volume.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "foundation/exceptions.h"
#include "sources/image_info_strategies.h"
#include "sources/image_loader.h"
#include "sources/pixel_data.h"

namespace volume3d {
namespace {

// Direction cosines closer than this count as one orientation.
constexpr double kSameOrientation = 1e-4;

struct Slice {
  std::unique_ptr<ImageInfoStrategy> info;
  Vec3 position;
  double depth = 0.0;  // along the normal
};

// The slice's samples as modality values into `target`, row by row.
void CopySamples(ImageInfoStrategy& info, std::int16_t* target, std::size_t count) {
  ImageLoader loader;  // a loader of its own, whose cache goes with it
  bool cached = false;
  const FramePixels frame = FramePixels::Of(loader.Load(&info, &cached), info);
  const std::span<const std::uint8_t> bytes = frame.Bytes();
  const bool wide = info.GetBitsAllocated() > 8;
  if (bytes.size() < count * (wide ? 2 : 1)) throw MyException("A slice of the series has no pixels.");
  const int bitsStored = std::clamp<int>(info.GetBitsStored(), 1, wide ? 16 : 8);
  const int mask = (1 << bitsStored) - 1;
  const int sign = info.GetPixelRepresentation() == 1 ? 1 << (bitsStored - 1) : 0;
  const double slope = info.GetRescaleSlope();
  const double intercept = info.GetRescaleIntercept();
  for (std::size_t i = 0; i < count; ++i) {
    int raw = (wide ? bytes[2 * i] | (bytes[2 * i + 1] << 8) : bytes[i]) & mask;
    raw -= (raw & sign) << 1;
    const double value = std::round(raw * slope + intercept);
    target[i] = static_cast<std::int16_t>(std::clamp(value, -32768.0, 32767.0));
  }
}

}  // namespace

Volume LoadSeriesVolume(IImageInfoNW* image) {
  ImageInfoWStationStrategy input(image);
  std::vector<Slice> slices;
  for (auto& info : input.GetSeriesImages()) slices.push_back({std::move(info), {}, 0.0});
  if (slices.size() < 2) throw MyException("The series has fewer than two slices.");

  ImageInfoStrategy& first = *slices.front().info;
  const USHORT rows = first.GetRows();
  const USHORT columns = first.GetColumns();
  double o[6] = {};
  if (!first.GetImageOrientation(&o[0], &o[1], &o[2], &o[3], &o[4], &o[5]))
    throw MyException("A slice of the series has no position or orientation.");
  const Vec3 rowDirection = Normalized({o[0], o[1], o[2]});
  const Vec3 columnDirection = Normalized({o[3], o[4], o[5]});
  const Vec3 normal = Normalized(Cross(rowDirection, columnDirection));
  for (Slice& slice : slices) {
    double c[6] = {};
    const bool oriented = slice.info->GetImageOrientation(&c[0], &c[1], &c[2], &c[3], &c[4], &c[5]);
    if (!oriented || !slice.info->GetImagePosition(&slice.position.x, &slice.position.y, &slice.position.z))
      throw MyException("A slice of the series has no position or orientation.");
    const bool same = std::equal(c, c + 6, o, [](double a, double b) { return std::abs(a - b) < kSameOrientation; });
    if (!same || slice.info->GetRows() != rows || slice.info->GetColumns() != columns)
      throw MyException("The slices of the series differ in size or orientation.");
    if (slice.info->GetSamplesPerPixel() > 1) throw MyException("The series is not greyscale.");
    slice.depth = Dot(slice.position, normal);
  }
  std::stable_sort(slices.begin(), slices.end(), [](const Slice& a, const Slice& b) { return a.depth < b.depth; });
  // Uneven gaps are taken as their mean: the volume's grid is regular.
  const double spacing = (slices.back().depth - slices.front().depth) / static_cast<double>(slices.size() - 1);
  if (!(spacing > 1e-6)) throw MyException("The slices of the series share one position.");
  if (rows < 2 || columns < 2) throw MyException("A slice of the series has no pixels.");

  double horizontal = 0.0;
  double vertical = 0.0;
  // A slice without pixel spacing is read as square pixels of 1 mm, as its pixels would be measured.
  if (!first.GetPixelSpacing(&horizontal, &vertical) || horizontal <= 0 || vertical <= 0) horizontal = vertical = 1.0;
  Volume volume(columns, rows, static_cast<int>(slices.size()), {horizontal, vertical, spacing},
                slices.front().position, {rowDirection, columnDirection, normal});
  const std::size_t plane = static_cast<std::size_t>(rows) * columns;
  for (std::size_t k = 0; k < slices.size(); ++k) CopySamples(*slices[k].info, volume.Slice(static_cast<int>(k)), plane);
  volume.SummariseBricks();
  return volume;
}

}  // namespace volume3d
