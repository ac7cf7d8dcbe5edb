// The trace log, and the target files whose failures it records.
#include "foundation/trace.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "foundation/file_utils.h"
#include "test_files.h"

namespace {

using foundation_test::HostFolder;
using foundation_test::ReadAll;
using foundation_test::TempFolder;
namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

// The texts of a log's lines, each checked to open with its mark and to end with CR LF; text that is no
// such line is kept whole, marked unreadable.
Lines LinesOf(const fs::path& path) {
  static const std::regex kLine(R"(>>> \d{4}-\d\d-\d\dT\d\d:\d\d:\d\d:\d{3} --- ([^\r\n]*)\r\n)");
  const std::string content = ReadAll(path);
  Lines texts;
  std::smatch line;
  auto at = content.cbegin();
  for (; std::regex_search(at, content.cend(), line, kLine, std::regex_constants::match_continuous);
       at = line[0].second)
    texts.push_back(line[1]);
  if (at != content.cend()) texts.push_back("unreadable: " + std::string(at, content.cend()));
  return texts;
}

TEST(TraceTest, AppendsToWhatIsThereOnceOpenAndTheFirstOpenWins) {
  const TempFolder folder;
  const fs::path log = folder / "shared.log";
  std::ofstream(log, std::ios::binary) << ">>> 2001-12-01T00:00:00:000 --- an earlier run\r\n";
  Trace first, second;
  first.Write("before opening", 1);
  first.Open(log.u16string(), 1);
  second.Open(log.u16string(), 1);
  first.Open((folder / "other.log").u16string(), 3);
  first.Write(u"angle 45\u00B0", 1);
  second.Write("second", 1);
  first.Write("above the first level", 3);
  EXPECT_EQ(LinesOf(log), (Lines{"an earlier run", "The unmanaged trace level is: 1", "The unmanaged trace level is: 1",
                                 "angle 45\xB0", "second"}));
  EXPECT_FALSE(fs::exists(folder / "other.log"));
  EXPECT_EQ(Trace::TimestampMark(SYSTEMTIME{2014, 3, 0, 9, 21, 5, 7, 41}), ">>> 2014-03-09T21:05:07:041");
}

TEST(TraceTest, WritesOnlyLevelsUpToTheLogsLevel) {
  for (const auto& [level, expected] : {std::pair{2, Lines{"The unmanaged trace level is: 2", "at 0", "at 2"}},
                                        std::pair{0, Lines{"at 0"}}}) {
    const TempFolder folder;
    Trace trace;
    trace.Open((folder / "t.log").u16string(), level);
    for (int at : {3, 0, 2}) trace.Write("at " + std::to_string(at), at);
    EXPECT_EQ(LinesOf(folder / "t.log"), expected) << level;
  }
}

TEST(TraceTest, BareNameGoesIntoLogBesideTheHost) {
  const std::string name = foundation_test::UniqueName("ondrel_trace_test_") + ".log";
  {
    Trace trace;
    trace.Open(fs::path(name).u16string(), 1);
    EXPECT_EQ(trace.FileName(), (HostFolder() / "Log" / name).u16string());
  }
  EXPECT_EQ(LinesOf(HostFolder() / "Log" / name), Lines{"The unmanaged trace level is: 1"});
  fs::remove(HostFolder() / "Log" / name);
}

TEST(TargetFileTest, EmptiesAnExistingFileAndRefusesAMissingFolder) {
  const TempFolder folder;
  std::ofstream(folder / "image.dcm", std::ios::binary) << "old content that must go";
  std::FILE* file = CreateTargetFile((folder / "image.dcm").string());
  WriteBuffer(file, "DICM\0\xFF", 6);
  CloseFile(file);
  EXPECT_EQ(ReadAll(folder / "image.dcm"), std::string("DICM\0\xFF", 6));
  EXPECT_EQ(CreateTargetFile((folder / "missing" / "x.dcm").string()), nullptr);
}

}  // namespace
