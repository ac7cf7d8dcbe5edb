// The component through its interface, as a host sees it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>

#include "ondrel/module.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/errorinfo.h"
#include "component_test_support.h"

namespace {

using ondrel::platform::BStr;
using ondrel::platform::ComPtr;

const std::u16string kWindowText = u"The Ondrel received an invalid window handle.";
const std::u16string kPointerText = u"The Ondrel received an invalid pointer.";

// The core's class and the workstation's, whose UserPreferences object the component reads at creation.
struct Registered {
  Registered() {
    EXPECT_EQ(DllRegisterServer(), S_OK);
    EXPECT_EQ(RegisterWorkstationClasses(), S_OK);
  }
  ~Registered() {
    UnregisterWorkstationClasses();
    DllUnregisterServer();
  }
};

ComPtr<IOndrel> MakeComponent() {
  ComPtr<IOndrel> component;
  EXPECT_EQ(CoCreateInstance(CLSID_OndrelImpl, nullptr, CLSCTX_ALL, IID_IOndrel,
                             reinterpret_cast<void**>(component.GetAddressOf())),
            S_OK);
  return component;
}

using component_test::TakeErrorInfo;

TEST(OndrelImpl, ArgumentChecksAnswerEPointerWithTheirTextFromTheClass) {
  const Registered registered;
  const ComPtr<IOndrel> ondrel = MakeComponent();
  const HWND window = reinterpret_cast<HWND>(std::uintptr_t{7});
  VARIANT_BOOL flag = 0;
  ColorPaletteEnum palette{};
  const struct {
    const char* what;
    std::function<HRESULT()> call;
    std::u16string text;
  } cases[] = {
      {"RenderImage, no window", [&] { return ondrel->RenderImage(nullptr, nullptr, 0); }, kWindowText},
      {"RenderConsultImage, no consult window", [&] { return ondrel->RenderConsultImage(window, nullptr, nullptr); },
       kWindowText},
      {"UnloadImage, no UID", [&] { return ondrel->UnloadImage(nullptr); }, kPointerText},
      {"GetColorPaletteMode, no window", [&] { return ondrel->GetColorPaletteMode(nullptr, &palette); }, kPointerText},
      {"ResetImage checks the window first", [&] { return ondrel->ResetImage(nullptr, nullptr); }, kWindowText},
      {"Calibrate, no out pointer", [&] { return ondrel->Calibrate(window, 0, 1.0, 0, nullptr); }, kWindowText},
      {"MprOnMouseButtonUp, no completion", [&] { return ondrel->MprOnMouseButtonUp(window, {1, 2}, &flag, nullptr); },
       kPointerText},
      {"MipOnDoubleClick, no window", [&] { return ondrel->MipOnDoubleClick(nullptr, &flag); }, kWindowText},
      {"GenerateMprSeries, no oblique", [&] {
         ISeriesInfoNW* series = nullptr;
         return ondrel->GenerateMprSeries(reinterpret_cast<IImageInfoNW*>(window), &series, &series, nullptr);
       },
       kPointerText},
      {"InitializeTrace, level 5", [&] { return ondrel->InitializeTrace(nullptr, 5); },
       u"The Ondrel received an invalid trace level."},
      {"InitializeTrace, level -1", [&] { return ondrel->InitializeTrace(nullptr, -1); },
       u"The Ondrel received an invalid trace level."},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.call(), E_POINTER) << c.what;
    const auto [description, source] = TakeErrorInfo();
    EXPECT_EQ(description, c.text) << c.what;
    EXPECT_EQ(source, u"Ondrel.OndrelImpl") << c.what;
  }
}

TEST(OndrelImpl, NullImagesSucceed) {
  const Registered registered;
  const ComPtr<IOndrel> ondrel = MakeComponent();
  const HWND window = reinterpret_cast<HWND>(std::uintptr_t{7});
  EXPECT_EQ(ondrel->RenderImage(nullptr, window, VARIANT_TRUE), S_OK);
  EXPECT_EQ(ondrel->VolumeApplyThreshold(nullptr, window, 0, 100, 1), S_OK);
  EXPECT_EQ(ondrel->Draw(window), S_OK);  // a window the component does not know: nothing to do
  VARIANT_BOOL missing = 0;
  ondrel->Calibrate(window, 0, 1.0, 0, &missing);
  EXPECT_EQ(missing, VARIANT_TRUE);  // the out value starts true

  ComPtr<ISupportErrorInfo> support;
  ASSERT_EQ(ondrel.As(&support), S_OK);
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IOndrel), S_OK);
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IUnknown), S_FALSE);
}

TEST(OndrelImpl, InitializeTraceOpensTheLogAtLevelFour) {
  const Registered registered;
  const ComPtr<IOndrel> ondrel = MakeComponent();
  const std::filesystem::path log =
      std::filesystem::temp_directory_path() / ("ondrel_trace_" + std::to_string(std::random_device()()) + ".log");
  const std::u16string name = log.u16string();
  EXPECT_EQ(ondrel->InitializeTrace(BStr(name).Get(), 4), S_OK);
  std::ifstream in(log);
  const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  EXPECT_NE(text.find("The unmanaged trace level is: 4"), std::string::npos) << text;
  std::filesystem::remove(log);
}

TEST(OndrelImpl, ModuleServesItsClassAndCountsItsObjects) {
  const Registered registered;
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(DllGetClassObject(CLSID_OndrelImpl, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())),
            S_OK);
  IUnknown* other = nullptr;
  EXPECT_EQ(DllGetClassObject(IID_IOndrel, IID_IClassFactory, reinterpret_cast<void**>(&other)),
            MakeHResult(0x80040111));
  ComPtr<IOndrel> ondrel;
  EXPECT_EQ(factory->CreateInstance(reinterpret_cast<IUnknown*>(&other), IID_IOndrel,
                                    reinterpret_cast<void**>(ondrel.GetAddressOf())),
            CLASS_E_NOAGGREGATION);
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IOndrel, reinterpret_cast<void**>(ondrel.GetAddressOf())), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  ondrel.Reset();
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

}  // namespace
