// BSTR: UTF-16 text behind a 4-byte byte-length prefix, null-terminated, allocated with malloc.
// A null BSTR is distinct from an empty one: the core's interfaces tell them apart (a null file name
// means the default one, an empty name something else), so no function here turns one into the other.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "ondrel/platform/wintypes.h"

using BSTR = OLECHAR*;

// A new BSTR holding the null-terminated `psz`; null for a null `psz` or when memory runs out.
BSTR SysAllocString(const OLECHAR* psz);
// A new BSTR of `ui` characters copied from `strIn`, or zero-filled when `strIn` is null; null when
// memory runs out. The text may hold embedded nulls.
BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui);
// A new BSTR of `len` bytes copied from `psz` (zero-filled when null), with a two-byte null after them.
BSTR SysAllocStringByteLen(LPCSTR psz, UINT len);
// Replaces *pbstr with what SysAllocString(psz) or SysAllocStringLen(psz, len) makes (so a null `psz`
// gives a null BSTR and a zero-filled one respectively), freeing the old text; `psz` may point into
// *pbstr. FALSE, *pbstr unchanged, when `pbstr` is null or memory runs out.
INT SysReAllocString(BSTR* pbstr, const OLECHAR* psz);
INT SysReAllocStringLen(BSTR* pbstr, const OLECHAR* psz, UINT len);
// Frees a BSTR; a null BSTR is allowed.
void SysFreeString(BSTR bstrString);
// Characters and bytes of a BSTR, not counting the terminating null; 0 for a null BSTR.
UINT SysStringLen(BSTR pbstr);
UINT SysStringByteLen(BSTR bstr);

namespace ondrel::platform {

// An owned BSTR, freed on destruction (the role of CComBSTR). Null and empty stay distinct.
class BStr {
 public:
  BStr() = default;
  // Always a BSTR, empty for an empty view. Throws HResultException(E_OUTOFMEMORY) when it can't be
  // allocated, rather than holding a null BSTR that would mean something else.
  explicit BStr(std::u16string_view text);
  // Throws HResultException(E_OUTOFMEMORY) when the copy can't be allocated.
  BStr(const BStr& other);
  BStr(BStr&& other) noexcept : b_(std::exchange(other.b_, nullptr)) {}
  ~BStr() { SysFreeString(b_); }
  BStr& operator=(BStr other) noexcept {
    std::swap(b_, other.b_);
    return *this;
  }

  // Takes ownership of an allocated BSTR.
  static BStr Attach(BSTR b) {
    BStr result;
    result.b_ = b;
    return result;
  }
  BSTR Get() const { return b_; }
  // For an out-parameter: frees what is held and returns the address to fill.
  BSTR* Out() {
    SysFreeString(std::exchange(b_, nullptr));
    return &b_;
  }
  // Gives up ownership.
  BSTR Detach() { return std::exchange(b_, nullptr); }
  bool IsNull() const { return b_ == nullptr; }
  UINT Length() const { return SysStringLen(b_); }
  std::u16string_view View() const { return b_ ? std::u16string_view(b_, SysStringLen(b_)) : std::u16string_view(); }
  std::u16string ToString() const { return std::u16string(View()); }

 private:
  BSTR b_ = nullptr;
};

}  // namespace ondrel::platform
