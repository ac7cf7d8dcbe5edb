#include "font_face.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_TRUETYPE_TABLES_H
#include FT_SYNTHESIS_H

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <map>
#include <string>
#include <tuple>
#include <utility>

#include "graphics_lock.h"
#include "ondrel/platform/codepage.h"

namespace ondrel::platform::graphics {

namespace {

// Windows faces the core names, and the metric-compatible free faces that stand in for them, so that
// text measures as on Windows. Other names go to fontconfig as they are.
std::string FamilyFor(const char* faceName) {
  std::string name(faceName);
  std::string lower;
  for (const char c : name) lower.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
  static const std::map<std::string, std::string> aliases = {
      {"", "Liberation Sans"},
      {"arial", "Liberation Sans"},
      {"helvetica", "Liberation Sans"},
      {"ms sans serif", "Liberation Sans"},
      {"microsoft sans serif", "Liberation Sans"},
      {"ms shell dlg", "Liberation Sans"},
      {"ms shell dlg 2", "Liberation Sans"},
      {"tahoma", "Liberation Sans"},
      {"segoe ui", "Liberation Sans"},
      {"system", "Liberation Sans"},
      {"times new roman", "Liberation Serif"},
      {"courier new", "Liberation Mono"},
  };
  const auto it = aliases.find(lower);
  return it == aliases.end() ? name : it->second;
}

FT_Library Library() {
  // Never destroyed: faces may outlive any static object.
  static FT_Library library = [] {
    FT_Library made = nullptr;
    return FT_Init_FreeType(&made) == 0 ? made : nullptr;
  }();
  return library;
}

// The fontconfig configuration, loaded on first use. Fontconfig keeps some of its pointers in an encoded
// form that leak checkers cannot follow, so the configuration is freed at exit rather than left to the
// end of the process; text asked for after that finds no face. Guarded by the graphics lock.
FcConfig* fontconfig = nullptr;
bool fontconfigLoaded = false;

FcConfig* Fontconfig() {
  if (!fontconfigLoaded) {
    fontconfigLoaded = true;
    fontconfig = FcInitLoadConfigAndFonts();
    std::atexit([] {
      const GraphicsLock lock(GraphicsMutex());
      if (fontconfig == nullptr) return;
      FcConfigDestroy(std::exchange(fontconfig, nullptr));
      FcFini();
    });
  }
  return fontconfig;
}

// The file and face index fontconfig chooses for a family, weight and slant.
bool AskFontconfig(const std::string& family, int weight, bool italic, std::string& file, int& index) {
  FcConfig* const config = Fontconfig();
  if (config == nullptr) return false;
  FcPattern* pattern = FcPatternCreate();
  FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
  FcPatternAddInteger(pattern, FC_WEIGHT, FcWeightFromOpenType(weight));
  FcPatternAddInteger(pattern, FC_SLANT, italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
  FcPatternAddBool(pattern, FC_SCALABLE, FcTrue);
  FcConfigSubstitute(config, pattern, FcMatchPattern);
  FcDefaultSubstitute(pattern);
  FcResult result = FcResultNoMatch;
  FcPattern* match = FcFontMatch(config, pattern, &result);
  FcPatternDestroy(pattern);
  if (match == nullptr) return false;
  FcChar8* path = nullptr;
  const bool found = FcPatternGetString(match, FC_FILE, 0, &path) == FcResultMatch;
  if (found) file = reinterpret_cast<const char*>(path);
  if (FcPatternGetInteger(match, FC_INDEX, 0, &index) != FcResultMatch) index = 0;
  FcPatternDestroy(match);
  return found;
}

// AskFontconfig, remembered: a viewport's overlays ask for the same fonts on every full draw, and a
// match costs more than the drawing of the texts.
bool Match(const std::string& family, int weight, bool italic, std::string& file, int& index) {
  struct Answer {
    bool found;
    std::string file;
    int index;
  };
  static std::map<std::tuple<std::string, int, bool>, Answer> answers;
  const auto key = std::make_tuple(family, weight, italic);
  auto it = answers.find(key);
  if (it == answers.end()) {
    Answer answer{false, {}, 0};
    answer.found = AskFontconfig(family, weight, italic, answer.file, answer.index);
    it = answers.emplace(key, std::move(answer)).first;
  }
  file = it->second.file;
  index = it->second.index;
  return it->second.found;
}

class FreeTypeFace final : public FontFace {
 public:
  FreeTypeFace(FT_Face face, double emPixels, int cellHeight, bool embolden) : face_(face), embolden_(embolden) {
    FT_Set_Char_Size(face_, 0, static_cast<FT_F26Dot6>(std::lround(emPixels * 64)), 72, 72);
    // GDI's cell comes from the Windows ascent and descent of the OS/2 table.
    double winAscent = face_->ascender;
    double winDescent = -face_->descender;
    if (const auto* os2 = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(face_, FT_SFNT_OS2))) {
      winAscent = os2->usWinAscent;
      winDescent = os2->usWinDescent;
    }
    if (cellHeight > 0) {
      ascent_ = static_cast<int>(std::lround(cellHeight * winAscent / (winAscent + winDescent)));
      height_ = cellHeight;
    } else {
      const double scale = emPixels / face_->units_per_EM;
      ascent_ = static_cast<int>(std::ceil(winAscent * scale - 1e-9));
      height_ = ascent_ + static_cast<int>(std::ceil(winDescent * scale - 1e-9));
    }
  }
  ~FreeTypeFace() override { FT_Done_Face(face_); }
  FreeTypeFace(const FreeTypeFace&) = delete;
  FreeTypeFace& operator=(const FreeTypeFace&) = delete;

  int Ascent() const override { return ascent_; }
  int Height() const override { return height_; }

  const GlyphImage& Glyph(unsigned char byte) override {
    std::unique_ptr<GlyphImage>& cached = glyphs_[byte];
    if (!cached) cached = Render(byte);
    return *cached;
  }

 private:
  // Glyphs are rendered in one bit per pixel (FreeType's monochrome hinting): a pixel is ink or not,
  // which keeps text identical on every run, lets it take colour-table entries exactly, and needs no
  // blending with what lies beneath.
  std::unique_ptr<GlyphImage> Render(unsigned char byte) {
    auto glyph = std::make_unique<GlyphImage>();
    char16_t code = 0;
    const char narrow = static_cast<char>(byte);
    MultiByteToWideChar(CP_WINDOWS_1252, 0, &narrow, 1, &code, 1);
    if (FT_Load_Char(face_, code, FT_LOAD_TARGET_MONO) != 0) return glyph;
    FT_GlyphSlot slot = face_->glyph;
    if (embolden_) FT_GlyphSlot_Embolden(slot);
    glyph->advance = static_cast<int>((slot->advance.x + 32) >> 6);
    if (FT_Render_Glyph(slot, FT_RENDER_MODE_MONO) != 0) return glyph;
    const FT_Bitmap& bitmap = slot->bitmap;
    glyph->left = slot->bitmap_left;
    glyph->top = slot->bitmap_top;
    glyph->width = static_cast<int>(bitmap.width);
    glyph->height = static_cast<int>(bitmap.rows);
    glyph->ink.assign(static_cast<std::size_t>(glyph->width) * static_cast<std::size_t>(glyph->height), 0);
    for (int y = 0; y < glyph->height; ++y) {
      const unsigned char* row = bitmap.buffer + y * bitmap.pitch;
      for (int x = 0; x < glyph->width; ++x)
        glyph->ink[static_cast<std::size_t>(y * glyph->width + x)] = (row[x / 8] >> (7 - x % 8)) & 1;
    }
    return glyph;
  }

  FT_Face face_;
  bool embolden_;
  int ascent_ = 0;
  int height_ = 0;
  std::array<std::unique_ptr<GlyphImage>, 256> glyphs_;
};

}  // namespace

std::shared_ptr<FontFace> ResolveFont(const LOGFONTA& logFont) {
  FT_Library library = Library();
  if (library == nullptr) return nullptr;
  const int weight = logFont.lfWeight == FW_DONTCARE ? FW_NORMAL : std::clamp<int>(logFont.lfWeight, 1, 1000);
  const bool italic = logFont.lfItalic != 0;
  std::string file;
  int index = 0;
  if (!Match(FamilyFor(logFont.lfFaceName), weight, italic, file, index) &&
      !Match("Liberation Sans", weight, italic, file, index))
    return nullptr;

  using Key = std::tuple<std::string, int, int, int, bool>;
  static std::map<Key, std::shared_ptr<FontFace>> cache;
  const Key key{file, index, static_cast<int>(logFont.lfHeight), weight, italic};
  if (const auto it = cache.find(key); it != cache.end()) return it->second;

  FT_Face face = nullptr;
  if (FT_New_Face(library, file.c_str(), index, &face) != 0) return nullptr;
  double emPixels = 12;
  int cellHeight = 0;
  if (logFont.lfHeight < 0) {
    emPixels = -static_cast<double>(logFont.lfHeight);
  } else if (logFont.lfHeight > 0) {
    // A cell height: the character height is the part of the cell the em square takes.
    double winAscent = face->ascender;
    double winDescent = -face->descender;
    if (const auto* os2 = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(face, FT_SFNT_OS2))) {
      winAscent = os2->usWinAscent;
      winDescent = os2->usWinDescent;
    }
    cellHeight = logFont.lfHeight;
    emPixels = cellHeight * face->units_per_EM / (winAscent + winDescent);
  }
  const bool embolden = weight >= FW_BOLD && (face->style_flags & FT_STYLE_FLAG_BOLD) == 0;
  auto resolved = std::make_shared<FreeTypeFace>(face, emPixels, cellHeight, embolden);
  cache.emplace(key, resolved);
  return resolved;
}

}  // namespace ondrel::platform::graphics
