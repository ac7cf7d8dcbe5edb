// A real CT through the component, as a host renders it: the window's pixels against the window/level
// mapping computed here from the file's stored values (written by dcmdump +W) and its rescale.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>

#include "ondrel/measurements.h"
#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/host_window.h"
#include "component_test_support.h"
#include "ondrel/study_builder.h"

namespace {

using ondrel::platform::ComPtr;

// CT_small.dcm, from dcmdump: 128 x 128, 16 bits stored, signed, rescale 1 and -1024, MONOCHROME2.
constexpr int kSize = 128;
constexpr double kIntercept = -1024.0;

class RenderedCt : public component_test::ComponentTest {
 protected:
  void SetUp() override {
    ComponentTest::SetUp();
    image_ = component_test::FirstImageOf(ONDREL_TEST_DATA_DIR "/dicom/CT_small.dcm");
    ASSERT_TRUE(image_);
    window_ = Window(kSize, kSize);
  }

  // The grey level each pixel must show under window `width` and centre `level`.
  static std::vector<BYTE> Expected(LONG width, LONG level) {
    std::ifstream in(ONDREL_TEST_DATA_DIR "/sources/CT_small.pixels.raw", std::ios::binary);
    const std::string raw{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    const LONG low = level - width / 2;
    const LONG high = level + width / 2;
    std::vector<BYTE> grey;
    for (std::size_t i = 0; i + 1 < raw.size(); i += 2) {
      const auto stored = static_cast<std::int16_t>(static_cast<BYTE>(raw[i]) | static_cast<BYTE>(raw[i + 1]) << 8);
      const auto modality = static_cast<int>(static_cast<double>(static_cast<float>(stored)) + kIntercept);
      if (modality <= low) grey.push_back(0);
      else if (modality >= high) grey.push_back(255);
      else grey.push_back(static_cast<BYTE>(std::trunc((modality - low) * (255.0 / width))));
    }
    return grey;
  }

  ComPtr<IImageInfoNW> image_;
  HWND window_ = nullptr;
};

TEST_F(RenderedCt, AtScaleOneTheWindowShowsTheDisplayBufferExactly) {
  ASSERT_EQ(ondrel_->RenderImage(image_.Get(), window_, VARIANT_FALSE), S_OK);
  ASSERT_EQ(ondrel_->ApplyWindowLevelPreset(window_, 400, 40), S_OK);
  ondrel::platform::WindowPixels pixels;
  ASSERT_TRUE(ondrel::platform::ReadWindowPixels(window_, pixels));
  const std::vector<BYTE> expected = Expected(400, 40);
  int wrong = 0;
  // The dotted tag square in the bottom-right corner is not picture.
  for (int y = 0; y < kSize - 20; ++y)
    for (int x = 0; x < kSize; ++x) {
      const BYTE* bgra = &pixels.bgra[(static_cast<std::size_t>(y) * kSize + x) * 4];
      const BYTE want = expected[static_cast<std::size_t>(y) * kSize + x];
      if (bgra[0] != want || bgra[1] != want || bgra[2] != want) ++wrong;
    }
  EXPECT_EQ(wrong, 0);
}

TEST_F(RenderedCt, RenderingTheSameKeyAgainReusesTheImageAndKeepsAModifiedWindow) {
  ASSERT_EQ(ondrel_->RenderImage(image_.Get(), window_, VARIANT_FALSE), S_OK);
  ASSERT_EQ(ondrel_->ApplyWindowLevelPreset(window_, 400, 40), S_OK);
  ASSERT_EQ(ondrel_->ZoomImage(window_, 150), S_OK);
  ASSERT_EQ(ondrel_->RenderImage(image_.Get(), window_, VARIANT_TRUE), S_OK);
  ULONG zoom = 0;
  EXPECT_EQ(ondrel_->GetCurrentImageZoom(window_, &zoom), S_OK);
  EXPECT_EQ(zoom, 150U);  // the kept intent
  ASSERT_EQ(ondrel_->ZoomImage(window_, 100), S_OK);
  ondrel::platform::WindowPixels pixels;
  ASSERT_TRUE(ondrel::platform::ReadWindowPixels(window_, pixels));
  EXPECT_EQ(pixels.bgra[(40 * kSize + 64) * 4], Expected(400, 40)[40 * kSize + 64]);

  // A new intent starts from defaults.
  ASSERT_EQ(ondrel_->RenderImage(image_.Get(), window_, VARIANT_FALSE), S_OK);
  ondrel_->GetCurrentImageZoom(window_, &zoom);
  EXPECT_EQ(zoom, 100U);
}

// The bottom-right corner marks a tagged image with the star of star.png (gold inside) and an untagged
// one with a dotted square, whose centre is picture.
TEST_F(RenderedCt, ATaggedImageShowsTheStarInTheCorner) {
  const auto centreOfCorner = [&] {
    ondrel::platform::WindowPixels pixels;
    EXPECT_TRUE(ondrel::platform::ReadWindowPixels(window_, pixels));
    const BYTE* bgra = &pixels.bgra[(static_cast<std::size_t>(kSize - 10) * kSize + (kSize - 10)) * 4];
    return static_cast<std::uint32_t>(bgra[2] << 16 | bgra[1] << 8 | bgra[0]);
  };
  ASSERT_EQ(ondrel_->RenderImage(image_.Get(), window_, VARIANT_FALSE), S_OK);
  ASSERT_EQ(ondrel_->ApplyWindowLevelPreset(window_, 400, 40), S_OK);
  const BYTE grey = Expected(400, 40)[static_cast<std::size_t>(kSize - 10) * kSize + (kSize - 10)];
  EXPECT_EQ(centreOfCorner(), grey * 0x010101u);

  const auto handle = static_cast<LONG>(reinterpret_cast<std::intptr_t>(window_));
  ASSERT_EQ(image_->SetTaggedState(handle, -1), S_OK);
  ASSERT_EQ(ondrel_->Draw(window_), S_OK);
  EXPECT_EQ(centreOfCorner(), 0xFFD700u);
}

// Drags and pans add to values a file or a host may set near the ends of LONG: they stop there.
TEST_F(RenderedCt, DragsAndPansStopAtTheEndsInsteadOfWrapping) {
  const auto shown = [&] {
    ondrel::platform::WindowPixels pixels;
    EXPECT_TRUE(ondrel::platform::ReadWindowPixels(window_, pixels));
    return pixels.bgra;
  };
  constexpr LONG kLargest = 2147483647;
  ASSERT_EQ(ondrel_->RenderImage(image_.Get(), window_, VARIANT_FALSE), S_OK);
  ASSERT_EQ(ondrel_->ApplyWindowLevelPreset(window_, kLargest, 0), S_OK);
  ASSERT_EQ(ondrel_->Draw(window_), S_OK);
  const auto widest = shown();
  ASSERT_EQ(ondrel_->WindowLevelImage(window_, 1, 0), S_OK);
  ASSERT_EQ(ondrel_->Draw(window_), S_OK);
  EXPECT_EQ(shown(), widest) << "the window wrapped to a narrow one";

  ASSERT_EQ(ondrel_->PanImage(window_, kLargest, 0), S_OK);
  ASSERT_EQ(ondrel_->PanImage(window_, kLargest, 0), S_OK);
  ASSERT_EQ(ondrel_->Draw(window_), S_OK);
  const auto panned = shown();
  int lit = 0;
  for (std::size_t i = 0; i < panned.size(); i += 4) lit += panned[i] != 0 ? 1 : 0;
  EXPECT_LT(lit, 20 * 20) << "the picture came back from the far right";  // the tag square may show
}

TEST_F(RenderedCt, AConsultWindowShowsTheSameImage) {
  ASSERT_EQ(ondrel_->RenderImage(image_.Get(), window_, VARIANT_FALSE), S_OK);
  ASSERT_EQ(ondrel_->ApplyWindowLevelPreset(window_, 400, 40), S_OK);
  const HWND consult = ondrel::platform::CreateHostWindow(kSize, kSize);
  ASSERT_EQ(ondrel_->RenderConsultImage(window_, consult, image_.Get()), S_OK);
  ondrel::platform::WindowPixels shown;
  ondrel::platform::WindowPixels consulted;
  ASSERT_TRUE(ondrel::platform::ReadWindowPixels(window_, shown));
  ASSERT_TRUE(ondrel::platform::ReadWindowPixels(consult, consulted));
  EXPECT_EQ(shown.bgra, consulted.bgra);
  DestroyWindow(consult);
}

// The media component, made without the class table, renders the same file through media objects
// that know only its name and UID: the loader fills them from the file.
TEST_F(RenderedCt, TheMediaComponentShowsTheSamePixels) {
  ComPtr<IOndrelDicomDir> media;
  ASSERT_EQ(CreateUnregisteredOndrelComInstance(reinterpret_cast<void**>(media.GetAddressOf()), IID_IOndrelDicomDir),
            S_OK);
  const auto make = [](const CLSID& clsid, const IID& iid, void** object) {
    return CoCreateInstance(clsid, nullptr, CLSCTX_ALL, iid, object);
  };
  ComPtr<IDicomDirPatient> patient;
  ComPtr<IDicomDirStudy> study;
  ComPtr<IDicomDirSeries> series;
  ComPtr<IDicomDirImage> image;
  ASSERT_EQ(make(CLSID_DicomDirPatient, IDicomDirPatient::kIid, reinterpret_cast<void**>(patient.GetAddressOf())), S_OK);
  ASSERT_EQ(make(CLSID_DicomDirStudy, IDicomDirStudy::kIid, reinterpret_cast<void**>(study.GetAddressOf())), S_OK);
  ASSERT_EQ(make(CLSID_DicomDirSeries, IDicomDirSeries::kIid, reinterpret_cast<void**>(series.GetAddressOf())), S_OK);
  ASSERT_EQ(make(CLSID_DicomDirImage, IDicomDirImage::kIid, reinterpret_cast<void**>(image.GetAddressOf())), S_OK);
  patient->AddStudyToPatient(study.Get());
  study->AddSeriesToStudy(series.Get());
  series->AddImageToSeries(image.Get());
  image->SetSopInstanceUid(ondrel::platform::BStr(u"1.3.6.1.4.1.5962.1.1.1.1.1.20040119072730.12322").Get());
  image->SetFileName(ondrel::platform::BStr(u"" ONDREL_TEST_DATA_DIR "/dicom/CT_small.dcm").Get());
  image->SetNeedsDicomData(VARIANT_TRUE);

  ASSERT_EQ(media->RenderImage(image.Get(), window_, VARIANT_FALSE), S_OK);
  ASSERT_EQ(media->ApplyWindowLevelPreset(window_, 400, 40), S_OK);
  ondrel::platform::WindowPixels pixels;
  ASSERT_TRUE(ondrel::platform::ReadWindowPixels(window_, pixels));
  const std::vector<BYTE> expected = Expected(400, 40);
  for (const int at : {0, 40 * kSize + 64, 90 * kSize + 17})
    EXPECT_EQ(pixels.bgra[static_cast<std::size_t>(at) * 4], expected[static_cast<std::size_t>(at)]) << at;
  EXPECT_EQ(media->ZoomImage(nullptr, 100), E_POINTER);
}

// The switches answer through the component and redraw what it shows: the corner texts come and go
// over the picture; the CT has no shutter, so the shutter switch gives the same picture back.
TEST_F(RenderedCt, TheOverlayAndShutterSwitchesRedrawTheWindows) {
  ASSERT_EQ(ondrel_->RenderImage(image_.Get(), window_, VARIANT_FALSE), S_OK);
  ondrel::platform::WindowPixels bare;
  ondrel::platform::WindowPixels shown;
  ASSERT_TRUE(ondrel::platform::ReadWindowPixels(window_, bare));
  VARIANT_BOOL flag = VARIANT_FALSE;
  EXPECT_EQ(ondrel_->ToggleOverlaysVisibility(), S_OK);
  EXPECT_EQ(ondrel_->AreOverlaysVisible(&flag), S_OK);
  EXPECT_EQ(flag, VARIANT_TRUE);
  ondrel::platform::ReadWindowPixels(window_, shown);
  EXPECT_NE(shown.bgra, bare.bgra) << "the corner texts";
  EXPECT_EQ(ondrel_->ToggleOverlaysVisibility(), S_OK);
  ondrel::platform::ReadWindowPixels(window_, shown);
  EXPECT_EQ(shown.bgra, bare.bgra);

  EXPECT_EQ(ondrel_->IsShutterApplied(&flag), S_OK);
  const VARIANT_BOOL before = flag;
  EXPECT_EQ(ondrel_->ToggleShutter(), S_OK);
  EXPECT_EQ(ondrel_->IsShutterApplied(&flag), S_OK);
  EXPECT_EQ(flag, before == VARIANT_TRUE ? VARIANT_FALSE : VARIANT_TRUE);
  ondrel::platform::ReadWindowPixels(window_, shown);
  EXPECT_EQ(shown.bgra, bare.bgra);
  EXPECT_EQ(ondrel_->ToggleShutter(), S_OK);
}

// A reset takes the pixels the component holds for the UID it is given. For a UID it holds none of, it
// fails and leaves the picture as it was; for the window's own image, the display state goes and the
// picture is the first one again, while the measurements stay.
TEST_F(RenderedCt, AResetTakesThePixelsOfTheUidItIsGiven) {
  ASSERT_EQ(ondrel_->RenderImage(image_.Get(), window_, VARIANT_FALSE), S_OK);
  ondrel::platform::WindowPixels first;
  ASSERT_TRUE(ondrel::platform::ReadWindowPixels(window_, first));
  ASSERT_EQ(ondrel_->RotateFlipImage(window_, ROTATE_RIGHT), S_OK);
  ASSERT_EQ(ondrel_->RotateFlipImage(window_, FLIP_LR), S_OK);
  ASSERT_EQ(ondrel_->ZoomImage(window_, 150), S_OK);
  ASSERT_EQ(ondrel_->PanImage(window_, 7, -3), S_OK);
  ASSERT_EQ(ondrel_->ApplyColorPalette(window_, COLOR_PALETTE_HOT_IRON), S_OK);
  ASSERT_EQ(ondrel_->InvertImage(window_), S_OK);
  ASSERT_EQ(ondrel_->ApplyWindowLevelPreset(window_, 400, 40), S_OK);
  ondrel::platform::WindowPixels changed;
  ASSERT_TRUE(ondrel::platform::ReadWindowPixels(window_, changed));

  const ondrel::platform::BStr unknown(u"1.2.826.0.1.3680043.2.1125.99");
  EXPECT_EQ(ondrel_->ResetImage(unknown.Get(), window_), E_FAIL);
  EXPECT_NE(component_test::TakeErrorInfo().first.find(u"The Ondrel failed to load the image pixel data."),
            std::u16string::npos);
  ondrel::platform::WindowPixels after;
  ASSERT_TRUE(ondrel::platform::ReadWindowPixels(window_, after));
  EXPECT_EQ(after.bgra, changed.bgra) << "a refused reset changes nothing";
  ColorPaletteEnum palette{};
  EXPECT_EQ(ondrel_->GetColorPaletteMode(window_, &palette), S_OK);
  EXPECT_EQ(palette, COLOR_PALETTE_HOT_IRON);

  // A line measured on the turned view, then hidden so that the picture can be compared.
  VARIANT_BOOL flag = VARIANT_FALSE;
  ASSERT_EQ(ondrel_->MeasOnMouseButtonDown(window_, tagPOINT{40, 40}, MEAS_LINE, &flag), S_OK);
  ASSERT_EQ(ondrel_->MeasOnMouseMove(window_, tagPOINT{90, 60}), S_OK);
  ASSERT_EQ(ondrel_->MeasOnMouseButtonUp(window_, tagPOINT{90, 60}, &flag), S_OK);
  ASSERT_EQ(ondrel_->ToggleMeasurementsVisibility(window_), S_OK);
  ComPtr<IOndrelMeasurements> measurements;
  ASSERT_EQ(ondrel_->QueryInterface(IOndrelMeasurements::kIid, reinterpret_cast<void**>(measurements.GetAddressOf())),
            S_OK);
  ondrel::platform::BStr listed;
  ASSERT_EQ(measurements->GetMeasurementsText(window_, listed.Out()), S_OK);
  ASSERT_EQ(listed.View().substr(0, 5), u"line ");

  ondrel::platform::BStr own;
  ASSERT_EQ(image_->GetSopInstanceUid(own.Out()), S_OK);
  EXPECT_EQ(ondrel_->ResetImage(own.Get(), window_), S_OK);
  ASSERT_TRUE(ondrel::platform::ReadWindowPixels(window_, after));
  EXPECT_EQ(after.bgra, first.bgra);
  ondrel::platform::BStr kept;
  EXPECT_EQ(measurements->GetMeasurementsText(window_, kept.Out()), S_OK);
  EXPECT_EQ(kept.View(), listed.View()) << "the measurements stay, at the same anatomy";
  ULONG zoom = 0;
  EXPECT_EQ(ondrel_->GetCurrentImageZoom(window_, &zoom), S_OK);
  EXPECT_EQ(zoom, 100U);
  EXPECT_EQ(ondrel_->GetColorPaletteMode(window_, &palette), S_OK);
  EXPECT_EQ(palette, COLOR_PALETTE_NONE);
}

// A file without pixels is refused at the entry, as an argument would be, and the window stays empty.
TEST_F(RenderedCt, AFileWithoutPixelsIsRefusedWithEPointer) {
  // The CT's object over a structure set, a DICOM file without pixel data.
  ASSERT_EQ(image_->SetFileName(ondrel::platform::BStr(u"" ONDREL_TEST_DATA_DIR "/dicom/rtstruct.dcm").Get()), S_OK);
  EXPECT_EQ(ondrel_->RenderImage(image_.Get(), window_, VARIANT_FALSE), E_POINTER);
  EXPECT_EQ(component_test::TakeErrorInfo().first, u"The Ondrel failed to load the image pixel data.");
  ULONG zoom = 0;
  EXPECT_EQ(ondrel_->GetCurrentImageZoom(window_, &zoom), S_OK);
  EXPECT_EQ(zoom, 100U) << "no image in the window";
}

TEST_F(RenderedCt, OperationsOnAWindowWithoutAnImageDoNothing) {
  const HWND empty = ondrel::platform::CreateHostWindow(16, 16);
  EXPECT_EQ(ondrel_->PanImage(empty, 3, 3), S_OK);
  EXPECT_EQ(ondrel_->InvertImage(empty), S_OK);
  ULONG zoom = 0;
  EXPECT_EQ(ondrel_->GetCurrentImageZoom(empty, &zoom), S_OK);
  EXPECT_EQ(zoom, 100U);
  DestroyWindow(empty);
}

}  // namespace
