// Pixels as the image tests hand them to the code under test: a block the way the loader holds it,
// its first frame, or an owned working copy.
#pragma once

#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "foundation/byte_block.h"
#include "sources/pixel_data.h"

namespace image_test {

inline ByteBlock CopyOf(std::span<const BYTE> bytes) {
  ByteBlock block = ByteBlock::Uninitialised(bytes.size());
  if (!bytes.empty()) std::memcpy(block.Data(), bytes.data(), bytes.size());
  return block;
}

inline std::shared_ptr<PixelData> BlockOf(std::span<const BYTE> bytes) {
  return std::make_shared<PixelData>(CopyOf(bytes));
}

// Frame 0 of a loader's block holding a copy of `bytes`.
inline FramePixels FrameOf(std::span<const BYTE> bytes) { return FramePixels(BlockOf(bytes), 0, 0); }

inline std::vector<BYTE> BytesOf(std::span<const BYTE> bytes) { return {bytes.begin(), bytes.end()}; }

}  // namespace image_test
