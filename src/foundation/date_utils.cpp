#include "foundation/date_utils.h"

#include <cstdio>

#include "foundation/text_utils.h"
#include "ondrel/platform/oleauto.h"
#include "ondrel/platform/system.h"

namespace {

// The calendar date and time of a date value in the given forms; false for a value that is no
// calendar time. The buffers have room for any field value, though a calendar time fills fewer.
bool FormatDateValue(double value, const char* dateFormat, const char* timeFormat, std::string& date,
                     std::string& time) {
  SYSTEMTIME calendar{};
  if (!VariantTimeToSystemTime(value, &calendar)) return false;
  char dateText[24];
  char timeText[24];
  std::snprintf(dateText, sizeof dateText, dateFormat, calendar.wYear, calendar.wMonth, calendar.wDay);
  std::snprintf(timeText, sizeof timeText, timeFormat, calendar.wHour, calendar.wMinute, calendar.wSecond);
  date = dateText;
  time = timeText;
  return true;
}

}  // namespace

bool DateValueToDicom(double value, std::string& date, std::string& time) {
  // 0.0 is how the workstation objects say "no date".
  if (value == 0.0) return false;
  return FormatDateValue(value, "%04d%02d%02d", "%02d%02d%02d", date, time);
}

bool DateValueToDisplay(double value, std::u16string& date, std::u16string& time) {
  std::string dateText;
  std::string timeText;
  if (!FormatDateValue(value, "%04d/%02d/%02d", "%02d:%02d:%02d", dateText, timeText)) return false;
  date = ToWide(dateText);
  time = ToWide(timeText);
  return true;
}

double DicomToDateValue(const char* date, const char* time) {
  if (date == nullptr) return 0.0;
  int year = 0;
  int month = 0;
  int day = 0;
  if (std::sscanf(date, "%4d%2d%2d", &year, &month, &day) != 3) return 0.0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  if (time == nullptr || std::sscanf(time, "%2d%2d%2d", &hour, &minute, &second) != 3) {
    hour = 0;
    minute = 0;
    second = 0;
  }
  // A negative field read from the text wraps to a large number, which the conversion refuses.
  SYSTEMTIME calendar{};
  calendar.wYear = static_cast<WORD>(year);
  calendar.wMonth = static_cast<WORD>(month);
  calendar.wDay = static_cast<WORD>(day);
  calendar.wHour = static_cast<WORD>(hour);
  calendar.wMinute = static_cast<WORD>(minute);
  calendar.wSecond = static_cast<WORD>(second);
  DATE value = 0.0;
  if (!SystemTimeToVariantTime(&calendar, &value)) return 0.0;
  return value;
}

double NowAsDateValue() {
  SYSTEMTIME now{};
  GetLocalTime(&now);
  DATE value = 0.0;
  if (!SystemTimeToVariantTime(&now, &value)) return 0.0;
  return value;
}
