// Calling the four codec functions from tests, reading the test streams and their references
// (tests/data/codecs, made by scripts/make_codec_references), and the SHA-256 the references are
// written in.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ondrel/platform/codecs.h"

namespace codec_test {

using Bytes = std::vector<std::uint8_t>;

enum class Codec { kJpeg8, kJpeg12, kJpeg16, kJpeg2000 };

inline Codec CodecNamed(const std::string& name) {
  if (name == "8") return Codec::kJpeg8;
  if (name == "12") return Codec::kJpeg12;
  if (name == "16") return Codec::kJpeg16;
  return Codec::kJpeg2000;
}

// What one call gave: the samples (a copy of the block, which is freed as the contract says), the
// raw out values, and the error text.
struct Result {
  bool ok = false;
  Bytes samples;
  bool outNull = false;
  int outLength = -1;
  std::string error;
};

// Calls `codec` over `length` bytes at `source` (either may be anything, for the argument checks),
// accepting at most `limit` bytes of samples.
inline Result Decode(Codec codec, const std::uint8_t* source, int length, int limit = INT_MAX) {
  Result result;
  std::array<char, 1024> errorText{};
  char* error = errorText.data();
  auto* input = const_cast<unsigned char*>(source);
  // The out pointer starts as a value the call must overwrite, success or not.
  static std::uint8_t untouched;
  std::uint8_t* block = nullptr;
  if (codec == Codec::kJpeg12 || codec == Codec::kJpeg16) {
    unsigned short* out = reinterpret_cast<unsigned short*>(&untouched);
    result.ok = codec == Codec::kJpeg12
                    ? DecompressJpegBufferIntoBmpBuffer12(input, length, &out, &result.outLength, error, limit)
                    : DecompressJpegBufferIntoBmpBuffer16(input, length, &out, &result.outLength, error, limit);
    block = reinterpret_cast<std::uint8_t*>(out);
  } else {
    unsigned char* out = &untouched;
    result.ok = codec == Codec::kJpeg8
                    ? DecompressJpegBufferIntoBmpBuffer8(input, length, &out, &result.outLength, error, limit)
                    : DecompressJpeg2KBufferIntoBmpBuffer(input, length, &out, &result.outLength, error, limit);
    block = out;
  }
  if (block == &untouched) {
    ADD_FAILURE() << "the out pointer was not written";
    block = nullptr;
  }
  result.outNull = block == nullptr;
  if (block != nullptr && result.outLength > 0) result.samples.assign(block, block + result.outLength);
  delete[] block;
  // The text must end inside the buffer.
  EXPECT_NE(std::memchr(errorText.data(), '\0', errorText.size()), nullptr);
  result.error = std::string(errorText.data(), strnlen(errorText.data(), errorText.size()));
  return result;
}

inline Result Decode(Codec codec, const Bytes& data, int limit = INT_MAX) {
  return Decode(codec, data.data(), static_cast<int>(data.size()), limit);
}

// A failure as the contract has it: false, null block, length 0, a message.
inline void ExpectFailure(const Result& result) {
  EXPECT_FALSE(result.ok);
  EXPECT_TRUE(result.outNull);
  EXPECT_EQ(result.outLength, 0);
  EXPECT_FALSE(result.error.empty());
}

inline std::string DataPath(const std::string& name) { return std::string(ONDREL_TEST_DATA_DIR "/codecs/") + name; }

inline Bytes ReadStream(const std::string& name) {
  std::ifstream file(DataPath(name), std::ios::binary);
  EXPECT_TRUE(file) << DataPath(name);
  return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// One line of references.txt: "file codec size sha256 source" or "file codec fails source".
struct Reference {
  std::string file;
  Codec codec = Codec::kJpeg8;
  bool fails = false;
  std::size_t size = 0;
  std::string sha256;
  std::string source;
};

inline std::vector<Reference> ReadReferences() {
  std::vector<Reference> references;
  std::ifstream file(DataPath("references.txt"));
  std::string line;
  while (std::getline(file, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    Reference reference;
    std::string codec, size;
    fields >> reference.file >> codec >> size;
    reference.codec = CodecNamed(codec);
    reference.fails = size == "fails";
    if (!reference.fails) {
      reference.size = std::stoul(size);
      fields >> reference.sha256;
    }
    fields >> reference.source;
    references.push_back(reference);
  }
  return references;
}

inline Reference ReferenceOf(const std::string& file) {
  for (const Reference& reference : ReadReferences()) {
    if (reference.file == file) return reference;
  }
  ADD_FAILURE() << file << " is not in references.txt";
  return {};
}

// SHA-256 (FIPS 180-4) in lower-case hex, the form the references are written in.
inline std::string Sha256(const Bytes& data) {
  static constexpr std::uint32_t kRound[64] = {
      0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
      0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
      0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
      0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
      0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
      0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
      0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
      0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};
  std::uint32_t state[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                            0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  Bytes message = data;
  const std::uint64_t bits = std::uint64_t{data.size()} * 8;
  message.push_back(0x80);
  while (message.size() % 64 != 56) message.push_back(0);
  for (int shift = 56; shift >= 0; shift -= 8) message.push_back(static_cast<std::uint8_t>(bits >> shift));
  const auto rotate = [](std::uint32_t x, int n) { return (x >> n) | (x << (32 - n)); };
  for (std::size_t block = 0; block < message.size(); block += 64) {
    std::uint32_t w[64];
    for (int i = 0; i < 16; ++i) {
      const std::uint8_t* p = &message[block + 4 * i];
      w[i] = std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 | p[3];
    }
    for (int i = 16; i < 64; ++i) {
      const std::uint32_t s0 = rotate(w[i - 15], 7) ^ rotate(w[i - 15], 18) ^ (w[i - 15] >> 3);
      const std::uint32_t s1 = rotate(w[i - 2], 17) ^ rotate(w[i - 2], 19) ^ (w[i - 2] >> 10);
      w[i] = w[i - 16] + s0 + w[i - 7] + s1;
    }
    std::uint32_t v[8];
    std::copy(state, state + 8, v);
    for (int i = 0; i < 64; ++i) {
      const std::uint32_t t1 = v[7] + (rotate(v[4], 6) ^ rotate(v[4], 11) ^ rotate(v[4], 25)) +
                               ((v[4] & v[5]) ^ (~v[4] & v[6])) + kRound[i] + w[i];
      const std::uint32_t t2 =
          (rotate(v[0], 2) ^ rotate(v[0], 13) ^ rotate(v[0], 22)) + ((v[0] & v[1]) ^ (v[0] & v[2]) ^ (v[1] & v[2]));
      std::copy_backward(v, v + 7, v + 8);
      v[4] += t1;
      v[0] = t1 + t2;
    }
    for (int i = 0; i < 8; ++i) state[i] += v[i];
  }
  std::string hex;
  for (const std::uint32_t word : state) {
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08x", word);
    hex += digits;
  }
  return hex;
}

}  // namespace codec_test
