// Free texts and labels: the edit box a text opens in the viewport, how it grows as the user types,
// the commit on the next press, and labels dragged away from their measurements.
#include <gtest/gtest.h>

#include <algorithm>

#include "tools/gdi_scope.h"
#include "tools/text_annotation_tool.h"
#include "tools/text_edit_dialog.h"
#include "tools/tool_test_support.h"

namespace {

using namespace tools_test;

TEST(TextAnnotation, TheTypedTextSplitsAtRunsOfLineEnds) {
  const struct {
    const char* typed;
    TextLines lines;
  } rows[] = {
      {"", {""}},
      {"one", {"one"}},
      {"one\r\ntwo", {"one", "two"}},
      {"one\r\n\r\ntwo", {"one", "two"}},  // the empty line between is lost
      {"one\r\n", {"one", ""}},            // a final line end gains an empty line
      {"\r\none", {"", "one"}},
      {"a\rb\nc", {"a", "b", "c"}},
  };
  for (const auto& row : rows) EXPECT_EQ(SplitEditText(row.typed), row.lines) << row.typed;
}

// The extent of `text` in the user's annotation font.
SIZE AnnotationExtent(HWND window, const std::string& text) {
  const ScopedWindowDC context(window);
  const ScopedGdiObject<HFONT> font(CreateUserFont(context.Get(), UserFont::Annotation));
  const ScopedSelection selection(context.Get(), font.Get());
  SIZE extent{};
  GetTextExtentPoint32A(context.Get(), text.c_str(), static_cast<int>(text.size()), &extent);
  return extent;
}

RECT PlaceOf(HWND dialog) {
  RECT place{};
  EXPECT_TRUE(GetWindowRect(dialog, &place));
  return place;
}

void Type(HWND window, const std::string& text) {
  for (const char c : text) ASSERT_TRUE(ondrel::platform::DeliverCharacterToFocus(window, c));
}

// The box opens one letter big at the press, grows with each character to the widest line and one
// letter more, and grows a line at once when Enter is typed. The next press commits.
TEST(TextAnnotation, TheEditBoxGrowsAsTheUserTypesAndTheNextPressCommits) {
  MeasuredImage shown({300, 300, 300, 300});
  EXPECT_TRUE(shown.Press({20, 30}, MEAS_TEXT));
  EXPECT_FALSE(shown.Release({20, 30})) << "the edit box is open";
  auto* text = dynamic_cast<TextAnnotationTool*>(shown.Tools().GetSelected());
  ASSERT_NE(text, nullptr);
  ASSERT_NE(text->EditDialog(), nullptr);
  const HWND dialog = text->EditDialog()->Window();
  ASSERT_TRUE(IsWindow(dialog));
  EXPECT_EQ(GetParent(dialog), shown.Window());
  const SIZE letter = AnnotationExtent(shown.Window(), "X");
  RECT place = PlaceOf(dialog);
  EXPECT_EQ(place.left, 20);
  EXPECT_EQ(place.top, 30);
  EXPECT_EQ(place.right - place.left, letter.cx);
  EXPECT_EQ(place.bottom - place.top, letter.cy);

  Type(shown.Window(), "Liver");
  place = PlaceOf(dialog);
  EXPECT_EQ(place.right - place.left, AnnotationExtent(shown.Window(), "LiverX").cx);
  EXPECT_EQ(place.bottom - place.top, letter.cy);
  Type(shown.Window(), "\r");
  place = PlaceOf(dialog);
  EXPECT_EQ(place.bottom - place.top, 2 * letter.cy) << "Enter adds a line at once";
  Type(shown.Window(), "cyst 2");
  Type(shown.Window(), "\b");  // measured before the deletion: no change
  place = PlaceOf(dialog);
  EXPECT_EQ(place.left, 20);
  EXPECT_EQ(place.right - place.left,
            std::max(AnnotationExtent(shown.Window(), "LiverX").cx, AnnotationExtent(shown.Window(), "cyst 2X").cx));
  EXPECT_EQ(place.bottom - place.top, 2 * letter.cy);

  EXPECT_TRUE(shown.Press({200, 200}, MEAS_LINE)) << "commits; makes no line";
  EXPECT_FALSE(IsWindow(dialog));
  EXPECT_FALSE(shown.Release({200, 200})) << "the commit ended the interaction on the press";
  EXPECT_EQ(shown.List(), "text 20,30 selected=yes mode=MEAS_MODE_NONE label=\"Liver|cyst \"\n");
  EXPECT_TRUE(text->IsMoved());
}

TEST(TextAnnotation, ADoubleClickReopensTheTextAndEndingTheInteractionCommitsIt) {
  MeasuredImage shown({300, 300, 300, 300});
  shown.Press({20, 30}, MEAS_TEXT);
  shown.Release({20, 30});
  Type(shown.Window(), "one");
  shown.Tools().EndInteraction();
  EXPECT_EQ(shown.List(), "text 20,30 selected=yes mode=MEAS_MODE_NONE label=\"one\"\n");
  shown.Tools().OnDoubleClick(shown.Window());
  const auto* text = dynamic_cast<const TextAnnotationTool*>(shown.Tools().GetSelected());
  ASSERT_NE(text->EditDialog(), nullptr);
  char typed[16] = {};
  GetWindowTextA(text->EditDialog()->EditWindow(), typed, sizeof typed);
  EXPECT_STREQ(typed, "one");
  Type(shown.Window(), "\rtwo");
  shown.Tools().EndInteraction();
  EXPECT_EQ(shown.List(), "text 20,30 selected=yes mode=MEAS_MODE_NONE label=\"one|two\"\n");
}

// A free text dragged by its box moves by the drag, in image pixels (two window pixels each here).
TEST(TextAnnotation, AFreeTextIsDraggedByItsBox) {
  MeasuredImage shown({100, 100, 200, 200});
  shown.Press({40, 40}, MEAS_TEXT);
  shown.Release({40, 40});
  Type(shown.Window(), "note");
  shown.Press({150, 150}, MEAS_NONE);
  shown.Release({150, 150});
  EXPECT_TRUE(shown.Press({45, 45}, MEAS_LINE));
  EXPECT_EQ(shown.Tools().GetSelected()->GetMode(), MEAS_MODE_MOVING_TEXT);
  shown.Move({65, 55});
  EXPECT_TRUE(shown.Release({85, 45}));
  EXPECT_EQ(shown.List(), "text 40,20 selected=yes mode=MEAS_MODE_NONE label=\"note\"\n");
}

// Dragged once, a label stays where the user put it while its measurement moves; its text still
// follows the measurement.
TEST(TextAnnotation, ADraggedLabelStopsFollowingItsMeasurementButKeepsItsText) {
  // Each pixel's value is its column: the means (69.99, then 99.99) were worked out from the walk's
  // definition apart from the code.
  MeasuredImage shown({200, 200, 200, 200}, [](int x, int) { return static_cast<std::uint16_t>(x); });
  shown.Drag(MEAS_ELLIPSE, {20, 20}, {120, 120});
  EXPECT_NE(shown.List().find("label=\"Area=7854 sq px|Mean=69.99\"\n"), std::string::npos) << shown.List();
  EXPECT_TRUE(shown.Press({70, 70}));  // the label, in the middle of the ellipse
  EXPECT_EQ(shown.Tools().GetSelected(), shown.Tools().Tools().back().get());
  shown.Move({70, 150});
  shown.Release({70, 180});
  const std::string dragged = shown.List();
  const std::size_t at = dragged.find(" label-at=");
  ASSERT_NE(at, std::string::npos) << dragged;
  EXPECT_NE(dragged.find("selected=label"), std::string::npos) << dragged;

  shown.Drag(MEAS_NONE, {35, 35}, {65, 35});  // the ellipse by its outline (between grips), 30 right
  const std::string moved = shown.List();
  EXPECT_NE(moved.find("ellipse 50,20 150,120 selected=yes"), std::string::npos) << moved;
  EXPECT_NE(moved.find("label=\"Area=7854 sq px|Mean=99.99\""), std::string::npos) << moved;
  EXPECT_EQ(moved.substr(moved.find(" label-at=")), dragged.substr(at)) << "the label stayed";
}

}  // namespace
