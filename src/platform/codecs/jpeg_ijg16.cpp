// One JPEG frame through the IJG 6b 16-bit library (gdcmjpeg16).
#include <csetjmp>
#include <cstddef>
#include <cstdio>  // jpeglib.h needs FILE declared before it

namespace ijg16 {
extern "C" {
#include <gdcmjpeg/16/jpeglib.h>
#include <gdcmjpeg/16/jerror.h>
}

#include "jpeg_library_binding.inc"

}  // namespace ijg16

#include "jpeg_frame_decoders.h"
#include "jpeg_library_decoder.h"

namespace ondrel::codecs {

bool DecodeJpegFrameWithIjg16(ByteRange stream, int sampleBytes, OutputBlock& out, std::size_t* consumed,
                              char* errorText) {
  return DecodeJpegFrame<ijg16::Library>(stream, sampleBytes, out, consumed, errorText);
}

}  // namespace ondrel::codecs
