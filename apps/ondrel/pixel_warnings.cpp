#include "pixel_warnings.h"

#include <iostream>
#include <utility>

#include "console_text.h"
#include "dicom/file_parser.h"
#include "dicom/transfer_syntax.h"
#include "dicom/vr_container.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "ondrel/platform/bstr.h"

namespace ondrel::cli {
namespace {

constexpr char kDeflatedUid[] = "1.2.840.10008.1.2.1.99";

constexpr std::pair<std::string_view, std::string_view> kSyntaxNames[] = {
    {"1.2.840.10008.1.2", "Implicit VR Little Endian"},
    {"1.2.840.10008.1.2.1", "Explicit VR Little Endian"},
    {"1.2.840.10008.1.2.1.99", "Deflated Explicit VR Little Endian"},
    {"1.2.840.10008.1.2.2", "Explicit VR Big Endian"},
    {"1.2.840.10008.1.2.5", "RLE Lossless"},
    {"1.2.840.10008.1.2.4.50", "JPEG Baseline (Process 1)"},
    {"1.2.840.10008.1.2.4.51", "JPEG Extended (Process 2 & 4)"},
    {"1.2.840.10008.1.2.4.52", "JPEG Extended (Process 3 & 5)"},
    {"1.2.840.10008.1.2.4.53", "JPEG Spectral Selection, Non-Hierarchical (Process 6 & 8)"},
    {"1.2.840.10008.1.2.4.54", "JPEG Spectral Selection, Non-Hierarchical (Process 7 & 9)"},
    {"1.2.840.10008.1.2.4.55", "JPEG Full Progression, Non-Hierarchical (Process 10 & 12)"},
    {"1.2.840.10008.1.2.4.56", "JPEG Full Progression, Non-Hierarchical (Process 11 & 13)"},
    {"1.2.840.10008.1.2.4.57", "JPEG Lossless, Non-Hierarchical (Process 14)"},
    {"1.2.840.10008.1.2.4.58", "JPEG Lossless, Non-Hierarchical (Process 15)"},
    {"1.2.840.10008.1.2.4.59", "JPEG Extended, Hierarchical (Process 16 & 18)"},
    {"1.2.840.10008.1.2.4.60", "JPEG Extended, Hierarchical (Process 17 & 19)"},
    {"1.2.840.10008.1.2.4.61", "JPEG Spectral Selection, Hierarchical (Process 20 & 22)"},
    {"1.2.840.10008.1.2.4.62", "JPEG Spectral Selection, Hierarchical (Process 21 & 23)"},
    {"1.2.840.10008.1.2.4.63", "JPEG Full Progression, Hierarchical (Process 24 & 26)"},
    {"1.2.840.10008.1.2.4.64", "JPEG Full Progression, Hierarchical (Process 25 & 27)"},
    {"1.2.840.10008.1.2.4.65", "JPEG Lossless, Hierarchical (Process 28)"},
    {"1.2.840.10008.1.2.4.66", "JPEG Lossless, Hierarchical (Process 29)"},
    {"1.2.840.10008.1.2.4.70",
     "JPEG Lossless, Non-Hierarchical, First-Order Prediction (Process 14, Selection Value 1)"},
    {"1.2.840.10008.1.2.4.80", "JPEG-LS Lossless"},
    {"1.2.840.10008.1.2.4.81", "JPEG-LS Near-Lossless"},
    {"1.2.840.10008.1.2.4.90", "JPEG 2000 Lossless Only"},
    {"1.2.840.10008.1.2.4.91", "JPEG 2000"},
    {"1.2.840.10008.1.2.4.92", "JPEG 2000 Multi-component Lossless Only"},
    {"1.2.840.10008.1.2.4.93", "JPEG 2000 Multi-component"},
    {"1.2.840.10008.1.2.4.94", "JPIP Referenced"},
    {"1.2.840.10008.1.2.4.95", "JPIP Referenced Deflate"},
    {"1.2.840.10008.1.2.4.201", "High-Throughput JPEG 2000 Lossless Only"},
    {"1.2.840.10008.1.2.4.202", "High-Throughput JPEG 2000 with RPCL Options Lossless Only"},
    {"1.2.840.10008.1.2.4.203", "High-Throughput JPEG 2000"},
};

// The syntaxes whose pixels the image loader gives as samples: the plain little-endian ones as the
// file holds them, and those its JPEG and JPEG 2000 decoders take. No UID at all reads as the first.
constexpr std::string_view kShownAsMeant[] = {
    "",
    "1.2.840.10008.1.2",
    "1.2.840.10008.1.2.1",
    "1.2.840.10008.1.2.4.50",
    "1.2.840.10008.1.2.4.51",
    "1.2.840.10008.1.2.4.70",
    "1.2.840.10008.1.2.4.90",
    "1.2.840.10008.1.2.4.91",
};

std::string_view NameOf(std::string_view uid) {
  for (const auto& [known, name] : kSyntaxNames)
    if (known == uid) return name;
  return {};
}

// A DICOM text without the NULs and blanks that pad it.
std::string WithoutPadding(std::string text) {
  while (!text.empty() && text.back() == '\0') text.pop_back();
  Trim(text);
  return text;
}

// A text property of the object, unpadded; empty when not set.
std::string TextOf(HRESULT (IImageInfoNW::*get)(BSTR*), IImageInfoNW& image) {
  platform::BStr value;
  if ((image.*get)(value.Out()) != S_OK || value.IsNull()) return {};
  return WithoutPadding(ToNarrow(value.View()));
}

// Of the other syntaxes the engine parses only the compressed ones: RLE and the JPEG processes the
// loader has no decoder for (ParseHint says why the rest fail).
std::string TransferSyntaxWarning(const std::string& uid) {
  if (LoaderGivesSamples(uid)) return {};
  return SyntaxText(uid) + " is not decoded; the picture, if any, shows the compressed bytes";
}

}  // namespace

bool LoaderGivesSamples(std::string_view uid) {
  for (const std::string_view shown : kShownAsMeant)
    if (uid == shown) return true;
  return false;
}

std::string SyntaxText(std::string_view uid) {
  const std::string_view name = NameOf(uid);
  return name.empty() ? "transfer syntax " + std::string(uid) : std::string(name) + " (" + std::string(uid) + ")";
}

std::vector<std::string> PixelWarnings(IImageInfoNW& image) {
  std::vector<std::string> warnings;
  if (std::string syntax = TransferSyntaxWarning(TextOf(&IImageInfoNW::GetTransferSyntaxUid, image));
      !syntax.empty())
    warnings.push_back(std::move(syntax));
  USHORT bitsAllocated = 0;
  image.GetBitsAllocated(&bitsAllocated);
  // The window/level reads a sample as one byte below 9 bits stored, else as two.
  if (bitsAllocated == 32)
    warnings.push_back(
        "Bits Allocated (0028,0100) is 32: 32-bit samples are not understood; the picture shows their bytes "
        "read as 16-bit samples");
  if (bitsAllocated == 1)
    warnings.push_back(
        "Bits Allocated (0028,0100) is 1: 1-bit samples are not understood; the picture shows their packed bits "
        "read as 8-bit samples");
  if (TextOf(&IImageInfoNW::GetPhotometricInterpretation, image) == "YBR_FULL_422") {
    USHORT samples = 0;
    image.GetSamplesPerPixel(&samples);
    warnings.push_back("Photometric Interpretation (0028,0004) YBR_FULL_422 is not shown as colour; the picture "
                       "shows its " + std::to_string(samples) + " samples as grey bytes");
  }
  return warnings;
}

void WarnAboutPixels(IImageInfoNW& image, std::string_view file) {
  for (const std::string& warning : PixelWarnings(image))
    std::cerr << "ondrel: warning: " << file << ": " << warning << "\n";
}

std::string ParseHint(std::string_view uid) {
  if (uid.empty()) return {};
  if (uid == DicomEngine::kExplicitVRBigEndianUid)
    return "The engine reads " + SyntaxText(uid) + " as little-endian.";
  if (DicomEngine::TransferSyntax::Instance().Find(std::string(uid)) != nullptr) return {};
  if (uid == kDeflatedUid) return "The engine does not inflate " + SyntaxText(uid) + ".";
  return "The engine does not know " + SyntaxText(uid) + ".";
}

std::string FileTransferSyntax(const std::string& file) {
  DicomEngine::DicomData data(false);
  try {
    DicomEngine::FileParser parser;
    if (!parser.Open(FromConsole(file))) return {};
    parser.ParseUpTo(&data, 0x0002, 0x0010);
  } catch (const MyException&) {
    // What was read before the failure still counts: the meta group comes first.
  }
  const auto* value = dynamic_cast<const DicomEngine::VRString*>(data.Find(0x0002, 0x0010));
  return value == nullptr ? std::string() : WithoutPadding(value->Value());
}

}  // namespace ondrel::cli
