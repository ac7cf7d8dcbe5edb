// The trace log: one process-wide file of time-stamped lines that every subsystem writes to.
//
// Nothing is written until the log is opened (InitializeTrace at the interface); the first Open wins and
// later ones change nothing. A line is ">>> YYYY-MM-DDTHH:MM:SS:mmm --- text" in local time, ended by
// CR LF; the milliseconds follow a colon. The file is shared with other processes and only ever grows:
// each line is appended at the then end of the file.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "ondrel/platform/wintypes.h"

class MyException;

class Trace {
 public:
  // The process-wide log, created on first use and never destroyed.
  static Trace& Instance();

  // A log of its own, closed until opened; the process uses Instance().
  Trace() = default;
  ~Trace();
  Trace(const Trace&) = delete;
  Trace& operator=(const Trace&) = delete;

  int Level() const;
  bool IsOpen() const;
  // The file name Open settled on (empty before): a name with a '/' is used as it stands; a bare name
  // goes into the folder "Log" beside the host executable, which Open creates; an empty name is
  // "Trace.log". A file that can't be opened is not reported: the log stays closed.
  std::u16string FileName() const;

  // Opens the log once and writes "The unmanaged trace level is: %d" at level 1.
  void Open(const std::u16string& name, int level);

  // Appends one line when the log is open and `level` is not above the log's level. Never throws
  // for a failed write.
  void Write(const std::string& text, int level);
  void Write(const std::u16string& text, int level);
  // Writes the report text of a failure chain.
  void Write(const MyException& exception, int level);
  // printf-style text formatted into a buffer of 1024 characters.
  void WriteFormatted(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

  // The timestamp mark of a line for a given local time: ">>> 2014-03-09T21:05:07:041".
  static std::string TimestampMark(const SYSTEMTIME& localTime);

 private:
  mutable std::mutex lock_;
  HANDLE file_ = INVALID_HANDLE_VALUE;
  std::u16string fileName_;
  // Open stores the level before it takes the lock, and Level reads it without one.
  std::atomic<int> level_{1};
};
