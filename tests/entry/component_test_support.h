// What the component tests share: the image object of a file as the workstation builds it, and a
// guard that hides the process-wide corner texts for a test that compares picture pixels.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/errorinfo.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/host_window.h"
#include "ondrel/study_builder.h"

namespace component_test {

// The first image of the first series the study builder makes of `file`; null when it makes none.
inline ondrel::platform::ComPtr<IImageInfoNW> FirstImageOf(const std::string& file) {
  const ondrel::StudyGraph graph = ondrel::BuildStudies({file});
  ondrel::platform::ComPtr<IImageInfoNW> image;
  if (graph.series.empty()) return image;
  SAFEARRAY* images = nullptr;
  graph.series[0]->GetSeriesImages(&images);
  LONG first = 0;
  ondrel::platform::ComPtr<IUnknown> element;
  SafeArrayGetElement(images, &first, element.GetAddressOf());
  SafeArrayDestroy(images);
  element.As(&image);
  return image;
}

// The description and source of the thread's error information, taken.
inline std::pair<std::u16string, std::u16string> TakeErrorInfo() {
  ondrel::platform::ComPtr<IErrorInfo> info;
  if (GetErrorInfo(0, info.GetAddressOf()) != S_OK) return {u"(none)", u"(none)"};
  ondrel::platform::BStr description;
  ondrel::platform::BStr source;
  info->GetDescription(description.Out());
  info->GetSource(source.Out());
  return {description.ToString(), source.ToString()};
}

// Hides the corner texts, which would cover the picture, and shows them again afterwards if they were
// shown: the switch is process-wide.
class OverlaysHidden {
 public:
  explicit OverlaysHidden(IOndrel* ondrel) : ondrel_(ondrel) {
    VARIANT_BOOL shown = VARIANT_FALSE;
    EXPECT_EQ(ondrel_->AreOverlaysVisible(&shown), S_OK);
    wasShown_ = shown == VARIANT_TRUE;
    if (wasShown_) {
      EXPECT_EQ(ondrel_->ToggleOverlaysVisibility(), S_OK);
    }
  }
  ~OverlaysHidden() {
    if (wasShown_) ondrel_->ToggleOverlaysVisibility();
  }
  OverlaysHidden(const OverlaysHidden&) = delete;
  OverlaysHidden& operator=(const OverlaysHidden&) = delete;

 private:
  ondrel::platform::ComPtr<IOndrel> ondrel_;
  bool wasShown_ = false;
};

// A registered component with GDI+ started and the overlays hidden, and the host windows a test makes,
// destroyed with it.
class ComponentTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(DllRegisterServer(), S_OK);
    ASSERT_EQ(RegisterWorkstationClasses(), S_OK);
    const Gdiplus::GdiplusStartupInput input;
    Gdiplus::GdiplusStartup(&token_, &input, nullptr);
    ASSERT_EQ(CoCreateInstance(CLSID_OndrelImpl, nullptr, CLSCTX_ALL, IID_IOndrel,
                               reinterpret_cast<void**>(ondrel_.GetAddressOf())),
              S_OK);
    overlaysHidden_.emplace(ondrel_.Get());
  }
  void TearDown() override {
    overlaysHidden_.reset();
    ondrel_.Reset();
    for (const HWND window : windows_) DestroyWindow(window);
    Gdiplus::GdiplusShutdown(token_);
    UnregisterWorkstationClasses();
    DllUnregisterServer();
  }

  HWND Window(int width, int height) {
    windows_.push_back(ondrel::platform::CreateHostWindow(width, height));
    return windows_.back();
  }

  ondrel::platform::ComPtr<IOndrel> ondrel_;

 private:
  ULONG_PTR token_ = 0;
  std::optional<OverlaysHidden> overlaysHidden_;
  std::vector<HWND> windows_;
};

}  // namespace component_test
