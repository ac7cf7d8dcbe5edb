// PNG files through libpng. libpng reports a failure by jumping back to a setjmp point, so the calls
// into libpng are made from functions whose frames own no C++ objects; everything with a destructor
// lives in the caller.
#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "picture/picture_codecs.h"

namespace ondrel::platform::picture {
namespace {

// What libpng's callbacks share with the code that drives it; plain data only.
struct PngState {
  const std::uint8_t* data = nullptr;  // reading: the file, and how far libpng has read
  std::size_t size = 0;
  std::size_t at = 0;
  std::vector<std::uint8_t>* output = nullptr;  // writing
  char message[200] = "";
};

void OnError(png_structp png, png_const_charp message) {
  auto* state = static_cast<PngState*>(png_get_error_ptr(png));
  std::snprintf(state->message, sizeof state->message, "%s", message);
  png_longjmp(png, 1);
}

// Warnings concern chunks libpng skips (a damaged ancillary chunk, say); the pixels are not affected.
void OnWarning(png_structp, png_const_charp) {}

void ReadFromMemory(png_structp png, png_bytep out, png_size_t count) {
  auto* state = static_cast<PngState*>(png_get_io_ptr(png));
  if (count > state->size - state->at) png_error(png, "the file ends early");
  std::memcpy(out, state->data + state->at, count);
  state->at += count;
}

void WriteToMemory(png_structp png, png_bytep data, png_size_t count) {
  auto* state = static_cast<PngState*>(png_get_io_ptr(png));
  bool stored = true;
  try {
    state->output->insert(state->output->end(), data, data + count);
  } catch (const std::bad_alloc&) {
    stored = false;
  }
  if (!stored) png_error(png, "out of memory");
}

void FlushMemory(png_structp) {}

// How the decoded rows are laid out, chosen from the header.
struct PngLayout {
  std::uint32_t format = 0;
  bool unpacked = false;  // one index a byte in `indices`, packed into the picture afterwards
  std::vector<std::uint8_t> indices;
  std::vector<png_bytep> rows;
  std::vector<std::uint32_t> palette;
};

// Sets libpng's transformations so that its output rows are GDI+'s layout for `layout.format`.
// Called inside ReadPng's frame: owns nothing with a destructor.
void ChooseLayout(png_structp png, png_infop info, PngLayout* layout) {
  const int colorType = png_get_color_type(png, info);
  const int depth = png_get_bit_depth(png, info);
  const bool transparent = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
  if (colorType == PNG_COLOR_TYPE_PALETTE || (colorType == PNG_COLOR_TYPE_GRAY && depth <= 8)) {
    // Indices stay indices: 1 and 4 bits keep their packing, 2 bits widen to 4, 8 bits stay bytes.
    layout->format = depth == 1 ? kFormat1bppIndexed : depth <= 4 ? kFormat4bppIndexed : kFormat8bppIndexed;
    layout->unpacked = depth == 2;
    if (layout->unpacked) png_set_packing(png);
    if (colorType == PNG_COLOR_TYPE_GRAY) {
      layout->palette = GreyPalette(1 << depth);
      png_color_16p grey = nullptr;
      if (transparent && png_get_tRNS(png, info, nullptr, nullptr, &grey) != 0 && grey != nullptr &&
          grey->gray < layout->palette.size())
        layout->palette[grey->gray] &= 0x00FFFFFFu;
    } else {
      png_colorp colors = nullptr;
      int count = 0;
      png_get_PLTE(png, info, &colors, &count);
      png_bytep alphas = nullptr;
      int alphaCount = 0;
      if (transparent) png_get_tRNS(png, info, &alphas, &alphaCount, nullptr);
      for (int i = 0; i < count; ++i) {
        const std::uint32_t a = i < alphaCount ? alphas[i] : 255;
        layout->palette.push_back((a << 24) | (colors[i].red << 16) | (colors[i].green << 8) | colors[i].blue);
      }
    }
    return;
  }
  const bool sixteen = depth == 16;
  if (sixteen) png_set_swap(png);  // GDI+'s 16-bit samples are little-endian
  if (colorType == PNG_COLOR_TYPE_GRAY && !transparent) {
    layout->format = kFormat16bppGrayScale;
    return;
  }
  png_set_bgr(png);
  if (colorType == PNG_COLOR_TYPE_GRAY || colorType == PNG_COLOR_TYPE_GRAY_ALPHA) png_set_gray_to_rgb(png);
  if (transparent) png_set_tRNS_to_alpha(png);
  const bool alpha = transparent || (colorType & PNG_COLOR_MASK_ALPHA) != 0;
  layout->format =
      alpha ? (sixteen ? kFormat64bppARGB : kFormat32bppARGB) : (sixteen ? kFormat48bppRGB : kFormat24bppRGB);
}

struct PrepareContext {
  Picture* picture;
  std::size_t fileSize;
  std::string* error;
};

// Checks the size from the header, allocates the picture and points `layout->rows` at its rows (or
// at the unpacked indices). Calls nothing in libpng that can fail.
bool PrepareRows(png_structp png, png_infop info, PngLayout* layout, PrepareContext* context) {
  const std::int64_t width = png_get_image_width(png, info);
  const std::int64_t height = png_get_image_height(png, info);
  if (!PixelsFitFile(width, height, context->fileSize, kMaxLosslessPixelsPerFileByte, *context->error) ||
      !AllocatePicture(*context->picture, width, height, layout->format, *context->error))
    return false;
  Picture& picture = *context->picture;
  layout->rows.resize(static_cast<std::size_t>(height));
  if (layout->unpacked) layout->indices.resize(static_cast<std::size_t>(width * height));
  for (std::int64_t y = 0; y < height; ++y)
    layout->rows[static_cast<std::size_t>(y)] =
        layout->unpacked ? layout->indices.data() + y * width : picture.bits.data() + y * picture.stride;
  return true;
}

// Returns false with state->message set when libpng fails, or with context->error set when the
// header's size is refused.
bool ReadPng(png_structp png, png_infop info, PngLayout* layout, PrepareContext* context) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_info(png, info);
  ChooseLayout(png, info, layout);
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  if (!PrepareRows(png, info, layout, context)) return false;
  png_read_image(png, layout->rows.data());
  // The chunks after the pixels are read too, so that a file cut short after them is refused.
  png_read_end(png, nullptr);
  return true;
}

bool WritePng(png_structp png, png_infop info, const Picture* pixels, bool alpha, png_bytep* rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_IHDR(png, info, static_cast<png_uint_32>(pixels->width), static_cast<png_uint_32>(pixels->height), 8,
               alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  png_set_bgr(png);
  png_write_image(png, rows);
  png_write_end(png, nullptr);
  return true;
}

struct ReadStructs {
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~ReadStructs() { png_destroy_read_struct(&png, info != nullptr ? &info : nullptr, nullptr); }
};

struct WriteStructs {
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~WriteStructs() { png_destroy_write_struct(&png, info != nullptr ? &info : nullptr); }
};

}  // namespace

bool DecodePng(FileBytes file, Picture& picture, std::string& error) {
  PngState state;
  state.data = file.data();
  state.size = file.size();
  ReadStructs structs;
  structs.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &state, OnError, OnWarning);
  if (structs.png != nullptr) structs.info = png_create_info_struct(structs.png);
  if (structs.info == nullptr) {
    error = "PNG: out of memory";
    return false;
  }
  png_set_read_fn(structs.png, &state, ReadFromMemory);
  PngLayout layout;
  PrepareContext context{&picture, file.size(), &error};
  error.clear();
  if (!ReadPng(structs.png, structs.info, &layout, &context)) {
    error = "PNG: " + (error.empty() ? std::string(state.message) : error);
    return false;
  }
  if (layout.unpacked) PackIndices(layout.indices.data(), picture.width, picture.height, picture);
  if (BitsPerPixel(layout.format) <= 8) {
    picture.palette = std::move(layout.palette);
    CoverIndices(picture);
  }
  return true;
}

bool EncodePng(const Picture& picture, std::vector<std::uint8_t>& file, std::string& error) {
  auto pixels = ConvertPicture(picture, kFormat32bppARGB);
  const bool alpha = HasTransparency(*pixels);
  if (!alpha) pixels = ConvertPicture(picture, kFormat24bppRGB);
  std::vector<png_bytep> rows(static_cast<std::size_t>(pixels->height));
  for (int y = 0; y < pixels->height; ++y)
    rows[static_cast<std::size_t>(y)] = pixels->bits.data() + static_cast<std::size_t>(y) * pixels->stride;

  PngState state;
  file.clear();
  state.output = &file;
  WriteStructs structs;
  structs.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &state, OnError, OnWarning);
  if (structs.png != nullptr) structs.info = png_create_info_struct(structs.png);
  if (structs.info == nullptr) {
    error = "PNG: out of memory";
    return false;
  }
  png_set_write_fn(structs.png, &state, WriteToMemory, FlushMemory);
  if (!WritePng(structs.png, structs.info, &*pixels, alpha, rows.data())) {
    error = "PNG: " + std::string(state.message);
    return false;
  }
  return true;
}

}  // namespace ondrel::platform::picture
