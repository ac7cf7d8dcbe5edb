// The decoding of one JPEG frame over the jpeglib API, written once for the four libraries that share
// it. `Lib` gathers one library's types, constants and calls (see jpeg_turbo.cpp for the list); each
// library's file includes its own jpeglib.h, inside a namespace of its own so that the four sets of
// same-named C structures stay distinct types, and instantiates DecodeJpegFrame for it.
//
// Errors: the libraries report an error through error_exit and expect it not to return. Here it
// formats the library's message into the caller's text and longjmps back to RunDecoder, which holds
// no objects with destructors, so the jump skips no C++ clean-up; the library's own memory is then
// freed by jpeg_destroy_decompress. Warnings about corrupt data are errors too (see EmitMessage).
// Nothing is written to stderr.
#pragma once

#include <algorithm>
#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "codec_support.h"

namespace ondrel::codecs {

template <class Lib>
struct JpegErrorManager {
  typename Lib::ErrorManager library;  // first, so that the library's pointer to it is one to this
  std::jmp_buf jump;
  char* errorText;
};

// Everything the library works on, kept outside the function that calls setjmp so that nothing there
// changes between setjmp and a longjmp.
template <class Lib>
struct JpegDecoderState {
  typename Lib::Decompress decompress;
  JpegErrorManager<Lib> errors;
  typename Lib::SourceManager source;
};

template <class Lib>
[[noreturn]] void FailWithLibraryMessage(typename Lib::Common* common) {
  auto* manager = reinterpret_cast<JpegErrorManager<Lib>*>(common->err);
  char message[Lib::kMessageLength];
  manager->library.format_message(common, message);
  SetErrorText(manager->errorText, message);
  std::longjmp(manager->jump, 1);
}

// Level -1 is a warning, higher levels are trace messages, which are dropped. Almost every warning
// means corrupt data: the library goes on with made-up samples (grey for a stream that ends early,
// zeros after a bad Huffman code), so it fails the frame. Two warnings concern headers only and leave
// the samples as they are; they pass, as some real files carry them (odd SOS parameters in a
// sequential stream, a JFIF version from the future).
template <class Lib>
void EmitMessage(typename Lib::Common* common, int level) {
  if (level >= 0) return;
  const int code = common->err->msg_code;
  if (code == Lib::kNotSequentialWarning || code == Lib::kJfifVersionWarning) return;
  FailWithLibraryMessage<Lib>(common);
}

template <class Lib>
void DropMessage(typename Lib::Common*) {}

// The source hands the library the whole stream at once (IJG 6b has no memory source of its own).
template <class Lib>
void InitSource(typename Lib::Decompress*) {}

// Called only when the library wants bytes past the end of the data: the stream ended early.
template <class Lib>
typename Lib::Boolean FillInputBuffer(typename Lib::Decompress* decompress) {
  decompress->err->msg_code = Lib::kPrematureEndWarning;
  FailWithLibraryMessage<Lib>(reinterpret_cast<typename Lib::Common*>(decompress));
}

template <class Lib>
void SkipInputData(typename Lib::Decompress* decompress, long count) {
  auto* source = decompress->src;
  if (count <= 0) return;
  // Skipping past the end leaves nothing, and the next read reports the early end.
  const std::size_t skipped = std::min(static_cast<std::size_t>(count), source->bytes_in_buffer);
  source->next_input_byte += skipped;
  source->bytes_in_buffer -= skipped;
}

template <class Lib>
void TermSource(typename Lib::Decompress*) {}

// Widens `count` samples to 16 bits.
template <class Sample>
void WidenSamples(const Sample* samples, std::size_t count, std::uint8_t* target) {
  for (std::size_t i = 0; i < count; ++i) {
    const auto wide = static_cast<std::uint16_t>(samples[i]);
    std::memcpy(target + 2 * i, &wide, 2);
  }
}

template <class Lib>
bool RunDecoder(JpegDecoderState<Lib>* state, ByteRange stream, int sampleBytes, OutputBlock* out,
                std::size_t* consumed, char* errorText) {
  using Sample = typename Lib::Sample;
  constexpr unsigned kRowsPerCall = 16;
  auto* decompress = &state->decompress;
  auto* common = reinterpret_cast<typename Lib::Common*>(decompress);
  if (setjmp(state->errors.jump) != 0) return false;

  Lib::CreateDecompress(decompress);
  state->source.next_input_byte = stream.data;
  state->source.bytes_in_buffer = stream.size;
  decompress->src = &state->source;
  Lib::ReadHeader(decompress);
  // The components come out as the stream stores them, without a colour transform: the library's guess
  // of the colour space (from JFIF and Adobe markers and component ids) is often wrong for DICOM, whose
  // photometric interpretation says what they are, and the image object converts YBR_FULL itself.
  decompress->out_color_space = decompress->jpeg_color_space;
  // The library allocates image-sized buffers in StartDecompress (a progressive stream's coefficients),
  // so a damaged header that declares a huge image fails here, before them. Without a colour transform
  // the output has the stream's components, each of the image's full size.
  const std::uint64_t declared = std::uint64_t{decompress->image_width} * decompress->image_height *
                                 static_cast<std::uint64_t>(decompress->num_components) *
                                 static_cast<std::uint64_t>(sampleBytes);
  if (!out->Admits(declared, errorText)) return false;
  Lib::StartDecompress(decompress);

  const std::size_t rowSamples = std::size_t{decompress->output_width} * decompress->output_components;
  const std::size_t rowBytes = rowSamples * static_cast<std::size_t>(sampleBytes);
  std::uint8_t* frame = out->Append(rowBytes * decompress->output_height, errorText);
  if (frame == nullptr) return false;
  // Samples of the output's width are read straight into the block; narrower ones through a scratch
  // array that the library frees with the rest of its memory.
  const bool direct = sizeof(Sample) == static_cast<std::size_t>(sampleBytes);
  typename Lib::SampleArray scratch =
      direct ? nullptr
             : decompress->mem->alloc_sarray(common, Lib::kImagePool, static_cast<unsigned>(rowSamples), kRowsPerCall);
  while (decompress->output_scanline < decompress->output_height) {
    const unsigned first = decompress->output_scanline;
    const unsigned count = std::min(kRowsPerCall, decompress->output_height - first);
    typename Lib::SampleRow rows[kRowsPerCall];
    for (unsigned i = 0; i < count; ++i) {
      rows[i] = direct ? reinterpret_cast<typename Lib::SampleRow>(frame + (first + i) * rowBytes) : scratch[i];
    }
    const unsigned read = Lib::ReadScanlines(decompress, rows, count);
    if (read == 0) {  // only a suspending source stops early, and this one never suspends
      SetErrorText(errorText, "The JPEG decoder returned no rows before the end of the image.");
      return false;
    }
    if (!direct) {
      for (unsigned i = 0; i < read; ++i) WidenSamples(scratch[i], rowSamples, frame + (first + i) * rowBytes);
    }
  }
  Lib::FinishDecompress(decompress);
  *consumed = stream.size - state->source.bytes_in_buffer;
  return true;
}

template <class Lib>
bool DecodeJpegFrame(ByteRange stream, int sampleBytes, OutputBlock& out, std::size_t* consumed, char* errorText) {
  JpegDecoderState<Lib> state{};
  state.errors.errorText = errorText;
  state.decompress.err = Lib::StdError(&state.errors.library);
  state.errors.library.error_exit = FailWithLibraryMessage<Lib>;
  state.errors.library.emit_message = EmitMessage<Lib>;
  state.errors.library.output_message = DropMessage<Lib>;
  state.source.init_source = InitSource<Lib>;
  state.source.fill_input_buffer = FillInputBuffer<Lib>;
  state.source.skip_input_data = SkipInputData<Lib>;
  state.source.resync_to_restart = Lib::kResyncToRestart;
  state.source.term_source = TermSource<Lib>;
  const bool decoded = RunDecoder(&state, stream, sampleBytes, &out, consumed, errorText);
  Lib::DestroyDecompress(&state.decompress);
  return decoded;
}

}  // namespace ondrel::codecs
