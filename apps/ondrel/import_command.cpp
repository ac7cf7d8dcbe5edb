#include "import_command.h"

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <vector>
#include <optional>
#include <string>

#include "command_table.h"
#include "console_text.h"
#include "failure_text.h"
#include "foundation/text_utils.h"
#include "host_setup.h"
#include "output_file.h"
#include "stored_images.h"
#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/hresult_exception.h"

namespace ondrel::cli {

namespace {

// What ImportImageAsDICOMFile's failure means to a person: a PICTURE that can't be opened or read as a
// picture, or another failure of the method.
Failure ImportFailure(const std::string& picture, HRESULT hr, const std::string& description) {
  if (std::optional<std::string> unopened = CannotOpen(picture)) return {*unopened, description};
  const std::string message = CoreMessage(description);
  if (message == "Failed to create the GDI+ bitmap")
    return {picture + ": not a picture the core reads (BMP, JPEG, GIF, TIFF or PNG)", description};
  return MethodFailure("ImportImageAsDICOMFile", hr, description);
}

// The file the core wrote must read back whole, as an image: the core's writer reports no failed write
// (a full disk, a file-size limit), it leaves a short file.
void CheckWritten(const OutputFile& output) {
  const int reason = errno;
  try {
    ImageOfFile(output.Path(), 0);
  } catch (const Failure&) {
    errno = reason;
    throw Failure{CannotWrite(output.Target(), "the file the core wrote is incomplete (" +
                                                   std::to_string(output.Size()) + " bytes)"),
                  {}};
  }
}

// The imported image as the workstation's database recorded it, whose file must read back whole.
void CheckStored(IImageInfoNW* image) {
  platform::BStr uid;
  image->GetSopInstanceUid(uid.Out());
  const platform::ComPtr<IImageInfoNW> stored = FindStoredImage(DatabaseConnection(), uid.ToString());
  if (!stored) throw Failure{"the database holds no image " + ToConsole(uid.ToString()) + " after the import", {}};
  platform::BStr file;
  stored->GetFileName(file.Out());
  const std::string path = ToConsole(file.ToString());
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  try {
    ImageOfFile(path, 0);
  } catch (const Failure&) {
    throw Failure{"cannot write " + path + ": the file the core wrote is incomplete (" +
                      (error ? std::string("missing") : std::to_string(size) + " bytes") +
                      "); its row stays in the database",
                  {}};
  }
  std::cout << "stored " << path << "\n";
}

int RunImportStored(const std::string& picture) {
  StartComponentHost();
  const GdiplusSession gdiplus;
  if (!Started(gdiplus)) return kExitFailure;
  const platform::ComPtr<IImageInfoNW> image = NewSecondaryCaptureImage({});
  platform::ComPtr<IOndrel> core;
  HRESULT hr = CoCreateInstance(CLSID_OndrelImpl, nullptr, CLSCTX_ALL, IID_IOndrel,
                                reinterpret_cast<void**>(core.GetAddressOf()));
  if (FAILED(hr)) throw MethodFailure("CoCreateInstance", hr, TakeErrorDescription());
  hr = core->ImportImageAsDICOMFile(platform::BStr(ToWide(picture)).Get(), image.Get());
  if (FAILED(hr)) throw ImportFailure(picture, hr, TakeErrorDescription());
  CheckStored(image.Get());
  return kExitSuccess;
}

}  // namespace

int RunImport(std::span<const std::string_view> args) {
  std::vector<std::string_view> rest;
  bool store = false;
  for (const std::string_view arg : args) {
    if (arg == "--store")
      store = true;
    else
      rest.push_back(arg);
  }
  if (store) {
    if (rest.size() != 1 || rest[0].starts_with("-")) throw UsageError{"import --store takes one PICTURE and no -o"};
    return RunImportStored(std::string(rest[0]));
  }
  const auto [picture, target] = ParseInputAndOutput(rest, "import", "PICTURE", "OUT.dcm");

  StartComponentHost();
  const GdiplusSession gdiplus;
  if (!Started(gdiplus)) return kExitFailure;
  OutputFile output(target);
  const platform::ComPtr<IImageInfoNW> image = NewSecondaryCaptureImage(output.Path());
  platform::ComPtr<IOndrel> core;
  HRESULT hr = CoCreateInstance(CLSID_OndrelImpl, nullptr, CLSCTX_ALL, IID_IOndrel,
                                reinterpret_cast<void**>(core.GetAddressOf()));
  if (FAILED(hr)) throw MethodFailure("CoCreateInstance", hr, TakeErrorDescription());
  errno = 0;
  hr = core->ImportImageAsDICOMFile(platform::BStr(ToWide(picture)).Get(), image.Get());
  if (FAILED(hr)) throw ImportFailure(picture, hr, TakeErrorDescription());
  CheckWritten(output);
  output.Commit();

  USHORT rows = 0;
  USHORT columns = 0;
  platform::BStr photometric;
  platform::BStr uid;
  image->GetRows(&rows);
  image->GetColumns(&columns);
  image->GetPhotometricInterpretation(photometric.Out());
  image->GetSopInstanceUid(uid.Out());
  std::cout << "wrote " << target << ": " << columns << "x" << rows << " " << ToConsole(photometric.ToString())
            << ", SOP Instance UID " << ToConsole(uid.ToString()) << "\n";
  return kExitSuccess;
}

}  // namespace ondrel::cli
