#include "foundation/settings_helper.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "test_files.h"

namespace {

namespace fs = std::filesystem;

// A settings file with the given text, removed at the end.
struct SettingsFile {
  SettingsFile(const std::string& text, const fs::path& folder = fs::temp_directory_path())
      : path(folder / foundation_test::UniqueName("ondrel_settings_")) {
    std::ofstream(path, std::ios::binary) << text;
  }
  ~SettingsFile() { fs::remove(path); }
  const fs::path path;
};

// The message of a failure, without the idiom's " File=settings_helper.cpp, Line=N".
std::string MessageOf(const std::function<void()>& action) {
  const std::string what = foundation_test::WhatOf(action);
  return what.substr(0, what.rfind(" File=settings_helper.cpp, Line="));
}

TEST(SettingsHelperTest, ReadsOneEntryPerLineAsScanned) {
  const SettingsFile file(
      "  <appSettings>\r\n    <add key=\"DbConnectionString\" value=\"Server=db; User=a&amp;b <x>\" />\r\n"
      "    <add value=\"before\" key=\"ValueFirst\"/>\r\n"
      "    <add key='Single' value='quoted'/>\r\n"
      "    <add key=\"First\" value=\"1\"/><add key=\"Second\" value=\"2\"/>\r\n"
      "    <!-- <add key=\"Commented\" value=\"live\"/> -->\r\n"
      "    <add key=\"Repeated\" value=\"old\"/>\r\n"
      "    <add key=\"Repeated\" value=\"new\"/>\r\n  </appSettings>\r\n");
  SettingsHelper settings;
  settings.Load(file.path.string());
  const std::tuple<const char*, const char*, const char*> rows[] = {  // what, key, value (null: missing)
      {"anything but a double quote, unescaped", "DbConnectionString", "Server=db; User=a&amp;b <x>"},
      {"value= before key= is not seen", "ValueFirst", nullptr},
      {"single quotes are not recognised", "Single", nullptr},
      {"the first entry of a line", "First", "1"},
      {"the second entry of a line is lost", "Second", nullptr},
      {"a commented-out entry is live", "Commented", "live"},
      {"the last repeat wins", "Repeated", "new"},
  };
  for (const auto& [what, key, value] : rows) {
    std::string got;
    const std::string message = MessageOf([&] { got = settings.Get(key); });
    EXPECT_EQ(value ? got : message, value ? value : "Cannot find the " + std::string(key) + " setting key.") << what;
  }
}

TEST(SettingsHelperTest, LoadsOneFileOnce) {
  const SettingsFile file("<add key=\"k\" value=\"first\"/>"), other("");
  SettingsHelper settings;
  EXPECT_EQ(MessageOf([&] { settings.Load(""); }), "The settings file name is NULL or empty.");
  settings.Load(file.path.string());
  std::ofstream(file.path, std::ios::binary) << "<add key=\"k\" value=\"changed\"/>";
  settings.Load(file.path.string());
  EXPECT_EQ(settings.Get("k"), "first") << "the same name again reads nothing";
  EXPECT_EQ(MessageOf([&] { settings.Load(other.path.string()); }),
            "Already loaded the " + file.path.string() +
                " settings file.\r\nAttempt to load a  second different settings file: " + other.path.string() + ".");
}

TEST(SettingsHelperTest, BareNameIsLookedForBesideTheHostAndAMissingFileHoldsNothing) {
  const SettingsFile file("<add key=\"DICOMfiles\" value=\"/srv/dicom\"/>", foundation_test::HostFolder());
  SettingsHelper settings, missing;
  settings.Load(file.path.filename().string());
  EXPECT_EQ(settings.Get("DICOMfiles"), "/srv/dicom");
  missing.Load(file.path.string() + ".absent");
  EXPECT_EQ(MessageOf([&] { missing.Get("DICOMfiles"); }), "Cannot find the DICOMfiles setting key.");
}

}  // namespace
