#include "import_command.h"

#include <iostream>
#include <string>

#include "command_table.h"
#include "console_text.h"
#include "foundation/text_utils.h"
#include "foundation/uid.h"
#include "host_setup.h"
#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/hresult_exception.h"

namespace ondrel::cli {
namespace {

// The UID of Secondary Capture Image Storage: a picture brought into the workstation.
constexpr char16_t kSecondaryCaptureClass[] = u"1.2.840.10008.5.1.4.1.1.7";

template <class Interface>
platform::ComPtr<Interface> Create(const CLSID& clsid) {
  platform::ComPtr<Interface> object;
  platform::ThrowIfFailed(CoCreateInstance(clsid, nullptr, CLSCTX_ALL, Interface::kIid,
                                           reinterpret_cast<void**>(object.GetAddressOf())));
  return object;
}

// A new image of a new series, study and patient, as a workstation makes one for an import.
platform::ComPtr<IImageInfoNW> NewImage(const std::string& output) {
  const auto patient = Create<IPatientInfoNW>(CLSID_PatientInfoNW);
  const auto study = Create<IStudyInfoNW>(CLSID_StudyInfoNW);
  const auto series = Create<ISeriesInfoNW>(CLSID_SeriesInfoNW);
  auto image = Create<IImageInfoNW>(CLSID_ImageInfoNW);
  // The core makes the SOP Instance UID in the same millisecond: suffixes keep the three apart.
  const std::u16string uid = ToWide(GenerateUid());
  platform::ThrowIfFailed(study->SetStudyInstanceUid(platform::BStr(uid + u".1").Get()));
  platform::ThrowIfFailed(series->SetSeriesInstanceUid(platform::BStr(uid + u".2").Get()));
  platform::ThrowIfFailed(series->SetModality(platform::BStr(u"OT").Get()));
  platform::ThrowIfFailed(image->SetSopClassUid(platform::BStr(kSecondaryCaptureClass).Get()));
  platform::ThrowIfFailed(image->SetFileName(platform::BStr(ToWide(output)).Get()));
  platform::ThrowIfFailed(patient->AddStudyToPatient(study.Get()));
  platform::ThrowIfFailed(study->AddSeriesToStudy(series.Get()));
  platform::ThrowIfFailed(series->AddImageToSeries(image.Get()));
  return image;
}

}  // namespace

int RunImport(std::span<const std::string_view> args) {
  const auto [picture, output] = ParseInputAndOutput(args, "import", "PICTURE", "OUT.dcm");

  LoadDictionary();
  RegisterWorkstation();
  platform::ThrowIfFailed(DllRegisterServer());
  const GdiplusSession gdiplus;
  if (gdiplus.Status() != Gdiplus::Ok) {
    std::cerr << "ondrel: GDI+ can't be started (status " << gdiplus.Status() << ")\n";
    return kExitFailure;
  }
  const platform::ComPtr<IImageInfoNW> image = NewImage(output);
  platform::ComPtr<IOndrel> core;
  HRESULT hr = CoCreateInstance(CLSID_OndrelImpl, nullptr, CLSCTX_ALL, IID_IOndrel,
                                reinterpret_cast<void**>(core.GetAddressOf()));
  const char* method = "CoCreateInstance";
  if (SUCCEEDED(hr)) {
    method = "ImportImageAsDICOMFile";
    hr = core->ImportImageAsDICOMFile(platform::BStr(ToWide(picture)).Get(), image.Get());
  }
  if (FAILED(hr)) {
    std::cerr << "ondrel: " << method << " failed (" << HResultText(hr) << "): " << TakeErrorDescription() << "\n";
    return kExitFailure;
  }

  USHORT rows = 0;
  USHORT columns = 0;
  platform::BStr photometric;
  platform::BStr uid;
  image->GetRows(&rows);
  image->GetColumns(&columns);
  image->GetPhotometricInterpretation(photometric.Out());
  image->GetSopInstanceUid(uid.Out());
  std::cout << "wrote " << NarrowToConsole(output) << ": " << columns << "x" << rows << " "
            << ToConsole(photometric.ToString()) << ", SOP Instance UID " << ToConsole(uid.ToString()) << "\n";
  return kExitSuccess;
}

}  // namespace ondrel::cli
