// The user's preferences as the drawing code reads them: twenty process-wide values (fonts of the
// annotations and overlays, widths and colours of measurements and lines, the magnifying glass), read
// from the workstation's UserPreferences object at each start of a component object, and the fonts
// made from them.
//
// Every value starts with its default, so that code running before the first read sees it. Colours
// are held as the display takes them, red in the low byte (COLORREF); the UserPreferences object keeps
// them with red in bits 16-23, and they are swapped on reading.
//
// The values take no lock: they are written at start-up and read on the host's user-interface
// thread, as every call of the core runs.
#pragma once

#include <string>

#include "ondrel/platform/gdi.h"
#include "ondrel/workstation_config.h"

// The preferences in reading order, as X(Kind, Name, Default): the key is the name. Kinds: Text
// (std::string, narrow), Integer (int), Color (COLORREF, its default given as a COLORREF).
#define ONDREL_USER_PREFERENCES(X)           \
  X(Text, userAnnotFontName, "Arial")        \
  X(Integer, userAnnotFontSize, 12)          \
  X(Text, userOverlaysFontName, "Arial")     \
  X(Integer, userOverlaysFontSize, 10)       \
  X(Integer, userMeasGripHandleSize, 3)      \
  X(Integer, userMeasWidth, 1)               \
  X(Color, userMeasColor, 65280)             \
  X(Color, userAnnotForeColor, 16777215)     \
  X(Color, userAnnotBackgroundColor, 0)      \
  X(Color, userCalibrationLineColor, 255)    \
  X(Color, userImageSelectionColor, 65280)   \
  X(Integer, userRefLineWidth, 1)            \
  X(Color, userRefLineColor, 65280)          \
  X(Integer, userMprLineWidth, 1)            \
  X(Color, userMprLineColor, 65280)          \
  X(Integer, userMipLineWidth, 1)            \
  X(Color, userMipLineColor, 65280)          \
  X(Integer, userMagGlassMagnification, 6)   \
  X(Integer, userMagGlassWidth, 50)          \
  X(Integer, userMagGlassHeight, 50)

#define ONDREL_USER_PREFERENCE_TYPE_Text std::string
#define ONDREL_USER_PREFERENCE_TYPE_Integer int
#define ONDREL_USER_PREFERENCE_TYPE_Color COLORREF

// One member a preference, named by its key, holding its default until read.
struct UserPreferenceValues {
#define ONDREL_DECLARE_USER_PREFERENCE(Kind, Name, Default) ONDREL_USER_PREFERENCE_TYPE_##Kind Name = Default;
  ONDREL_USER_PREFERENCES(ONDREL_DECLARE_USER_PREFERENCE)
#undef ONDREL_DECLARE_USER_PREFERENCE
};

// The preferences in force in the process. Reached through this function, never as variables of their
// own, so that a program linking the core can't end up with a second copy of them.
UserPreferenceValues& Preferences();

// Reads the twenty preferences, in the order of the list. With `createObject` and no process-wide
// UserPreferences object yet, one is made first; failing that throws MyException with the wide text
// "The Ondrel failed to create the UserPreferences object. HRESULT=%0X" (the HRESULT in upper-case
// hexadecimal). With the object each value takes its typed read, which gives the default for a key
// the user has not set; without it (`createObject` false and none made before) each takes its default.
// A failed read throws the COM failure idiom, "COM method failed. HRESULT=%x, File=%s, Line=%d", the
// values read before it keeping their new values. The object lives to the end of the process.
void StartUserPreferences(bool createObject);

// A colour read as it is needed, in the workstation's form (red in bits 16-23, alpha kept): the
// object's ReadColor of `key`, or `defaultValue` while there is no UserPreferences object. A failed read
// throws the COM failure idiom.
LONG UserPreferenceColor(const char16_t* key, LONG defaultValue);

// The process-wide GlobalConfiguration object, made on first need: null until then. CreateGlobalConfiguration
// makes it when absent and answers the HRESULT of its creation (S_OK when it was there).
IGlobalConfiguration* GlobalConfiguration();
HRESULT CreateGlobalConfiguration();

// Lets go of the process-wide UserPreferences object, so that the next start with `createObject`
// makes a new one, which reads the user's file afresh.
void ReleaseUserPreferences();

// The two fonts the core draws text with.
enum class UserFont {
  Annotation,  // measurement labels and text annotations: userAnnotFontName, userAnnotFontSize
  Overlays,    // the corner texts over an image: userOverlaysFontName, userOverlaysFontSize
};

// The description of a user font for context `dc`: the face name of the font's preference (cut to the
// 31 characters a LOGFONT holds), the height -MulDiv(pointSize, GetDeviceCaps(dc, LOGPIXELSY), 72),
// that is a character height of `pointSize` points, and every other field zero. A `pointSize` of 0
// takes the size preference of the font. Throws MyException "The User preferences received an invalid
// parameter." for a null `dc`.
LOGFONTA UserLogFont(HDC dc, UserFont font, int pointSize = 0);
// A new font of UserLogFont's description, which the caller deletes with DeleteObject; null when the
// platform can't make it. Throws as UserLogFont does.
HFONT CreateUserFont(HDC dc, UserFont font, int pointSize = 0);
