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
#include "spatial/series_synchronization.h"

// An image within a window: SOP Instance UID and frame. Ordered by the UID's 16-bit characters, then
// by the frame.
struct ImageKey {
  std::u16string uid;
  SHORT frame = 0;
  auto operator<=>(const ImageKey&) const = default;
};

class ImageRenderer {
 public:
  // A renderer that takes every image's pixels from `loader`, which must outlive it.
  explicit ImageRenderer(ImageLoader& loader) : loader_(loader) {}
  ~ImageRenderer();
  ImageRenderer(const ImageRenderer&) = delete;
  ImageRenderer& operator=(const ImageRenderer&) = delete;

  // The image the window shows, or null.
  Image* GetCurrentImage(HWND window) const;
  // The facts of the image the window shows, or null.
  ImageInfoStrategy* CurrentInfo(HWND window) const;
  // The window's current image when the window is valid and its image has an intent, else null: what
  // the display operations work on.
  Image* LiveImage(HWND window) const;
  // The image of `uid` and `frame` in the window, or null. Throws "The Image renderer received an
  // invalid window handle." for a null window and "The Image renderer received an invalid pointer."
  // for a null UID.
  Image* FindImage(HWND window, const char16_t* uid, SHORT frame) const;

  // The frame of the strategy's image, from the loader's cache or loaded into it. Throws "The Ondrel
  // failed to load the image pixel data." when the file has no pixels, and the loader's failures.
  FramePixels FetchPixelData(ImageInfoStrategy& strategy) const;

  // Loads the strategy's image and shows it in the window: an image rendered there before under the
  // same key is reused (its pixels reloaded), else a new one is made. `keep` keeps the window's intent
  // (whose window and level follow each image until the user changes them); otherwise a new default
  // intent is installed. False, with nothing changed, when the file has no pixels. Throws "The Image
  // renderer received an invalid window handle." for a null window, and the loader's and the image's
  // failures.
  bool Render(HWND window, std::unique_ptr<ImageInfoStrategy> strategy, bool keep);
  // Shows the image of `window` also in `consultWindow` (a full draw there), when the consult window is
  // valid and the window shows an image; the one image then stands in both records and keeps the
  // intent of the first window. Throws the renderer's window and pointer texts for null arguments.
  void RenderConsultImage(HWND window, HWND consultWindow, ImageInfoStrategy* strategy);
  // The full draw of the window's image, or for an image of the derived volume series the volume
  // server's draw of its view; nothing for an invalid window.
  void Draw(HWND window);
  // Makes the window the selected one and redraws the one selected before, which loses its frame.
  void SelectWindow(HWND window);
  // Forgets the window's record. Its images live on until the renderer goes, and its intent stays.
  void ReleaseWindow(HWND window);
  // Destroys frame 0 of `uid` in every window, and the loader's pixels of `uid`; a window left without
  // images loses its record and intent. Images of other frames keep the pixels they were made from.
  // Throws "The Image renderer received an invalid pointer." for a null UID.
  void UnloadImage(const char16_t* uid);

  // The window's image back to its first state (rotation, flips, zoom, pan, palette, invert and window
  // all gone; measurements stay), from the pixels the loader holds for `uid`, which need not be the
  // image's own UID. Nothing for a window without an image. Throws "The Ondrel failed to load the image
  // pixel data." when the loader holds no pixels for `uid`; the picture then stays as it was.
  void ResetImage(const char16_t* uid, HWND window);

  // Ends the MPR, and every window whose image belongs to a series the MPR derived loses its images
  // and its record.
  void EndMprMode();
  // The MPR's oblique image, shown in the last window (in window order) whose image is one, made
  // afresh from the MPR state and drawn: `fast` during a drag, in full otherwise. Nothing when no
  // window shows it. Throws the failures of the pixels and of the draw.
  void RefreshOblique(bool fast);

  // Ends the volume server (spatial/volume_tool.h), and every window whose image belongs to a series
  // derived as a volume loses its images and its record. A failure of the server is thrown once it is
  // gone, before the windows are walked.
  void EndVolumeMode();

  // The process-wide switches, flipped, and every shown image brought in line: a shutter switch reloads
  // each current image's pixels from the loader and redraws it, an overlay switch redraws it in full.
  // Windows that are gone are passed over. Failures of the load or the draw are thrown as they come.
  void ToggleShutter();
  void ToggleOverlaysVisibility();

  // Replaces the reference lines of the image `projectee` shows with where the image `projected` shows
  // (or its series) cuts it, under the process's reference-line mode (see CalculateReferenceLines).
  // Nothing is drawn. Throws what the images' strategies throw.
  void CalculateReferenceLines(HWND projected, HWND projectee);
  // Shows in `synch` the slice of its series nearest to the image `current` shows, under the
  // synchronisation's mode, as Render does with `keep`; `current` is left as it is. Nothing when either
  // window shows no image or no slice is a candidate. Throws "The Ondrel failed to load the image pixel
  // data." when the slice's file has no pixels, and what Render and the strategies throw.
  void SynchronizeSeries(HWND current, HWND synch, bool keep);
  // Forgets the stored offset, then stores the one from the image `current` shows to the image `synch`
  // shows, when both show one (see SeriesSynchronization::CalculateOffset).
  void CalculateSynchronizeSeriesOffset(HWND current, HWND synch);
  SeriesSynchronization& Synchronization() { return synchronization_; }

 private:
  struct ViewportRecord {
    Image* currentImage = nullptr;
    std::map<ImageKey, std::shared_ptr<Image>> images;
  };

  // The pixels of the strategy's image (the one place they are fetched): computed for an image of a
  // derived MPR or MIP series, the volume server's picture for one of the volume series, else the
  // loader's; null when there are none.
  std::shared_ptr<PixelData> LoadPixels(ImageInfoStrategy& strategy) const;
  PresentationIntent* AcquirePresentationIntent(HWND window, bool keep);
  void InstallPresentationIntent(std::unique_ptr<PresentationIntent> intent, HWND window);
  void RegisterImage(const std::shared_ptr<Image>& image, HWND window, SHORT frame);
  // Forgets every window whose current image has a role of 2 or more by `role`, then the intents no image uses.
  void RemoveDerivedViewports(LONG (ImageInfoStrategy::*role)());
  // Frees the retired intents that no image uses any more.
  void ReleaseUnusedIntents();

  ImageLoader& loader_;
  std::map<HWND, ViewportRecord> viewports_;
  std::map<HWND, std::unique_ptr<PresentationIntent>> intents_;
  // Intents replaced in their window while images still use them; each goes with the last such image.
  std::vector<std::unique_ptr<PresentationIntent>> retiredIntents_;
  // Images forgotten by ReleaseWindow, which nobody else frees.
  std::vector<std::shared_ptr<Image>> releasedImages_;
  SeriesSynchronization synchronization_;
};
