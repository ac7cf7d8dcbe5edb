#include "foundation/text_utils.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Windows-1252 pairs taken from the code page's table, including bytes that differ from Latin-1.
struct CodePagePair {
  char narrow;
  char16_t wide;
};
constexpr CodePagePair kPairs[] = {
    {'A', u'A'},
    {'\xB0', u'\u00B0'},  // degree sign
    {'\xE9', u'\u00E9'},  // e acute
    {'\x80', u'\u20AC'},  // euro sign
    {'\x9F', u'\u0178'},  // Y diaeresis
    {'\xFF', u'\u00FF'},
};

// A text of `length` characters cycling through the pairs, in both forms.
std::pair<std::string, std::u16string> Cycled(std::size_t length) {
  std::string narrow;
  std::u16string wide;
  for (std::size_t i = 0; i < length; ++i) {
    const CodePagePair& pair = kPairs[i % std::size(kPairs)];
    narrow += pair.narrow;
    wide += pair.wide;
  }
  return {narrow, wide};
}

TEST(TextConversionTest, ConvertsThroughWindows1252) {
  for (const CodePagePair& pair : kPairs) {
    EXPECT_EQ(ToWide(std::string(1, pair.narrow)), std::u16string(1, pair.wide));
    EXPECT_EQ(ToNarrow(std::u16string(1, pair.wide)), std::string(1, pair.narrow));
  }
  EXPECT_EQ(ToWide("45\xB0"), u"45\u00B0");
  EXPECT_EQ(ToNarrow(u"45\u00B0"), "45\xB0");
}

TEST(TextConversionTest, LengthsAroundTheStackBuffer) {
  for (std::size_t length : {1u, 127u, 128u, 129u, 300u, 5000u}) {
    SCOPED_TRACE(length);
    const auto [narrow, wide] = Cycled(length);
    EXPECT_EQ(ToWide(narrow), wide);
    EXPECT_EQ(ToNarrow(wide), narrow);
  }
}

TEST(TextConversionTest, EmptyNullAndUnmappable) {
  EXPECT_EQ(ToWide(""), u"");
  EXPECT_EQ(ToNarrow(std::u16string()), "");
  EXPECT_EQ(ToNarrow(static_cast<const char16_t*>(nullptr)), "");
  EXPECT_EQ(ToNarrow(u"abc"), "abc");
  EXPECT_EQ(ToNarrow(u"x\u4E2Dy"), "x?y") << "a character the code page lacks becomes '?'";
  EXPECT_EQ(ToWide(std::string("a\0b", 3)), std::u16string(u"a\0b", 3)) << "the whole view is converted";
}

TEST(TrimTest, RemovesBlanksOnlyAtBothEnds) {
  struct Row {
    const char* text;
    const char* trimmed;
  };
  const Row rows[] = {
      {"  a b  ", "a b"}, {"   ", ""}, {"", ""}, {"a", "a"}, {" a", "a"}, {"a ", "a"},
      {"\ta\t", "\ta\t"}, {" \r\n", "\r\n"},
  };
  for (const Row& row : rows) {
    std::string narrow = row.text;
    Trim(narrow);
    EXPECT_EQ(narrow, row.trimmed) << '"' << row.text << '"';
    std::u16string wide(row.text, row.text + std::char_traits<char>::length(row.text));
    Trim(wide);
    EXPECT_EQ(wide, std::u16string(row.trimmed, row.trimmed + std::char_traits<char>::length(row.trimmed)));
  }
  std::u16string ideographicSpace = u"\u3000a\u3000";
  Trim(ideographicSpace);
  EXPECT_EQ(ideographicSpace, u"\u3000a\u3000");
}

}  // namespace
