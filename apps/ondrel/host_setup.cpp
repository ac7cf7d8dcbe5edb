#include "host_setup.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <filesystem>
#include <memory>

#include "console_text.h"
#include "failure_text.h"
#include "dicom/dicom_dictionary.h"
#include "foundation/exceptions.h"
#include "foundation/settings_helper.h"
#include "foundation/text_utils.h"
#include "foundation/uid.h"
#include "ondrel/module.h"
#include "ondrel/platform/errorinfo.h"
#include "ondrel/platform/hresult_exception.h"
#include "ondrel/study_builder.h"
#include "ondrel/volume3d.h"
#include "ondrel/workstation.h"
#include "sources/image_loader.h"

namespace ondrel::cli {

void LoadDictionary() {
  DicomEngine::DicomDictionary& dictionary = DicomEngine::DicomDictionary::Instance();
  dictionary.Load("dicom_dictionary.txt");
  if (dictionary.StandardEntryCount() == 0)
    std::cerr << "ondrel: warning: no dictionary at " << NarrowToConsole(dictionary.LoadedFileName())
              << "; implicit VR elements read as UN\n";
}

void RegisterWorkstation() {
  platform::ThrowIfFailed(RegisterWorkstationClasses());
  platform::ThrowIfFailed(RegisterOndrel3DClass());
}

void UseStorageSettings() {
  SettingsHelper& settings = SettingsHelper::Instance();
  settings.Load("ViewerUI.exe.config");
  if (const char* root = std::getenv("ONDREL_DICOM_FILES")) settings.Override("DICOMfiles", root);
  if (const char* connection = std::getenv("ONDREL_DB_CONNECTION"))
    settings.Override("DbConnectionString", connection);
}

std::string StorageRoot() { return SettingsHelper::Instance().Get("DICOMfiles"); }

std::string DatabaseConnection() { return SettingsHelper::Instance().Get("DbConnectionString"); }

void StartComponentHost() {
  LoadDictionary();
  UseStorageSettings();
  RegisterWorkstation();
  platform::ThrowIfFailed(DllRegisterServer());
}

bool Started(const GdiplusSession& gdiplus) {
  if (gdiplus.Status() == Gdiplus::Ok) return true;
  std::cerr << "ondrel: GDI+ can't be started (status " << gdiplus.Status() << ")\n";
  return false;
}

platform::ComPtr<IImageInfoNW> NewSecondaryCaptureImage(const std::string& fileName) {
  const auto patient = MakeObject<IPatientInfoNW>(CLSID_PatientInfoNW);
  const auto study = MakeObject<IStudyInfoNW>(CLSID_StudyInfoNW);
  const auto series = MakeObject<ISeriesInfoNW>(CLSID_SeriesInfoNW);
  auto image = MakeObject<IImageInfoNW>(CLSID_ImageInfoNW);
  // UIDs made in one millisecond are told apart by a count. The image gets its SOP Instance UID here
  // too: two that the core made for images written in one millisecond would be the same, and the
  // second image would take the first one's row and file in the storage.
  static int made = 0;
  const std::u16string uid = ToWide(GenerateUid() + "." + std::to_string(++made));
  platform::ThrowIfFailed(study->SetStudyInstanceUid(platform::BStr(uid + u".1").Get()));
  platform::ThrowIfFailed(series->SetSeriesInstanceUid(platform::BStr(uid + u".2").Get()));
  platform::ThrowIfFailed(image->SetSopInstanceUid(platform::BStr(uid + u".3").Get()));
  platform::ThrowIfFailed(series->SetModality(platform::BStr(u"OT").Get()));
  platform::ThrowIfFailed(image->SetSopClassUid(platform::BStr(u"1.2.840.10008.5.1.4.1.1.7").Get()));
  if (!fileName.empty()) platform::ThrowIfFailed(image->SetFileName(platform::BStr(ToWide(fileName)).Get()));
  platform::ThrowIfFailed(patient->AddStudyToPatient(study.Get()));
  platform::ThrowIfFailed(study->AddSeriesToStudy(series.Get()));
  platform::ThrowIfFailed(series->AddImageToSeries(image.Get()));
  return image;
}

std::string HResultText(HRESULT hr) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(hr));
  return text;
}

std::string TakeErrorDescription() {
  platform::ComPtr<IErrorInfo> info;
  if (GetErrorInfo(0, info.GetAddressOf()) != S_OK) return {};
  platform::BStr description;
  info->GetDescription(description.Out());
  return description.IsNull() ? std::string() : ToConsole(std::u16string(description.Get(), description.Length()));
}

std::vector<platform::ComPtr<IImageInfoNW>> SeriesImages(ISeriesInfoNW* series) {
  SAFEARRAY* images = nullptr;
  platform::ThrowIfFailed(series->GetSeriesImages(&images));
  return ObjectsOf<IImageInfoNW>(images);
}

std::vector<platform::ComPtr<IImageInfoNW>> LargestSeries(const std::string& input) {
  const StudyGraph graph = BuildStudies({input});
  std::vector<platform::ComPtr<IImageInfoNW>> stack;
  for (const auto& series : graph.series) {
    std::vector<platform::ComPtr<IImageInfoNW>> images = SeriesImages(series.Get());
    if (images.size() > stack.size()) stack = std::move(images);
  }
  if (stack.empty()) throw Failure{input + ": no DICOM image", {}};
  return stack;
}

std::string NoSuchFrame(const std::string& file, const FileImage& built, std::string_view what, USHORT frame) {
  return file + " has " + std::to_string(built.frames) + (built.frames == 1 ? " frame: " : " frames: ") +
         std::string(what) + " 0 to " + std::to_string(built.frames - 1) + ", not " + std::to_string(frame);
}

FileImage ImageOfFile(const std::string& file, USHORT frame) {
  // The builder would take a folder's files: the commands show one file.
  std::error_code error;
  if (std::filesystem::is_directory(file, error)) throw Failure{CannotOpen(file).value_or(file), {}};
  const StudyGraph graph = BuildStudies({file});
  FileImage found;
  for (const auto& series : graph.series)
    for (const auto& image : SeriesImages(series.Get())) {
      ++found.frames;
      USHORT index = 0;
      if (image->GetFrameIndex(&index) == S_OK && index == frame) found.image = image;
    }
  if (found.frames == 0 && !graph.mediaPatients.empty())
    throw Failure{file + ": is a media directory (DICOMDIR), not an image (ondrel studies lists it)", {}};
  if (found.frames == 0)
    throw graph.skipped.empty() ? Failure{file + ": holds no image", {}}
                                : FileFailure(file, NarrowToConsole(graph.skipped.front().reason));
  return found;
}

std::shared_ptr<PixelData> LoadPixels(ImageInfoStrategy& strategy, const std::string& file) {
  ImageLoader loader;
  bool wasCached = false;
  try {
    return loader.Load(&strategy, &wasCached);
  } catch (const MyException& failure) {
    const std::string text = ToConsole(ReportText(failure));
    throw Failure{file + ": the pixels can't be loaded: " + CoreMessage(text), text};
  }
}

}  // namespace ondrel::cli
