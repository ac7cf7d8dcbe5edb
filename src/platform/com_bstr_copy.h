// Exact duplication of a BSTR, shared by the BSTR wrapper, the error object and SAFEARRAYs.
#pragma once

#include "ondrel/platform/bstr.h"

namespace ondrel::platform::detail {

// A new BSTR with the same bytes as `b`, odd byte counts and embedded nulls included. Null stays null;
// `copy` is null and the result false only when memory runs out.
inline bool CopyBStr(BSTR b, BSTR* copy) {
  if (b == nullptr) {
    *copy = nullptr;
    return true;
  }
  *copy = SysAllocStringByteLen(reinterpret_cast<LPCSTR>(b), SysStringByteLen(b));
  return *copy != nullptr;
}

}  // namespace ondrel::platform::detail
