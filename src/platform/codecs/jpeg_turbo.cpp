// One 8-bit lossy JPEG frame through libjpeg-turbo.
#include <csetjmp>
#include <cstddef>
#include <cstdio>  // jpeglib.h needs FILE declared before it

namespace turbo {
extern "C" {
#include <jpeglib.h>
#include <jerror.h>
}

#include "jpeg_library_binding.inc"

}  // namespace turbo

#include "jpeg_frame_decoders.h"
#include "jpeg_library_decoder.h"

namespace ondrel::codecs {

bool DecodeJpegFrameWithTurbo(ByteRange stream, int sampleBytes, OutputBlock& out, std::size_t* consumed,
                              char* errorText) {
  return DecodeJpegFrame<turbo::Library>(stream, sampleBytes, out, consumed, errorText);
}

}  // namespace ondrel::codecs
