// The UserPreferences and GlobalConfiguration classes and the files they read.
#include "workstation/configuration_objects.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/config_entries.h"
#include "ondrel/platform/codepage.h"
#include "ondrel/platform/system.h"
#include "ondrel/workstation_config.h"

namespace ondrel::workstation {
namespace {

using Entries = std::map<std::u16string, std::u16string>;

struct FileNames {
  std::mutex lock;
  std::u16string userPreferences;
  std::u16string globalConfiguration;
};
FileNames& ConfiguredFiles() {
  static FileNames names;
  return names;
}

// The folder of the host executable with its trailing '/', or empty when its path can't be had.
std::u16string HostFolder() {
  std::vector<char16_t> buffer(MAX_PATH);
  while (true) {
    const DWORD size = static_cast<DWORD>(buffer.size());
    const DWORD length = GetModuleFileNameW(nullptr, buffer.data(), size);
    if (length == 0) return {};
    if (length < size) {
      const std::u16string path(buffer.data(), length);
      const std::size_t slash = path.rfind(u'/');
      return slash == std::u16string::npos ? std::u16string() : path.substr(0, slash + 1);
    }
    buffer.resize(buffer.size() * 2);
  }
}

std::u16string FileToRead(std::u16string FileNames::*configured, std::u16string_view defaultName) {
  FileNames& names = ConfiguredFiles();
  {
    const std::lock_guard<std::mutex> guard(names.lock);
    if (!(names.*configured).empty()) return names.*configured;
  }
  return HostFolder() + std::u16string(defaultName);
}

std::optional<std::string> ReadFileBytes(const std::u16string& path) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return std::nullopt;
  std::string bytes;
  char block[16384];
  DWORD read = 0;
  while (ReadFile(file, block, sizeof block, &read, nullptr) && read > 0) bytes.append(block, read);
  CloseHandle(file);
  return bytes;
}

std::u16string Decode(std::string_view line, UINT codePage) {
  const int length = static_cast<int>(line.size());
  const int needed = MultiByteToWideChar(codePage, 0, line.data(), length, nullptr, 0);
  if (needed <= 0) return {};
  std::u16string text(static_cast<std::size_t>(needed), u'\0');
  MultiByteToWideChar(codePage, 0, line.data(), length, text.data(), needed);
  return text;
}

// UTF-8 as an editor of today saves it; a line that is not valid UTF-8 comes from an older editor
// that wrote the workstation's ANSI code page.
std::u16string DecodeLine(std::string_view line) {
  if (line.empty()) return {};
  std::u16string text = Decode(line, CP_UTF8);
  return text.empty() ? Decode(line, CP_WINDOWS_1252) : text;
}

Entries ReadEntries(const std::u16string& path) {
  Entries entries;
  const std::optional<std::string> bytes = ReadFileBytes(path);
  if (!bytes) return entries;
  std::string_view rest(*bytes);
  if (rest.starts_with("\xEF\xBB\xBF")) rest.remove_prefix(3);
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    const std::u16string text = DecodeLine(line);
    if (const auto entry = ScanAddEntry(std::u16string_view(text)))
      entries[std::u16string(entry->first)] = entry->second;
  }
  return entries;
}

const std::u16string* Find(const Entries& entries, BSTR key) {
  if (key == nullptr) return nullptr;
  // Read up to the null rather than by the BSTR's length, so that a caller passing a plain wide
  // literal is served as well.
  const auto found = entries.find(std::u16string(key));
  return found == entries.end() ? nullptr : &found->second;
}

HRESULT CopyOut(std::u16string_view text, BSTR* out) {
  *out = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  return *out == nullptr ? E_OUTOFMEMORY : S_OK;
}

// The value without the blanks and tabs around it, in ASCII; nothing when it holds other characters.
std::optional<std::string> AsciiNumberText(const std::u16string& value) {
  const std::size_t first = value.find_first_not_of(u" \t");
  if (first == std::u16string::npos) return std::nullopt;
  const std::size_t last = value.find_last_not_of(u" \t");
  std::string text;
  for (std::size_t i = first; i <= last; ++i) {
    if (value[i] >= 0x80) return std::nullopt;
    text += static_cast<char>(value[i]);
  }
  return text;
}

std::optional<long long> ParseWhole(std::string_view text, int base) {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  long long number = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (text.empty() || error != std::errc() || stop != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<LONG> ParseInteger(const std::u16string& value) {
  const std::optional<std::string> text = AsciiNumberText(value);
  if (!text) return std::nullopt;
  const std::optional<long long> number = ParseWhole(*text, 10);
  if (!number || *number < std::numeric_limits<LONG>::min() || *number > std::numeric_limits<LONG>::max())
    return std::nullopt;
  return static_cast<LONG>(*number);
}

std::optional<LONG> ParseColor(const std::u16string& value) {
  const std::optional<std::string> text = AsciiNumberText(value);
  if (!text) return std::nullopt;
  std::optional<long long> number;
  if (text->starts_with('#')) {
    const std::string_view digits = std::string_view(*text).substr(1);
    if ((digits.size() == 6 || digits.size() == 8) && digits.find_first_of("+-") == std::string_view::npos)
      number = ParseWhole(digits, 16);
  } else {
    number = ParseWhole(*text, 10);
  }
  // Signed or unsigned, the number stands for the 32 bits of the colour.
  if (!number || *number < std::numeric_limits<LONG>::min() || *number > std::numeric_limits<std::uint32_t>::max())
    return std::nullopt;
  return static_cast<LONG>(static_cast<std::uint32_t>(*number));
}

template <class Parse>
HRESULT ReadNumber(const Entries& entries, BSTR key, LONG defaultValue, LONG* value, Parse parse) {
  if (value == nullptr) return E_POINTER;
  const std::u16string* text = Find(entries, key);
  const std::optional<LONG> number = text ? parse(*text) : std::nullopt;
  *value = number.value_or(defaultValue);
  return number ? S_OK : S_FALSE;
}

class UserPreferences final : public platform::ComObject<IUserPreferences> {
 public:
  UserPreferences()
      : entries_(ReadEntries(FileToRead(&FileNames::userPreferences, u"UserPreferences.config"))) {}

  HRESULT ReadString(BSTR key, BSTR defaultValue, BSTR* value) override {
    if (value == nullptr) return E_POINTER;
    if (const std::u16string* text = Find(entries_, key)) return CopyOut(*text, value);
    *value = nullptr;
    if (defaultValue == nullptr) return S_FALSE;
    return SUCCEEDED(CopyOut({defaultValue, SysStringLen(defaultValue)}, value)) ? S_FALSE : E_OUTOFMEMORY;
  }
  HRESULT ReadInteger(BSTR key, LONG defaultValue, LONG* value) override {
    return ReadNumber(entries_, key, defaultValue, value, ParseInteger);
  }
  HRESULT ReadColor(BSTR key, LONG defaultValue, LONG* value) override {
    return ReadNumber(entries_, key, defaultValue, value, ParseColor);
  }

 private:
  const Entries entries_;
};

struct ConnectionString {
  std::mutex lock;
  std::optional<std::u16string> text;
};
ConnectionString& ProcessConnectionString() {
  static ConnectionString connection;
  return connection;
}

class GlobalConfiguration final : public platform::ComObject<IGlobalConfiguration> {
 public:
  GlobalConfiguration()
      : entries_(ReadEntries(FileToRead(&FileNames::globalConfiguration, u"GlobalConfiguration.config"))) {}

  HRESULT GetConfigurationString(BSTR key, BSTR* text) override {
    if (text == nullptr) return E_POINTER;
    *text = nullptr;
    const std::u16string* value = Find(entries_, key);
    return value ? CopyOut(*value, text) : S_FALSE;
  }
  HRESULT GetText(BSTR key, BSTR* text) override { return GetConfigurationString(key, text); }
  HRESULT SetConnectionString(BSTR text) override {
    ConnectionString& connection = ProcessConnectionString();
    try {
      std::u16string value(text == nullptr ? u"" : std::u16string_view(text, SysStringLen(text)));
      const std::lock_guard<std::mutex> guard(connection.lock);
      connection.text = std::move(value);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    return S_OK;
  }
  HRESULT GetConnectionString(BSTR* text) override {
    if (text == nullptr) return E_POINTER;
    *text = nullptr;
    ConnectionString& connection = ProcessConnectionString();
    const std::lock_guard<std::mutex> guard(connection.lock);
    return connection.text ? CopyOut(*connection.text, text) : S_FALSE;
  }

 private:
  const Entries entries_;
};

void SetFile(std::u16string FileNames::*configured, std::u16string_view path) {
  FileNames& names = ConfiguredFiles();
  const std::lock_guard<std::mutex> guard(names.lock);
  names.*configured = std::u16string(path);
}

}  // namespace

HRESULT RegisterUserPreferencesClass(REFCLSID clsid, LPCOLESTR progId) {
  return platform::RegisterComClass<UserPreferences>(clsid, progId);
}

HRESULT RegisterGlobalConfigurationClass(REFCLSID clsid, LPCOLESTR progId) {
  return platform::RegisterComClass<GlobalConfiguration>(clsid, progId);
}

}  // namespace ondrel::workstation

void SetUserPreferencesFile(std::u16string_view path) {
  ondrel::workstation::SetFile(&ondrel::workstation::FileNames::userPreferences, path);
}

void SetGlobalConfigurationFile(std::u16string_view path) {
  ondrel::workstation::SetFile(&ondrel::workstation::FileNames::globalConfiguration, path);
}
