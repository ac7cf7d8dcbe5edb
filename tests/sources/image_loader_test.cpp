// The loader over real files of pydicom's test set.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "dicom/dicom_dictionary.h"
#include "sources/image_info_strategies.h"
#include "sources/image_loader.h"
#include "workstation/graph_support.h"

namespace {

using namespace workstation_test;

const std::string kFiles = "/usr/lib/python3/dist-packages/pydicom/data/test_files/";

class Loader : public ::testing::Test {
 protected:
  void SetUp() override { DicomEngine::DicomDictionary::Instance().Load(ONDREL_DATA_DIR "/dicom_dictionary.txt"); }

  // An image object for a file, with the facts the loader asks of it.
  void Describe(const std::string& file, const char16_t* syntax, USHORT bitsStored) {
    graph.image->SetSopInstanceUid(BStr(u"1.2.3.4").Get());
    graph.image->SetFileName(BStr(std::u16string(file.begin(), file.end())).Get());
    graph.image->SetNeedsDicomData(VARIANT_FALSE);
    graph.image->SetTransferSyntaxUid(BStr(syntax).Get());
    graph.image->SetBitsStored(bitsStored);
  }

  // The header's size of the image, which bounds what a codec may decode.
  void Shape(USHORT rows, USHORT columns, USHORT samples, USHORT bitsAllocated) {
    graph.image->SetRows(rows);
    graph.image->SetColumns(columns);
    graph.image->SetSamplesPerPixel(samples);
    graph.image->SetBitsAllocated(bitsAllocated);
  }

  const ClassesRegistered registered;
  const Graph graph;
  ImageLoader loader;
};

TEST_F(Loader, ASecondLoadComesFromTheCacheEvenWhenTheFileHasGone) {
  const auto copy = std::filesystem::temp_directory_path() / ("ondrel_loader_" + std::to_string(std::random_device()()) + ".dcm");
  std::filesystem::copy_file(kFiles + "CT_small.dcm", copy, std::filesystem::copy_options::overwrite_existing);
  Describe(copy.string(), u"1.2.840.10008.1.2.1", 16);
  ImageInfoWStationStrategy strategy(graph.image.Get());
  bool cached = true;
  const std::shared_ptr<PixelData> first = loader.Load(&strategy, &cached);
  EXPECT_FALSE(cached);
  ASSERT_EQ(first->Bytes().size(), 128U * 128U * 2U);
  std::ifstream in(ONDREL_TEST_DATA_DIR "/sources/CT_small.pixels.raw", std::ios::binary);
  const std::string reference{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  ASSERT_EQ(reference.size(), first->Bytes().size());
  EXPECT_EQ(std::memcmp(first->Bytes().data(), reference.data(), reference.size()), 0);

  std::filesystem::remove(copy);
  const std::shared_ptr<PixelData> second = loader.Load(&strategy, &cached);
  EXPECT_TRUE(cached);
  EXPECT_EQ(second, first);
  EXPECT_EQ(loader.Find(u"1.2.3.4"), first);

  // Forgotten by the loader, the pixels stay with whoever holds them.
  loader.Remove(u"1.2.3.4");
  EXPECT_EQ(loader.Find(u"1.2.3.4"), nullptr);
  EXPECT_EQ(std::memcmp(first->Bytes().data(), reference.data(), reference.size()), 0);
  EXPECT_TRUE(MessageOf([&] { loader.Find(nullptr); }).starts_with("Invalid input parameters."));
}

// The bits stored the object gives, not the stream, choose the codec: the 12-bit one decodes this
// 12-bit lossy stream, the 8-bit one refuses it.
TEST_F(Loader, BitsStoredChoosesTheCodec) {
  const struct {
    USHORT bitsStored;
    bool decodes;
  } cases[] = {{12, true}, {8, false}};
  for (const auto& c : cases) {
    ImageLoader fresh;
    Describe(kFiles + "JPEG-lossy.dcm", u"1.2.840.10008.1.2.4.51", c.bitsStored);
    Shape(1024, 256, 1, 16);
    ImageInfoWStationStrategy strategy(graph.image.Get());
    std::shared_ptr<PixelData> pixels;
    bool cached = false;
    const std::string message = MessageOf([&] { pixels = fresh.Load(&strategy, &cached); });
    if (c.decodes) {
      EXPECT_EQ(message, "(nothing was thrown)");
      EXPECT_EQ(pixels->Bytes().size(), 1024U * 256U * 2U);
    } else {
      EXPECT_NE(message, "(nothing was thrown)") << c.bitsStored;
      EXPECT_EQ(fresh.Find(u"1.2.3.4"), nullptr) << "a failed decode is not cached";
    }
  }
}

// The codec may decode what the header says the image holds and no more: a stream larger than its
// header fails with the codec's message, and nothing is cached.
TEST_F(Loader, TheHeaderBoundsTheDecodedSize) {
  const struct {
    USHORT rows;
    const char* failure;
  } cases[] = {{1024, nullptr},
               {512, "The code stream declares 524288 bytes of samples, more than the 262144 bytes the caller "
                     "accepts."}};
  for (const auto& c : cases) {
    ImageLoader fresh;
    Describe(kFiles + "JPEG-lossy.dcm", u"1.2.840.10008.1.2.4.51", 12);
    Shape(c.rows, 256, 1, 16);
    ImageInfoWStationStrategy strategy(graph.image.Get());
    std::shared_ptr<PixelData> pixels;
    bool cached = false;
    const std::string message = MessageOf([&] { pixels = fresh.Load(&strategy, &cached); });
    if (c.failure == nullptr) {
      EXPECT_EQ(message, "(nothing was thrown)");
      EXPECT_EQ(pixels->Bytes().size(), 1024U * 256U * 2U);
    } else {
      EXPECT_TRUE(message.starts_with(c.failure)) << message;
      EXPECT_EQ(fresh.Find(u"1.2.3.4"), nullptr);
    }
  }
}

TEST_F(Loader, OtherSyntaxesComeBackAsTheyStandAndBrokenStreamsFail) {
  // Declared as JPEG-LS, the JPEG 2000 stream is not decoded: its compressed bytes come back.
  Describe(kFiles + "MR_small_jp2klossless.dcm", u"1.2.840.10008.1.2.4.57", 16);
  ImageInfoWStationStrategy strategy(graph.image.Get());
  bool cached = false;
  const std::span<const std::uint8_t> pixels = loader.Load(&strategy, &cached)->Bytes();
  ASSERT_GT(pixels.size(), 4U);
  EXPECT_LT(pixels.size(), 64U * 64U * 2U);
  EXPECT_EQ(pixels[0], 0xFF);
  EXPECT_EQ(pixels[1], 0x4F);  // the code stream's first marker

  // Declared as baseline JPEG, the same bytes are no JPEG stream: the codec's failure, nothing cached.
  ImageLoader fresh;
  graph.image->SetTransferSyntaxUid(BStr(u"1.2.840.10008.1.2.4.50").Get());
  graph.image->SetBitsStored(8);
  EXPECT_NE(MessageOf([&] { fresh.Load(&strategy, &cached); }), "(nothing was thrown)");
  EXPECT_EQ(fresh.Find(u"1.2.3.4"), nullptr);
}

TEST_F(Loader, AFileThatIsNotDicomAndMissingFactsFail) {
  Describe(kFiles + "README.txt", u"1.2.840.10008.1.2", 8);
  ImageInfoWStationStrategy strategy(graph.image.Get());
  bool cached = false;
  EXPECT_TRUE(MessageOf([&] { loader.Load(&strategy, &cached); })
                  .starts_with("It's not a DICOM file or a well formatted DICOM file."));
  const auto other = Create<IImageInfoNW>(CLSID_ImageInfoNW);
  graph.series->AddImageToSeries(other.Get());
  ImageInfoWStationStrategy empty(other.Get());
  EXPECT_TRUE(MessageOf([&] { loader.Load(&empty, &cached); }).starts_with("Invalid image SOP Instance UID."));
  EXPECT_TRUE(MessageOf([&] { loader.Load(nullptr, &cached); }).starts_with("Invalid input parameters."));
}

TEST_F(Loader, AnImageThatWantsItsDataIsFilledFromTheWholeFile) {
  Describe(kFiles + "CT_small.dcm", u"", 0);
  graph.image->SetNeedsDicomData(VARIANT_TRUE);
  ImageInfoWStationStrategy strategy(graph.image.Get());
  bool cached = false;
  loader.Load(&strategy, &cached);
  // Values from dcmdump of the file.
  EXPECT_EQ(strategy.GetRows(), 128);
  EXPECT_EQ(strategy.GetBitsStored(), 16);
  EXPECT_EQ(Wide(strategy.GetTransferSyntaxUid()), u"1.2.840.10008.1.2.1");
  EXPECT_EQ(Wide(strategy.GetPatientName()), u"CompressedSamples^CT1 ");  // with the value's padding
  EXPECT_EQ(strategy.GetWindowCenter(), 0);  // the file has none
}

}  // namespace
