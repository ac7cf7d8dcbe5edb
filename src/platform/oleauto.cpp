// OLE automation dates over the proleptic Gregorian calendar. The C library's time_t can't reach the
// years before 1900 that the format covers, so days are counted with the civil-day algorithms below.
#include "ondrel/platform/oleauto.h"

#include <cmath>
#include <cstdint>

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

// Days from 1970-01-01 to the given date (month 1 to 12, day 1 to 31; a day past the month's end
// counts on into the next month).
constexpr std::int64_t DaysFromCivil(std::int64_t year, unsigned month, unsigned day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const auto year_of_era = static_cast<unsigned>(year - era * 400);
  const unsigned day_of_year = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const unsigned day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + static_cast<std::int64_t>(day_of_era) - 719468;
}

struct CivilDate {
  std::int64_t year;
  unsigned month;
  unsigned day;
};

// The date of a count of days from 1970-01-01.
constexpr CivilDate CivilFromDays(std::int64_t days) {
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const auto day_of_era = static_cast<unsigned>(days - era * 146097);
  const unsigned year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const unsigned day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const unsigned month_index = (5 * day_of_year + 2) / 153;
  const unsigned day = day_of_year - (153 * month_index + 2) / 5 + 1;
  const unsigned month = month_index < 10 ? month_index + 3 : month_index - 9;
  return {static_cast<std::int64_t>(year_of_era) + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

// The automation epoch and the first and last representable days, as days from the epoch.
constexpr std::int64_t kEpoch = DaysFromCivil(1899, 12, 30);
constexpr std::int64_t kFirstDay = DaysFromCivil(100, 1, 1) - kEpoch;
constexpr std::int64_t kLastDay = DaysFromCivil(9999, 12, 31) - kEpoch;
static_assert(kFirstDay == -657434 && kLastDay == 2958465);

// 1899-12-30 was a Saturday.
constexpr WORD kEpochDayOfWeek = 6;

}  // namespace

INT SystemTimeToVariantTime(const SYSTEMTIME* lpSystemTime, DATE* pvtime) {
  if (lpSystemTime == nullptr || pvtime == nullptr) return FALSE;
  const SYSTEMTIME& t = *lpSystemTime;
  if (t.wYear < 100 || t.wYear > 9999 || t.wMonth < 1 || t.wMonth > 12 || t.wDay < 1 || t.wDay > 31 ||
      t.wHour > 23 || t.wMinute > 59 || t.wSecond > 59) {
    return FALSE;
  }
  const std::int64_t day = DaysFromCivil(t.wYear, t.wMonth, t.wDay) - kEpoch;
  const double time_of_day =
      static_cast<double>(t.wHour * 3600 + t.wMinute * 60 + t.wSecond) / static_cast<double>(kSecondsPerDay);
  // Before the epoch the whole days count backwards and the time of day still forwards.
  *pvtime = day >= 0 ? static_cast<double>(day) + time_of_day : static_cast<double>(day) - time_of_day;
  return TRUE;
}

INT VariantTimeToSystemTime(DATE vtime, SYSTEMTIME* lpSystemTime) {
  // The bounds also turn away NaN and the infinities before any conversion to an integer.
  if (lpSystemTime == nullptr || !(vtime > static_cast<double>(kFirstDay - 1) && vtime < static_cast<double>(kLastDay + 1))) {
    return FALSE;
  }
  const double whole = std::trunc(vtime);
  std::int64_t day = static_cast<std::int64_t>(whole);
  std::int64_t seconds = std::llround(std::fabs(vtime - whole) * static_cast<double>(kSecondsPerDay));
  if (seconds == kSecondsPerDay) {
    // 23:59:59.5 and later rounds to midnight of the next calendar day.
    ++day;
    seconds = 0;
  }
  if (day < kFirstDay || day > kLastDay) return FALSE;
  const CivilDate date = CivilFromDays(day + kEpoch);
  SYSTEMTIME& t = *lpSystemTime;
  t.wYear = static_cast<WORD>(date.year);
  t.wMonth = static_cast<WORD>(date.month);
  t.wDay = static_cast<WORD>(date.day);
  t.wDayOfWeek = static_cast<WORD>(((day % 7) + 7 + kEpochDayOfWeek) % 7);
  t.wHour = static_cast<WORD>(seconds / 3600);
  t.wMinute = static_cast<WORD>(seconds / 60 % 60);
  t.wSecond = static_cast<WORD>(seconds % 60);
  t.wMilliseconds = 0;
  return TRUE;
}
