#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "picture/picture.h"
#include "picture_test_support.h"

namespace {

using namespace picture_test;

// A bitmap file from its parts, so that each case shows the header fields it is about.
struct Bmp {
  std::uint32_t headerSize = 40;
  std::int32_t width = 1, height = 1;
  std::uint16_t bitsPerPixel = 24;
  std::uint32_t compression = 0;
  std::vector<std::uint32_t> masks{};    // after a 40-byte header, inside a larger one
  std::vector<std::uint32_t> palette{};  // 0x00RRGGBB
  std::uint32_t colorsUsed = 0;
  std::vector<std::vector<std::uint8_t>> rows{};  // in file order, without padding

  std::vector<std::uint8_t> Bytes() const {
    std::vector<std::uint8_t> info;
    const auto put = [&info](std::uint32_t v, int size) {
      for (int i = 0; i < size; ++i) info.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
    };
    put(headerSize, 4);
    if (headerSize == 12) {
      put(static_cast<std::uint32_t>(width), 2), put(static_cast<std::uint32_t>(height), 2);
      put(1, 2), put(bitsPerPixel, 2);
    } else {
      put(static_cast<std::uint32_t>(width), 4), put(static_cast<std::uint32_t>(height), 4);
      put(1, 2), put(bitsPerPixel, 2), put(compression, 4);
      put(0, 4), put(0, 4), put(0, 4), put(colorsUsed, 4), put(0, 4);
    }
    for (std::uint32_t mask : masks) put(mask, 4);
    if (headerSize > 40) info.resize(headerSize, 0);
    for (std::uint32_t entry : palette) put(entry, headerSize == 12 ? 3 : 4);
    std::vector<std::uint8_t> file{'B', 'M'};
    const std::size_t stride = (static_cast<std::size_t>(width) * bitsPerPixel + 31) / 32 * 4;
    const auto pixelOffset = static_cast<std::uint32_t>(14 + info.size());
    for (std::uint32_t v : {static_cast<std::uint32_t>(pixelOffset + stride * rows.size()), 0u, pixelOffset})
      for (int i = 0; i < 4; ++i) file.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
    file.insert(file.end(), info.begin(), info.end());
    for (auto row : rows) {
      row.resize(stride, 0);
      file.insert(file.end(), row.begin(), row.end());
    }
    return file;
  }
};

class BmpFiles : public ScratchFolder {};

TEST_F(BmpFiles, HeadersDepthsAndBitFields) {
  const struct {
    const char* what;
    Bmp bmp;
    std::uint32_t format;
    std::vector<std::uint32_t> argb;  // top-down
  } cases[] = {
      {"24 bits, top-down (negative height)",
       {.width = 2, .height = -2, .rows = {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}}},
       kFormat24bppRGB,
       {0xFF030201, 0xFF060504, 0xFF090807, 0xFF0C0B0A}},
      {"8 bits, bottom-up, a two-colour table; an index past it reads opaque black",
       {.width = 3,
        .height = 2,
        .bitsPerPixel = 8,
        .palette = {0xFF0000, 0x00FF00},
        .colorsUsed = 2,
        .rows = {{0, 1, 5}, {1, 1, 0}}},
       kFormat8bppIndexed,
       {0xFF00FF00, 0xFF00FF00, 0xFFFF0000, 0xFFFF0000, 0xFF00FF00, 0xFF000000}},
      {"OS/2 core header, 1 bit, 3-byte table entries",
       {.headerSize = 12, .width = 3, .bitsPerPixel = 1, .palette = {0x000000, 0xFFFFFF}, .rows = {{0b01000000}}},
       kFormat1bppIndexed,
       {0xFF000000, 0xFFFFFFFF, 0xFF000000}},
      {"16 bits without masks are RGB 555",
       {.bitsPerPixel = 16, .rows = {{0x1F, 0x7C}}},
       kFormat16bppRGB555,
       {0xFFFF00FF}},
      {"16-bit 565 bit fields",
       {.bitsPerPixel = 16, .compression = 3, .masks = {0xF800, 0x07E0, 0x001F}, .rows = {{0xE0, 0x07}}},
       kFormat16bppRGB565,
       {0xFF00FF00}},
      {"16-bit alpha bit fields are ARGB 1555",
       {.bitsPerPixel = 16, .compression = 6, .masks = {0x7C00, 0x03E0, 0x001F, 0x8000}, .rows = {{0x00, 0xFC}}},
       kFormat16bppARGB1555,
       {0xFFFF0000}},
      {"32 bits without masks: the fourth byte is padding",
       {.bitsPerPixel = 32, .rows = {{1, 2, 3, 0x55}}},
       kFormat32bppRGB,
       {0xFF030201}},
      {"version 4 header with an alpha mask",
       {.headerSize = 108,
        .bitsPerPixel = 32,
        .compression = 3,
        .masks = {0xFF0000, 0xFF00, 0xFF, 0xFF000000},
        .rows = {{1, 2, 3, 0x40}}},
       kFormat32bppARGB,
       {0x40030201}},
      // R 1023 -> 255, G 512 * 255 / 1023 = 127.6 -> 128, B 0
      {"10-bit channels are scaled to 8 bits",
       {.bitsPerPixel = 32,
        .compression = 3,
        .masks = {0x3FF00000, 0x000FFC00, 0x000003FF},
        .rows = {{0, 0, 0xF8, 0x3F}}},
       kFormat24bppRGB,
       {0xFFFF8000}},
  };
  for (const auto& c : cases) {
    const fs::path file = Path("case.bmp");
    WriteBytes(file, c.bmp.Bytes());
    Picture picture;
    std::string error;
    ASSERT_TRUE(LoadPictureFile(file.u16string(), picture, error)) << c.what << ": " << error;
    EXPECT_EQ(picture.pixelFormat, c.format) << c.what;
    const auto argb = ConvertPicture(picture, kFormat32bppARGB);
    ASSERT_TRUE(argb) << c.what;
    ASSERT_EQ(static_cast<std::size_t>(argb->width) * argb->height, c.argb.size()) << c.what;
    for (int i = 0; i < argb->width * argb->height; ++i) {
      const std::uint8_t* p = ArgbAt(*argb, i % argb->width, i / argb->width);
      EXPECT_EQ(static_cast<std::uint32_t>(p[3] << 24 | p[2] << 16 | p[1] << 8 | p[0]),
                c.argb[static_cast<std::size_t>(i)])
          << std::hex << c.what << ", pixel " << i;
    }
  }
}

}  // namespace
