// One JPEG frame through the IJG 6b 12-bit library (gdcmjpeg12).
#include <csetjmp>
#include <cstddef>
#include <cstdio>  // jpeglib.h needs FILE declared before it

namespace ijg12 {
extern "C" {
#include <gdcmjpeg/12/jpeglib.h>
#include <gdcmjpeg/12/jerror.h>
}

// The library as jpeg_library_decoder.h uses it.
struct Library {
  using Decompress = jpeg_decompress_struct;
  using Common = jpeg_common_struct;
  using ErrorManager = jpeg_error_mgr;
  using SourceManager = jpeg_source_mgr;
  using Boolean = boolean;
  using Sample = JSAMPLE;
  using SampleRow = JSAMPROW;
  using SampleArray = JSAMPARRAY;
  static constexpr int kMessageLength = JMSG_LENGTH_MAX;
  static constexpr int kImagePool = JPOOL_IMAGE;
  static constexpr J_MESSAGE_CODE kPrematureEndWarning = JWRN_JPEG_EOF;
  static constexpr J_MESSAGE_CODE kNotSequentialWarning = JWRN_NOT_SEQUENTIAL;
  static constexpr J_MESSAGE_CODE kJfifVersionWarning = JWRN_JFIF_MAJOR;
  static constexpr J_COLOR_SPACE kRgb = JCS_RGB;
  static constexpr auto kResyncToRestart = &jpeg_resync_to_restart;
  static ErrorManager* StdError(ErrorManager* errors) { return jpeg_std_error(errors); }
  static void CreateDecompress(Decompress* decompress) { jpeg_create_decompress(decompress); }
  static void DestroyDecompress(Decompress* decompress) { jpeg_destroy_decompress(decompress); }
  static void ReadHeader(Decompress* decompress) { jpeg_read_header(decompress, TRUE); }
  static void StartDecompress(Decompress* decompress) { jpeg_start_decompress(decompress); }
  static unsigned ReadScanlines(Decompress* decompress, SampleRow* rows, unsigned count) {
    return jpeg_read_scanlines(decompress, rows, count);
  }
  static void FinishDecompress(Decompress* decompress) { jpeg_finish_decompress(decompress); }
};

}  // namespace ijg12

#include "jpeg_frame_decoders.h"
#include "jpeg_library_decoder.h"

namespace ondrel::codecs {

bool DecodeJpegFrameWithIjg12(ByteRange stream, int sampleBytes, OutputBlock& out, std::size_t* consumed,
                              char* errorText) {
  return DecodeJpegFrame<ijg12::Library>(stream, sampleBytes, out, consumed, errorText);
}

}  // namespace ondrel::codecs
