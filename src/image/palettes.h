// The colour palettes a user can lay over a grey image: 256 entries each, three bytes an entry, in the
// blue, green, red order of a 24-bit bottom-up bitmap, so an entry is copied into the display buffer as
// it stands.
#pragma once

#include <array>

#include "ondrel/platform/wintypes.h"

using PaletteEntry = std::array<BYTE, 3>;  // blue, green, red
using PaletteTable = std::array<PaletteEntry, 256>;

// The table of a ColorPaletteEnum value, or null for COLOR_PALETTE_NONE and for any value outside the
// enumeration. The tables are built once and live until the process ends.
const PaletteTable* FindPalette(LONG palette);
