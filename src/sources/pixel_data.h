// The decoded pixels of one file, as the image loader keeps them, and the view of one frame that an
// image copies from.
//
// A file's pixels are one block, the frames one after another. The loader's cache holds the block,
// and every image made from it shares it: an image and its shutter keep reading the frame after the
// loader has forgotten the file, and the block goes with the last of them.
//
// The block is read-only but for one change: the pixels of a YBR_FULL frame are turned into RGB in
// place once, by the first image made from them, so that the next image shows the same colours
// without converting again. The block records which frames were converted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <span>

#include "foundation/byte_block.h"
#include "ondrel/platform/wintypes.h"

class ImageInfoStrategy;

class PixelData {
 public:
  explicit PixelData(ByteBlock bytes) : bytes_(std::move(bytes)) {}

  std::span<const std::uint8_t> Bytes() const { return bytes_.Span(); }
  bool Empty() const { return bytes_.Empty(); }

 private:
  friend class FramePixels;
  ByteBlock bytes_;
  std::set<SHORT> convertedFrames_;
};

class FramePixels {
 public:
  // No pixels.
  FramePixels() = default;
  // Frame `frame` of `data`, starting `offset` bytes into its block. An offset at or past the end of
  // the block views nothing, rather than memory past it.
  FramePixels(std::shared_ptr<PixelData> data, std::size_t offset, SHORT frame);
  // The frame of the strategy's image (GetFrameIndex) in `data`, whose frames are FrameBytes apart
  // (see PixelLayout). Throws what the strategy throws.
  static FramePixels Of(std::shared_ptr<PixelData> data, ImageInfoStrategy& strategy);

  // From the frame's first byte to the end of the block: a frame's copy takes what it needs, and a
  // short file gives fewer bytes than the header promises.
  std::span<const std::uint8_t> Bytes() const;
  bool Empty() const { return Bytes().empty(); }
  SHORT Frame() const { return frame_; }

  // Whether the frame's YBR_FULL pixels were already turned into RGB in the block.
  bool IsConverted() const;
  // Writes `rgb` over the frame's first bytes (never past the block) and records the frame as
  // converted: the one change a block sees. Nothing for a view without pixels.
  void StoreConverted(std::span<const std::uint8_t> rgb);

 private:
  std::shared_ptr<PixelData> data_;
  std::size_t offset_ = 0;
  SHORT frame_ = 0;
};
