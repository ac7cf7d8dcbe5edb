// The pixels of an image: parsed from its file up to the pixel data, decompressed where the transfer
// syntax asks for it, and kept in a cache by SOP Instance UID so that a file is read once while its
// image stays loaded.
#pragma once

#include <map>
#include <string>

#include "sources/image_info_strategy.h"
#include "sources/pixel_buffer.h"

class ImageLoader {
 public:
  ImageLoader() = default;
  ~ImageLoader();
  ImageLoader(const ImageLoader&) = delete;
  ImageLoader& operator=(const ImageLoader&) = delete;

  // The pixels of the strategy's image into `record` (a block the cache keeps: not owned). A cached
  // image gives `wasCached` true and its file is not opened. When the image wants its data
  // (GetNeedsDicomData), the whole file is parsed and the image's objects are filled from it.
  // JPEG (.50, .51, .70) and JPEG 2000 (.90, .91) pixel data are decoded; every other syntax comes
  // back as it stands in the file. An image without pixel data gives a null block of size 0.
  // Throws MyException: "Invalid input parameters." (null strategy or outputs), "Invalid image SOP
  // Instance UID.", "Invalid image file name.", "It's not a DICOM file or a well formatted DICOM
  // file.", the decoder's message (or "JPEG decompression failed; the decompressor didn't provide any
  // error information"), and the parser's and the strategy's failures. Nothing is cached on failure.
  void Load(ImageInfoStrategy* strategy, PixelBuffer* record, bool* wasCached);

  // The cached record of `uid`, or a zeroed record. Throws "Invalid input parameters." for a null UID
  // or record.
  void Find(const char16_t* uid, PixelBuffer* record) const;

  // Frees and forgets the pixels of `uid`; nothing when they are not cached.
  void Remove(const std::u16string& uid);

 private:
  std::map<std::u16string, PixelBuffer> cache_;
};
