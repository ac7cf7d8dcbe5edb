// Text on device contexts: extents and TextOutA with the selected font.
#include "font_face.h"
#include "gdi_objects.h"
#include "graphics_lock.h"

using namespace ondrel::platform::graphics;

namespace {

// The face of the context's font, resolved on first use; null with the last error set.
FontFace* FaceOf(const DcObject& dc) {
  auto* font = ObjectTable::Get().Find<FontObject>(dc.font);
  if (font == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  if (!font->face) font->face = ResolveFont(font->logFont);
  if (!font->face) SetLastError(ERROR_INVALID_PARAMETER);
  return font->face.get();
}

int WidthOf(FontFace& face, LPCSTR text, int count) {
  int width = 0;
  for (int i = 0; i < count; ++i) width += face.Glyph(static_cast<unsigned char>(text[i])).advance;
  return width;
}

}  // namespace

BOOL GetTextExtentPoint32A(HDC hdc, LPCSTR lpString, int c, SIZE* psizl) {
  if (psizl == nullptr || c < 0 || (lpString == nullptr && c > 0)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const GraphicsLock lock(GraphicsMutex());
  const auto* dc = ObjectTable::Get().Find<DcObject>(hdc);
  if (dc == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  FontFace* face = FaceOf(*dc);
  if (face == nullptr) return FALSE;
  *psizl = SIZE{WidthOf(*face, lpString, c), face->Height()};
  return TRUE;
}

BOOL TextOutA(HDC hdc, int x, int y, LPCSTR lpString, int c) {
  if (c < 0 || (lpString == nullptr && c > 0)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  const GraphicsLock lock(GraphicsMutex());
  const auto* dc = ObjectTable::Get().Find<DcObject>(hdc);
  const Surface* surface = dc == nullptr ? nullptr : SurfaceOf(*dc);
  if (surface == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  FontFace* face = FaceOf(*dc);
  if (face == nullptr) return FALSE;
  if (dc->backgroundMode == OPAQUE) {
    FillBox(*surface, Box{x, y, x + WidthOf(*face, lpString, c), y + face->Height()},
            surface->ValueOf(dc->backgroundColor));
  }
  const std::uint32_t ink = surface->ValueOf(dc->textColor);
  const int baseline = y + face->Ascent();
  int pen = x;
  for (int i = 0; i < c; ++i) {
    const GlyphImage& glyph = face->Glyph(static_cast<unsigned char>(lpString[i]));
    for (int row = 0; row < glyph.height; ++row) {
      const int py = baseline - glyph.top + row;
      if (py < 0 || py >= surface->height) continue;
      for (int column = 0; column < glyph.width; ++column) {
        const int px = pen + glyph.left + column;
        if (px >= 0 && px < surface->width && glyph.ink[static_cast<std::size_t>(row * glyph.width + column)] != 0)
          surface->Write(px, py, ink);
      }
    }
    pen += glyph.advance;
  }
  return TRUE;
}
