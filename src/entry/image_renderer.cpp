#include "entry/image_renderer.h"

#include "foundation/exceptions.h"
#include "image/overlays.h"

namespace {

std::u16string TextOf(const ImageInfoStrategy::Text& text) {
  return text.IsNull() ? std::u16string() : std::u16string(text.Get(), text.Length());
}

}  // namespace

ImageRenderer::~ImageRenderer() = default;

Image* ImageRenderer::GetCurrentImage(HWND window) const {
  const auto found = viewports_.find(window);
  return found != viewports_.end() ? found->second.currentImage : nullptr;
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

void ImageRenderer::RegisterImage(const std::shared_ptr<Image>& image, HWND window, SHORT frame) {
  if (!image || window == nullptr) return;
  if (image->Info() == nullptr) THROW_MY_EXCEPTION("The Image Info object is NULL.");
  ViewportRecord& record = viewports_[window];
  record.currentImage = image.get();
  record.images.emplace(ImageKey{TextOf(image->Info()->GetSopInstanceUid()), frame}, image);
}

PixelBuffer ImageRenderer::FrameView(ImageInfoStrategy& strategy, const PixelBuffer& buffer) {
  const std::uint64_t samples = strategy.GetSamplesPerPixel();
  std::uint64_t frameBytes = samples * strategy.GetRows() * strategy.GetColumns();
  if (strategy.GetBitsAllocated() > 8) frameBytes *= 2;
  const std::uint64_t offset = frameBytes * strategy.GetFrameIndex();
  // A frame beyond the pixel data views nothing rather than memory past the block.
  if (offset >= buffer.size) return PixelBuffer{buffer.data, 0, false};
  return PixelBuffer{buffer.data + offset, static_cast<std::uint32_t>(buffer.size - offset), false};
}

PixelBuffer ImageRenderer::FetchPixelData(ImageInfoStrategy& strategy, ImageLoader& loader) const {
  PixelBuffer buffer;
  bool cached = false;
  loader.Load(&strategy, &buffer, &cached);
  if (buffer.data == nullptr) THROW_MY_EXCEPTION("The Ondrel failed to load the image pixel data.");
  return FrameView(strategy, buffer);
}

void ImageRenderer::Render(HWND window, const PixelBuffer& buffer, std::unique_ptr<ImageInfoStrategy> strategy,
                           bool cached, bool keep) {
  if (window == nullptr) THROW_MY_EXCEPTION("The Image renderer received an invalid window handle.");
  if (!strategy) return;
  const ImageKey key{TextOf(strategy->GetSopInstanceUid()), static_cast<SHORT>(strategy->GetFrameIndex())};
  Image* existing = FindImage(window, key.uid.c_str(), key.frame);

  PresentationIntent* intent = AcquirePresentationIntent(window, keep);
  if (intent->windowLevel && intent->windowLevel->modified == 0) {
    intent->windowLevel->window = strategy->GetWindowWidth();
    intent->windowLevel->level = strategy->GetWindowCenter();
  }
  const PixelBuffer view = FrameView(*strategy, buffer);

  // The loader's cached pixels are converted from YBR once, by the first image made from them.
  bool alreadyConverted = false;
  if (cached && convertedImages_.count(key) != 0)
    alreadyConverted = true;
  else
    convertedImages_.insert(key);

  if (existing == nullptr) {
    const SHORT frame = key.frame;
    const bool volume = strategy->GetVolumeType() >= 2;
    auto image = std::make_shared<Image>(view, std::move(strategy), intent, alreadyConverted);
    RegisterImage(image, window, frame);
    if (!volume) image->PrepareAndDraw(window, false, false);
    return;
  }
  existing->ReplaceInfo(std::move(strategy));
  existing->SetIntent(intent);
  RegisterImage(viewports_[window].images[key], window, key.frame);
  existing->ReloadPixels(window, view, false);
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
  image->Draw(window, false);
}

void ImageRenderer::ToggleShutter(ImageLoader& loader) {
  SetShutterApplied(!ShutterApplied());
  for (const auto& [window, record] : viewports_) {
    Image* image = LiveImage(window);
    if (image == nullptr) continue;
    // A fresh copy of the raw pixels, which the image's new shutter blanks or leaves whole.
    const PixelBuffer source = FetchPixelData(*image->Info(), loader);
    image->ReloadPixels(window, source, false);
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
      intents_.erase(it->first);
      it = viewports_.erase(it);
    } else {
      ++it;
    }
  }
}
