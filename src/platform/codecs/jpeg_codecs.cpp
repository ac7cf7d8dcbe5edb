// The three JPEG codec functions: find each frame's code stream, choose the library that decodes it,
// and join the frames.
#include "ondrel/platform/codecs.h"

#include <cstdio>

#include "codec_support.h"
#include "jpeg_frame_decoders.h"

namespace {

using namespace ondrel::codecs;

using DecoderChoice = JpegFrameDecoder (*)(const JpegFrameHeader& header);

// libjpeg-turbo for the usual lossy 8-bit streams; it has no lossless process, which the IJG 8-bit
// library has. A stream of higher precision fails with the library's own message.
JpegFrameDecoder ChooseFor8BitSamples(const JpegFrameHeader& header) {
  return header.found && header.lossless ? DecodeJpegFrameWithIjg8 : DecodeJpegFrameWithTurbo;
}

// The caller picks the 12- or 16-bit function by the image's Bits Stored, which does not always
// match the stream's precision. As the samples come out 16 bits wide either way, each stream goes to
// the library that can decode it: lossless streams above 12 bits to the 16-bit library, 8-bit lossy
// streams to libjpeg-turbo (widened), 12-bit lossy streams to the 12-bit library.
JpegFrameDecoder ChooseFor12BitSamples(const JpegFrameHeader& header) {
  if (header.found && header.lossless) {
    return header.precision > 12 ? DecodeJpegFrameWithIjg16 : DecodeJpegFrameWithIjg12;
  }
  return header.found && header.precision <= 8 ? DecodeJpegFrameWithTurbo : DecodeJpegFrameWithIjg12;
}

JpegFrameDecoder ChooseFor16BitSamples(const JpegFrameHeader& header) {
  if (!header.found || header.lossless) return DecodeJpegFrameWithIjg16;
  return header.precision <= 8 ? DecodeJpegFrameWithTurbo : DecodeJpegFrameWithIjg12;
}

// A lossless stream with Huffman coding spends at least one bit on every sample it codes: a Huffman
// code is at least one bit long, and the difference it codes adds bits, never takes any away. So a
// frame cannot code more samples than eight times the bytes from its start to the end of the data; a
// damaged frame header that declares more fails here, before a library sees it. Other streams have
// no such bound: arithmetic coding, and the end-of-band runs of progressive lossy streams, code whole
// blocks in a fraction of a bit.
bool FitsInItsBytes(const JpegFrameHeader& header, ByteRange stream, char* errorText) {
  if (!header.lossless || header.arithmetic || header.codedSamples <= 8 * std::uint64_t{stream.size}) return true;
  char message[192];
  std::snprintf(message, sizeof message,
                "The lossless JPEG frame declares %llu samples, more than its %zu bytes can hold.",
                static_cast<unsigned long long>(header.codedSamples), stream.size);
  SetErrorText(errorText, message);
  return false;
}

bool DecodeJpegFrames(ByteRange data, int sampleBytes, DecoderChoice choose, OutputBlock& out, char* errorText) {
  std::size_t offset = FindFirstStream(data, {kJpegStart});
  if (offset == kNotFound) {
    SetErrorText(errorText, "No JPEG code stream: the data holds no start-of-image marker.");
    return false;
  }
  while (offset != kNotFound) {
    const ByteRange stream = data.From(offset);
    const JpegFrameHeader header = ReadJpegFrameHeader(stream);
    std::size_t consumed = 0;
    if (!FitsInItsBytes(header, stream, errorText) ||
        !choose(header)(stream, sampleBytes, out, &consumed, errorText)) {
      return false;
    }
    offset = FindNextStream(data, offset + consumed, {kJpegStart}, true);
  }
  return true;
}

bool DecodeInto8BitSamples(ByteRange data, OutputBlock& out, char* errorText) {
  return DecodeJpegFrames(data, 1, ChooseFor8BitSamples, out, errorText);
}

bool DecodeInto12BitSamples(ByteRange data, OutputBlock& out, char* errorText) {
  return DecodeJpegFrames(data, 2, ChooseFor12BitSamples, out, errorText);
}

bool DecodeInto16BitSamples(ByteRange data, OutputBlock& out, char* errorText) {
  return DecodeJpegFrames(data, 2, ChooseFor16BitSamples, out, errorText);
}

}  // namespace

bool DecompressJpegBufferIntoBmpBuffer8(unsigned char* source, int sourceLength, unsigned char** out,
                                        int* outLength, char* errorText, int maxOutLength) {
  std::uint8_t* block = RunCodec(source, sourceLength, out != nullptr, DecodeInto8BitSamples, outLength, errorText,
                                 maxOutLength);
  if (out != nullptr) *out = block;
  return block != nullptr;
}

bool DecompressJpegBufferIntoBmpBuffer12(unsigned char* source, int sourceLength, unsigned short** out,
                                         int* outLength, char* errorText, int maxOutLength) {
  std::uint8_t* block = RunCodec(source, sourceLength, out != nullptr, DecodeInto12BitSamples, outLength, errorText,
                                 maxOutLength);
  if (out != nullptr) *out = reinterpret_cast<unsigned short*>(block);
  return block != nullptr;
}

bool DecompressJpegBufferIntoBmpBuffer16(unsigned char* source, int sourceLength, unsigned short** out,
                                         int* outLength, char* errorText, int maxOutLength) {
  std::uint8_t* block = RunCodec(source, sourceLength, out != nullptr, DecodeInto16BitSamples, outLength, errorText,
                                 maxOutLength);
  if (out != nullptr) *out = reinterpret_cast<unsigned short*>(block);
  return block != nullptr;
}
