#include "import_command.h"

#include <iostream>
#include <string>

#include "command_table.h"
#include "console_text.h"
#include "foundation/text_utils.h"
#include "host_setup.h"
#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/hresult_exception.h"

namespace ondrel::cli {

int RunImport(std::span<const std::string_view> args) {
  const auto [picture, output] = ParseInputAndOutput(args, "import", "PICTURE", "OUT.dcm");

  StartComponentHost();
  const GdiplusSession gdiplus;
  if (!Started(gdiplus)) return kExitFailure;
  const platform::ComPtr<IImageInfoNW> image = NewSecondaryCaptureImage(output);
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
