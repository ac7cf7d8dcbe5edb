// UIDs that the workstation makes for the images it creates.
#pragma once

#include <string>

#include "ondrel/platform/wintypes.h"

inline constexpr char kOrganisationUidRoot[] = "1.3.6.1.4.1.77777";

// The root followed by ".year.month.day.hour.minute.second.millisecond" of the UTC time now, without
// zero padding. Two calls within one millisecond give the same UID: callers that make several UIDs at
// once must tell them apart themselves.
std::string GenerateUid();
// The same for a given UTC time.
std::string GenerateUid(const SYSTEMTIME& utc);
