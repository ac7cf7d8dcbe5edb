#include "ondrel/platform/codepage.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>

namespace {

std::u16string ToUtf16(UINT code_page, const std::string& bytes) {
  std::u16string out(bytes.size() * 2 + 1, u'\0');
  const int n = MultiByteToWideChar(code_page, 0, bytes.data(), static_cast<int>(bytes.size()), out.data(),
                                    static_cast<int>(out.size()));
  EXPECT_GT(n, 0) << "last error " << GetLastError();
  out.resize(static_cast<std::size_t>(n > 0 ? n : 0));
  return out;
}

std::string FromUtf16(UINT code_page, const std::u16string& text, BOOL* used_default = nullptr) {
  std::string out(text.size() * 4 + 1, '\0');
  const int n = WideCharToMultiByte(code_page, 0, text.data(), static_cast<int>(text.size()), out.data(),
                                    static_cast<int>(out.size()), nullptr, used_default);
  EXPECT_GT(n, 0) << "last error " << GetLastError();
  out.resize(static_cast<std::size_t>(n > 0 ? n : 0));
  return out;
}

TEST(CodePage, AnsiCodePageIsWindows1252) { EXPECT_EQ(GetACP(), 1252u); }

TEST(CodePage, Windows1252HighControlRange) {
  // Bytes 0x80 to 0x9F as Python's cp1252 codec decodes them
  // (hex(ord(bytes([b]).decode('cp1252')))); the five bytes it calls undefined are the control
  // characters of the same value, as Windows maps them.
  constexpr std::array<char16_t, 32> kExpected = {
      0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
  for (int byte = 0x80; byte < 0xA0; ++byte) {
    const std::string narrow(1, static_cast<char>(byte));
    const std::u16string wide = ToUtf16(CP_ACP, narrow);
    ASSERT_EQ(wide.size(), 1u);
    EXPECT_EQ(wide[0], kExpected[byte - 0x80]) << "byte 0x" << std::hex << byte;
    EXPECT_EQ(FromUtf16(CP_ACP, wide), narrow) << "byte 0x" << std::hex << byte;
  }
}

TEST(CodePage, EveryByteRoundTripsAndLatin1IsIdentity) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  for (const UINT code_page : {CP_ACP, CP_THREAD_ACP, CP_WINDOWS_1252}) {
    const std::u16string wide = ToUtf16(code_page, all);
    ASSERT_EQ(wide.size(), 256u);
    for (int byte = 0; byte < 256; ++byte) {
      if (byte < 0x80 || byte >= 0xA0) {
        EXPECT_EQ(wide[byte], byte);
      }
    }
    EXPECT_EQ(wide[0xB0], u'\u00B0');  // the degree sign
    BOOL used_default = TRUE;
    EXPECT_EQ(FromUtf16(code_page, wide, &used_default), all);
    EXPECT_EQ(used_default, FALSE);
  }
}

TEST(CodePage, MissingCharactersBecomeTheDefaultCharacter) {
  BOOL used_default = FALSE;
  // U+0080 is not in 1252 (byte 0x80 is the euro sign); U+4E2D is CJK; the emoji is one character of two
  // units and becomes one default character.
  EXPECT_EQ(FromUtf16(1252, u"a\u0080b\u4E2Dc\U0001F600", &used_default), "a?b?c?");
  EXPECT_EQ(used_default, TRUE);

  const std::u16string text = u"x\u4E2D";
  char out[4] = {};
  const char default_char = '#';
  EXPECT_EQ(WideCharToMultiByte(1252, 0, text.data(), 2, out, 4, &default_char, nullptr), 2);
  EXPECT_EQ(std::string(out, 2), "x#");
}

TEST(CodePage, MinusOneCountsTheTerminatingNull) {
  char16_t wide[8] = {};
  EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "ab\xB0", -1, wide, 8), 4);
  EXPECT_EQ(std::u16string(wide, 4), std::u16string(u"ab\u00B0\0", 4));
  char narrow[8] = {'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, u"ab\u20AC", -1, narrow, 8, nullptr, nullptr), 4);
  EXPECT_EQ(std::string(narrow, 4), std::string("ab\x80\0", 4));
}

TEST(CodePage, SizeQueryAndBufferTooSmall) {
  EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "hello", -1, nullptr, 0), 6);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "\xF0\x9F\x98\x80", 4, nullptr, 0), 2);
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"\u20AC", 1, nullptr, 0, nullptr, nullptr), 3);

  char16_t wide[5] = {};
  SetLastError(0);
  EXPECT_EQ(MultiByteToWideChar(CP_ACP, 0, "hello", -1, wide, 5), 0);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  char narrow[2] = {};
  SetLastError(0);
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"\u20AC", 1, narrow, 2, nullptr, nullptr), 0);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST(CodePage, BadArgumentsAreRefused) {
  char16_t wide[4] = {};
  char narrow[4] = {};
  BOOL used_default = FALSE;
  struct Case {
    const char* what;
    std::function<int()> call;
  };
  const Case cases[] = {
      {"unknown code page", [&] { return MultiByteToWideChar(437, 0, "a", 1, wide, 4); }},
      {"zero-length input", [&] { return MultiByteToWideChar(CP_ACP, 0, "a", 0, wide, 4); }},
      {"null input", [&] { return MultiByteToWideChar(CP_ACP, 0, nullptr, 1, wide, 4); }},
      {"null output with a size", [&] { return MultiByteToWideChar(CP_ACP, 0, "a", 1, nullptr, 4); }},
      {"count below -1", [&] { return WideCharToMultiByte(CP_ACP, 0, u"a", -2, narrow, 4, nullptr, nullptr); }},
      {"default char with UTF-8", [&] { return WideCharToMultiByte(CP_UTF8, 0, u"a", 1, narrow, 4, "?", nullptr); }},
      {"used flag with UTF-8",
       [&] { return WideCharToMultiByte(CP_UTF8, 0, u"a", 1, narrow, 4, nullptr, &used_default); }},
  };
  for (const Case& c : cases) {
    SetLastError(0);
    EXPECT_EQ(c.call(), 0) << c.what;
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER) << c.what;
  }
}

TEST(CodePage, Utf8BothWaysWithSurrogatePairs) {
  // e-acute, euro sign, U+1F600 (the pair D83D DE00): 2, 3 and 4 bytes.
  const std::string utf8 = "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
  const std::u16string utf16 = {0x00E9, 0x20AC, 0xD83D, 0xDE00};
  EXPECT_EQ(ToUtf16(CP_UTF8, utf8), utf16);
  EXPECT_EQ(FromUtf16(CP_UTF8, utf16), utf8);
  // U+10FFFF, the last character: F4 8F BF BF and DBFF DFFF.
  EXPECT_EQ(ToUtf16(CP_UTF8, "\xF4\x8F\xBF\xBF"), (std::u16string{0xDBFF, 0xDFFF}));
  // Unpaired surrogates become U+FFFD (EF BF BD).
  EXPECT_EQ(FromUtf16(CP_UTF8, std::u16string{u'a', 0xD800, u'b', 0xDC00}), "a\xEF\xBF\xBD" "b\xEF\xBF\xBD");
}

TEST(CodePage, MalformedUtf8IsRefused) {
  struct Case {
    const char* what;
    std::string bytes;
  };
  const Case cases[] = {
      {"stray continuation byte", "a\x80"},
      {"lead byte C0 (overlong)", "\xC0\xAF"},
      {"overlong three-byte slash", "\xE0\x80\xAF"},
      {"overlong four-byte", "\xF0\x80\x80\x80"},
      {"encoded surrogate D800", "\xED\xA0\x80"},
      {"above U+10FFFF", "\xF4\x90\x80\x80"},
      {"lead byte F5", "\xF5\x80\x80\x80"},
      {"sequence cut by the count", "\xE2\x82"},
      {"lead followed by ASCII", "\xE2" "a" "b"},
  };
  char16_t wide[8] = {};
  for (const Case& c : cases) {
    SetLastError(0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, c.bytes.data(), static_cast<int>(c.bytes.size()), wide, 8), 0)
        << c.what;
    EXPECT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION) << c.what;
  }
}

}  // namespace
