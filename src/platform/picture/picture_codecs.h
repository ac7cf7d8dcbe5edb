// The format codecs behind LoadPictureFile and SavePictureFile. Each decoder reads a whole file held in
// memory and each encoder produces a whole file in memory; the file system is touched only by
// picture_files.cpp, so that a failed save never leaves a partial file. Private to the picture folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "picture/picture.h"

namespace ondrel::platform::picture {

using FileBytes = std::span<const std::uint8_t>;

// The largest pixel buffer a decoder allocates. A picture beyond it is refused before any allocation:
// a corrupt or hostile header must not make the reader claim gigabytes.
inline constexpr std::int64_t kMaxPictureBytes = std::int64_t{1} << 30;
// Deflate expands a byte to at most 1032 bytes (8256 one-bit pixels) and GIF's LZW a 3-bit code to at
// most 4096 pixels, so a PNG or GIF header that claims more pixels than this for each byte of its file
// is corrupt.
inline constexpr std::int64_t kMaxLosslessPixelsPerFileByte = 16384;

// Recognises the format by the file's first bytes and decodes it as LoadPictureFile promises. False
// with a reason in `error`, which does not name the file; `picture` may then be partly written.
bool DecodePicture(FileBytes file, Picture& picture, std::string& error);

// Decoders: true with `picture` filled, or false with the reason in `error` ("PNG: ..." and so on).
// `picture` may be partly written on failure; the caller discards it.
bool DecodeBmp(FileBytes file, Picture& picture, std::string& error);
bool DecodeJpeg(FileBytes file, Picture& picture, std::string& error);
bool DecodeGif(FileBytes file, Picture& picture, std::string& error);
bool DecodeTiff(FileBytes file, Picture& picture, std::string& error);
bool DecodePng(FileBytes file, Picture& picture, std::string& error);

// Encoders: `picture` is valid (ConvertPicture accepts it, width and height positive). True with the
// whole file in `file`, or false with the reason in `error`.
bool EncodeBmp(const Picture& picture, std::vector<std::uint8_t>& file, std::string& error);
bool EncodeJpeg(const Picture& picture, std::vector<std::uint8_t>& file, std::string& error);
bool EncodeGif(const Picture& picture, std::vector<std::uint8_t>& file, std::string& error);
bool EncodeTiff(const Picture& picture, std::vector<std::uint8_t>& file, std::string& error);
bool EncodePng(const Picture& picture, std::vector<std::uint8_t>& file, std::string& error);

// True when the format is one of picture.h's and the stride and bits hold every row.
bool IsValidPicture(const Picture& picture);

// GDI+'s row length for a format: whole 32-bit words.
std::int64_t StrideOf(std::int64_t width, std::uint32_t format);

// Sets the size and format of `picture` and gives it zeroed bits and no palette. False with a reason
// when a side is not positive or the bits would exceed kMaxPictureBytes.
bool AllocatePicture(Picture& picture, std::int64_t width, std::int64_t height, std::uint32_t format,
                     std::string& error);

// False with a reason when a file of `fileSize` bytes cannot hold `width` x `height` pixels at
// `pixelsPerByte` at most.
bool PixelsFitFile(std::int64_t width, std::int64_t height, std::size_t fileSize, std::int64_t pixelsPerByte,
                   std::string& error);

// `entries` opaque greys from black to white, evenly spaced.
std::vector<std::uint32_t> GreyPalette(int entries);

// Puts one index a byte (`indices`, `width` a row, top-down) into the packed rows of an indexed picture.
void PackIndices(const std::uint8_t* indices, int width, int height, Picture& picture);

// Gives every index the bits of an indexed picture use a palette entry: missing entries become opaque
// black, so that every reader of the picture can index the palette without a check.
void CoverIndices(Picture& picture);

// True when a 32bppARGB picture has a pixel that is not fully opaque.
bool HasTransparency(const Picture& argb);

}  // namespace ondrel::platform::picture
