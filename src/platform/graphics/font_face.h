// Fonts for GDI text: a LOGFONT resolved through fontconfig to a FreeType face at a pixel size, with
// GDI's cell metrics and a cache of rendered glyphs. Used under the graphics lock only.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "ondrel/platform/gdi.h"

namespace ondrel::platform::graphics {

struct GlyphImage {
  int advance = 0;  // whole pixels to the next glyph
  int left = 0;     // from the pen position to the first column
  int top = 0;      // from the baseline up to the first row
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> ink;  // width * height, 1 where the glyph is drawn
};

class FontFace {
 public:
  virtual ~FontFace() = default;
  // The cell: ascent above the baseline, descent below it, height = ascent + descent (GDI's tmHeight).
  virtual int Ascent() const = 0;
  virtual int Height() const = 0;
  // The glyph of a Windows-1252 byte, rendered on first use.
  virtual const GlyphImage& Glyph(unsigned char byte) = 0;
};

// The face for a logical font; faces are shared between fonts of the same file, size and weight. Null
// when no face can be found at all.
std::shared_ptr<FontFace> ResolveFont(const LOGFONTA& logFont);

}  // namespace ondrel::platform::graphics
