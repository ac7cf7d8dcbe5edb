// OLE automation dates: a double counting days from 1899-12-30 00:00, the time of day as the fraction.
// Before that day the integer part counts backwards while the fraction still counts forwards, so -1.25
// is 1899-12-29 06:00. Years 100 to 9999 can be represented.
#pragma once

#include "ondrel/platform/wintypes.h"

// TRUE and the date value on success. As on Windows the milliseconds are ignored. FALSE for a month
// outside 1 to 12, a day outside 1 to 31, an hour above 23, a minute or second above 59, or a year
// outside 100 to 9999; a day past the end of its month rolls into the next month (2014-02-30 is
// 2014-03-02), as the Windows conversion does.
INT SystemTimeToVariantTime(const SYSTEMTIME* lpSystemTime, DATE* pvtime);
// TRUE and the calendar time on success, rounded to the nearest second (milliseconds are 0) with the day
// of the week filled in. FALSE outside the representable years.
INT VariantTimeToSystemTime(DATE vtime, SYSTEMTIME* lpSystemTime);
