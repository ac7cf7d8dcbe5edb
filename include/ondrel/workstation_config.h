// The workstation's configuration objects: the user's preferences (fonts, colours and sizes of what
// the core draws over images) and the global configuration (the texts shown to the user, and the
// database connection string handed from the host's settings to every store).
//
// Both are COM classes of the process-wide class table, made with CoCreateInstance once
// RegisterWorkstationClasses has run. Each object reads its file when it is made, from beside the host
// executable unless another file is named below: "UserPreferences.config" and
// "GlobalConfiguration.config", which a user may edit. Their entries are lines of the form
//   <add key="..." value="..."/>
// read as the core reads its settings file: one entry per line, the last entry of a repeated key
// wins, a value holds anything but a double quote and nothing is unescaped. Files are UTF-8 (a line
// that is not valid UTF-8 is read as Windows-1252). A missing file holds no keys; that is no failure.
//
// Keys are compared exactly, case included, and read as null-terminated texts. A null key is a key
// that no file holds. Every BSTR given out is the caller's to free.
#pragma once

#include <string_view>

#include "ondrel/platform/bstr.h"
#include "ondrel/platform/com.h"

struct IUserPreferences : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("8B7678C1-724F-456C-A96D-0062980FF131");
  // The text of `key`: S_OK and a new BSTR of the file's value when the file holds the key; else
  // S_FALSE and a copy of `defaultValue` (null when it is null). E_POINTER for a null `value`,
  // E_OUTOFMEMORY (and null) when the copy can't be made.
  virtual HRESULT ReadString(BSTR key, BSTR defaultValue, BSTR* value) = 0;
  // The whole number of `key`, a decimal with an optional sign, blanks around it allowed: S_OK when the
  // file holds it; S_FALSE and `defaultValue` when the key is absent or its value is not such a number
  // of 32 bits. E_POINTER for a null `value`.
  virtual HRESULT ReadInteger(BSTR key, LONG defaultValue, LONG* value) = 0;
  // The colour of `key` as the workstation keeps colours: blue in bits 0-7, green in 8-15, red in
  // 16-23 and alpha, mostly 0, in 24-31. The file writes it as "#RRGGBB", "#AARRGGBB" (hexadecimal
  // digits of either case) or as the decimal number of those bits, signed or not. S_OK when the file
  // holds it; S_FALSE and `defaultValue` when the key is absent or its value is none of those forms.
  // E_POINTER for a null `value`.
  virtual HRESULT ReadColor(BSTR key, LONG defaultValue, LONG* value) = 0;

 protected:
  ~IUserPreferences() = default;
};

struct IGlobalConfiguration : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("90946098-F2F3-4F26-9DAE-0BF1AD8A406B");
  // The configured text of `key` (the "res..." texts of labels and measurements, which may hold
  // printf conversions that the caller formats with): S_OK and a new BSTR when the file holds the
  // key, even with an empty value; S_FALSE and null when it doesn't. E_POINTER for a null `text`,
  // E_OUTOFMEMORY (and null) when the copy can't be made.
  virtual HRESULT GetConfigurationString(BSTR key, BSTR* text) = 0;
  // The text shown to the user for `key`: the same table and the same answers as
  // GetConfigurationString.
  virtual HRESULT GetText(BSTR key, BSTR* text) = 0;
  // Sets the database connection string for the whole process: every GlobalConfiguration object, made
  // before or after, reads it back. A null BSTR sets the empty text. S_OK, or E_OUTOFMEMORY with the
  // former string kept.
  virtual HRESULT SetConnectionString(BSTR text) = 0;
  // The connection string last set in this process: S_OK and a new BSTR; S_FALSE and null when none
  // has been set. E_POINTER for a null `text`, E_OUTOFMEMORY (and null) when the copy can't be made.
  virtual HRESULT GetConnectionString(BSTR* text) = 0;

 protected:
  ~IGlobalConfiguration() = default;
};

inline constexpr IID IID_IUserPreferences = IUserPreferences::kIid;
inline constexpr IID IID_IGlobalConfiguration = IGlobalConfiguration::kIid;
// Program identifiers "Ondrel.UserPreferences" and "Ondrel.GlobalConfiguration".
inline constexpr CLSID CLSID_UserPreferences = MakeGuid("2B5F9925-0C39-4238-AF7F-7890F57FB657");
inline constexpr CLSID CLSID_GlobalConfiguration = MakeGuid("70C8E781-AD45-4904-AD5A-03D7DF491723");

// The files that objects made from now on read, for a host that keeps them elsewhere and for tests:
// a full path (UTF-16), or empty for the default file beside the host executable. Objects already
// made keep what they read.
void SetUserPreferencesFile(std::u16string_view path);
void SetGlobalConfigurationFile(std::u16string_view path);
