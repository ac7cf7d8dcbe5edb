#include "foundation/uid.h"

#include <cstdio>

#include "ondrel/platform/system.h"

std::string GenerateUid(const SYSTEMTIME& utc) {
  // The root and seven fields of at most five digits each fit with room to spare.
  char uid[96];
  std::snprintf(uid, sizeof uid, "%s.%d.%d.%d.%d.%d.%d.%d", kOrganisationUidRoot, utc.wYear, utc.wMonth, utc.wDay,
                utc.wHour, utc.wMinute, utc.wSecond, utc.wMilliseconds);
  return uid;
}

std::string GenerateUid() {
  SYSTEMTIME now{};
  GetSystemTime(&now);
  return GenerateUid(now);
}
