// The file parser: which files are DICOM, how their start decides the header syntax, and how names
// are opened.
#include "dicom/file_parser.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "byte_builder.h"
#include "foundation/text_utils.h"

namespace {

namespace fs = std::filesystem;
using namespace DicomEngine;
using dicom_test::Bytes;
using dicom_test::FailureOf;

// A folder of its own for each test, with no dot in its path so that the ".dcm" rule applies.
class TempFolder {
 public:
  TempFolder()
      : path_(fs::temp_directory_path() /
              ("ondrel_file_parser_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()))) {
    fs::remove_all(path_);
    fs::create_directories(path_);
  }
  ~TempFolder() { fs::remove_all(path_); }

  std::string Write(const std::string& name, const Bytes& bytes) const {
    const fs::path file = path_ / name;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data().data()), static_cast<std::streamsize>(bytes.data().size()));
    return file.string();
  }
  std::string Path(const std::string& name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

// Preamble of 128 bytes and "DICM", then an explicit VR meta header naming `syntax`.
Bytes PreambleFile(const std::string& syntax) {
  Bytes bytes;
  bytes.zeros(128).text("DICM");
  bytes.explicit_short(0x0002, 0x0010, "UI", static_cast<std::uint16_t>(syntax.size())).text(syntax);
  return bytes;
}

TEST(FileParser, PreambleFileStartsAfterDicmWithTheHeaderSyntaxOfItsFirstCode) {
  TempFolder folder;
  Bytes bytes = PreambleFile("1.2.840.10008.1.2");
  bytes.implicit(0x0010, 0x0010, 2).text("AB");
  FileParser parser;
  ASSERT_TRUE(parser.Open(ToWide(folder.Write("image.dcm", bytes))));
  EXPECT_EQ(parser.StartOffset(), 132u);
  EXPECT_EQ(parser.HeaderSyntax(), (SyntaxRecord{kByteOrderUnset, kExplicitVR}));
  DicomData data(false);
  parser.Parse(&data);
  EXPECT_EQ(data.Elements().size(), 2u);
  EXPECT_EQ(parser.Position(), bytes.data().size() - 132);
}

TEST(FileParser, SixthByteOfTheDataDecidesExplicitVR) {
  struct Row {
    const char* what;
    std::uint8_t sixth;
    std::uint32_t kind;
  };
  const Row rows[] = {
      {"second letter of a VR code", 'S', kExplicitVR},
      {"second byte of a small length", 0x00, kImplicitVR},
      {"10 is below the bound", 10, kImplicitVR},
      {"11 is not", 11, kExplicitVR},
      {"a byte from 0x80 up counts as negative", 0x80, kImplicitVR},
      {"0xFF likewise", 0xFF, kImplicitVR},
  };
  TempFolder folder;
  for (const Row& row : rows) {
    Bytes bytes;
    bytes.u16(0x0008).u16(0x0005).u8('C').u8(row.sixth).zeros(10);
    FileParser parser;
    ASSERT_TRUE(parser.Open(ToWide(folder.Write("start.dcm", bytes)))) << row.what;
    EXPECT_EQ(parser.StartOffset(), 0u) << row.what;
    EXPECT_EQ(parser.HeaderSyntax(), (SyntaxRecord{kByteOrderUnset, row.kind})) << row.what;
  }
}

TEST(FileParser, WithoutPreambleOnlyAFirstGroupOf0008Or8000IsDicom) {
  struct Row {
    const char* what;
    Bytes bytes;
    bool dicom;
  };
  const Row rows[] = {
      {"group 0x0008", Bytes().implicit(0x0008, 0x0005, 2).text("AB"), true},
      {"group 0x8000", Bytes().implicit(0x8000, 0x0005, 2).text("AB"), true},
      {"meta group 0x0002 without preamble", Bytes().explicit_short(0x0002, 0x0010, "UI", 2).text("1."), false},
      {"big-endian group 8 reads 0x0800", Bytes().raw({0x00, 0x08, 0x00, 0x05}).text("CS").zeros(2), false},
      {"fewer than 132 bytes, not DICOM", Bytes().text("not dicom"), false},
      {"one byte", Bytes().u8(0x08), false},
      {"empty file", Bytes(), false},
      {"DICM at 128 of a file that ends there", Bytes().zeros(128).text("DICM"), true},
  };
  TempFolder folder;
  for (const Row& row : rows) {
    FileParser parser;
    EXPECT_EQ(parser.Open(ToWide(folder.Write("file.dcm", row.bytes))), row.dicom) << row.what;
    if (!row.dicom) {
      EXPECT_EQ(FailureOf([&] { parser.Parse(nullptr); }), "The parser buffer is NULL.") << row.what;
    }
  }
}

TEST(FileParser, DcmIsAppendedOnlyToANameWithoutDot) {
  TempFolder folder;
  const Bytes bytes = Bytes().implicit(0x0008, 0x0005, 2).text("AB");
  folder.Write("image.dcm", bytes);
  folder.Write("a.b/image.dcm", bytes);
  FileParser parser;
  EXPECT_TRUE(parser.Open(ToWide(folder.Path("image"))));
  const std::string dotted = folder.Path("a.b/image");
  EXPECT_EQ(FailureOf([&] { FileParser().Open(ToWide(dotted)); }),
            "The " + dotted + " file cannot be opened. The last error is (in hexa): 0x2");
}

TEST(FileParser, OpenFailuresNameTheFileAndTheLastError) {
  TempFolder folder;
  EXPECT_EQ(FailureOf([] { FileParser().Open(u""); }), "The name of the file to parse is empty.");
  const std::string missing = folder.Path("missing.dcm");
  EXPECT_EQ(FailureOf([&] { FileParser().Open(ToWide(missing)); }),
            "The " + missing + " file cannot be opened. The last error is (in hexa): 0x2");
  const std::string noFolder = folder.Path("nofolder/missing.dcm");
  EXPECT_EQ(FailureOf([&] { FileParser().Open(ToWide(noFolder)); }),
            "The " + noFolder + " file cannot be opened. The last error is (in hexa): 0x3");
  // Names reach the file system through Windows-1252: one it can't hold is refused, not guessed.
  const std::u16string cyrillic = ToWide(folder.Path("")) + u"\u0436.dcm";
  EXPECT_EQ(FailureOf([&] { FileParser().Open(cyrillic); }),
            "The " + folder.Path("") + "?.dcm file cannot be opened. The last error is (in hexa): 0x459");
}

}  // namespace
