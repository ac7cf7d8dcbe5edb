// The core's exceptions and the text forms they take at the interface and in the trace log.
//
// Every failure inside the core travels as a MyException whose message ends with the source file and
// line of the throw ("... File=BufferReader.cpp, Line=42"). A failure that came out of a call on a COM
// object is a SerializableException, which also carries the description that object left in the
// thread's error information. At the interface the exception becomes its serialised text, an
// "<exception Message=\"...\">...</exception>" element nesting the inner failures, which the managed
// host unpacks; the trace log gets the report text, one failure per line, outermost first.
#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "ondrel/platform/bstr.h"
#include "ondrel/platform/com.h"

// Attribute names of the serialised text. Only "Message" is written here; the other two are names the
// managed side may put into a detail text, which the core carries through unread.
inline constexpr char16_t kExceptionMessageKey[] = u"Message";
inline constexpr char16_t kExceptionStackTraceKey[] = u"StackTrace";
inline constexpr char16_t kExceptionSqlErrorsKey[] = u"SqlErrors";

class MyException : public std::exception {
 public:
  // A null message gives an exception whose what() is "Unknown exception".
  explicit MyException(const char* message);
  explicit MyException(const std::string& message);
  // The inner exception is deep-copied: a SerializableException in its chain is copied as a plain
  // MyException and loses its detail text.
  MyException(const std::string& message, const MyException& inner);
  // Wide messages are converted through the ANSI code page.
  explicit MyException(const std::u16string& message);
  MyException(const std::u16string& message, const MyException& inner);
  // Takes the inner exception as it is, without copying, so a SerializableException keeps its details.
  MyException(const std::string& message, std::unique_ptr<MyException> inner);
  // Copies the message and deep-copies the chain (SerializableExceptions in it become plain ones).
  MyException(const MyException& other);
  MyException(MyException&& other) noexcept = default;
  MyException& operator=(const MyException&) = delete;
  MyException& operator=(MyException&&) = delete;
  ~MyException() override;

  const char* what() const noexcept override;
  // The serialised text as a new BSTR that the caller frees. Throws
  // ondrel::platform::HResultException(E_OUTOFMEMORY) when the BSTR can't be allocated.
  virtual BSTR Serialize() const;
  // Text that belongs beside the message; always empty for a MyException.
  virtual std::u16string Details() const;

  // The inner exception, or null.
  const MyException* Inner() const { return inner_.get(); }

 private:
  std::optional<std::string> message_;
  std::unique_ptr<MyException> inner_;
};

class SerializableException : public MyException {
 public:
  // Asks `object` for the error description it left for a failed call on interface `iid`: only when
  // the object says through ISupportErrorInfo that it supports error information for `iid`, and only
  // from GetErrorInfo. Any failed step is silent and leaves the detail text empty. Must run on the
  // thread where the call failed.
  SerializableException(const std::string& message, IUnknown* object, REFIID iid);
  // A detail text already in hand, for example from an outside object's own failure report.
  SerializableException(const std::string& message, std::u16string detail);

  // The detail text as it stands (it is already serialised text, made by the other side of the call),
  // or a null BSTR when it is empty.
  BSTR Serialize() const override;
  std::u16string Details() const override;

 private:
  std::u16string detail_;
};

// The trace log's form of a failure chain: each message with its details, outermost first, separated by
// CR LF, with no trailing line break.
std::u16string ReportText(const MyException& exception);

// The last error description that `object` left for a failed call on interface `iid`, or nothing.
std::optional<std::u16string> LastErrorDescription(IUnknown* object, REFIID iid);

// The throw idiom: formats "%s File=%s, Line=%d" (message, bare source file name, line) into a buffer
// of 1024 characters and throws MyException with it.
[[noreturn]] void ThrowFormatted(const char* message, const char* sourceFile, int line);
// The same for a message with its own placeholders, first formatted into a buffer of `bufferSize`
// characters (256 or 1024 as each message needs).
[[noreturn]] void ThrowFormattedMessage(std::size_t bufferSize, const char* sourceFile, int line,
                                        const char* format, ...) __attribute__((format(printf, 4, 5)));
// The COM failure idiom: "COM method failed. HRESULT=%x, File=%s, Line=%d", thrown as a
// SerializableException with the object's error description.
[[noreturn]] void ThrowComFailure(HRESULT hr, IUnknown* object, REFIID iid, const char* sourceFile, int line);

// Called inside a catch handler: throws `message` formatted as ThrowFormatted does, with the failure
// being handled as its inner exception when that is a MyException (any other failure is dropped).
[[noreturn]] void RethrowFormatted(const char* message, const char* sourceFile, int line);

#define THROW_MY_EXCEPTION(message) ::ThrowFormatted((message), __FILE__, __LINE__)
#define RETHROW_MY_EXCEPTION(message) ::RethrowFormatted((message), __FILE__, __LINE__)
#define THROW_MY_EXCEPTION_F(bufferSize, format, ...) \
  ::ThrowFormattedMessage((bufferSize), __FILE__, __LINE__, (format), __VA_ARGS__)
// Evaluates a call on a COM interface pointer and throws the COM failure idiom when it fails.
#define CHECK_COM_CALL(call, object, iid)                                           \
  do {                                                                              \
    const HRESULT checkComResult_ = (call);                                         \
    if (FAILED(checkComResult_))                                                    \
      ::ThrowComFailure(checkComResult_, (object), (iid), __FILE__, __LINE__);     \
  } while (false)

// Checked unsigned 32-bit arithmetic for sizes that come from outside: S_OK and the result, or
// INTSAFE_E_ARITHMETIC_OVERFLOW (0x80070216) with *result untouched.
HRESULT ULongAdd(ULONG augend, ULONG addend, ULONG* result);
HRESULT ULongMult(ULONG multiplicand, ULONG multiplier, ULONG* result);
