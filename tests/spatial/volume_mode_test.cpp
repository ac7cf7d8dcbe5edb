// Volume mode through the component, against a fake volume server registered in the test under the
// server's class: which server calls come in which order, how their failures are reported, and which
// mouse events reach the server.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "entry/component_test_support.h"
#include "foundation/text_utils.h"
#include "ondrel/volume3d.h"
#include "workstation/graph_support.h"

namespace {

using component_test::ComponentTest;
using component_test::TakeErrorInfo;
using ondrel::platform::BStr;
using ondrel::platform::ComPtr;
using workstation_test::Create;
using workstation_test::ImagesOf;

// What the fake server does, and what it was asked, for the whole process.
struct Script {
  std::string failing;       // the method that fails with E_FAIL
  bool withText = true;      // whether that failure leaves error information
  SHORT moveFlag = VARIANT_TRUE;
  std::vector<std::string> calls;  // "N:Method", N the server's number in order of creation
  int made = 0;
  int alive = 0;
};
Script script;

class FakeServer final : public ondrel::platform::ComObject<IOndrel3D, ISupportErrorInfo> {
 public:
  FakeServer() : number_(++script.made) { ++script.alive; }
  ~FakeServer() override { --script.alive; }

  HRESULT GenerateVolume3D(IImageInfoNW* image, ISeriesInfoNW** out, LONG, LONG) override {
    if (const HRESULT hr = Call("GenerateVolume3D"); FAILED(hr)) return hr;
    ComPtr<ISeriesInfoNW> source;
    image->GetSeries(source.GetAddressOf());
    source->SetVolumeType(1);
    const ComPtr<ISeriesInfoNW> series = Create<ISeriesInfoNW>(CLSID_SeriesInfoNW);
    series->SetVolumeType(2);
    ComPtr<IStudyInfoNW> study;
    source->GetStudy(study.GetAddressOf());
    study->AddSeriesToStudy(series.Get());
    const ComPtr<IImageInfoNW> derived = Create<IImageInfoNW>(CLSID_ImageInfoNW);
    derived->SetSopInstanceUid(BStr(u"1.2.3.3001.1").Get());
    derived->SetRows(4);
    derived->SetColumns(4);
    derived->SetSamplesPerPixel(3);
    derived->SetPhotometricInterpretation(BStr(u"RGB").Get());
    derived->SetBitsAllocated(8);
    derived->SetBitsStored(8);
    series->AddImageToSeries(derived.Get());
    *out = ComPtr<ISeriesInfoNW>(series).Detach();
    return S_OK;
  }
  HRESULT StartVolume3D(HWND, LONG, VARIANT_BOOL* success) override {
    if (const HRESULT hr = Call("StartVolume3D"); FAILED(hr)) return hr;
    *success = VARIANT_TRUE;
    return S_OK;
  }
  HRESULT EndVolume3D() override { return Call("EndVolume3D"); }
  HRESULT GetVolumeMode3D(LONG* mode) override {
    *mode = 7;
    return Call("GetVolumeMode3D");
  }
  HRESULT ApplyThreshold3D(IImageInfoNW*, HWND, LONG, LONG, SHORT) override { return Call("ApplyThreshold3D"); }
  HRESULT GeneratePixelData3D(IImageInfoNW*, BYTE** data, ULONG* size) override {
    *size = 4 * 4 * 3;
    *data = static_cast<BYTE*>(CoTaskMemAlloc(*size));
    std::fill(*data, *data + *size, BYTE{200});
    return Call("GeneratePixelData3D");
  }
  HRESULT DrawVolume3D() override { return Call("DrawVolume3D"); }
  HRESULT VolumeMouseDown3D() override { return Call("VolumeMouseDown3D"); }
  HRESULT SetVolumeTracking3D(VARIANT_BOOL tracking) override {
    return Call(tracking == VARIANT_TRUE ? "SetVolumeTracking3D(-1)" : "SetVolumeTracking3D(0)");
  }
  HRESULT VolumeMouseMove3D(SHORT* redraw) override {
    *redraw = script.moveFlag;
    return Call("VolumeMouseMove3D");
  }
  HRESULT InitializeTrace3D(BSTR, LONG) override { return Call("InitializeTrace3D"); }
  HRESULT InterfaceSupportsErrorInfo(REFIID riid) override {
    return riid == IID_IOndrel3D && script.withText ? S_OK : S_FALSE;
  }

 private:
  HRESULT Call(const std::string& method) {
    script.calls.push_back(std::to_string(number_) + ":" + method);
    if (method.rfind(script.failing, 0) != 0 || script.failing.empty()) return S_OK;
    ComPtr<ICreateErrorInfo> create;
    CreateErrorInfo(create.GetAddressOf());
    create->SetDescription(const_cast<LPOLESTR>(u"The fake server's own words."));
    ComPtr<IErrorInfo> info;
    create.As(&info);
    SetErrorInfo(0, info.Get());
    return E_FAIL;
  }
  int number_;
};

class VolumeModeTest : public ComponentTest {
 protected:
  void SetUp() override {
    ComponentTest::SetUp();
    script = Script{};
    ASSERT_EQ(ondrel::platform::RegisterComClass<FakeServer>(CLSID_Ondrel3D, u"Ondrel.Ondrel3D"), S_OK);
    source_ = component_test::FirstImageOf(std::string(ONDREL_TEST_DATA_DIR) + "/../../data/sample/CT_small.dcm");
    ASSERT_TRUE(source_);
    window_ = Window(64, 64);
  }
  void TearDown() override {
    ondrel_->EndVolumeMode();
    UnregisterOndrel3DClass();
    ComponentTest::TearDown();
  }

  // Generates the volume series and shows its image in the window.
  void ShowVolume() {
    ASSERT_EQ(ondrel_->GenerateVolumeSeries(source_.Get(), volume_.ReleaseAndGetAddressOf(), 0, 1000), S_OK);
    ASSERT_EQ(ondrel_->RenderImage(ImagesOf(volume_.Get()).front().Get(), window_, VARIANT_FALSE), S_OK)
        << ToNarrow(TakeErrorInfo().first);
    script.calls.clear();
  }
  VARIANT_BOOL Press() {
    VARIANT_BOOL processed = 7;
    EXPECT_EQ(ondrel_->VolumeOnMouseButtonDown(window_, {1, 1}, &processed), S_OK);
    return processed;
  }

  ComPtr<IImageInfoNW> source_;
  ComPtr<ISeriesInfoNW> volume_;
  HWND window_ = nullptr;
};

using Calls = std::vector<std::string>;

TEST_F(VolumeModeTest, GenerationMakesAServerAndCallsItInOrder) {
  ASSERT_EQ(ondrel_->GenerateVolumeSeries(source_.Get(), volume_.GetAddressOf(), 0, 1000), S_OK);
  EXPECT_EQ(script.calls, (Calls{"1:InitializeTrace3D", "1:GenerateVolume3D"}));
  EXPECT_TRUE(volume_);
}

TEST_F(VolumeModeTest, StartBeforeAnyGenerationSaysNoAndSucceeds) {
  VARIANT_BOOL success = 7;
  EXPECT_EQ(ondrel_->StartVolumeMode(window_, &success), S_OK);
  EXPECT_EQ(success, VARIANT_FALSE);
  LONG mode = 42;
  EXPECT_EQ(ondrel_->GetVolumeMode(&mode), S_OK);
  EXPECT_EQ(mode, 42);  // untouched without a server
  EXPECT_EQ(script.made, 0);
}

TEST_F(VolumeModeTest, ASecondGenerationEndsTheFirstServerAndMakesANewOne) {
  ShowVolume();
  VARIANT_BOOL success = VARIANT_FALSE;
  ASSERT_EQ(ondrel_->StartVolumeMode(window_, &success), S_OK);
  EXPECT_EQ(success, VARIANT_TRUE);
  ASSERT_EQ(ondrel_->GenerateVolumeSeries(source_.Get(), volume_.ReleaseAndGetAddressOf(), 0, 1000), S_OK);
  EXPECT_EQ(script.calls,
            (Calls{"1:StartVolume3D", "1:EndVolume3D", "2:InitializeTrace3D", "2:GenerateVolume3D"}));
  EXPECT_EQ(script.alive, 1);
}

TEST_F(VolumeModeTest, EndingTwiceEndsTheServerOnceAndForgetsTheVolumeWindows) {
  ShowVolume();
  EXPECT_EQ(ondrel_->EndVolumeMode(), S_OK);
  EXPECT_EQ(ondrel_->EndVolumeMode(), S_OK);
  EXPECT_EQ(script.calls, (Calls{"1:EndVolume3D"}));
  EXPECT_EQ(script.alive, 0);
  // A new server finds the window forgotten: the press is not for the volume.
  ASSERT_EQ(ondrel_->GenerateVolumeSeries(source_.Get(), volume_.ReleaseAndGetAddressOf(), 0, 1000), S_OK);
  EXPECT_EQ(Press(), VARIANT_FALSE);
}

TEST_F(VolumeModeTest, AFailedEndStillLetsTheServerGo) {
  ShowVolume();
  script.failing = "EndVolume3D";
  EXPECT_EQ(ondrel_->EndVolumeMode(), E_FAIL);
  EXPECT_EQ(script.alive, 0);
  EXPECT_NE(TakeErrorInfo().first.find(u"The fake server's own words. File=VolumeTool"), std::u16string::npos);
}

struct FailureCase {
  const char* what;
  const char* failing;
  bool withText;
  const char16_t* expected;
};

TEST_F(VolumeModeTest, FailuresGiveTheServersWordsOrTheFixedMessage) {
  const FailureCase cases[] = {
      {"with error information", "GenerateVolume3D", true, u"The fake server's own words. File=VolumeTool, Line="},
      {"without it", "GenerateVolume3D", false,
       u"Failed to generate the volume series. HRESULT=80004005 File=VolumeTool, Line="},
      {"the trace's set-up", "InitializeTrace3D", false,
       u"Failed to initialize the Ondrel3D trace. HRESULT=80004005 File=VolumeTool"},
  };
  for (const FailureCase& failure : cases) {
    script.failing = failure.failing;
    script.withText = failure.withText;
    EXPECT_EQ(ondrel_->GenerateVolumeSeries(source_.Get(), volume_.ReleaseAndGetAddressOf(), 0, 1000), E_FAIL);
    EXPECT_NE(TakeErrorInfo().first.find(failure.expected), std::u16string::npos) << failure.what;
  }
  UnregisterOndrel3DClass();
  EXPECT_EQ(ondrel_->GenerateVolumeSeries(source_.Get(), volume_.ReleaseAndGetAddressOf(), 0, 1000), E_FAIL);
  EXPECT_NE(TakeErrorInfo().first.find(u"Failed to create Ondrel3D COM object. HRESULT=80040154 File=VolumeTool"),
            std::u16string::npos);
}

TEST_F(VolumeModeTest, APressStartsTheServersDragAndAReleaseEndsIt) {
  ShowVolume();
  EXPECT_EQ(Press(), VARIANT_TRUE);
  VARIANT_BOOL processed = VARIANT_FALSE;
  VARIANT_BOOL complete = VARIANT_FALSE;
  EXPECT_EQ(ondrel_->VolumeOnMouseButtonUp(window_, {2, 2}, &processed, &complete), S_OK);
  EXPECT_EQ(processed, VARIANT_TRUE);
  EXPECT_EQ(complete, VARIANT_TRUE);
  EXPECT_EQ(script.calls, (Calls{"1:VolumeMouseDown3D", "1:SetVolumeTracking3D(-1)", "1:SetVolumeTracking3D(0)"}));
  // A release the server fails is still processed.
  script.failing = "SetVolumeTracking3D(0)";
  script.withText = false;
  EXPECT_EQ(ondrel_->VolumeOnMouseButtonUp(window_, {2, 2}, &processed, &complete), E_FAIL);
  EXPECT_EQ(processed, VARIANT_TRUE);
  EXPECT_NE(TakeErrorInfo().first.find(
                u"Failed to process the mouse button up message on the volume image. HRESULT=80004005"),
            std::u16string::npos);
}

TEST_F(VolumeModeTest, AMoveDrawsOnlyWhenTheServerAsks) {
  ShowVolume();
  for (const SHORT flag : {SHORT{VARIANT_FALSE}, SHORT{1}, SHORT{VARIANT_TRUE}}) {
    script.moveFlag = flag;
    VARIANT_BOOL processed = VARIANT_FALSE;
    EXPECT_EQ(ondrel_->VolumeOnMouseMove(window_, {3, 3}, &processed), S_OK);
    EXPECT_EQ(processed, VARIANT_TRUE);
  }
  // Only all sixteen bits set count as true.
  EXPECT_EQ(script.calls, (Calls{"1:VolumeMouseMove3D", "1:VolumeMouseMove3D", "1:VolumeMouseMove3D", "1:DrawVolume3D"}));
}

TEST_F(VolumeModeTest, TheSourceSeriesInAWindowDoesNotTakeTheMouse) {
  ShowVolume();
  ASSERT_EQ(ondrel_->RenderImage(source_.Get(), window_, VARIANT_FALSE), S_OK);
  EXPECT_EQ(Press(), VARIANT_FALSE);
  VARIANT_BOOL processed = 7;
  EXPECT_EQ(ondrel_->VolumeOnMouseMove(window_, {3, 3}, &processed), S_OK);
  EXPECT_EQ(processed, VARIANT_FALSE);
  EXPECT_EQ(script.calls, Calls{});
}

TEST_F(VolumeModeTest, TheVolumeImageTakesTheServersPixelsAndItsWindowTheServersDraw) {
  ASSERT_EQ(ondrel_->GenerateVolumeSeries(source_.Get(), volume_.GetAddressOf(), 0, 1000), S_OK);
  ASSERT_EQ(ondrel_->RenderImage(ImagesOf(volume_.Get()).front().Get(), window_, VARIANT_FALSE), S_OK);
  EXPECT_EQ(ondrel_->Draw(window_), S_OK);
  EXPECT_EQ(ondrel_->VolumeApplyThreshold(source_.Get(), window_, 900, 100, 5), S_OK);
  LONG mode = 0;
  EXPECT_EQ(ondrel_->GetVolumeMode(&mode), S_OK);
  EXPECT_EQ(mode, 7);
  EXPECT_EQ(script.calls, (Calls{"1:InitializeTrace3D", "1:GenerateVolume3D", "1:GeneratePixelData3D",
                                 "1:DrawVolume3D", "1:ApplyThreshold3D", "1:GetVolumeMode3D"}));
}

}  // namespace
