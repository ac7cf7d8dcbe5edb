#include "data_set_text.h"

#include <cstdio>
#include <memory>
#include <utility>

#include "console_text.h"
#include "dicom/file_parser.h"
#include "failure_text.h"
#include "foundation/exceptions.h"

namespace ondrel::cli {
namespace {

// One line per element: control characters would break it, so they are shown escaped.
std::string EscapeControls(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\r') {
      out += "\\r";
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (byte < 0x20 || byte == 0x7F) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", byte);
      out += hex;
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace

std::string TagText(std::uint16_t group, std::uint16_t element) {
  char text[16];
  std::snprintf(text, sizeof text, "(%04X,%04X)", group, element);
  return text;
}

// A sequence or item prints its header through the base description, its children being printed on
// lines of their own; an AT value ends each tag with CR LF, which become blanks between the tags.
std::string ElementLine(const DicomEngine::VR& vr) {
  std::string text;
  if (dynamic_cast<const DicomEngine::VRContainer*>(&vr) != nullptr) return EscapeControls(vr.VR::Print(text));
  vr.Print(text);
  if (dynamic_cast<const DicomEngine::VRAttributeTag*>(&vr) != nullptr) {
    std::string joined;
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t end = text.find("\r\n", at);
      if (end == std::string::npos) {
        joined += text.substr(at);
        break;
      }
      joined += text.substr(at, end - at);
      at = end + 2;
      if (at < text.size()) joined += ' ';
    }
    text = std::move(joined);
  }
  return EscapeControls(text);
}

void ParseFile(const std::string& name, DicomEngine::DicomData& data, bool upToPixels) {
  DicomEngine::FileParser parser;
  bool opened = false;
  try {
    opened = parser.Open(FromConsole(name));
    if (!opened) THROW_MY_EXCEPTION("It's not a DICOM file or a well formatted DICOM file.");
    if (upToPixels)
      parser.ParseUpTo(&data, DicomEngine::kPixelDataGroup, DicomEngine::kPixelDataElement);
    else
      parser.Parse(&data);
  } catch (const MyException& failure) {
    // Where the engine stopped: the byte, and the element it was reading.
    std::string unreadable = "cannot be read";
    if (opened) {
      unreadable += " past byte " + std::to_string(parser.StartOffset() + std::uint64_t{parser.Position()});
      if (const auto& element = parser.LastElement())
        unreadable += ", in element " + TagText(element->group, element->element) + " from byte " +
                      std::to_string(parser.StartOffset() + std::uint64_t{element->offset});
    }
    throw FileFailure(name, ToConsole(ReportText(failure)), unreadable);
  }
}

void PrintDataSet(const DicomEngine::VRContainer& data, std::ostream& out, int depth) {
  for (const std::unique_ptr<DicomEngine::VR>& vr : data.Elements()) {
    if (vr == nullptr) continue;
    out << std::string(static_cast<std::size_t>(depth) * 2, ' ') << NarrowToConsole(ElementLine(*vr)) << "\n";
    if (const auto* children = dynamic_cast<const DicomEngine::VRContainer*>(vr.get()))
      PrintDataSet(*children, out, depth + 1);
  }
}

}  // namespace ondrel::cli
