#include "foundation/settings_helper.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "foundation/exceptions.h"
#include "test_files.h"

namespace {

using foundation_test::HostFolder;
using foundation_test::UniqueName;
using foundation_test::WhatOf;
namespace fs = std::filesystem;

// A settings file with the given text, removed at the end.
class SettingsFile {
 public:
  SettingsFile(fs::path path, const std::string& text) : path_(std::move(path)) { Rewrite(text); }
  explicit SettingsFile(const std::string& text)
      : SettingsFile(fs::temp_directory_path() / UniqueName("ondrel_settings_"), text) {}
  ~SettingsFile() {
    std::error_code ignored;
    fs::remove(path_, ignored);
  }
  SettingsFile(const SettingsFile&) = delete;
  SettingsFile& operator=(const SettingsFile&) = delete;

  void Rewrite(const std::string& text) const { std::ofstream(path_, std::ios::binary) << text; }
  std::string Name() const { return path_.string(); }

 private:
  fs::path path_;
};

// The message of a failure with the idiom's " File=..., Line=N" cut off.
std::string MessageOf(const std::function<void()>& action) {
  const std::string what = WhatOf(action);
  const std::size_t where = what.rfind(" File=settings_helper.cpp, Line=");
  EXPECT_NE(where, std::string::npos) << what;
  return what.substr(0, where);
}

constexpr char kConfig[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\r\n"
    "<configuration>\r\n"
    "  <appSettings>\r\n"
    "    <add key=\"DICOMfiles\" value=\"/srv/dicom\" />\r\n"
    "    <add key=\"DbConnectionString\" value=\"Server=db; User=a&amp;b <x>\"/>\r\n"
    "\r\n"
    "    <add value=\"before\" key=\"ValueFirst\"/>\r\n"
    "    <add key='Single' value='quoted'/>\r\n"
    "    <add key=\"First\" value=\"1\"/><add key=\"Second\" value=\"2\"/>\r\n"
    "    <!-- <add key=\"Commented\" value=\"live\"/> -->\r\n"
    "    <add key=\"Repeated\" value=\"old\"/>\r\n"
    "    <Add key=\"UpperCase\" value=\"x\"/>\r\n"
    "    <add key=\"Empty\" value=\"\"/>\r\n"
    "    <add key=\" Spaced \" value=\" kept \"/>\r\n"
    "    <add key=\"Unfinished\" value=\"no end\r\n"
    "    <add key=\"Repeated\" value=\"new\"/>\r\n"
    "  </appSettings>\r\n"
    "</configuration>";

TEST(SettingsHelperTest, ReadsOneEntryPerLineAsScanned) {
  const SettingsFile file(kConfig);
  SettingsHelper settings;
  settings.Load(file.Name());
  struct Row {
    const char* what;
    const char* key;
    const char* value;  // null: the key is not there
  };
  const Row rows[] = {
      {"a plain entry", "DICOMfiles", "/srv/dicom"},
      {"anything but a double quote, unescaped", "DbConnectionString", "Server=db; User=a&amp;b <x>"},
      {"value= before key= is not seen", "ValueFirst", nullptr},
      {"single quotes are not recognised", "Single", nullptr},
      {"the first entry of a line", "First", "1"},
      {"the second entry of a line is lost", "Second", nullptr},
      {"a commented-out entry is live", "Commented", "live"},
      {"the last repeat wins", "Repeated", "new"},
      {"case matters", "UpperCase", nullptr},
      {"an empty value", "Empty", ""},
      {"blanks are kept", " Spaced ", " kept "},
      {"an unfinished value is skipped", "Unfinished", nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    if (row.value != nullptr) {
      EXPECT_EQ(settings.Get(row.key), row.value);
    } else {
      EXPECT_EQ(MessageOf([&] { settings.Get(row.key); }),
                std::string("Cannot find the ") + row.key + " setting key.");
    }
  }
}

TEST(SettingsHelperTest, MissingFileLeavesEveryKeyMissing) {
  const std::string name = (fs::temp_directory_path() / UniqueName("ondrel_absent_")).string();
  SettingsHelper settings;
  EXPECT_NO_THROW(settings.Load(name));
  EXPECT_EQ(settings.LoadedFileName(), name);
  EXPECT_EQ(MessageOf([&] { settings.Get("DICOMfiles"); }), "Cannot find the DICOMfiles setting key.");
}

TEST(SettingsHelperTest, LoadsOnce) {
  const SettingsFile file("<add key=\"k\" value=\"first\"/>");
  const SettingsFile other("<add key=\"k\" value=\"other\"/>");
  SettingsHelper settings;
  settings.Load(file.Name());
  file.Rewrite("<add key=\"k\" value=\"changed\"/>");
  settings.Load(file.Name());
  EXPECT_EQ(settings.Get("k"), "first") << "the same name again reads nothing";

  EXPECT_EQ(MessageOf([&] { settings.Load(other.Name()); }),
            "Already loaded the " + file.Name() + " settings file.\r\nAttempt to load a  second different settings file: " +
                other.Name() + ".");
  EXPECT_EQ(settings.Get("k"), "first");
  EXPECT_EQ(settings.LoadedFileName(), file.Name());
}

TEST(SettingsHelperTest, EmptyNameFails) {
  SettingsHelper settings;
  EXPECT_EQ(MessageOf([&] { settings.Load(""); }), "The settings file name is NULL or empty.");
  EXPECT_EQ(settings.LoadedFileName(), "");
}

TEST(SettingsHelperTest, BareNameIsLookedForBesideTheHost) {
  const fs::path hostFolder = HostFolder();
  const std::string name = UniqueName("ondrel_settings_") + ".config";
  const SettingsFile file(hostFolder / name, "<add key=\"DICOMfiles\" value=\"beside\"/>");
  SettingsHelper settings;
  settings.Load(name);
  EXPECT_EQ(settings.LoadedFileName(), (hostFolder / name).string());
  EXPECT_EQ(settings.Get("DICOMfiles"), "beside");
}

}  // namespace
