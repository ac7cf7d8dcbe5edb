// The image's pixel copy: the YBR_FULL conversion and its one write-back into the loader's pixels.
#include "image/image.h"

#include <gtest/gtest.h>

#include <cmath>

#include "image/pixels_support.h"
#include "sources/image_info_strategies.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;
using image_test::BytesOf;

// The conversion by its definition: Cb and Cr centred on 128, truncated to a byte without a clamp.
std::array<BYTE, 3> ToRgb(double y, double cb, double cr) {
  const auto wrap = [](double value) { return static_cast<BYTE>(static_cast<long long>(value)); };
  return {wrap((cr - 128) * 1.402 + y), wrap(y - (cb - 128) * 0.34414 - (cr - 128) * 0.71414),
          wrap((cb - 128) * 1.772 + y)};
}

TEST(Image, YbrFullIsConvertedOnceAndTheLoadersPixelsTakeTheResult) {
  const ClassesRegistered registered;
  const Graph graph;
  graph.image->SetRows(1);
  graph.image->SetColumns(3);
  graph.image->SetSamplesPerPixel(3);
  graph.image->SetBitsStored(8);
  graph.image->SetBitsAllocated(8);
  graph.image->SetPlanarConfiguration(0);
  graph.image->SetPhotometricInterpretation(BStr(u"YBR_FULL").Get());
  // Mid grey, a saturated red (R wraps past 255) and a dark blue (G wraps below 0).
  BYTE source[9] = {128, 128, 128, 120, 90, 240, 30, 250, 100};
  std::array<BYTE, 9> expected{};
  for (int p = 0; p < 3; ++p) {
    const auto rgb = ToRgb(source[3 * p], source[3 * p + 1], source[3 * p + 2]);
    std::copy(rgb.begin(), rgb.end(), expected.begin() + 3 * p);
  }
  PresentationIntent intent;
  // Two frames of the same pixels, one after the other.
  std::vector<BYTE> frames(source, source + 9);
  frames.insert(frames.end(), source, source + 9);
  const std::shared_ptr<PixelData> cached = image_test::BlockOf(frames);
  const FramePixels frame(cached, 0, 0);
  ASSERT_FALSE(frame.IsConverted());
  Image first(frame, std::make_unique<ImageInfoWStationStrategy>(graph.image.Get()), &intent);
  const std::vector<BYTE> rgb(expected.begin(), expected.end());
  EXPECT_EQ(BytesOf(first.Pixels()), rgb);
  EXPECT_EQ(BytesOf(cached->Bytes().first(9)), rgb);
  EXPECT_EQ(BytesOf(cached->Bytes().last(9)), BytesOf(source)) << "the other frame is left alone";
  EXPECT_TRUE(frame.IsConverted());

  // A second image over the converted block, and a reload, take its pixels as they are: the same
  // colours.
  Image second(frame, std::make_unique<ImageInfoWStationStrategy>(graph.image.Get()), &intent);
  EXPECT_EQ(BytesOf(second.Pixels()), rgb);
  EXPECT_TRUE(second.IsColour());
  first.CopyPixelData(frame);
  EXPECT_EQ(BytesOf(first.Pixels()), rgb);

  // The other frame of the block is converted on its own, once.
  const FramePixels other(cached, 9, 1);
  EXPECT_FALSE(other.IsConverted());
  second.CopyPixelData(other);
  EXPECT_TRUE(other.IsConverted());
  EXPECT_EQ(BytesOf(second.Pixels()), rgb);
  EXPECT_EQ(BytesOf(cached->Bytes().last(9)), rgb);
}

TEST(Image, TheInterpretationIsSearchedSoThat422IsNotFull) {
  const ClassesRegistered registered;
  const struct {
    const char16_t* text;
    Photometric code;
  } cases[] = {{u"YBR_FULL_422", Photometric::YbrFull422}, {u"MONOCHROME1", Photometric::Monochrome1},
               {u" RGB ", Photometric::Rgb},               {u"PALETTE COLOR", Photometric::Unknown}};
  for (const auto& c : cases) {
    const Graph graph;
    graph.image->SetPhotometricInterpretation(BStr(c.text).Get());
    PresentationIntent intent;
    const Image image(FramePixels{}, std::make_unique<ImageInfoWStationStrategy>(graph.image.Get()), &intent);
    EXPECT_EQ(image.PhotometricInterpretation(), c.code) << std::string(c.text, c.text + std::char_traits<char16_t>::length(c.text));
  }
}

// A header without columns describes no pixels, twice over (the second copy reuses the first's
// block); found by fuzzing, where the sanitizers caught a copy into no block.
TEST(Image, AnImageWithoutColumnsHasNoPixels) {
  const ClassesRegistered registered;
  const Graph graph;
  graph.image->SetRows(2);
  graph.image->SetColumns(0);
  graph.image->SetBitsStored(8);
  const BYTE source[4] = {1, 2, 3, 4};
  PresentationIntent intent;
  Image image(image_test::FrameOf(source), std::make_unique<ImageInfoWStationStrategy>(graph.image.Get()), &intent);
  EXPECT_TRUE(image.Pixels().empty());
  image.CopyPixelData(image_test::FrameOf(source));
  EXPECT_TRUE(image.Pixels().empty());
}

TEST(Image, AnImageWithoutRowsFailsItsConstruction) {
  const ClassesRegistered registered;
  const Graph graph;
  const BYTE source[4] = {};
  PresentationIntent intent;
  EXPECT_TRUE(MessageOf([&] {
                Image image(image_test::FrameOf(source), std::make_unique<ImageInfoWStationStrategy>(graph.image.Get()),
                            &intent);
              }).starts_with("The Image constructor failed."));
}

}  // namespace
