// What an image's measurements read as for a host: one line for each measurement and free text,
// oldest first, then one for each reference line. The format is the one IOndrelMeasurements
// documents (include/ondrel/measurements.h).
#pragma once

#include <string>

#include "tools/measurements.h"

std::u16string MeasurementListText(const Measurements& measurements);
