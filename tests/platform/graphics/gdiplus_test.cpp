// GDI+: start-up, bitmaps, the bilinear stretch, region fills, pen rectangles, locks, and the encoders,
// whose files ImageMagick (identify, convert) reads back.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "graphics_test_support.h"

namespace {

using namespace Gdiplus;
using namespace Gdiplus::DllExports;
using graphics_test::GdiplusSession;
using graphics_test::HostWindow;
using graphics_test::ShownPixel;

// A top-down 24-bit DIB of B, G, R bytes, rows padded to 4 bytes.
struct RgbDib {
  RgbDib(int width, int height) : header{sizeof(BITMAPINFOHEADER), width, -height, 1, 24, BI_RGB, 0, 0, 0, 0, 0} {
    stride = (width * 3 + 3) / 4 * 4;
    bits.assign(static_cast<std::size_t>(stride * height), 0);
  }
  void Set(int x, int y, std::uint32_t rgb) {
    BYTE* p = bits.data() + y * stride + 3 * x;
    p[0] = static_cast<BYTE>(rgb);
    p[1] = static_cast<BYTE>(rgb >> 8);
    p[2] = static_cast<BYTE>(rgb >> 16);
  }
  GpBitmap* Bitmap() {
    GpBitmap* bitmap = nullptr;
    EXPECT_EQ(GdipCreateBitmapFromGdiDib(reinterpret_cast<const BITMAPINFO*>(&header), bits.data(), &bitmap), Ok);
    return bitmap;
  }
  BITMAPINFOHEADER header;
  int stride;
  std::vector<BYTE> bits;
};

// Draws an image into a new window of its size and gives back what the window shows.
ondrel::platform::WindowPixels DrawnAt(GpImage* image, int x, int y, int width, int height, int windowWidth,
                                       int windowHeight) {
  const HostWindow window(windowWidth, windowHeight);
  GpGraphics* graphics = nullptr;
  EXPECT_EQ(GdipCreateFromHWND(window.get(), &graphics), Ok);
  EXPECT_EQ(GdipDrawImageRectI(graphics, image, x, y, width, height), Ok);
  GdipDeleteGraphics(graphics);
  ondrel::platform::WindowPixels pixels;
  ondrel::platform::ReadWindowPixels(window.get(), pixels);
  return pixels;
}

TEST(Gdiplus, CallsWaitForStartUp) {
  GpSolidFill* brush = nullptr;
  EXPECT_EQ(GdipCreateSolidFill(0xFF000000, &brush), GdiplusNotInitialized);
  GdiplusStartupInput input;
  input.GdiplusVersion = 2;
  ULONG_PTR token = 0;
  EXPECT_EQ(GdiplusStartup(&token, &input, nullptr), UnsupportedGdiplusVersion);
  const GdiplusSession session;
  ASSERT_EQ(session.status(), Ok);
  EXPECT_EQ(GdipCreateSolidFill(0xFF000000, &brush), Ok);
  EXPECT_EQ(GdipDeleteBrush(brush), Ok);
  EXPECT_EQ(GdipDeleteBrush(brush), InvalidParameter) << "a deleted object";
}

TEST(Gdiplus, BilinearStretchIsTheIdentityAtScaleOneAndInterpolatesBetweenCentres) {
  const GdiplusSession session;
  RgbDib dib(9, 7);
  std::uint32_t seed = 12345;
  for (int y = 0; y < 7; ++y)
    for (int x = 0; x < 9; ++x) {
      seed = seed * 1103515245u + 12345u;
      dib.Set(x, y, seed >> 8 & 0xFFFFFF);
    }
  GpBitmap* bitmap = dib.Bitmap();
  const auto same = DrawnAt(bitmap, 2, 1, 9, 7, 12, 10);
  for (int y = 0; y < 7; ++y)
    for (int x = 0; x < 9; ++x) {
      const BYTE* p = dib.bits.data() + y * dib.stride + 3 * x;
      EXPECT_EQ(ShownPixel(same, 2 + x, 1 + y), static_cast<std::uint32_t>(p[2] << 16 | p[1] << 8 | p[0]))
          << x << "," << y;
    }
  EXPECT_EQ(ShownPixel(same, 1, 1), 0u);
  GdipDisposeImage(bitmap);

  // Two pixels, 0 and 200 in every channel, to four: the centres of the four fall at -1/4, 1/4, 3/4 and
  // 5/4 of a source pixel, giving 0, 50, 150 and 200 (the ends held at the edge).
  RgbDib pair(2, 1);
  pair.Set(1, 0, 0xC8C8C8);
  bitmap = pair.Bitmap();
  const auto wide = DrawnAt(bitmap, 0, 0, 4, 1, 4, 1);
  EXPECT_EQ(ShownPixel(wide, 0, 0), 0x000000u);
  EXPECT_EQ(ShownPixel(wide, 1, 0), 0x323232u);
  EXPECT_EQ(ShownPixel(wide, 2, 0), 0x969696u);
  EXPECT_EQ(ShownPixel(wide, 3, 0), 0xC8C8C8u);
  GdipDisposeImage(bitmap);
}

// The stretch written out plainly, pixel by pixel and channel by channel: the point under each
// destination centre, held at the edges, its two source rows and columns weighted in 256ths, each
// mix rounded to the nearest.
std::uint32_t PlainBilinear(const RgbDib& dib, int width, int height, int x, int y) {
  const auto tap = [](int i, int size, int sourceSize, int& first, int& second, int& weight) {
    const std::int64_t position = (2 * std::int64_t{i} + 1) * sourceSize * 65536 / (2 * std::int64_t{size}) - 32768;
    first = second = weight = 0;
    if (position <= 0) return;
    first = static_cast<int>(position >> 16);
    second = first + 1;
    weight = static_cast<int>((position >> 8) & 0xFF);
    if (first >= sourceSize - 1) first = second = sourceSize - 1, weight = 0;
  };
  const int sourceWidth = dib.header.biWidth;
  const int sourceHeight = -dib.header.biHeight;
  int x0, x1, wx, y0, y1, wy;
  tap(x, width, sourceWidth, x0, x1, wx);
  tap(y, height, sourceHeight, y0, y1, wy);
  const auto channel = [&](int px, int py, int shift) {
    return static_cast<int>(dib.bits[static_cast<std::size_t>(py * dib.stride + 3 * px + shift)]);
  };
  const auto mix = [](int a, int b, int f) { return (a * (256 - f) + b * f + 128) >> 8; };
  std::uint32_t rgb = 0;
  for (int shift = 0; shift < 3; ++shift) {
    const int above = mix(channel(x0, y0, shift), channel(x1, y0, shift), wx);
    const int below = mix(channel(x0, y1, shift), channel(x1, y1, shift), wx);
    rgb |= static_cast<std::uint32_t>(mix(above, below, wy)) << (8 * shift);
  }
  return rgb;
}

// A top-down 8-bit DIB whose table is the 256 greys, as a grey display buffer is drawn.
struct GreyDib {
  GreyDib(int width, int height) : stride((width + 3) / 4 * 4), bits(static_cast<std::size_t>(stride * height)) {
    info.resize(sizeof(BITMAPINFOHEADER) + 256 * sizeof(RGBQUAD));
    auto* header = reinterpret_cast<BITMAPINFOHEADER*>(info.data());
    *header = {sizeof(BITMAPINFOHEADER), width, -height, 1, 8, BI_RGB, 0, 0, 0, 0, 0};
    auto* table = reinterpret_cast<RGBQUAD*>(info.data() + sizeof(BITMAPINFOHEADER));
    for (int i = 0; i < 256; ++i) table[i] = RGBQUAD{static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0};
  }
  GpBitmap* Bitmap() {
    GpBitmap* bitmap = nullptr;
    EXPECT_EQ(GdipCreateBitmapFromGdiDib(reinterpret_cast<const BITMAPINFO*>(info.data()), bits.data(), &bitmap), Ok);
    return bitmap;
  }
  int stride;
  std::vector<BYTE> bits;
  std::vector<BYTE> info;
};

TEST(Gdiplus, BilinearStretchInBothDirectionsEqualsThePlainPerPixelMix) {
  const GdiplusSession session;
  std::mt19937 random(7);
  RgbDib colour(37, 23);
  GreyDib grey(37, 23);
  RgbDib greyAsRgb(37, 23);  // the grey picture's reference
  for (int y = 0; y < 23; ++y)
    for (int x = 0; x < 37; ++x) {
      colour.Set(x, y, random() & 0xFFFFFF);
      const BYTE level = static_cast<BYTE>(random());
      grey.bits[static_cast<std::size_t>(y * grey.stride + x)] = level;
      greyAsRgb.Set(x, y, level * 0x010101u);
    }
  // Up by two and by odd factors, down, and a picture hanging over the window's left and bottom edges.
  const struct {
    int x, y, width, height, windowWidth, windowHeight;
  } draws[] = {{0, 0, 74, 46, 74, 46}, {3, 2, 51, 97, 60, 100}, {0, 0, 12, 7, 12, 7}, {-9, 5, 80, 40, 60, 30}};
  for (const bool isGrey : {false, true}) {
    GpBitmap* bitmap = isGrey ? grey.Bitmap() : colour.Bitmap();
    const RgbDib& reference = isGrey ? greyAsRgb : colour;
    for (const auto& d : draws) {
      const auto shown = DrawnAt(bitmap, d.x, d.y, d.width, d.height, d.windowWidth, d.windowHeight);
      int checked = 0;
      for (int y = std::max(d.y, 0); y < std::min(d.y + d.height, d.windowHeight); ++y)
        for (int x = std::max(d.x, 0); x < std::min(d.x + d.width, d.windowWidth); ++x, ++checked)
          ASSERT_EQ(ShownPixel(shown, x, y), PlainBilinear(reference, d.width, d.height, x - d.x, y - d.y))
              << (isGrey ? "grey " : "colour ") << d.width << "x" << d.height << " at " << x << "," << y;
      EXPECT_GT(checked, 0);
    }
    GdipDisposeImage(bitmap);
  }
}

TEST(Gdiplus, RegionFillsAndPenRectangles) {
  const GdiplusSession session;
  const HostWindow window(9, 7);
  GpGraphics* graphics = nullptr;
  ASSERT_EQ(GdipCreateFromHWND(window.get(), &graphics), Ok);
  // A white client with a picture rectangle cut out, as a viewport's background is painted.
  GpRegion* region = nullptr;
  const Rect client(0, 0, 9, 7);
  const Rect picture(2, 2, 4, 3);
  ASSERT_EQ(GdipCreateRegionRectI(&client, &region), Ok);
  ASSERT_EQ(GdipCombineRegionRectI(region, &picture, CombineModeExclude), Ok);
  GpSolidFill* white = nullptr;
  GdipCreateSolidFill(0xFFFFFFFF, &white);
  ASSERT_EQ(GdipFillRegion(graphics, white, region), Ok);
  ondrel::platform::WindowPixels shown;
  ondrel::platform::ReadWindowPixels(window.get(), shown);
  int whites = 0;
  for (int y = 0; y < 7; ++y)
    for (int x = 0; x < 9; ++x) whites += ShownPixel(shown, x, y) == 0xFFFFFF ? 1 : 0;
  EXPECT_EQ(whites, 63 - 12);
  EXPECT_EQ(ShownPixel(shown, 5, 4), 0u) << "the last pixel of the cut-out";
  EXPECT_EQ(ShownPixel(shown, 6, 4), 0xFFFFFFu);

  // A dotted pen of width 1 around 1,1 to 7,5, both edges included: one pixel on, one off, clockwise.
  GdipFillRegion(graphics, white, region);
  GpPen* pen = nullptr;
  ASSERT_EQ(GdipCreatePen1(0xFF0000FF, 1.0f, UnitWorld, &pen), Ok);
  ASSERT_EQ(GdipSetPenDashStyle(pen, DashStyleDot), Ok);
  GpRegion* all = nullptr;
  GdipCreateRegionRectI(&client, &all);
  GpSolidFill* black = nullptr;
  GdipCreateSolidFill(0xFF000000, &black);
  GdipFillRegion(graphics, black, all);
  ASSERT_EQ(GdipDrawRectangleI(graphics, pen, 1, 1, 6, 4), Ok);
  ondrel::platform::ReadWindowPixels(window.get(), shown);
  std::string art;
  for (int y = 0; y < 7; ++y) {
    for (int x = 0; x < 9; ++x) art += ShownPixel(shown, x, y) == 0x0000FF ? '#' : '.';
    art += '|';
  }
  EXPECT_EQ(art, ".........|.#.#.#.#.|.........|.#.....#.|.........|.#.#.#.#.|.........|");

  // Width 3, solid: a band from one pixel outside to one inside each edge line.
  GpPen* frame = nullptr;
  GdipCreatePen1(0xFF00FF00, 3.0f, UnitWorld, &frame);
  REAL width = 0;
  EXPECT_EQ(GdipGetPenWidth(frame, &width), Ok);
  EXPECT_EQ(width, 3.0f);
  GdipFillRegion(graphics, black, all);
  ASSERT_EQ(GdipDrawRectangleI(graphics, frame, 2, 2, 4, 4), Ok);
  ondrel::platform::ReadWindowPixels(window.get(), shown);
  int greens = 0;
  for (int y = 0; y < 7; ++y)
    for (int x = 0; x < 9; ++x) greens += ShownPixel(shown, x, y) == 0x00FF00 ? 1 : 0;
  EXPECT_EQ(greens, 7 * 6 - 1) << "columns 1 to 7, rows 1 to 7 (the last off the window), less the hole at 4, 4";
  EXPECT_EQ(ShownPixel(shown, 4, 4), 0u);

  for (GpPen* p : {pen, frame}) GdipDeletePen(p);
  for (GpBrush* b : {static_cast<GpBrush*>(white), static_cast<GpBrush*>(black)}) GdipDeleteBrush(b);
  for (GpRegion* r : {region, all}) GdipDeleteRegion(r);
  EXPECT_EQ(GdipDeleteGraphics(graphics), Ok);
}

TEST(Gdiplus, BitmapsFromGdiAndTheirLockedBits) {
  const GdiplusSession session;
  // An 8-bit bottom-up DIB of 3 x 2 with a four-entry table.
  struct {
    BITMAPINFOHEADER header;
    RGBQUAD colors[4];
  } info{{sizeof(BITMAPINFOHEADER), 3, 2, 1, 8, BI_RGB, 0, 0, 0, 4, 0},
         {{0, 0, 0, 0}, {10, 20, 30, 0}, {40, 50, 60, 0}, {70, 80, 90, 0}}};
  BYTE bits[8] = {1, 2, 3, 0, 3, 2, 1, 0};  // bottom row first
  GpBitmap* bitmap = nullptr;
  ASSERT_EQ(GdipCreateBitmapFromGdiDib(reinterpret_cast<const BITMAPINFO*>(&info), bits, &bitmap), Ok);
  PixelFormat format = 0;
  EXPECT_EQ(GdipGetImagePixelFormat(bitmap, &format), Ok);
  EXPECT_EQ(format, PixelFormat8bppIndexed);
  BitmapData data{};
  ASSERT_EQ(GdipBitmapLockBits(bitmap, nullptr, ImageLockModeRead, PixelFormat24bppRGB, &data), Ok);
  EXPECT_EQ(data.Width, 3u);
  EXPECT_EQ(data.Stride % 4, 0);
  const auto* top = static_cast<const BYTE*>(data.Scan0);
  // The top row is indices 3, 2, 1: B, G, R bytes from the table.
  EXPECT_EQ(std::vector<int>(top, top + 9), (std::vector<int>{70, 80, 90, 40, 50, 60, 10, 20, 30}));
  EXPECT_EQ(GdipBitmapLockBits(bitmap, nullptr, ImageLockModeRead, PixelFormat24bppRGB, &data), WrongState);
  EXPECT_EQ(GdipBitmapUnlockBits(bitmap, &data), Ok);
  const Rect outside(2, 0, 2, 1);
  EXPECT_EQ(GdipBitmapLockBits(bitmap, &outside, ImageLockModeRead, PixelFormat24bppRGB, &data), InvalidParameter);
  GdipDisposeImage(bitmap);

  // A GDI bitmap is 32bppRGB.
  const HDC dc = CreateCompatibleDC(nullptr);
  const HBITMAP gdi = CreateCompatibleBitmap(dc, 5, 4);
  ASSERT_EQ(GdipCreateBitmapFromHBITMAP(gdi, nullptr, &bitmap), Ok);
  UINT width = 0;
  UINT height = 0;
  GdipGetImageWidth(bitmap, &width);
  GdipGetImageHeight(bitmap, &height);
  GdipGetImagePixelFormat(bitmap, &format);
  EXPECT_EQ(width, 5u);
  EXPECT_EQ(height, 4u);
  EXPECT_EQ(format, PixelFormat32bppRGB);
  GdipDisposeImage(bitmap);
  DeleteObject(gdi);
  DeleteDC(dc);
}

// A folder of its own for the files a test writes, removed afterwards.
class TempFolder {
 public:
  TempFolder() { std::filesystem::create_directories(path_); }
  ~TempFolder() { std::filesystem::remove_all(path_); }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  const std::filesystem::path path_ =
      std::filesystem::temp_directory_path() / ("ondrel-gdiplus-test-" + std::to_string(std::random_device()()));
};

// The standard output of a shell command, through a file in `folder`.
std::string CommandOutput(const TempFolder& folder, const std::string& command) {
  const std::filesystem::path output = folder / "output";
  if (std::system((command + " > '" + output.string() + "'").c_str()) != 0) return "(" + command + " failed)";
  std::ifstream in(output, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(Gdiplus, EncodersWriteFilesThatImageMagickReadsBack) {
  const GdiplusSession session;
  UINT count = 0;
  UINT size = 0;
  ASSERT_EQ(GdipGetImageEncodersSize(&count, &size), Ok);
  ASSERT_EQ(count, 5u);
  std::vector<std::uint8_t> buffer(size);
  auto* encoders = reinterpret_cast<ImageCodecInfo*>(buffer.data());
  EXPECT_EQ(GdipGetImageEncoders(count, size - 1, encoders), InsufficientBuffer);
  ASSERT_EQ(GdipGetImageEncoders(count, size, encoders), Ok);

  // A 7 x 5 picture of 35 colours, few enough for GIF to keep them all.
  RgbDib dib(7, 5);
  std::string expected;
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 7; ++x) {
      const std::uint32_t rgb = static_cast<std::uint32_t>((x * 36) << 16 | (y * 60) << 8 | (x * y * 9 + 20));
      dib.Set(x, y, rgb);
      expected += {static_cast<char>(rgb >> 16), static_cast<char>(rgb >> 8), static_cast<char>(rgb)};
    }
  GpBitmap* bitmap = dib.Bitmap();
  const TempFolder folder;
  const char* mimeTypes[] = {"image/bmp", "image/jpeg", "image/gif", "image/tiff", "image/png"};
  const char* magickNames[] = {"BMP3", "JPEG", "GIF", "TIFF", "PNG"};  // BMP3: a BITMAPINFOHEADER file
  for (UINT i = 0; i < count; ++i) {
    const std::u16string mime(encoders[i].MimeType);
    EXPECT_EQ(std::string(mime.begin(), mime.end()), mimeTypes[i]);
    const std::filesystem::path file = folder / ("picture" + std::to_string(i));
    const std::u16string wide = file.u16string();
    ASSERT_EQ(GdipSaveImageToFile(bitmap, wide.c_str(), &encoders[i].Clsid, nullptr), Ok) << mimeTypes[i];
    EXPECT_EQ(CommandOutput(folder, "identify -format '%m %w %h' '" + file.string() + "'"),
              std::string(magickNames[i]) + " 7 5");
    const bool lossless = i != 1;
    if (lossless) {
      EXPECT_EQ(CommandOutput(folder, "convert '" + file.string() + "' -depth 8 rgb:-"), expected) << mimeTypes[i];
    }

    GpBitmap* back = nullptr;
    ASSERT_EQ(GdipCreateBitmapFromFile(wide.c_str(), &back), Ok) << mimeTypes[i];
    BitmapData data{};
    ASSERT_EQ(GdipBitmapLockBits(back, nullptr, ImageLockModeRead, PixelFormat24bppRGB, &data), Ok);
    EXPECT_EQ(data.Width, 7u);
    EXPECT_EQ(data.Height, 5u);
    if (lossless) {
      std::string read;
      for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x) {
          const BYTE* p = static_cast<const BYTE*>(data.Scan0) + y * data.Stride + 3 * x;
          read += {static_cast<char>(p[2]), static_cast<char>(p[1]), static_cast<char>(p[0])};
        }
      EXPECT_EQ(read, expected) << mimeTypes[i];
    }
    GdipBitmapUnlockBits(back, &data);
    GdipDisposeImage(back);
  }
  const CLSID unknown = MakeGuid("00000000-1111-2222-3333-444444444444");
  EXPECT_EQ(GdipSaveImageToFile(bitmap, (folder / "x").u16string().c_str(), &unknown, nullptr), InvalidParameter);
  GdipDisposeImage(bitmap);
}

TEST(Gdiplus, AMissingFileGivesABitmapInAnErrorState) {
  const GdiplusSession session;
  const TempFolder folder;
  GpBitmap* star = nullptr;
  EXPECT_EQ(GdipCreateBitmapFromFile((folder / "star.png").u16string().c_str(), &star), FileNotFound);
  ASSERT_NE(star, nullptr);
  const HostWindow window(4, 4);
  GpGraphics* graphics = nullptr;
  GdipCreateFromHWND(window.get(), &graphics);
  EXPECT_EQ(GdipDrawImageRectI(graphics, star, 0, 0, 2, 2), FileNotFound);
  UINT width = 0;
  EXPECT_EQ(GdipGetImageWidth(star, &width), FileNotFound);
  EXPECT_EQ(GdipDisposeImage(star), Ok);
  GdipDeleteGraphics(graphics);

  // A file that is there but is no picture.
  const std::filesystem::path text = folder / "note.png";
  std::FILE* file = std::fopen(text.c_str(), "wb");
  std::fputs("not a picture", file);
  std::fclose(file);
  GpBitmap* note = nullptr;
  EXPECT_EQ(GdipCreateBitmapFromFile(text.u16string().c_str(), &note), UnknownImageFormat);
  GdipDisposeImage(note);
}

}  // namespace
