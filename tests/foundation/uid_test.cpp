#include "foundation/uid.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

TEST(UidTest, RootAndUnpaddedUtcFields) {
  struct Row {
    SYSTEMTIME utc;
    const char* uid;
  };
  const Row rows[] = {
      {{2014, 3, 0, 9, 21, 5, 7, 41}, "1.3.6.1.4.1.77777.2014.3.9.21.5.7.41"},
      {{2001, 1, 1, 1, 0, 0, 0, 0}, "1.3.6.1.4.1.77777.2001.1.1.0.0.0.0"},
      {{9999, 12, 5, 31, 23, 59, 59, 999}, "1.3.6.1.4.1.77777.9999.12.31.23.59.59.999"},
  };
  for (const Row& row : rows) EXPECT_EQ(GenerateUid(row.utc), row.uid);
}

TEST(UidTest, NowIsAValidDicomUid) {
  const std::string uid = GenerateUid();
  const std::string root = "1.3.6.1.4.1.77777.";
  ASSERT_EQ(uid.rfind(root, 0), 0u) << uid;
  // DICOM UIDs: at most 64 characters, components of digits without a leading zero.
  EXPECT_LE(uid.size(), 64u);
  std::vector<std::string> fields;
  std::istringstream rest(uid.substr(root.size()));
  for (std::string field; std::getline(rest, field, '.');) fields.push_back(field);
  ASSERT_EQ(fields.size(), 7u) << uid;
  for (const std::string& field : fields) {
    EXPECT_FALSE(field.empty()) << uid;
    EXPECT_EQ(field.find_first_not_of("0123456789"), std::string::npos) << uid;
    EXPECT_FALSE(field.size() > 1 && field[0] == '0') << uid;
  }
}

}  // namespace
