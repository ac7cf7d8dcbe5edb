#include "sources/image_loader.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "dicom/file_parser.h"
#include "dicom/vr.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "ondrel/platform/codecs.h"
#include "sources/pixel_layout.h"

namespace {

constexpr std::size_t kErrorTextSize = 1024;

bool IsJpeg(const std::u16string& syntax) {
  return syntax == u"1.2.840.10008.1.2.4.50" || syntax == u"1.2.840.10008.1.2.4.51" ||
         syntax == u"1.2.840.10008.1.2.4.70";
}

bool IsJpeg2000(const std::u16string& syntax) {
  return syntax == u"1.2.840.10008.1.2.4.90" || syntax == u"1.2.840.10008.1.2.4.91";
}

// Number of Frames (0028,0008) of the data set, which the strategy does not give; 1 when it is
// missing or not a positive number.
std::uint64_t NumberOfFrames(const DicomEngine::DicomData& data) {
  const auto* value = dynamic_cast<const DicomEngine::VRString*>(data.Find(0x0028, 0x0008));
  const long frames = value == nullptr ? 0 : std::atol(value->Value().c_str());
  return frames > 0 ? static_cast<std::uint64_t>(frames) : 1;
}

// The most bytes a codec may hand back: what the header says the frames hold, rows x columns x
// samples x two bytes above 8 bits allocated or stored (the 12- and 16-bit codecs give two) or else
// one, clamped to INT_MAX. A damaged stream that declares more fails before anything of its size is
// allocated.
int DecodedSizeLimit(ImageInfoStrategy& strategy, std::uint64_t frames) {
  const PixelLayout layout = PixelLayout::Of(strategy, Photometric::Unknown);
  const std::uint64_t sampleBytes = layout.bitsAllocated > 8 || layout.bitsStored > 8 ? 2 : 1;
  const std::uint64_t frameBytes = layout.PlaneSize() * static_cast<std::uint64_t>(layout.samples) * sampleBytes;
  return frames > INT_MAX / std::max<std::uint64_t>(frameBytes, 1) ? INT_MAX : static_cast<int>(frameBytes * frames);
}

// The pixels take the codec's block, whatever the result; a failure throws the codec's message.
template <class Codec>
void Decode(ByteBlock& pixels, std::size_t skip, Codec codec, int maxOutLength, const char* unknownError) {
  char errorText[kErrorTextSize] = "";
  std::uint8_t* decoded = nullptr;
  int decodedSize = 0;
  bool ok = false;
  try {
    ok = codec(pixels.Data() + skip, static_cast<int>(pixels.Size()), &decoded, &decodedSize, errorText,
               maxOutLength);
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

void DecodeJpeg(ByteBlock& pixels, SHORT bitsStored, int maxOutLength) {
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
           [codec](unsigned char* source, int length, std::uint8_t** out, int* outLength, char* error, int limit) {
             unsigned short* words = nullptr;
             const bool ok = codec(source, length, &words, outLength, error, limit);
             *out = reinterpret_cast<std::uint8_t*>(words);
             return ok;
           },
           maxOutLength, "The JPEG decoder caught an unknown error.");
  } else {
    Decode(pixels, skip, &DecompressJpegBufferIntoBmpBuffer8, maxOutLength,
           "The JPEG decoder caught an unknown error.");
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
  std::uint64_t frames = 1;
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
    frames = NumberOfFrames(data);
  }

  const ImageInfoStrategy::Text syntaxText = strategy->GetTransferSyntaxUid();
  const auto bitsStored = static_cast<SHORT>(strategy->GetBitsStored());
  const std::u16string syntax(syntaxText.View());
  if (!syntaxText.IsNull() && IsJpeg(syntax)) {
    DecodeJpeg(pixels, bitsStored, DecodedSizeLimit(*strategy, frames));
  } else if (!syntaxText.IsNull() && IsJpeg2000(syntax)) {
    Decode(pixels, 0, &DecompressJpeg2KBufferIntoBmpBuffer, DecodedSizeLimit(*strategy, frames),
           "The JPEG 2000 decoder caught an unknown error.");
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
