#include "tools/measurement_list.h"

#include <string_view>

#include "foundation/text_utils.h"
#include "tools/text_annotation_tool.h"

namespace {

std::string_view ModeName(MeasOperationsEnum mode) {
  switch (mode) {
    case MEAS_MODE_NONE: return "MEAS_MODE_NONE";
    case MEAS_MODE_CREATING: return "MEAS_MODE_CREATING";
    case MEAS_MODE_MOVING_ANCHOR: return "MEAS_MODE_MOVING_ANCHOR";
    case MEAS_MODE_MOVING_SHAPE: return "MEAS_MODE_MOVING_SHAPE";
    case MEAS_MODE_MOVING_TEXT: return "MEAS_MODE_MOVING_TEXT";
    case MEAS_MODE_EDITING_TEXT: return "MEAS_MODE_EDITING_TEXT";
  }
  return "MEAS_MODE_NONE";
}

std::string Point(PixelPoint point) { return std::to_string(point.x) + "," + std::to_string(point.y); }

// The lines joined by '|', in double quotes; a backslash, a quote or a '|' of the text is escaped with
// a backslash.
std::string Quoted(const TextLines& lines) {
  std::string text = "\"";
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i > 0) text += '|';
    for (const char c : lines[i]) {
      if (c == '\\' || c == '"' || c == '|') text += '\\';
      text += c;
    }
  }
  return text + "\"";
}

std::string ToolLine(const MeasAnnotTool& tool, const MeasAnnotTool* selected) {
  std::string line(tool.Kind());
  const auto* text = dynamic_cast<const TextAnnotationTool*>(&tool);
  if (text != nullptr) {
    line += " " + Point(text->TextOrigin());
  } else {
    for (const PixelPoint& anchor : tool.Anchors()) line += " " + Point(anchor);
  }
  const TextAnnotationTool* label = tool.Label();
  line += selected == &tool ? " selected=yes"
                            : (selected != nullptr && selected == label ? " selected=label" : " selected=no");
  line += " mode=";
  line += ModeName(tool.GetMode());
  if (text != nullptr) {
    line += " label=" + Quoted(text->Lines());
  } else if (label != nullptr) {
    line += " label=" + Quoted(label->Lines());
    if (label->IsMoved()) line += " label-at=" + Point(label->TextOrigin());
  }
  return line + "\n";
}

}  // namespace

std::u16string MeasurementListText(const Measurements& measurements) {
  std::string text;
  for (const auto& tool : measurements.Tools())
    if (tool->GetOwnerTool() == nullptr) text += ToolLine(*tool, measurements.GetSelected());
  for (const auto& line : measurements.ReferenceLines()) {
    text += "reference";
    for (const PixelPoint& anchor : line->Anchors()) text += " " + Point(anchor);
    text += "\n";
  }
  return ToWide(text);
}
