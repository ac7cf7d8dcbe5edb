#include "dicom/transfer_syntax.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using DicomEngine::SyntaxRecord;
using DicomEngine::TransferSyntax;

constexpr SyntaxRecord kImplicitLittle{1, 1};
constexpr SyntaxRecord kExplicitLittle{1, 2};
constexpr SyntaxRecord kExplicitBig{2, 2};

struct Row {
  const char* uid;
  SyntaxRecord record;
};

// The 24 syntaxes the engine knows, listed by hand from the DICOM registry of transfer syntaxes.
const Row kKnown[] = {
    {"1.2.840.10008.1.2", kImplicitLittle},      {"1.2.840.10008.1.2.1", kExplicitLittle},
    {"1.2.840.10008.1.2.2", kExplicitBig},       {"1.2.840.10008.1.2.5", kExplicitLittle},
    {"1.2.840.10008.1.2.4.50", kExplicitLittle}, {"1.2.840.10008.1.2.4.51", kExplicitLittle},
    {"1.2.840.10008.1.2.4.52", kExplicitLittle}, {"1.2.840.10008.1.2.4.53", kExplicitLittle},
    {"1.2.840.10008.1.2.4.54", kExplicitLittle}, {"1.2.840.10008.1.2.4.55", kExplicitLittle},
    {"1.2.840.10008.1.2.4.56", kExplicitLittle}, {"1.2.840.10008.1.2.4.57", kExplicitLittle},
    {"1.2.840.10008.1.2.4.58", kExplicitLittle}, {"1.2.840.10008.1.2.4.59", kExplicitLittle},
    {"1.2.840.10008.1.2.4.60", kExplicitLittle}, {"1.2.840.10008.1.2.4.61", kExplicitLittle},
    {"1.2.840.10008.1.2.4.62", kExplicitLittle}, {"1.2.840.10008.1.2.4.63", kExplicitLittle},
    {"1.2.840.10008.1.2.4.64", kExplicitLittle}, {"1.2.840.10008.1.2.4.65", kExplicitLittle},
    {"1.2.840.10008.1.2.4.66", kExplicitLittle}, {"1.2.840.10008.1.2.4.70", kExplicitLittle},
    {"1.2.840.10008.1.2.4.90", kExplicitLittle}, {"1.2.840.10008.1.2.4.91", kExplicitLittle},
};

TEST(TransferSyntax, EveryKnownUidHasItsRecordAndNoOtherIsListed) {
  const TransferSyntax& table = TransferSyntax::Instance();
  EXPECT_EQ(table.Size(), std::size(kKnown));
  for (const Row& row : kKnown) {
    const SyntaxRecord* record = table.Find(row.uid);
    ASSERT_NE(record, nullptr) << row.uid;
    EXPECT_EQ(*record, row.record) << row.uid;
  }
}

TEST(TransferSyntax, FindTrimsBlanksAndAnswersNullForEmptyOrUnknown) {
  const TransferSyntax& table = TransferSyntax::Instance();
  struct Case {
    const char* what;
    std::string uid;
    const SyntaxRecord* expected;
  } const cases[] = {
      {"a padding blank, as a UID value of odd length carries", "1.2.840.10008.1.2 ", &kImplicitLittle},
      {"blanks at both ends", "  1.2.840.10008.1.2.1  ", &kExplicitLittle},
      {"the empty text", "", nullptr},
      {"blanks only", "   ", nullptr},
      {"JPEG-LS, which isn't listed", "1.2.840.10008.1.2.4.80", nullptr},
      {"the number after the listed range", "1.2.840.10008.1.2.4.67", nullptr},
      {"a NUL-padded UID keeps its NUL: only blanks are trimmed", std::string("1.2.840.10008.1.2\0", 18), nullptr},
  };
  for (const Case& c : cases) {
    const SyntaxRecord* record = table.Find(c.uid);
    if (c.expected == nullptr) {
      EXPECT_EQ(record, nullptr) << c.what;
    } else {
      ASSERT_NE(record, nullptr) << c.what;
      EXPECT_EQ(*record, *c.expected) << c.what;
    }
  }
}

TEST(TransferSyntax, GetUidNamesOnlyThePlainSyntaxes) {
  EXPECT_EQ(TransferSyntax::GetUid(kExplicitBig), "1.2.840.10008.1.2.2");
  EXPECT_EQ(TransferSyntax::GetUid(SyntaxRecord{2, 1}), "1.2.840.10008.1.2.2");  // byte order decides first
  EXPECT_EQ(TransferSyntax::GetUid(*TransferSyntax::Instance().Find("1.2.840.10008.1.2.4.70")),
            "1.2.840.10008.1.2.1");
  EXPECT_EQ(TransferSyntax::GetUid(kImplicitLittle), "1.2.840.10008.1.2");
  EXPECT_EQ(TransferSyntax::GetUid(SyntaxRecord{}), "1.2.840.10008.1.2");
}

}  // namespace
