#include "foundation/file_utils.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "foundation/trace.h"
#include "test_files.h"

namespace {

using foundation_test::HostFolder;
using foundation_test::ReadAll;
using foundation_test::TempFolder;
namespace fs = std::filesystem;

TEST(TargetFileTest, CreatesWritesAndReadsBack) {
  TempFolder folder;
  const std::string name = (folder / "image.dcm").string();
  std::FILE* file = CreateTargetFile(name);
  ASSERT_NE(file, nullptr);
  const char data[] = {'D', 'I', 'C', 'M', '\0', '\xFF'};
  WriteBuffer(file, data, sizeof data);
  std::rewind(file);
  char back[sizeof data] = {};
  EXPECT_EQ(std::fread(back, 1, sizeof back, file), sizeof back) << "the file is open for reading too";
  EXPECT_EQ(std::string(back, sizeof back), std::string(data, sizeof data));
  CloseFile(file);
  EXPECT_EQ(ReadAll(name), std::string(data, sizeof data));
}

TEST(TargetFileTest, EmptiesAnExistingFile) {
  TempFolder folder;
  const std::string name = (folder / "old.dcm").string();
  std::ofstream(name, std::ios::binary) << "old content that must go";
  std::FILE* file = CreateTargetFile(name);
  ASSERT_NE(file, nullptr);
  WriteBuffer(file, "new", 3);
  CloseFile(file);
  EXPECT_EQ(ReadAll(name), "new");
}

TEST(TargetFileTest, FailuresGiveNull) {
  TempFolder folder;
  EXPECT_EQ(CreateTargetFile(""), nullptr);
  EXPECT_EQ(CreateTargetFile((folder / "missing/x.dcm").string()), nullptr);
  EXPECT_FALSE(fs::exists(folder / "missing"));
  EXPECT_NO_THROW(WriteBuffer(nullptr, "abc", 3));
  EXPECT_NO_THROW(CloseFile(nullptr));
}

// The trace lines go to the process-wide log, which can't be closed again; so they are checked in a
// child process that opens it, and the test reads the log the child left.
TEST(TargetFileDeathTest, FailuresAreTraced) {
  TempFolder folder;
  const std::string log = (folder / "trace.log").string();
  const std::string missing = (folder / "missing/x.dcm").string();
  const std::string target = (folder / "target.dcm").string();
  EXPECT_EXIT(
      {
        Trace::Instance().Open(fs::path(log).u16string(), 1);
        CreateTargetFile("");
        CreateTargetFile(missing);
        WriteBuffer(nullptr, "abc", 3);
        std::FILE* file = CreateTargetFile(target);
        WriteBuffer(file, nullptr, 3);
        WriteBuffer(file, "abc", 3);
        CloseFile(file);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");

  std::istringstream content(ReadAll(log));
  std::vector<std::string> texts;
  for (std::string line; std::getline(content, line);) {
    const std::size_t text = line.find(" --- ");
    ASSERT_NE(text, std::string::npos) << line;
    texts.push_back(line.substr(text + 5));
  }
  const std::string error = " The last error is (in hexa): 0x";
  const std::pair<std::string, bool> expected[] = {
      {"The unmanaged trace level is: 1", false},
      {"The file name is empty.", false},
      {"Cannot create the " + missing + " target file." + error, true},
      {"The passed in destination file handle is NULL.", false},
      {"Error writing into the target file." + error, true},
      {"The passed in data buffer is NULL.", false},
      {"Error writing into the target file." + error, true},
  };
  ASSERT_EQ(texts.size(), std::size(expected));
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const auto& [opening, hexCode] = expected[i];
    ASSERT_EQ(texts[i].back(), '\r') << texts[i];
    const std::string text = texts[i].substr(0, texts[i].size() - 1);
    if (!hexCode) {
      EXPECT_EQ(text, opening);
      continue;
    }
    ASSERT_EQ(text.rfind(opening, 0), 0u) << text;
    const std::string code = text.substr(opening.size());
    EXPECT_FALSE(code.empty()) << text;
    EXPECT_EQ(code.find_first_not_of("0123456789ABCDEF"), std::string::npos) << text;
  }
}

TEST(ModuleFolderTest, FolderOfTheHostWithTrailingSlash) {
  const std::string expected = HostFolder().string() + "/";
  EXPECT_EQ(ModuleFolderNarrow(), expected);
  EXPECT_EQ(ModuleFolder(), fs::path(expected).u16string());
}

}  // namespace
