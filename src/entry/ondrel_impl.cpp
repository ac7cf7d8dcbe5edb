#include "entry/ondrel_impl.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "dicom/dicom_dictionary.h"
#include "entry/entry_frame.h"
#include "foundation/settings_helper.h"
#include "foundation/user_preferences.h"
#include "sources/image_info_strategies.h"
#include "foundation/trace.h"

namespace {

HRESULT Invalid(const char16_t* text) { return entry::ReportError(CLSID_OndrelImpl, IID_IOndrel, text, E_POINTER); }

HRESULT NotImplemented() {
  return entry::ReportError(CLSID_OndrelImpl, IID_IOndrel, entry::kNotImplemented, E_NOTIMPL);
}

}  // namespace

// The checks of each method, left to right: W a window handle, P a pointer.
template <class Body>
HRESULT COndrelImpl::Frame(Body&& body) {
  return entry::RunFrame(CLSID_OndrelImpl, IID_IOndrel, std::forward<Body>(body));
}

namespace {

std::u16string TextOf(BSTR text) { return std::u16string(text, SysStringLen(text)); }

}  // namespace

namespace {

std::atomic<long> g_liveComponents{0};

}  // namespace

COndrelImpl::COndrelImpl() { ++g_liveComponents; }
COndrelImpl::~COndrelImpl() { --g_liveComponents; }
long COndrelImpl::LiveComponents() { return g_liveComponents; }

HRESULT COndrelImpl::FinalConstruct() {
  // The licence check comes first; this build carries no licence that can expire, so it passes.
  const HRESULT hr = Frame([] {
    SettingsHelper::Instance().Load("ViewerUI.exe.config");
    DicomEngine::DicomDictionary::Instance().Load("dicom_dictionary.txt");
    StartUserPreferences(true);
  });
  if (FAILED(hr)) return hr;
  const HRESULT created = CreateGlobalConfiguration();
  if (FAILED(created)) {
    char text[128];
    std::snprintf(text, sizeof text, "The Ondrel failed to create the GlobalConfiguration object. HRESULT=%0X",
                  static_cast<unsigned>(created));
    entry::ReportError(CLSID_OndrelImpl, IID_IOndrel, std::u16string(text, text + std::strlen(text)).c_str(), E_FAIL);
  }
  return S_OK;
}

#define W(handle) \
  if ((handle) == nullptr) return Invalid(entry::kInvalidWindow)
#define P(pointer) \
  if ((pointer) == nullptr) return Invalid(entry::kInvalidPointer)

HRESULT COndrelImpl::RenderImage(IImageInfoNW* pImgInfo, HWND hViewPort, VARIANT_BOOL bKeepPresIntent) {
  W(hViewPort);
  if (pImgInfo == nullptr) return S_OK;
  return Frame([&] {
    auto strategy = std::make_unique<ImageInfoWStationStrategy>(pImgInfo);
    PixelBuffer buffer;
    bool cached = false;
    if (strategy->GetMprType() >= 2 || strategy->GetMipType() >= 2 || strategy->GetVolumeType() >= 2)
      THROW_MY_EXCEPTION("Derived series are not rendered by this build.");
    loader_.Load(strategy.get(), &buffer, &cached);
    if (buffer.data == nullptr) THROW_MY_EXCEPTION("The Ondrel failed to load the image pixel data.");
    renderer_.Render(hViewPort, buffer, std::move(strategy), cached, bKeepPresIntent == VARIANT_TRUE);
  });
}

HRESULT COndrelImpl::RenderConsultImage(HWND hViewPort, HWND hConsultViewPort, IImageInfoNW* pImgInfo) {
  W(hViewPort);
  W(hConsultViewPort);
  P(pImgInfo);
  return Frame([&] {
    ImageInfoWStationStrategy strategy(pImgInfo);
    renderer_.RenderConsultImage(hViewPort, hConsultViewPort, &strategy);
  });
}

HRESULT COndrelImpl::Draw(HWND hViewPort) {
  W(hViewPort);
  return Frame([&] { renderer_.Draw(hViewPort); });
}

HRESULT COndrelImpl::SelectWindow(HWND hViewPort) {
  W(hViewPort);
  return Frame([&] { renderer_.SelectWindow(hViewPort); });
}

HRESULT COndrelImpl::ReleaseWindow(HWND hViewPort) {
  W(hViewPort);
  return Frame([&] { renderer_.ReleaseWindow(hViewPort); });
}

HRESULT COndrelImpl::UnloadImage(BSTR bstrSopInstUID) {
  P(bstrSopInstUID);
  return Frame([&] {
    const std::u16string uid = TextOf(bstrSopInstUID);
    renderer_.UnloadImage(uid.c_str());
    loader_.Remove(uid);
  });
}

HRESULT COndrelImpl::PanImage(HWND hViewPort, LONG dx, LONG dy) {
  W(hViewPort);
  return Frame([&] { renderer_.PanImage(hViewPort, dx, dy); });
}

HRESULT COndrelImpl::MagnifyingGlass(HWND hViewPort, tagPOINT) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::WindowLevelImage(HWND hViewPort, LONG dx, LONG dy) {
  W(hViewPort);
  return Frame([&] { renderer_.WindowLevelImage(hViewPort, dx, dy); });
}

HRESULT COndrelImpl::ApplyWindowLevelPreset(HWND hViewPort, LONG window, LONG level) {
  W(hViewPort);
  return Frame([&] { renderer_.ApplyWindowLevelPreset(hViewPort, window, level); });
}

HRESULT COndrelImpl::InvertImage(HWND hViewPort) {
  W(hViewPort);
  return Frame([&] { renderer_.InvertImage(hViewPort); });
}

HRESULT COndrelImpl::ApplyColorPalette(HWND hViewPort, ColorPaletteEnum eColorPalette) {
  W(hViewPort);
  return Frame([&] { renderer_.ApplyColorPalette(hViewPort, eColorPalette, loader_); });
}

HRESULT COndrelImpl::GetColorPaletteMode(HWND hViewPort, ColorPaletteEnum* pMode) {
  P(hViewPort);  // the pointer message for the window too, as this method has always reported it
  P(pMode);
  return Frame([&] { *pMode = static_cast<ColorPaletteEnum>(renderer_.GetColorPaletteMode(hViewPort)); });
}

HRESULT COndrelImpl::ZoomImage(HWND hViewPort, ULONG nZoom) {
  W(hViewPort);
  return Frame([&] { renderer_.ZoomImage(hViewPort, nZoom); });
}

HRESULT COndrelImpl::ZoomImageDynamically(HWND hViewPort, LONG, LONG dy) {
  W(hViewPort);
  return Frame([&] { renderer_.ZoomImageDynamically(hViewPort, dy); });
}

HRESULT COndrelImpl::GetCurrentImageZoom(HWND hViewPort, ULONG* pnZoom) {
  W(hViewPort);
  P(pnZoom);
  return Frame([&] { *pnZoom = renderer_.GetCurrentImageZoom(hViewPort); });
}

HRESULT COndrelImpl::RotateFlipImage(HWND hViewPort, ImageRotationFlipEnum eRotFlip) {
  W(hViewPort);
  return Frame([&] { renderer_.RotateFlipImage(hViewPort, eRotFlip, loader_); });
}

HRESULT COndrelImpl::EndInteractiveTool(HWND hViewPort) {
  W(hViewPort);
  return Frame([&] { renderer_.EndInteractiveTool(hViewPort); });
}

HRESULT COndrelImpl::ResetImage(BSTR bstrImageSopInstUID, HWND hViewPort) {
  W(hViewPort);
  P(bstrImageSopInstUID);
  return Frame([&] {
    const std::u16string uid = TextOf(bstrImageSopInstUID);
    renderer_.ResetImage(uid.c_str(), hViewPort, loader_);
  });
}

HRESULT COndrelImpl::SaveImageAsFile(HWND hViewPort, BSTR bstrEncoding, BSTR bstrFileName) {
  W(hViewPort);
  P(bstrEncoding);
  P(bstrFileName);
  return NotImplemented();
}

HRESULT COndrelImpl::SaveImageAsDICOMFile(HWND hViewPort, BSTR bstrFileName, IImageInfoNW* pImgInfo) {
  W(hViewPort);
  P(bstrFileName);
  P(pImgInfo);
  return NotImplemented();
}

HRESULT COndrelImpl::SaveConsultImage(HWND hViewPort, IImageInfoNW* pConsultImageInfo) {
  W(hViewPort);
  P(pConsultImageInfo);
  return NotImplemented();
}

HRESULT COndrelImpl::ImportImageAsDICOMFile(BSTR bstrFileName, IImageInfoNW* pImgInfo) {
  P(bstrFileName);
  P(pImgInfo);
  return NotImplemented();
}

HRESULT COndrelImpl::ToggleOverlaysVisibility() { return NotImplemented(); }

HRESULT COndrelImpl::AreOverlaysVisible(VARIANT_BOOL* pbShow) {
  P(pbShow);
  return NotImplemented();
}

HRESULT COndrelImpl::ToggleShutter() { return NotImplemented(); }

HRESULT COndrelImpl::IsShutterApplied(VARIANT_BOOL* pbShow) {
  P(pbShow);
  return NotImplemented();
}

HRESULT COndrelImpl::GetImageHBITMAP(HWND hViewPort, LONG, LONG, LONG, LONG, HBITMAP* phBitmap) {
  W(hViewPort);
  P(phBitmap);
  return NotImplemented();
}

HRESULT COndrelImpl::ReleaseHBITMAP(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::GetImageCurrentPixelData(HWND, BSTR bstrSopInstUID, SHORT, SAFEARRAY** ppData, LONG*, LONG*,
                                              VARIANT_BOOL* pbColor) {
  P(bstrSopInstUID);
  P(ppData);
  P(pbColor);
  return NotImplemented();
}

HRESULT COndrelImpl::MeasOnMouseButtonDown(HWND hViewPort, tagPOINT, MeasurementsEnum, VARIANT_BOOL* pbProcessed) {
  W(hViewPort);
  P(pbProcessed);
  return NotImplemented();
}

HRESULT COndrelImpl::MeasOnMouseMove(HWND hViewPort, tagPOINT) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::MeasOnMouseButtonUp(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbComplete) {
  W(hViewPort);
  P(pbComplete);
  return NotImplemented();
}

HRESULT COndrelImpl::MeasOnDoubleClick(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::DeleteSelectedMeasurement(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::DeleteAllMeasurements(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::ToggleMeasurementsVisibility(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::AreMeasurementsVisible(HWND hViewPort, VARIANT_BOOL* pbShow) {
  W(hViewPort);
  P(pbShow);
  return NotImplemented();
}

HRESULT COndrelImpl::MeasEndInteraction(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::Calibrate(HWND hViewPort, VARIANT_BOOL, double, VARIANT_BOOL, VARIANT_BOOL* pvbMissingCalibLine) {
  W(hViewPort);
  W(pvbMissingCalibLine);  // the window message for the out pointer, as this method has always reported it
  *pvbMissingCalibLine = VARIANT_TRUE;
  return NotImplemented();
}

HRESULT COndrelImpl::SetReferenceLinesMode(ReferenceLinesEnum) { return NotImplemented(); }

HRESULT COndrelImpl::GetReferenceLinesMode(ReferenceLinesEnum* pMode) {
  P(pMode);
  return NotImplemented();
}

HRESULT COndrelImpl::CalculateReferenceLines(HWND hProjectedViewPort, HWND hProjecteeViewPort) {
  W(hProjectedViewPort);
  W(hProjecteeViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::SetSynchronizeSeriesMode(SynchronizeSeriesEnum) { return NotImplemented(); }

HRESULT COndrelImpl::GetSynchronizeSeriesMode(SynchronizeSeriesEnum* pMode) {
  P(pMode);
  return NotImplemented();
}

HRESULT COndrelImpl::SynchronizeSeries(HWND hCrtViewPort, HWND hSynchViewPort, VARIANT_BOOL) {
  W(hCrtViewPort);
  W(hSynchViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::CalculateSynchronizeSeriesOffset(HWND hCrtViewPort, HWND hSynchViewPort) {
  W(hCrtViewPort);
  W(hSynchViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::GenerateMprSeries(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppMprSeriesInfo1,
                                       ISeriesInfoNW** ppMprSeriesInfo2, ISeriesInfoNW** ppMprSeriesInfoOblique) {
  P(pImgInfo);
  P(ppMprSeriesInfo1);
  P(ppMprSeriesInfo2);
  P(ppMprSeriesInfoOblique);
  return NotImplemented();
}

HRESULT COndrelImpl::SaveMprSeries(BSTR, BSTR, BSTR) { return NotImplemented(); }

HRESULT COndrelImpl::EndMprMode() { return NotImplemented(); }

HRESULT COndrelImpl::GetMprMode(MprOperationsEnum* pMode) {
  P(pMode);
  return NotImplemented();
}

HRESULT COndrelImpl::MprOnMouseButtonDown(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbProcessed) {
  W(hViewPort);
  P(pbProcessed);
  return NotImplemented();
}

HRESULT COndrelImpl::MprOnMouseMove(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbProcessed) {
  W(hViewPort);
  P(pbProcessed);
  return NotImplemented();
}

HRESULT COndrelImpl::MprOnMouseButtonUp(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbProcessed, VARIANT_BOOL* pbComplete) {
  W(hViewPort);
  P(pbProcessed);
  P(pbComplete);
  return NotImplemented();
}

HRESULT COndrelImpl::MprOnDoubleClick(HWND hViewPort, VARIANT_BOOL* pbProcessed) {
  W(hViewPort);
  P(pbProcessed);
  return NotImplemented();
}

HRESULT COndrelImpl::GenerateMipSeries(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppMipSeriesInfo) {
  P(pImgInfo);
  P(ppMipSeriesInfo);
  return NotImplemented();
}

HRESULT COndrelImpl::EndMipMode() { return NotImplemented(); }

HRESULT COndrelImpl::GetMipMode(MipOperationsEnum* pMode) {
  P(pMode);
  return NotImplemented();
}

HRESULT COndrelImpl::SetMipMode(MipOperationsEnum) { return NotImplemented(); }

HRESULT COndrelImpl::MipOnMouseButtonDown(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbProcessed) {
  W(hViewPort);
  P(pbProcessed);
  return NotImplemented();
}

HRESULT COndrelImpl::MipOnMouseMove(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbProcessed) {
  W(hViewPort);
  P(pbProcessed);
  return NotImplemented();
}

HRESULT COndrelImpl::MipOnMouseButtonUp(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbProcessed, VARIANT_BOOL* pbComplete) {
  W(hViewPort);
  P(pbProcessed);
  P(pbComplete);
  return NotImplemented();
}

HRESULT COndrelImpl::MipOnDoubleClick(HWND hViewPort, VARIANT_BOOL* pbProcessed) {
  return MprOnDoubleClick(hViewPort, pbProcessed);  // one operation for both modes
}

HRESULT COndrelImpl::MipRotate(HWND hViewPort, LONG, LONG) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::GenerateVolumeSeries(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppVolumeSeriesInfo, LONG, LONG) {
  P(pImgInfo);
  P(ppVolumeSeriesInfo);
  return NotImplemented();
}

HRESULT COndrelImpl::StartVolumeMode(HWND, VARIANT_BOOL*) { return NotImplemented(); }

HRESULT COndrelImpl::EndVolumeMode() { return NotImplemented(); }

HRESULT COndrelImpl::GetVolumeMode(LONG* pMode) {
  P(pMode);
  return NotImplemented();
}

HRESULT COndrelImpl::VolumeApplyThreshold(IImageInfoNW* pImgInfo, HWND hViewPort, LONG, LONG, SHORT) {
  W(hViewPort);
  if (pImgInfo == nullptr) return S_OK;
  return NotImplemented();
}

HRESULT COndrelImpl::VolumeOnMouseButtonDown(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbProcessed) {
  W(hViewPort);
  P(pbProcessed);
  return NotImplemented();
}

HRESULT COndrelImpl::VolumeOnMouseMove(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbProcessed) {
  W(hViewPort);
  P(pbProcessed);
  return NotImplemented();
}

HRESULT COndrelImpl::VolumeOnMouseButtonUp(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbProcessed,
                                           VARIANT_BOOL* pbComplete) {
  W(hViewPort);
  P(pbProcessed);
  P(pbComplete);
  return NotImplemented();
}

HRESULT COndrelImpl::VolumeOnDoubleClick(HWND hViewPort, VARIANT_BOOL* pbProcessed) {
  W(hViewPort);
  P(pbProcessed);
  return NotImplemented();
}

HRESULT COndrelImpl::InitializeTrace(BSTR bstrTraceLogFileName, LONG nTraceLevel) {
  // Taken as unsigned, so a negative level is as far out of range as 5.
  if (static_cast<ULONG>(nTraceLevel) >= 5) return Invalid(u"The Ondrel received an invalid trace level.");
  return entry::RunFrame(CLSID_OndrelImpl, IID_IOndrel, [&] {
    const std::u16string name = bstrTraceLogFileName != nullptr
                                    ? std::u16string(bstrTraceLogFileName, SysStringLen(bstrTraceLogFileName))
                                    : std::u16string(u"Ondrel.log");
    Trace::Instance().Open(name, static_cast<int>(nTraceLevel));
  });
}
