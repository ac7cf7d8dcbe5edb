// Helpers of the picture-file tests: a scratch folder, file bytes, and ImageMagick as the independent
// reader of the files the encoders write.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "picture/picture.h"

namespace picture_test {

namespace fs = std::filesystem;
using namespace ondrel::platform::picture;

inline fs::path Fixture(const std::string& name) { return fs::path(ONDREL_TEST_DATA_DIR "/pictures") / name; }

inline std::vector<std::uint8_t> ReadBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void WriteBytes(const fs::path& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// A scratch folder removed with everything in it when the test ends.
class ScratchFolder : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(fs::create_directory(dir_)) << dir_; }
  void TearDown() override { fs::remove_all(dir_); }
  fs::path Path(const std::string& name) const { return dir_ / name; }

  const fs::path dir_ = fs::temp_directory_path() / ("ondrel-picture-test-" + std::to_string(std::random_device()()));
};

// A picture as ImageMagick reads it: 16-bit R, G, B, A samples, rows top-down.
struct MagickPixels {
  int width = 0;
  int height = 0;
  std::vector<std::uint16_t> rgba;
  std::uint16_t At(int x, int y, int channel) const {
    return rgba[(static_cast<std::size_t>(y) * width + x) * 4 + channel];
  }
};

// Reads `files` with one run of `convert` (each run costs far more than the pixels), the sizes with
// `identify`; fails the test when ImageMagick cannot read one of them.
inline std::vector<MagickPixels> ReadWithImageMagick(const std::vector<fs::path>& files, const fs::path& scratch) {
  const fs::path sizes = scratch / "magick-sizes.txt";
  std::string names;
  for (const fs::path& file : files) names += " '" + file.string() + "'";
  const std::string command = "identify -format '%w %h\\n'" + names + " > '" + sizes.string() + "' && convert" + names +
                              " -depth 16 -endian LSB +adjoin rgba:'" + (scratch / "magick-%d.rgba").string() + "'";
  std::vector<MagickPixels> result(files.size());
  if (std::system(command.c_str()) != 0) {
    ADD_FAILURE() << "ImageMagick cannot read" << names << " (is ImageMagick installed?)";
    return result;
  }
  std::ifstream sizeText(sizes);
  for (std::size_t i = 0; i < files.size(); ++i) {
    MagickPixels& pixels = result[i];
    sizeText >> pixels.width >> pixels.height;
    const auto bytes = ReadBytes(scratch / ("magick-" + std::to_string(i) + ".rgba"));
    if (bytes.size() != static_cast<std::size_t>(pixels.width) * pixels.height * 8) {
      ADD_FAILURE() << "ImageMagick gave " << bytes.size() << " bytes for " << files[i];
      pixels = {};
      continue;
    }
    for (std::size_t b = 0; b < bytes.size(); b += 2)
      pixels.rgba.push_back(static_cast<std::uint16_t>(bytes[b] | (bytes[b + 1] << 8)));
  }
  return result;
}

// B, G, R, A of pixel (x, y) of a 32bppARGB picture.
inline const std::uint8_t* ArgbAt(const Picture& argb, int x, int y) {
  return argb.bits.data() + static_cast<std::size_t>(y) * argb.stride + 4 * x;
}

// A 32bppARGB picture of seeded random pixels, with alpha from `alphas` (chosen at random per pixel).
inline Picture RandomArgb(int width, int height, unsigned seed, const std::vector<std::uint8_t>& alphas) {
  std::mt19937 random(seed);
  Picture picture;
  picture.width = width;
  picture.height = height;
  picture.pixelFormat = kFormat32bppARGB;
  picture.stride = 4 * width;
  picture.bits.resize(static_cast<std::size_t>(picture.stride) * height);
  for (std::size_t i = 0; i < picture.bits.size(); i += 4) {
    for (int c = 0; c < 3; ++c) picture.bits[i + c] = static_cast<std::uint8_t>(random());
    picture.bits[i + 3] = alphas[random() % alphas.size()];
  }
  return picture;
}

}  // namespace picture_test
