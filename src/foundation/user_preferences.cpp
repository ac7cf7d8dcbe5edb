#include "foundation/user_preferences.h"

#include <cstdint>
#include <cstdio>

#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "ondrel/platform/bstr.h"
#include "ondrel/workstation_config.h"

UserPreferenceValues& Preferences() {
  static UserPreferenceValues values;
  return values;
}

namespace {

using ondrel::platform::BStr;
using ondrel::platform::ComPtr;

ComPtr<IUserPreferences>& PreferencesObject() {
  static ComPtr<IUserPreferences> object;
  return object;
}

// The workstation keeps red in bits 16-23; the display wants it in the low byte. Alpha is dropped: a
// COLORREF's high byte must stay zero.
COLORREF FromWorkstationColor(LONG stored) {
  const auto bits = static_cast<std::uint32_t>(stored);
  return RGB(static_cast<BYTE>(bits >> 16), static_cast<BYTE>(bits >> 8), static_cast<BYTE>(bits));
}

LONG ToWorkstationColor(COLORREF color) {
  return static_cast<LONG>((static_cast<std::uint32_t>(GetRValue(color)) << 16) |
                           (static_cast<std::uint32_t>(GetGValue(color)) << 8) | GetBValue(color));
}

void ReadText(IUserPreferences* object, const char16_t* key, std::string& variable, const char* defaultValue) {
  const BStr keyText{std::u16string_view(key)};
  const BStr defaultText{ToWide(defaultValue)};
  BStr value;
  CHECK_COM_CALL(object->ReadString(keyText.Get(), defaultText.Get(), value.Out()), object, IID_IUserPreferences);
  variable = ToNarrow(value.View());
}

void ReadInteger(IUserPreferences* object, const char16_t* key, int& variable, int defaultValue) {
  const BStr keyText{std::u16string_view(key)};
  LONG value = 0;
  CHECK_COM_CALL(object->ReadInteger(keyText.Get(), defaultValue, &value), object, IID_IUserPreferences);
  variable = value;
}

// The default goes to the object in the workstation's order, so that a key the user has not set
// gives the same colour as no object at all.
void ReadColor(IUserPreferences* object, const char16_t* key, COLORREF& variable, COLORREF defaultValue) {
  const BStr keyText{std::u16string_view(key)};
  LONG value = 0;
  CHECK_COM_CALL(object->ReadColor(keyText.Get(), ToWorkstationColor(defaultValue), &value), object,
                 IID_IUserPreferences);
  variable = FromWorkstationColor(value);
}

}  // namespace

void StartUserPreferences(bool createObject) {
  ComPtr<IUserPreferences>& object = PreferencesObject();
  if (createObject && !object) {
    const HRESULT hr = CoCreateInstance(CLSID_UserPreferences, nullptr, CLSCTX_ALL, IID_IUserPreferences,
                                        reinterpret_cast<void**>(object.ReleaseAndGetAddressOf()));
    if (FAILED(hr)) {
      char text[128];
      std::snprintf(text, sizeof text, "The Ondrel failed to create the UserPreferences object. HRESULT=%0X",
                    static_cast<unsigned>(hr));
      throw MyException(ToWide(text));
    }
  }
  if (!object) {
    Preferences() = UserPreferenceValues{};
    return;
  }
  UserPreferenceValues& values = Preferences();
#define ONDREL_READ_USER_PREFERENCE(Kind, Name, Default) Read##Kind(object.Get(), u"" #Name, values.Name, Default);
  ONDREL_USER_PREFERENCES(ONDREL_READ_USER_PREFERENCE)
#undef ONDREL_READ_USER_PREFERENCE
}

void ReleaseUserPreferences() { PreferencesObject().Reset(); }

LONG UserPreferenceColor(const char16_t* key, LONG defaultValue) {
  IUserPreferences* object = PreferencesObject().Get();
  if (object == nullptr) return defaultValue;
  const BStr keyText{std::u16string_view(key)};
  LONG value = defaultValue;
  CHECK_COM_CALL(object->ReadColor(keyText.Get(), defaultValue, &value), object, IID_IUserPreferences);
  return value;
}

namespace {

ComPtr<IGlobalConfiguration>& ConfigurationObject() {
  static ComPtr<IGlobalConfiguration> object;
  return object;
}

}  // namespace

IGlobalConfiguration* GlobalConfiguration() { return ConfigurationObject().Get(); }

HRESULT CreateGlobalConfiguration() {
  ComPtr<IGlobalConfiguration>& object = ConfigurationObject();
  if (object) return S_OK;
  return CoCreateInstance(CLSID_GlobalConfiguration, nullptr, CLSCTX_ALL, IID_IGlobalConfiguration,
                          reinterpret_cast<void**>(object.GetAddressOf()));
}

LOGFONTA UserLogFont(HDC dc, UserFont font, int pointSize) {
  if (dc == nullptr) THROW_MY_EXCEPTION("The User preferences received an invalid parameter.");
  const bool annotation = font == UserFont::Annotation;
  if (pointSize == 0) pointSize = annotation ? Preferences().userAnnotFontSize : Preferences().userOverlaysFontSize;
  LOGFONTA description{};
  description.lfHeight = -MulDiv(pointSize, GetDeviceCaps(dc, LOGPIXELSY), 72);
  (annotation ? Preferences().userAnnotFontName : Preferences().userOverlaysFontName).copy(description.lfFaceName, LF_FACESIZE - 1);
  return description;
}

HFONT CreateUserFont(HDC dc, UserFont font, int pointSize) {
  const LOGFONTA description = UserLogFont(dc, font, pointSize);
  return CreateFontIndirectA(&description);
}
