#include "sources/image_loader.h"

#include <cstring>
#include <memory>

#include "dicom/file_parser.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "ondrel/platform/codecs.h"

namespace {

constexpr std::size_t kErrorTextSize = 1024;

bool IsJpeg(const std::u16string& syntax) {
  return syntax == u"1.2.840.10008.1.2.4.50" || syntax == u"1.2.840.10008.1.2.4.51" ||
         syntax == u"1.2.840.10008.1.2.4.70";
}

bool IsJpeg2000(const std::u16string& syntax) {
  return syntax == u"1.2.840.10008.1.2.4.90" || syntax == u"1.2.840.10008.1.2.4.91";
}

// The pixels take the codec's block, whatever the result; a failure throws the codec's message.
template <class Codec>
void Decode(ByteBlock& pixels, std::size_t skip, Codec codec, const char* unknownError) {
  char errorText[kErrorTextSize] = "";
  std::uint8_t* decoded = nullptr;
  int decodedSize = 0;
  bool ok = false;
  try {
    ok = codec(pixels.Data() + skip, static_cast<int>(pixels.Size()), &decoded, &decodedSize, errorText);
  } catch (...) {
    THROW_MY_EXCEPTION(unknownError);
  }
  // The codec allocates its block with new[]; from here it has one owner.
  pixels = ByteBlock(std::unique_ptr<std::uint8_t[]>(decoded), static_cast<std::size_t>(decodedSize));
  if (!ok) {
    THROW_MY_EXCEPTION(errorText[0] != '\0'
                           ? errorText
                           : "JPEG decompression failed; the decompressor didn't provide any error information");
  }
}

void DecodeJpeg(ByteBlock& pixels, SHORT bitsStored) {
  // Leading zero bytes (an empty first fragment, padding) are stepped over; the length passed stays
  // the whole size. So that the codec never reads past the block, the bytes are then moved into a
  // block longer by the bytes skipped, whose tail is zero: padding, as the codec reads it.
  std::size_t skip = 0;
  while (skip < pixels.Size() && pixels.Data()[skip] == 0) ++skip;
  if (skip > 0) {
    ByteBlock padded = ByteBlock::Zeroed(pixels.Size() + skip);
    std::memcpy(padded.Data(), pixels.Data(), pixels.Size());
    pixels = ByteBlock(std::move(padded).Release(), pixels.Size());
  }
  if (bitsStored > 8) {
    const auto codec = bitsStored < 13 ? &DecompressJpegBufferIntoBmpBuffer12 : &DecompressJpegBufferIntoBmpBuffer16;
    Decode(pixels, skip,
           [codec](unsigned char* source, int length, std::uint8_t** out, int* outLength, char* error) {
             unsigned short* words = nullptr;
             const bool ok = codec(source, length, &words, outLength, error);
             *out = reinterpret_cast<std::uint8_t*>(words);
             return ok;
           },
           "The JPEG decoder caught an unknown error.");
  } else {
    Decode(pixels, skip, &DecompressJpegBufferIntoBmpBuffer8, "The JPEG decoder caught an unknown error.");
  }
}

}  // namespace

std::shared_ptr<PixelData> ImageLoader::Load(ImageInfoStrategy* strategy, bool* wasCached) {
  if (strategy == nullptr || wasCached == nullptr) THROW_MY_EXCEPTION("Invalid input parameters.");
  const ImageInfoStrategy::Text uid = strategy->GetSopInstanceUid();
  if (uid.IsNull()) THROW_MY_EXCEPTION("Invalid image SOP Instance UID.");
  const ImageInfoStrategy::Text fileName = strategy->GetFileName();
  if (fileName.IsNull()) THROW_MY_EXCEPTION("Invalid image file name.");
  const bool needsDicomData = strategy->GetNeedsDicomData() != 0;
  *wasCached = false;

  const std::u16string key(uid.View());
  if (const auto found = cache_.find(key); found != cache_.end()) {
    *wasCached = true;
    return found->second;
  }

  ByteBlock pixels;
  {
    DicomEngine::DicomData data(false);
    DicomEngine::FileParser parser;
    const std::u16string name(fileName.View());
    if (!parser.Open(name)) THROW_MY_EXCEPTION("It's not a DICOM file or a well formatted DICOM file.");
    if (!needsDicomData) {
      parser.ParseUpTo(&data, DicomEngine::kPixelDataGroup, DicomEngine::kPixelDataElement);
    } else {
      parser.Parse(&data);
      strategy->LoadFromDicomData(data, ToNarrow(name));
    }
    data.GetPixelData(&pixels);
  }

  const ImageInfoStrategy::Text syntaxText = strategy->GetTransferSyntaxUid();
  const auto bitsStored = static_cast<SHORT>(strategy->GetBitsStored());
  const std::u16string syntax(syntaxText.View());
  if (!syntaxText.IsNull() && IsJpeg(syntax)) {
    DecodeJpeg(pixels, bitsStored);
  } else if (!syntaxText.IsNull() && IsJpeg2000(syntax)) {
    Decode(pixels, 0, &DecompressJpeg2KBufferIntoBmpBuffer, "The JPEG 2000 decoder caught an unknown error.");
  }

  auto loaded = std::make_shared<PixelData>(std::move(pixels));
  cache_.emplace(key, loaded);
  return loaded;
}

std::shared_ptr<PixelData> ImageLoader::Find(const char16_t* uid) const {
  if (uid == nullptr) THROW_MY_EXCEPTION("Invalid input parameters.");
  const auto found = cache_.find(uid);
  return found != cache_.end() ? found->second : nullptr;
}

void ImageLoader::Remove(const std::u16string& uid) { cache_.erase(uid); }
