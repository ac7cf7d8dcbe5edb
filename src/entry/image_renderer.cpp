#include "entry/image_renderer.h"

#include <algorithm>

#include "foundation/exceptions.h"
#include "image/overlays.h"
#include "spatial/mip_tool.h"
#include "spatial/mpr_interaction.h"
#include "spatial/mpr_pixels.h"
#include "spatial/mpr_state.h"
#include "spatial/reference_lines.h"
#include "spatial/volume_tool.h"
#include "tools/measurements.h"

namespace {

std::u16string TextOf(const ImageInfoStrategy::Text& text) { return std::u16string(text.View()); }

}  // namespace

// The MPR and the volume server end with the renderer, as with its component.
ImageRenderer::~ImageRenderer() {
  spatial::EndMpr();
  spatial::ReleaseVolumeServer();
}

Image* ImageRenderer::GetCurrentImage(HWND window) const {
  const auto found = viewports_.find(window);
  return found != viewports_.end() ? found->second.currentImage : nullptr;
}

ImageInfoStrategy* ImageRenderer::CurrentInfo(HWND window) const {
  const Image* image = GetCurrentImage(window);
  return image != nullptr ? image->Info() : nullptr;
}

Image* ImageRenderer::LiveImage(HWND window) const {
  if (!IsWindow(window)) return nullptr;
  Image* image = GetCurrentImage(window);
  return image != nullptr && image->Intent() != nullptr ? image : nullptr;
}

Image* ImageRenderer::FindImage(HWND window, const char16_t* uid, SHORT frame) const {
  if (window == nullptr) THROW_MY_EXCEPTION("The Image renderer received an invalid window handle.");
  if (uid == nullptr) THROW_MY_EXCEPTION("The Image renderer received an invalid pointer.");
  const auto record = viewports_.find(window);
  if (record == viewports_.end()) return nullptr;
  const auto found = record->second.images.find(ImageKey{uid, frame});
  return found != record->second.images.end() ? found->second.get() : nullptr;
}

PresentationIntent* ImageRenderer::AcquirePresentationIntent(HWND window, bool keep) {
  const auto found = intents_.find(window);
  if (found != intents_.end() && keep) return found->second.get();
  auto intent = std::make_unique<PresentationIntent>();
  PresentationIntent* result = intent.get();
  InstallPresentationIntent(std::move(intent), window);
  return result;
}

void ImageRenderer::InstallPresentationIntent(std::unique_ptr<PresentationIntent> intent, HWND window) {
  if (!intent) return;
  std::unique_ptr<PresentationIntent>& slot = intents_[window];
  if (slot) retiredIntents_.push_back(std::move(slot));
  slot = std::move(intent);
}

void ImageRenderer::ReleaseUnusedIntents() {
  const auto used = [this](const PresentationIntent* intent) {
    const auto uses = [intent](const std::shared_ptr<Image>& image) { return image->Intent() == intent; };
    if (std::any_of(releasedImages_.begin(), releasedImages_.end(), uses)) return true;
    return std::any_of(viewports_.begin(), viewports_.end(), [&](const auto& entry) {
      const auto& images = entry.second.images;
      return std::any_of(images.begin(), images.end(), [&](const auto& keyed) { return uses(keyed.second); });
    });
  };
  std::erase_if(retiredIntents_, [&](const std::unique_ptr<PresentationIntent>& intent) { return !used(intent.get()); });
}

void ImageRenderer::RegisterImage(const std::shared_ptr<Image>& image, HWND window, SHORT frame) {
  if (!image || window == nullptr) return;
  if (image->Info() == nullptr) THROW_MY_EXCEPTION("The Image Info object is NULL.");
  ViewportRecord& record = viewports_[window];
  record.currentImage = image.get();
  record.images.emplace(ImageKey{TextOf(image->Info()->GetSopInstanceUid()), frame}, image);
}

std::shared_ptr<PixelData> ImageRenderer::LoadPixels(ImageInfoStrategy& strategy) const {
  ByteBlock derived;
  if (strategy.GetMprType() >= 2) {
    derived = spatial::GenerateMprPixels(strategy, loader_);
  } else if (strategy.GetMipType() >= 2) {
    derived = spatial::GenerateMipPixels(strategy, loader_);
  } else if (strategy.GetVolumeType() >= 2) {
    derived = spatial::GenerateVolumePixels(strategy);
  } else {
    bool cached = false;
    std::shared_ptr<PixelData> data = loader_.Load(&strategy, &cached);
    return data->Empty() ? nullptr : data;
  }
  return derived.Empty() ? nullptr : std::make_shared<PixelData>(std::move(derived));
}

FramePixels ImageRenderer::FetchPixelData(ImageInfoStrategy& strategy) const {
  std::shared_ptr<PixelData> data = LoadPixels(strategy);
  if (!data) THROW_MY_EXCEPTION("The Ondrel failed to load the image pixel data.");
  return FramePixels::Of(std::move(data), strategy);
}

bool ImageRenderer::Render(HWND window, std::unique_ptr<ImageInfoStrategy> strategy, bool keep) {
  if (window == nullptr) THROW_MY_EXCEPTION("The Image renderer received an invalid window handle.");
  if (!strategy) return true;
  std::shared_ptr<PixelData> data = LoadPixels(*strategy);
  if (!data) return false;
  const FramePixels source = FramePixels::Of(std::move(data), *strategy);

  const ImageKey key{TextOf(strategy->GetSopInstanceUid()), static_cast<SHORT>(strategy->GetFrameIndex())};
  Image* existing = FindImage(window, key.uid.c_str(), key.frame);
  PresentationIntent* intent = AcquirePresentationIntent(window, keep);
  if (intent->windowLevel && intent->windowLevel->modified == 0) {
    intent->windowLevel->window = strategy->GetWindowWidth();
    intent->windowLevel->level = strategy->GetWindowCenter();
  }

  if (existing == nullptr) {
    const bool volume = strategy->GetVolumeType() >= 2;
    auto image = std::make_shared<Image>(source, std::move(strategy), intent);
    // Every image a viewport shows carries the measurements drawn on it, attached here where the image
    // is made (the image stands below the tools and only draws them); they read the image's calibration
    // now.
    image->AttachAnnotations(std::make_unique<Measurements>(*image));
    image->AttachViewportLines(&spatial::MprLines());
    RegisterImage(image, window, key.frame);
    if (!volume) image->PrepareAndDraw(window, false, false);
  } else {
    existing->ReplaceInfo(std::move(strategy));
    existing->SetIntent(intent);
    RegisterImage(viewports_[window].images[key], window, key.frame);
    existing->ReloadPixels(window, source, false);
  }
  ReleaseUnusedIntents();
  return true;
}

void ImageRenderer::RenderConsultImage(HWND window, HWND consultWindow, ImageInfoStrategy* strategy) {
  if (window == nullptr || consultWindow == nullptr)
    THROW_MY_EXCEPTION("The Image renderer received an invalid window handle.");
  if (strategy == nullptr) THROW_MY_EXCEPTION("The Image renderer received an invalid pointer.");
  if (!IsWindow(consultWindow)) return;
  const auto record = viewports_.find(window);
  if (record == viewports_.end() || record->second.currentImage == nullptr) return;
  Image* image = record->second.currentImage;
  for (const auto& [key, stored] : record->second.images) {
    if (stored.get() != image) continue;
    RegisterImage(stored, consultWindow, static_cast<SHORT>(strategy->GetFrameIndex()));
    image->Draw(consultWindow, false);
    return;
  }
}

void ImageRenderer::Draw(HWND window) {
  if (!IsWindow(window)) return;
  Image* image = GetCurrentImage(window);
  if (image == nullptr) return;
  if (image->Info() != nullptr && image->Info()->GetVolumeType() >= 2) {
    spatial::DrawVolume();
    return;
  }
  image->Draw(window, false);
}

void ImageRenderer::ToggleShutter() {
  SetShutterApplied(!ShutterApplied());
  for (const auto& [window, record] : viewports_) {
    Image* image = LiveImage(window);
    // A fresh copy of the raw pixels, which the image's new shutter blanks or leaves whole.
    if (image != nullptr) image->ReloadPixels(window, FetchPixelData(*image->Info()), false);
  }
}

void ImageRenderer::ToggleOverlaysVisibility() {
  SetOverlaysVisible(!OverlaysVisible());
  for (const auto& [window, record] : viewports_) {
    Image* image = LiveImage(window);
    if (image != nullptr) image->Draw(window, false);
  }
}

void ImageRenderer::SelectWindow(HWND window) {
  if (!IsWindow(window) || window == SelectedWindow()) return;
  const HWND previous = SelectedWindow();
  Image* previousImage = GetCurrentImage(previous);
  SetSelectedWindow(window);
  if (previousImage != nullptr && IsWindow(previous)) previousImage->Draw(previous, false);
}

void ImageRenderer::ReleaseWindow(HWND window) {
  const auto found = viewports_.find(window);
  if (found == viewports_.end()) return;
  for (auto& [key, image] : found->second.images) releasedImages_.push_back(image);
  viewports_.erase(found);
}

void ImageRenderer::UnloadImage(const char16_t* uid) {
  if (uid == nullptr) THROW_MY_EXCEPTION("The Image renderer received an invalid pointer.");
  const ImageKey key{uid, 0};
  for (auto it = viewports_.begin(); it != viewports_.end();) {
    ViewportRecord& record = it->second;
    const auto found = record.images.find(key);
    const bool unloaded = found != record.images.end();
    if (unloaded) {
      if (record.currentImage == found->second.get()) record.currentImage = nullptr;
      record.images.erase(found);
    }
    if (unloaded && record.images.empty()) {
      // The window's intent goes with its last image, unless an image shown elsewhere still uses it.
      if (const auto intent = intents_.find(it->first); intent != intents_.end()) {
        retiredIntents_.push_back(std::move(intent->second));
        intents_.erase(intent);
      }
      it = viewports_.erase(it);
    } else {
      ++it;
    }
  }
  ReleaseUnusedIntents();
  loader_.Remove(uid);
}

void ImageRenderer::ResetImage(const char16_t* uid, HWND window) {
  Image* image = GetCurrentImage(window);
  if (image == nullptr || image->Info() == nullptr) return;
  std::shared_ptr<PixelData> data = loader_.Find(uid);
  if (!data || data->Empty()) THROW_MY_EXCEPTION("The Ondrel failed to load the image pixel data.");
  image->ResetDisplay(window, FramePixels::Of(std::move(data), *image->Info()));
}

void ImageRenderer::RemoveDerivedViewports(LONG (ImageInfoStrategy::*role)()) {
  std::erase_if(viewports_, [role](const auto& entry) {
    const Image* image = entry.second.currentImage;
    return image != nullptr && image->Info() != nullptr && (image->Info()->*role)() >= 2;
  });
  ReleaseUnusedIntents();
}

void ImageRenderer::EndMprMode() {
  spatial::EndMpr();
  RemoveDerivedViewports(&ImageInfoStrategy::GetMprType);
}

void ImageRenderer::EndVolumeMode() {
  spatial::EndVolumeServer();
  RemoveDerivedViewports(&ImageInfoStrategy::GetVolumeType);
}

void ImageRenderer::RefreshOblique(bool fast) {
  HWND window = nullptr;
  Image* oblique = nullptr;
  for (const auto& [handle, record] : viewports_) {
    Image* image = record.currentImage;
    if (image != nullptr && image->Info() != nullptr && image->Info()->GetMprType() == spatial::kMprObliqueRole) {
      window = handle;
      oblique = image;
    }
  }
  if (oblique == nullptr) return;
  auto pixels = std::make_shared<PixelData>(spatial::GenerateMprPixels(*oblique->Info(), loader_));
  oblique->ReloadPixels(window, FramePixels(std::move(pixels), 0, 0), fast);
}

void ImageRenderer::CalculateReferenceLines(HWND projected, HWND projectee) {
  ::CalculateReferenceLines(GetCurrentImage(projected), GetCurrentImage(projectee));
}

void ImageRenderer::SynchronizeSeries(HWND current, HWND synch, bool keep) {
  const Image* shown = GetCurrentImage(current);
  const Image* following = GetCurrentImage(synch);
  if (shown == nullptr || following == nullptr || shown->Info() == nullptr || following->Info() == nullptr) return;
  std::unique_ptr<ImageInfoStrategy> nearest = synchronization_.NearestSlice(*shown->Info(), *following->Info());
  if (nearest && !Render(synch, std::move(nearest), keep))
    THROW_MY_EXCEPTION("The Ondrel failed to load the image pixel data.");
}

void ImageRenderer::CalculateSynchronizeSeriesOffset(HWND current, HWND synch) {
  const Image* shown = GetCurrentImage(current);
  const Image* following = GetCurrentImage(synch);
  synchronization_.CalculateOffset(shown != nullptr ? shown->Info() : nullptr,
                                   following != nullptr ? following->Info() : nullptr);
}
