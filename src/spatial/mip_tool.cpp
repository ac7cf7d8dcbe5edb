#include "spatial/mip_tool.h"

#include <algorithm>
#include <cmath>

#include "foundation/exceptions.h"
#include "sources/image_info_strategies.h"
#include "sources/pixel_data.h"
#include "spatial/derived_series.h"
#include "spatial/mpr_state.h"

using ondrel::platform::ComPtr;

namespace spatial {
namespace {

std::vector<Point3D> StackCorners(ImageInfoStrategy& first, ImageInfoStrategy& last) {
  std::vector<Point3D> corners;
  for (ImageInfoStrategy* slice : {&first, &last}) {
    ImageGeometry g;
    if (!ReadImageGeometry(*slice, g)) continue;
    const double right = g.columns - 1.0;
    const double bottom = g.rows - 1.0;
    for (const Point2D pixel : {Point2D{0, 0}, Point2D{0, bottom}, Point2D{right, 0}, Point2D{right, bottom}})
      corners.push_back(PixelToPatient(pixel, g));
  }
  return corners;
}

}  // namespace

MipState& Mip() {
  static MipState state;
  return state;
}

void GenerateMipSeries(IImageInfoNW* image, ISeriesInfoNW** out) {
  MipState& state = Mip();
  ImageInfoWStationStrategy input(image);
  CHECK_COM_CALL(input.Series()->SetMipType(kMipSourceRole), input.Series(), ISeriesInfoNW::kIid);
  state.sourceStack = input.GetSeriesImages();
  state.sourcePlanes.clear();
  const auto count = static_cast<std::int32_t>(state.sourceStack.size());
  if (count == 0) THROW_MY_EXCEPTION("Cannot calculate the source stack rows angle.");
  ImageInfoStrategy& first = *state.sourceStack.front();
  ImageInfoStrategy& last = *state.sourceStack.back();
  // Only the failure counts: it refuses a stack without extent.
  double rowsAngle = 0.0;
  double columnsAngle = 0.0;
  CalculateStackAngles(last, first, rowsAngle, columnsAngle);

  const DerivedSource source{input.GetModality(), {}, input.GetSopClassUid(), input.GetTransferSyntaxUid(),
                             input.GetImageType()};
  const DerivedSeries series = CreateDerivedSeries(1001, source, "MIP", false);
  CHECK_COM_CALL(series.series->SetMipSource(input.Series()), series.series.Get(), ISeriesInfoNW::kIid);
  CHECK_COM_CALL(series.series->SetMipType(kMipDerivedRole), series.series.Get(), ISeriesInfoNW::kIid);
  state.seriesInfo = series.series;
  *out = series.series.Get();
  series.series->AddRef();

  const USHORT rows = input.GetRows();
  const ComPtr<IImageInfoNW> derived = CreateDerivedImage(0, series.uid, source);
  // The MIP image gets no spacing between slices.
  CopyImageAttributes(derived.Get(), input.Image(), 0, 0, 0.0);
  double firstSpacing = 0.0;
  double secondSpacing = 0.0;
  input.GetPixelSpacing(&firstSpacing, &secondSpacing);
  CHECK_COM_CALL(derived->SetPixelSpacing(firstSpacing, firstSpacing), derived.Get(), IImageInfoNW::kIid);
  CHECK_COM_CALL(series.series->AddImageToSeries(derived.Get()), series.series.Get(), ISeriesInfoNW::kIid);

  const std::vector<Point3D> corners = StackCorners(first, last);
  state.mipCenter = CalculateWeightCenter3D(corners);
  Point3D f;
  Point3D s;
  if (!input.GetImageOrientation(&f.x, &f.y, &f.z, &s.x, &s.y, &s.z)) return;
  state.mipAxisA = SelectDominantAxisVector(2, f, s);
  state.mipRayDirection = SelectDominantAxisVector(1, f, s);
  state.mipProjectionDistance = std::max<std::int32_t>(count, rows);

  // Every coordinate of the plane's point starts from the centre's x, the centre's y and z taking no
  // part: the plane stands where the system has always put it.
  const Point3D& ray = state.mipRayDirection;
  const double reach = state.mipProjectionDistance;
  const Point3D planePoint{state.mipCenter.x + reach * ray.x, state.mipCenter.x + reach * ray.y,
                           state.mipCenter.x + reach * ray.z};
  const PlaneEquation plane = CalculatePlaneFromNormal(ray, planePoint);
  std::vector<Point3D> projected;
  for (const Point3D& corner : corners) {
    Point3D foot;
    double distance = 0.0;
    ProjectPointOnPlane(corner, plane, foot, distance);
    projected.push_back(foot);
  }
  const Point3D across = CrossProduct3D(state.mipAxisA, ray);
  const Point3D& origin = projected.front();
  std::vector<Point2D> flat;
  for (const Point3D& point : projected) {
    Point2D pixel;
    if (PatientToPixel(pixel, point, firstSpacing, secondSpacing, origin, across, state.mipAxisA)) flat.push_back(pixel);
  }
  const RECT box = CalculateBoundingRectangle(flat);
  CHECK_COM_CALL(derived->SetRows(static_cast<USHORT>(RoundUpToFour(std::abs(box.bottom - box.top)))),
                 derived.Get(), IImageInfoNW::kIid);
  CHECK_COM_CALL(derived->SetColumns(static_cast<USHORT>(RoundUpToFour(std::abs(box.right - box.left)))),
                 derived.Get(), IImageInfoNW::kIid);
  // The bottom of the rectangle, not its top, as the image's position.
  const Point3D position = PixelToPatient({static_cast<double>(box.left), static_cast<double>(box.bottom)},
                                          firstSpacing, secondSpacing, origin, across, state.mipAxisA);
  CHECK_COM_CALL(derived->SetImagePosition(PositionText(position).Get()), derived.Get(), IImageInfoNW::kIid);
  CHECK_COM_CALL(derived->SetImageOrientation(OrientationText(across, state.mipAxisA).Get()), derived.Get(),
                 IImageInfoNW::kIid);

  for (const auto& slice : state.sourceStack) {
    ImageGeometry g;
    if (!ReadImageGeometry(*slice, g)) break;
    state.sourcePlanes[slice.get()] = CalculatePlaneFromImage(g);
  }
}

ByteBlock GenerateMipPixels(ImageInfoStrategy& derived, ImageLoader& loader) {
  const MipState& state = Mip();
  ImageGeometry target;
  if (!ReadImageGeometry(derived, target)) return {};
  const USHORT bitsStored = derived.GetBitsStored();
  const bool isSigned = derived.GetPixelRepresentation() != 0;
  const bool wide = bitsStored > 8;
  const int bits = std::clamp<int>(bitsStored, 1, 16);
  const std::size_t outputPixels = static_cast<std::size_t>(target.rows) * target.columns;
  ByteBlock output = ByteBlock::Zeroed(outputPixels * (wide ? 2 : 1));
  std::uint8_t* out = output.Data();
  const Point3D& ray = state.mipRayDirection;

  for (const auto& slice : state.sourceStack) {
    if (!slice) continue;
    ImageGeometry source;
    if (!ReadImageGeometry(*slice, source)) break;
    bool cached = false;
    const FramePixels frame = FramePixels::Of(loader.Load(slice.get(), &cached), *slice);
    if (frame.Empty()) THROW_MY_EXCEPTION("The Ondrel failed to load the image pixel data.");
    const auto found = state.sourcePlanes.find(slice.get());
    if (found == state.sourcePlanes.end()) THROW_MY_EXCEPTION("The Ondrel failed to find the source image plan.");
    const PlaneEquation& plane = found->second;
    const double denominator = plane.a * ray.x + plane.b * ray.y + plane.c * ray.z;
    const std::span<const std::uint8_t> bytes = frame.Bytes();
    const std::size_t samples = bytes.size() / (wide ? 2 : 1);

    for (int r = 0; r < target.rows; ++r) {
      for (int c = 0; c < target.columns; ++c) {
        const Point3D p = PixelToPatient({static_cast<double>(c), static_cast<double>(r)}, target);
        const double t = (plane.a * p.x + plane.b * p.y + plane.c * p.z + plane.d) / denominator;
        const Point3D q{p.x - t * ray.x, p.y - t * ray.y, p.z - t * ray.z};
        // The meeting point is read back through the derived image's own frame, which stands for the
        // slice's, and the sample taken is the one on the slice's diagonal in row v: the projection
        // as the system has always made it.
        Point2D uv;
        if (!PatientToPixel(uv, q, target)) continue;
        const std::int32_t u = RoundToInt(uv.x);
        const std::int32_t v = RoundToInt(uv.y);
        if (u < 0 || u >= source.columns || v < 0 || v >= source.rows) continue;
        const std::size_t index = (static_cast<std::size_t>(source.columns) + 1) * static_cast<std::size_t>(v);
        // A slice with more rows than columns has diagonal indices past its end.
        if (index >= samples) continue;
        int sample = wide ? bytes[2 * index] | (bytes[2 * index + 1] << 8) : bytes[index];
        if (isSigned && (sample & (1 << (bits - 1))) != 0) sample -= 1 << bits;
        const std::size_t at = static_cast<std::size_t>(r) * target.columns + static_cast<std::size_t>(c);
        const int current = wide ? out[2 * at] | (out[2 * at + 1] << 8) : out[at];
        if (sample <= current) continue;
        if (wide) {
          out[2 * at] = static_cast<std::uint8_t>(sample & 0xFF);
          out[2 * at + 1] = static_cast<std::uint8_t>(sample >> 8);
        } else {
          out[at] = static_cast<std::uint8_t>(sample);
        }
      }
    }
  }
  return output;
}

void MipRotate(LONG dx) { Mip().mipRotationAngle += dx / 20.0; }

}  // namespace spatial
