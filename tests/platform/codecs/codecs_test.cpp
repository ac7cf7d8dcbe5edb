// The four codec functions against reference decodings of real and synthetic code streams, and the
// parts of their contract that concern the data around the code streams and the arguments.
#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <string>
#include <vector>

#include "codec_test_support.h"

namespace {

using namespace codec_test;

TEST(Sha256, KnownDigests) {
  EXPECT_EQ(Sha256({}), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Sha256({'a', 'b', 'c'}), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  // Two blocks of padding.
  const std::string text = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
  EXPECT_EQ(Sha256(Bytes(text.begin(), text.end())),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

class ReferenceDecoding : public ::testing::TestWithParam<Reference> {};

TEST_P(ReferenceDecoding, GivesTheReferenceSamples) {
  const Reference& reference = GetParam();
  const Result result = Decode(reference.codec, ReadStream(reference.file));
  if (reference.fails) {
    ExpectFailure(result);
    return;
  }
  ASSERT_TRUE(result.ok) << result.error;
  EXPECT_TRUE(result.error.empty()) << result.error;
  EXPECT_EQ(result.samples.size(), reference.size);
  EXPECT_EQ(Sha256(result.samples), reference.sha256) << "reference from " << reference.source;
}

std::string TestName(const ::testing::TestParamInfo<Reference>& info) {
  std::string name = info.param.file;
  for (char& c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Streams, ReferenceDecoding, ::testing::ValuesIn(ReadReferences()), TestName);

const Codec kCodecs[] = {Codec::kJpeg8, Codec::kJpeg12, Codec::kJpeg16, Codec::kJpeg2000};

TEST(CodecArguments, NoDataIsRefusedWithAMessage) {
  const std::uint8_t byte = 0xFF;
  struct Case {
    const std::uint8_t* source;
    int length;
  };
  const Case cases[] = {{nullptr, 100}, {&byte, 0}, {&byte, -1}, {&byte, -2147483647 - 1}, {nullptr, 0}};
  for (const Codec codec : kCodecs) {
    for (const Case& c : cases) {
      SCOPED_TRACE(testing::Message() << "codec " << static_cast<int>(codec) << ", length " << c.length);
      ExpectFailure(Decode(codec, c.source, c.length));
    }
  }
}

TEST(CodecArguments, ANullOutPointerIsRefused) {
  Bytes stream = ReadStream("lossless_u8.jpg");
  char errorText[1024] = "";
  int outLength = -1;
  EXPECT_FALSE(DecompressJpegBufferIntoBmpBuffer8(stream.data(), static_cast<int>(stream.size()), nullptr,
                                                  &outLength, errorText, INT_MAX));
  EXPECT_EQ(outLength, 0);
  EXPECT_NE(errorText[0], '\0');
}

// Data without any code stream fails, whatever it holds.
TEST(CodecStreams, DataWithoutACodeStreamFails) {
  const Bytes cases[] = {
      Bytes(64, 0x00), Bytes(64, 0xFF), {0xFF}, {0xFF, 0xD8}, {0x00, 0x00, 0x00, 0x0C, 0x6A, 0x50},
      {0xFF, 0x4F, 0xFF}};
  for (const Codec codec : kCodecs) {
    for (const Bytes& data : cases) ExpectFailure(Decode(codec, data));
  }
}

// Bytes before the first code stream (an offset table, an empty fragment, a false start FF D8 with no
// marker after it) are stepped over.
TEST(CodecStreams, LeadingBytesAreSteppedOver) {
  const Bytes prefixes[] = {{0x00}, {0x00, 0x00, 0x00, 0x00, 0x10, 0x20, 0x30, 0x40}, {0xFF, 0xD8, 0x00, 0x12},
                            {0xFF, 0x4F, 0x00, 0xFF, 0xFF}};
  for (const char* file : {"SC_rgb_jpeg_gdcm.jpg", "lossless_u16.jpg", "extended_u12.jpg", "j2k_s12.j2k",
                           "GDCMJ2K_TextGBR.j2k"}) {
    const Reference reference = ReferenceOf(file);
    const Bytes stream = ReadStream(file);
    for (const Bytes& prefix : prefixes) {
      SCOPED_TRACE(testing::Message() << file << " after " << prefix.size() << " bytes");
      Bytes data = prefix;
      data.insert(data.end(), stream.begin(), stream.end());
      const Result result = Decode(reference.codec, data);
      ASSERT_TRUE(result.ok) << result.error;
      EXPECT_EQ(Sha256(result.samples), reference.sha256);
    }
  }
}

// Code streams back to back, with padding between them, are frames that decode one after the other;
// what follows the last one and is neither padding nor a code stream is left alone.
TEST(CodecStreams, FramesBackToBackDecodeInTurn) {
  struct Case {
    const char* file;
    Bytes padding;
  };
  const Case cases[] = {{"SC_rgb_small_odd_jpeg.jpg", {}},
                        {"lossless_s8.jpg", {0x00}},
                        {"lossless_u12.jpg", {0xFF, 0xFF, 0x00}},
                        {"lossless_s16.jpg", {0x00, 0x00, 0x00}},
                        {"JPEG2000.j2k", {}},
                        {"GDCMJ2K_TextGBR.j2k", {0x00}},
                        {"SC_rgb_gdcm_KY.j2k", {0x00, 0x00}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file);
    const Reference reference = ReferenceOf(c.file);
    const Bytes stream = ReadStream(c.file);
    Bytes data;
    for (int frame = 0; frame < 3; ++frame) {
      data.insert(data.end(), stream.begin(), stream.end());
      data.insert(data.end(), c.padding.begin(), c.padding.end());
    }
    data.insert(data.end(), {0x12, 0x34, 0xFF, 0xD8, 0xFF, 0x56});
    const Result result = Decode(reference.codec, data);
    ASSERT_TRUE(result.ok) << result.error;
    ASSERT_EQ(result.samples.size(), 3 * reference.size);
    for (int frame = 0; frame < 3; ++frame) {
      const auto start = result.samples.begin() + frame * static_cast<std::ptrdiff_t>(reference.size);
      EXPECT_EQ(Sha256(Bytes(start, start + static_cast<std::ptrdiff_t>(reference.size))), reference.sha256)
          << "frame " << frame;
    }
  }
}

// A frame that fails fails the whole call, also when frames before it decoded.
TEST(CodecStreams, ABrokenLaterFrameFailsTheCall) {
  for (const char* file : {"lossless_u16.jpg", "j2k_u16.j2k"}) {
    const Reference reference = ReferenceOf(file);
    Bytes data = ReadStream(file);
    const Bytes stream = data;
    data.insert(data.end(), stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(stream.size() / 2));
    ExpectFailure(Decode(reference.codec, data));
  }
}

// The 12- and 16-bit functions give 16-bit samples whatever the stream's precision: an 8-bit stream
// comes out widened. The 8-bit function cannot hold more than 8 bits and refuses such streams.
TEST(CodecStreams, SampleWidthFollowsTheFunction) {
  const Reference reference = ReferenceOf("SC_rgb_dcmtk_+eb+cy+s2.jpg");
  const Bytes stream = ReadStream(reference.file);
  const Result narrow = Decode(Codec::kJpeg8, stream);
  ASSERT_TRUE(narrow.ok) << narrow.error;
  ASSERT_EQ(Sha256(narrow.samples), reference.sha256);
  Bytes widened;
  for (const std::uint8_t sample : narrow.samples) widened.insert(widened.end(), {sample, 0x00});
  for (const Codec codec : {Codec::kJpeg12, Codec::kJpeg16}) {
    const Result wide = Decode(codec, stream);
    ASSERT_TRUE(wide.ok) << wide.error;
    EXPECT_EQ(wide.samples, widened);
  }

  const Result twelve = Decode(Codec::kJpeg8, ReadStream("extended_u12.jpg"));
  ExpectFailure(twelve);
  EXPECT_EQ(twelve.error, "Unsupported JPEG data precision 12");
  const Result sixteen = Decode(Codec::kJpeg8, ReadStream("lossless_u16.jpg"));
  ExpectFailure(sixteen);
  EXPECT_EQ(sixteen.error, "Must downscale data from 16 bits to 8");
}

// A 12-bit lossless stream decodes alike through the 12- and the 16-bit library.
TEST(CodecStreams, TwelveBitLosslessDecodesAlikeInBothLibraries) {
  const Reference reference = ReferenceOf("lossless12_u12.jpg");
  const Result result = Decode(Codec::kJpeg16, ReadStream(reference.file));
  ASSERT_TRUE(result.ok) << result.error;
  EXPECT_EQ(Sha256(result.samples), reference.sha256);
}

}  // namespace
