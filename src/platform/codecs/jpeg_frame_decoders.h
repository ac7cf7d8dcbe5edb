// One JPEG frame through one of the four JPEG libraries. Each library has its own jpeglib.h, so each
// decoder lives in a file of its own: libjpeg-turbo (8-bit lossy), and the IJG 6b 8-bit, 12-bit and
// 16-bit libraries that GDCM ships (the 6b code with the lossless process added).
#pragma once

#include <cstddef>

#include "codec_support.h"

namespace ondrel::codecs {

// Decodes the code stream that starts (with SOI) at the start of `stream`, and appends its samples to
// `out`, `sampleBytes` (1 or 2) bytes each in native order, rows top to bottom, components interleaved.
// Samples narrower than `sampleBytes` are widened; the libraries are chosen so that none is wider.
// On success, true and `*consumed`, the bytes through EOI. On failure, false with the library's
// message in errorText (any warning counts as a failure: the libraries warn about corrupt data and
// then go on with made-up samples); `out` then holds an unfinished frame and is to be dropped.
using JpegFrameDecoder = bool (*)(ByteRange stream, int sampleBytes, OutputBlock& out, std::size_t* consumed,
                                  char* errorText);

bool DecodeJpegFrameWithTurbo(ByteRange stream, int sampleBytes, OutputBlock& out, std::size_t* consumed,
                              char* errorText);
bool DecodeJpegFrameWithIjg8(ByteRange stream, int sampleBytes, OutputBlock& out, std::size_t* consumed,
                             char* errorText);
bool DecodeJpegFrameWithIjg12(ByteRange stream, int sampleBytes, OutputBlock& out, std::size_t* consumed,
                              char* errorText);
bool DecodeJpegFrameWithIjg16(ByteRange stream, int sampleBytes, OutputBlock& out, std::size_t* consumed,
                              char* errorText);

}  // namespace ondrel::codecs
