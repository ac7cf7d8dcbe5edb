#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "picture/picture.h"
#include "picture_test_support.h"

namespace {

using namespace picture_test;

TEST(PictureEncoders, AreGdiPlusEncodersInGdiPlusOrder) {
  struct Expected {
    FileFormat format;
    const char* clsid;
    const char16_t *codec, *description, *extensions, *mime;
  };
  const Expected expected[] = {
      {FileFormat::Bmp, "557CF400-1A04-11D3-9A73-0000F81EF32E", u"Built-in BMP Codec", u"BMP", u"*.BMP;*.DIB;*.RLE",
       u"image/bmp"},
      {FileFormat::Jpeg, "557CF401-1A04-11D3-9A73-0000F81EF32E", u"Built-in JPEG Codec", u"JPEG",
       u"*.JPG;*.JPEG;*.JPE;*.JFIF", u"image/jpeg"},
      {FileFormat::Gif, "557CF402-1A04-11D3-9A73-0000F81EF32E", u"Built-in GIF Codec", u"GIF", u"*.GIF", u"image/gif"},
      {FileFormat::Tiff, "557CF405-1A04-11D3-9A73-0000F81EF32E", u"Built-in TIFF Codec", u"TIFF", u"*.TIF;*.TIFF",
       u"image/tiff"},
      {FileFormat::Png, "557CF406-1A04-11D3-9A73-0000F81EF32E", u"Built-in PNG Codec", u"PNG", u"*.PNG", u"image/png"},
  };
  const auto& encoders = Encoders();
  ASSERT_EQ(encoders.size(), std::size(expected));
  for (std::size_t i = 0; i < encoders.size(); ++i) {
    const EncoderInfo& encoder = encoders[i];
    EXPECT_EQ(encoder.format, expected[i].format) << i;
    EXPECT_EQ(encoder.clsid, MakeGuid(expected[i].clsid)) << i;
    EXPECT_EQ(encoder.codecName, expected[i].codec) << i;
    EXPECT_EQ(encoder.formatDescription, expected[i].description) << i;
    EXPECT_EQ(encoder.filenameExtension, expected[i].extensions) << i;
    EXPECT_EQ(encoder.mimeType, expected[i].mime) << i;
    EXPECT_EQ(FindEncoder(MakeGuid(expected[i].clsid)), &encoder) << i;
  }
  // 557CF403 and 557CF404 are GDI+'s EMF and WMF codecs, which decode only.
  EXPECT_EQ(FindEncoder(MakeGuid("557CF403-1A04-11D3-9A73-0000F81EF32E")), nullptr);
  EXPECT_EQ(FindEncoder(GUID_NULL), nullptr);
}

enum class Source { Opaque, Translucent, FewColours, Indexed4 };

Picture MakeSource(Source kind) {
  switch (kind) {
    case Source::Opaque:
      return RandomArgb(13, 7, 11, {255});
    case Source::Translucent:
      return RandomArgb(13, 7, 12, {0, 1, 128, 254, 255});
    case Source::FewColours: {
      // Five colours and transparency, each pixel one of them.
      Picture picture = RandomArgb(13, 7, 13, {0, 255});
      const std::uint8_t colours[5][3] = {{0, 0, 0}, {255, 255, 255}, {1, 2, 3}, {200, 10, 90}, {7, 128, 254}};
      for (std::size_t i = 0; i < picture.bits.size(); i += 4)
        for (int c = 0; c < 3; ++c) picture.bits[i + c] = colours[(i / 4) % 5][c];
      return picture;
    }
    case Source::Indexed4: {
      Picture picture = RandomArgb(13, 7, 14, {255});
      picture.pixelFormat = kFormat4bppIndexed;
      picture.stride = 8;
      picture.bits.resize(8 * 7);
      for (std::uint32_t i = 0; i < 16; ++i) picture.palette.push_back(0xFF000000u | (i * 0x0F0B07u));
      picture.palette[3] = 0x00102030;  // transparent, and the first pixel's
      picture.bits[0] = 0x31;
      return picture;
    }
  }
  return {};
}

// 0xAARRGGBB of a source pixel, read without the code under test.
std::uint32_t SourceArgb(const Picture& source, int x, int y) {
  const std::uint8_t* row = source.bits.data() + static_cast<std::size_t>(y) * source.stride;
  if (source.pixelFormat == kFormat4bppIndexed) return source.palette[(row[x / 2] >> (x % 2 ? 0 : 4)) & 15];
  const std::uint8_t* p = row + 4 * x;
  return static_cast<std::uint32_t>(p[3] << 24 | p[2] << 16 | p[1] << 8 | p[0]);
}

// A transparent pixel's colour is not compared: GIF stores one colour for all of them.
void ExpectSamePixel(std::uint32_t expected, unsigned a, unsigned r, unsigned g, unsigned b, const std::string& where) {
  EXPECT_EQ(a, expected >> 24) << where;
  if (expected >> 24 != 0) {
    EXPECT_EQ((r << 16) | (g << 8) | b, expected & 0xFFFFFF) << std::hex << where;
  }
}

class PictureFiles : public ScratchFolder {};

TEST_F(PictureFiles, LosslessSavesReadBackWithTheSamePixels) {
  const struct {
    const char* what;
    FileFormat format;
    Source source;
    std::uint32_t loadedFormat;
  } cases[] = {
      {"24-bit BMP", FileFormat::Bmp, Source::Opaque, kFormat24bppRGB},
      {"32-bit BMP", FileFormat::Bmp, Source::Translucent, kFormat32bppARGB},
      {"RGB PNG", FileFormat::Png, Source::Opaque, kFormat24bppRGB},
      {"RGBA PNG", FileFormat::Png, Source::Translucent, kFormat32bppARGB},
      {"RGBA PNG of an indexed picture", FileFormat::Png, Source::Indexed4, kFormat32bppARGB},
      {"RGB TIFF", FileFormat::Tiff, Source::Opaque, kFormat24bppRGB},
      {"RGBA TIFF", FileFormat::Tiff, Source::Translucent, kFormat32bppARGB},
      {"GIF of six colours", FileFormat::Gif, Source::FewColours, kFormat8bppIndexed},
      {"GIF of an indexed picture", FileFormat::Gif, Source::Indexed4, kFormat8bppIndexed},
  };
  std::vector<fs::path> files;
  for (const auto& c : cases) {
    // Names that need UTF-8, and no extension: readers go by the contents.
    files.push_back(dir_ / fs::path(u8"Bild-ä-東京-" + std::u8string(1, static_cast<char8_t>(u8'a' + files.size()))));
    std::string error;
    ASSERT_TRUE(SavePictureFile(MakeSource(c.source), c.format, files.back().u16string(), error))
        << c.what << ": " << error;
  }
  const auto magick = ReadWithImageMagick(files, dir_);
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto& c = cases[i];
    const Picture source = MakeSource(c.source);
    ASSERT_EQ(magick[i].width, source.width) << c.what;
    ASSERT_EQ(magick[i].height, source.height) << c.what;
    Picture loaded;
    std::string error;
    ASSERT_TRUE(LoadPictureFile(files[i].u16string(), loaded, error)) << c.what << ": " << error;
    EXPECT_EQ(loaded.pixelFormat, c.loadedFormat) << c.what;
    const auto argb = ConvertPicture(loaded, kFormat32bppARGB);
    ASSERT_TRUE(argb && argb->width == source.width && argb->height == source.height) << c.what;
    for (int y = 0; y < source.height; ++y)
      for (int x = 0; x < source.width; ++x) {
        const std::string where = std::string(c.what) + " at " + std::to_string(x) + "," + std::to_string(y);
        const std::uint32_t expected = SourceArgb(source, x, y);
        const MagickPixels& m = magick[i];
        ExpectSamePixel(expected, m.At(x, y, 3) >> 8, m.At(x, y, 0) >> 8, m.At(x, y, 1) >> 8, m.At(x, y, 2) >> 8,
                        "ImageMagick, " + where);
        const std::uint8_t* p = ArgbAt(*argb, x, y);
        ExpectSamePixel(expected, p[3], p[2], p[1], p[0], "LoadPictureFile, " + where);
      }
  }
}

TEST_F(PictureFiles, GifOfManyColoursTakesTheNearestFixedColour) {
  // The fixed palette as documented: a 6 x 6 x 6 cube in steps of 51 and 40 greys i * 255 / 41.
  std::vector<std::array<int, 3>> palette;
  for (int r = 0; r < 256; r += 51)
    for (int g = 0; g < 256; g += 51)
      for (int b = 0; b < 256; b += 51) palette.push_back({r, g, b});
  for (int i = 1; i <= 40; ++i) {
    const int v = static_cast<int>(std::lround(i * 255.0 / 41));
    palette.push_back({v, v, v});
  }
  const auto distance = [](const std::array<int, 3>& a, const std::array<int, 3>& b) {
    return (a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]);
  };
  Picture source = RandomArgb(32, 16, 21, {255});
  for (int x = 0; x < 32; ++x)  // a grey row, where the greys between the cube's matter
    for (int c = 0; c < 3; ++c) source.bits[static_cast<std::size_t>(4 * x + c)] = static_cast<std::uint8_t>(8 * x);
  const fs::path file = Path("many.gif");
  std::string error;
  ASSERT_TRUE(SavePictureFile(source, FileFormat::Gif, file.u16string(), error)) << error;
  const auto magick = ReadWithImageMagick({file}, dir_);
  ASSERT_EQ(magick[0].width, 32);
  for (int y = 0; y < 16; ++y)
    for (int x = 0; x < 32; ++x) {
      const std::uint8_t* p = ArgbAt(source, x, y);
      const std::array<int, 3> wanted{p[2], p[1], p[0]};
      const std::array<int, 3> got{magick[0].At(x, y, 0) >> 8, magick[0].At(x, y, 1) >> 8, magick[0].At(x, y, 2) >> 8};
      int best = 1 << 30;
      for (const auto& entry : palette) best = std::min(best, distance(entry, wanted));
      EXPECT_NE(std::find(palette.begin(), palette.end(), got), palette.end()) << x << "," << y;
      EXPECT_EQ(distance(got, wanted), best) << x << "," << y;
    }
}

TEST_F(PictureFiles, JpegDecodesToTheSizeAndCloseToTheSource) {
  // A smooth picture, as JPEG is made for; odd sides leave partial blocks at the edges.
  Picture source = RandomArgb(41, 23, 0, {255});
  for (int y = 0; y < 23; ++y)
    for (int x = 0; x < 41; ++x) {
      std::uint8_t* p = source.bits.data() + static_cast<std::size_t>(y) * source.stride + 4 * x;
      p[0] = static_cast<std::uint8_t>(6 * x);
      p[1] = static_cast<std::uint8_t>(10 * y);
      p[2] = static_cast<std::uint8_t>(128 + 3 * (x - y));
    }
  const fs::path file = Path("smooth.jpg");
  std::string error;
  ASSERT_TRUE(SavePictureFile(source, FileFormat::Jpeg, file.u16string(), error)) << error;
  const std::string quality = (dir_ / "quality.txt").string();
  ASSERT_EQ(std::system(("identify -format %Q '" + file.string() + "' > '" + quality + "'").c_str()), 0);
  int estimated = 0;
  std::ifstream(quality) >> estimated;
  EXPECT_EQ(estimated, 75);

  const MagickPixels magick = ReadWithImageMagick({file}, dir_)[0];
  ASSERT_EQ(magick.width, 41);
  ASSERT_EQ(magick.height, 23);
  Picture loaded;
  ASSERT_TRUE(LoadPictureFile(file.u16string(), loaded, error)) << error;
  ASSERT_EQ(loaded.pixelFormat, kFormat24bppRGB);
  ASSERT_EQ(loaded.width, 41);
  ASSERT_EQ(loaded.height, 23);
  double sourceError = 0;
  int readerDifference = 0;
  for (int y = 0; y < 23; ++y)
    for (int x = 0; x < 41; ++x)
      for (int c = 0; c < 3; ++c) {
        const int magickValue = magick.At(x, y, c) >> 8;
        sourceError += std::abs(magickValue - ArgbAt(source, x, y)[2 - c]);
        const int ours = loaded.bits[static_cast<std::size_t>(y) * loaded.stride + 3 * x + 2 - c];
        readerDifference = std::max(readerDifference, std::abs(ours - magickValue));
      }
  EXPECT_LT(sourceError / (41 * 23 * 3), 3.0);
  EXPECT_LE(readerDifference, 1);  // both decode with libjpeg
}

TEST_F(PictureFiles, FixturesReadAsImageMagickReadsThem) {
  const struct {
    const char* file;
    std::uint32_t format;
    int tolerance;  // JPEG: ImageMagick's own CMYK conversion rounds apart by one
  } cases[] = {
      {"palette.png", kFormat8bppIndexed, 0},
      {"palette2.png", kFormat4bppIndexed, 0},
      {"grey.png", kFormat8bppIndexed, 0},
      {"grey16.png", kFormat16bppGrayScale, 0},
      {"rgb16.png", kFormat48bppRGB, 0},
      {"rgba16-interlaced.png", kFormat64bppARGB, 0},
      {"mono.bmp", kFormat1bppIndexed, 0},
      {"palette4.bmp", kFormat4bppIndexed, 0},
      {"rgb565.bmp", kFormat16bppRGB565, 0},
      {"rgb.tif", kFormat24bppRGB, 0},
      {"rgba.tif", kFormat32bppARGB, 0},
      {"palette.tif", kFormat4bppIndexed, 0},
      {"miniswhite-g4.tif", kFormat1bppIndexed, 0},
      {"grey16-msb.tif", kFormat16bppGrayScale, 0},
      {"tiled.tif", kFormat24bppRGB, 0},
      {"transparent.gif", kFormat8bppIndexed, 0},
      {"interlaced.gif", kFormat8bppIndexed, 0},
      {"grey.jpg", kFormat8bppIndexed, 0},
      {"progressive.jpg", kFormat24bppRGB, 0},
      {"cmyk.jpg", kFormat24bppRGB, 1},
  };
  std::vector<fs::path> files;
  for (const auto& c : cases) files.push_back(Fixture(c.file));
  const auto magick = ReadWithImageMagick(files, dir_);
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto& c = cases[i];
    const MagickPixels& m = magick[i];
    Picture loaded;
    std::string error;
    ASSERT_TRUE(LoadPictureFile(files[i].u16string(), loaded, error)) << c.file << ": " << error;
    EXPECT_EQ(loaded.pixelFormat, c.format) << c.file;
    const auto rgb = ConvertPicture(loaded, kFormat24bppRGB);
    const auto argb = ConvertPicture(loaded, kFormat32bppARGB);
    ASSERT_TRUE(rgb && argb) << c.file;
    ASSERT_EQ(rgb->width, m.width) << c.file;
    ASSERT_EQ(rgb->height, m.height) << c.file;
    EXPECT_EQ(rgb->stride % 4, 0) << c.file;
    for (int y = 0; y < rgb->height; ++y)
      for (int x = 0; x < rgb->width; ++x) {
        const std::uint8_t* p = rgb->bits.data() + static_cast<std::size_t>(y) * rgb->stride + 3 * x;
        for (int channel = 0; channel < 3; ++channel)
          EXPECT_NEAR(p[2 - channel], m.At(x, y, channel) >> 8, c.tolerance)
              << c.file << " at " << x << "," << y << " channel " << channel;
        EXPECT_EQ(ArgbAt(*argb, x, y)[3], m.At(x, y, 3) >> 8) << c.file << " alpha at " << x << "," << y;
        // 16-bit files keep their full samples: grey, or B, G, R (, A) where ImageMagick gives R, G, B, A.
        const int bits = BitsPerPixel(c.format);
        if (c.format == kFormat16bppGrayScale || bits == 48 || bits == 64) {
          const int samples = bits / 16;
          const std::uint8_t* s = loaded.bits.data() + static_cast<std::size_t>(y) * loaded.stride + 2 * samples * x;
          for (int k = 0; k < samples; ++k)
            EXPECT_EQ(s[2 * k] | (s[2 * k + 1] << 8), m.At(x, y,
                                                           samples == 1 ? 0
                                                           : k < 3      ? 2 - k
                                                                        : 3))
                << c.file << " sample " << k << " at " << x << "," << y;
        }
      }
  }
  Picture grey;
  std::string error;
  ASSERT_TRUE(LoadPictureFile(Fixture("grey.png").u16string(), grey, error));
  ASSERT_EQ(grey.palette.size(), 256u);
  for (std::uint32_t i = 0; i < 256; ++i) EXPECT_EQ(grey.palette[i], 0xFF000000u | (i * 0x010101u)) << i;
}

TEST_F(PictureFiles, LoadRefusesMissingFoldersUnknownAndUnnamableFiles) {
  WriteBytes(Path("notes.png"), {'h', 'e', 'l', 'l', 'o'});
  const auto png = ReadBytes(Fixture("palette.png"));
  WriteBytes(Path("cut.png"), {png.begin(), png.end() - 1});
  const std::u16string unpaired = (dir_ / "x").u16string() + char16_t{0xD800};
  const struct {
    const char* what;
    std::u16string path;
  } cases[] = {
      {"a missing file", Path("missing.png").u16string()},
      {"a folder", dir_.u16string()},
      {"text under a picture's name", Path("notes.png").u16string()},
      {"a picture cut short", Path("cut.png").u16string()},
      {"a name with an unpaired surrogate", unpaired},
      {"an empty name", u""},
  };
  for (const auto& c : cases) {
    Picture picture;
    picture.width = 77;
    std::string error;
    EXPECT_FALSE(LoadPictureFile(c.path, picture, error)) << c.what;
    EXPECT_FALSE(error.empty()) << c.what;
    EXPECT_EQ(picture.width, 77) << c.what << ": the picture is left as it was";
  }
}

// A device is written into, not replaced by a file renamed over it. (Through a link: were the device
// replaced, only the link would go.)
TEST_F(PictureFiles, ASaveToADeviceWritesIntoIt) {
  const fs::path link = Path("null.png");
  fs::create_symlink("/dev/null", link);
  std::string error;
  EXPECT_TRUE(SavePictureFile(MakeSource(Source::Opaque), FileFormat::Png, link.u16string(), error)) << error;
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_TRUE(fs::is_character_file(link));
}

TEST_F(PictureFiles, AFailedSaveLeavesNoFileBehindAndKeepsTheOldOne) {
  const Picture picture = MakeSource(Source::Opaque);
  Picture broken = picture;
  broken.bits.resize(10);
  const fs::path old = Path("old.png");
  WriteBytes(old, {'o', 'l', 'd'});
  fs::create_directory(Path("folder"));
  const struct {
    const char* what;
    const Picture& picture;
    fs::path path;
  } failures[] = {
      {"into a missing folder", picture, Path("missing") / "a.png"},
      {"onto a folder", picture, Path("folder")},
      {"a picture whose bits are short", broken, old},
  };
  for (const auto& c : failures) {
    std::string error;
    EXPECT_FALSE(SavePictureFile(c.picture, FileFormat::Png, c.path.u16string(), error)) << c.what;
    EXPECT_FALSE(error.empty()) << c.what;
  }
  std::vector<fs::path> left;
  for (const auto& entry : fs::directory_iterator(dir_)) left.push_back(entry.path().filename());
  std::sort(left.begin(), left.end());
  EXPECT_EQ(left, (std::vector<fs::path>{"folder", "old.png"}));
  EXPECT_EQ(ReadBytes(old), (std::vector<std::uint8_t>{'o', 'l', 'd'}));

  std::string error;
  ASSERT_TRUE(SavePictureFile(picture, FileFormat::Png, old.u16string(), error)) << error;
  Picture loaded;
  EXPECT_TRUE(LoadPictureFile(old.u16string(), loaded, error)) << "the old file is replaced: " << error;
}

}  // namespace
