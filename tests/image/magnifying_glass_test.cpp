// The magnifying glass on an 8 x 8 image shown one buffer pixel per window pixel, so that the window
// shows the glass's buffer exactly: glass pixels against values worked out by hand from the display
// buffer the glass starts from.
#include "image/magnifying_glass.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <utility>
#include <vector>

#include "foundation/user_preferences.h"
#include "ondrel/platform/host_window.h"
#include "sources/image_info_strategies.h"
#include "image/pixels_support.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;

constexpr int kSide = 8;

// Sets the glass's preferences for a test and puts the user's back afterwards.
class GlassPreferences {
 public:
  GlassPreferences(int magnification, int width, int height) {
    Preferences().userMagGlassMagnification = magnification;
    Preferences().userMagGlassWidth = width;
    Preferences().userMagGlassHeight = height;
  }
  ~GlassPreferences() {
    Preferences().userMagGlassMagnification = magnification_;
    Preferences().userMagGlassWidth = width_;
    Preferences().userMagGlassHeight = height_;
  }
  GlassPreferences(const GlassPreferences&) = delete;
  GlassPreferences& operator=(const GlassPreferences&) = delete;

 private:
  const int magnification_ = Preferences().userMagGlassMagnification;
  const int width_ = Preferences().userMagGlassWidth;
  const int height_ = Preferences().userMagGlassHeight;
};

// An 8 x 8 grey image, values 100 + column + 8 x row, drawn fast into an 8 x 8 window under `intent`.
class ShownImage {
 public:
  explicit ShownImage(const PresentationIntent& intent) : intent_(intent) {
    graph_.image->SetRows(kSide);
    graph_.image->SetColumns(kSide);
    graph_.image->SetSamplesPerPixel(1);
    graph_.image->SetBitsStored(8);
    graph_.image->SetBitsAllocated(8);
    graph_.image->SetPhotometricInterpretation(BStr(u"MONOCHROME2").Get());
    for (int i = 0; i < kSide * kSide; ++i) pixels_[i] = static_cast<BYTE>(100 + i);
    intent_.windowLevel = WindowLevel{400, 100, 1, 0};  // every value well above black
    image_ = std::make_unique<Image>(image_test::FrameOf(pixels_),
                                     std::make_unique<ImageInfoWStationStrategy>(graph_.image.Get()), &intent_);
    image_->PrepareAndDraw(window_, true, true);
    samples_ = intent.palette != 0 ? 3 : 1;
    display_.assign(image_->DisplayBits(), image_->DisplayBits() + samples_ * kSide * kSide);
  }
  ~ShownImage() { DestroyWindow(window_); }
  ShownImage(const ShownImage&) = delete;
  ShownImage& operator=(const ShownImage&) = delete;

  Image& Get() { return *image_; }
  HWND Window() const { return window_; }
  // A sample of the display buffer before the glass; y counts the buffer's rows, bottom-up.
  int Display(int x, int y, int s) const { return display_[(y * kSide + x) * samples_ + s]; }
  // What the window shows at buffer pixel (x, y), in the buffer's blue, green, red order.
  int Shown(int x, int y, int s) {
    ondrel::platform::WindowPixels pixels;
    EXPECT_TRUE(ondrel::platform::ReadWindowPixels(window_, pixels));
    return pixels.bgra[((kSide - 1 - y) * kSide + x) * 4 + (samples_ == 3 ? s : 0)];
  }
  int Samples() const { return samples_; }

 private:
  ClassesRegistered registered_;
  Graph graph_;
  PresentationIntent intent_;
  BYTE pixels_[kSide * kSide] = {};
  HWND window_ = ondrel::platform::CreateHostWindow(kSide, kSide);
  std::unique_ptr<Image> image_;
  std::vector<BYTE> display_;
  int samples_ = 1;
};

// At m = 1 the glass copies its source window; only the target window's last column and row (x = cx + 2,
// y = cy + 2), where no source pixel lands, turn black. Pointing at window pixel (5, 1) must centre the
// glass on buffer pixel (5, 6), the one under the pointer, whatever the turn and the mirrors: the black
// cells then are column 7 from row 4 up and row 7 from column 3 on (the source window stops at row 6).
TEST(MagnifyingGlass, AtOneTimesItCopiesAndCentresUnderThePointerInEveryTurn) {
  const GlassPreferences preferences(1, 4, 4);
  const struct {
    const char* what;
    SHORT rotation;
    BYTE flipX;
    BYTE flipY;
  } cases[] = {{"plain", 0, 0, 0},    {"mirrored left-right", 0, 1, 0}, {"mirrored up-down", 0, 0, 1},
               {"turned 90", 90, 0, 0}, {"turned 180", 180, 0, 0},       {"turned 270", 270, 0, 0},
               {"turned 90 and mirrored", 90, 1, 0}};
  for (const auto& c : cases) {
    PresentationIntent intent;
    intent.rotation = c.rotation;
    intent.flipX = c.flipX;
    intent.flipY = c.flipY;
    ShownImage shown(intent);
    MagnifyingGlass(shown.Get(), shown.Window(), POINT{5, 1});
    int wrong = 0;
    for (int y = 0; y < kSide; ++y)
      for (int x = 0; x < kSide; ++x) {
        const bool black = (x == 7 && y >= 4) || (y == 7 && x >= 3);
        if (shown.Shown(x, y, 0) != (black ? 0 : shown.Display(x, y, 0))) ++wrong;
      }
    EXPECT_EQ(wrong, 0) << c.what;
  }
}

// At m = 2 with the pointer at window pixel (1, 6), buffer pixel (1, 1): the source window is cut to
// columns and rows 0 to 3, the target window runs from -3 to 5 and is not cut, so most of the
// enlargement lands outside the buffer. What lands inside, columns and rows 0 to 2, is the source
// sampled at 1.5, 2 and 2.5 (bilinearly, each sample alone); the rest of the target window inside the
// buffer (up to 5) is black; beyond it the picture is unchanged.
TEST(MagnifyingGlass, NearTheEdgeTheTargetIsDroppedOutsideAndEachSampleInterpolatedAlone) {
  const GlassPreferences preferences(2, 4, 4);
  for (const LONG palette : {LONG{COLOR_PALETTE_NONE}, LONG{COLOR_PALETTE_HOT_IRON}}) {
    PresentationIntent intent;
    intent.palette = palette;
    ShownImage shown(intent);
    MagnifyingGlass(shown.Get(), shown.Window(), POINT{1, 6});
    // The source at a position given in half pixels, by the bilinear definition.
    const auto between = [&](int twiceX, int twiceY, int s) {
      const int x0 = twiceX / 2;
      const int y0 = twiceY / 2;
      const double fx = (twiceX % 2) / 2.0;
      const double fy = (twiceY % 2) / 2.0;
      return static_cast<int>(shown.Display(x0, y0, s) * (1 - fx) * (1 - fy) + shown.Display(x0 + 1, y0, s) * fx * (1 - fy) +
                              shown.Display(x0, y0 + 1, s) * (1 - fx) * fy + shown.Display(x0 + 1, y0 + 1, s) * fx * fy);
    };
    int wrong = 0;
    for (int y = 0; y < kSide; ++y)
      for (int x = 0; x < kSide; ++x)
        for (int s = 0; s < shown.Samples(); ++s) {
          int expected = shown.Display(x, y, s);
          if (x <= 5 && y <= 5) expected = 0;
          if (x <= 2 && y <= 2) expected = between(3 + x, 3 + y, s);
          if (shown.Shown(x, y, s) != expected) ++wrong;
        }
    EXPECT_EQ(wrong, 0) << "palette " << palette;
  }
}

}  // namespace
