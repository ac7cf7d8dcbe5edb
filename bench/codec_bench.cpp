// Decoding one compressed frame, as the image loader does. For each compressed copy, measured in one
// run:
//   <copy>/ondrel         the codec function the loader picks for the file's transfer syntax and Bits
//                         Stored (8-, 12- or 16-bit JPEG, or JPEG 2000);
//   <copy>/dcmtk          for JPEG: DCMTK decoding the same stream, DcmDataset::chooseRepresentation to
//                         explicit VR little endian (its IJG 8-, 12- or 16-bit decoder);
//   <copy>/gdcm           for JPEG 2000: GDCM's JPEG2000Codec::Decode over the pixel data element, set
//                         up as gdcm::Image::GetBuffer sets it up, on one thread as the codec function
//                         runs (GetBuffer itself would use every core);
//   <copy>/write_output   the machine's bound for any decoder: allocating the decoded block and
//                         writing every byte of it once.
// Copies (bench/make_codec_frames.py):
//   jpeg_lossless16     ct_lossless16.dcm   512 x 512 signed 16-bit CT slice, JPEG lossless SV1
//   jpeg_baseline8      us_baseline8.dcm    512 x 512 8-bit grey ultrasound, JPEG baseline
//   jpeg_lossless12     cr_lossless12.dcm   3000 x 3000 12-bit radiograph, JPEG lossless SV1
//   jpeg_lossless8_rgb  rgb_lossless8.dcm   800 x 600 RGB photograph, JPEG lossless SV1
//   j2k_lossless16      ct_j2k16.dcm        the CT slice, JPEG 2000 lossless
//   j2k_lossless12      cr_j2k12.dcm        the radiograph, JPEG 2000 lossless
//   j2k_lossless8_rgb   rgb_j2k8.dcm        the photograph, JPEG 2000 lossless
// The codec gets the pixel data items joined, as the loader hands them over. The peers work on the
// file as they parsed it outside the timing: DCMTK on a copy of the data set (made and freed outside
// the timing, as it keeps the decoded representation), GDCM on the image it read. Every decoder frees
// its output inside the timing. Both decoders' samples are checked to be equal before anything is
// timed.
//
// Usage: codec_bench [benchmark flags] [--data=DIR]; DIR defaults to /tmp/ondrel-codec-bench, made by
// bench/make_codec_frames.py.
#include <benchmark/benchmark.h>

#include <climits>
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
#include <dcmtk/dcmdata/dcxfer.h>
#include <dcmtk/dcmjpeg/djdecode.h>
#include <dcmtk/oflog/oflog.h>
#include <gdcmImage.h>
#include <gdcmImageReader.h>
#include <gdcmJPEG2000Codec.h>
#include <gdcmTrace.h>

#include "bench_arguments.h"
#include "ondrel/platform/codecs.h"

namespace {

enum class Codec { kJpeg8, kJpeg12, kJpeg16, kJpeg2000 };
enum class Peer { kDcmtk, kGdcm };

struct Frame {
  std::string name;  // the benchmarks' prefix
  std::string file;
  Peer peer = Peer::kDcmtk;
  Codec codec = Codec::kJpeg8;
  std::vector<std::uint8_t> joinedItems;  // what the codec is given
  std::unique_ptr<DcmFileFormat> dcmtk;  // the file as DCMTK loaded it, never decoded
  std::unique_ptr<gdcm::ImageReader> gdcm;  // the file as GDCM read it, for a GDCM peer
  bool gdcmOverlayCleanup = false;  // what GetBuffer would tell the codec
  std::size_t decodedBytes = 0;
};

// The loader's choice: JPEG by the bits stored (9 to 12 bits to the 12-bit function, more to the
// 16-bit one), JPEG 2000 whatever the bits.
Codec LoaderCodec(const Frame& frame, std::string_view syntax, Uint16 bitsStored) {
  if (syntax == "1.2.840.10008.1.2.4.50" || syntax == "1.2.840.10008.1.2.4.51" || syntax == "1.2.840.10008.1.2.4.70") {
    if (bitsStored <= 8) return Codec::kJpeg8;
    return bitsStored < 13 ? Codec::kJpeg12 : Codec::kJpeg16;
  }
  if (syntax == "1.2.840.10008.1.2.4.90" || syntax == "1.2.840.10008.1.2.4.91") return Codec::kJpeg2000;
  throw std::runtime_error(frame.file + ": transfer syntax " + std::string(syntax) + " is not one the loader decodes");
}

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

// Decodes with the codec function, any size accepted; the block is the caller's to delete[].
std::uint8_t* DecodeWithOndrel(Frame& frame, int* length) {
  char errorText[1024] = "";
  std::uint8_t* block = nullptr;
  bool decoded = false;
  auto* source = frame.joinedItems.data();
  const auto sourceLength = static_cast<int>(frame.joinedItems.size());
  if (frame.codec == Codec::kJpeg12 || frame.codec == Codec::kJpeg16) {
    unsigned short* out = nullptr;
    decoded = frame.codec == Codec::kJpeg12
                  ? DecompressJpegBufferIntoBmpBuffer12(source, sourceLength, &out, length, errorText, INT_MAX)
                  : DecompressJpegBufferIntoBmpBuffer16(source, sourceLength, &out, length, errorText, INT_MAX);
    block = reinterpret_cast<std::uint8_t*>(out);
  } else if (frame.codec == Codec::kJpeg8) {
    decoded = DecompressJpegBufferIntoBmpBuffer8(source, sourceLength, &block, length, errorText, INT_MAX);
  } else {
    decoded = DecompressJpeg2KBufferIntoBmpBuffer(source, sourceLength, &block, length, errorText, INT_MAX);
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

// Decodes the pixel data GDCM read into `out`, which then holds the samples.
void DecodeWithGdcm(const Frame& frame, gdcm::DataElement& out) {
  const gdcm::Image& image = frame.gdcm->GetImage();
  gdcm::JPEG2000Codec codec;
  codec.SetNumberOfThreadsForDecompression(0);
  codec.SetPixelFormat(image.GetPixelFormat());
  codec.SetNumberOfDimensions(image.GetNumberOfDimensions());
  codec.SetPlanarConfiguration(image.GetPlanarConfiguration());
  codec.SetPhotometricInterpretation(image.GetPhotometricInterpretation());
  codec.SetNeedOverlayCleanup(frame.gdcmOverlayCleanup);
  codec.SetDimensions(image.GetDimensions());
  if (!codec.Decode(image.GetDataElement(), out) || out.GetByteValue() == nullptr) {
    throw std::runtime_error(frame.file + ": GDCM could not decode it");
  }
}

// The peer's samples, copied, for the check against the codec's.
std::vector<std::uint8_t> DecodeWithPeer(const Frame& frame) {
  if (frame.peer == Peer::kGdcm) {
    gdcm::DataElement out;
    DecodeWithGdcm(frame, out);
    const auto* samples = reinterpret_cast<const std::uint8_t*>(out.GetByteValue()->GetPointer());
    return {samples, samples + out.GetByteValue()->GetLength()};
  }
  DcmDataset copy(*frame.dcmtk->getDataset());
  unsigned long length = 0;
  const Uint8* samples = DecodeWithDcmtk(frame, copy, &length);
  return {samples, samples + length};
}

void LoadFrame(Frame& frame, const std::string& folder, const std::string& file) {
  frame.file = folder + "/" + file;
  frame.dcmtk = std::make_unique<DcmFileFormat>();
  if (frame.dcmtk->loadFile(frame.file.c_str()).bad()) {
    throw std::runtime_error(frame.file + ": can't be read; run bench/make_codec_frames.py");
  }
  DcmDataset* dataset = frame.dcmtk->getDataset();
  Uint16 bitsStored = 0;
  if (dataset->findAndGetUint16(DCM_BitsStored, bitsStored).bad()) {
    throw std::runtime_error(frame.file + ": no Bits Stored");
  }
  frame.codec = LoaderCodec(frame, DcmXfer(dataset->getOriginalXfer()).getXferID(), bitsStored);
  frame.joinedItems = JoinedItems(dataset);
  if (frame.peer == Peer::kGdcm) {
    frame.gdcm = std::make_unique<gdcm::ImageReader>();
    frame.gdcm->SetFileName(frame.file.c_str());
    if (!frame.gdcm->Read()) throw std::runtime_error(frame.file + ": GDCM can't read it");
    const gdcm::Image& image = frame.gdcm->GetImage();
    frame.gdcmOverlayCleanup = image.AreOverlaysInPixelData() || image.UnusedBitsPresentInPixelData();
  }

  int length = 0;
  const std::unique_ptr<std::uint8_t[]> ours(DecodeWithOndrel(frame, &length));
  const std::vector<std::uint8_t> theirs = DecodeWithPeer(frame);
  // DCMTK pads an odd-length result to even length; the samples are compared up to the codec's length.
  if (static_cast<std::size_t>(length) > theirs.size() || std::memcmp(ours.get(), theirs.data(), length) != 0) {
    throw std::runtime_error(frame.file + ": the codec and " + (frame.peer == Peer::kGdcm ? "GDCM" : "DCMTK") +
                             " decode it differently");
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

void DecodeGdcm(benchmark::State& state, Frame* frame) {
  for (auto _ : state) {
    gdcm::DataElement out;
    DecodeWithGdcm(*frame, out);
    benchmark::DoNotOptimize(out.GetByteValue()->GetPointer());
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
  std::string folder = "/tmp/ondrel-codec-bench";
  if (!ReadBenchmarkArguments(argc, argv, "codec_bench", folder)) return 2;
  OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
  DJDecoderRegistration::registerCodecs();
  // GDCM's reader warns about every JPEG 2000 radiograph that gdcmconv wrote: gdcmconv codes the
  // 12-bit pixels at 16-bit precision and the reader widens Bits Stored to match. The samples are
  // checked against the codec's below, so the warning tells nothing here.
  gdcm::Trace::WarningOff();
  const struct {
    const char* name;
    const char* file;
    Peer peer;
  } copies[] = {
      {"jpeg_lossless16", "ct_lossless16.dcm", Peer::kDcmtk},
      {"jpeg_baseline8", "us_baseline8.dcm", Peer::kDcmtk},
      {"jpeg_lossless12", "cr_lossless12.dcm", Peer::kDcmtk},
      {"jpeg_lossless8_rgb", "rgb_lossless8.dcm", Peer::kDcmtk},
      {"j2k_lossless16", "ct_j2k16.dcm", Peer::kGdcm},
      {"j2k_lossless12", "cr_j2k12.dcm", Peer::kGdcm},
      {"j2k_lossless8_rgb", "rgb_j2k8.dcm", Peer::kGdcm},
  };
  // Registered benchmarks keep pointers to the frames: the vector is never resized after this.
  std::vector<Frame> frames(std::size(copies));
  try {
    for (std::size_t i = 0; i < frames.size(); ++i) {
      frames[i].name = copies[i].name;
      frames[i].peer = copies[i].peer;
      LoadFrame(frames[i], folder, copies[i].file);
    }
  } catch (const std::exception& failure) {
    std::cerr << "codec_bench: " << failure.what() << "\n";
    return 1;
  }
  std::cerr << "codec_bench: in " << folder << ":";
  for (const Frame& frame : frames) std::cerr << " " << frame.name << " " << frame.joinedItems.size() << " bytes;";
  std::cerr << "\n";

  for (Frame& frame : frames) {
    benchmark::RegisterBenchmark((frame.name + "/ondrel").c_str(), DecodeOndrel, &frame)->Unit(benchmark::kMillisecond);
    if (frame.peer == Peer::kGdcm) {
      benchmark::RegisterBenchmark((frame.name + "/gdcm").c_str(), DecodeGdcm, &frame)->Unit(benchmark::kMillisecond);
    } else {
      benchmark::RegisterBenchmark((frame.name + "/dcmtk").c_str(), DecodeDcmtk, &frame)->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark((frame.name + "/write_output").c_str(), WriteOutput, &frame)
        ->Unit(benchmark::kMillisecond);
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  DJDecoderRegistration::cleanup();
  return 0;
}
