#include "ondrel/platform/bstr.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

namespace {

using ondrel::platform::BStr;

// The byte count stored in the four bytes before the text.
DWORD PrefixOf(BSTR b) {
  DWORD prefix;
  std::memcpy(&prefix, reinterpret_cast<const char*>(b) - 4, 4);
  return prefix;
}

std::string Bytes(BSTR b, std::size_t count) { return std::string(reinterpret_cast<const char*>(b), count); }

TEST(Bstr, LengthsAndBytesFollowTheLayout) {
  struct Row {
    const char* holds;
    std::function<BSTR()> make;
    std::string bytes;  // the text's bytes, little-endian UTF-16 where it is text
  };
  const Row rows[] = {
      {"plain text", [] { return SysAllocString(u"abc"); }, std::string("a\0b\0c\0", 6)},
      {"empty text", [] { return SysAllocString(u""); }, ""},
      {"embedded nulls", [] { return SysAllocStringLen(u"a\0b", 3); }, std::string("a\0\0\0b\0", 6)},
      {"first characters only", [] { return SysAllocStringLen(u"abcdef", 2); }, std::string("a\0b\0", 4)},
      {"zeroes for no source", [] { return SysAllocStringLen(nullptr, 2); }, std::string(4, '\0')},
      {"odd byte count", [] { return SysAllocStringByteLen("abc", 3); }, "abc"},
      {"zero bytes for no source", [] { return SysAllocStringByteLen(nullptr, 5); }, std::string(5, '\0')},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.holds);
    const BStr b = BStr::Attach(row.make());
    ASSERT_FALSE(b.IsNull());
    EXPECT_EQ(row.bytes.size(), PrefixOf(b.Get()));
    EXPECT_EQ(row.bytes.size(), SysStringByteLen(b.Get()));
    EXPECT_EQ(row.bytes.size() / 2, SysStringLen(b.Get()));
    EXPECT_EQ(row.bytes, Bytes(b.Get(), row.bytes.size()));
    EXPECT_EQ(std::string(2, '\0'), std::string(reinterpret_cast<const char*>(b.Get()) + row.bytes.size(), 2))
        << "two null bytes follow the text";
    // Read as a plain null-terminated string it ends at or before the first character past the text.
    EXPECT_LE(std::char_traits<OLECHAR>::length(b.Get()), (row.bytes.size() + 1) / 2);
  }
}

TEST(Bstr, NullStaysDistinctFromEmpty) {
  EXPECT_EQ(nullptr, SysAllocString(nullptr));
  EXPECT_EQ(0u, SysStringLen(nullptr));
  EXPECT_EQ(0u, SysStringByteLen(nullptr));
  SysFreeString(nullptr);

  const BStr empty(u"");
  ASSERT_FALSE(empty.IsNull());
  EXPECT_EQ(0u, empty.Length());
  EXPECT_FALSE(BStr(empty).IsNull());
  const BStr null;
  EXPECT_TRUE(BStr(null).IsNull());
}

TEST(Bstr, LengthsBeyondThirtyTwoBitsAreRefused) {
  EXPECT_EQ(nullptr, SysAllocStringLen(nullptr, 0x80000000u));  // 2^32 bytes
  EXPECT_EQ(nullptr, SysAllocStringLen(nullptr, 0x7FFFFFFFu));  // fits the count, not the block
  EXPECT_EQ(nullptr, SysAllocStringByteLen(nullptr, 0xFFFFFFFFu));
}

TEST(Bstr, ReAllocReplacesOrKeeps) {
  BSTR b = SysAllocString(u"old");
  ASSERT_TRUE(SysReAllocString(&b, u"longer text"));
  EXPECT_EQ(std::u16string(u"longer text"), std::u16string(b, SysStringLen(b)));
  ASSERT_TRUE(SysReAllocString(&b, b + 7));  // from its own text
  EXPECT_EQ(std::u16string(u"text"), std::u16string(b, SysStringLen(b)));
  ASSERT_TRUE(SysReAllocStringLen(&b, u"x\0y", 3));
  EXPECT_EQ(std::u16string(u"x\0y", 3), std::u16string(b, SysStringLen(b)));

  const BSTR before = b;
  EXPECT_FALSE(SysReAllocStringLen(&b, nullptr, 0x80000000u));
  EXPECT_EQ(before, b);
  EXPECT_EQ(3u, SysStringLen(b));
  EXPECT_FALSE(SysReAllocString(nullptr, u"x"));

  ASSERT_TRUE(SysReAllocStringLen(&b, nullptr, 0));
  ASSERT_NE(nullptr, b);
  EXPECT_EQ(0u, SysStringLen(b));
  ASSERT_TRUE(SysReAllocString(&b, nullptr));
  EXPECT_EQ(nullptr, b);
}

TEST(Bstr, WrapperCopiesOwnsAndHandsOver) {
  const BStr text(std::u16string_view(u"a\0b", 3));
  EXPECT_EQ(3u, text.Length());
  const BStr copy(text);
  EXPECT_NE(text.Get(), copy.Get());
  EXPECT_EQ(std::u16string(u"a\0b", 3), copy.ToString());

  const BStr odd = BStr::Attach(SysAllocStringByteLen("xyz", 3));
  EXPECT_EQ(3u, SysStringByteLen(BStr(odd).Get()));

  BStr out(u"held");
  *out.Out() = SysAllocString(u"filled");  // the held text is freed by Out
  EXPECT_EQ(u"filled", out.View());
  BSTR detached = out.Detach();
  EXPECT_TRUE(out.IsNull());
  SysFreeString(detached);
}

}  // namespace
