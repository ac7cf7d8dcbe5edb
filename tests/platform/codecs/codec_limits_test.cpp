// The caller's limit on the decoded size, and the bound a lossless stream's own bytes set: streams whose
// headers declare more fail with a message that gives the sizes, before anything of that size is
// allocated.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "codec_test_support.h"

namespace {

using namespace codec_test;

std::string Text(const char* format, unsigned long long a, unsigned long long b = 0, unsigned long long c = 0) {
  char text[256];
  std::snprintf(text, sizeof text, format, a, b, c);
  return text;
}

// One stream for each library and kind of stream: libjpeg-turbo (baseline colour, progressive), the
// IJG 8-, 12- and 16-bit libraries, OpenJPEG with a J2K code stream and with a JP2 file.
const char* const kStreams[] = {"SC_rgb_dcmtk_+eb+cy+n2.jpg", "progressive_u8.jpg", "lossless_s8.jpg",
                                "extended_u12.jpg",           "lossless_u16.jpg",   "j2k_s12_precision12.j2k",
                                "GDCMJ2K_TextGBR.j2k"};

// The decoded size may reach the limit but not pass it, one frame or several joined; a frame that
// would pass it fails, and the message gives what it declares, what came before it and the limit.
TEST(CodecLimits, TheDecodedSizeMayReachTheLimitButNotPassIt) {
  for (const char* file : kStreams) {
    SCOPED_TRACE(file);
    const Reference reference = ReferenceOf(file);
    const Bytes stream = ReadStream(file);
    const auto size = static_cast<int>(reference.size);

    const Result exact = Decode(reference.codec, stream, size);
    ASSERT_TRUE(exact.ok) << exact.error;
    EXPECT_EQ(Sha256(exact.samples), reference.sha256);
    const Result under = Decode(reference.codec, stream, size - 1);
    ExpectFailure(under);
    EXPECT_EQ(under.error, Text("The code stream declares %llu bytes of samples, more than the %llu bytes the caller "
                                "accepts.",
                                reference.size, reference.size - 1));

    Bytes frames = stream;
    frames.insert(frames.end(), stream.begin(), stream.end());
    frames.insert(frames.end(), stream.begin(), stream.end());
    const Result three = Decode(reference.codec, frames, 3 * size);
    ASSERT_TRUE(three.ok) << three.error;
    EXPECT_EQ(three.samples.size(), 3 * reference.size);
    const Result lastTooMany = Decode(reference.codec, frames, 3 * size - 1);
    ExpectFailure(lastTooMany);
    EXPECT_EQ(lastTooMany.error, Text("The code stream declares %llu bytes of samples, which after the %llu bytes of "
                                      "the frames before it is more than the %llu bytes the caller accepts.",
                                      reference.size, 2 * reference.size, 3 * reference.size - 1));
  }
}

TEST(CodecLimits, NoRoomFails) {
  const Bytes stream = ReadStream("lossless_s8.jpg");
  for (const Codec codec : {Codec::kJpeg8, Codec::kJpeg12, Codec::kJpeg16, Codec::kJpeg2000}) {
    for (const int limit : {0, -1, INT_MIN}) {
      const Result result = Decode(codec, stream, limit);
      ExpectFailure(result);
      EXPECT_EQ(result.error, "No room for the decoded samples: the caller accepts " + std::to_string(limit) + " bytes.");
    }
  }
}

// Offset of the first SOI of a JPEG stream file, after its Basic Offset Table if it has one.
std::size_t StartOfImage(const Bytes& stream) {
  for (std::size_t offset = 0; offset + 2 < stream.size(); ++offset) {
    if (stream[offset] == 0xFF && stream[offset + 1] == 0xD8 && stream[offset + 2] == 0xFF) return offset;
  }
  ADD_FAILURE() << "no start of image";
  return 0;
}

// Offset of the first frame header (SOFn), found by walking the marker segments after SOI.
std::size_t FrameHeaderOffset(const Bytes& stream) {
  std::size_t offset = StartOfImage(stream) + 2;
  while (offset + 4 < stream.size()) {
    const std::uint8_t marker = stream[offset + 1];
    if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC) return offset;
    offset += 2 + (std::size_t{stream[offset + 2]} << 8 | stream[offset + 3]);
  }
  ADD_FAILURE() << "no frame header";
  return 0;
}

// A JPEG stream whose frame header declares `width` x `height`: the header's damage, not the data's.
Bytes JpegDeclaring(const char* file, std::uint16_t width, std::uint16_t height) {
  Bytes stream = ReadStream(file);
  const std::size_t sof = FrameHeaderOffset(stream);
  stream[sof + 5] = static_cast<std::uint8_t>(height >> 8);
  stream[sof + 6] = static_cast<std::uint8_t>(height);
  stream[sof + 7] = static_cast<std::uint8_t>(width >> 8);
  stream[sof + 8] = static_cast<std::uint8_t>(width);
  return stream;
}

void WriteBigEndian32(Bytes& data, std::size_t offset, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) data[offset + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

// j2k_u16.j2k with a SIZ that declares one tile of `side` x `side`: Xsiz, Ysiz, XTsiz, YTsiz.
Bytes J2kDeclaring(std::uint32_t side) {
  Bytes stream = ReadStream("j2k_u16.j2k");
  for (const std::size_t offset : {8, 12, 24, 28}) WriteBigEndian32(stream, offset, side);
  return stream;
}

// Decodes in a child process whose address space may grow by 512 MiB at most, so that an allocation
// of anything like the declared size fails there; prints the error text and exits with 0 when the
// decode failed.
[[noreturn]] void DecodeWithLittleRoom(Codec codec, const Bytes& stream, int limit) {
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlim_t cap = static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (rlim_t{512} << 20);
  const rlimit addressSpace{cap, cap};
  if (setrlimit(RLIMIT_AS, &addressSpace) != 0) std::_Exit(2);
  const Result result = Decode(codec, stream, limit);
  std::fprintf(stderr, "%s\n", result.error.c_str());
  std::_Exit(result.ok ? 1 : 0);
}

// A header declaring gigabytes fails on the caller's limit before the library allocates for it: the
// progressive stream's coefficients (libjpeg-turbo, in jpeg_start_decompress) and the J2K components
// (OpenJPEG, in opj_decode) would otherwise be asked for, and fail for want of memory with the
// library's message.
TEST(CodecLimits, AHugeDeclaredImageFailsBeforeAnythingOfItsSizeIsAllocated) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  struct Case {
    const char* what;
    Codec codec;
    Bytes stream;
    unsigned long long declared;
  };
  const Case cases[] = {
      {"progressive, 60000 x 60000", Codec::kJpeg8, JpegDeclaring("progressive_u8.jpg", 60000, 60000), 3600000000ULL},
      {"12-bit extended, 65000 x 65000", Codec::kJpeg12, JpegDeclaring("extended_u12.jpg", 65000, 65000),
       8450000000ULL},
      {"JPEG 2000, one tile of 40000 x 40000", Codec::kJpeg2000, J2kDeclaring(40000), 3200000000ULL},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EXIT(DecodeWithLittleRoom(c.codec, c.stream, 1 << 20), testing::ExitedWithCode(0),
                Text("^The code stream declares %llu bytes of samples, more than the 1048576 bytes the caller "
                     "accepts\\.",
                     c.declared));
  }
}

// A lossless frame codes each sample in a bit at least, so one that declares more samples than eight
// times its bytes fails whatever the caller's limit; the real lossless streams (ReferenceDecoding) are
// all well inside that bound.
TEST(CodecLimits, ALosslessFrameDeclaringMoreSamplesThanItsBitsFails) {
  const struct {
    const char* file;
    Codec codec;
  } cases[] = {{"lossless_u8.jpg", Codec::kJpeg8}, {"lossless_s12.jpg", Codec::kJpeg12},
               {"lossless_u16.jpg", Codec::kJpeg16}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const Bytes stream = JpegDeclaring(c.file, 1000, 1000);
    const Result result = Decode(c.codec, stream);
    ExpectFailure(result);
    EXPECT_EQ(result.error, Text("The lossless JPEG frame declares 1000000 samples, more than its %llu bytes can hold.",
                                 static_cast<unsigned long long>(stream.size() - StartOfImage(stream))));
  }
}

}  // namespace
