#include "spatial/series_synchronization.h"

#include <cmath>
#include <vector>

#include "spatial/image_pair.h"

namespace {

constexpr double kMostAngle = 0.1;  // radian
constexpr double kSameDirection = 1e-6;

Point3D Normal(const PlaneEquation& plane) { return {plane.a, plane.b, plane.c}; }

Point3D Centre(const ImageGeometry& image) {
  return PixelToPatient({static_cast<double>(image.columns / 2), static_cast<double>(image.rows / 2)}, image);
}

std::u16string SeriesKey(ImageInfoStrategy& image) { return std::u16string(image.GetSeriesInstanceUid().View()); }

}  // namespace

bool CalculateSeriesOffset(ImageInfoStrategy& a, ImageInfoStrategy& b, SeriesOffset& offset) {
  ImageGeometry first;
  ImageGeometry second;
  if (!ReadGeometries(a, b, first, second)) return false;
  double angle = 0.0;
  if (!CalculateAngleBetweenVectors(Normal(CalculatePlaneFromImage(first)), Normal(CalculatePlaneFromImage(second)),
                                    angle) ||
      angle > kMostAngle)
    return false;
  const Point3D from = Centre(first);
  const Point3D to = Centre(second);
  offset.distance = Distance3D(from, to);
  offset.direction = offset.distance > 1e-6 ? UnitVector3D(from, to) : Point3D{};
  return true;
}

void SeriesSynchronization::CalculateOffset(ImageInfoStrategy* current, ImageInfoStrategy* synch) {
  offsets_.clear();
  if (current == nullptr || synch == nullptr) return;
  const std::u16string key = SeriesKey(*synch);
  SeriesOffset offset;
  if (CalculateSeriesOffset(*current, *synch, offset)) offsets_[key] = offset;
}

const SeriesOffset* SeriesSynchronization::StoredOffset(ImageInfoStrategy& synch) const {
  const auto found = offsets_.find(SeriesKey(synch));
  return found != offsets_.end() ? &found->second : nullptr;
}

std::unique_ptr<ImageInfoStrategy> SeriesSynchronization::NearestSlice(ImageInfoStrategy& current,
                                                                       ImageInfoStrategy& synch) const {
  std::vector<std::unique_ptr<ImageInfoStrategy>> candidates = synch.GetSeriesImages();
  std::unique_ptr<ImageInfoStrategy>* best = nullptr;
  double bestValue = 0.0;
  for (std::unique_ptr<ImageInfoStrategy>& candidate : candidates) {
    if (mode_ == SYNCH_SERIES_AUTO && !SameFrameOfReference(current, *candidate)) continue;
    SeriesOffset offset;
    if (!CalculateSeriesOffset(current, *candidate, offset)) continue;
    double value = offset.distance;
    if (mode_ == SYNCH_SERIES_MANUAL) {
      // The stored offset is that of the series the synchronised viewport shows.
      const SeriesOffset* stored = StoredOffset(synch);
      double angle = 0.0;
      if (stored == nullptr || !CalculateAngleBetweenVectors(stored->direction, offset.direction, angle)) continue;
      value = angle < kSameDirection ? offset.distance - stored->distance : offset.distance + stored->distance;
    }
    if (best == nullptr || std::fabs(bestValue) > std::fabs(value)) {
      best = &candidate;
      bestValue = value;
    }
  }
  return best != nullptr ? std::move(*best) : nullptr;
}
