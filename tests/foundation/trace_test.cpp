#include "foundation/trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/exceptions.h"
#include "test_files.h"

namespace {

using foundation_test::HostFolder;
using foundation_test::ReadAll;
using foundation_test::TempFolder;
using foundation_test::UniqueName;
namespace fs = std::filesystem;

std::u16string Wide(const fs::path& path) { return path.u16string(); }

// Whether `line` opens with a timestamp mark and the separator: ">>> 2014-03-09T21:05:07:041 --- ".
bool OpensWithMark(std::string_view line) {
  constexpr std::string_view kShape = ">>> 9999-99-99T99:99:99:999 --- ";
  if (line.size() < kShape.size()) return false;
  for (std::size_t i = 0; i < kShape.size(); ++i) {
    const bool digit = line[i] >= '0' && line[i] <= '9';
    if (kShape[i] == '9' ? !digit : line[i] != kShape[i]) return false;
  }
  return true;
}

// The text of each line with its timestamp mark checked and cut off; CR LF ends every line.
std::vector<std::string> LineTexts(const std::string& content) {
  constexpr std::size_t kMarkLength = 32;
  std::vector<std::string> texts;
  std::size_t start = 0;
  while (start < content.size()) {
    const std::size_t end = content.find("\r\n", start);
    if (end == std::string::npos) {
      ADD_FAILURE() << "an unfinished line: " << content.substr(start);
      break;
    }
    const std::string_view line(content.data() + start, end - start);
    EXPECT_TRUE(OpensWithMark(line)) << line;
    texts.emplace_back(line.substr(std::min(kMarkLength, line.size())));
    start = end + 2;
  }
  return texts;
}

std::vector<std::string> LinesOf(const fs::path& path) { return LineTexts(ReadAll(path)); }

using Lines = std::vector<std::string>;

TEST(TraceTest, WriteBeforeOpenDoesNothing) {
  TempFolder folder;
  Trace trace;
  EXPECT_NO_THROW(trace.Write("early", 1));
  EXPECT_NO_THROW(trace.Write(MyException("early failure"), 1));
  EXPECT_FALSE(trace.IsOpen());
  EXPECT_EQ(trace.FileName(), u"");
  trace.Open(Wide(folder / "t.log"), 1);
  EXPECT_EQ(LinesOf(folder / "t.log"), Lines{"The unmanaged trace level is: 1"});
}

TEST(TraceTest, LineFormat) {
  TempFolder folder;
  Trace trace;
  trace.Open(Wide(folder / "t.log"), 2);
  EXPECT_EQ(LinesOf(folder / "t.log"), Lines{"The unmanaged trace level is: 2"});
  EXPECT_FALSE(OpensWithMark(">>> 2014-03-09T21:05:07.041 --- ")) << "the checker itself tells a point from a colon";

  SYSTEMTIME time{2014, 3, 0, 9, 21, 5, 7, 41};
  EXPECT_EQ(Trace::TimestampMark(time), ">>> 2014-03-09T21:05:07:041");
  time = SYSTEMTIME{2001, 12, 6, 1, 0, 0, 0, 0};
  EXPECT_EQ(Trace::TimestampMark(time), ">>> 2001-12-01T00:00:00:000");
}

TEST(TraceTest, AppendsToWhatIsThereAcrossLogs) {
  TempFolder folder;
  const fs::path log = folder / "shared.log";
  std::ofstream(log, std::ios::binary) << "written by an earlier run\r\n";
  {
    Trace first;
    first.Open(Wide(log), 1);
    first.Write("first run", 1);
  }
  Trace second;
  Trace third;
  second.Open(Wide(log), 1);
  third.Open(Wide(log), 1);
  second.Write("second", 1);
  third.Write("third", 1);
  second.Write("second again", 1);

  const std::string content = ReadAll(log);
  const std::string kept = "written by an earlier run\r\n";
  ASSERT_EQ(content.rfind(kept, 0), 0u) << content;
  EXPECT_EQ(LineTexts(content.substr(kept.size())),
            (Lines{"The unmanaged trace level is: 1", "first run", "The unmanaged trace level is: 1",
                   "The unmanaged trace level is: 1", "second", "third", "second again"}));
}

TEST(TraceTest, FirstOpenWins) {
  TempFolder folder;
  Trace trace;
  trace.Open(Wide(folder / "a.log"), 1);
  trace.Open(Wide(folder / "b.log"), 3);
  EXPECT_EQ(trace.FileName(), Wide(folder / "a.log"));
  EXPECT_EQ(trace.Level(), 1);
  trace.Write("verbose", 3);
  EXPECT_FALSE(fs::exists(folder / "b.log"));
  EXPECT_EQ(LinesOf(folder / "a.log"), Lines{"The unmanaged trace level is: 1"});
}

TEST(TraceTest, WritesOnlyLevelsUpToTheLogsLevel) {
  struct Row {
    int stored;
    Lines expected;
  };
  const Row rows[] = {
      {2, {"The unmanaged trace level is: 2", "at -1", "at 0", "at 1", "at 2"}},
      {0, {"at -1", "at 0"}},
      {-1, {"at -1"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.stored);
    TempFolder folder;
    Trace trace;
    trace.Open(Wide(folder / "t.log"), row.stored);
    EXPECT_EQ(trace.Level(), row.stored);
    for (int level = -1; level <= 3; ++level) trace.Write("at " + std::to_string(level), level);
    EXPECT_EQ(LinesOf(folder / "t.log"), row.expected);
  }
}

TEST(TraceTest, WideTextsAndFailuresAreWrittenNarrow) {
  TempFolder folder;
  Trace trace;
  trace.Open(Wide(folder / "t.log"), 1);
  trace.Write(u"angle 45\u00B0", 1);
  trace.Write(MyException("Outer.", MyException("Inner.")), 1);
  trace.WriteFormatted(1, "%d images of %s", 3, "CT");
  const std::string content = ReadAll(folder / "t.log");
  EXPECT_NE(content.find(" --- angle 45\xB0\r\n"), std::string::npos) << content;
  EXPECT_NE(content.find(" --- Outer.\r\nInner.\r\n"), std::string::npos) << content;
  EXPECT_NE(content.find(" --- 3 images of CT\r\n"), std::string::npos) << content;
}

TEST(TraceTest, FormattedTextIsCutAtItsBuffer) {
  TempFolder folder;
  Trace trace;
  trace.Open(Wide(folder / "t.log"), 1);
  const std::string longText(3000, 'y');
  trace.WriteFormatted(1, "%s", longText.c_str());
  EXPECT_EQ(LinesOf(folder / "t.log"), (Lines{"The unmanaged trace level is: 1", std::string(1023, 'y')}));
}

TEST(TraceTest, BareNameGoesIntoLogBesideTheHost) {
  const std::string name = UniqueName("ondrel_trace_test_") + ".log";
  const fs::path expected = HostFolder() / "Log" / name;
  {
    Trace trace;
    trace.Open(Wide(fs::path(name)), 1);
    EXPECT_EQ(trace.FileName(), Wide(expected));
    EXPECT_TRUE(trace.IsOpen());
  }
  EXPECT_EQ(LinesOf(expected), Lines{"The unmanaged trace level is: 1"});
  fs::remove(expected);

  Trace unnamed;
  unnamed.Open(u"", 1);
  EXPECT_EQ(unnamed.FileName(), Wide(HostFolder() / "Log" / "Trace.log"));
  EXPECT_TRUE(fs::exists(HostFolder() / "Log" / "Trace.log"));
}

TEST(TraceTest, NameWithFolderIsUsedAsItStands) {
  TempFolder folder;
  const fs::path missing = folder / "missing" / "t.log";
  Trace trace;
  trace.Open(Wide(missing), 1);
  EXPECT_EQ(trace.FileName(), Wide(missing));
  EXPECT_FALSE(trace.IsOpen()) << "a file that can't be opened leaves the log closed";
  EXPECT_FALSE(fs::exists(folder / "missing"));
  EXPECT_NO_THROW(trace.Write("lost", 1));
}

}  // namespace
