// Header scan of a CT series: what an image load does before it decodes pixels. For every file of
// the series, open it and parse up to the pixel data (7FE0,0010). Measured in one run for:
//   header_scan/ondrel            FileParser::Open + ParseUpTo(7FE0,0010), as the image loader does;
//   header_scan/dcmtk             DCMTK's DcmFileFormat::loadFileUntilTag(DCM_PixelData), the peer;
//   header_scan/fread_whole_files the machine's bound for the bytes the engine reads: fopen, fread of
//                                 the whole file, fclose (the engine reads every file whole);
//   header_scan/fread_headers     the bound for any header scan: fread of the bytes before the pixel
//                                 value only.
// One iteration is the whole series. The files are read from the page cache after the first pass, so
// these are warm figures: parsing and memory, not the disk.
//
// Usage: header_scan_bench [benchmark flags] [--data=DIR]; DIR defaults to /tmp/ondrel-bench-data,
// made by bench/make_ct_series.py (scripts/bench makes it when it is missing).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/oflog/oflog.h>

#include "bench_arguments.h"
#include "dicom/dicom_dictionary.h"
#include "dicom/file_parser.h"
#include "dicom/vr_container.h"

namespace {

namespace fs = std::filesystem;
using namespace DicomEngine;

struct SeriesFile {
  std::string name;
  std::u16string wideName;
  std::size_t size = 0;
  // Bytes from the start of the file to the first byte of the pixel value.
  std::size_t headerSize = 0;
};

std::vector<SeriesFile> g_files;
std::size_t g_totalBytes = 0;
std::size_t g_headerBytes = 0;

// What the image loader does before it decodes: open the file and parse it up to the pixel data.
void ScanWithOndrel(const SeriesFile& file, FileParser& parser, DicomData& data) {
  if (!parser.Open(file.wideName)) throw std::runtime_error(file.name + ": not a DICOM file for the engine");
  parser.ParseUpTo(&data, kPixelDataGroup, kPixelDataElement);
}

OFCondition ScanWithDcmtk(const SeriesFile& file, DcmFileFormat& format) {
  return format.loadFileUntilTag(file.name.c_str(), EXS_Unknown, EGL_noChange, DCM_MaxReadLength, ERM_autoDetect,
                                 DCM_PixelData);
}

// Lists the series and checks, outside any timing, that both parsers reach the pixel data of every file.
void LoadSeries(const std::string& folder) {
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.is_regular_file() && entry.path().extension() == ".dcm") {
      SeriesFile file;
      file.name = entry.path().string();
      file.wideName = entry.path().u16string();
      file.size = static_cast<std::size_t>(entry.file_size());
      g_files.push_back(file);
    }
  std::sort(g_files.begin(), g_files.end(), [](const SeriesFile& a, const SeriesFile& b) { return a.name < b.name; });
  if (g_files.empty()) throw std::runtime_error("no .dcm files in " + folder + ": run bench/make_ct_series.py");

  for (SeriesFile& file : g_files) {
    DicomData data(false);
    FileParser parser;
    ScanWithOndrel(file, parser, data);
    const VR* pixels = data.Find(kPixelDataGroup, kPixelDataElement);
    if (pixels == nullptr) throw std::runtime_error(file.name + ": the engine found no pixel data");
    file.headerSize = parser.StartOffset() + parser.Position() - pixels->LengthField();

    DcmFileFormat format;
    const OFCondition status = ScanWithDcmtk(file, format);
    if (status.bad()) throw std::runtime_error(file.name + ": DCMTK: " + status.text());
    g_totalBytes += file.size;
    g_headerBytes += file.headerSize;
  }
}

// Files per second for all; bytes per second for the plain reads, whose bytes are the point.
void SetCounters(benchmark::State& state, std::size_t bytesPerIteration = 0) {
  const auto iterations = static_cast<std::int64_t>(state.iterations());
  state.SetItemsProcessed(iterations * static_cast<std::int64_t>(g_files.size()));
  if (bytesPerIteration > 0) state.SetBytesProcessed(iterations * static_cast<std::int64_t>(bytesPerIteration));
}

void HeaderScanOndrel(benchmark::State& state) {
  for (auto _ : state) {
    for (const SeriesFile& file : g_files) {
      FileParser parser;
      DicomData data(false);
      ScanWithOndrel(file, parser, data);
      benchmark::DoNotOptimize(data.Elements().size());
    }
  }
  SetCounters(state);
}

void HeaderScanDcmtk(benchmark::State& state) {
  for (auto _ : state) {
    for (const SeriesFile& file : g_files) {
      DcmFileFormat format;
      benchmark::DoNotOptimize(ScanWithDcmtk(file, format).good());
    }
  }
  SetCounters(state);
}

// Reads `count` bytes of each file (count(file) of them) into one reused buffer.
template <typename Count>
void FreadFiles(benchmark::State& state, Count count, std::size_t bytesPerIteration) {
  std::size_t largest = 0;
  for (const SeriesFile& file : g_files) largest = std::max(largest, file.size);
  const std::unique_ptr<char[]> buffer(new char[largest]);
  for (auto _ : state) {
    for (const SeriesFile& file : g_files) {
      std::FILE* stream = std::fopen(file.name.c_str(), "rb");
      if (stream == nullptr) {
        state.SkipWithError("a file of the series can't be opened");
        return;
      }
      benchmark::DoNotOptimize(std::fread(buffer.get(), 1, count(file), stream));
      std::fclose(stream);
      benchmark::ClobberMemory();
    }
  }
  SetCounters(state, bytesPerIteration);
}

void FreadWholeFiles(benchmark::State& state) {
  FreadFiles(state, [](const SeriesFile& file) { return file.size; }, g_totalBytes);
}

void FreadHeaders(benchmark::State& state) {
  FreadFiles(state, [](const SeriesFile& file) { return file.headerSize; }, g_headerBytes);
}

}  // namespace

int main(int argc, char** argv) {
  std::string folder = "/tmp/ondrel-bench-data";
  if (!ReadBenchmarkArguments(argc, argv, "header_scan_bench", folder)) return 2;
  // As the workstation runs: the dictionary loaded, the trace log closed. DCMTK says only errors.
  DicomDictionary::Instance().Load(ONDREL_DATA_DIR "/dicom_dictionary.txt");
  OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
  try {
    LoadSeries(folder);
  } catch (const std::exception& failure) {
    std::cerr << "header_scan_bench: " << failure.what() << "\n";
    return 1;
  }
  std::cerr << "header_scan_bench: " << g_files.size() << " files, " << g_totalBytes << " bytes, "
            << g_headerBytes << " bytes of headers, in " << folder << "\n";

  benchmark::RegisterBenchmark("header_scan/ondrel", HeaderScanOndrel)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("header_scan/dcmtk", HeaderScanDcmtk)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("header_scan/fread_whole_files", FreadWholeFiles)->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark("header_scan/fread_headers", FreadHeaders)->Unit(benchmark::kMillisecond);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
