// The frame every interface method runs in: argument checks that answer E_POINTER, and one handler
// pair that turns a failure of the work into E_FAIL, each with error information for the caller.
#pragma once

#include <exception>

#include "foundation/exceptions.h"
#include "ondrel/platform/bstr.h"
#include "ondrel/platform/com.h"

namespace entry {

inline constexpr char16_t kInvalidWindow[] = u"The Ondrel received an invalid window handle.";
inline constexpr char16_t kInvalidPointer[] = u"The Ondrel received an invalid pointer.";

// One check of a method's argument: the value, and the text that reports it null.
struct ArgumentCheck {
  const void* value;
  const char16_t* text;
};
// A window handle, reported as invalid when null; a pointer, likewise.
inline ArgumentCheck WindowHandle(const void* handle) { return {handle, kInvalidWindow}; }
inline ArgumentCheck Pointer(const void* pointer) { return {pointer, kInvalidPointer}; }

// Installs error information for the calling thread: the interface `iid`, the program identifier of
// `clsid` as its source (none when the class has none) and `text` as its description. Returns
// `code`, or DISP_E_EXCEPTION (0x80020009) when `code` is 0. Error information that can't be made
// is left out; the code is returned all the same.
HRESULT ReportError(REFCLSID clsid, REFIID iid, const char16_t* text, HRESULT code);

// Runs `body` (void()) and answers S_OK; a MyException gives E_FAIL with its serialised text (empty
// when it has none), anything else E_FAIL with "The Ondrel caught an unknown error.". Nothing is
// rolled back: what the body changed before it failed stays changed.
template <class Body>
HRESULT RunFrame(REFCLSID clsid, REFIID iid, Body&& body) {
  try {
    body();
    return S_OK;
  } catch (const MyException& failure) {
    const ondrel::platform::BStr text = ondrel::platform::BStr::Attach(failure.Serialize());
    return ReportError(clsid, iid, text.IsNull() ? u"" : text.Get(), E_FAIL);
  } catch (...) {
    return ReportError(clsid, iid, u"The Ondrel caught an unknown error.", E_FAIL);
  }
}

}  // namespace entry
