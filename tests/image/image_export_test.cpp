// Export and import against what the window shows and what ImageMagick reads from the files.
#include "image/image_export.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "image/overlays.h"
#include "ondrel/platform/host_window.h"
#include "sources/image_info_strategies.h"
#include "image/pixels_support.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;
using namespace Gdiplus;
using namespace Gdiplus::DllExports;
namespace fs = std::filesystem;

struct GdiplusStarted {
  GdiplusStarted() { EXPECT_EQ(GdiplusStartup(&token, &input, nullptr), Ok); }
  ~GdiplusStarted() { GdiplusShutdown(token); }
  const GdiplusStartupInput input;
  ULONG_PTR token = 0;
};

struct TempFolder {
  TempFolder() { fs::create_directories(path); }
  ~TempFolder() { fs::remove_all(path); }
  const fs::path path = fs::temp_directory_path() / ("ondrel-export-test-" + std::to_string(std::random_device()()));
};

std::string FileBytes(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// ImageMagick's reading of a picture as 8-bit RGB; empty when `convert` fails or is not there.
std::string ConvertToRgb(const fs::path& picture, const fs::path& folder) {
  const fs::path rgb = folder / "convert.rgb";
  const std::string command = "convert '" + picture.string() + "' -depth 8 rgb:'" + rgb.string() + "' 2>/dev/null";
  return std::system(command.c_str()) == 0 ? FileBytes(rgb) : std::string();
}

// The window's pixels as RGB, top-down.
std::string WindowRgb(HWND window) {
  ondrel::platform::WindowPixels pixels;
  EXPECT_TRUE(ondrel::platform::ReadWindowPixels(window, pixels));
  std::string rgb;
  for (std::size_t i = 0; i < pixels.bgra.size(); i += 4)
    rgb += {static_cast<char>(pixels.bgra[i + 2]), static_cast<char>(pixels.bgra[i + 1]), static_cast<char>(pixels.bgra[i])};
  return rgb;
}

// A grey image of `rows` x `columns`, values rising along the rows, shown in a 40 x 30 window.
class ShownImage {
 public:
  ShownImage(USHORT rows, USHORT columns, const PresentationIntent& intent) : intent_(intent), pixels_(rows * columns) {
    graph_.image->SetRows(rows);
    graph_.image->SetColumns(columns);
    graph_.image->SetSamplesPerPixel(1);
    graph_.image->SetBitsStored(8);
    graph_.image->SetBitsAllocated(8);
    graph_.image->SetPhotometricInterpretation(BStr(u"MONOCHROME2").Get());
    for (std::size_t i = 0; i < pixels_.size(); ++i) pixels_[i] = static_cast<BYTE>(i % 251);
    intent_.windowLevel = WindowLevel{256, 128, 1, 0};
    image_ = std::make_unique<Image>(image_test::FrameOf(pixels_),
                                     std::make_unique<ImageInfoWStationStrategy>(graph_.image.Get()), &intent_);
    image_->PrepareAndDraw(window_, true, false);
  }
  ~ShownImage() { DestroyWindow(window_); }
  ShownImage(const ShownImage&) = delete;
  ShownImage& operator=(const ShownImage&) = delete;
  Image& Get() { return *image_; }
  HWND Window() const { return window_; }

 private:
  Graph graph_;
  PresentationIntent intent_;
  std::vector<BYTE> pixels_;
  HWND window_ = ondrel::platform::CreateHostWindow(40, 30);
  std::unique_ptr<Image> image_;
};

class Export : public ::testing::Test {
 protected:
  const ClassesRegistered registered_;
  const GdiplusStarted gdiplus_;
  const TempFolder folder_;
};

TEST_F(Export, AnEncodingThatIsNoMimeTypeWritesNothingAndPngWritesTheWindow) {
  ShownImage shown(6, 9, PresentationIntent{});
  for (const char16_t* encoding : {u"png", u"image/PNG", u".png"}) {
    const fs::path file = folder_.path / "unknown.png";
    EXPECT_NO_THROW(SaveImageAsFile(shown.Get(), shown.Window(), encoding, file.u16string()));
    EXPECT_FALSE(fs::exists(file));
  }
  const fs::path png = folder_.path / "window.png";
  SaveImageAsFile(shown.Get(), shown.Window(), u"image/png", png.u16string());
  const std::string read = ConvertToRgb(png, folder_.path);
  ASSERT_FALSE(read.empty()) << "ImageMagick's convert read nothing (scripts/setup installs it)";
  EXPECT_EQ(read, WindowRgb(shown.Window()));
}

TEST_F(Export, TheCaptureTakesTheWholeClientAreaWhateverRectangleIsGiven) {
  ShownImage shown(6, 9, PresentationIntent{});
  RECT rectangle{10, 20, 15, 25};
  const HBITMAP bitmap = CaptureImageBitmap(shown.Get(), shown.Window(), rectangle);
  EXPECT_EQ(rectangle.right - rectangle.left, 40);
  EXPECT_EQ(rectangle.bottom - rectangle.top, 30);
  GpBitmap* picture = nullptr;
  ASSERT_EQ(GdipCreateBitmapFromHBITMAP(bitmap, nullptr, &picture), Ok);
  UINT width = 0;
  UINT height = 0;
  GdipGetImageWidth(picture, &width);
  GdipGetImageHeight(picture, &height);
  GdipDisposeImage(picture);
  EXPECT_EQ(width, 40U);
  EXPECT_EQ(height, 30U);
  ReleaseCapturedBitmap(shown.Get());
  EXPECT_EQ(shown.Get().CapturedBitmap(), nullptr);
  EXPECT_FALSE(DeleteObject(bitmap));  // already deleted
}

// 5 rows of 130 columns come back as 8 rows of 132, the display buffer's rows top-down: as they stand
// for grey, and as red, green and blue planes under a palette; a quarter turn exchanges the sizes.
TEST_F(Export, PixelDataComesTopDownWithRowsAndColumnsPadded) {
  struct OverlaysHidden {
    OverlaysHidden() { SetOverlaysVisible(false); }
    ~OverlaysHidden() { SetOverlaysVisible(was); }
    const bool was = OverlaysVisible();
  } hidden;
  const struct {
    LONG palette;
    SHORT rotation;
    LONG rows;
    LONG columns;
  } cases[] = {{COLOR_PALETTE_NONE, 0, 8, 132}, {COLOR_PALETTE_RAINBOW, 0, 8, 132}, {COLOR_PALETTE_NONE, 90, 132, 8}};
  for (const auto& c : cases) {
    PresentationIntent intent;
    intent.palette = c.palette;
    intent.rotation = c.rotation;
    ShownImage shown(5, 130, intent);
    SAFEARRAY* array = nullptr;
    LONG rows = 0;
    LONG columns = 0;
    VARIANT_BOOL colour = 1;
    GetImageCurrentPixelData(shown.Get(), &array, &rows, &columns, &colour);
    EXPECT_EQ(rows, c.rows);
    EXPECT_EQ(columns, c.columns);
    EXPECT_EQ(colour, c.palette != 0 ? VARIANT_TRUE : VARIANT_FALSE);
    const std::size_t plane = static_cast<std::size_t>(rows) * columns;
    const std::size_t samples = c.palette != 0 ? 3 : 1;
    LONG upper = 0;
    SafeArrayGetUBound(array, 1, &upper);
    ASSERT_EQ(static_cast<std::size_t>(upper) + 1, samples * plane);
    void* data = nullptr;
    SafeArrayAccessData(array, &data);
    const auto* out = static_cast<const BYTE*>(data);
    const BYTE* display = shown.Get().DisplayBits();
    int wrong = 0;
    for (LONG y = 0; y < rows; ++y)
      for (LONG x = 0; x < columns; ++x)
        for (std::size_t s = 0; s < samples; ++s) {
          // Display samples are blue, green, red; planes are red, green, blue.
          const BYTE want = display[((rows - 1 - y) * columns + x) * samples + (samples - 1 - s)];
          if (out[s * plane + static_cast<std::size_t>(y * columns + x)] != want) ++wrong;
        }
    EXPECT_EQ(wrong, 0) << "palette " << c.palette << ", rotation " << c.rotation;
    SafeArrayUnaccessData(array);
    SafeArrayDestroy(array);
  }
}

// An 8-bit paletted PNG becomes 8-bit RGB pixels, interleaved, in the image object's file: the last
// element of the data set, 13 x 7 x 3 = 273 bytes and one of padding.
TEST_F(Export, AnImportedPalettePictureBecomesRgbPixels) {
  const Graph graph;
  const fs::path dicom = folder_.path / "imported.dcm";
  graph.image->SetFileName(BStr(dicom.u16string()).Get());
  const fs::path picture = ONDREL_TEST_DATA_DIR "/pictures/palette.png";
  ImportImageAsDICOMFile(picture.u16string().c_str(), std::make_unique<ImageInfoWStationStrategy>(graph.image.Get()));
  EXPECT_EQ(ReadText(graph.image.Get(), &IImageInfoNW::GetPhotometricInterpretation), u"RGB");
  USHORT rows = 0;
  USHORT columns = 0;
  USHORT samples = 0;
  graph.image->GetRows(&rows);
  graph.image->GetColumns(&columns);
  graph.image->GetSamplesPerPixel(&samples);
  EXPECT_EQ(rows, 7);
  EXPECT_EQ(columns, 13);
  EXPECT_EQ(samples, 3);
  EXPECT_NE(ReadText(graph.image.Get(), &IImageInfoNW::GetSopInstanceUid), u"(not available)");

  const std::string file = FileBytes(dicom);
  ASSERT_GT(file.size(), 132U + 282U);
  const std::string element = file.substr(file.size() - 282);
  EXPECT_EQ(element.substr(0, 8), std::string("\xE0\x7F\x10\x00\x12\x01\x00\x00", 8));  // (7FE0,0010), 274 bytes
  EXPECT_EQ(element.back(), '\0');
  const std::string expected = ConvertToRgb(picture, folder_.path);
  ASSERT_FALSE(expected.empty()) << "ImageMagick's convert read nothing (scripts/setup installs it)";
  EXPECT_EQ(element.substr(8, 273), expected);
}

TEST_F(Export, AnImageSavedAsDicomWritesNothing) {
  const Graph graph;
  const fs::path dicom = folder_.path / "none.dcm";
  graph.image->SetFileName(BStr(dicom.u16string()).Get());
  ShownImage shown(6, 9, PresentationIntent{});
  SaveImageAsDICOMFile(shown.Window(), dicom.u16string().c_str(),
                       std::make_unique<ImageInfoWStationStrategy>(graph.image.Get()));
  EXPECT_FALSE(fs::exists(dicom));
}

// The consult image is what the window shows, overlays included.
TEST_F(Export, AConsultImageHoldsTheWindowsPixels) {
  ShownImage shown(6, 9, PresentationIntent{});
  const Graph consult;
  const fs::path dicom = folder_.path / "consult.dcm";
  consult.image->SetFileName(BStr(dicom.u16string()).Get());
  ImageInfoWStationStrategy strategy(consult.image.Get());
  SaveConsultImage(shown.Get(), shown.Window(), &strategy);
  const std::string file = FileBytes(dicom);
  const std::string window = WindowRgb(shown.Window());
  ASSERT_GT(file.size(), window.size());
  EXPECT_EQ(file.substr(file.size() - window.size()), window);  // 40 x 30 x 3 is even: no padding
}

}  // namespace
