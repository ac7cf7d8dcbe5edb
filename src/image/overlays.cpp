#include "image/overlays.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/date_utils.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "foundation/user_preferences.h"

using ondrel::platform::BStr;

namespace {

bool g_overlaysVisible = true;

constexpr int kMargin = 2;
// The sex line is formatted into ten wide characters, the last of them the terminating null.
constexpr std::size_t kSexLineLength = 9;

struct Labels {
  std::u16string sex;
  std::u16string imageNumber;
  std::u16string windowLevel;
  std::u16string threshold;
};

// The configured text of `key`, or `fallback` when there is no configuration or it lacks the key. An
// empty configured text is the user's choice and is kept.
std::u16string ConfiguredText(const char16_t* key, const char16_t* fallback) {
  IGlobalConfiguration* configuration = GlobalConfiguration();
  if (configuration == nullptr) return fallback;
  BStr text;
  if (configuration->GetConfigurationString(BStr(key).Get(), text.Out()) != S_OK || text.IsNull()) return fallback;
  return text.ToString();
}

const Labels& OverlayLabels() {
  static const Labels labels{ConfiguredText(u"resOverlaySex", u"Sex:"),
                             ConfiguredText(u"resOverlayImageNr", u"Image#:"),
                             ConfiguredText(u"resOverlayWL", u"W:%d L:%d"),
                             ConfiguredText(u"resOverlayThreshold", u"Filter threshold:")};
  return labels;
}

std::u16string Number(LONG value) {
  const std::string digits = std::to_string(value);
  return std::u16string(digits.begin(), digits.end());
}

// The window/level label with its "%d" conversions replaced by the window, then the level, and "%%"
// by "%". Anything else is shown as written: the label is a text a user may edit, and must not make
// the formatting read values that were never passed.
std::u16string FormatWindowLevel(std::u16string_view label, LONG window, LONG level) {
  std::u16string text;
  int used = 0;
  for (std::size_t i = 0; i < label.size(); ++i) {
    const bool conversion = label[i] == u'%' && i + 1 < label.size();
    if (conversion && label[i + 1] == u'%') {
      text += u'%';
      ++i;
    } else if (conversion && label[i + 1] == u'd' && used < 2) {
      text += Number(used++ == 0 ? window : level);
      ++i;
    } else {
      text += label[i];
    }
  }
  return text;
}

void AddText(std::vector<std::u16string>& lines, const ImageInfoStrategy::Text& text) {
  if (!text.IsNull() && text.Length() != 0) lines.push_back(text.ToString());
}

// A date with its time, or with `withTime` false the date alone; nothing for no date (0) or a value
// that is no calendar time.
void AddDate(std::vector<std::u16string>& lines, DATE value, bool withTime) {
  if (value == 0.0) return;
  std::u16string date;
  std::u16string time;
  if (!DateValueToDisplay(value, date, time)) return;
  lines.push_back(withTime ? date + u" " + time : date);
}

// The font height in points: the user's overlay size scaled by the viewport's share of the desktop's
// height, doubled. Saturated to the range of an int, which only an absurd preference could leave.
int FontPoints(const RECT& client) {
  RECT desktop{};
  if (!GetClientRect(GetDesktopWindow(), &desktop) || desktop.bottom - desktop.top == 0)
    THROW_MY_EXCEPTION("Failed to get the desktop window rectangle.");
  const double size = Preferences().userOverlaysFontSize * (std::fabs((client.bottom - client.top) * 1.2) /
                                              static_cast<double>(desktop.bottom - desktop.top));
  return static_cast<int>(std::clamp(std::trunc(size + size), double{INT_MIN}, double{INT_MAX}));
}

// Selects a font into a context for its lifetime, then restores the former one and deletes the font.
class SelectedFont {
 public:
  SelectedFont(HDC dc, HFONT font)
      : dc_(dc), font_(font), previous_(font != nullptr ? SelectObject(dc, font) : nullptr) {}
  ~SelectedFont() {
    if (previous_ != nullptr) SelectObject(dc_, previous_);
    if (font_ != nullptr) DeleteObject(font_);
  }
  SelectedFont(const SelectedFont&) = delete;
  SelectedFont& operator=(const SelectedFont&) = delete;

 private:
  HDC dc_;
  HFONT font_;
  HGDIOBJ previous_;
};

enum Corner { kTopLeft = 0, kTopRight = 1, kBottomLeft = 2, kBottomRight = 3 };

// Writes `lines` down from the top or up from the bottom of the corner, the first line nearest the
// edge; right corners align each line's end with the right edge.
void DrawCorner(HDC dc, const RECT& client, const std::vector<std::u16string>& lines, Corner corner) {
  const int points = FontPoints(client);
  SetTextColor(dc, RGB(255, 255, 255));
  SetBkColor(dc, RGB(0, 0, 0));
  SetBkMode(dc, TRANSPARENT);
  const SelectedFont font(dc, CreateUserFont(dc, UserFont::Overlays, points));

  const bool right = corner == kTopRight || corner == kBottomRight;
  const bool bottom = corner == kBottomLeft || corner == kBottomRight;
  SIZE extent{};
  GetTextExtentPoint32A(dc, "X", 1, &extent);
  const LONG height = extent.cy;
  LONG x = kMargin;
  LONG y = bottom ? client.bottom - kMargin - height : kMargin;
  for (const std::u16string& line : lines) {
    const std::string text = ToNarrow(line);
    if (right) {
      // An empty line is measured as "X", so that it keeps its place as wide as a character.
      const std::string measured = text.empty() ? std::string("X") : text;
      SIZE width{};
      GetTextExtentPoint32A(dc, measured.c_str(), static_cast<int>(measured.size()), &width);
      x = client.right - width.cx - kMargin;
    }
    TextOutA(dc, x, y, text.c_str(), static_cast<int>(text.size()));
    y += bottom ? -height : height;
  }
}

}  // namespace

bool OverlaysVisible() { return g_overlaysVisible; }
void SetOverlaysVisible(bool visible) { g_overlaysVisible = visible; }

Overlays::Overlays(ImageInfoStrategy* info) : info_(info) {}

void Overlays::Draw(HWND window, const RECT& client, LONG windowValue, LONG levelValue, LONG threshold,
                    USHORT filter) {
  if (window == nullptr) THROW_MY_EXCEPTION("The window handle is invalid.");
  if (!OverlaysVisible()) return;
  const HDC dc = GetDC(window);
  if (dc == nullptr) return;  // a window gone meanwhile has nothing to write on
  struct Release {
    HWND window;
    HDC dc;
    ~Release() { ReleaseDC(window, dc); }
  } const release{window, dc};
  Draw(dc, client, windowValue, levelValue, threshold, filter);
}

void Overlays::Draw(HDC dc, const RECT& client, LONG windowValue, LONG levelValue, LONG threshold, USHORT filter) {
  if (!OverlaysVisible() || info_ == nullptr) return;
  const Labels& labels = OverlayLabels();

  std::vector<std::u16string> bottomLeft;
  bottomLeft.push_back(filter == 0 ? FormatWindowLevel(labels.windowLevel, windowValue, levelValue)
                                   : labels.threshold + u" " + Number(threshold));
  AddText(bottomLeft, info_->GetManufacturer());
  AddDate(bottomLeft, info_->GetAcquisitionDateTime(), true);
  AddText(bottomLeft, info_->GetContrastBolusAgent());
  // An image always has a number in its series; one the file lacks reads, and shows, as 0.
  bottomLeft.push_back(labels.imageNumber + u" " + Number(info_->GetInstanceNumber()));

  std::vector<std::u16string> bottomRight;
  AddText(bottomRight, info_->GetSeriesDescription());
  AddDate(bottomRight, info_->GetSeriesDateTime(), true);

  std::vector<std::u16string> topRight;
  AddText(topRight, info_->GetInstitutionName());
  AddText(topRight, info_->GetStudyDescription());
  AddDate(topRight, info_->GetStudyDateTime(), false);

  std::vector<std::u16string> topLeft;
  AddText(topLeft, info_->GetPatientName());
  const ImageInfoStrategy::Text sex = info_->GetPatientSex();
  if (!sex.IsNull() && sex.Length() != 0)
    topLeft.push_back((labels.sex + u" " + sex.ToString()).substr(0, kSexLineLength));

  DrawCorner(dc, client, topLeft, kTopLeft);
  DrawCorner(dc, client, bottomLeft, kBottomLeft);
  DrawCorner(dc, client, topRight, kTopRight);
  DrawCorner(dc, client, bottomRight, kBottomRight);
}
