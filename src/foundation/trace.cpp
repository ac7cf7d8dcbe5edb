#include "foundation/trace.h"

#include <cstdarg>
#include <cstdio>

#include "foundation/exceptions.h"
#include "foundation/file_utils.h"
#include "foundation/text_utils.h"
#include "ondrel/platform/system.h"

Trace& Trace::Instance() {
  // Never destroyed: destructors of other process-wide objects may still trace while the process ends.
  static Trace* const instance = new Trace();
  return *instance;
}

Trace::~Trace() {
  if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
}

int Trace::Level() const { return level_.load(); }

bool Trace::IsOpen() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return file_ != INVALID_HANDLE_VALUE;
}

std::u16string Trace::FileName() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return fileName_;
}

void Trace::Open(const std::u16string& name, int level) {
  if (IsOpen()) return;
  level_.store(level);
  {
    const std::lock_guard<std::mutex> guard(lock_);
    // Two first opens racing each other: the one that got here first has the file.
    if (file_ != INVALID_HANDLE_VALUE) return;
    std::u16string path = name.empty() ? std::u16string(u"Trace.log") : name;
    if (path.find(u'/') == std::u16string::npos) {
      const std::u16string hostFolder = ModuleFolder();
      if (!hostFolder.empty()) {
        const std::u16string logFolder = hostFolder + u"Log";
        // An existing folder is what we want, so the answer does not matter.
        CreateDirectoryW(logFolder.c_str(), nullptr);
        path = logFolder + u"/" + path;
      }
    }
    fileName_ = path;
    file_ = CreateFileW(fileName_.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                        FILE_ATTRIBUTE_NORMAL, nullptr);
  }
  char text[128];
  std::snprintf(text, sizeof text, "The unmanaged trace level is: %d", level);
  Write(std::string(text), 1);
}

void Trace::Write(const std::string& text, int level) {
  const std::lock_guard<std::mutex> guard(lock_);
  if (level > level_.load() || file_ == INVALID_HANDLE_VALUE) return;
  SYSTEMTIME now{};
  GetLocalTime(&now);
  std::string line = TimestampMark(now);
  line += " --- ";
  line += text;
  line += "\r\n";
  // Another process may append to the same file, so each line goes to the end as it is now. The high
  // part is asked for so that a log past 4 GiB still finds its end.
  LONG high = 0;
  SetFilePointer(file_, 0, &high, FILE_END);
  WriteFile(file_, line.data(), static_cast<DWORD>(line.size()), nullptr, nullptr);
}

void Trace::Write(const std::u16string& text, int level) { Write(ToNarrow(text), level); }

void Trace::Write(const MyException& exception, int level) { Write(ReportText(exception), level); }

void Trace::WriteFormatted(int level, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  Write(std::string(text), level);
}

std::string Trace::TimestampMark(const SYSTEMTIME& localTime) {
  char mark[64];
  std::snprintf(mark, sizeof mark, ">>> %04d-%02d-%02dT%02d:%02d:%02d:%03d", localTime.wYear, localTime.wMonth,
                localTime.wDay, localTime.wHour, localTime.wMinute, localTime.wSecond, localTime.wMilliseconds);
  return mark;
}
