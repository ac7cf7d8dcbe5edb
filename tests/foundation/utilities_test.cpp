// Text conversion and trimming, DICOM dates and UIDs, and loops split between cores.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/date_utils.h"
#include "foundation/parallel.h"
#include "foundation/text_utils.h"
#include "foundation/uid.h"

namespace {

TEST(TextUtilsTest, ConvertsThroughWindows1252AlsoPastTheStackBufferAndTrimsBlanksOnly) {
  for (const std::size_t length : {3u, 128u, 129u, 5000u}) {
    EXPECT_EQ(ToWide(std::string(length, '\xB0')), std::u16string(length, u'\u00B0')) << length;
    EXPECT_EQ(ToNarrow(std::u16string(length, u'\u00B0')), std::string(length, '\xB0')) << length;
  }
  const std::pair<std::string, std::string> trims[] = {
      {"  a b  ", "a b"}, {"   ", ""}, {"\ta\t", "\ta\t"}, {" \r\n", "\r\n"}};
  for (const auto& [text, trimmed] : trims) {
    std::string narrow = text;
    std::u16string wide(text.begin(), text.end());
    Trim(narrow);
    Trim(wide);
    EXPECT_EQ(narrow, trimmed);
    EXPECT_EQ(wide, std::u16string(trimmed.begin(), trimmed.end()));
  }
}

TEST(DateUtilsTest, DicomDatesAroundMidnightAndLeapDays) {
  // Date values count days from 1899-12-30: 2014-03-09 is day 41707, counted by hand.
  constexpr double kDay = 41707.0, kSecond = 1.0 / 86400.0;
  const std::tuple<const char*, const char*, const char*, double> toValue[] = {
      {"a null time is midnight", "20140309", nullptr, kDay},
      {"a fraction of a second is dropped", "20140309", "210507.9", kDay + (21 * 3600 + 5 * 60 + 7) * kSecond},
      {"an unreadable time is midnight", "20140309", "2105", kDay},
      {"leap day of 2000", "20000229", nullptr, 36585.0},
      {"no leap day in 2013: March 1", "20130229", nullptr, 41334.0},
      {"a year alone is no date", "2014", nullptr, 0.0},
      {"no date", nullptr, "120000", 0.0},
      {"hour 24", "20140309", "240000", 0.0},
  };
  for (const auto& [what, date, time, value] : toValue) EXPECT_NEAR(DicomToDateValue(date, time), value, 1e-9) << what;
  const std::pair<double, const char*> toText[] = {
      {kDay + 1 - 0.6 * kSecond, "20140309 235959"},  // rounded to the last second of the day
      {kDay + 1 - 0.4 * kSecond, "20140310 000000"},  // under half a second before midnight
      {40968.0, "20120229 000000"},                   // leap day of 2012
      {-1.25, "18991229 060000"},  // before 1899-12-30 the fraction still counts forward
  };
  for (const auto& [value, text] : toText) {
    std::string date, time;
    EXPECT_TRUE(DateValueToDicom(value, date, time));
    EXPECT_EQ(date + " " + time, text);
  }
  std::string date, time;
  EXPECT_FALSE(DateValueToDicom(0.0, date, time)) << "0.0 is how the workstation objects say no date";
}

TEST(UidTest, RootAndUnpaddedUtcFields) {
  EXPECT_EQ(GenerateUid(SYSTEMTIME{2014, 3, 0, 9, 21, 5, 7, 41}), "1.3.6.1.4.1.77777.2014.3.9.21.5.7.41");
  EXPECT_EQ(GenerateUid().rfind("1.3.6.1.4.1.77777.", 0), 0u);
}

// The ranges cover every item once, however the count divides, and a failure in any range reaches
// the caller only after every range has ended.
TEST(ParallelRanges, CoverEveryItemOnceAndPassOnAFailure) {
  for (const std::size_t count : {0u, 1u, 7u, 64u, 1001u}) {
    std::vector<std::atomic<int>> visits(count);
    ParallelRanges(count, 4, [&](std::size_t begin, std::size_t end) {
      for (std::size_t i = begin; i < end; ++i) ++visits[i];
    });
    for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(visits[i].load(), 1) << "item " << i << " of " << count;
  }
  std::atomic<std::size_t> done = 0;
  EXPECT_THROW(ParallelRanges(1000, 1,
                              [&](std::size_t begin, std::size_t end) {
                                if (begin == 0) throw std::runtime_error("first range");
                                done += end - begin;
                              }),
               std::runtime_error);
  const std::size_t others = 1000 - 1000 / std::max(1u, std::thread::hardware_concurrency());
  EXPECT_EQ(done.load(), others);
}

}  // namespace
