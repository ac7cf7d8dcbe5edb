#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "picture/picture.h"

namespace {

using namespace ondrel::platform::picture;

Picture OneRow(std::uint32_t format, int width, std::vector<std::uint8_t> bits,
               std::vector<std::uint32_t> palette = {}) {
  Picture picture;
  picture.width = width;
  picture.height = 1;
  picture.pixelFormat = format;
  picture.stride = static_cast<int>(bits.size());
  picture.bits = std::move(bits);
  picture.palette = std::move(palette);
  return picture;
}

TEST(ConvertPicture, EveryFormatGivesTheColoursOfItsDefinition) {
  const struct {
    const char* what;
    Picture picture;
    std::vector<std::uint32_t> argb;  // expected, worked out by hand
  } cases[] = {
      {"1-bit indices, high bit first, across a byte",
       OneRow(kFormat1bppIndexed, 10, {0b10100000, 0b01000000}, {0xFF112233, 0x80445566}),
       {0x80445566, 0xFF112233, 0x80445566, 0xFF112233, 0xFF112233, 0xFF112233, 0xFF112233, 0xFF112233, 0xFF112233,
        0x80445566}},
      {"4-bit indices; one past the palette reads opaque black",
       OneRow(kFormat4bppIndexed, 3, {0x21, 0xF0}, {1, 0xFF0000FF, 0xFF00FF00}),
       {0xFF00FF00, 0xFF0000FF, 0xFF000000}},
      {"8-bit indices", OneRow(kFormat8bppIndexed, 2, {1, 0}, {0x00ABCDEF, 0x7F010203}), {0x7F010203, 0x00ABCDEF}},
      {"16-bit grey keeps the high byte",
       OneRow(kFormat16bppGrayScale, 2, {0x34, 0x12, 0xFF, 0xFE}),
       {0xFF121212, 0xFFFEFEFE}},
      {"RGB 555 widens 5 bits by repeating the high bits",
       OneRow(kFormat16bppRGB555, 3, {0x1F, 0x7C, 0x21, 0x04, 0xFF, 0xFF}),
       {0xFFFF00FF, 0xFF080808, 0xFFFFFFFF}},
      {"RGB 565",
       OneRow(kFormat16bppRGB565, 3, {0x00, 0xF8, 0xE0, 0x07, 0x41, 0x08}),
       {0xFFFF0000, 0xFF00FF00, 0xFF080808}},
      {"ARGB 1555: the top bit is all or no alpha",
       OneRow(kFormat16bppARGB1555, 2, {0x00, 0xFC, 0xFF, 0x7F}),
       {0xFFFF0000, 0x00FFFFFF}},
      {"24-bit B, G, R", OneRow(kFormat24bppRGB, 2, {1, 2, 3, 4, 5, 6}), {0xFF030201, 0xFF060504}},
      {"32-bit RGB ignores its fourth byte", OneRow(kFormat32bppRGB, 1, {1, 2, 3, 0}), {0xFF030201}},
      {"32-bit ARGB", OneRow(kFormat32bppARGB, 1, {1, 2, 3, 4}), {0x04030201}},
      // 16 * 255 / 128 = 31.9, 32 * 255 / 128 = 63.75, 64 * 255 / 128 = 127.5, rounded
      {"32-bit PARGB un-premultiplies; no alpha is black",
       OneRow(kFormat32bppPARGB, 2, {64, 32, 16, 128, 9, 9, 9, 0}),
       {0x80204080, 0x00000000}},
      {"48-bit keeps the high bytes", OneRow(kFormat48bppRGB, 1, {0x34, 0x12, 0xCD, 0xAB, 0x00, 0xFF}), {0xFFFFAB12}},
      {"64-bit ARGB", OneRow(kFormat64bppARGB, 1, {0, 1, 0, 2, 0, 3, 0xFF, 0x7F}), {0x7F030201}},
      // 0x4000 * 65535 / 0x8000 = 32767.5, rounded to 0x8000
      {"64-bit PARGB un-premultiplies at 16 bits",
       OneRow(kFormat64bppPARGB, 1, {0, 0x20, 0, 0, 0, 0x40, 0, 0x80}),
       {0x80800040}},
  };
  for (const auto& c : cases) {
    const auto argb = ConvertPicture(c.picture, kFormat32bppARGB);
    const auto rgb = ConvertPicture(c.picture, kFormat24bppRGB);
    ASSERT_TRUE(argb && rgb) << c.what;
    EXPECT_EQ(argb->stride, 4 * c.picture.width) << c.what;
    EXPECT_EQ(rgb->stride, (3 * c.picture.width + 3) / 4 * 4) << c.what << ": rows of whole 32-bit words";
    for (int x = 0; x < c.picture.width; ++x) {
      const std::uint8_t* p = argb->bits.data() + 4 * x;
      const std::uint8_t* q = rgb->bits.data() + 3 * x;
      const std::uint32_t expected = c.argb[static_cast<std::size_t>(x)];
      EXPECT_EQ(static_cast<std::uint32_t>(p[3] << 24 | p[2] << 16 | p[1] << 8 | p[0]), expected)
          << std::hex << c.what << ", pixel " << x;
      EXPECT_EQ(static_cast<std::uint32_t>(q[2] << 16 | q[1] << 8 | q[0]), expected & 0xFFFFFF)
          << std::hex << c.what << ", pixel " << x << ": 24 bits drop alpha";
    }
    for (std::size_t i = 3 * static_cast<std::size_t>(c.picture.width); i < rgb->bits.size(); ++i)
      EXPECT_EQ(rgb->bits[i], 0) << c.what << ": padding";
  }
}

TEST(ConvertPicture, RefusesWhatItCannotRead) {
  const Picture good = OneRow(kFormat24bppRGB, 2, {1, 2, 3, 4, 5, 6, 0, 0});
  Picture unknownFormat = good, shortBits = good, shortStride = good, twoRows = good;
  unknownFormat.pixelFormat = 0x00021809;
  shortBits.bits.resize(5);
  shortStride.stride = 5;
  twoRows.height = 2;
  for (const auto& [what, picture, target] :
       {std::tuple{"an unknown pixel format", unknownFormat, kFormat24bppRGB},
        std::tuple{"bits shorter than a row", shortBits, kFormat24bppRGB},
        std::tuple{"a stride shorter than a row", shortStride, kFormat32bppARGB},
        std::tuple{"bits shorter than the rows", twoRows, kFormat32bppARGB},
        std::tuple{"a target other than 24 or 32 bits", good, kFormat8bppIndexed}})
    EXPECT_FALSE(ConvertPicture(picture, target)) << what;
  EXPECT_TRUE(ConvertPicture(good, kFormat32bppARGB));
}

}  // namespace
