#include "image/palettes.h"

#include <gtest/gtest.h>

#include "ondrel/ondrel.h"

namespace {

struct Colour {
  int index;
  int red;
  int green;
  int blue;
  const char* holds;
};

void ExpectEntries(LONG palette, std::initializer_list<Colour> rows) {
  const PaletteTable* table = FindPalette(palette);
  ASSERT_NE(table, nullptr);
  for (const Colour& row : rows) {
    SCOPED_TRACE(row.holds);
    const PaletteEntry& entry = (*table)[static_cast<std::size_t>(row.index)];
    EXPECT_EQ(entry[0], row.blue);
    EXPECT_EQ(entry[1], row.green);
    EXPECT_EQ(entry[2], row.red);
  }
}

TEST(Palettes, RainbowFollowsItsPiecewiseRules) {
  ExpectEntries(COLOR_PALETTE_RAINBOW, {
                                           {0, 255, 0, 0, "red starts full"},
                                           {60, 255, 255, 0, "last full red; green 360 clamps"},
                                           {61, 249, 255, 0, "red falls by 6"},
                                           {103, 0, 255, 0, "255 - 258 clamps to 0"},
                                           {106, 0, 255, 6, "blue rises after 105"},
                                           {166, 0, 249, 255, "green falls after 165"},
                                           {210, 0, 0, 255, "last zero red"},
                                           {211, 6, 0, 255, "red rises again"},
                                           {255, 255, 0, 255, "red 270 clamps"},
                                       });
}

TEST(Palettes, HotIronFollowsItsRules) {
  ExpectEntries(COLOR_PALETTE_HOT_IRON, {
                                            {0, 0, 0, 0, "black"},
                                            {127, 254, 0, 0, "green still 0 below 128"},
                                            {129, 255, 2, 0, "red 258 clamps, green starts"},
                                            {191, 255, 126, 0, "blue still 0 at 191"},
                                            {192, 255, 128, 4, "blue starts"},
                                            {254, 255, 252, 252, "green and blue just below full"},
                                            {255, 255, 255, 255, "last entry is white"},
                                        });
}

TEST(Palettes, HotBlueMetalRunsEndWhereTheTableSaysAndFillAllEntries) {
  ExpectEntries(COLOR_PALETTE_HOT_BLUE_METAL, {
                                                  {0, 0, 0, 0, "all channels start at 0"},
                                                  {85, 0, 0, 167, "last of the 86 zero reds"},
                                                  {86, 3, 0, 169, "first rising red"},
                                                  {102, 50, 0, 200, "blue peak"},
                                                  {103, 52, 0, 197, "blue turns down"},
                                                  {119, 90, 0, 150, "last of the 120 zero greens"},
                                                  {120, 93, 2, 144, "first rising green"},
                                                  {153, 190, 64, 0, "first of the 18 zero blues"},
                                                  {169, 251, 94, 0, "last rising red"},
                                                  {170, 255, 96, 0, "first of the 86 full reds; last zero blue"},
                                                  {171, 255, 98, 3, "blue rises again"},
                                                  {255, 255, 255, 255, "every run ends on entry 255"},
                                              });
}

TEST(Palettes, NoneAndValuesOutsideTheEnumerationHaveNoTable) {
  EXPECT_EQ(FindPalette(COLOR_PALETTE_NONE), nullptr);
  EXPECT_EQ(FindPalette(4), nullptr);
  EXPECT_EQ(FindPalette(-1), nullptr);
}

}  // namespace
