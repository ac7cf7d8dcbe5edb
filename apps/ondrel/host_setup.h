// What every command that drives the core does first.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "failure_text.h"
#include "ondrel/platform/com.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/hresult_exception.h"
#include "ondrel/platform/safearray.h"
#include "ondrel/workstation.h"
#include "sources/image_info_strategy.h"
#include "sources/pixel_data.h"

namespace ondrel::cli {

// Loads dicom_dictionary.txt from beside the executable; warns on standard error when there is none,
// since implicit VR data then read as UN.
void LoadDictionary();
// Registers the workstation's classes in the class table (once): its information objects, its
// configuration objects and its volume server.
void RegisterWorkstation();

// GDI+ started for a command (the component draws through it, pictures are read and written with
// it) and stopped when the session goes. Status() says whether it started.
class GdiplusSession {
 public:
  GdiplusSession() : status_(Gdiplus::GdiplusStartup(&token_, &input_, nullptr)) {}
  ~GdiplusSession() {
    if (status_ == Gdiplus::Ok) Gdiplus::GdiplusShutdown(token_);
  }
  GdiplusSession(const GdiplusSession&) = delete;
  GdiplusSession& operator=(const GdiplusSession&) = delete;
  Gdiplus::Status Status() const { return status_; }

 private:
  const Gdiplus::GdiplusStartupInput input_;
  ULONG_PTR token_ = 0;
  Gdiplus::Status status_;
};

// The settings file (ViewerUI.exe.config beside the program) loaded, as the component loads it, and
// the storage settings the environment names put in place of the file's: ONDREL_DICOM_FILES for the
// storage tree's root (DICOMfiles) and ONDREL_DB_CONNECTION for the database (DbConnectionString).
void UseStorageSettings();
// The storage settings in use, as UseStorageSettings left them; the settings' failure text when one is
// missing.
std::string StorageRoot();
std::string DatabaseConnection();

// What a command that creates the component does first: the dictionary loaded, the storage settings
// in place, the workstation's classes and the component's class registered. Throws HResultException
// when a registration fails.
void StartComponentHost();
// False, with the reason on standard error, when the session's GDI+ did not start.
bool Started(const GdiplusSession& gdiplus);

// A new object of a registered class. Throws HResultException when it can't be made.
template <class T>
platform::ComPtr<T> MakeObject(const CLSID& clsid) {
  platform::ComPtr<T> object;
  platform::ThrowIfFailed(
      CoCreateInstance(clsid, nullptr, CLSCTX_ALL, T::kIid, reinterpret_cast<void**>(object.GetAddressOf())));
  return object;
}

// As a workstation makes the object that a consult image or an imported picture is written to: a
// Secondary Capture image with UIDs of its own, of a new OT series, study and patient, whose FileName
// is `fileName` (where the core writes the DICOM file), or unset for an empty name (the core then
// stores the image in the workstation's storage). Throws HResultException when an object can't be
// made or set.
platform::ComPtr<IImageInfoNW> NewSecondaryCaptureImage(const std::string& fileName);

// "0x" and the eight hexadecimal digits of a result code.
std::string HResultText(HRESULT hr);
// The description of the thread's error information (which a failing method of the core leaves),
// taken, for the console; empty when there is none.
std::string TakeErrorDescription();

// The objects of a vector of IUnknown pointers that a workstation object gave out (the images of a
// series, the studies of a patient), as T, in order; the array is destroyed. Throws HResultException
// when an element can't be read or is no T.
template <class T>
std::vector<platform::ComPtr<T>> ObjectsOf(SAFEARRAY* array) {
  const std::unique_ptr<SAFEARRAY, HRESULT (*)(SAFEARRAY*)> owner(array, &SafeArrayDestroy);
  LONG lower = 0;
  LONG upper = -1;
  platform::ThrowIfFailed(SafeArrayGetLBound(array, 1, &lower));
  platform::ThrowIfFailed(SafeArrayGetUBound(array, 1, &upper));
  std::vector<platform::ComPtr<T>> result;
  for (LONG i = lower; i <= upper; ++i) {
    platform::ComPtr<IUnknown> element;
    platform::ThrowIfFailed(SafeArrayGetElement(array, &i, element.GetAddressOf()));
    platform::ComPtr<T> object;
    platform::ThrowIfFailed(element.As(&object));
    result.push_back(object);
  }
  return result;
}

// The images of a series in series order. Throws HResultException when the series can't list them.
std::vector<platform::ComPtr<IImageInfoNW>> SeriesImages(ISeriesInfoNW* series);
// The images of the series of most images that the study builder makes of `input` (a file or a
// folder), in series order. Throws Failure "INPUT: no DICOM image" when it makes none.
std::vector<platform::ComPtr<IImageInfoNW>> LargestSeries(const std::string& input);
// What the study builder made of a file: the image object of one of its frames, with its series,
// study and patient, and the number of frames the file has.
struct FileImage {
  platform::ComPtr<IImageInfoNW> image;  // null when the file has no such frame
  std::size_t frames = 0;
};
// The image object of frame `frame` of a DICOM file, built by the study builder. Throws Failure (see
// FileFailure) when the file gives no image at all: it can't be opened, is a folder, is not DICOM,
// holds no pixel data, fails to parse or is a DICOMDIR.
FileImage ImageOfFile(const std::string& file, USHORT frame);
// The pixels of the strategy's image as the core's image loader gives them (see `ondrel pixels`),
// loaded afresh. Throws Failure "FILE: the pixels can't be loaded: MESSAGE" with the loader's report as
// its core text.
std::shared_ptr<PixelData> LoadPixels(ImageInfoStrategy& strategy, const std::string& file);
// For a frame a file does not have: "FILE has N frames: WHAT 0 to N-1, not FRAME".
std::string NoSuchFrame(const std::string& file, const FileImage& built, std::string_view what, USHORT frame);

}  // namespace ondrel::cli
