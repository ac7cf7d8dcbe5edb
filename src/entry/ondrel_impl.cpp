#include "entry/ondrel_impl.h"

#include <string>

#include "entry/entry_frame.h"
#include "foundation/trace.h"

namespace {

HRESULT Invalid(const char16_t* text) { return entry::ReportError(CLSID_OndrelImpl, IID_IOndrel, text, E_POINTER); }

HRESULT NotImplemented() {
  return entry::ReportError(CLSID_OndrelImpl, IID_IOndrel, entry::kNotImplemented, E_NOTIMPL);
}

}  // namespace

// The checks of each method, left to right: W a window handle, P a pointer.
#define W(handle) \
  if ((handle) == nullptr) return Invalid(entry::kInvalidWindow)
#define P(pointer) \
  if ((pointer) == nullptr) return Invalid(entry::kInvalidPointer)

HRESULT COndrelImpl::RenderImage(IImageInfoNW* pImgInfo, HWND hViewPort, VARIANT_BOOL) {
  W(hViewPort);
  if (pImgInfo == nullptr) return S_OK;
  return NotImplemented();
}

HRESULT COndrelImpl::RenderConsultImage(HWND hViewPort, HWND hConsultViewPort, IImageInfoNW* pImgInfo) {
  W(hViewPort);
  W(hConsultViewPort);
  P(pImgInfo);
  return NotImplemented();
}

HRESULT COndrelImpl::Draw(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::SelectWindow(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::ReleaseWindow(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::UnloadImage(BSTR bstrSopInstUID) {
  P(bstrSopInstUID);
  return NotImplemented();
}

HRESULT COndrelImpl::PanImage(HWND hViewPort, LONG, LONG) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::MagnifyingGlass(HWND hViewPort, tagPOINT) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::WindowLevelImage(HWND hViewPort, LONG, LONG) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::ApplyWindowLevelPreset(HWND hViewPort, LONG, LONG) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::InvertImage(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::ApplyColorPalette(HWND hViewPort, ColorPaletteEnum) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::GetColorPaletteMode(HWND hViewPort, ColorPaletteEnum* pMode) {
  P(hViewPort);  // the pointer message for the window too, as this method has always reported it
  P(pMode);
  return NotImplemented();
}

HRESULT COndrelImpl::ZoomImage(HWND hViewPort, ULONG) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::ZoomImageDynamically(HWND hViewPort, LONG, LONG) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::GetCurrentImageZoom(HWND hViewPort, ULONG* pnZoom) {
  W(hViewPort);
  P(pnZoom);
  return NotImplemented();
}

HRESULT COndrelImpl::RotateFlipImage(HWND hViewPort, ImageRotationFlipEnum) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::EndInteractiveTool(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT COndrelImpl::ResetImage(BSTR bstrImageSopInstUID, HWND hViewPort) {
  W(hViewPort);
  P(bstrImageSopInstUID);
  return NotImplemented();
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
