// One JPEG frame through the IJG 6b 8-bit library (gdcmjpeg8).
#include <csetjmp>
#include <cstddef>
#include <cstdio>  // jpeglib.h needs FILE declared before it

namespace ijg8 {
extern "C" {
#include <gdcmjpeg/8/jpeglib.h>
#include <gdcmjpeg/8/jerror.h>
}

#include "jpeg_library_binding.inc"

}  // namespace ijg8

#include "jpeg_frame_decoders.h"
#include "jpeg_library_decoder.h"

namespace ondrel::codecs {

bool DecodeJpegFrameWithIjg8(ByteRange stream, int sampleBytes, OutputBlock& out, std::size_t* consumed,
                             char* errorText) {
  return DecodeJpegFrame<ijg8::Library>(stream, sampleBytes, out, consumed, errorText);
}

}  // namespace ondrel::codecs
