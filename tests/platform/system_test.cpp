#include "ondrel/platform/system.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <utility>

namespace {

namespace fs = std::filesystem;

class SystemFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device random;
    for (int attempt = 0; attempt < 100 && dir_.empty(); ++attempt) {
      const fs::path candidate = fs::temp_directory_path() / ("ondrel-system-test-" + std::to_string(random()));
      if (fs::create_directory(candidate)) dir_ = candidate;
    }
    ASSERT_FALSE(dir_.empty());
  }
  void TearDown() override {
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
  }

  fs::path dir_;
};

std::u16string Wide(const fs::path& path) { return path.u16string(); }

HANDLE Open(const fs::path& path, DWORD disposition, DWORD access = GENERIC_READ | GENERIC_WRITE) {
  return CreateFileW(Wide(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, disposition,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

void Write(HANDLE file, const std::string& text) {
  DWORD written = 0;
  ASSERT_TRUE(WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr));
  EXPECT_EQ(written, text.size());
}

std::string Contents(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST_F(SystemFiles, OpenAlwaysKeepsTheContentsAndAppendsAtTheEnd) {
  const fs::path log = dir_ / "Trace.log";
  SetLastError(12345);
  HANDLE file = Open(log, OPEN_ALWAYS, GENERIC_WRITE);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  Write(file, "first\r\n");
  ASSERT_TRUE(CloseHandle(file));

  file = Open(log, OPEN_ALWAYS, GENERIC_WRITE);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_END), 7u);
  Write(file, "second\r\n");
  ASSERT_TRUE(CloseHandle(file));
  EXPECT_EQ(Contents(log), "first\r\nsecond\r\n");
}

TEST_F(SystemFiles, HandlesSharingAFileEachAppendAtTheCurrentEnd) {
  const fs::path log = dir_ / "shared.log";
  HANDLE one = Open(log, OPEN_ALWAYS, GENERIC_WRITE);
  HANDLE two = Open(log, OPEN_ALWAYS, GENERIC_WRITE);
  ASSERT_NE(one, INVALID_HANDLE_VALUE);
  ASSERT_NE(two, INVALID_HANDLE_VALUE);
  const std::pair<HANDLE, const char*> appends[] = {{one, "a1\r\n"}, {two, "b1\r\n"}, {one, "a2\r\n"}, {two, "b2\r\n"}};
  for (const auto& [file, line] : appends) {
    SetFilePointer(file, 0, nullptr, FILE_END);
    Write(file, line);
  }
  EXPECT_TRUE(CloseHandle(one));
  EXPECT_TRUE(CloseHandle(two));
  EXPECT_EQ(Contents(log), "a1\r\nb1\r\na2\r\nb2\r\n");
}

TEST_F(SystemFiles, CreationDispositions) {
  const fs::path existing = dir_ / "existing.bin";
  std::ofstream(existing, std::ios::binary) << "old contents";
  struct Case {
    const char* what;
    fs::path path;
    DWORD disposition;
    bool opens;
    DWORD error;
    const char* contents_after;  // of `existing`
  };
  const Case cases[] = {
      {"CREATE_NEW on an existing file", existing, CREATE_NEW, false, ERROR_ALREADY_EXISTS, "old contents"},
      {"OPEN_EXISTING keeps the contents", existing, OPEN_EXISTING, true, ERROR_SUCCESS, "old contents"},
      {"OPEN_EXISTING on a missing file", dir_ / "missing", OPEN_EXISTING, false, ERROR_FILE_NOT_FOUND, "old contents"},
      {"OPEN_ALWAYS in a missing folder", dir_ / "no" / "file", OPEN_ALWAYS, false, ERROR_PATH_NOT_FOUND,
       "old contents"},
      {"a folder is no file", dir_, OPEN_EXISTING, false, ERROR_ACCESS_DENIED, "old contents"},
      {"TRUNCATE_EXISTING on a missing file", dir_ / "missing", TRUNCATE_EXISTING, false, ERROR_FILE_NOT_FOUND,
       "old contents"},
      {"CREATE_ALWAYS empties an existing file", existing, CREATE_ALWAYS, true, ERROR_ALREADY_EXISTS, ""},
      {"CREATE_NEW on a new file", dir_ / "new.bin", CREATE_NEW, true, ERROR_SUCCESS, ""},
  };
  for (const Case& c : cases) {
    SetLastError(12345);
    HANDLE file = Open(c.path, c.disposition);
    EXPECT_EQ(file != INVALID_HANDLE_VALUE, c.opens) << c.what;
    EXPECT_EQ(GetLastError(), c.error) << c.what;
    if (file != INVALID_HANDLE_VALUE) {
      EXPECT_TRUE(CloseHandle(file)) << c.what;
    }
    EXPECT_EQ(Contents(existing), c.contents_after) << c.what;
  }
}

TEST_F(SystemFiles, ReadAndMoveThePointer) {
  const fs::path path = dir_ / "digits";
  HANDLE file = Open(path, CREATE_ALWAYS);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  Write(file, "0123456789");
  char buffer[16] = {};
  DWORD read = 99;
  EXPECT_EQ(SetFilePointer(file, 3, nullptr, FILE_BEGIN), 3u);
  ASSERT_TRUE(ReadFile(file, buffer, 4, &read, nullptr));
  EXPECT_EQ(std::string(buffer, read), "3456");
  EXPECT_EQ(SetFilePointer(file, -2, nullptr, FILE_CURRENT), 5u);
  ASSERT_TRUE(ReadFile(file, buffer, sizeof buffer, &read, nullptr));
  EXPECT_EQ(std::string(buffer, read), "56789");
  ASSERT_TRUE(ReadFile(file, buffer, sizeof buffer, &read, nullptr));  // at the end: no failure
  EXPECT_EQ(read, 0u);

  EXPECT_EQ(SetFilePointer(file, -100, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  EXPECT_NE(GetLastError(), ERROR_SUCCESS);
  // 0x1'0000'0010 needs the high part; asking without it fails.
  LONG high = 1;
  EXPECT_EQ(SetFilePointer(file, 0x10, &high, FILE_BEGIN), 0x10u);
  EXPECT_EQ(high, 1);
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_END), 10u);
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_TRUE(CloseHandle(file));

  file = Open(path, OPEN_EXISTING, GENERIC_WRITE);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_FALSE(ReadFile(file, buffer, 1, &read, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(CloseHandle(file));
}

TEST_F(SystemFiles, OnlyLiveHandlesAreAccepted) {
  int not_a_file = 0;
  for (const HANDLE bogus : {HANDLE{&not_a_file}, INVALID_HANDLE_VALUE, HANDLE{nullptr}}) {
    SetLastError(0);
    EXPECT_FALSE(CloseHandle(bogus));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  }
  HANDLE file = Open(dir_ / "f", CREATE_NEW);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  ASSERT_TRUE(CloseHandle(file));
  SetLastError(0);
  EXPECT_FALSE(CloseHandle(file));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  DWORD written = 99;
  EXPECT_FALSE(WriteFile(file, "x", 1, &written, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(written, 0u);
}

TEST_F(SystemFiles, CreateDirectory) {
  const fs::path log = dir_ / "Log";
  EXPECT_TRUE(CreateDirectoryW(Wide(log).c_str(), nullptr));
  EXPECT_TRUE(fs::is_directory(log));
  SetLastError(0);
  EXPECT_FALSE(CreateDirectoryA(log.string().c_str(), nullptr));
  EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
  EXPECT_EQ(Open(log, OPEN_EXISTING, GENERIC_READ), INVALID_HANDLE_VALUE);  // a folder is no file
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  SetLastError(0);
  EXPECT_FALSE(CreateDirectoryA((dir_ / "missing" / "Log").string().c_str(), nullptr));
  EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

TEST_F(SystemFiles, NarrowNamesAreWindows1252AndLandAsUtf8) {
  // "résumé °.txt" and "€uro" in Windows-1252 bytes.
  const std::string name = (dir_ / "r\xE9sum\xE9 \xB0.txt").string();
  HANDLE file = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  Write(file, "data");
  ASSERT_TRUE(CloseHandle(file));
  EXPECT_EQ(Contents(dir_ / u8"résumé °.txt"), "data");
  EXPECT_TRUE(CreateDirectoryA((dir_ / "\x80uro").string().c_str(), nullptr));
  EXPECT_TRUE(fs::is_directory(dir_ / u8"€uro"));

  std::FILE* stream = OpenFileAnsi(name.c_str(), "rb");
  ASSERT_NE(stream, nullptr);
  char buffer[8] = {};
  EXPECT_EQ(std::fread(buffer, 1, sizeof buffer, stream), 4u);
  std::fclose(stream);
  SetLastError(0);
  EXPECT_EQ(OpenFileAnsi((dir_ / "missing").string().c_str(), "rb"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(SystemFiles, WideNamesLandAsUtf8) {
  HANDLE file = Open(dir_ / u"\u4E2D\u6587.txt", CREATE_NEW);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  ASSERT_TRUE(CloseHandle(file));
  EXPECT_TRUE(fs::exists(dir_ / u8"中文.txt"));
  // An unpaired surrogate has no UTF-8 form: refused rather than written under some other name.
  const std::u16string broken = Wide(dir_) + u"/x" + char16_t{0xD800};
  SetLastError(0);
  EXPECT_EQ(CreateFileW(broken.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_NE(GetLastError(), ERROR_SUCCESS);
}

int FunctionOfTheTestProgram() { return 0; }

TEST(ModuleFileName, ExecutableAndLibrary) {
  char16_t path[4096] = {};
  const DWORD length = GetModuleFileNameW(nullptr, path, 4096);
  ASSERT_GT(length, 0u);
  const std::u16string executable(path, length);
  EXPECT_EQ(executable.front(), u'/');
  EXPECT_TRUE(executable.ends_with(u"/platform_tests"));
  EXPECT_TRUE(fs::is_regular_file(fs::path(executable)));

  const auto module_of = [](auto* address) { return reinterpret_cast<HMODULE>(reinterpret_cast<void*>(address)); };
  ASSERT_EQ(GetModuleFileNameW(module_of(&FunctionOfTheTestProgram), path, 4096), length);
  EXPECT_EQ(std::u16string(path, length), executable);
  const DWORD library_length = GetModuleFileNameW(module_of(&GetModuleFileNameW), path, 4096);
  EXPECT_TRUE(std::u16string(path, library_length).ends_with(u"/libondrel_platform.so"));

  char narrow[4096] = {};
  ASSERT_EQ(GetModuleFileNameA(nullptr, narrow, 4096), length);
  EXPECT_EQ(fs::path(narrow).u16string(), executable);

  // Cut to fit: four characters and the null, the cut reported.
  char16_t small[5] = {u'x', u'x', u'x', u'x', u'x'};
  SetLastError(0);
  EXPECT_EQ(GetModuleFileNameW(nullptr, small, 5), 5u);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(std::u16string(small), executable.substr(0, 4));

  int on_the_stack = 0;
  EXPECT_EQ(GetModuleFileNameW(module_of(&on_the_stack), path, 4096), 0u);
}

// SYSTEMTIME as a point in time, through the standard calendar.
std::chrono::sys_time<std::chrono::milliseconds> AsTimePoint(const SYSTEMTIME& t) {
  using namespace std::chrono;
  const sys_days day = year{t.wYear} / t.wMonth / t.wDay;
  return day + hours{t.wHour} + minutes{t.wMinute} + seconds{t.wSecond} + milliseconds{t.wMilliseconds};
}

TEST(Clock, SystemTimeIsUtcWithMillisecondsAndWeekday) {
  using namespace std::chrono;
  const auto before = floor<milliseconds>(system_clock::now());
  SYSTEMTIME t{};
  GetSystemTime(&t);
  const auto after = floor<milliseconds>(system_clock::now());
  EXPECT_LE(before, AsTimePoint(t));
  EXPECT_LE(AsTimePoint(t), after);
  EXPECT_EQ(t.wDayOfWeek, weekday(floor<days>(AsTimePoint(t))).c_encoding());
}

TEST(Clock, LocalTimeMatchesTheCLibrary) {
  using namespace std::chrono;
  for (int attempt = 0; attempt < 5; ++attempt) {
    const auto before = system_clock::now();
    SYSTEMTIME t{};
    GetLocalTime(&t);
    const auto after = system_clock::now();
    const std::time_t second = system_clock::to_time_t(before);
    if (second != system_clock::to_time_t(after)) continue;  // a second boundary passed: try again
    const std::tm expected = *std::localtime(&second);
    EXPECT_EQ(t.wYear, expected.tm_year + 1900);
    EXPECT_EQ(t.wMonth, expected.tm_mon + 1);
    EXPECT_EQ(t.wDay, expected.tm_mday);
    EXPECT_EQ(t.wDayOfWeek, expected.tm_wday);
    EXPECT_EQ(t.wHour, expected.tm_hour);
    EXPECT_EQ(t.wMinute, expected.tm_min);
    EXPECT_EQ(t.wSecond, expected.tm_sec);
    EXPECT_LE(duration_cast<milliseconds>(before.time_since_epoch()).count() % 1000, t.wMilliseconds);
    EXPECT_LE(t.wMilliseconds, duration_cast<milliseconds>(after.time_since_epoch()).count() % 1000);
    return;
  }
  FAIL() << "no attempt fell within one second";
}

TEST(LastError, IsKeptPerThread) {
  SetLastError(ERROR_ACCESS_DENIED);
  DWORD seen_by_other_thread = 99;
  std::thread([&seen_by_other_thread] {
    seen_by_other_thread = GetLastError();
    SetLastError(ERROR_FILE_NOT_FOUND);
  }).join();
  EXPECT_EQ(seen_by_other_thread, ERROR_SUCCESS);
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
}

}  // namespace
