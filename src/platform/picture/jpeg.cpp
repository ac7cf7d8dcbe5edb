// JPEG files through libjpeg-turbo. libjpeg reports a failure by calling error_exit, which here jumps
// back to a setjmp point in a function whose frame owns no C++ objects.
#include <cstdio>
// jpeglib.h needs FILE and size_t declared first.
#include <jerror.h>
#include <jpeglib.h>

#include <csetjmp>
#include <cstdlib>
#include <string>
#include <vector>

#include "picture/picture_codecs.h"

namespace ondrel::platform::picture {
namespace {

// Huffman-coded scans spend at least one bit on each 8 x 8 block of the most finely sampled component,
// so a file holds at most 512 pixels a byte; twice that leaves room for the headers in the file size.
constexpr std::int64_t kHuffmanPixelsPerFileByte = 1024;

struct JpegFailure {
  jpeg_error_mgr manager;  // first, so that the library's pointer to it is a pointer to this
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

[[noreturn]] void ExitWithError(j_common_ptr info) {
  auto* failure = reinterpret_cast<JpegFailure*>(info->err);
  (*info->err->format_message)(info, failure->message);
  std::longjmp(failure->jump, 1);
}

// Warnings that concern the markers around the picture and not its pixels.
bool IsHarmlessWarning(int code) {
  return code == JWRN_JFIF_MAJOR || code == JWRN_ADOBE_XFORM || code == JWRN_BOGUS_ICC;
}

// libjpeg calls the other warnings "corrupt data" and goes on with grey blocks or a made-up end of
// file; a damaged picture must not be shown as if whole, so they end the read as errors do.
void OnMessage(j_common_ptr info, int level) {
  if (level < 0 && !IsHarmlessWarning(info->err->msg_code)) ExitWithError(info);
}

void Silence(j_common_ptr) {}

void UseFailure(JpegFailure* failure) {
  jpeg_std_error(&failure->manager);
  failure->manager.error_exit = ExitWithError;
  failure->manager.emit_message = OnMessage;
  failure->manager.output_message = Silence;
  failure->message[0] = '\0';
}

struct DecodeContext {
  Picture* picture;
  std::vector<std::uint8_t>* cmykRow;
  std::size_t fileSize;
  std::string* error;
};

// Checks the size and chooses the output colours; calls nothing in libjpeg that can fail.
bool ChooseOutput(jpeg_decompress_struct* info, DecodeContext* context) {
  // Arithmetic coding has no such floor; those pictures are held only to the overall limit.
  if (!info->arith_code && !PixelsFitFile(info->image_width, info->image_height, context->fileSize,
                                          kHuffmanPixelsPerFileByte, *context->error))
    return false;
  if (info->jpeg_color_space == JCS_GRAYSCALE)
    info->out_color_space = JCS_GRAYSCALE;
  else if (info->jpeg_color_space == JCS_CMYK || info->jpeg_color_space == JCS_YCCK)
    info->out_color_space = JCS_CMYK;
  else
    info->out_color_space = JCS_EXT_BGR;
  return true;
}

// Allocates the picture once libjpeg has started, so that a file whose progressive scans would
// overflow libjpeg's own limit fails before the picture is allocated.
bool AllocateOutput(const jpeg_decompress_struct* info, DecodeContext* context) {
  const bool grey = info->out_color_space == JCS_GRAYSCALE;
  if (!AllocatePicture(*context->picture, info->output_width, info->output_height,
                       grey ? kFormat8bppIndexed : kFormat24bppRGB, *context->error))
    return false;
  if (grey) context->picture->palette = GreyPalette(256);
  if (info->out_color_space == JCS_CMYK) context->cmykRow->resize(static_cast<std::size_t>(info->output_width) * 4);
  return true;
}

// Adobe's CMYK JPEGs store the inks inverted (255 is no ink); others store them plainly.
void CmykRowToBgr(const std::uint8_t* cmyk, int width, bool inverted, std::uint8_t* bgr) {
  for (int x = 0; x < width; ++x, cmyk += 4, bgr += 3) {
    const unsigned k = inverted ? cmyk[3] : 255u - cmyk[3];
    for (int c = 0; c < 3; ++c) {
      const unsigned ink = inverted ? cmyk[c] : 255u - cmyk[c];
      bgr[2 - c] = static_cast<std::uint8_t>((ink * k + 127) / 255);
    }
  }
}

bool ReadJpeg(jpeg_decompress_struct* info, JpegFailure* failure, FileBytes* file, DecodeContext* context) {
  if (setjmp(failure->jump)) return false;
  jpeg_create_decompress(info);
  jpeg_mem_src(info, file->data(), static_cast<unsigned long>(file->size()));
  jpeg_read_header(info, TRUE);
  if (!ChooseOutput(info, context)) return false;
  // libjpeg's whole-picture buffers (progressive scans) are held to the same limit as the picture.
  info->mem->max_memory_to_use = static_cast<long>(kMaxPictureBytes);
  jpeg_start_decompress(info);
  if (!AllocateOutput(info, context)) return false;
  Picture* picture = context->picture;
  while (info->output_scanline < info->output_height) {
    const auto y = info->output_scanline;
    if (info->out_color_space == JCS_CMYK) {
      JSAMPROW row = context->cmykRow->data();
      jpeg_read_scanlines(info, &row, 1);
      CmykRowToBgr(row, picture->width, info->saw_Adobe_marker != 0,
                   picture->bits.data() + static_cast<std::size_t>(y) * picture->stride);
    } else {
      JSAMPROW row = picture->bits.data() + static_cast<std::size_t>(y) * picture->stride;
      jpeg_read_scanlines(info, &row, 1);
    }
  }
  // Reads on to the end marker, so that a file cut short after its last scan is refused.
  jpeg_finish_decompress(info);
  return true;
}

struct Destination {
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
};

bool WriteJpeg(jpeg_compress_struct* info, JpegFailure* failure, const Picture* pixels, Destination* destination) {
  if (setjmp(failure->jump)) return false;
  jpeg_create_compress(info);
  jpeg_mem_dest(info, &destination->buffer, &destination->size);
  info->image_width = static_cast<JDIMENSION>(pixels->width);
  info->image_height = static_cast<JDIMENSION>(pixels->height);
  info->input_components = 3;
  info->in_color_space = JCS_EXT_BGR;
  jpeg_set_defaults(info);           // YCbCr with 2 x 2 chroma subsampling
  jpeg_set_quality(info, 75, TRUE);  // GDI+'s default quality
  jpeg_start_compress(info, TRUE);
  while (info->next_scanline < info->image_height) {
    JSAMPROW row =
        const_cast<std::uint8_t*>(pixels->bits.data()) + static_cast<std::size_t>(info->next_scanline) * pixels->stride;
    jpeg_write_scanlines(info, &row, 1);
  }
  jpeg_finish_compress(info);
  return true;
}

// Destroying a structure that was never created is harmless: libjpeg frees only what it allocated.
struct Decompressor {
  jpeg_decompress_struct info{};
  ~Decompressor() { jpeg_destroy_decompress(&info); }
};

struct Compressor {
  jpeg_compress_struct info{};
  Destination destination;
  ~Compressor() {
    jpeg_destroy_compress(&info);
    std::free(destination.buffer);
  }
};

}  // namespace

bool DecodeJpeg(FileBytes file, Picture& picture, std::string& error) {
  JpegFailure failure;
  UseFailure(&failure);
  Decompressor decompressor;
  decompressor.info.err = &failure.manager;
  std::vector<std::uint8_t> cmykRow;
  DecodeContext context{&picture, &cmykRow, file.size(), &error};
  error.clear();
  if (!ReadJpeg(&decompressor.info, &failure, &file, &context)) {
    error = "JPEG: " + (error.empty() ? std::string(failure.message) : error);
    return false;
  }
  return true;
}

bool EncodeJpeg(const Picture& picture, std::vector<std::uint8_t>& file, std::string& error) {
  // JPEG has no alpha; the colour channels are written as they are.
  const auto pixels = ConvertPicture(picture, kFormat24bppRGB);
  JpegFailure failure;
  UseFailure(&failure);
  Compressor compressor;
  compressor.info.err = &failure.manager;
  if (!WriteJpeg(&compressor.info, &failure, &*pixels, &compressor.destination)) {
    error = "JPEG: " + std::string(failure.message);
    return false;
  }
  file.assign(compressor.destination.buffer, compressor.destination.buffer + compressor.destination.size);
  return true;
}

}  // namespace ondrel::platform::picture
