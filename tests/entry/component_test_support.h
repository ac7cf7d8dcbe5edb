// What the component tests share: the image object of a file as the workstation builds it, and a
// guard that hides the process-wide corner texts for a test that compares picture pixels.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "ondrel/ondrel.h"
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

}  // namespace component_test
