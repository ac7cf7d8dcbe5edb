#include "tools/measurement_texts.h"

#include <cstdio>
#include <string_view>

#include "foundation/text_utils.h"

namespace {

// The kinds of the printf conversions of `format` in order: 'f' for a floating-point number, 's' for a
// text, '?' for anything else (an integer, a pointer, a width taken from the arguments). "%%" is none.
std::string ConversionKinds(std::string_view format) {
  std::string kinds;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') continue;
    if (++i == format.size()) return kinds + '?';
    if (format[i] == '%') continue;
    while (i < format.size() && std::string_view("-+ #0").find(format[i]) != std::string_view::npos) ++i;
    while (i < format.size() && format[i] >= '0' && format[i] <= '9') ++i;
    if (i < format.size() && format[i] == '.') {
      ++i;
      while (i < format.size() && format[i] >= '0' && format[i] <= '9') ++i;
    }
    if (i == format.size()) return kinds + '?';
    const char conversion = format[i];
    if (std::string_view("fFeEgGaA").find(conversion) != std::string_view::npos)
      kinds += 'f';
    else if (conversion == 's')
      kinds += 's';
    else
      kinds += '?';
  }
  return kinds;
}

void LoadText(std::string& text, IGlobalConfiguration* configuration, const char16_t* key, const char* fallback,
              std::string_view kinds) {
  if (!text.empty()) return;
  text = fallback;
  if (configuration == nullptr) return;
  ondrel::platform::BStr configured;
  if (FAILED(configuration->GetText(ondrel::platform::BStr(key).Get(), configured.Out())) || configured.IsNull() ||
      configured.Length() == 0)
    return;
  std::string narrow = ToNarrow(configured.View());
  if (ConversionKinds(narrow) == kinds) text = std::move(narrow);
}

}  // namespace

MeasurementTexts& MeasurementTexts::Shared() {
  static MeasurementTexts texts;
  return texts;
}

void MeasurementTexts::LoadMissing(IGlobalConfiguration* configuration) {
  LoadText(areaCalibrated_, configuration, u"resMeasAreaCalibrated", "Area=%.0f sq mm", "f");
  LoadText(areaNotCalibrated_, configuration, u"resMeasAreaNotCalibrated", "Area=%.0f sq px", "f");
  LoadText(mean_, configuration, u"resMeasMean", "Mean=%.2f%s", "fs");
}

// The formats were checked when they were read: each takes exactly the arguments passed here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string MeasurementTexts::FormatArea(double area, bool calibrated) const {
  char text[32];
  std::snprintf(text, sizeof text, (calibrated ? areaCalibrated_ : areaNotCalibrated_).c_str(), area);
  return text;
}

std::string MeasurementTexts::FormatMean(double mean, const std::string& suffix) const {
  char text[32];
  std::snprintf(text, sizeof text, mean_.c_str(), mean, suffix.c_str());
  return text;
}
#pragma GCC diagnostic pop
