// The viewport renderer: which image each window shows, every image rendered there and not yet
// unloaded, and the presentation intent in force in each window. One lives in each component object.
//
// A window the renderer does not know, or one that shows no image, is no failure: the operations on
// it return at once.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "image/image.h"
#include "sources/image_loader.h"

// An image within a window: SOP Instance UID and frame. Ordered by the UID's 16-bit characters, then
// by the frame.
struct ImageKey {
  std::u16string uid;
  SHORT frame = 0;
  auto operator<=>(const ImageKey&) const = default;
};

class ImageRenderer {
 public:
  ImageRenderer() = default;
  ~ImageRenderer();
  ImageRenderer(const ImageRenderer&) = delete;
  ImageRenderer& operator=(const ImageRenderer&) = delete;

  // The image the window shows, or null.
  Image* GetCurrentImage(HWND window) const;
  // The image of `uid` and `frame` in the window, or null. Throws "The Image renderer received an
  // invalid window handle." for a null window and "The Image renderer received an invalid pointer."
  // for a null UID.
  Image* FindImage(HWND window, const char16_t* uid, SHORT frame) const;

  // Shows the pixels of `strategy`'s image in the window: an image rendered there before under the
  // same key is reused (its pixels reloaded), else a new one is made. `keep` keeps the window's
  // intent (whose window and level follow each image until the user changes them); otherwise a new
  // default intent is installed. `cached` says that the pixels came from the loader's cache.
  void Render(HWND window, const PixelBuffer& buffer, std::unique_ptr<ImageInfoStrategy> strategy, bool cached,
              bool keep);
  // Shows the image of `window` also in `consultWindow` (a full draw there), when the consult window is
  // valid and the window shows an image; the one image then stands in both records and keeps the
  // intent of the first window. Throws the renderer's window and pointer texts for null arguments.
  void RenderConsultImage(HWND window, HWND consultWindow, ImageInfoStrategy* strategy);
  // The full draw of the window's image; nothing for an invalid window.
  void Draw(HWND window);
  // Makes the window the selected one and redraws the one selected before, which loses its frame.
  void SelectWindow(HWND window);
  // Forgets the window's record. Its images live on until the renderer goes, and its intent stays.
  void ReleaseWindow(HWND window);
  // Destroys frame 0 of `uid` in every window; a window left without images loses its record and
  // intent. Throws "The Image renderer received an invalid pointer." for a null UID.
  void UnloadImage(const char16_t* uid);

  // The display operations, on the window's current image and its intent; nothing for an invalid
  // window or a window without an image. Drags (pan, dynamic zoom, window/level) draw fast; the others,
  // and EndInteractiveTool, draw in full.
  void PanImage(HWND window, LONG dx, LONG dy);
  void ZoomImage(HWND window, ULONG zoom);
  void ZoomImageDynamically(HWND window, LONG dy);
  // 100 when the window shows no image.
  ULONG GetCurrentImageZoom(HWND window) const;
  void WindowLevelImage(HWND window, LONG dx, LONG dy);
  void ApplyWindowLevelPreset(HWND window, LONG width, LONG level);
  void InvertImage(HWND window);
  void ApplyColorPalette(HWND window, LONG palette, ImageLoader& loader);
  // 0 when the window shows no image.
  LONG GetColorPaletteMode(HWND window) const;
  void RotateFlipImage(HWND window, ImageRotationFlipEnum op, ImageLoader& loader);
  void EndInteractiveTool(HWND window);
  // The window's image back to its first state, from the loader's pixels of `uid`.
  void ResetImage(const char16_t* uid, HWND window, ImageLoader& loader);

  // The process-wide switches, flipped, and every shown image brought in line: a shutter switch reloads
  // each current image's pixels from the loader and redraws it, an overlay switch redraws it in full.
  // Windows that are gone are passed over. Failures of the load or the draw are thrown as they come.
  void ToggleShutter(ImageLoader& loader);
  void ToggleOverlaysVisibility();

  // The loader's pixels for an image, as a view of the frame (not owned). Throws "The Ondrel failed to
  // load the image pixel data." when there are none.
  static PixelBuffer FrameView(ImageInfoStrategy& strategy, const PixelBuffer& buffer);
  PixelBuffer FetchPixelData(ImageInfoStrategy& strategy, ImageLoader& loader) const;

 private:
  struct ViewportRecord {
    Image* currentImage = nullptr;
    std::map<ImageKey, std::shared_ptr<Image>> images;
  };

  // The window's current image when the window is valid and its image has an intent, else null.
  Image* LiveImage(HWND window) const;
  PresentationIntent* AcquirePresentationIntent(HWND window, bool keep);
  void InstallPresentationIntent(std::unique_ptr<PresentationIntent> intent, HWND window);
  void RegisterImage(const std::shared_ptr<Image>& image, HWND window, SHORT frame);

  std::map<HWND, ViewportRecord> viewports_;
  std::set<ImageKey> convertedImages_;
  std::map<HWND, std::unique_ptr<PresentationIntent>> intents_;
  // Intents replaced while images might still point at them; kept until the renderer goes.
  std::vector<std::unique_ptr<PresentationIntent>> retiredIntents_;
  // Images forgotten by ReleaseWindow, which nobody else frees.
  std::vector<std::shared_ptr<Image>> releasedImages_;
};
