// BSTR storage: one malloc'ed block holding the byte count, the text and a two-byte null; the BSTR
// points at the text, just past the count.
#include "ondrel/platform/bstr.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "com_bstr_copy.h"
#include "ondrel/platform/hresult_exception.h"

namespace {

constexpr std::size_t kPrefixBytes = sizeof(DWORD);
constexpr std::size_t kNullBytes = sizeof(OLECHAR);
// The byte count lives in a 32-bit prefix; the whole block is kept within 32 bits too, so no size
// computed from a BSTR can wrap.
constexpr std::uint64_t kMaxBlockBytes = UINT32_MAX;

char* BlockOf(BSTR b) { return reinterpret_cast<char*>(b) - kPrefixBytes; }

// A new BSTR of `byteLength` bytes copied from `source`, or zeroed when it is null. An odd count is
// followed by three zero bytes so that the character after the last whole one is a null as well.
BSTR AllocateBytes(const void* source, std::uint64_t byteLength) {
  const std::uint64_t textBytes = byteLength + (byteLength & 1);
  if (kPrefixBytes + textBytes + kNullBytes > kMaxBlockBytes) return nullptr;
  const std::size_t blockBytes = kPrefixBytes + static_cast<std::size_t>(textBytes) + kNullBytes;
  auto* block = static_cast<char*>(std::malloc(blockBytes));
  if (block == nullptr) return nullptr;
  const auto prefix = static_cast<DWORD>(byteLength);
  std::memcpy(block, &prefix, kPrefixBytes);
  char* text = block + kPrefixBytes;
  const auto length = static_cast<std::size_t>(byteLength);
  if (source != nullptr)
    std::memcpy(text, source, length);
  else
    std::memset(text, 0, length);
  std::memset(text + length, 0, blockBytes - kPrefixBytes - length);
  return reinterpret_cast<BSTR>(text);
}

// Puts `replacement` in place of *pbstr; FALSE, and *pbstr kept, when it could not be made.
INT Replace(BSTR* pbstr, BSTR replacement, bool made) {
  if (!made) return FALSE;
  SysFreeString(*pbstr);
  *pbstr = replacement;
  return TRUE;
}

}  // namespace

BSTR SysAllocString(const OLECHAR* psz) {
  if (psz == nullptr) return nullptr;
  return AllocateBytes(psz, std::char_traits<OLECHAR>::length(psz) * std::uint64_t{sizeof(OLECHAR)});
}

BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui) {
  return AllocateBytes(strIn, ui * std::uint64_t{sizeof(OLECHAR)});
}

BSTR SysAllocStringByteLen(LPCSTR psz, UINT len) { return AllocateBytes(psz, len); }

// The new text is made before the old is freed, so `psz` may point into *pbstr.
INT SysReAllocString(BSTR* pbstr, const OLECHAR* psz) {
  if (pbstr == nullptr) return FALSE;
  const BSTR replacement = SysAllocString(psz);
  return Replace(pbstr, replacement, replacement != nullptr || psz == nullptr);
}

INT SysReAllocStringLen(BSTR* pbstr, const OLECHAR* psz, UINT len) {
  if (pbstr == nullptr) return FALSE;
  const BSTR replacement = SysAllocStringLen(psz, len);
  return Replace(pbstr, replacement, replacement != nullptr);
}

void SysFreeString(BSTR bstrString) {
  if (bstrString != nullptr) std::free(BlockOf(bstrString));
}

UINT SysStringByteLen(BSTR bstr) {
  if (bstr == nullptr) return 0;
  DWORD prefix;
  std::memcpy(&prefix, BlockOf(bstr), kPrefixBytes);
  return prefix;
}

UINT SysStringLen(BSTR pbstr) { return SysStringByteLen(pbstr) / sizeof(OLECHAR); }

namespace ondrel::platform {

BStr::BStr(std::u16string_view text) {
  // An allocation failure must not pass for a null BSTR, which means something else to the callee.
  if (text.size() > UINT32_MAX) throw HResultException(E_OUTOFMEMORY);
  b_ = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  if (b_ == nullptr) throw HResultException(E_OUTOFMEMORY);
}

BStr::BStr(const BStr& other) {
  if (!detail::CopyBStr(other.b_, &b_)) throw HResultException(E_OUTOFMEMORY);
}

}  // namespace ondrel::platform
