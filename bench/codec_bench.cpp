// Decoding one compressed frame, as the image loader does for a JPEG image. Measured in one run for:
//   jpeg_lossless16/ondrel     DecompressJpegBufferIntoBmpBuffer16 over a 512 x 512 signed 16-bit CT
//                              slice, JPEG lossless SV1 (the IJG 16-bit library);
//   jpeg_lossless16/dcmtk      DCMTK decoding the same stream: DcmDataset::chooseRepresentation to
//                              explicit VR little endian (its IJG 16-bit decoder);
//   jpeg_baseline8/ondrel      DecompressJpegBufferIntoBmpBuffer8 over a 512 x 512 8-bit grey frame,
//                              JPEG baseline (libjpeg-turbo);
//   jpeg_baseline8/dcmtk       DCMTK decoding the same stream (its IJG 8-bit decoder);
//   .../write_output           the machine's bound for any decoder: allocating the decoded block and
//                              writing every byte of it once.
// The codec gets the pixel data items joined, as the loader hands them over; DCMTK works on a copy of
// the data set it loaded, made (and freed) outside the timing. The block the codec returns is freed
// inside it, as the caller must. Both decoders' samples are checked to be equal before anything is
// timed.
//
// Usage: codec_bench [benchmark flags] [--data=DIR]; DIR defaults to /tmp/ondrel-codec-bench, made by
// bench/make_codec_frames.py.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcpixel.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcpxitem.h>
#include <dcmtk/dcmjpeg/djdecode.h>
#include <dcmtk/oflog/oflog.h>

#include "ondrel/platform/codecs.h"

namespace {

struct Frame {
  std::string file;
  int bits = 8;  // which codec function: 8 or 16
  std::vector<std::uint8_t> joinedItems;  // what the codec is given
  std::unique_ptr<DcmFileFormat> dcmtk;  // the file as DCMTK loaded it, never decoded
  std::size_t decodedBytes = 0;
};

Frame g_lossless16;
Frame g_baseline8;

// The loader's view of encapsulated pixel data: every item's bytes, the offset table first.
std::vector<std::uint8_t> JoinedItems(DcmDataset* dataset) {
  DcmElement* element = nullptr;
  if (dataset->findAndGetElement(DCM_PixelData, element).bad() || element == nullptr) {
    throw std::runtime_error("no pixel data");
  }
  auto* pixels = static_cast<DcmPixelData*>(element);
  DcmPixelSequence* sequence = nullptr;
  E_TransferSyntax syntax = EXS_Unknown;
  const DcmRepresentationParameter* parameter = nullptr;
  pixels->getOriginalRepresentationKey(syntax, parameter);
  if (pixels->getEncapsulatedRepresentation(syntax, parameter, sequence).bad() || sequence == nullptr) {
    throw std::runtime_error("the pixel data are not encapsulated");
  }
  std::vector<std::uint8_t> joined;
  for (unsigned long i = 0; i < sequence->card(); ++i) {
    DcmPixelItem* item = nullptr;
    Uint8* bytes = nullptr;
    if (sequence->getItem(item, i).bad() || item->getUint8Array(bytes).bad()) continue;
    if (bytes != nullptr) joined.insert(joined.end(), bytes, bytes + item->getLength());
  }
  return joined;
}

// Decodes with the codec function; the block is the caller's to delete[].
std::uint8_t* DecodeWithOndrel(Frame& frame, int* length) {
  char errorText[1024] = "";
  std::uint8_t* block = nullptr;
  bool decoded = false;
  if (frame.bits == 16) {
    unsigned short* out = nullptr;
    decoded = DecompressJpegBufferIntoBmpBuffer16(frame.joinedItems.data(), static_cast<int>(frame.joinedItems.size()),
                                                  &out, length, errorText);
    block = reinterpret_cast<std::uint8_t*>(out);
  } else {
    decoded = DecompressJpegBufferIntoBmpBuffer8(frame.joinedItems.data(), static_cast<int>(frame.joinedItems.size()),
                                                 &block, length, errorText);
  }
  if (!decoded) throw std::runtime_error(frame.file + ": " + errorText);
  return block;
}

// Decodes a copy of the loaded data set with DCMTK; the samples belong to `dataset`.
const Uint8* DecodeWithDcmtk(const Frame& frame, DcmDataset& dataset, unsigned long* length) {
  if (dataset.chooseRepresentation(EXS_LittleEndianExplicit, nullptr).bad()) {
    throw std::runtime_error(frame.file + ": DCMTK could not decode it");
  }
  const Uint8* samples = nullptr;
  if (dataset.findAndGetUint8Array(DCM_PixelData, samples, length).bad()) {
    throw std::runtime_error(frame.file + ": DCMTK gave no samples");
  }
  return samples;
}

void LoadFrame(Frame& frame, const std::string& folder, const std::string& file, int bits) {
  frame.file = folder + "/" + file;
  frame.bits = bits;
  frame.dcmtk = std::make_unique<DcmFileFormat>();
  if (frame.dcmtk->loadFile(frame.file.c_str()).bad()) {
    throw std::runtime_error(frame.file + ": can't be read; run bench/make_codec_frames.py");
  }
  frame.joinedItems = JoinedItems(frame.dcmtk->getDataset());

  int length = 0;
  const std::unique_ptr<std::uint8_t[]> ours(DecodeWithOndrel(frame, &length));
  DcmDataset copy(*frame.dcmtk->getDataset());
  unsigned long dcmtkLength = 0;
  const Uint8* theirs = DecodeWithDcmtk(frame, copy, &dcmtkLength);
  if (static_cast<unsigned long>(length) > dcmtkLength || std::memcmp(ours.get(), theirs, length) != 0) {
    throw std::runtime_error(frame.file + ": the codec and DCMTK decode it differently");
  }
  frame.decodedBytes = static_cast<std::size_t>(length);
}

void SetCounters(benchmark::State& state, const Frame& frame) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(frame.decodedBytes));
}

void DecodeOndrel(benchmark::State& state, Frame* frame) {
  for (auto _ : state) {
    int length = 0;
    std::uint8_t* block = DecodeWithOndrel(*frame, &length);
    benchmark::DoNotOptimize(block);
    delete[] block;
  }
  SetCounters(state, *frame);
}

// DCMTK keeps a decoded representation beside the compressed one, so each decode gets a fresh copy
// of the data set, made outside the timing.
void DecodeDcmtk(benchmark::State& state, Frame* frame) {
  for (auto _ : state) {
    state.PauseTiming();
    auto copy = std::make_unique<DcmDataset>(*frame->dcmtk->getDataset());
    state.ResumeTiming();
    unsigned long length = 0;
    benchmark::DoNotOptimize(DecodeWithDcmtk(*frame, *copy, &length));
    state.PauseTiming();
    copy.reset();
    state.ResumeTiming();
  }
  SetCounters(state, *frame);
}

void WriteOutput(benchmark::State& state, Frame* frame) {
  for (auto _ : state) {
    std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[frame->decodedBytes]);
    std::memset(block.get(), 0x5A, frame->decodedBytes);
    benchmark::DoNotOptimize(block.get());
    benchmark::ClobberMemory();
  }
  SetCounters(state, *frame);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  std::string folder = "/tmp/ondrel-codec-bench";
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument.starts_with("--data=")) {
      folder = std::string(argument.substr(7));
    } else {
      std::cerr << "codec_bench: unknown argument " << argument << "\n";
      return 2;
    }
  }
  OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
  DJDecoderRegistration::registerCodecs();
  try {
    LoadFrame(g_lossless16, folder, "ct_lossless16.dcm", 16);
    LoadFrame(g_baseline8, folder, "us_baseline8.dcm", 8);
  } catch (const std::exception& failure) {
    std::cerr << "codec_bench: " << failure.what() << "\n";
    return 1;
  }
  std::cerr << "codec_bench: " << g_lossless16.joinedItems.size() << " bytes of lossless stream, "
            << g_baseline8.joinedItems.size() << " bytes of baseline stream, in " << folder << "\n";

  for (auto [name, frame] : {std::pair{"jpeg_lossless16", &g_lossless16}, std::pair{"jpeg_baseline8", &g_baseline8}}) {
    const std::string prefix = name;
    benchmark::RegisterBenchmark((prefix + "/ondrel").c_str(), DecodeOndrel, frame)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((prefix + "/dcmtk").c_str(), DecodeDcmtk, frame)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((prefix + "/write_output").c_str(), WriteOutput, frame)
        ->Unit(benchmark::kMillisecond);
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  DJDecoderRegistration::cleanup();
  return 0;
}
