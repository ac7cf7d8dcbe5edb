// `ondrel pixels`: the decoded pixel buffer of a DICOM file, as the image loader gives it.
#pragma once

#include <span>
#include <string_view>

namespace ondrel::cli {

inline constexpr std::string_view kPixelsHelp =
    "Builds the workstation's objects for FILE, loads its pixels with the core's image loader (which\n"
    "parses the whole file and fills the objects from it) and writes the pixel buffer, all frames, as\n"
    "the loader gives it to OUT.raw: uncompressed data as it stands in the file; JPEG (baseline,\n"
    "extended, lossless) and JPEG 2000 data decoded to interleaved samples, 8-bit as bytes and deeper\n"
    "samples as 16-bit little-endian words. Colours come out as the stream stores them: Y, Cb, Cr stay\n"
    "Y, Cb, Cr (the core turns YBR_FULL into RGB when it shows the image) and R, G, B stay R, G, B; JPEG\n"
    "2000 samples are the bits of their precision, a signed value's high bits clear. Other compressed\n"
    "syntaxes (RLE, JPEG lossless process 14, ...) come out as their compressed bytes, as the loader\n"
    "leaves them, with a warning (below).\n"
    "\n"
    "Prints one line: rows, columns, samples per pixel, bits allocated and bits stored as the objects\n"
    "hold them after loading, the transfer syntax UID, and the buffer's size in bytes:\n"
    "  rows=512 columns=512 samples=1 bits_allocated=16 bits_stored=12 syntax=1.2.840.10008.1.2.4.70 bytes=524288\n"
    "\n"
    "Options:\n"
    "  -o, --output OUT.raw  where to write the buffer (required); an existing file is replaced\n"
    "\n"
    "Failures: a FILE that can't be opened, is not DICOM, holds no pixel data or can't be parsed, pixels\n"
    "the loader can't load, and an OUT.raw that can't be written end the command with status 1, with a\n"
    "line that says why:\n"
    "  ondrel: x.txt: not a DICOM file";

int RunPixels(std::span<const std::string_view> args);

}  // namespace ondrel::cli
