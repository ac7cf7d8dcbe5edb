#include "ondrel/platform/codepage.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

// The converted text, empty when the conversion fails.
std::u16string ToUtf16(UINT code_page, const std::string& bytes) {
  std::u16string out(bytes.size() + 1, u'\0');
  const int n = MultiByteToWideChar(code_page, 0, bytes.data(), static_cast<int>(bytes.size()), out.data(),
                                    static_cast<int>(out.size()));
  return out.substr(0, static_cast<std::size_t>(n > 0 ? n : 0));
}

std::string FromUtf16(UINT code_page, const std::u16string& text, BOOL* used_default = nullptr) {
  std::string out(text.size() * 3 + 1, '\0');
  const int n = WideCharToMultiByte(code_page, 0, text.data(), static_cast<int>(text.size()), out.data(),
                                    static_cast<int>(out.size()), nullptr, used_default);
  return out.substr(0, static_cast<std::size_t>(n > 0 ? n : 0));
}

// The last error that a refused call left, cleared for the next call; ~0 when the call did not fail.
DWORD RefusedWith(int result) {
  const DWORD error = result == 0 ? GetLastError() : ~DWORD{0};
  SetLastError(0);
  return error;
}

TEST(CodePage, Windows1252BothWaysForEveryByte) {
  EXPECT_EQ(GetACP(), 1252u);
  // Bytes 0x80 to 0x9F as Python's cp1252 codec decodes them; the five it calls undefined map to the
  // control characters of the same value, as on Windows. The rest is Latin-1.
  const std::u16string high = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
                               0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
                               0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
  std::string all;
  std::u16string expected;
  for (int byte = 0; byte < 256; ++byte) {
    all.push_back(static_cast<char>(byte));
    expected.push_back(byte >= 0x80 && byte < 0xA0 ? high[byte - 0x80] : static_cast<char16_t>(byte));
  }
  for (const UINT code_page : {CP_ACP, CP_THREAD_ACP, CP_WINDOWS_1252}) {
    EXPECT_EQ(ToUtf16(code_page, all), expected) << code_page;
    BOOL used_default = TRUE;
    EXPECT_EQ(FromUtf16(code_page, expected, &used_default), all) << code_page;
    EXPECT_EQ(used_default, FALSE);
  }
  // Characters 1252 lacks become "?" or the caller's default; U+0080 is one (byte 0x80 is the euro sign), and
  // a surrogate pair gives one default character.
  BOOL used_default = FALSE;
  EXPECT_EQ(FromUtf16(1252, u"a\u0080b\u4E2Dc\U0001F600", &used_default), "a?b?c?");
  EXPECT_EQ(used_default, TRUE);
  char narrow[4] = {};
  EXPECT_EQ(WideCharToMultiByte(1252, 0, u"x\u4E2D", 2, narrow, 4, "#", nullptr), 2);
  EXPECT_EQ(std::string(narrow, 2), "x#");
}

TEST(CodePage, TerminatingNullSizeQueryAndRefusals) {
  char16_t wide[8] = {};
  EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "ab\xB0", -1, wide, 8), 4);
  EXPECT_EQ(std::u16string(wide, 4), std::u16string(u"ab\u00B0\0", 4));
  char narrow[8] = {'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, u"ab\u20AC", -1, narrow, 8, nullptr, nullptr), 4);
  EXPECT_EQ(std::string(narrow, 4), std::string("ab\x80\0", 4));
  EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "hello", -1, nullptr, 0), 6);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "\xF0\x9F\x98\x80", 4, nullptr, 0), 2);
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"\u20AC", 1, nullptr, 0, nullptr, nullptr), 3);

  SetLastError(0);
  EXPECT_EQ(RefusedWith(MultiByteToWideChar(CP_ACP, 0, "hello", -1, wide, 5)), 122u);
  EXPECT_EQ(RefusedWith(WideCharToMultiByte(CP_UTF8, 0, u"\u20AC", 1, narrow, 2, nullptr, nullptr)), 122u);
  EXPECT_EQ(RefusedWith(MultiByteToWideChar(437, 0, "a", 1, wide, 4)), ERROR_INVALID_PARAMETER) << "code page 437";
  EXPECT_EQ(RefusedWith(WideCharToMultiByte(CP_UTF8, 0, u"a", 1, narrow, 4, "?", nullptr)), ERROR_INVALID_PARAMETER)
      << "a default character for UTF-8";
}

TEST(CodePage, Utf8WithSurrogatePairsAndMalformedInput) {
  // e-acute, euro sign, U+1F600 (the pair D83D DE00) and U+10FFFF, the last character: 2, 3, 4 and 4 bytes.
  const std::string utf8 = "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF";
  const std::u16string utf16 = {0x00E9, 0x20AC, 0xD83D, 0xDE00, 0xDBFF, 0xDFFF};
  EXPECT_EQ(ToUtf16(CP_UTF8, utf8), utf16);
  EXPECT_EQ(FromUtf16(CP_UTF8, utf16), utf8);
  // Unpaired surrogates become U+FFFD (EF BF BD).
  EXPECT_EQ(FromUtf16(CP_UTF8, {u'a', 0xD800, u'b', 0xDC00}), "a\xEF\xBF\xBD" "b\xEF\xBF\xBD");
  const std::pair<const char*, std::string> malformed[] = {
      {"stray continuation byte", "a\x80"},          {"lead byte C0 (overlong)", "\xC0\xAF"},
      {"overlong three-byte slash", "\xE0\x80\xAF"}, {"overlong four-byte", "\xF0\x80\x80\x80"},
      {"encoded surrogate D800", "\xED\xA0\x80"},    {"above U+10FFFF", "\xF4\x90\x80\x80"},
      {"lead byte F5", "\xF5\x80\x80\x80"},         {"sequence cut by the count", "\xE2\x82"},
      {"lead followed by ASCII", "\xE2" "ab"},
  };
  for (const auto& [what, bytes] : malformed) {
    char16_t wide[8];
    EXPECT_EQ(RefusedWith(MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), wide, 8)),
              ERROR_NO_UNICODE_TRANSLATION) << what;
  }
}

}  // namespace
