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

// The record takes the codec's block, whatever the result; a failure throws the codec's message.
template <class Codec>
void Decode(PixelBuffer& record, std::size_t skip, Codec codec, const char* unknownError) {
  std::unique_ptr<char[]> errorText(new char[kErrorTextSize]);
  errorText[0] = '\0';
  std::uint8_t* decoded = nullptr;
  int decodedSize = 0;
  bool ok = false;
  try {
    ok = codec(record.data + skip, static_cast<int>(record.size), &decoded, &decodedSize, errorText.get());
  } catch (...) {
    THROW_MY_EXCEPTION(unknownError);
  }
  delete[] record.data;
  record.data = decoded;
  record.size = static_cast<std::uint32_t>(decodedSize);
  if (!ok) {
    char message[kErrorTextSize];
    std::strncpy(message, errorText[0] != '\0' ? errorText.get()
                                               : "JPEG decompression failed; the decompressor didn't provide any error information",
                 sizeof message - 1);
    message[sizeof message - 1] = '\0';
    THROW_MY_EXCEPTION(message);
  }
}

void DecodeJpeg(PixelBuffer& record, SHORT bitsStored) {
  // Leading zero bytes (an empty first fragment, padding) are stepped over; the length passed stays
  // the whole size. So that the codec never reads past the block, the bytes are then moved into a
  // block longer by the bytes skipped, whose tail is zero: padding, as the codec reads it.
  std::size_t skip = 0;
  while (skip < record.size && record.data[skip] == 0) ++skip;
  if (skip > 0) {
    auto* padded = new std::uint8_t[record.size + skip]();
    std::memcpy(padded, record.data, record.size);
    delete[] record.data;
    record.data = padded;
  }
  if (bitsStored > 8) {
    const auto codec = bitsStored < 13 ? &DecompressJpegBufferIntoBmpBuffer12 : &DecompressJpegBufferIntoBmpBuffer16;
    Decode(record, skip,
           [codec](unsigned char* source, int length, std::uint8_t** out, int* outLength, char* error) {
             unsigned short* words = nullptr;
             const bool ok = codec(source, length, &words, outLength, error);
             *out = reinterpret_cast<std::uint8_t*>(words);
             return ok;
           },
           "The JPEG decoder caught an unknown error.");
  } else {
    Decode(record, skip, &DecompressJpegBufferIntoBmpBuffer8, "The JPEG decoder caught an unknown error.");
  }
}

}  // namespace

ImageLoader::~ImageLoader() {
  for (auto& [uid, record] : cache_) delete[] record.data;
}

void ImageLoader::Load(ImageInfoStrategy* strategy, PixelBuffer* record, bool* wasCached) {
  if (strategy == nullptr || record == nullptr || wasCached == nullptr) THROW_MY_EXCEPTION("Invalid input parameters.");
  const ImageInfoStrategy::Text uid = strategy->GetSopInstanceUid();
  if (uid.IsNull()) THROW_MY_EXCEPTION("Invalid image SOP Instance UID.");
  const ImageInfoStrategy::Text fileName = strategy->GetFileName();
  if (fileName.IsNull()) THROW_MY_EXCEPTION("Invalid image file name.");
  const bool needsDicomData = strategy->GetNeedsDicomData() != 0;
  *wasCached = false;

  const std::u16string key(uid.Get(), uid.Length());
  if (const auto found = cache_.find(key); found != cache_.end()) {
    *wasCached = true;
    *record = found->second;
    return;
  }

  PixelBuffer loaded;
  {
    DicomEngine::DicomData data(false);
    DicomEngine::FileParser parser;
    const std::u16string name(fileName.Get(), fileName.Length());
    if (!parser.Open(name)) THROW_MY_EXCEPTION("It's not a DICOM file or a well formatted DICOM file.");
    if (!needsDicomData) {
      parser.ParseUpTo(&data, DicomEngine::kPixelDataGroup, DicomEngine::kPixelDataElement);
    } else {
      parser.Parse(&data);
      strategy->LoadFromDicomData(data, ToNarrow(name));
    }
    data.GetPixelData(&loaded.data, &loaded.size);
  }
  std::unique_ptr<std::uint8_t[]> guard(loaded.data);

  const ImageInfoStrategy::Text syntaxText = strategy->GetTransferSyntaxUid();
  const auto bitsStored = static_cast<SHORT>(strategy->GetBitsStored());
  const std::u16string syntax = syntaxText.IsNull() ? std::u16string() : std::u16string(syntaxText.Get(), syntaxText.Length());
  if (!syntaxText.IsNull() && IsJpeg(syntax)) {
    guard.release();
    try {
      DecodeJpeg(loaded, bitsStored);
    } catch (...) {
      delete[] loaded.data;
      throw;
    }
    guard.reset(loaded.data);
  } else if (!syntaxText.IsNull() && IsJpeg2000(syntax)) {
    guard.release();
    try {
      Decode(loaded, 0, &DecompressJpeg2KBufferIntoBmpBuffer, "The JPEG 2000 decoder caught an unknown error.");
    } catch (...) {
      delete[] loaded.data;
      throw;
    }
    guard.reset(loaded.data);
  }

  loaded.owned = false;
  cache_.emplace(key, loaded);
  guard.release();
  *record = loaded;
}

void ImageLoader::Find(const char16_t* uid, PixelBuffer* record) const {
  if (uid == nullptr || record == nullptr) THROW_MY_EXCEPTION("Invalid input parameters.");
  const auto found = cache_.find(uid);
  *record = found != cache_.end() ? found->second : PixelBuffer{};
}

void ImageLoader::Remove(const std::u16string& uid) {
  const auto found = cache_.find(uid);
  if (found == cache_.end()) return;
  delete[] found->second.data;
  cache_.erase(found);
}
