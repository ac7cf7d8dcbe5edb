// One JPEG frame through the IJG 6b 12-bit library (gdcmjpeg12).
#include <csetjmp>
#include <cstddef>
#include <cstdio>  // jpeglib.h needs FILE declared before it

namespace ijg12 {
extern "C" {
#include <gdcmjpeg/12/jpeglib.h>
#include <gdcmjpeg/12/jerror.h>
}

#include "jpeg_library_binding.inc"

}  // namespace ijg12

#include "jpeg_frame_decoders.h"
#include "jpeg_library_decoder.h"

namespace ondrel::codecs {

bool DecodeJpegFrameWithIjg12(ByteRange stream, int sampleBytes, OutputBlock& out, std::size_t* consumed,
                              char* errorText) {
  return DecodeJpegFrame<ijg12::Library>(stream, sampleBytes, out, consumed, errorText);
}

}  // namespace ondrel::codecs
