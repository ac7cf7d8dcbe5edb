#include "foundation/exceptions.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>
#include <vector>

#include "foundation/text_utils.h"
#include "ondrel/platform/errorinfo.h"
#include "ondrel/platform/hresult_exception.h"

namespace {

using ondrel::platform::BStr;
using ondrel::platform::ComPtr;
using ondrel::platform::HResultException;

// The messages name the source file alone, without the folders of the build machine.
const char* BareFileName(const char* path) {
  if (path == nullptr) return "";
  const char* slash = std::strrchr(path, '/');
  return slash != nullptr ? slash + 1 : path;
}

BSTR AllocateBstr(std::u16string_view text) {
  BSTR result = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  if (result == nullptr) throw HResultException(E_OUTOFMEMORY);
  return result;
}

}  // namespace

MyException::MyException(const char* message) {
  if (message != nullptr) message_ = message;
}

MyException::MyException(const std::string& message) : message_(message) {}

MyException::MyException(const std::string& message, const MyException& inner)
    : message_(message), inner_(std::make_unique<MyException>(inner)) {}

MyException::MyException(const std::u16string& message) : message_(ToNarrow(message)) {}

MyException::MyException(const std::u16string& message, const MyException& inner)
    : message_(ToNarrow(message)), inner_(std::make_unique<MyException>(inner)) {}

MyException::MyException(const std::string& message, std::unique_ptr<MyException> inner)
    : message_(message), inner_(std::move(inner)) {}

// Constructing a MyException from the inner one slices a SerializableException on purpose: a copied
// chain carries messages only.
MyException::MyException(const MyException& other)
    : std::exception(other),
      message_(other.what()),
      inner_(other.inner_ ? std::make_unique<MyException>(*other.inner_) : nullptr) {}

MyException::~MyException() = default;

const char* MyException::what() const noexcept {
  return message_ ? message_->c_str() : "Unknown exception";
}

BSTR MyException::Serialize() const {
  std::u16string text;
  try {
    text = u"<exception ";
    text += kExceptionMessageKey;
    text += u"=\"";
    text += ToWide(what());
    text += u"\">";
    if (inner_) {
      const BStr inner = BStr::Attach(inner_->Serialize());
      text += inner.View();
    }
    text += u"</exception>";
  } catch (const std::bad_alloc&) {
    throw HResultException(E_OUTOFMEMORY);
  }
  return AllocateBstr(text);
}

std::u16string MyException::Details() const { return std::u16string(); }

SerializableException::SerializableException(const std::string& message, IUnknown* object, REFIID iid)
    : MyException(message) {
  if (std::optional<std::u16string> description = LastErrorDescription(object, iid))
    detail_ = std::move(*description);
}

SerializableException::SerializableException(const std::string& message, std::u16string detail)
    : MyException(message), detail_(std::move(detail)) {}

BSTR SerializableException::Serialize() const {
  if (detail_.empty()) return nullptr;
  return AllocateBstr(detail_);
}

std::u16string SerializableException::Details() const { return detail_; }

std::u16string ReportText(const MyException& exception) {
  std::u16string text = ToWide(exception.what());
  const std::u16string details = exception.Details();
  if (!details.empty()) {
    text += u"\r\n";
    text += details;
  }
  if (const MyException* inner = exception.Inner()) {
    const std::u16string innerText = ReportText(*inner);
    if (!innerText.empty()) {
      text += u"\r\n";
      text += innerText;
    }
  }
  return text;
}

std::optional<std::u16string> LastErrorDescription(IUnknown* object, REFIID iid) {
  if (object == nullptr) return std::nullopt;
  ComPtr<ISupportErrorInfo> support;
  if (object->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(support.GetAddressOf())) != S_OK ||
      !support)
    return std::nullopt;
  if (support->InterfaceSupportsErrorInfo(iid) != S_OK) return std::nullopt;
  ComPtr<IErrorInfo> info;
  if (GetErrorInfo(0, info.GetAddressOf()) != S_OK || !info) return std::nullopt;
  BStr description;
  if (FAILED(info->GetDescription(description.Out()))) return std::nullopt;
  return description.ToString();
}

namespace {

std::string WithPlace(const char* message, const char* sourceFile, int line) {
  char text[1024];
  std::snprintf(text, sizeof text, "%s File=%s, Line=%d", message != nullptr ? message : "",
                BareFileName(sourceFile), line);
  return text;
}

}  // namespace

void ThrowFormatted(const char* message, const char* sourceFile, int line) {
  throw MyException(WithPlace(message, sourceFile, line));
}

void RethrowFormatted(const char* message, const char* sourceFile, int line) {
  const std::string text = WithPlace(message, sourceFile, line);
  try {
    throw;
  } catch (const MyException& inner) {
    throw MyException(text, inner);
  } catch (...) {
    throw MyException(text);
  }
}

void ThrowFormattedMessage(std::size_t bufferSize, const char* sourceFile, int line, const char* format, ...) {
  std::vector<char> message(bufferSize > 0 ? bufferSize : 1, '\0');
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message.data(), message.size(), format, arguments);
  va_end(arguments);
  ThrowFormatted(message.data(), sourceFile, line);
}

void ThrowComFailure(HRESULT hr, IUnknown* object, REFIID iid, const char* sourceFile, int line) {
  char text[1024];
  std::snprintf(text, sizeof text, "COM method failed. HRESULT=%x, File=%s, Line=%d", static_cast<unsigned>(hr),
                BareFileName(sourceFile), line);
  throw SerializableException(text, object, iid);
}

HRESULT ULongAdd(ULONG augend, ULONG addend, ULONG* result) {
  const ULONGLONG sum = static_cast<ULONGLONG>(augend) + addend;
  if (sum > 0xFFFFFFFFull) return INTSAFE_E_ARITHMETIC_OVERFLOW;
  *result = static_cast<ULONG>(sum);
  return S_OK;
}

HRESULT ULongMult(ULONG multiplicand, ULONG multiplier, ULONG* result) {
  const ULONGLONG product = static_cast<ULONGLONG>(multiplicand) * multiplier;
  if (product > 0xFFFFFFFFull) return INTSAFE_E_ARITHMETIC_OVERFLOW;
  *result = static_cast<ULONG>(product);
  return S_OK;
}
