// GIF files through giflib: the first frame on reading, one frame on writing.
#include <gif_lib.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "picture/picture_codecs.h"

namespace ondrel::platform::picture {
namespace {

struct Source {
  FileBytes file;
  std::size_t at = 0;
};

int ReadFromMemory(GifFileType* gif, GifByteType* out, int count) {
  auto* source = static_cast<Source*>(gif->UserData);
  const std::size_t n = std::min(static_cast<std::size_t>(std::max(count, 0)), source->file.size() - source->at);
  std::memcpy(out, source->file.data() + source->at, n);
  source->at += n;
  return static_cast<int>(n);
}

int WriteToMemory(GifFileType* gif, const GifByteType* data, int count) {
  try {
    auto* output = static_cast<std::vector<std::uint8_t>*>(gif->UserData);
    output->insert(output->end(), data, data + count);
    return count;
  } catch (const std::bad_alloc&) {
    return 0;  // giflib reports a write failure
  }
}

bool Fail(std::string& error, const std::string& reason) {
  error = "GIF: " + reason;
  return false;
}

bool FailWithCode(std::string& error, int code) {
  const char* text = GifErrorString(code);
  return Fail(error, text != nullptr ? text : "error " + std::to_string(code));
}

struct DecoderHandle {
  GifFileType* gif = nullptr;
  ~DecoderHandle() {
    int ignored = 0;
    if (gif != nullptr) DGifCloseFile(gif, &ignored);
  }
};

// Skips data sub-blocks (a length byte, then that many bytes, until a zero length).
bool SkipSubBlocks(FileBytes file, std::size_t& at) {
  while (at < file.size()) {
    const std::size_t length = file[at++];
    if (length == 0) return true;
    at += length;
  }
  return false;
}

// Walks the records after the first frame to the trailer without decoding them, so that a file cut
// short anywhere is refused.
bool ReachesTrailer(FileBytes file, std::size_t at) {
  while (at < file.size()) {
    const std::uint8_t introducer = file[at++];
    if (introducer == 0x3B) return true;
    if (introducer == 0x21) {
      if (++at > file.size() || !SkipSubBlocks(file, at)) return false;
    } else if (introducer == 0x2C) {
      if (at + 9 > file.size()) return false;
      const std::uint8_t flags = file[at + 8];
      at += 9;
      if (flags & 0x80) at += 3u << ((flags & 7) + 1);
      if (++at > file.size() || !SkipSubBlocks(file, at)) return false;  // past the LZW code size
    } else {
      return false;
    }
  }
  return false;
}

// The fixed palette for pictures of more than 256 colours: a 6 x 6 x 6 colour cube and evenly spaced
// greys between the cube's own. Each pixel takes its nearest entry, without dithering, so that a
// picture of flat areas keeps flat areas.
class FixedPalette {
 public:
  explicit FixedPalette(int greys) : greys_(greys) {
    for (int r = 0; r < 6; ++r)
      for (int g = 0; g < 6; ++g)
        for (int b = 0; b < 6; ++b) colours_.push_back({Level(r), Level(g), Level(b)});
    for (int i = 1; i <= greys_; ++i) {
      const auto v = static_cast<GifByteType>((i * 255 + (greys_ + 1) / 2) / (greys_ + 1));
      colours_.push_back({v, v, v});
    }
  }

  const std::vector<GifColorType>& Colours() const { return colours_; }

  GifPixelType Nearest(int r, int g, int b) const {
    // The nearest cube entry rounds each channel; the nearest grey lies next to the channels' mean.
    const int cube = 36 * ((r + 25) / 51) + 6 * ((g + 25) / 51) + (b + 25) / 51;
    int best = cube;
    int bestDistance = Distance(cube, r, g, b);
    const int middle = ((r + g + b) * (greys_ + 1) + 382) / 765;
    for (int i = std::max(1, middle - 1); i <= std::min(greys_, middle + 1); ++i) {
      const int entry = 216 + i - 1;
      const int distance = Distance(entry, r, g, b);
      if (distance < bestDistance) {
        best = entry;
        bestDistance = distance;
      }
    }
    return static_cast<GifPixelType>(best);
  }

 private:
  static GifByteType Level(int step) { return static_cast<GifByteType>(51 * step); }
  int Distance(int entry, int r, int g, int b) const {
    const GifColorType& c = colours_[static_cast<std::size_t>(entry)];
    return (r - c.Red) * (r - c.Red) + (g - c.Green) * (g - c.Green) + (b - c.Blue) * (b - c.Blue);
  }

  int greys_;
  std::vector<GifColorType> colours_;
};

struct EncoderHandle {
  GifFileType* gif = nullptr;
  ColorMapObject* map = nullptr;
  ~EncoderHandle() {
    int ignored = 0;
    if (gif != nullptr) EGifCloseFile(gif, &ignored);
    GifFreeMapObject(map);
  }
};

}  // namespace

bool DecodeGif(FileBytes file, Picture& picture, std::string& error) {
  Source source;
  source.file = file;
  int code = 0;
  DecoderHandle handle;
  handle.gif = DGifOpen(&source, ReadFromMemory, &code);
  if (handle.gif == nullptr) return FailWithCode(error, code);
  GifFileType* gif = handle.gif;

  int transparent = NO_TRANSPARENT_COLOR;
  for (;;) {
    GifRecordType type = UNDEFINED_RECORD_TYPE;
    if (DGifGetRecordType(gif, &type) == GIF_ERROR) return FailWithCode(error, gif->Error);
    if (type == TERMINATE_RECORD_TYPE) return Fail(error, "the file holds no picture");
    if (type == IMAGE_DESC_RECORD_TYPE) break;
    if (type != EXTENSION_RECORD_TYPE) return Fail(error, "unknown record");
    int label = 0;
    GifByteType* block = nullptr;
    if (DGifGetExtension(gif, &label, &block) == GIF_ERROR) return FailWithCode(error, gif->Error);
    if (label == GRAPHICS_EXT_FUNC_CODE && block != nullptr) {
      GraphicsControlBlock control{};
      if (DGifExtensionToGCB(block[0], block + 1, &control) == GIF_ERROR) return FailWithCode(error, gif->Error);
      transparent = control.TransparentColor;
    }
    while (block != nullptr)
      if (DGifGetExtensionNext(gif, &block) == GIF_ERROR) return FailWithCode(error, gif->Error);
  }
  if (DGifGetImageDesc(gif) == GIF_ERROR) return FailWithCode(error, gif->Error);

  const GifImageDesc& frame = gif->Image;
  const ColorMapObject* map = frame.ColorMap != nullptr ? frame.ColorMap : gif->SColorMap;
  if (map == nullptr) return Fail(error, "the picture has no colour table");
  // Some writers give a screen smaller than the frame; the picture then grows to hold the frame.
  const std::int64_t width = std::max<std::int64_t>(gif->SWidth, std::int64_t{frame.Left} + frame.Width);
  const std::int64_t height = std::max<std::int64_t>(gif->SHeight, std::int64_t{frame.Top} + frame.Height);
  if (!PixelsFitFile(width, height, file.size(), kMaxLosslessPixelsPerFileByte, error) ||
      !AllocatePicture(picture, width, height, kFormat8bppIndexed, error))
    return Fail(error, error);
  // Around the frame the picture shows the transparent colour, or else the background colour.
  const int fill =
      transparent != NO_TRANSPARENT_COLOR ? transparent : (gif->SColorMap != nullptr ? gif->SBackGroundColor : 0);
  std::fill(picture.bits.begin(), picture.bits.end(), static_cast<std::uint8_t>(fill));

  std::vector<GifPixelType> line(static_cast<std::size_t>(std::max(frame.Width, 1)));
  // An interlaced frame sends every 8th row from 0, every 8th from 4, every 4th from 2, every 2nd from 1.
  constexpr int kPassStart[] = {0, 4, 2, 1};
  constexpr int kPassStep[] = {8, 8, 4, 2};
  const int passes = frame.Interlace ? 4 : 1;
  for (int pass = 0; pass < passes; ++pass) {
    const int start = frame.Interlace ? kPassStart[pass] : 0;
    const int step = frame.Interlace ? kPassStep[pass] : 1;
    for (int row = start; row < frame.Height; row += step) {
      if (DGifGetLine(gif, line.data(), frame.Width) == GIF_ERROR) return FailWithCode(error, gif->Error);
      std::memcpy(picture.bits.data() + static_cast<std::size_t>(frame.Top + row) * picture.stride + frame.Left,
                  line.data(), static_cast<std::size_t>(frame.Width));
    }
  }
  if (!ReachesTrailer(file, source.at)) return Fail(error, "the file ends before its trailer");

  for (int i = 0; i < map->ColorCount; ++i) {
    const GifColorType& c = map->Colors[i];
    picture.palette.push_back(0xFF000000u | (c.Red << 16) | (c.Green << 8) | c.Blue);
  }
  CoverIndices(picture);
  if (transparent >= 0 && static_cast<std::size_t>(transparent) < picture.palette.size())
    picture.palette[static_cast<std::size_t>(transparent)] &= 0x00FFFFFFu;
  return true;
}

bool EncodeGif(const Picture& picture, std::vector<std::uint8_t>& file, std::string& error) {
  if (picture.width > 0xFFFF || picture.height > 0xFFFF) return Fail(error, "the picture is too large for a GIF file");
  const auto argb = ConvertPicture(picture, kFormat32bppARGB);

  // GIF has one fully transparent colour and no partial transparency: a pixel that shows at all is
  // written opaque, so that nothing visible disappears.
  std::unordered_map<std::uint32_t, GifPixelType> exact;
  std::vector<GifColorType> colours;
  bool transparent = false, fits = true;
  for (int y = 0; y < argb->height && fits; ++y) {
    const std::uint8_t* p = argb->bits.data() + static_cast<std::size_t>(y) * argb->stride;
    for (int x = 0; x < argb->width && fits; ++x, p += 4) {
      if (p[3] == 0) {
        transparent = true;
      } else if (exact.try_emplace(p[0] | (p[1] << 8) | (p[2] << 16), static_cast<GifPixelType>(colours.size()))
                     .second) {
        colours.push_back({p[2], p[1], p[0]});
      }
      fits = colours.size() + (transparent ? 1 : 0) <= 256;
    }
  }
  const FixedPalette fixed(transparent ? 39 : 40);
  if (!fits) colours = fixed.Colours();
  const int transparentIndex = transparent ? static_cast<int>(colours.size()) : NO_TRANSPARENT_COLOR;
  if (transparent) colours.push_back({0, 0, 0});
  int bits = 1;
  while ((std::size_t{1} << bits) < colours.size()) ++bits;
  colours.resize(std::size_t{1} << bits, GifColorType{0, 0, 0});

  file.clear();
  int code = 0;
  EncoderHandle handle;
  handle.map = GifMakeMapObject(static_cast<int>(colours.size()), colours.data());
  handle.gif = EGifOpen(&file, WriteToMemory, &code);
  if (handle.map == nullptr) return Fail(error, "out of memory");
  if (handle.gif == nullptr) return FailWithCode(error, code);
  GifFileType* gif = handle.gif;
  EGifSetGifVersion(gif, transparent);  // the transparent colour needs GIF89a
  if (EGifPutScreenDesc(gif, argb->width, argb->height, 8, 0, handle.map) == GIF_ERROR)
    return FailWithCode(error, gif->Error);
  if (transparent) {
    GraphicsControlBlock control{};
    control.DisposalMode = DISPOSAL_UNSPECIFIED;
    control.TransparentColor = transparentIndex;
    GifByteType extension[4];
    const std::size_t length = EGifGCBToExtension(&control, extension);
    if (EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, static_cast<int>(length), extension) == GIF_ERROR)
      return FailWithCode(error, gif->Error);
  }
  if (EGifPutImageDesc(gif, 0, 0, argb->width, argb->height, false, nullptr) == GIF_ERROR)
    return FailWithCode(error, gif->Error);
  std::vector<GifPixelType> line(static_cast<std::size_t>(argb->width));
  for (int y = 0; y < argb->height; ++y) {
    const std::uint8_t* p = argb->bits.data() + static_cast<std::size_t>(y) * argb->stride;
    for (int x = 0; x < argb->width; ++x, p += 4) {
      if (p[3] == 0)
        line[static_cast<std::size_t>(x)] = static_cast<GifPixelType>(transparentIndex);
      else
        line[static_cast<std::size_t>(x)] =
            fits ? exact[p[0] | (p[1] << 8) | (p[2] << 16)] : fixed.Nearest(p[2], p[1], p[0]);
    }
    if (EGifPutLine(gif, line.data(), argb->width) == GIF_ERROR) return FailWithCode(error, gif->Error);
  }
  handle.gif = nullptr;
  if (EGifCloseFile(gif, &code) == GIF_ERROR) return FailWithCode(error, code);
  return true;
}

}  // namespace ondrel::platform::picture
