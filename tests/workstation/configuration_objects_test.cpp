#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "ondrel/platform/bstr.h"
#include "workstation/configuration_files.h"

namespace {

using configuration_test::ConfigFile;
using configuration_test::Reader;
using ondrel::platform::BStr;
using ondrel::platform::ComPtr;

template <class Interface>
ComPtr<Interface> Make(REFCLSID clsid) {
  ComPtr<Interface> object;
  EXPECT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IidOf<Interface>(),
                             reinterpret_cast<void**>(object.ReleaseAndGetAddressOf())),
            S_OK);
  return object;
}

// CRLF endings and a byte-order mark, as a Windows editor saves the file; "\xC3\x9C" is U+00DC in
// UTF-8 and "\xDC" the same letter in Windows-1252.
const char kPreferences[] =
    "\xEF\xBB\xBF<appSettings>\r\n"
    "  <add key=\"size\" value=\" 14 \"/>\r\n"
    "  <add key=\"negative\" value=\"-3\"/>\r\n"
    "  <add key=\"unit\" value=\"12px\"/>\r\n"
    "  <add key=\"tooBig\" value=\"2147483648\"/>\r\n"
    "  <add key=\"rgb\" value=\"#FF8000\"/>\r\n"
    "  <add key=\"argb\" value=\"#ffff80ff\"/>\r\n"
    "  <add key=\"unsigned\" value=\"4294934783\"/>\r\n"
    "  <add key=\"threeDigits\" value=\"#F80\"/>\r\n"
    "  <add key=\"repeated\" value=\"1\"/>\r\n"
    "  <add key=\"repeated\" value=\"2\"/>\r\n"
    "  <add value=\"9\" key=\"valueFirst\"/>\r\n"
    "  <add key=\"utf8\" value=\"\xC3\x9C\x62\x65rsicht\"/>\r\n"
    "  <add key=\"ansi\" value=\"\xDC\x62\x65rsicht\"/>\r\n"
    "  <add key=\"last\" value=\"no line end\"/>";

TEST(ConfigurationObjectsTest, UserPreferencesReadNumbersAndColoursOrGiveTheDefault) {
  const configuration_test::WorkstationClasses classes;
  const ConfigFile file(Reader::UserPreferences, kPreferences);
  const ComPtr<IUserPreferences> preferences = Make<IUserPreferences>(CLSID_UserPreferences);
  struct Row {
    const char* what;
    const char16_t* key;
    bool color;
    HRESULT hr;
    LONG value;  // the default is -99
  };
  const Row rows[] = {
      {"blanks around a number", u"size", false, S_OK, 14},
      {"a sign", u"negative", false, S_OK, -3},
      {"text after the digits", u"unit", false, S_FALSE, -99},
      {"beyond 32 bits", u"tooBig", false, S_FALSE, -99},
      {"the last repeat wins", u"repeated", false, S_OK, 2},
      {"value= before key= is not read", u"valueFirst", false, S_FALSE, -99},
      {"an absent key", u"absent", false, S_FALSE, -99},
      {"a null key", nullptr, false, S_FALSE, -99},
      {"#RRGGBB keeps red in bits 16-23", u"rgb", true, S_OK, 0x00FF8000},
      {"#AARRGGBB", u"argb", true, S_OK, -32513},
      {"an unsigned decimal of the 32 bits", u"unsigned", true, S_OK, -32513},
      {"three digits are not a colour", u"threeDigits", true, S_FALSE, -99},
      {"an absent colour", u"absent", true, S_FALSE, -99},
  };
  for (const Row& row : rows) {
    const BStr key = row.key ? BStr(row.key) : BStr();
    LONG value = 0;
    const HRESULT hr = row.color ? preferences->ReadColor(key.Get(), -99, &value)
                                 : preferences->ReadInteger(key.Get(), -99, &value);
    EXPECT_EQ(hr, row.hr) << row.what;
    EXPECT_EQ(value, row.value) << row.what;
  }
  EXPECT_EQ(preferences->ReadInteger(BStr(u"size").Get(), 0, nullptr), E_POINTER);
}

TEST(ConfigurationObjectsTest, UserPreferencesReadTextsOrACopyOfTheDefault) {
  const configuration_test::WorkstationClasses classes;
  const ConfigFile file(Reader::UserPreferences, kPreferences);
  const ComPtr<IUserPreferences> preferences = Make<IUserPreferences>(CLSID_UserPreferences);
  const BStr fallback(u"fallback");
  struct Row {
    const char* what;
    const char16_t* key;
    BSTR defaultValue;
    HRESULT hr;
    const char16_t* value;  // null: a null BSTR
  };
  const Row rows[] = {
      {"UTF-8", u"utf8", fallback.Get(), S_OK, u"\u00DCbersicht"},
      {"a line that is not UTF-8 is Windows-1252", u"ansi", fallback.Get(), S_OK, u"\u00DCbersicht"},
      {"a number as text", u"size", fallback.Get(), S_OK, u" 14 "},
      {"a last line without line end", u"last", fallback.Get(), S_OK, u"no line end"},
      {"an absent key gives the default", u"absent", fallback.Get(), S_FALSE, u"fallback"},
      {"a null default stays null", u"absent", nullptr, S_FALSE, nullptr},
  };
  for (const Row& row : rows) {
    BStr value;
    EXPECT_EQ(preferences->ReadString(BStr(row.key).Get(), row.defaultValue, value.Out()), row.hr) << row.what;
    EXPECT_EQ(value.IsNull(), row.value == nullptr) << row.what;
    if (row.value) {
      EXPECT_EQ(value.ToString(), row.value) << row.what;
    }
  }
  EXPECT_EQ(preferences->ReadString(BStr(u"size").Get(), nullptr, nullptr), E_POINTER);
}

TEST(ConfigurationObjectsTest, AMissingFileHoldsNoKeysAndAnObjectKeepsWhatItRead) {
  const configuration_test::WorkstationClasses classes;
  ComPtr<IUserPreferences> before;
  {
    const ConfigFile file(Reader::UserPreferences, "<add key=\"size\" value=\"14\"/>");
    before = Make<IUserPreferences>(CLSID_UserPreferences);
    SetUserPreferencesFile((file.Path().u16string() + u".absent"));
    const ComPtr<IUserPreferences> missing = Make<IUserPreferences>(CLSID_UserPreferences);
    LONG value = 0;
    EXPECT_EQ(missing->ReadInteger(BStr(u"size").Get(), 8, &value), S_FALSE);
    EXPECT_EQ(value, 8);
  }
  LONG value = 0;
  EXPECT_EQ(before->ReadInteger(BStr(u"size").Get(), 8, &value), S_OK) << "its file is gone";
  EXPECT_EQ(value, 14);
}

TEST(ConfigurationObjectsTest, GlobalConfigurationGivesATextOrNothing) {
  const configuration_test::WorkstationClasses classes;
  const ConfigFile file(Reader::GlobalConfiguration,
                        "<add key=\"resMeasMean\" value=\"Mittelwert=%.2f%s\"/>\n<add key=\"resOverlaySex\" value=\"\"/>\n");
  const ComPtr<IGlobalConfiguration> configuration = Make<IGlobalConfiguration>(CLSID_GlobalConfiguration);
  using Lookup = HRESULT (IGlobalConfiguration::*)(BSTR, BSTR*);
  for (const Lookup lookup : {&IGlobalConfiguration::GetConfigurationString, &IGlobalConfiguration::GetText}) {
    BStr text;
    EXPECT_EQ((configuration.Get()->*lookup)(BStr(u"resMeasMean").Get(), text.Out()), S_OK);
    EXPECT_EQ(text.ToString(), u"Mittelwert=%.2f%s");
    EXPECT_EQ((configuration.Get()->*lookup)(BStr(u"resOverlaySex").Get(), text.Out()), S_OK);
    EXPECT_FALSE(text.IsNull()) << "an empty text is a text";
    EXPECT_EQ((configuration.Get()->*lookup)(BStr(u"resMeasAreaCalibrated").Get(), text.Out()), S_FALSE);
    EXPECT_TRUE(text.IsNull());
    EXPECT_EQ((configuration.Get()->*lookup)(nullptr, text.Out()), S_FALSE);
    EXPECT_EQ((configuration.Get()->*lookup)(BStr(u"resMeasMean").Get(), nullptr), E_POINTER);
  }
}

TEST(ConfigurationObjectsTest, TheShippedTextsKeepTheConversionsTheCoreFormatsWith) {
  const configuration_test::WorkstationClasses classes;
  const configuration_test::Redirection shipped(Reader::GlobalConfiguration,
                                                ONDREL_DATA_DIR "/GlobalConfiguration.config");
  const ComPtr<IGlobalConfiguration> configuration = Make<IGlobalConfiguration>(CLSID_GlobalConfiguration);
  const std::pair<const char16_t*, const char16_t*> rows[] = {
      {u"resOverlaySex", u"Sex:"},
      {u"resOverlayImageNr", u"Image#:"},
      {u"resOverlayWL", u"W:%d L:%d"},
      {u"resOverlayThreshold", u"Filter threshold:"},
      {u"resMeasAreaCalibrated", u"Area=%.0f sq mm"},
      {u"resMeasAreaNotCalibrated", u"Area=%.0f sq px"},
      {u"resMeasMean", u"Mean=%.2f%s"},
  };
  for (const auto& [key, english] : rows) {
    BStr text;
    EXPECT_EQ(configuration->GetText(BStr(key).Get(), text.Out()), S_OK);
    EXPECT_EQ(text.ToString(), english);
  }
}

// The connection string is process-wide and can't be unset, so its state before the first set is
// left untested: it would hold only for the first test of a process that sets it.
TEST(ConfigurationObjectsTest, TheConnectionStringIsSharedByEveryObjectOfTheProcess) {
  const configuration_test::WorkstationClasses classes;
  const ComPtr<IGlobalConfiguration> earlier = Make<IGlobalConfiguration>(CLSID_GlobalConfiguration);
  BStr text;
  EXPECT_EQ(earlier->SetConnectionString(BStr(u"postgresql://reader@pacs/ondrel").Get()), S_OK);
  const ComPtr<IGlobalConfiguration> later = Make<IGlobalConfiguration>(CLSID_GlobalConfiguration);
  EXPECT_EQ(later->GetConnectionString(text.Out()), S_OK);
  EXPECT_EQ(text.ToString(), u"postgresql://reader@pacs/ondrel");
  EXPECT_EQ(later->SetConnectionString(nullptr), S_OK);
  EXPECT_EQ(earlier->GetConnectionString(text.Out()), S_OK);
  EXPECT_EQ(text.ToString(), u"") << "a null text sets the empty text";
  EXPECT_FALSE(text.IsNull());
  EXPECT_EQ(earlier->GetConnectionString(nullptr), E_POINTER);
}

TEST(ConfigurationObjectsTest, TheClassesAreRegisteredByProgramIdentifier) {
  const configuration_test::WorkstationClasses classes;
  for (const auto& [progId, clsid] : {std::pair(u"Ondrel.UserPreferences", CLSID_UserPreferences),
                                      std::pair(u"Ondrel.GlobalConfiguration", CLSID_GlobalConfiguration)}) {
    CLSID found{};
    EXPECT_EQ(CLSIDFromProgID(progId, &found), S_OK);
    EXPECT_EQ(found, clsid);
  }
}

}  // namespace
