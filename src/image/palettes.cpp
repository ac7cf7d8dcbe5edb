#include "image/palettes.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "ondrel/ondrel.h"

namespace {

BYTE Clamp(int value) { return static_cast<BYTE>(std::clamp(value, 0, 255)); }

PaletteEntry Entry(int red, int green, int blue) { return {Clamp(blue), Clamp(green), Clamp(red)}; }

PaletteTable MakeRainbow() {
  PaletteTable table{};
  for (int i = 0; i < 256; ++i) {
    int red = 255;
    if (i > 210)
      red = 6 * (i - 210);
    else if (i > 103)
      red = 0;
    else if (i > 60)
      red = 255 - 6 * (i - 60);
    const int green = i <= 165 ? 6 * i : 255 - 6 * (i - 165);
    const int blue = i <= 105 ? 0 : 6 * (i - 105);
    table[i] = Entry(red, green, blue);
  }
  return table;
}

PaletteTable MakeHotIron() {
  PaletteTable table{};
  for (int i = 0; i < 256; ++i) {
    const int green = i == 255 ? 255 : (i < 128 ? 0 : 2 * (i - 128));
    const int blue = i < 191 ? 0 : 4 * (i - 191);
    table[i] = Entry(2 * i, green, blue);
  }
  return table;
}

// A channel written as runs: {value, count}; most runs are one entry long.
using Run = std::pair<BYTE, int>;

std::array<BYTE, 256> Expand(std::initializer_list<Run> runs) {
  std::array<BYTE, 256> channel{};
  std::size_t next = 0;
  for (const Run& run : runs)
    for (int k = 0; k < run.second && next < channel.size(); ++k) channel[next++] = run.first;
  return channel;
}

Run One(BYTE value) { return {value, 1}; }

// Hot blue metal follows no simple rule: the three channels are the fixed curves of the palette.
PaletteTable MakeHotBlueMetal() {
  std::initializer_list<Run> redRuns = {
      {0, 86},  One(3),   One(6),   One(9),   One(12),  One(15),  One(18),  One(21),  One(24),  One(26),
      One(29),  One(32),  One(35),  One(38),  One(41),  One(44),  One(47),  One(50),  One(52),  One(55),
      One(57),  One(59),  One(62),  One(64),  One(66),  One(69),  One(71),  One(74),  One(76),  One(78),
      One(81),  One(83),  One(85),  One(88),  One(90),  One(93),  One(96),  One(99),  One(102), One(105),
      One(108), One(111), One(114), One(116), One(119), One(122), One(125), One(128), One(131), One(134),
      One(137), One(140), One(143), One(146), One(149), One(152), One(155), One(158), One(161), One(164),
      One(166), One(169), One(172), One(175), One(178), One(181), One(184), One(187), One(190), One(194),
      One(198), One(201), One(205), One(209), One(213), One(217), One(221), One(224), One(228), One(232),
      One(236), One(240), One(244), One(247), One(251), {255, 86}};
  std::initializer_list<Run> greenRuns = {
      {0, 120}, One(2),   One(4),   One(6),   One(8),   One(9),   One(11),  One(13),  One(15),  One(17),
      One(19),  One(21),  One(23),  One(24),  One(26),  One(28),  One(30),  One(32),  One(34),  One(36),
      One(38),  One(40),  One(41),  One(43),  One(45),  One(47),  One(49),  One(51),  One(53),  One(55),
      One(56),  One(58),  One(60),  One(62),  One(64),  One(66),  One(68),  One(70),  One(72),  One(73),
      One(75),  One(77),  One(79),  One(81),  One(83),  One(85),  One(87),  One(88),  One(90),  One(92),
      One(94),  One(96),  One(98),  One(100), One(102), One(104), One(105), One(107), One(109), One(111),
      One(113), One(115), One(117), One(119), One(120), One(122), One(124), One(126), One(128), One(130),
      One(132), One(134), One(136), One(137), One(139), One(141), One(143), One(145), One(147), One(149),
      One(151), One(152), One(154), One(156), One(158), One(160), One(162), One(164), One(166), One(168),
      One(169), One(171), One(173), One(175), One(177), One(179), One(181), One(183), One(184), One(186),
      One(188), One(190), One(192), One(194), One(196), One(198), One(200), One(201), One(203), One(205),
      One(207), One(209), One(211), One(213), One(215), One(216), One(218), One(220), One(222), One(224),
      One(226), One(228), One(229), One(231), One(233), One(235), One(237), One(239), One(240), One(242),
      One(244), One(246), One(248), One(250), One(251), One(253), One(255)};
  std::initializer_list<Run> blueRuns = {
      One(0),   One(2),   One(4),   One(6),   One(8),   One(10),  One(12),  One(14),  One(16),  One(17),
      One(19),  One(21),  One(23),  One(25),  One(27),  One(29),  One(31),  One(33),  One(35),  One(37),
      One(39),  One(41),  One(43),  One(45),  One(47),  One(49),  One(51),  One(53),  One(55),  One(57),
      One(59),  One(61),  One(63),  One(65),  One(67),  One(69),  One(71),  One(73),  One(75),  One(77),
      One(79),  One(81),  One(83),  One(84),  One(86),  One(88),  One(90),  One(92),  One(94),  One(96),
      One(98),  One(100), One(102), One(104), One(106), One(108), One(110), One(112), One(114), One(116),
      One(117), One(119), One(121), One(123), One(125), One(127), One(129), One(131), One(133), One(135),
      One(137), One(139), One(141), One(143), One(145), One(147), One(149), One(151), One(153), One(155),
      One(157), One(159), One(161), One(163), One(165), One(167), One(169), One(171), One(173), One(175),
      One(177), One(179), One(181), One(183), One(184), One(186), One(188), One(190), One(192), One(194),
      One(196), One(198), One(200), One(197), One(194), One(191), One(188), One(185), One(182), One(179),
      One(176), One(174), One(171), One(168), One(165), One(162), One(159), One(156), One(153), One(150),
      One(144), One(138), One(132), One(126), One(121), One(115), One(109), One(103), One(97),  One(91),
      One(85),  One(79),  One(74),  One(68),  One(62),  One(56),  One(50),  One(47),  One(44),  One(41),
      One(38),  One(35),  One(32),  One(29),  One(26),  One(24),  One(21),  One(18),  One(15),  One(12),
      One(9),   One(6),   One(3),   {0, 18},  One(3),   One(6),   One(9),   One(12),  One(15),  One(18),
      One(21),  One(24),  One(26),  One(29),  One(32),  One(35),  One(38),  One(41),  One(44),  One(47),
      One(50),  One(53),  One(56),  One(59),  One(62),  One(65),  One(68),  One(71),  One(74),  One(76),
      One(79),  One(82),  One(85),  One(88),  One(91),  One(94),  One(97),  One(100), One(103), One(106),
      One(109), One(112), One(115), One(118), One(121), One(124), One(126), One(129), One(132), One(135),
      One(138), One(141), One(144), One(147), One(150), One(153), One(156), One(159), One(162), One(165),
      One(168), One(171), One(174), One(176), One(179), One(182), One(185), One(188), One(191), One(194),
      One(197), One(200), One(203), One(206), One(210), One(213), One(216), One(219), One(223), One(226),
      One(229), One(232), One(236), One(239), One(242), One(245), One(249), One(252), One(255)};
  const std::array<BYTE, 256> red = Expand(redRuns);
  const std::array<BYTE, 256> green = Expand(greenRuns);
  const std::array<BYTE, 256> blue = Expand(blueRuns);
  PaletteTable table{};
  for (std::size_t i = 0; i < table.size(); ++i) table[i] = {blue[i], green[i], red[i]};
  return table;
}

}  // namespace

const PaletteTable* FindPalette(LONG palette) {
  static const PaletteTable rainbow = MakeRainbow();
  static const PaletteTable hotIron = MakeHotIron();
  static const PaletteTable hotBlueMetal = MakeHotBlueMetal();
  switch (palette) {
    case COLOR_PALETTE_RAINBOW:
      return &rainbow;
    case COLOR_PALETTE_HOT_IRON:
      return &hotIron;
    case COLOR_PALETTE_HOT_BLUE_METAL:
      return &hotBlueMetal;
    default:
      return nullptr;
  }
}
