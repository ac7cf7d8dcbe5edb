// libFuzzer target of the whole render path, as a host drives it: any bytes, taken as a DICOM file,
// built into image objects, rendered into a window and put through the display operations, must end
// in results and failure codes; never in a crash, a leak or a hang. A header may not make the core
// allocate much more than the file holds (a frame shorter than half its header's size is refused, a
// decoder stops at what the header allows), so it runs under a small malloc limit.
//
// Build and run: see tests/fuzz/README.md.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/host_window.h"
#include "ondrel/study_builder.h"

namespace {

using ondrel::platform::ComPtr;

struct Host {
  Host() {
    DllRegisterServer();
    RegisterWorkstationClasses();
    const Gdiplus::GdiplusStartupInput input;
    Gdiplus::GdiplusStartup(&token, &input, nullptr);
    CoCreateInstance(CLSID_OndrelImpl, nullptr, CLSCTX_ALL, IID_IOndrel, reinterpret_cast<void**>(ondrel.GetAddressOf()));
    window = ondrel::platform::CreateHostWindow(96, 64);
    file = (std::filesystem::temp_directory_path() /
            ("ondrel_render_fuzzer_" + std::to_string(std::random_device()()) + ".dcm"))
               .string();
  }
  ULONG_PTR token = 0;
  ComPtr<IOndrel> ondrel;
  HWND window = nullptr;
  std::string file;
};

Host& TheHost() {
  static Host* const host = new Host();
  return *host;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Host& host = TheHost();
  if (!host.ondrel) __builtin_trap();
  std::ofstream(host.file, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  const ondrel::StudyGraph graph = ondrel::BuildStudies({host.file});
  if (graph.series.empty()) return 0;
  SAFEARRAY* images = nullptr;
  if (FAILED(graph.series[0]->GetSeriesImages(&images))) return 0;
  LONG first = 0;
  ComPtr<IUnknown> element;
  SafeArrayGetElement(images, &first, element.GetAddressOf());
  SafeArrayDestroy(images);
  ComPtr<IImageInfoNW> image;
  if (!element || FAILED(element.As(&image))) return 0;

  IOndrel& ondrel = *host.ondrel.Get();
  ondrel.RenderImage(image.Get(), host.window, VARIANT_FALSE);
  ondrel.WindowLevelImage(host.window, 3, -2);
  ondrel.ApplyColorPalette(host.window, COLOR_PALETTE_HOT_IRON);
  ondrel.RotateFlipImage(host.window, ROTATE_RIGHT);
  ondrel.ZoomImage(host.window, 250);
  ondrel.MagnifyingGlass(host.window, tagPOINT{40, 30});
  ondrel.InvertImage(host.window);
  ondrel.Draw(host.window);
  BSTR uid = nullptr;
  if (image->GetSopInstanceUid(&uid) == S_OK) ondrel.UnloadImage(uid);
  SysFreeString(uid);
  return 0;
}
