#include "entry/component_core.h"

#include <string>

#include "foundation/exceptions.h"
#include "foundation/trace.h"
#include "image/magnifying_glass.h"
#include "image/overlays.h"

#define W(handle) ONDREL_CHECK_WINDOW(*this, handle)
#define P(pointer) ONDREL_CHECK_POINTER(*this, pointer)

namespace {

std::u16string TextOf(BSTR text) { return std::u16string(text, SysStringLen(text)); }

}  // namespace

HRESULT ComponentCore::Invalid(const char16_t* text) const { return entry::ReportError(clsid_, iid_, text, E_POINTER); }

HRESULT ComponentCore::NotImplemented() const {
  return entry::ReportError(clsid_, iid_, entry::kNotImplemented, E_NOTIMPL);
}

void ComponentCore::Render(std::unique_ptr<ImageInfoStrategy> strategy, HWND window, VARIANT_BOOL keep) {
  PixelBuffer buffer;
  bool cached = false;
  loader_.Load(strategy.get(), &buffer, &cached);
  if (buffer.data == nullptr) THROW_MY_EXCEPTION("The Ondrel failed to load the image pixel data.");
  renderer_.Render(window, buffer, std::move(strategy), cached, keep == VARIANT_TRUE);
}

HRESULT ComponentCore::Draw(HWND hViewPort) {
  W(hViewPort);
  return Frame([&] { renderer_.Draw(hViewPort); });
}

HRESULT ComponentCore::SelectWindow(HWND hViewPort) {
  W(hViewPort);
  return Frame([&] { renderer_.SelectWindow(hViewPort); });
}

HRESULT ComponentCore::UnloadImage(BSTR bstrSopInstUID) {
  P(bstrSopInstUID);
  return Frame([&] {
    const std::u16string uid = TextOf(bstrSopInstUID);
    renderer_.UnloadImage(uid.c_str());
    loader_.Remove(uid);
  });
}

HRESULT ComponentCore::PanImage(HWND hViewPort, LONG dx, LONG dy) {
  W(hViewPort);
  return Frame([&] { renderer_.PanImage(hViewPort, dx, dy); });
}

HRESULT ComponentCore::MagnifyingGlass(HWND hViewPort, tagPOINT pt) {
  W(hViewPort);
  return Frame([&] {
    Image* image = renderer_.GetCurrentImage(hViewPort);
    if (image != nullptr) ::MagnifyingGlass(*image, hViewPort, POINT{pt.x, pt.y});
  });
}

HRESULT ComponentCore::WindowLevelImage(HWND hViewPort, LONG dx, LONG dy) {
  W(hViewPort);
  return Frame([&] { renderer_.WindowLevelImage(hViewPort, dx, dy); });
}

HRESULT ComponentCore::ApplyWindowLevelPreset(HWND hViewPort, LONG window, LONG level) {
  W(hViewPort);
  return Frame([&] { renderer_.ApplyWindowLevelPreset(hViewPort, window, level); });
}

HRESULT ComponentCore::InvertImage(HWND hViewPort) {
  W(hViewPort);
  return Frame([&] { renderer_.InvertImage(hViewPort); });
}

HRESULT ComponentCore::ApplyColorPalette(HWND hViewPort, ColorPaletteEnum eColorPalette) {
  W(hViewPort);
  return Frame([&] { renderer_.ApplyColorPalette(hViewPort, eColorPalette, loader_); });
}

HRESULT ComponentCore::GetColorPaletteMode(HWND hViewPort, ColorPaletteEnum* pMode) {
  P(hViewPort);  // the pointer message for the window too, as this method has always reported it
  P(pMode);
  return Frame([&] { *pMode = static_cast<ColorPaletteEnum>(renderer_.GetColorPaletteMode(hViewPort)); });
}

HRESULT ComponentCore::ZoomImage(HWND hViewPort, ULONG nZoom) {
  W(hViewPort);
  return Frame([&] { renderer_.ZoomImage(hViewPort, nZoom); });
}

HRESULT ComponentCore::ZoomImageDynamically(HWND hViewPort, LONG, LONG dy) {
  W(hViewPort);
  return Frame([&] { renderer_.ZoomImageDynamically(hViewPort, dy); });
}

HRESULT ComponentCore::GetCurrentImageZoom(HWND hViewPort, ULONG* pnZoom) {
  W(hViewPort);
  P(pnZoom);
  return Frame([&] { *pnZoom = renderer_.GetCurrentImageZoom(hViewPort); });
}

HRESULT ComponentCore::RotateFlipImage(HWND hViewPort, ImageRotationFlipEnum eRotFlip) {
  W(hViewPort);
  return Frame([&] { renderer_.RotateFlipImage(hViewPort, eRotFlip, loader_); });
}

HRESULT ComponentCore::EndInteractiveTool(HWND hViewPort) {
  W(hViewPort);
  return Frame([&] { renderer_.EndInteractiveTool(hViewPort); });
}

HRESULT ComponentCore::ResetImage(BSTR bstrImageSopInstUID, HWND hViewPort) {
  W(hViewPort);
  P(bstrImageSopInstUID);
  return Frame([&] {
    const std::u16string uid = TextOf(bstrImageSopInstUID);
    renderer_.ResetImage(uid.c_str(), hViewPort, loader_);
  });
}

HRESULT ComponentCore::ToggleOverlaysVisibility() {
  return Frame([&] { renderer_.ToggleOverlaysVisibility(); });
}

HRESULT ComponentCore::AreOverlaysVisible(VARIANT_BOOL* pbShow) {
  P(pbShow);
  return Frame([&] { *pbShow = OverlaysVisible() ? VARIANT_TRUE : VARIANT_FALSE; });
}

HRESULT ComponentCore::ToggleShutter() {
  return Frame([&] { renderer_.ToggleShutter(loader_); });
}

HRESULT ComponentCore::IsShutterApplied(VARIANT_BOOL* pbShow) {
  P(pbShow);
  return Frame([&] { *pbShow = ShutterApplied() ? VARIANT_TRUE : VARIANT_FALSE; });
}

HRESULT ComponentCore::MeasOnMouseButtonDown(HWND hViewPort, tagPOINT, MeasurementsEnum, VARIANT_BOOL* pbProcessed) {
  W(hViewPort);
  P(pbProcessed);
  return NotImplemented();
}

HRESULT ComponentCore::MeasOnMouseMove(HWND hViewPort, tagPOINT) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT ComponentCore::MeasOnMouseButtonUp(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbComplete) {
  W(hViewPort);
  P(pbComplete);
  return NotImplemented();
}

HRESULT ComponentCore::MeasOnDoubleClick(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT ComponentCore::DeleteSelectedMeasurement(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT ComponentCore::DeleteAllMeasurements(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT ComponentCore::ToggleMeasurementsVisibility(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT ComponentCore::AreMeasurementsVisible(HWND hViewPort, VARIANT_BOOL* pbShow) {
  W(hViewPort);
  P(pbShow);
  return NotImplemented();
}

HRESULT ComponentCore::MeasEndInteraction(HWND hViewPort) {
  W(hViewPort);
  return NotImplemented();
}

HRESULT ComponentCore::Calibrate(HWND hViewPort, VARIANT_BOOL, double, VARIANT_BOOL,
                                 VARIANT_BOOL* pvbMissingCalibLine) {
  W(hViewPort);
  W(pvbMissingCalibLine);  // the window message for the out pointer, as this method has always reported it
  *pvbMissingCalibLine = VARIANT_TRUE;
  return NotImplemented();
}

HRESULT ComponentCore::InitializeTrace(BSTR bstrTraceLogFileName, LONG nTraceLevel) {
  // Taken as unsigned, so a negative level is as far out of range as 5.
  if (static_cast<ULONG>(nTraceLevel) >= 5) return Invalid(u"The Ondrel received an invalid trace level.");
  return Frame([&] {
    const std::u16string name =
        bstrTraceLogFileName != nullptr ? TextOf(bstrTraceLogFileName) : std::u16string(u"Ondrel.log");
    Trace::Instance().Open(name, static_cast<int>(nTraceLevel));
  });
}
