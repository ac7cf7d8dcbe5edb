#include "spatial/derived_series.h"

#include <cstdio>

#include "foundation/date_utils.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "foundation/trace.h"
#include "foundation/uid.h"

using ondrel::platform::BStr;
using ondrel::platform::ComPtr;

namespace spatial {
namespace {

template <class Interface>
ComPtr<Interface> CreateObject(REFCLSID clsid, const char* format) {
  ComPtr<Interface> object;
  const HRESULT hr =
      CoCreateInstance(clsid, nullptr, CLSCTX_ALL, Interface::kIid, reinterpret_cast<void**>(object.GetAddressOf()));
  if (FAILED(hr)) {
    char text[128];
    std::snprintf(text, sizeof text, format, static_cast<unsigned>(hr));
    Trace::Instance().Write(std::string(text), 1);
    THROW_MY_EXCEPTION(text);
  }
  return object;
}

BStr Wide(const std::string& text) { return BStr(ToWide(text)); }

// Copies one property when the source has it: a property the source lacks stays unavailable on the
// derived image too, rather than becoming a 0 that reads as a real value (a window of width 0, say).
template <class T>
void CopyProperty(IImageInfoNW* derived, IImageInfoNW* source, HRESULT (IImageInfoNW::*getter)(T*),
                  HRESULT (IImageInfoNW::*setter)(T), int line) {
  T value{};
  const HRESULT hr = (source->*getter)(&value);
  if (FAILED(hr)) ThrowComFailure(hr, source, IImageInfoNW::kIid, __FILE__, line);
  if (hr != S_OK) return;
  const HRESULT written = (derived->*setter)(value);
  if (FAILED(written)) ThrowComFailure(written, derived, IImageInfoNW::kIid, __FILE__, line);
}

void CopyText(IImageInfoNW* derived, IImageInfoNW* source, HRESULT (IImageInfoNW::*getter)(BSTR*),
              HRESULT (IImageInfoNW::*setter)(BSTR), int line) {
  BStr value;
  const HRESULT hr = (source->*getter)(value.Out());
  if (FAILED(hr)) ThrowComFailure(hr, source, IImageInfoNW::kIid, __FILE__, line);
  if (hr != S_OK) return;
  const HRESULT written = (derived->*setter)(value.Get());
  if (FAILED(written)) ThrowComFailure(written, derived, IImageInfoNW::kIid, __FILE__, line);
}

}  // namespace

DerivedSeries CreateDerivedSeries(SHORT number, const DerivedSource& source, const char* description,
                                  bool withFrameOfReference) {
  DerivedSeries made;
  made.series = CreateObject<ISeriesInfoNW>(CLSID_SeriesInfoNW, "Failed to create SeriesInfoNW COM object. HRESULT=%0X");
  made.uid = GenerateUid() + "." + std::to_string(number);
  ISeriesInfoNW* series = made.series.Get();
  CHECK_COM_CALL(series->SetSeriesInstanceUid(Wide(made.uid).Get()), series, ISeriesInfoNW::kIid);
  CHECK_COM_CALL(series->SetSeriesNumber(number), series, ISeriesInfoNW::kIid);
  CHECK_COM_CALL(series->SetModality(source.modality.Get()), series, ISeriesInfoNW::kIid);
  CHECK_COM_CALL(series->SetSeriesDateTime(NowAsDateValue()), series, ISeriesInfoNW::kIid);
  CHECK_COM_CALL(series->SetSeriesDescription(Wide(description).Get()), series, ISeriesInfoNW::kIid);
  if (withFrameOfReference) {
    CHECK_COM_CALL(series->SetFrameOfReferenceUid(source.frameOfReferenceUid.Get()), series, ISeriesInfoNW::kIid);
  }
  return made;
}

ComPtr<IImageInfoNW> CreateDerivedImage(int index, const std::string& seriesUid, const DerivedSource& source) {
  ComPtr<IImageInfoNW> image =
      CreateObject<IImageInfoNW>(CLSID_ImageInfoNW, "Failed to create ImageInfoNW COM object. HRESULT=%0X");
  IImageInfoNW* object = image.Get();
  const std::string uid = seriesUid + "." + std::to_string(index + 1);
  CHECK_COM_CALL(object->SetSopInstanceUid(Wide(uid).Get()), object, IImageInfoNW::kIid);
  CHECK_COM_CALL(object->SetSopClassUid(source.sopClassUid.Get()), object, IImageInfoNW::kIid);
  CHECK_COM_CALL(object->SetTransferSyntaxUid(source.transferSyntaxUid.Get()), object, IImageInfoNW::kIid);
  CHECK_COM_CALL(object->SetInstanceNumber(index + 1), object, IImageInfoNW::kIid);
  CHECK_COM_CALL(object->SetImageType(source.imageType.Get()), object, IImageInfoNW::kIid);
  CHECK_COM_CALL(object->SetAcquisitionDateTime(NowAsDateValue()), object, IImageInfoNW::kIid);
  return image;
}

double StackThickness(ImageInfoStrategy& image) {
  const double thickness = image.GetSpacingBetweenSlices();
  return thickness < 1e-6 ? 5.0 : thickness;
}

void CopyImageAttributes(IImageInfoNW* derived, IImageInfoNW* source, USHORT rows, USHORT columns, double thickness) {
  CHECK_COM_CALL(derived->SetRows(rows), derived, IImageInfoNW::kIid);
  CHECK_COM_CALL(derived->SetColumns(columns), derived, IImageInfoNW::kIid);
  using I = IImageInfoNW;
  CopyProperty(derived, source, &I::GetSamplesPerPixel, &I::SetSamplesPerPixel, __LINE__);
  CopyText(derived, source, &I::GetPhotometricInterpretation, &I::SetPhotometricInterpretation, __LINE__);
  CopyProperty(derived, source, &I::GetPlanarConfiguration, &I::SetPlanarConfiguration, __LINE__);
  CopyProperty(derived, source, &I::GetBitsAllocated, &I::SetBitsAllocated, __LINE__);
  CopyProperty(derived, source, &I::GetBitsStored, &I::SetBitsStored, __LINE__);
  CopyProperty(derived, source, &I::GetHighBit, &I::SetHighBit, __LINE__);
  CopyProperty(derived, source, &I::GetPixelRepresentation, &I::SetPixelRepresentation, __LINE__);
  CopyProperty(derived, source, &I::GetSliceThickness, &I::SetSliceThickness, __LINE__);
  if (thickness > 0.0) CHECK_COM_CALL(derived->SetSpacingBetweenSlices(thickness), derived, IImageInfoNW::kIid);
  CopyProperty(derived, source, &I::GetWindowCenter, &I::SetWindowCenter, __LINE__);
  CopyProperty(derived, source, &I::GetWindowWidth, &I::SetWindowWidth, __LINE__);
  CopyProperty(derived, source, &I::GetRescaleIntercept, &I::SetRescaleIntercept, __LINE__);
  CopyProperty(derived, source, &I::GetRescaleSlope, &I::SetRescaleSlope, __LINE__);
  CopyText(derived, source, &I::GetRescaleType, &I::SetRescaleType, __LINE__);
}

BStr PositionText(const Point3D& position) {
  char text[64];
  std::snprintf(text, sizeof text, "%4.6f\\%4.6f\\%4.6f", position.x, position.y, position.z);
  return Wide(text);
}

BStr OrientationText(const Point3D& first, const Point3D& second) {
  char text[64];
  std::snprintf(text, sizeof text, "%4.6f\\%4.6f\\%4.6f\\%4.6f\\%4.6f\\%4.6f", first.x, first.y, first.z, second.x,
                second.y, second.z);
  return Wide(text);
}

}  // namespace spatial
