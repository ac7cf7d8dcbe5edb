#include "dump_command.h"

#include <cstdint>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "command_table.h"
#include "console_text.h"
#include "failure_text.h"
#include "host_setup.h"
#include "dicom/file_parser.h"
#include "dicom/vr_container.h"
#include "foundation/exceptions.h"
#include "ondrel/platform/codepage.h"

namespace ondrel::cli {

namespace {

// A tag as (gggg,eeee).
std::string TagText(std::uint16_t group, std::uint16_t element) {
  char text[16];
  std::snprintf(text, sizeof text, "(%04X,%04X)", group, element);
  return text;
}

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

// The element's own line. A sequence or item prints its header through the base description, its
// children being printed on lines of their own; an AT value ends each tag with CR LF, which become
// blanks between the tags.
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

void PrintElements(const DicomEngine::VRContainer& container, int depth) {
  for (const std::unique_ptr<DicomEngine::VR>& vr : container.Elements()) {
    if (vr == nullptr) continue;
    std::cout << std::string(static_cast<std::size_t>(depth) * 2, ' ') << NarrowToConsole(ElementLine(*vr))
              << "\n";
    if (const auto* children = dynamic_cast<const DicomEngine::VRContainer*>(vr.get()))
      PrintElements(*children, depth + 1);
  }
}

// Dumps one file; false when it failed, the failure having gone to standard error.
bool DumpFile(std::string_view name, bool upToPixels) {
  DicomEngine::DicomData data(false);
  DicomEngine::FileParser parser;
  bool opened = false;
  try {
    opened = parser.Open(FromConsole(name));
    if (!opened) THROW_MY_EXCEPTION("It's not a DICOM file or a well formatted DICOM file.");
    if (upToPixels)
      parser.ParseUpTo(&data, DicomEngine::kPixelDataGroup, DicomEngine::kPixelDataElement);
    else
      parser.Parse(&data);
    PrintElements(data, 0);
    return true;
  } catch (const MyException& failure) {
    PrintElements(data, 0);
    std::cout.flush();
    // Where the engine stopped: the byte, and the element it was reading.
    std::string unreadable = "cannot be read";
    if (opened) {
      unreadable += " past byte " + std::to_string(parser.StartOffset() + std::uint64_t{parser.Position()});
      if (const auto& element = parser.LastElement())
        unreadable += ", in element " + TagText(element->group, element->element) + " from byte " +
                      std::to_string(parser.StartOffset() + std::uint64_t{element->offset});
    }
    Report(FileFailure(std::string(name), ToConsole(ReportText(failure)), unreadable));
    return false;
  }
}

}  // namespace

int RunDump(std::span<const std::string_view> args) {
  bool upToPixels = false;
  std::vector<std::string_view> files;
  for (const std::string_view arg : args) {
    if (arg == "--up-to-pixels")
      upToPixels = true;
    else if (arg.starts_with("-"))
      throw UsageError{"unknown option '" + std::string(arg) + "'"};
    else
      files.push_back(arg);
  }
  if (files.empty()) throw UsageError{"dump needs at least one FILE"};

  LoadDictionary();

  bool allDumped = true;
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (files.size() > 1) std::cout << (i > 0 ? "\n" : "") << "==> " << files[i] << " <==\n";
    if (!DumpFile(files[i], upToPixels)) allDumped = false;
  }
  return allDumped ? kExitSuccess : kExitFailure;
}

}  // namespace ondrel::cli
