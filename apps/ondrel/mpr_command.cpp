#include "mpr_command.h"

#include <iostream>
#include <string>
#include <vector>

#include "command_table.h"
#include "failure_text.h"
#include "host_setup.h"
#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/host_window.h"
#include "window_picture.h"

namespace ondrel::cli {
namespace {

using platform::ComPtr;

// Shows the image in a window of its own size and writes what the window shows.
void WritePicture(IOndrel& core, IImageInfoNW* image, const std::string& file) {
  USHORT rows = 0;
  USHORT columns = 0;
  image->GetRows(&rows);
  image->GetColumns(&columns);
  const HWND window = platform::CreateHostWindow(columns, rows);
  const HRESULT hr = core.RenderImage(image, window, VARIANT_FALSE);
  if (FAILED(hr)) {
    DestroyWindow(window);
    throw MethodFailure("RenderImage", hr, TakeErrorDescription());
  }
  WriteWindowPicture(window, file);
  DestroyWindow(window);
  std::cout << "wrote " << file << ": " << columns << "x" << rows << "\n";
}

IImageInfoNW* Middle(const std::vector<ComPtr<IImageInfoNW>>& images) { return images[images.size() / 2].Get(); }

}  // namespace

int RunMpr(std::span<const std::string_view> args) {
  bool mip = false;
  std::vector<std::string_view> rest;
  for (const std::string_view arg : args) {
    if (arg == "--mip") {
      mip = true;
    } else {
      rest.push_back(arg);
    }
  }
  const auto [input, prefix] = ParseInputAndOutput(rest, "mpr", "FILE|DIR", "PREFIX");

  StartComponentHost();
  const GdiplusSession gdiplus;
  if (!Started(gdiplus)) return kExitFailure;
  const std::vector<ComPtr<IImageInfoNW>> stack = LargestSeries(input);

  ComPtr<IOndrel> core;
  HRESULT hr = CoCreateInstance(CLSID_OndrelImpl, nullptr, CLSCTX_ALL, IID_IOndrel,
                                reinterpret_cast<void**>(core.GetAddressOf()));
  if (FAILED(hr)) throw MethodFailure("CoCreateInstance", hr, TakeErrorDescription());
  // The corner texts would cover the pictures.
  core->ToggleOverlaysVisibility();
  ComPtr<ISeriesInfoNW> first;
  ComPtr<ISeriesInfoNW> second;
  ComPtr<ISeriesInfoNW> oblique;
  hr = core->GenerateMprSeries(Middle(stack), first.GetAddressOf(), second.GetAddressOf(), oblique.GetAddressOf());
  if (FAILED(hr)) throw MethodFailure("GenerateMprSeries", hr, TakeErrorDescription());
  WritePicture(*core.Get(), Middle(SeriesImages(first.Get())), std::string(prefix) + "-first.png");
  WritePicture(*core.Get(), Middle(SeriesImages(second.Get())), std::string(prefix) + "-second.png");
  WritePicture(*core.Get(), Middle(SeriesImages(oblique.Get())), std::string(prefix) + "-oblique.png");
  if (mip) {
    ComPtr<ISeriesInfoNW> projection;
    hr = core->GenerateMipSeries(Middle(stack), projection.GetAddressOf());
    if (FAILED(hr)) throw MethodFailure("GenerateMipSeries", hr, TakeErrorDescription());
    WritePicture(*core.Get(), Middle(SeriesImages(projection.Get())), std::string(prefix) + "-mip.png");
  }
  core->EndMprMode();
  core->ToggleOverlaysVisibility();
  return kExitSuccess;
}

}  // namespace ondrel::cli
