#include "ondrel/platform/system.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <tuple>
#include <utility>

namespace {

namespace fs = std::filesystem;

class SystemFiles : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(fs::create_directory(dir_)) << dir_; }
  void TearDown() override { fs::remove_all(dir_); }

  const fs::path dir_ = fs::temp_directory_path() / ("ondrel-system-test-" + std::to_string(std::random_device()()));
};

HANDLE Open(const fs::path& path, DWORD disposition) {
  return CreateFileW(path.u16string().c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                     nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

void Write(HANDLE file, const std::string& text) {
  DWORD written = 0;
  EXPECT_TRUE(WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr));
  EXPECT_EQ(written, text.size());
}

std::string Contents(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST_F(SystemFiles, OpenAlwaysKeepsTheContentsAndEachHandleAppendsAtTheEnd) {
  const fs::path log = dir_ / "Trace.log";
  SetLastError(12345);
  HANDLE one = Open(log, OPEN_ALWAYS);
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  Write(one, "first\r\n");
  ASSERT_TRUE(CloseHandle(one));
  one = Open(log, OPEN_ALWAYS);
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  HANDLE two = Open(log, OPEN_ALWAYS);
  EXPECT_EQ(SetFilePointer(one, 0, nullptr, FILE_END), 7u);
  Write(one, "a1\r\n");
  for (const auto& [handle, line] : {std::pair{two, "b1\r\n"}, std::pair{one, "a2\r\n"}, std::pair{two, "b2\r\n"}}) {
    SetFilePointer(handle, 0, nullptr, FILE_END);
    Write(handle, line);
  }
  EXPECT_TRUE(CloseHandle(one));
  EXPECT_TRUE(CloseHandle(two));
  EXPECT_EQ(Contents(log), "first\r\na1\r\nb1\r\na2\r\nb2\r\n");
}

TEST_F(SystemFiles, CreationDispositions) {
  const fs::path existing = dir_ / "existing.bin", missing = dir_ / "missing";
  std::ofstream(existing, std::ios::binary) << "old";
  const std::tuple<const char*, fs::path, DWORD, bool, DWORD, const char*> cases[] = {
      // what, path, disposition, opens, last error, contents of `existing` after
      {"CREATE_NEW on an existing file", existing, CREATE_NEW, false, ERROR_ALREADY_EXISTS, "old"},
      {"OPEN_EXISTING on a missing file", missing, OPEN_EXISTING, false, ERROR_FILE_NOT_FOUND, "old"},
      {"OPEN_ALWAYS in a missing folder", missing / "f", OPEN_ALWAYS, false, ERROR_PATH_NOT_FOUND, "old"},
      {"a folder is no file", dir_, OPEN_EXISTING, false, ERROR_ACCESS_DENIED, "old"},
      {"CREATE_ALWAYS empties an existing file", existing, CREATE_ALWAYS, true, ERROR_ALREADY_EXISTS, ""},
  };
  for (const auto& [what, path, disposition, opens, error, after] : cases) {
    SetLastError(12345);
    HANDLE file = Open(path, disposition);
    EXPECT_EQ(file != INVALID_HANDLE_VALUE, opens) << what;
    EXPECT_EQ(GetLastError(), error) << what;
    EXPECT_TRUE(file == INVALID_HANDLE_VALUE || CloseHandle(file)) << what;
    EXPECT_EQ(Contents(existing), after) << what;
  }
}

TEST_F(SystemFiles, ReadAndMoveThePointerBeyondThirtyTwoBits) {
  HANDLE file = Open(dir_ / "digits", CREATE_ALWAYS);
  Write(file, "0123456789");
  char buffer[16] = {};
  DWORD read = 99;
  EXPECT_EQ(SetFilePointer(file, -5, nullptr, FILE_CURRENT), 5u);
  ASSERT_TRUE(ReadFile(file, buffer, sizeof buffer, &read, nullptr));
  EXPECT_EQ(std::string(buffer, read), "56789");
  LONG high = 1;  // 0x1'0000'0010 needs the high part; asking for the position without it fails
  EXPECT_EQ(SetFilePointer(file, 0x10, &high, FILE_BEGIN), 0x10u);
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_END), 10u);
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_TRUE(CloseHandle(file));

  int not_a_file = 0;
  for (const HANDLE bogus : {HANDLE{&not_a_file}, INVALID_HANDLE_VALUE, HANDLE{nullptr}, file}) {
    SetLastError(0);
    EXPECT_FALSE(CloseHandle(bogus)) << "only live handles are accepted";
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  }
  EXPECT_FALSE(WriteFile(file, "x", 1, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST_F(SystemFiles, FoldersAndNamesLandAsUtf8) {
  EXPECT_TRUE(CreateDirectoryW((dir_ / "Log").u16string().c_str(), nullptr));
  EXPECT_TRUE(fs::is_directory(dir_ / "Log"));
  EXPECT_FALSE(CreateDirectoryA((dir_ / "Log").string().c_str(), nullptr));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_FALSE(CreateDirectoryA((dir_ / "missing" / "Log").string().c_str(), nullptr));
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);

  // "résumé °.txt" in Windows-1252 bytes.
  const std::string name = (dir_ / "r\xE9sum\xE9 \xB0.txt").string();
  HANDLE file = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  Write(file, "data");
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_EQ(Contents(dir_ / u8"résumé °.txt"), "data");
  std::FILE* stream = OpenFileAnsi(name.c_str(), "rb");
  ASSERT_NE(stream, nullptr);
  std::fclose(stream);
  EXPECT_EQ(OpenFileAnsi((dir_ / "missing").string().c_str(), "rb"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);

  EXPECT_TRUE(CloseHandle(Open(dir_ / u"\u4E2D\u6587.txt", CREATE_NEW)));
  EXPECT_TRUE(fs::exists(dir_ / u8"中文.txt"));
  // An unpaired surrogate has no UTF-8 form: refused rather than written under some other name.
  const std::u16string broken = dir_.u16string() + u"/x" + char16_t{0xD800};
  EXPECT_EQ(CreateFileW(broken.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr), INVALID_HANDLE_VALUE);
}

int FunctionOfTheTestProgram() { return 0; }

TEST(ModuleFileName, ExecutableAndLibrary) {
  const auto module_of = [](auto* address) { return reinterpret_cast<HMODULE>(reinterpret_cast<void*>(address)); };
  char16_t path[4096] = {};
  const DWORD length = GetModuleFileNameW(nullptr, path, 4096);
  const std::u16string executable(path, length);
  EXPECT_EQ(fs::path(executable), fs::read_symlink("/proc/self/exe"));
  ASSERT_EQ(GetModuleFileNameW(module_of(&FunctionOfTheTestProgram), path, 4096), length);
  EXPECT_EQ(std::u16string(path, length), executable);
  const DWORD library_length = GetModuleFileNameW(module_of(&GetModuleFileNameW), path, 4096);
  EXPECT_TRUE(std::u16string(path, library_length).ends_with(u"/libondrel_platform.so"));
  char16_t small[5] = {u'x', u'x', u'x', u'x', u'x'};
  EXPECT_EQ(GetModuleFileNameW(nullptr, small, 5), 5u);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(std::u16string(small), executable.substr(0, 4)) << "cut to fit with its null";
}

TEST(ModuleFileName, HostNamedExecutableStandsForTheProcessOnes) {
  const auto module_of = [](auto* address) { return reinterpret_cast<HMODULE>(reinterpret_cast<void*>(address)); };
  char16_t path[4096] = {};
  ondrel::platform::SetHostExecutablePath("/opt/host/\u00e9/module.so");
  const DWORD named = GetModuleFileNameW(nullptr, path, 4096);
  const std::u16string answer(path, named);
  const DWORD of_program = GetModuleFileNameW(module_of(&FunctionOfTheTestProgram), path, 4096);
  const std::u16string program_answer(path, of_program);
  const DWORD library_length = GetModuleFileNameW(module_of(&GetModuleFileNameW), path, 4096);
  const std::u16string library(path, library_length);
  ondrel::platform::SetHostExecutablePath("");
  EXPECT_EQ(answer, u"/opt/host/\u00e9/module.so");
  EXPECT_EQ(program_answer, answer);
  EXPECT_TRUE(library.ends_with(u"/libondrel_platform.so")) << "other modules keep their own paths";
  const DWORD restored = GetModuleFileNameW(nullptr, path, 4096);
  EXPECT_EQ(fs::path(std::u16string(path, restored)), fs::read_symlink("/proc/self/exe"));
}

TEST(Clock, SystemTimeIsUtcWithMillisecondsAndWeekday) {
  using namespace std::chrono;
  const auto before = floor<milliseconds>(system_clock::now());
  SYSTEMTIME t{};
  GetSystemTime(&t);
  const auto after = floor<milliseconds>(system_clock::now());
  const auto instant = sys_days(year{t.wYear} / t.wMonth / t.wDay) + hours{t.wHour} + minutes{t.wMinute} +
                       seconds{t.wSecond} + milliseconds{t.wMilliseconds};
  EXPECT_LE(before, instant);
  EXPECT_LE(instant, after);
  EXPECT_EQ(t.wDayOfWeek, weekday(floor<days>(instant)).c_encoding());
}

}  // namespace
