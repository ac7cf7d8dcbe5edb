#include "sources/pixel_data.h"

#include <algorithm>
#include <cstring>

#include "sources/image_info_strategy.h"
#include "sources/pixel_layout.h"

FramePixels::FramePixels(std::shared_ptr<PixelData> data, std::size_t offset, SHORT frame)
    : data_(std::move(data)), offset_(offset), frame_(frame) {}

FramePixels FramePixels::Of(std::shared_ptr<PixelData> data, ImageInfoStrategy& strategy) {
  // The photometric interpretation plays no part in where a frame starts.
  const PixelLayout layout = PixelLayout::Of(strategy, Photometric::Unknown);
  const auto frame = static_cast<SHORT>(strategy.GetFrameIndex());
  const std::size_t offset = layout.FrameBytes() * static_cast<USHORT>(frame);
  return FramePixels(std::move(data), offset, frame);
}

std::span<const std::uint8_t> FramePixels::Bytes() const {
  if (!data_ || offset_ >= data_->bytes_.Size()) return {};
  return data_->Bytes().subspan(offset_);
}

bool FramePixels::IsConverted() const { return data_ && data_->convertedFrames_.count(frame_) != 0; }

void FramePixels::StoreConverted(std::span<const std::uint8_t> rgb) {
  if (Empty()) return;
  const std::size_t count = std::min(rgb.size(), data_->bytes_.Size() - offset_);
  std::memcpy(data_->bytes_.Data() + offset_, rgb.data(), count);
  data_->convertedFrames_.insert(frame_);
}
