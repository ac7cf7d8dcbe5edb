// The pixels of an image: parsed from its file up to the pixel data, decompressed where the transfer
// syntax asks for it, and kept in a cache by SOP Instance UID so that a file is read once while its
// image stays loaded.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "sources/image_info_strategy.h"
#include "sources/pixel_data.h"

class ImageLoader {
 public:
  ImageLoader() = default;
  ImageLoader(const ImageLoader&) = delete;
  ImageLoader& operator=(const ImageLoader&) = delete;

  // The pixels of the strategy's image, all its frames in one block that the cache keeps and shares
  // with the caller. A cached image gives `wasCached` true and its file is not opened. When the image
  // wants its data (GetNeedsDicomData), the whole file is parsed and the image's objects are filled
  // from it. JPEG (.50, .51, .70) and JPEG 2000 (.90, .91) pixel data are decoded; every other syntax
  // comes back as it stands in the file. An image without pixel data gives (and caches) an empty
  // block.
  // Throws MyException: "Invalid input parameters." (null strategy or `wasCached`), "Invalid image SOP
  // Instance UID.", "Invalid image file name.", "It's not a DICOM file or a well formatted DICOM
  // file.", the decoder's message (or "JPEG decompression failed; the decompressor didn't provide any
  // error information"), and the parser's and the strategy's failures. Nothing is cached on failure.
  std::shared_ptr<PixelData> Load(ImageInfoStrategy* strategy, bool* wasCached);

  // The cached pixels of `uid`, or null. Throws "Invalid input parameters." for a null UID.
  std::shared_ptr<PixelData> Find(const char16_t* uid) const;

  // Forgets the pixels of `uid`; nothing when they are not cached. Images made from them keep them
  // until they go.
  void Remove(const std::u16string& uid);

 private:
  std::map<std::u16string, std::shared_ptr<PixelData>> cache_;
};
