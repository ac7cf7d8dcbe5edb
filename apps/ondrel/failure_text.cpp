#include "failure_text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <regex>

#include "host_setup.h"
#include "pixel_warnings.h"

namespace ondrel::cli {
namespace {

bool verbose = false;

// The engine's and the study builder's texts for files they can't use (see FileParser::Open and
// BuildStudies).
constexpr std::string_view kNotDicom = "It's not a DICOM file or a well formatted DICOM file.";
constexpr std::string_view kNoPixels = "The file holds no pixel data.";
constexpr std::string_view kMediaDirectory = "A media directory (DICOMDIR): name it to read its records.";

std::string Hex4(unsigned long value) {
  char text[8];
  std::snprintf(text, sizeof text, "%04lX", value & 0xFFFFul);
  return text;
}

std::string WithHexTags(const std::string& text) {
  static const std::regex decimalTag("Group=([0-9]+), Attribute=([0-9]+)");
  std::string out;
  auto at = text.cbegin();
  for (std::sregex_iterator match(text.begin(), text.end(), decimalTag), end; match != end; ++match) {
    out.append(at, (*match)[0].first);
    out += "tag (" + Hex4(std::stoul((*match)[1])) + "," + Hex4(std::stoul((*match)[2])) + ")";
    at = (*match)[0].second;
  }
  out.append(at, text.cend());
  return out;
}

}  // namespace

void SetVerbose(bool on) { verbose = on; }

void Report(const Failure& failure, std::string_view where) {
  std::cerr << "ondrel: " << where << failure.line << "\n";
  if (!verbose) return;
  std::size_t at = 0;
  while (at < failure.coreText.size()) {
    std::size_t end = failure.coreText.find_first_of("\r\n", at);
    if (end == std::string::npos) end = failure.coreText.size();
    if (end > at) std::cerr << "ondrel: core: " << std::string_view(failure.coreText).substr(at, end - at) << "\n";
    at = end + 1;
  }
}

std::string CoreMessage(std::string_view coreText) {
  std::string message;
  constexpr std::string_view kSerialised = "<exception Message=\"";
  if (const std::size_t innermost = coreText.rfind(kSerialised); innermost != std::string_view::npos) {
    const std::size_t start = innermost + kSerialised.size();
    // The message ends at the quote that closes the element's attributes: other components (the
    // workstation's store) add their own, as SqlErrors="...", after it.
    static const std::regex attributesEnd(R"(^"( [A-Za-z]+="[^"]*")*>)");
    std::size_t end = start;
    while ((end = coreText.find('"', end)) != std::string_view::npos &&
           !std::regex_search(coreText.begin() + static_cast<std::ptrdiff_t>(end), coreText.end(), attributesEnd))
      ++end;
    message = coreText.substr(start, end == std::string_view::npos ? end : end - start);
  } else {
    const std::size_t lastLine = coreText.find_last_of("\r\n", coreText.find_last_not_of("\r\n"));
    message = coreText.substr(lastLine == std::string_view::npos ? 0 : lastLine + 1);
    while (!message.empty() && (message.back() == '\r' || message.back() == '\n')) message.pop_back();
  }
  static const std::regex place(" ?File=[^ ,]*, Line=[0-9]+$");
  return WithHexTags(std::regex_replace(message, place, ""));
}

Failure MethodFailure(std::string_view method, HRESULT result, const std::string& description) {
  std::string line = std::string(method) + " failed (" + HResultText(result) + ")";
  if (const std::string message = CoreMessage(description); !message.empty()) line += ": " + message;
  return {line, description};
}

std::optional<std::string> CannotOpen(const std::string& file) {
  std::error_code error;
  if (std::filesystem::is_directory(file, error)) return "cannot open " + file + ": " + std::strerror(EISDIR);
  errno = 0;
  std::FILE* opened = std::fopen(file.c_str(), "rb");
  const int reason = errno;
  if (opened == nullptr && file.find('.') == std::string::npos) opened = std::fopen((file + ".dcm").c_str(), "rb");
  if (opened != nullptr) {
    std::fclose(opened);
    return std::nullopt;
  }
  return "cannot open " + file + ": " + std::strerror(reason);
}

Failure FileFailure(const std::string& file, const std::string& coreText, std::string_view unreadable) {
  if (std::optional<std::string> unopened = CannotOpen(file)) return {*unopened, coreText};
  const std::string message = CoreMessage(coreText);
  if (message == kNotDicom) return {file + ": not a DICOM file", coreText};
  if (message == kNoPixels) return {file + ": holds no pixel data", coreText};
  if (message == kMediaDirectory) return {file + ": is a media directory (DICOMDIR), not an image", coreText};
  std::string line = file + ": " + std::string(unreadable) + ": " + message;
  if (const std::string hint = ParseHint(FileTransferSyntax(file)); !hint.empty()) line += " " + hint;
  return {line, coreText};
}

}  // namespace ondrel::cli
