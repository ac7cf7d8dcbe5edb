// The image's pixel copy: the YBR_FULL conversion and its one write-back into the loader's pixels.
#include "image/image.h"

#include <gtest/gtest.h>

#include <cmath>

#include "sources/image_info_strategies.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;

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
  const PixelBuffer cached{source, sizeof source, false};
  Image first(cached, std::make_unique<ImageInfoWStationStrategy>(graph.image.Get()), &intent, false);
  EXPECT_EQ(std::vector<BYTE>(first.Pixels().data, first.Pixels().data + 9),
            std::vector<BYTE>(expected.begin(), expected.end()));
  EXPECT_EQ(std::vector<BYTE>(source, source + 9), std::vector<BYTE>(expected.begin(), expected.end()));

  // A second image over the converted cache takes its pixels as they are: the same colours.
  Image second(cached, std::make_unique<ImageInfoWStationStrategy>(graph.image.Get()), &intent, true);
  EXPECT_EQ(std::vector<BYTE>(second.Pixels().data, second.Pixels().data + 9),
            std::vector<BYTE>(expected.begin(), expected.end()));
  EXPECT_TRUE(second.IsColour());
}

TEST(Image, TheInterpretationIsSearchedSoThat422IsNotFull) {
  const ClassesRegistered registered;
  const struct {
    const char16_t* text;
    int code;
  } cases[] = {{u"YBR_FULL_422", kPhotometricYbrFull422}, {u"MONOCHROME1", kPhotometricMonochrome1},
               {u" RGB ", kPhotometricRgb},             {u"PALETTE COLOR", kPhotometricUnknown}};
  for (const auto& c : cases) {
    const Graph graph;
    graph.image->SetPhotometricInterpretation(BStr(c.text).Get());
    PresentationIntent intent;
    const Image image(PixelBuffer{}, std::make_unique<ImageInfoWStationStrategy>(graph.image.Get()), &intent, false);
    EXPECT_EQ(image.Photometric(), c.code) << std::string(c.text, c.text + std::char_traits<char16_t>::length(c.text));
  }
}

TEST(Image, AnImageWithoutRowsFailsItsConstruction) {
  const ClassesRegistered registered;
  const Graph graph;
  BYTE source[4] = {};
  PresentationIntent intent;
  EXPECT_TRUE(MessageOf([&] {
                Image image(PixelBuffer{source, 4, false}, std::make_unique<ImageInfoWStationStrategy>(graph.image.Get()),
                            &intent, false);
              }).starts_with("The Image constructor failed."));
}

}  // namespace
