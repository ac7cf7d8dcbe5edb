// libFuzzer target of the DICOM parser: any bytes, read as a data set in every syntax the parser can
// start in and as a file, must end in a result or a MyException; never in a crash, an uncaught
// exception of another kind, a leak, a hang or an allocation out of proportion to the input.
//
// Build and run: see tests/fuzz/README.md.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include "dicom/file_parser.h"
#include "dicom/parser.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"

namespace {

using namespace DicomEngine;

const DicomDictionary& Dictionary() {
  static const DicomDictionary* const dictionary = [] {
    auto* loaded = new DicomDictionary();
    loaded->Load(ONDREL_DATA_DIR "/dicom_dictionary.txt");
    return loaded;
  }();
  return *dictionary;
}

// The input in four chunks, split at places that move with its size, with an empty chunk among them,
// so that reads cross chunk boundaries as they do in a file read in 16384-byte chunks.
MultiChunkBuffer Chunked(const std::uint8_t* data, std::size_t size) {
  MultiChunkBuffer buffer;
  const std::size_t cuts[] = {0, size / 3, size / 3, std::min(size, size / 2 + size % 7), size};
  for (std::size_t i = 0; i + 1 < std::size(cuts); ++i) {
    const std::size_t length = cuts[i + 1] - cuts[i];
    ByteBlock chunk = ByteBlock::Zeroed(length);
    if (length > 0) std::memcpy(chunk.Data(), data + cuts[i], length);
    buffer.AddChunk(std::move(chunk));
  }
  return buffer;
}

// Uses what a caller uses of a parsed data set: its description and its pixel data.
void Consume(const DicomData& data) {
  std::string text;
  data.Print(text);
  ByteBlock pixels;
  data.GetPixelData(&pixels);
}

void ParseAs(const MultiChunkBuffer& buffer, std::uint32_t vrKind, bool upToPixels, bool withContainer) {
  Parser parser(std::make_unique<BufferReader>(buffer), SyntaxRecord{kLittleEndian, vrKind}, Dictionary());
  DicomData data(false);
  DicomData* container = withContainer ? &data : nullptr;
  try {
    if (upToPixels)
      parser.ParseUpTo(container, kPixelDataGroup, kPixelDataElement);
    else
      parser.Parse(container);
  } catch (const MyException&) {
    // A failure is a result: what was parsed before it must still be usable.
  }
  Consume(data);
}

// A file of the process's own, for the file parser, which reads only named files.
const std::string& TempFileName() {
  static const std::string name = (std::filesystem::temp_directory_path() /
                                   ("ondrel_parser_fuzzer_" + std::to_string(std::random_device()()) + ".dcm"))
                                      .string();
  return name;
}

void ParseAsFile(const std::uint8_t* data, std::size_t size) {
  std::ofstream(TempFileName(), std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  for (const bool upToPixels : {false, true}) {
    FileParser parser(Dictionary());
    DicomData container(false);
    try {
      if (!parser.Open(ToWide(TempFileName()))) return;
      if (upToPixels)
        parser.ParseUpTo(&container, kPixelDataGroup, kPixelDataElement);
      else
        parser.Parse(&container);
    } catch (const MyException&) {
    }
    Consume(container);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MultiChunkBuffer buffer = Chunked(data, size);
  for (const std::uint32_t vrKind : {kVRKindUnset, kImplicitVR, kExplicitVR}) {
    ParseAs(buffer, vrKind, false, true);
    ParseAs(buffer, vrKind, true, true);
    ParseAs(buffer, vrKind, false, false);
  }
  ParseAsFile(data, size);
  return 0;
}
