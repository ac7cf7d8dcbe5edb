// What the host tells a user about pixels the core shows without decoding or understanding them, and
// about transfer syntaxes the engine can't parse. The core is left as it is: these are its rules, said
// in words (see ImageLoader::Load and the window/level's photometric codes).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ondrel/workstation.h"

namespace ondrel::cli {

// A transfer syntax for people: its name and UID, "RLE Lossless (1.2.840.10008.1.2.5)", or
// "transfer syntax UID" for a UID the host has no name for.
std::string SyntaxText(std::string_view uid);

// Whether the image loader gives samples for pixels of this transfer syntax (the plain little-endian
// syntaxes as the file holds them, JPEG .50, .51, .70 and JPEG 2000 .90, .91 decoded; an empty UID
// reads as implicit VR little endian), rather than the compressed bytes as they stand.
bool LoaderGivesSamples(std::string_view uid);

// What the core shows of an image object's pixels without decoding or understanding them, a sentence
// each, from the facts the object holds (transfer syntax, bits allocated, photometric interpretation,
// samples per pixel): a transfer syntax the loader does not decode (everything but the plain
// little-endian syntaxes, JPEG .50, .51, .70 and JPEG 2000 .90, .91); bits allocated 32 or 1, which
// the window/level reads as 16- or 8-bit samples; YBR_FULL_422, which is shown as grey. Empty when the
// core shows the pixels as they are meant.
std::vector<std::string> PixelWarnings(IImageInfoNW& image);

// Prints each of PixelWarnings on standard error as "ondrel: warning: FILE: SENTENCE".
void WarnAboutPixels(IImageInfoNW& image, std::string_view file);

// Why the engine fails on data of this transfer syntax, as a sentence: it reads big-endian data as
// little-endian, and a syntax that is not in its table (deflate, JPEG-LS, ...) as neither explicit nor
// implicit VR. Empty for a syntax it reads.
std::string ParseHint(std::string_view uid);

// The transfer syntax UID (0002,0010) of a DICOM file, read by the engine's file parser up to that
// element; empty when the file can't be opened, is not DICOM or has none.
std::string FileTransferSyntax(const std::string& file);

}  // namespace ondrel::cli
