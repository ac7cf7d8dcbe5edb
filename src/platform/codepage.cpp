// Code-page conversion between Windows-1252 or UTF-8 and UTF-16, with the Windows conversions'
// argument rules, sizes and last errors.
#include "ondrel/platform/codepage.h"

#include <array>
#include <climits>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "sys_text.h"

namespace {

// Windows-1252 bytes 0x80 to 0x9F. The five bytes 1252 leaves undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D)
// map to the control characters of the same value, as Windows maps them, so every byte survives a
// round trip. The other bytes are Latin-1: the byte value is the character.
constexpr std::array<char16_t, 32> kCp1252High = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 0x80
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,  // 0x88
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 0x90
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,  // 0x98
};

constexpr char16_t kReplacementCharacter = 0xFFFD;

char16_t Cp1252ToUnicode(unsigned char byte) {
  return byte >= 0x80 && byte < 0xA0 ? kCp1252High[byte - 0x80] : static_cast<char16_t>(byte);
}

std::optional<char> UnicodeToCp1252(char32_t cp) {
  if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) return static_cast<char>(cp);
  for (std::size_t i = 0; i < kCp1252High.size(); ++i) {
    if (kCp1252High[i] == cp) return static_cast<char>(0x80 + i);
  }
  return std::nullopt;
}

bool IsSurrogate(char32_t cp) { return cp >= 0xD800 && cp <= 0xDFFF; }

// Decodes the UTF-8 sequence at the start of `in` (not empty) into `cp` and returns the bytes it
// spans, or 0 when it is malformed: a stray continuation byte, an overlong form, an encoded surrogate,
// a value above U+10FFFF, or a sequence cut short.
std::size_t DecodeUtf8(std::string_view in, char32_t& cp) {
  const auto lead = static_cast<unsigned char>(in[0]);
  if (lead < 0x80) {
    cp = lead;
    return 1;
  }
  std::size_t length = 0;
  char32_t value = 0;
  // The range of the second byte is narrower after some leads; that is what excludes the overlong
  // forms, the surrogates and the values above U+10FFFF.
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    value = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    value = lead & 0x0Fu;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    value = lead & 0x07u;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (in.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(in[i]);
    if (byte < low || byte > high) return 0;
    low = 0x80;
    high = 0xBF;
    value = (value << 6) | (byte & 0x3Fu);
  }
  cp = value;
  return length;
}

// Decodes the character at the start of `in` (not empty) into `cp` and returns the units it spans.
// An unpaired surrogate comes back as itself, for the caller to judge.
std::size_t DecodeUtf16(std::u16string_view in, char32_t& cp) {
  const char16_t unit = in[0];
  if (unit >= 0xD800 && unit <= 0xDBFF && in.size() > 1 && in[1] >= 0xDC00 && in[1] <= 0xDFFF) {
    cp = 0x10000 + ((static_cast<char32_t>(unit) - 0xD800) << 10) + (in[1] - 0xDC00);
    return 2;
  }
  cp = unit;
  return 1;
}

// Writes the UTF-8 form of `cp` (not a surrogate) into `out` and returns its length.
std::size_t EncodeUtf8(char32_t cp, std::array<char, 4>& out) {
  if (cp < 0x80) {
    out[0] = static_cast<char>(cp);
    return 1;
  }
  if (cp < 0x800) {
    out[0] = static_cast<char>(0xC0 | (cp >> 6));
    out[1] = static_cast<char>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp < 0x10000) {
    out[0] = static_cast<char>(0xE0 | (cp >> 12));
    out[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (cp & 0x3F));
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | (cp >> 18));
  out[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
  out[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
  out[3] = static_cast<char>(0x80 | (cp & 0x3F));
  return 4;
}

void AppendUtf8(char32_t cp, std::string& out) {
  std::array<char, 4> bytes{};
  out.append(bytes.data(), EncodeUtf8(cp, bytes));
}

// Appends `cp` as one or two UTF-16 units through `put`.
template <typename Put>
void PutUtf16(char32_t cp, Put&& put) {
  if (cp < 0x10000) {
    put(static_cast<char16_t>(cp));
  } else {
    put(static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
    put(static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
  }
}

// The caller's output buffer: counts every unit and stores those that fit, so one pass serves both
// the size query (capacity 0) and the conversion.
template <typename Unit>
class Output {
 public:
  Output(Unit* buffer, int capacity) : buffer_(buffer), capacity_(static_cast<std::size_t>(capacity)) {}
  void operator()(Unit unit) {
    if (count_ < capacity_) buffer_[count_] = unit;
    ++count_;
  }
  // The count, or 0 with ERROR_INSUFFICIENT_BUFFER when it didn't fit (a count beyond int never fits).
  int Finish() const {
    if (count_ > static_cast<std::size_t>(INT_MAX) || (capacity_ != 0 && count_ > capacity_)) {
      SetLastError(ERROR_INSUFFICIENT_BUFFER);
      return 0;
    }
    return static_cast<int>(count_);
  }

 private:
  Unit* buffer_;
  std::size_t capacity_;
  std::size_t count_ = 0;
};

enum class Encoding { kCp1252, kUtf8 };

std::optional<Encoding> EncodingOf(UINT code_page) {
  switch (code_page) {
    case CP_ACP:
    case CP_THREAD_ACP:
    case CP_WINDOWS_1252:
      return Encoding::kCp1252;
    case CP_UTF8:
      return Encoding::kUtf8;
    default:
      return std::nullopt;
  }
}

int Fail(DWORD error) {
  SetLastError(error);
  return 0;
}

}  // namespace

UINT GetACP() { return CP_WINDOWS_1252; }

int MultiByteToWideChar(UINT CodePage, DWORD /*dwFlags*/, LPCSTR lpMultiByteStr, int cbMultiByte,
                        LPWSTR lpWideCharStr, int cchWideChar) {
  const std::optional<Encoding> encoding = EncodingOf(CodePage);
  if (!encoding || lpMultiByteStr == nullptr || cbMultiByte == 0 || cbMultiByte < -1 || cchWideChar < 0 ||
      (lpWideCharStr == nullptr && cchWideChar != 0)) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  std::string_view in(lpMultiByteStr,
                      cbMultiByte == -1 ? std::strlen(lpMultiByteStr) + 1 : static_cast<std::size_t>(cbMultiByte));
  Output<char16_t> out(lpWideCharStr, cchWideChar);
  if (*encoding == Encoding::kCp1252) {
    for (const char byte : in) out(Cp1252ToUnicode(static_cast<unsigned char>(byte)));
  } else {
    while (!in.empty()) {
      char32_t cp = 0;
      const std::size_t length = DecodeUtf8(in, cp);
      if (length == 0) return Fail(ERROR_NO_UNICODE_TRANSLATION);
      PutUtf16(cp, out);
      in.remove_prefix(length);
    }
  }
  return out.Finish();
}

int WideCharToMultiByte(UINT CodePage, DWORD /*dwFlags*/, LPCWSTR lpWideCharStr, int cchWideChar,
                        LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar, BOOL* lpUsedDefaultChar) {
  const std::optional<Encoding> encoding = EncodingOf(CodePage);
  if (!encoding || lpWideCharStr == nullptr || cchWideChar == 0 || cchWideChar < -1 || cbMultiByte < 0 ||
      (lpMultiByteStr == nullptr && cbMultiByte != 0) ||
      (*encoding == Encoding::kUtf8 && (lpDefaultChar != nullptr || lpUsedDefaultChar != nullptr))) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  std::u16string_view in(lpWideCharStr, cchWideChar == -1 ? std::char_traits<char16_t>::length(lpWideCharStr) + 1
                                                          : static_cast<std::size_t>(cchWideChar));
  Output<char> out(lpMultiByteStr, cbMultiByte);
  const char default_char = lpDefaultChar != nullptr ? *lpDefaultChar : '?';
  bool used_default = false;
  while (!in.empty()) {
    char32_t cp = 0;
    in.remove_prefix(DecodeUtf16(in, cp));
    if (*encoding == Encoding::kUtf8) {
      std::array<char, 4> bytes{};
      const std::size_t length = EncodeUtf8(IsSurrogate(cp) ? kReplacementCharacter : cp, bytes);
      for (std::size_t i = 0; i < length; ++i) out(bytes[i]);
    } else if (const std::optional<char> byte = UnicodeToCp1252(cp)) {
      out(*byte);
    } else {
      // A character outside the basic plane is one character to the reader, so one default
      // character stands for its surrogate pair.
      out(default_char);
      used_default = true;
    }
  }
  if (lpUsedDefaultChar != nullptr) *lpUsedDefaultChar = used_default ? TRUE : FALSE;
  return out.Finish();
}

namespace ondrel::platform::sys {

std::optional<std::string> Utf16ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    char32_t cp = 0;
    text.remove_prefix(DecodeUtf16(text, cp));
    if (IsSurrogate(cp)) return std::nullopt;
    AppendUtf8(cp, out);
  }
  return out;
}

std::string Cp1252ToUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char byte : text) AppendUtf8(Cp1252ToUnicode(static_cast<unsigned char>(byte)), out);
  return out;
}

std::u16string Utf8ToUtf16Lossy(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  while (!text.empty()) {
    char32_t cp = 0;
    std::size_t length = DecodeUtf8(text, cp);
    if (length == 0) {
      cp = kReplacementCharacter;
      length = 1;
    }
    PutUtf16(cp, [&out](char16_t unit) { out.push_back(unit); });
    text.remove_prefix(length);
  }
  return out;
}

std::string Utf8ToCp1252Lossy(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    char32_t cp = 0;
    const std::size_t length = DecodeUtf8(text, cp);
    const std::optional<char> byte = length != 0 ? UnicodeToCp1252(cp) : std::nullopt;
    out.push_back(byte.value_or('?'));
    text.remove_prefix(length != 0 ? length : 1);
  }
  return out;
}

}  // namespace ondrel::platform::sys
