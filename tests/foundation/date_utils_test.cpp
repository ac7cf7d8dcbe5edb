#include "foundation/date_utils.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <string>

namespace {

// Automation dates count days from 1899-12-30; these were counted by hand from the calendar.
constexpr double k2014_03_09 = 41707.0;
constexpr double k2014_03_10 = 41708.0;
constexpr double k2013_03_01 = 41334.0;
constexpr double k2012_02_29 = 40968.0;
constexpr double k2000_02_29 = 36585.0;
constexpr double kSecond = 1.0 / 86400.0;

TEST(DicomToDateValueTest, DatesAndTimes) {
  struct Row {
    const char* what;
    const char* date;
    const char* time;
    double value;
  };
  const Row rows[] = {
      {"null time is midnight", "20140309", nullptr, k2014_03_09},
      {"full time", "20140309", "210507", k2014_03_09 + (21 * 3600 + 5 * 60 + 7) * kSecond},
      {"time with a fraction", "20140309", "210507.123456", k2014_03_09 + (21 * 3600 + 5 * 60 + 7) * kSecond},
      {"last second of the day", "20140309", "235959", k2014_03_09 + 86399 * kSecond},
      {"hours and minutes only count as midnight", "20140309", "2105", k2014_03_09},
      {"unreadable time counts as midnight", "20140309", "ab", k2014_03_09},
      {"leap day of 2012", "20120229", "000000", k2012_02_29},
      {"leap day of 2000", "20000229", nullptr, k2000_02_29},
      {"29 February 2013 rolls into March", "20130229", nullptr, k2013_03_01},
      {"year only", "2014", nullptr, 0.0},
      {"null date", nullptr, "120000", 0.0},
      {"empty date", "", nullptr, 0.0},
      {"month 13", "20141309", nullptr, 0.0},
      {"day 0", "20140300", nullptr, 0.0},
      {"hour 24", "20140309", "240000", 0.0},
      {"negative month", "2014-109", nullptr, 0.0},
  };
  for (const Row& row : rows) {
    EXPECT_NEAR(DicomToDateValue(row.date, row.time), row.value, 1e-9) << row.what;
  }
}

TEST(DateValueToDicomTest, CalendarTextRoundedToTheSecond) {
  struct Row {
    const char* what;
    double value;
    const char* date;
    const char* time;
  };
  const Row rows[] = {
      {"midnight", k2014_03_09, "20140309", "000000"},
      {"evening", k2014_03_09 + (21 * 3600 + 5 * 60 + 7) * kSecond, "20140309", "210507"},
      {"just before midnight", k2014_03_10 - 0.6 * kSecond, "20140309", "235959"},
      {"under half a second before midnight rounds up", k2014_03_10 - 0.4 * kSecond, "20140310", "000000"},
      {"leap day of 2012", k2012_02_29, "20120229", "000000"},
      {"leap day of 2000", k2000_02_29 + 0.5, "20000229", "120000"},
      {"before the epoch the fraction still counts forward", -1.25, "18991229", "060000"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    std::string date;
    std::string time;
    EXPECT_TRUE(DateValueToDicom(row.value, date, time));
    EXPECT_EQ(date, row.date);
    EXPECT_EQ(time, row.time);
  }
}

TEST(DateValueToDicomTest, NoDateAndOutOfRange) {
  for (double value : {0.0, 3.0e6, -1.0e6}) {
    std::string date = "untouched";
    std::string time = "untouched";
    EXPECT_FALSE(DateValueToDicom(value, date, time)) << value;
    EXPECT_EQ(date, "untouched");
    EXPECT_EQ(time, "untouched");
  }
}

TEST(DateValueToDisplayTest, SlashesAndColonsWithZeroNotSpecial) {
  std::u16string date;
  std::u16string time;
  EXPECT_TRUE(DateValueToDisplay(0.0, date, time));
  EXPECT_EQ(date, u"1899/12/30");
  EXPECT_EQ(time, u"00:00:00");
  EXPECT_TRUE(DateValueToDisplay(k2014_03_09 + 0.875, date, time));
  EXPECT_EQ(date, u"2014/03/09");
  EXPECT_EQ(time, u"21:00:00");

  date = u"untouched";
  EXPECT_FALSE(DateValueToDisplay(3.0e6, date, time));
  EXPECT_EQ(date, u"untouched");
}

TEST(NowAsDateValueTest, IsTodayInLocalTime) {
  // 1970-01-01, the C library's epoch, is automation date 25569; local time is within 14 hours of UTC.
  const auto seconds =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch());
  const double utcNow = 25569.0 + static_cast<double>(seconds.count()) / 86400.0;
  EXPECT_LT(std::fabs(NowAsDateValue() - utcNow), 14.5 / 24.0);
}

}  // namespace
