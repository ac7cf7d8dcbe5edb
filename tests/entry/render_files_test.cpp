// Real files through the component, as a host renders them: what the window shows at scale one (the
// picture's padded size fits the window, zoom 100), so that no resampling enters, against references
// that scripts/make_render_references computed from the files with pydicom and DCMTK
// (tests/data/render/README.md says how, and how they differ from DCMTK's own windowing).
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/host_window.h"
#include "component_test_support.h"

namespace {

using ondrel::platform::ComPtr;

// A binary PGM or PPM of tests/data/render: top-down, one or three samples a pixel.
struct Reference {
  int width = 0;
  int height = 0;
  int channels = 0;
  std::vector<BYTE> samples;
};

Reference ReadReference(const std::string& name) {
  std::ifstream in(ONDREL_TEST_DATA_DIR "/render/" + name, std::ios::binary);
  const std::string data{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  std::vector<std::string> fields;
  std::size_t at = 0;
  while (fields.size() < 4 && at < data.size()) {
    if (std::isspace(static_cast<unsigned char>(data[at])) != 0) {
      ++at;
    } else if (data[at] == '#') {
      at = data.find('\n', at);
    } else {
      const std::size_t start = at;
      while (at < data.size() && std::isspace(static_cast<unsigned char>(data[at])) == 0) ++at;
      fields.push_back(data.substr(start, at - start));
    }
  }
  Reference reference;
  if (fields.size() < 4 || (fields[0] != "P5" && fields[0] != "P6") || fields[3] != "255") return reference;
  reference.width = std::stoi(fields[1]);
  reference.height = std::stoi(fields[2]);
  reference.channels = fields[0] == "P5" ? 1 : 3;
  const std::size_t size = static_cast<std::size_t>(reference.width) * reference.height * reference.channels;
  if (data.size() < at + 1 + size) return Reference{};
  reference.samples.assign(data.begin() + static_cast<std::ptrdiff_t>(at + 1),
                           data.begin() + static_cast<std::ptrdiff_t>(at + 1 + size));
  return reference;
}

class RenderedFiles : public component_test::ComponentTest {
 protected:
  // The image object of a file under tests/data, as the workstation builds it.
  static ComPtr<IImageInfoNW> ImageOf(const std::string& file) {
    return component_test::FirstImageOf(ONDREL_TEST_DATA_DIR "/" + file);
  }

  // The pixels of the window that differ from the reference placed at left, top, with the first of
  // them described; empty when none does.
  static std::string Differences(HWND window, const Reference& reference, int left, int top) {
    ondrel::platform::WindowPixels pixels;
    if (!ondrel::platform::ReadWindowPixels(window, pixels)) return "the window can't be read";
    if (reference.samples.empty()) return "the reference can't be read";
    int wrong = 0;
    char first[160] = "";
    for (int y = 0; y < reference.height; ++y)
      for (int x = 0; x < reference.width; ++x) {
        const BYTE* want = &reference.samples[(static_cast<std::size_t>(y) * reference.width + x) * reference.channels];
        const BYTE red = want[0];
        const BYTE green = want[reference.channels == 3 ? 1 : 0];
        const BYTE blue = want[reference.channels == 3 ? 2 : 0];
        const BYTE* bgra = &pixels.bgra[(static_cast<std::size_t>(top + y) * pixels.width + left + x) * 4];
        if (bgra[2] == red && bgra[1] == green && bgra[0] == blue) continue;
        if (wrong++ == 0)
          std::snprintf(first, sizeof first, "first at %d,%d: shows %d,%d,%d, expected %d,%d,%d", x, y, bgra[2],
                        bgra[1], bgra[0], red, green, blue);
      }
    return wrong == 0 ? std::string() : std::to_string(wrong) + " pixels differ; " + first;
  }
};

using Operations = std::function<void(IOndrel&, HWND)>;

void None(IOndrel&, HWND) {}

// Each case's window is as wide as the picture's padded width and 48 pixels taller than its padded
// height, so that the fitted picture lands at scale one in a band of its own, clear of the tag mark
// drawn in the window's bottom-right corner; the turned picture, 4 wide, stands in the middle of a
// window 48 wide and exactly as high as its padded height.
struct Case {
  const char* what;
  const char* file;  // under tests/data
  Operations operations;
  const char* reference;  // under tests/data/render
  int windowWidth;
  int windowHeight;
  int left;  // where the picture's top-left pixel lands
  int top;
};

TEST_F(RenderedFiles, EachPictureMatchesItsReferenceAtScaleOne) {
  const auto preset = [](LONG width, LONG level) {
    return [=](IOndrel& o, HWND w) { ASSERT_EQ(o.ApplyWindowLevelPreset(w, width, level), S_OK); };
  };
  const auto palette = [](ColorPaletteEnum which) {
    return [=](IOndrel& o, HWND w) { ASSERT_EQ(o.ApplyColorPalette(w, which), S_OK); };
  };
  const Case cases[] = {
      {"MR, 16 bits signed, under the file's window", "dicom/MR_small.dcm", None, "MR_small_w1600_c600.pgm", 64, 112, 0,
       24},
      {"MR under a preset", "dicom/MR_small.dcm", preset(400, 300), "MR_small_w400_c300.pgm", 64, 112, 0, 24},
      {"CT without a window in the file: the window of its pixel range, 0 included", "dicom/CT_small.dcm", None,
       "CT_small_pixel_range.pgm", 128, 176, 0, 24},
      {"12 bits signed: the sign in bit 11", "render/signed12_8x4.dcm", None, "signed12_8x4.pgm", 8, 52, 0, 24},
      {"12 bits signed with the sign extended into bits 12 to 15: the same picture",
       "render/signed12_extended_8x4.dcm", None, "signed12_8x4.pgm", 8, 52, 0, 24},
      {"the CT as 12 bits signed and sign extended: negative values dark, as in the original",
       "render/CT_small_s12_extended.dcm", None, "CT_small_pixel_range.pgm", 128, 176, 0, 24},
      {"MONOCHROME1 shows inverted", "render/MR_small_MONOCHROME1.dcm", None, "MR_small_MONOCHROME1_w1600_c600.pgm", 64,
       112, 0, 24},
      {"MONOCHROME1 inverted by the user shows the raw polarity", "render/MR_small_MONOCHROME1.dcm",
       [](IOndrel& o, HWND w) { ASSERT_EQ(o.InvertImage(w), S_OK); }, "MR_small_w1600_c600.pgm", 64, 112, 0, 24},
      {"rainbow on grey", "dicom/MR_small.dcm", palette(COLOR_PALETTE_RAINBOW), "MR_small_w1600_c600_rainbow.ppm", 64,
       112, 0, 24},
      {"hot iron on grey", "dicom/MR_small.dcm", palette(COLOR_PALETTE_HOT_IRON), "MR_small_w1600_c600_hot_iron.ppm",
       64, 112, 0, 24},
      {"hot blue metal on grey", "dicom/MR_small.dcm", palette(COLOR_PALETTE_HOT_BLUE_METAL),
       "MR_small_w1600_c600_hot_blue_metal.ppm", 64, 112, 0, 24},
      {"RGB: the colour window 255/127 shows every value as stored but 254, which shows as 255",
       "render/rgb_ramp_4x4.dcm", None, "rgb_ramp_4x4.ppm", 4, 52, 0, 24},
      {"RGB without samples per pixel: one grey byte a pixel, drawn as grey and never read as three",
       "render/rgb_without_samples_4x4.dcm", None, "rgb_without_samples_4x4.pgm", 4, 52, 0, 24},
      {"RGB of 3 x 3, padded to 4 x 4", "render/SC_rgb_small_odd.dcm", None, "SC_rgb_small_odd.ppm", 4, 52, 0, 24},
      {"RGB of 100 x 100 under the colour window", "render/SC_rgb_100x100.dcm", None, "SC_rgb_100x100.ppm", 100, 148, 0,
       24},
      {"RGB under a preset: each sample through the same window", "render/SC_rgb_100x100.dcm", preset(128, 64),
       "SC_rgb_100x100_w128_c64.ppm", 100, 148, 0, 24},
      {"hot iron on colour: the entry of each pixel's luminance", "render/SC_rgb_100x100.dcm",
       palette(COLOR_PALETTE_HOT_IRON), "SC_rgb_100x100_hot_iron.ppm", 100, 148, 0, 24},
      {"RGB in three planes: the same picture", "render/SC_rgb_100x100_planar.dcm", None, "SC_rgb_100x100.ppm", 100,
       148, 0, 24},
      {"RGB in three planes turned right: each plane turns alone", "render/SC_rgb_100x100_planar.dcm",
       [](IOndrel& o, HWND w) { ASSERT_EQ(o.RotateFlipImage(w, ROTATE_RIGHT), S_OK); },
       "SC_rgb_100x100_planar_right.ppm", 100, 148, 0, 24},
      {"YBR_FULL converted to RGB, truncated and wrapped", "render/YBR_FULL_100x100.dcm", None, "YBR_FULL_100x100.ppm",
       100, 148, 0, 24},
      // Colour JPEG: the codec gives the stream's components as stored, and the image object alone
      // converts YBR_FULL, so each picture is that one conversion of the stream's Y, Cb, Cr (4:4:4 and,
      // subsampled in the stream, 4:2:2), or the stream's own R, G, B where the file says RGB.
      {"YBR_FULL JPEG, 4:4:4 in the stream, converted once", "render/SC_rgb_jpeg_dcmtk.dcm", None,
       "SC_rgb_jpeg_dcmtk.ppm", 100, 148, 0, 24},
      {"YBR_FULL JPEG from DCMTK's +cy+s4, converted once", "render/SC_rgb_dcmtk_+eb+cy+s4.dcm", None,
       "SC_rgb_dcmtk_+eb+cy+s4.ppm", 100, 148, 0, 24},
      {"YBR_FULL JPEG with 4:2:2 chroma in the stream, converted once", "render/SC_rgb_dcmtk_+eb+cy+n2.dcm", None,
       "SC_rgb_dcmtk_+eb+cy+n2.ppm", 100, 148, 0, 24},
      {"YBR_FULL JPEG of 3 x 3, converted once", "render/SC_rgb_small_odd_jpeg.dcm", None, "SC_rgb_small_odd_jpeg.ppm",
       4, 52, 0, 24},
      {"RGB JPEG without JFIF or Adobe marker: its R, G, B as stored", "render/SC_jpeg_no_color_transform.dcm", None,
       "SC_jpeg_no_color_transform.ppm", 256, 304, 0, 24},
      // 511 columns fit 512 at 512/511, so the padded bitmap lands unstretched; its last column is
      // padding, left unset, and not compared.
      {"511 columns, padded to 512", "render/width511_u12.dcm", None, "width511_u12.pgm", 512, 52, 0, 24},
      {"511 columns turned right: 511 rows, padded to 512", "render/width511_u12.dcm",
       [](IOndrel& o, HWND w) { ASSERT_EQ(o.RotateFlipImage(w, ROTATE_RIGHT), S_OK); }, "width511_u12_right.pgm", 48,
       512, 22, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const ComPtr<IImageInfoNW> image = ImageOf(c.file);
    ASSERT_TRUE(image);
    const HWND window = Window(c.windowWidth, c.windowHeight);
    ASSERT_EQ(ondrel_->RenderImage(image.Get(), window, VARIANT_FALSE), S_OK);
    c.operations(*ondrel_.Get(), window);
    EXPECT_EQ(Differences(window, ReadReference(c.reference), c.left, c.top), "");
  }
}

// The conversion writes the RGB samples back into the loader's cache, so that a second viewport, or a
// reload of the same viewport, takes them as they are and shows the same colours.
TEST_F(RenderedFiles, YbrColoursStayTheSameInASecondViewportAndAfterAReload) {
  const ComPtr<IImageInfoNW> image = ImageOf("render/YBR_FULL_100x100.dcm");
  ASSERT_TRUE(image);
  const Reference reference = ReadReference("YBR_FULL_100x100.ppm");
  const HWND first = Window(100, 148);
  const HWND second = Window(100, 148);
  ASSERT_EQ(ondrel_->RenderImage(image.Get(), first, VARIANT_FALSE), S_OK);
  ASSERT_EQ(ondrel_->RenderImage(image.Get(), second, VARIANT_FALSE), S_OK);
  EXPECT_EQ(Differences(second, reference, 0, 24), "") << "the second viewport";
  // Two mirrorings fetch the cached pixels twice and end where they began.
  ASSERT_EQ(ondrel_->RotateFlipImage(first, FLIP_LR), S_OK);
  ASSERT_EQ(ondrel_->RotateFlipImage(first, FLIP_LR), S_OK);
  EXPECT_EQ(Differences(first, reference, 0, 24), "") << "the first viewport, reloaded";
}

}  // namespace
