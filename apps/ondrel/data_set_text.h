// The engine's description of a data set, an element a line, as `ondrel dump` prints it and the Python
// binding's data sets show themselves.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "dicom/vr_container.h"

namespace ondrel::cli {

// A tag as (gggg,eeee), in upper-case hexadecimal.
std::string TagText(std::uint16_t group, std::uint16_t element);

// The element's own line, in Windows-1252 like the engine's text: its description as the engine prints
// it (tag, VR, length, value), control characters shown as \r, \n, \t or \xNN so that it stays one
// line. A sequence or item gives its header only; an AT value's tags are separated by blanks.
std::string ElementLine(const DicomEngine::VR& vr);

// Parses the DICOM file `name` (UTF-8) into `data` as the engine does: the whole file, or with
// `upToPixels` as the image loader does for display, up to the pixel data (7FE0,0010). Throws Failure
// (see FileFailure) with the engine's report as its core text: "cannot open FILE: REASON", "FILE: not
// a DICOM file", or "FILE: cannot be read past byte N, in element (gggg,eeee) from byte M: MESSAGE"
// where the parse stopped; `data` then keeps the elements read before the failure.
void ParseFile(const std::string& name, DicomEngine::DicomData& data, bool upToPixels);

// Every element of `data` on a line of its own, in UTF-8, items indented two blanks under their
// sequence and their elements two more under them.
void PrintDataSet(const DicomEngine::VRContainer& data, std::ostream& out, int depth = 0);

}  // namespace ondrel::cli
