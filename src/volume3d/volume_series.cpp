#include "volume3d/volume_series.h"

#include <cstdio>
#include <string>

#include "foundation/date_utils.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "foundation/uid.h"
#include "ondrel/platform/bstr.h"

namespace volume3d {
namespace {

using ondrel::platform::BStr;
using ondrel::platform::ComPtr;

void Check(HRESULT hr) {
  if (SUCCEEDED(hr)) return;
  char text[96];
  std::snprintf(text, sizeof text, "Failed to make the volume series. HRESULT=%0X", static_cast<unsigned>(hr));
  throw MyException(text);
}

template <class Interface>
ComPtr<Interface> Create(REFCLSID clsid) {
  ComPtr<Interface> object;
  Check(CoCreateInstance(clsid, nullptr, CLSCTX_ALL, Interface::kIid, reinterpret_cast<void**>(object.GetAddressOf())));
  return object;
}

BStr Text(const std::string& text) { return BStr(ToWide(text)); }

}  // namespace

ComPtr<ISeriesInfoNW> MakeVolumeSeries(IImageInfoNW* source, USHORT size) {
  ComPtr<ISeriesInfoNW> sourceSeries;
  Check(source->GetSeries(sourceSeries.GetAddressOf()));
  Check(sourceSeries->SetVolumeType(kVolumeSourceRole));
  BStr modality;
  Check(sourceSeries->GetModality(modality.Out()));

  const ComPtr<ISeriesInfoNW> series = Create<ISeriesInfoNW>(CLSID_SeriesInfoNW);
  const std::string uid = GenerateUid() + "." + std::to_string(kVolumeSeriesNumber);
  Check(series->SetSeriesInstanceUid(Text(uid).Get()));
  Check(series->SetSeriesNumber(kVolumeSeriesNumber));
  Check(series->SetModality(modality.Get()));
  Check(series->SetSeriesDescription(Text("3D").Get()));
  Check(series->SetSeriesDateTime(NowAsDateValue()));
  Check(series->SetVolumeType(kVolumeDerivedRole));
  ComPtr<IStudyInfoNW> study;
  if (sourceSeries->GetStudy(study.GetAddressOf()) == S_OK && study) Check(study->AddSeriesToStudy(series.Get()));

  const ComPtr<IImageInfoNW> image = Create<IImageInfoNW>(CLSID_ImageInfoNW);
  Check(image->SetSopInstanceUid(Text(uid + ".1").Get()));
  Check(image->SetSopClassUid(Text("1.2.840.10008.5.1.4.1.1.7").Get()));
  Check(image->SetTransferSyntaxUid(Text("1.2.840.10008.1.2.1").Get()));
  Check(image->SetInstanceNumber(1));
  Check(image->SetImageType(Text("DERIVED\\SECONDARY\\VOLUME").Get()));
  Check(image->SetAcquisitionDateTime(NowAsDateValue()));
  Check(image->SetRows(size));
  Check(image->SetColumns(size));
  Check(image->SetSamplesPerPixel(3));
  Check(image->SetPhotometricInterpretation(Text("RGB").Get()));
  Check(image->SetPlanarConfiguration(0));
  Check(image->SetBitsAllocated(8));
  Check(image->SetBitsStored(8));
  Check(image->SetHighBit(7));
  Check(image->SetPixelRepresentation(0));
  Check(image->SetWindowWidth(256));
  Check(image->SetWindowCenter(128));
  Check(series->AddImageToSeries(image.Get()));
  return series;
}

}  // namespace volume3d
