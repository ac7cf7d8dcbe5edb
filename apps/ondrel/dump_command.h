// `ondrel dump`: prints the data set of DICOM files as the engine parses them.
#pragma once

#include <span>
#include <string_view>

namespace ondrel::cli {

// The help text of the command.
inline constexpr std::string_view kDumpHelp =
    "Reads each FILE with the engine's file parser, as the image loader does, and prints every element\n"
    "the engine built, one a line, in the engine's own description: tag, VR, length, and the value\n"
    "(text as text, numbers in decimal and hexadecimal, binary values by their length only). Items are\n"
    "indented two blanks under their sequence and their elements two more under them; the delimiters\n"
    "stand where the engine keeps them. Text is Windows-1252, printed as UTF-8, with control characters\n"
    "shown as \\r, \\n, \\t or \\xNN. With several files, each dump is headed by \"==> FILE <==\".\n"
    "\n"
    "What is printed is what the engine reads, by its rules: implicit VR data take their VRs from\n"
    "dicom_dictionary.txt beside the ondrel executable (without it, every such element is UN, group\n"
    "lengths UL); private elements of implicit VR data are UN; an SL value keeps its low 16 bits; text\n"
    "ends at its first NUL. An element of a VR the engine has no value for (UT, OF, ...) is not printed,\n"
    "and its value is then read as the next element. Big-endian data are read as little-endian. A FILE\n"
    "whose name holds no dot and that doesn't exist is tried again with \".dcm\" appended; names reach\n"
    "the engine in Windows-1252, so a name with a character outside it can't be opened.\n"
    "\n"
    "Options:\n"
    "  --up-to-pixels  parse as the image loader does for display: stop right after the pixel data\n"
    "                  (7FE0,0010). Elements before it are passed over unread, so only the transfer\n"
    "                  syntax UID (0002,0010) and the pixel data are printed.\n"
    "\n"
    "A FILE that can't be opened is reported as \"ondrel: cannot open FILE: REASON\", one that is not\n"
    "DICOM as \"ondrel: FILE: not a DICOM file\". A parse that fails prints the elements the engine kept\n"
    "before the failure (a sequence it was reading is not among them), then, on standard error,\n"
    "\"ondrel: FILE: cannot be read past byte N: MESSAGE\": N is the byte of the file the parse had\n"
    "reached, MESSAGE the engine's failure without its source file and line. For big-endian data, and\n"
    "data of a transfer syntax the engine does not know (deflate, JPEG-LS, ...), a sentence saying so\n"
    "follows:\n"
    "  ondrel: x.dcm: cannot be read past byte 6514: The buffer is not long enough to perform the\n"
    "  requested read operation. The engine reads Explicit VR Big Endian (1.2.840.10008.1.2.2) as\n"
    "  little-endian.\n"
    "The remaining files are still dumped, and the exit status is then 1.";

// Runs the command on its arguments (options and file names). Throws UsageError for a wrong command
// line; a file that fails is reported on standard error and makes the result kExitFailure.
int RunDump(std::span<const std::string_view> args);

}  // namespace ondrel::cli
