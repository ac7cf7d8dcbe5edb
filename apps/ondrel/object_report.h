// What a host inspects of the workstation's objects: the properties a series or an image has, and the
// pixels the core makes for an image.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ondrel/workstation.h"

namespace ondrel::cli {

// Every property of the series that is available, one "Name=value" a line in the order of the
// property list, then Images=N and, when set, the UIDs of its MprSource and MipSource. Texts stand as
// they are, dates as "YYYYMMDD HHMMSS", pairs as "first,second".
std::string SeriesReport(ISeriesInfoNW* series);
// The same for an image.
std::string ImageReport(IImageInfoNW* image);

// The pixels the core makes of the image, as its loader or, for an image of a series the MPR or the
// MIP derived, the running MPR or MIP makes them: its frame's samples, little-endian. Throws
// MyException with the core's failure.
std::vector<std::uint8_t> CorePixels(IImageInfoNW* image);

}  // namespace ondrel::cli
