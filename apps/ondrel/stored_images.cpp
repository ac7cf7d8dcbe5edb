#include "stored_images.h"

#include <stdexcept>

#include "console_text.h"
#include "dicom/file_parser.h"
#include "foundation/text_utils.h"
#include "host_setup.h"
#include "ondrel/study_builder.h"

namespace ondrel::cli {
namespace {

constexpr const char* kMediaDirectoryClass = "1.2.840.10008.1.3.10";

std::string TextOf(const DicomEngine::DicomData& data, std::uint16_t group, std::uint16_t element) {
  const auto* value = dynamic_cast<const DicomEngine::VRString*>(data.Find(group, element));
  return value != nullptr ? value->Value() : std::string();
}

}  // namespace

std::optional<std::string> ReadStorableFile(const std::string& file, DicomEngine::DicomData& data) {
  try {
    DicomEngine::FileParser parser;
    if (!parser.Open(FromConsole(file))) return "not a DICOM file";
    parser.Parse(&data);
  } catch (const MyException& failure) {
    const std::string text = ToConsole(ReportText(failure));
    const std::string line = FileFailure(file, text).line;
    return line.starts_with(file + ": ") ? line.substr(file.size() + 2) : line;
  }
  if (TextOf(data, 0x0002, 0x0002).starts_with(kMediaDirectoryClass)) return "is a media directory (DICOMDIR), not an image";
  if (data.Find(DicomEngine::kPixelDataGroup, DicomEngine::kPixelDataElement) == nullptr) return "holds no pixel data";
  return std::nullopt;
}

Failure StoreFailure(const std::string& what, const MyException& failure) {
  std::string line = what + ": " + CoreMessage(NarrowToConsole(failure.what()));
  if (const std::u16string details = failure.Details(); !details.empty()) line += ": " + CoreMessage(ToConsole(details));
  return {line, ToConsole(ReportText(failure))};
}

platform::ComPtr<IImageInfoNW> FindStoredImage(const std::string& connection, const std::u16string& sopInstanceUid) {
  StudyGraph graph;
  try {
    graph = OpenStoredImage(connection, sopInstanceUid);
  } catch (const std::runtime_error& error) {
    throw Failure{"cannot read the database " + connection + ": " + error.what(), {}};
  }
  if (graph.series.empty()) return nullptr;
  const std::vector<platform::ComPtr<IImageInfoNW>> images = SeriesImages(graph.series.front().Get());
  return images.empty() ? nullptr : images.front();
}

}  // namespace ondrel::cli
