#include "ondrel/platform/oleauto.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

SYSTEMTIME Make(int year, int month, int day, int hour = 0, int minute = 0, int second = 0, int ms = 0) {
  SYSTEMTIME t{};
  t.wYear = static_cast<WORD>(year);
  t.wMonth = static_cast<WORD>(month);
  t.wDay = static_cast<WORD>(day);
  t.wHour = static_cast<WORD>(hour);
  t.wMinute = static_cast<WORD>(minute);
  t.wSecond = static_cast<WORD>(second);
  t.wMilliseconds = static_cast<WORD>(ms);
  return t;
}

void ExpectTime(DATE value, int year, int month, int day, int hour, int minute, int second) {
  SYSTEMTIME t{};
  t.wMilliseconds = 123;
  ASSERT_TRUE(VariantTimeToSystemTime(value, &t)) << value;
  EXPECT_EQ(t.wYear, year) << value;
  EXPECT_EQ(t.wMonth, month) << value;
  EXPECT_EQ(t.wDay, day) << value;
  EXPECT_EQ(t.wHour, hour) << value;
  EXPECT_EQ(t.wMinute, minute) << value;
  EXPECT_EQ(t.wSecond, second) << value;
  EXPECT_EQ(t.wMilliseconds, 0) << value;
}

// Values and days of the week (0 = Sunday) from Python's datetime:
// days = (date(y, m, d) - date(1899, 12, 30)).days, value = days + s / 86400 (days - s / 86400 before
// the epoch) with s the seconds of the day, weekday = isoweekday() % 7.
struct KnownDate {
  const char* what;
  int year, month, day, hour, minute, second;
  double value;
  int day_of_week;
};
constexpr KnownDate kKnownDates[] = {
    {"the epoch", 1899, 12, 30, 0, 0, 0, 0.0, 6},
    {"first day of 1900", 1900, 1, 1, 0, 0, 0, 2.0, 1},
    {"1900 is no leap year: February 28", 1900, 2, 28, 0, 0, 0, 60.0, 3},
    {"1900 is no leap year: March 1", 1900, 3, 1, 0, 0, 0, 61.0, 4},
    {"Unix epoch", 1970, 1, 1, 0, 0, 0, 25569.0, 4},
    {"2000", 2000, 1, 1, 0, 0, 0, 36526.0, 6},
    {"leap day of a 400th year", 2000, 2, 29, 0, 0, 0, 36585.0, 2},
    {"leap day of 2012", 2012, 2, 29, 0, 0, 0, 40968.0, 3},
    {"midnight", 2014, 3, 9, 0, 0, 0, 41707.0, 0},
    {"evening", 2014, 3, 9, 21, 5, 7, 41707.87855324074, 0},
    {"last second of a day", 2014, 3, 9, 23, 59, 59, 41707.99998842592, 0},
    {"2100 is no leap year", 2100, 3, 1, 0, 0, 0, 73110.0, 1},
    {"the day before the epoch, 06:00", 1899, 12, 29, 6, 0, 0, -1.25, 5},
    {"the epoch at noon", 1899, 12, 30, 12, 0, 0, 0.5, 6},
    {"1800, 18:00", 1800, 1, 1, 18, 0, 0, -36522.75, 3},
    {"leap day of 1600", 1600, 2, 29, 0, 0, 0, -109512.0, 2},
    {"first representable day", 100, 1, 1, 0, 0, 0, -657434.0, 5},
    {"last representable second", 9999, 12, 31, 23, 59, 59, 2958465.999988426, 5},
};

TEST(VariantTime, KnownDatesBothWays) {
  for (const KnownDate& k : kKnownDates) {
    SCOPED_TRACE(k.what);
    const SYSTEMTIME t = Make(k.year, k.month, k.day, k.hour, k.minute, k.second);
    DATE value = -1e9;
    ASSERT_TRUE(SystemTimeToVariantTime(&t, &value));
    EXPECT_DOUBLE_EQ(value, k.value);
    ExpectTime(k.value, k.year, k.month, k.day, k.hour, k.minute, k.second);
    SYSTEMTIME back{};
    ASSERT_TRUE(VariantTimeToSystemTime(k.value, &back));
    EXPECT_EQ(back.wDayOfWeek, k.day_of_week);
  }
}

TEST(VariantTime, MillisecondsAreIgnoredAndDaysPastMonthEndRollOver) {
  DATE value = 0;
  const SYSTEMTIME with_ms = Make(2014, 3, 9, 21, 5, 7, 999);
  ASSERT_TRUE(SystemTimeToVariantTime(&with_ms, &value));
  EXPECT_DOUBLE_EQ(value, 41707.87855324074);

  struct Rollover {
    int year, month, day;
    double value;  // of the day it rolls into, from the table above or Python's datetime
  };
  const Rollover rollovers[] = {
      {2014, 2, 30, 41700.0},  // 2014-03-02
      {2013, 2, 29, 41334.0},  // 2013-03-01
      {1900, 2, 29, 61.0},  // 1900-03-01
      {2012, 4, 31, 41030.0},  // 2012-05-01
  };
  for (const Rollover& r : rollovers) {
    const SYSTEMTIME t = Make(r.year, r.month, r.day);
    ASSERT_TRUE(SystemTimeToVariantTime(&t, &value));
    EXPECT_DOUBLE_EQ(value, r.value) << r.year << "-" << r.month << "-" << r.day;
  }
}

TEST(VariantTime, InvalidFieldsAreRefused) {
  const SYSTEMTIME invalid[] = {
      Make(2014, 0, 1),  Make(2014, 13, 1), Make(2014, 1, 0),       Make(2014, 1, 32),
      Make(2014, 1, 1, 24), Make(2014, 1, 1, 0, 60), Make(2014, 1, 1, 0, 0, 60), Make(99, 12, 31),
      Make(10000, 1, 1),
  };
  for (const SYSTEMTIME& t : invalid) {
    DATE value = 42.0;
    EXPECT_FALSE(SystemTimeToVariantTime(&t, &value)) << t.wYear << "-" << t.wMonth << "-" << t.wDay;
  }
}

TEST(VariantTime, RoundsToTheNearestSecond) {
  constexpr double kSecond = 1.0 / 86400.0;
  ExpectTime(41707.0 + 0.4 * kSecond, 2014, 3, 9, 0, 0, 0);
  ExpectTime(41707.0 + 0.6 * kSecond, 2014, 3, 9, 0, 0, 1);
  ExpectTime(41707.0 + 86399.9 * kSecond, 2014, 3, 10, 0, 0, 0);  // 23:59:59.9 is the next midnight
  ExpectTime(41707.99999999, 2014, 3, 10, 0, 0, 0);
  ExpectTime(-1.99999999, 1899, 12, 30, 0, 0, 0);  // 1899-12-29 23:59:59.999...
  ExpectTime(-0.5, 1899, 12, 30, 12, 0, 0);
  ExpectTime(-657434.5, 100, 1, 1, 12, 0, 0);  // the fraction counts forward within the first day
  SYSTEMTIME t{};
  ASSERT_TRUE(VariantTimeToSystemTime(41707.99999999, &t));
  EXPECT_EQ(t.wDayOfWeek, 1);  // the Monday after
}

TEST(VariantTime, ValuesOutsideTheRepresentableYearsAreRefused) {
  const double outside[] = {-657435.0, 2958466.0, 2958465.9999999,  // rounds into the year 10000
                            std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity(), 1e300};
  for (const double value : outside) {
    SYSTEMTIME t{};
    EXPECT_FALSE(VariantTimeToSystemTime(value, &t)) << value;
  }
}

// Walks every day from 0100-01-01 to 9999-12-31 with a plain calendar (the Gregorian leap rule applied
// back to the year 100), checking noon of each day both ways and the weekday cycle.
TEST(VariantTime, EveryRepresentableDayAgreesWithAPlainCalendar) {
  const auto days_in_month = [](int year, int month) {
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return month == 2 && leap ? 29 : kDays[month - 1];
  };
  int year = 100, month = 1, day = 1;
  int day_of_week = 5;  // 0100-01-01 was a Friday (Python: date(100, 1, 1).isoweekday() % 7)
  int failures = 0;
  for (long index = -657434; index <= 2958465 && failures < 5; ++index) {
    const double noon = index >= 0 ? static_cast<double>(index) + 0.5 : static_cast<double>(index) - 0.5;
    SYSTEMTIME t{};
    const SYSTEMTIME expected = Make(year, month, day, 12);
    DATE value = 0;
    if (!VariantTimeToSystemTime(noon, &t) || t.wYear != year || t.wMonth != month || t.wDay != day ||
        t.wHour != 12 || t.wDayOfWeek != day_of_week || !SystemTimeToVariantTime(&expected, &value) ||
        value != noon) {
      ADD_FAILURE() << "day " << index << ": expected " << year << "-" << month << "-" << day << " got "
                    << t.wYear << "-" << t.wMonth << "-" << t.wDay << " " << t.wHour << "h weekday "
                    << t.wDayOfWeek << ", back " << value;
      ++failures;
    }
    day_of_week = (day_of_week + 1) % 7;
    if (++day > days_in_month(year, month)) {
      day = 1;
      if (++month > 12) {
        month = 1;
        ++year;
      }
    }
  }
  EXPECT_EQ(year, 10000);
}

TEST(VariantTime, EverySecondOfADayRoundTrips) {
  for (const int year : {1850, 2014}) {
    for (int second = 0; second < 86400; ++second) {
      const SYSTEMTIME t = Make(year, 6, 15, second / 3600, second / 60 % 60, second % 60);
      DATE value = 0;
      SYSTEMTIME back{};
      ASSERT_TRUE(SystemTimeToVariantTime(&t, &value));
      ASSERT_TRUE(VariantTimeToSystemTime(value, &back));
      ASSERT_EQ(back.wDay * 86400 + back.wHour * 3600 + back.wMinute * 60 + back.wSecond, 15 * 86400 + second)
          << year << " second " << second;
    }
  }
}

}  // namespace
