// A block of pixel bytes passed between the loader, the renderer and the image.
#pragma once

#include <cstdint>

struct PixelBuffer {
  std::uint8_t* data = nullptr;  // freed with delete[] by whoever owns it
  std::uint32_t size = 0;        // bytes
  bool owned = false;            // false for a block that the loader's cache keeps
};
