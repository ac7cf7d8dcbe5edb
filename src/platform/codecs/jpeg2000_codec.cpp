// The JPEG 2000 codec function over OpenJPEG, reading from memory.
#include <openjpeg.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "codec_support.h"
#include "ondrel/platform/codecs.h"

namespace {

using namespace ondrel::codecs;

// The bytes of one code stream, read by OpenJPEG through the callbacks below.
struct MemoryStream {
  ByteRange bytes;
  std::size_t position = 0;
};

OPJ_SIZE_T ReadStream(void* buffer, OPJ_SIZE_T count, void* user) {
  auto* stream = static_cast<MemoryStream*>(user);
  const std::size_t left = stream->bytes.size - stream->position;
  if (left == 0) return static_cast<OPJ_SIZE_T>(-1);  // OpenJPEG's "end of stream"
  const std::size_t read = std::min<std::size_t>(count, left);
  std::memcpy(buffer, stream->bytes.data + stream->position, read);
  stream->position += read;
  return read;
}

OPJ_OFF_T SkipStream(OPJ_OFF_T count, void* user) {
  auto* stream = static_cast<MemoryStream*>(user);
  const std::size_t left = stream->bytes.size - stream->position;
  if (count <= 0 || left == 0) return -1;
  const std::size_t skipped = std::min(static_cast<std::size_t>(count), left);
  stream->position += skipped;
  return static_cast<OPJ_OFF_T>(skipped);
}

OPJ_BOOL SeekStream(OPJ_OFF_T offset, void* user) {
  auto* stream = static_cast<MemoryStream*>(user);
  if (offset < 0 || static_cast<std::size_t>(offset) > stream->bytes.size) return OPJ_FALSE;
  stream->position = static_cast<std::size_t>(offset);
  return OPJ_TRUE;
}

// OpenJPEG reports an error in several messages, the most precise first; that one is kept.
struct ErrorSink {
  char* errorText;
  bool hasMessage = false;
};

void KeepFirstError(const char* message, void* user) {
  auto* sink = static_cast<ErrorSink*>(user);
  if (sink->hasMessage) return;
  SetErrorText(sink->errorText, message);
  sink->hasMessage = true;
}

void DropMessage(const char*, void*) {}

struct CodecDeleter {
  void operator()(opj_codec_t* codec) const { opj_destroy_codec(codec); }
};
struct StreamDeleter {
  void operator()(opj_stream_t* stream) const { opj_stream_destroy(stream); }
};
struct ImageDeleter {
  void operator()(opj_image_t* image) const { opj_image_destroy(image); }
};

// Bytes a sample: 1 when every component has 8 bits or less, else 2.
std::uint64_t SampleBytes(const opj_image_t& image) {
  for (std::uint32_t c = 0; c < image.numcomps; ++c) {
    if (image.comps[c].prec > 8) return 2;
  }
  return 1;
}

// The bytes of samples the header declares, summed over the components as OpenJPEG allocates them.
std::uint64_t DeclaredBytes(const opj_image_t& image) {
  std::uint64_t samples = 0;
  for (std::uint32_t c = 0; c < image.numcomps; ++c) {
    const std::uint64_t component = SaturatingProduct(image.comps[c].w, image.comps[c].h);
    samples = component > UINT64_MAX - samples ? UINT64_MAX : samples + component;
  }
  return SaturatingProduct(samples, SampleBytes(image));
}

// Interleaves the decoded components into `out`: bytes when every component has 8 bits or less, else
// 16-bit little-endian words. Each sample is masked to its component's precision: a signed sample
// keeps the two's-complement bits of that precision and its higher bits are zero (a 12-bit -1 is
// 0x0FFF), as an uncompressed image holds its stored bits with the unused high bits zero. Whoever
// reads the samples takes the sign from the image's Bits Stored, not from bits above it.
bool AppendSamples(const opj_image_t& image, OutputBlock& out, char* errorText) {
  const opj_image_comp_t* components = image.comps;
  const std::uint32_t count = image.numcomps;
  for (std::uint32_t c = 0; c < count; ++c) {
    if (components[c].w != components[0].w || components[c].h != components[0].h) {
      SetErrorText(errorText, "JPEG 2000 images with subsampled components are not supported.");
      return false;
    }
    if (components[c].prec == 0 || components[c].prec > 16) {
      char message[80];
      std::snprintf(message, sizeof message, "JPEG 2000 components of %u bits are not supported.",
                    components[c].prec);
      SetErrorText(errorText, message);
      return false;
    }
    if (components[c].data == nullptr) {
      SetErrorText(errorText, "OpenJPEG returned a component without samples.");
      return false;
    }
  }
  const std::uint64_t pixels = std::uint64_t{components[0].w} * components[0].h;
  if (pixels == 0) {
    SetErrorText(errorText, "The JPEG 2000 image is empty.");
    return false;
  }
  // Admitted before the decoding, so the size fits in the caller's int.
  const std::uint64_t bytes = DeclaredBytes(image);
  const bool wide = SampleBytes(image) == 2;
  std::uint8_t* target = out.Append(static_cast<std::size_t>(bytes), errorText);
  if (target == nullptr) return false;
  std::vector<std::uint32_t> masks(count);
  for (std::uint32_t c = 0; c < count; ++c) masks[c] = (std::uint32_t{1} << components[c].prec) - 1;
  for (std::uint64_t i = 0; i < pixels; ++i) {
    for (std::uint32_t c = 0; c < count; ++c) {
      const std::uint32_t sample = static_cast<std::uint32_t>(components[c].data[i]) & masks[c];
      *target++ = static_cast<std::uint8_t>(sample);
      if (wide) *target++ = static_cast<std::uint8_t>(sample >> 8);
    }
  }
  return true;
}

bool DecodeOneStream(ByteRange bytes, bool isJp2File, OutputBlock& out, char* errorText) {
  ErrorSink errors{errorText};
  std::unique_ptr<opj_codec_t, CodecDeleter> codec(opj_create_decompress(isJp2File ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K));
  if (!codec) {
    SetErrorText(errorText, "OpenJPEG could not create a decoder.");
    return false;
  }
  opj_set_error_handler(codec.get(), KeepFirstError, &errors);
  opj_set_warning_handler(codec.get(), DropMessage, nullptr);
  opj_set_info_handler(codec.get(), DropMessage, nullptr);
  opj_dparameters_t parameters;
  opj_set_default_decoder_parameters(&parameters);
  // Strict: a code stream that ends early fails, rather than giving an image with missing detail.
  if (!opj_setup_decoder(codec.get(), &parameters) || !opj_decoder_set_strict_mode(codec.get(), OPJ_TRUE)) {
    if (!errors.hasMessage) SetErrorText(errorText, "OpenJPEG could not set up the decoder.");
    return false;
  }

  MemoryStream memory{bytes};
  const OPJ_SIZE_T chunk = std::min<std::size_t>(bytes.size, OPJ_J2K_STREAM_CHUNK_SIZE);
  std::unique_ptr<opj_stream_t, StreamDeleter> stream(opj_stream_create(chunk, OPJ_TRUE));
  if (!stream) {
    SetErrorText(errorText, "OpenJPEG could not create a stream.");
    return false;
  }
  opj_stream_set_user_data(stream.get(), &memory, nullptr);
  opj_stream_set_user_data_length(stream.get(), bytes.size);
  opj_stream_set_read_function(stream.get(), ReadStream);
  opj_stream_set_skip_function(stream.get(), SkipStream);
  opj_stream_set_seek_function(stream.get(), SeekStream);

  opj_image_t* header = nullptr;
  const bool headerRead = opj_read_header(stream.get(), codec.get(), &header);
  std::unique_ptr<opj_image_t, ImageDeleter> image(header);
  // opj_decode allocates every component at the size the header declares, so a damaged header that
  // declares a huge image fails here, before that.
  if (headerRead && image && !out.Admits(DeclaredBytes(*image), errorText)) return false;
  if (!headerRead || !image || !opj_decode(codec.get(), stream.get(), image.get()) ||
      !opj_end_decompress(codec.get(), stream.get())) {
    if (!errors.hasMessage) SetErrorText(errorText, "OpenJPEG could not decode the JPEG 2000 code stream.");
    return false;
  }
  if (image->numcomps == 0 || image->comps == nullptr) {
    SetErrorText(errorText, "The JPEG 2000 image has no components.");
    return false;
  }
  return AppendSamples(*image, out, errorText);
}

// OpenJPEG decodes a code stream that lacks tiles, giving grey for them; a damaged SIZ that makes the
// image larger looks just like that. Such a stream fails here, before the decoding.
bool HasEveryTile(ByteRange codeStream, char* errorText) {
  const J2kStreamLayout layout = ReadJ2kStreamLayout(codeStream);
  if (layout.tilesPresent >= layout.tiles) return true;
  char message[96];
  std::snprintf(message, sizeof message, "The JPEG 2000 code stream holds data for %u of its %u tiles.",
                layout.tilesPresent, layout.tiles);
  SetErrorText(errorText, message);
  return false;
}

bool DecodeJpeg2000Streams(ByteRange data, OutputBlock& out, char* errorText) {
  std::size_t offset = FindFirstStream(data, {kJ2kStart, kJp2Start});
  if (offset == kNotFound) {
    SetErrorText(errorText,
                 "No JPEG 2000 code stream: the data holds neither SOC and SIZ markers nor a JP2 signature.");
    return false;
  }
  while (offset != kNotFound) {
    const ByteRange rest = data.From(offset);
    const bool isJp2File =
        rest.size >= kJp2Start.size() && std::memcmp(rest.data, kJp2Start.data(), kJp2Start.size()) == 0;
    std::size_t length = 0;
    ByteRange codeStream;
    if (isJp2File) {
      const Jp2FileLayout layout = ReadJp2FileLayout(rest);
      length = layout.length;
      codeStream = {rest.data + layout.codeStreamOffset, layout.codeStreamLength};
    } else {
      length = ReadJ2kStreamLayout(rest).length;
      codeStream = {rest.data, length};
    }
    if (!HasEveryTile(codeStream, errorText) || !DecodeOneStream({rest.data, length}, isJp2File, out, errorText)) {
      return false;
    }
    offset = FindNextStream(data, offset + length, {kJ2kStart, kJp2Start}, false);
  }
  return true;
}

}  // namespace

bool DecompressJpeg2KBufferIntoBmpBuffer(unsigned char* source, int sourceLength, unsigned char** out,
                                         int* outLength, char* errorText, int maxOutLength) {
  std::uint8_t* block = RunCodec(source, sourceLength, out != nullptr, DecodeJpeg2000Streams, outLength, errorText,
                                 maxOutLength);
  if (out != nullptr) *out = block;
  return block != nullptr;
}
