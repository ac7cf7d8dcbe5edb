#include "spatial/mpr_generation.h"

#include <algorithm>
#include <cmath>

#include "foundation/exceptions.h"
#include "dicom/vr.h"
#include "dicom/vr_container.h"
#include "sources/image_info_strategies.h"
#include "spatial/mpr_pixels.h"
#include "spatial/derived_series.h"
#include "spatial/mpr_state.h"

using ondrel::platform::ComPtr;

namespace spatial {
namespace {

void HandOut(const ComPtr<ISeriesInfoNW>& series, ISeriesInfoNW** out) {
  *out = series.Get();
  series->AddRef();
}

// Spacing of a derived image, one value for both fields: the input image's first spacing but for the
// second orthogonal series, whose columns run along the input's columns.
void WriteDerivedSpacing(IImageInfoNW* derived, LONG role, double firstSpacing, double secondSpacing) {
  double spacing = 0.0;
  switch (role) {
    case kMprFirstOrthogonalRole:
    case kMprObliqueRole:
      spacing = firstSpacing;
      break;
    case kMprSecondOrthogonalRole:
      spacing = secondSpacing;
      break;
    default:
      THROW_MY_EXCEPTION("Invalid MPR type.");
  }
  CHECK_COM_CALL(derived->SetPixelSpacing(spacing, spacing), derived, IImageInfoNW::kIid);
}

// The images of one derived series: their role, count and size.
struct DerivedSeriesPlan {
  LONG role;
  int count;
  USHORT rows;
  USHORT columns;
};

// A derived series of the MPR, in the source's study, handed to the host in `out` and kept in `slot`.
DerivedSeries MakeDerivedSeries(SHORT number, LONG role, ImageInfoWStationStrategy& input,
                                const DerivedSource& source, ComPtr<ISeriesInfoNW>& slot, ISeriesInfoNW** out) {
  DerivedSeries made = CreateDerivedSeries(number, source, "MPR", true);
  ISeriesInfoNW* series = made.series.Get();
  CHECK_COM_CALL(series->SetMprSource(input.Series()), series, ISeriesInfoNW::kIid);
  CHECK_COM_CALL(series->SetMprType(role), series, ISeriesInfoNW::kIid);
  slot = made.series;
  HandOut(made.series, out);
  return made;
}

void AddDerivedImages(const DerivedSeriesPlan& plan, const DerivedSeries& series, ImageInfoWStationStrategy& input,
                      const DerivedSource& source, double thickness) {
  double firstSpacing = 0.0;
  double secondSpacing = 0.0;
  input.GetPixelSpacing(&firstSpacing, &secondSpacing);
  for (int i = 0; i < plan.count; ++i) {
    const ComPtr<IImageInfoNW> image = CreateDerivedImage(i, series.uid, source);
    CopyImageAttributes(image.Get(), input.Image(), plan.rows, plan.columns, thickness);
    WriteDerivedSpacing(image.Get(), plan.role, firstSpacing, secondSpacing);
    WriteDerivedPlacement(image.Get(), plan.role);
    CHECK_COM_CALL(series.series->AddImageToSeries(image.Get()), series.series.Get(), ISeriesInfoNW::kIid);
  }
}

}  // namespace

void WriteDerivedPlacement(IImageInfoNW* derived, LONG role) {
  MprState& state = Mpr();
  LONG instance = 0;
  double thickness = 0.0;
  CHECK_COM_CALL(derived->GetInstanceNumber(&instance), derived, IImageInfoNW::kIid);
  CHECK_COM_CALL(derived->GetSpacingBetweenSlices(&thickness), derived, IImageInfoNW::kIid);
  const double offset = (instance - 1) * thickness;
  ImageGeometry last;
  if (state.lastImage == nullptr || !ReadImageGeometry(*state.lastImage, last)) return;

  Point2D pixel;
  Point3D rowDirection;
  switch (role) {
    case kMprFirstOrthogonalRole:
      pixel = {0.0, static_cast<double>(TruncateToInt(offset / last.secondSpacing))};
      rowDirection = last.firstDirection;
      break;
    case kMprSecondOrthogonalRole:
      pixel = {static_cast<double>(TruncateToInt(offset / last.firstSpacing)), 0.0};
      rowDirection = last.secondDirection;
      break;
    case kMprObliqueRole: {
      const auto at = [&](std::size_t i) {
        return i < state.lineEnds.size() ? Point2D{static_cast<double>(state.lineEnds[i].x),
                                                   static_cast<double>(state.lineEnds[i].y)}
                                         : Point2D{};
      };
      pixel = at(0);
      rowDirection = UnitVector3D(PixelToPatient(at(0), last), PixelToPatient(at(1), last));
      break;
    }
    default:
      THROW_MY_EXCEPTION("Invalid MPR type.");
  }
  const Point3D normal = CrossProduct3D(last.secondDirection, last.firstDirection);
  CHECK_COM_CALL(derived->SetImagePosition(PositionText(PixelToPatient(pixel, last)).Get()), derived,
                 IImageInfoNW::kIid);
  CHECK_COM_CALL(derived->SetSliceLocation(offset), derived, IImageInfoNW::kIid);
  CHECK_COM_CALL(derived->SetImageOrientation(OrientationText(rowDirection, normal).Get()), derived,
                 IImageInfoNW::kIid);
}

void GenerateMprSeries(IImageInfoNW* image, ISeriesInfoNW** first, ISeriesInfoNW** second, ISeriesInfoNW** oblique) {
  MprState& state = Mpr();
  ImageInfoWStationStrategy input(image);
  CHECK_COM_CALL(input.Series()->SetMprType(kMprSourceRole), input.Series(), ISeriesInfoNW::kIid);
  state.sourceStack = input.GetSeriesImages();
  state.lastImage = nullptr;
  state.sliceList.clear();
  if (state.sourceStack.empty()) THROW_MY_EXCEPTION("Cannot calculate the source stack rows angle.");
  ImageInfoStrategy& firstSlice = *state.sourceStack.front();
  ImageInfoStrategy& lastSlice = *state.sourceStack.back();
  CalculateStackAngles(lastSlice, firstSlice, state.rowsAngle, state.columnsAngle);

  for (const auto& slice : state.sourceStack)
    state.sliceList.push_back({slice.get(), StackDistance(firstSlice, *slice) * std::sin(state.rowsAngle), {}});
  std::stable_sort(state.sliceList.begin(), state.sliceList.end(),
                   [](const MprSliceEntry& a, const MprSliceEntry& b) { return a.depth < b.depth; });

  double firstSpacing = 0.0;
  double secondSpacing = 0.0;
  input.GetPixelSpacing(&firstSpacing, &secondSpacing);
  const double thickness = StackThickness(input);
  // The depth takes no part of the rows angle here, while the slice depths do: in a tilted stack the
  // last rows of a reformat repeat the last slice.
  const double total = StackDistance(firstSlice, lastSlice);
  state.rowsShift = static_cast<std::int16_t>(TruncateToInt(total * std::cos(state.rowsAngle) / secondSpacing));
  state.columnsShift = static_cast<std::int16_t>(TruncateToInt(total * std::cos(state.columnsAngle) / firstSpacing));
  const auto depthRows = static_cast<USHORT>(RoundUpToFour(TruncateToInt(total / secondSpacing)));

  const DerivedSource source{input.GetModality(), input.GetFrameOfReferenceUid(), input.GetSopClassUid(),
                             input.GetTransferSyntaxUid(), input.GetImageType()};
  const DerivedSeries firstSeries =
      MakeDerivedSeries(101, kMprFirstOrthogonalRole, input, source, state.seriesInfo1, first);
  const DerivedSeries secondSeries =
      MakeDerivedSeries(102, kMprSecondOrthogonalRole, input, source, state.seriesInfo2, second);
  const DerivedSeries obliqueSeries =
      MakeDerivedSeries(103, kMprObliqueRole, input, source, state.seriesInfoOblique, oblique);

  const USHORT rows = input.GetRows();
  const USHORT columns = input.GetColumns();
  state.lastImage = &lastSlice;
  AddDerivedImages({kMprFirstOrthogonalRole, TruncateToInt(rows * secondSpacing / thickness), depthRows,
                    static_cast<USHORT>(columns + state.columnsShift)},
                   firstSeries, input, source, thickness);
  AddDerivedImages({kMprSecondOrthogonalRole, TruncateToInt(columns * firstSpacing / thickness), depthRows,
                    static_cast<USHORT>(rows + state.rowsShift)},
                   secondSeries, input, source, thickness);

  // The line starts on the diagonal of the stack system, its centre measured from the origin.
  const PixelPoint from{0, 0};
  const PixelPoint to{columns + state.columnsShift - 1, rows + state.rowsShift - 1};
  state.lineEnds.push_back(from);
  state.lineEnds.push_back(to);
  state.lineCenter = PixelPoint{(to.x - from.x) / 2, (to.y - from.y) / 2};
  AddDerivedImages({kMprObliqueRole, 1, depthRows,
                    static_cast<USHORT>(ObliqueWidth(state.lineEnds, firstSpacing, secondSpacing, firstSpacing))},
                   obliqueSeries, input, source, thickness);
  state.mprMode = MPR_MODE_GENERATED;
}

void SaveMprSeries(BSTR firstDescription, BSTR secondDescription, BSTR obliqueDescription, ImageLoader& loader) {
  MprState& state = Mpr();
  const std::pair<ISeriesInfoNW*, BSTR> targets[] = {{state.seriesInfo1.Get(), firstDescription},
                                                     {state.seriesInfo2.Get(), secondDescription},
                                                     {state.seriesInfoOblique.Get(), obliqueDescription}};
  for (const auto& [series, description] : targets) {
    if (series == nullptr) continue;
    CHECK_COM_CALL(series->SetSeriesDescription(description), series, ISeriesInfoNW::kIid);
    SAFEARRAY* raw = nullptr;
    CHECK_COM_CALL(series->GetSeriesImages(&raw), series, ISeriesInfoNW::kIid);
    const std::unique_ptr<SAFEARRAY, HRESULT (*)(SAFEARRAY*)> images(raw, &SafeArrayDestroy);
    LONG upper = -1;
    SafeArrayGetUBound(images.get(), 1, &upper);
    for (LONG i = 0; i <= upper; ++i) {
      ComPtr<IUnknown> element;
      CHECK_COM_CALL(SafeArrayGetElement(images.get(), &i, element.GetAddressOf()), nullptr, IID_IUnknown);
      ComPtr<IImageInfoNW> image;
      CHECK_COM_CALL(element.As(&image), element.Get(), IID_IUnknown);
      ImageInfoWStationStrategy strategy(image.Get());
      DicomEngine::DicomData data(false);
      strategy.FillDicomData(data);
      ByteBlock pixels = GenerateMprPixels(strategy, loader);
      const auto length = static_cast<std::uint32_t>(pixels.Size());
      data.Add(std::make_unique<DicomEngine::VRBinary>("OB", 0x7FE0, 0x0010, length, std::move(pixels).Release()),
               true);
      strategy.StoreDicomData(data);
    }
  }
}

}  // namespace spatial
