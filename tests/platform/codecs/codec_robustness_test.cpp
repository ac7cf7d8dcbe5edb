// The codec functions on damaged data and from several threads at once. Random data comes from
// seeded generators; a failing case prints its seed so that it can be replayed.
#include <gtest/gtest.h>

#include <cstdint>
#include <latch>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "codec_test_support.h"

namespace {

using namespace codec_test;

// One small stream for each library: libjpeg-turbo, the IJG 8-, 12- and 16-bit libraries, OpenJPEG
// with a J2K code stream and with a JP2 file.
const char* const kSmallStreams[] = {"SC_rgb_small_odd_jpeg.jpg", "lossless_s8.jpg", "extended_u12.jpg",
                                     "lossless_u16.jpg",          "j2k_lossy_u16.j2k", "SC_rgb_gdcm_KY.j2k",
                                     "JPEG2000.j2k"};

// Offset just past the last EOI (JPEG) or EOC (JPEG 2000) marker: both are FF D9.
std::size_t EndOfLastCodeStream(const Bytes& data) {
  for (std::size_t i = data.size() - 1; i > 0; --i) {
    if (data[i - 1] == 0xFF && data[i] == 0xD9) return i + 1;
  }
  return 0;
}

// Cut anywhere before its end, a stream fails: JPEG decoders would fill the missing rows with grey,
// OpenJPEG would decode less detail.
TEST(CodecRobustness, EveryTruncationFails) {
  for (const char* file : kSmallStreams) {
    SCOPED_TRACE(file);
    const Reference reference = ReferenceOf(file);
    const Bytes stream = ReadStream(file);
    const std::size_t end = EndOfLastCodeStream(stream);
    ASSERT_GT(end, 0u);
    for (std::size_t length = 1; length < end; ++length) {
      const Result result = Decode(reference.codec, stream.data(), static_cast<int>(length));
      ASSERT_FALSE(result.ok) << "cut at " << length << " of " << end;
      ExpectFailure(result);
    }
    const Result whole = Decode(reference.codec, stream.data(), static_cast<int>(end));
    ASSERT_TRUE(whole.ok) << whole.error;
    EXPECT_EQ(Sha256(whole.samples), reference.sha256);
  }
}

// A SIZ damaged so that the image grows past its tiles: OpenJPEG would give grey for the tiles that
// have no data, so the code stream fails. j2k_u16.j2k is one 64 x 64 tile; a width of 200 makes four.
TEST(CodecRobustness, ACodeStreamLackingTilesFails) {
  Bytes data = ReadStream("j2k_u16.j2k");
  ASSERT_EQ(data[10], 0x00);  // Xsiz = 0x40, big-endian at offset 8
  ASSERT_EQ(data[11], 0x40);
  data[11] = 200;
  const Result result = Decode(Codec::kJpeg2000, data);
  ExpectFailure(result);
  EXPECT_EQ(result.error, "The JPEG 2000 code stream holds data for 1 of its 4 tiles.");
}

Bytes RandomBytes(std::mt19937& random, std::size_t size) {
  Bytes bytes(size);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return bytes;
}

// Random bytes fail, also behind a valid start of a code stream (so that they reach the libraries'
// header and entropy decoders).
TEST(CodecRobustness, RandomBytesFail) {
  const Bytes starts[] = {{}, {0xFF, 0xD8, 0xFF}, {0xFF, 0x4F, 0xFF, 0x51}};
  const Codec codecs[] = {Codec::kJpeg8, Codec::kJpeg12, Codec::kJpeg16, Codec::kJpeg2000};
  for (std::uint32_t seed = 1; seed <= 200; ++seed) {
    std::mt19937 random(seed);
    const Bytes& start = starts[seed % 3];
    Bytes data = start;
    const Bytes tail = RandomBytes(random, 1 + random() % 600);
    data.insert(data.end(), tail.begin(), tail.end());
    for (const Codec codec : codecs) {
      const Result result = Decode(codec, data);
      ASSERT_FALSE(result.ok) << "seed " << seed;
      ExpectFailure(result);
    }
  }
}

// Streams with some bytes changed: whatever the codec makes of them, it returns, and either gives
// samples (the change may have been harmless) or fails as the contract says.
TEST(CodecRobustness, DamagedStreamsFailCleanly) {
  for (const char* file : kSmallStreams) {
    const Reference reference = ReferenceOf(file);
    const Bytes stream = ReadStream(file);
    for (std::uint32_t seed = 1; seed <= 150; ++seed) {
      std::mt19937 random(seed);
      Bytes data = stream;
      const int changes = 1 + static_cast<int>(random() % 4);
      for (int i = 0; i < changes; ++i) data[random() % data.size()] = static_cast<std::uint8_t>(random());
      const Result result = Decode(reference.codec, data);
      if (result.ok) {
        EXPECT_FALSE(result.outNull) << file << " seed " << seed;
        EXPECT_EQ(static_cast<std::size_t>(result.outLength), result.samples.size());
        EXPECT_GT(result.outLength, 0);
      } else {
        ExpectFailure(result);
        EXPECT_FALSE(result.error.empty()) << file << " seed " << seed;
      }
    }
  }
}

// The libraries keep their state per call: eight threads decoding different streams at once give
// the reference samples every time.
TEST(CodecThreads, EightThreadsDecodeAsOne) {
  const char* const files[] = {"SC_rgb_dcmtk_+eb+cy+n1.jpg", "lossless_rgb8.jpg", "JPEG-lossy.jpg",
                               "lossless_s16.jpg", "lossless_s12.jpg", "693_J2KI.j2k",
                               "GDCMJ2K_TextGBR.j2k", "baseline_rgb8x3.jpg"};
  struct Work {
    Reference reference;
    Bytes stream;
  };
  std::vector<Work> work;
  for (const char* file : files) work.push_back({ReferenceOf(file), ReadStream(file)});

  constexpr int kThreads = 8;
  constexpr int kRounds = 6;
  std::vector<std::vector<std::string>> digests(kThreads);
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      start.arrive_and_wait();
      for (int round = 0; round < kRounds; ++round) {
        // Each thread walks the streams from another place, so that all libraries run at once.
        const Work& item = work[(t + round) % work.size()];
        const Result result = Decode(item.reference.codec, item.stream);
        digests[t].push_back(result.ok ? Sha256(result.samples) : "failed: " + result.error);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) {
    for (int round = 0; round < kRounds; ++round) {
      const Work& item = work[(t + round) % work.size()];
      EXPECT_EQ(digests[t][round], item.reference.sha256) << item.reference.file << " thread " << t;
    }
  }
}

}  // namespace
