#include "entry/component_core.h"

#include <string>

#include "entry/display_operations.h"
#include "foundation/trace.h"
#include "image/magnifying_glass.h"
#include "image/overlays.h"
#include "tools/measurement_list.h"

using entry::Pointer;
using entry::WindowHandle;

namespace {

std::u16string TextOf(BSTR text) { return std::u16string(text, SysStringLen(text)); }

}  // namespace

HRESULT ComponentCore::Check(std::initializer_list<entry::ArgumentCheck> checks) const { return Check(iid_, checks); }

HRESULT ComponentCore::Check(REFIID iid, std::initializer_list<entry::ArgumentCheck> checks) const {
  for (const entry::ArgumentCheck& check : checks) {
    if (check.value == nullptr) return entry::ReportError(clsid_, iid, check.text, E_POINTER);
  }
  return S_OK;
}

Measurements* ComponentCore::LiveMeasurements(HWND window) const {
  Image* image = renderer_.LiveImage(window);
  return image != nullptr ? MeasurementsOf(*image) : nullptr;
}

HRESULT ComponentCore::Render(std::unique_ptr<ImageInfoStrategy> strategy, HWND window, VARIANT_BOOL keep) {
  bool shown = true;
  const HRESULT hr =
      Frame([&] { shown = renderer_.Render(window, std::move(strategy), keep == VARIANT_TRUE); });
  if (FAILED(hr) || shown) return hr;
  return entry::ReportError(clsid_, iid_, u"The Ondrel failed to load the image pixel data.", E_POINTER);
}

HRESULT ComponentCore::Draw(HWND hViewPort) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] { renderer_.Draw(hViewPort); });
}

HRESULT ComponentCore::SelectWindow(HWND hViewPort) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] { renderer_.SelectWindow(hViewPort); });
}

HRESULT ComponentCore::UnloadImage(BSTR bstrSopInstUID) {
  const HRESULT checked = Check({Pointer(bstrSopInstUID)});
  if (FAILED(checked)) return checked;
  return Frame([&] { renderer_.UnloadImage(TextOf(bstrSopInstUID).c_str()); });
}

HRESULT ComponentCore::PanImage(HWND hViewPort, LONG dx, LONG dy) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Image* image = renderer_.LiveImage(hViewPort)) ::PanImage(*image, hViewPort, dx, dy);
  });
}

HRESULT ComponentCore::MagnifyingGlass(HWND hViewPort, tagPOINT pt) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    Image* image = renderer_.GetCurrentImage(hViewPort);
    if (image != nullptr) ::MagnifyingGlass(*image, hViewPort, POINT{pt.x, pt.y});
  });
}

HRESULT ComponentCore::WindowLevelImage(HWND hViewPort, LONG dx, LONG dy) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Image* image = renderer_.LiveImage(hViewPort)) ::WindowLevelImage(*image, hViewPort, dx, dy);
  });
}

HRESULT ComponentCore::ApplyWindowLevelPreset(HWND hViewPort, LONG window, LONG level) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Image* image = renderer_.LiveImage(hViewPort)) ::ApplyWindowLevelPreset(*image, hViewPort, window, level);
  });
}

HRESULT ComponentCore::InvertImage(HWND hViewPort) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Image* image = renderer_.LiveImage(hViewPort)) ::InvertImage(*image, hViewPort);
  });
}

HRESULT ComponentCore::ApplyColorPalette(HWND hViewPort, ColorPaletteEnum eColorPalette) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Image* image = renderer_.LiveImage(hViewPort))
      ::ApplyColorPalette(*image, hViewPort, eColorPalette, renderer_.FetchPixelData(*image->Info()));
  });
}

HRESULT ComponentCore::GetColorPaletteMode(HWND hViewPort, ColorPaletteEnum* pMode) {
  // The pointer message for the window too, as this method has always reported it.
  const HRESULT checked = Check({Pointer(hViewPort), Pointer(pMode)});
  if (FAILED(checked)) return checked;
  return Frame([&] { *pMode = static_cast<ColorPaletteEnum>(CurrentPalette(renderer_.GetCurrentImage(hViewPort))); });
}

HRESULT ComponentCore::ZoomImage(HWND hViewPort, ULONG nZoom) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Image* image = renderer_.LiveImage(hViewPort)) ::ZoomImage(*image, hViewPort, nZoom);
  });
}

HRESULT ComponentCore::ZoomImageDynamically(HWND hViewPort, LONG, LONG dy) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Image* image = renderer_.LiveImage(hViewPort)) ::ZoomImageDynamically(*image, hViewPort, dy);
  });
}

HRESULT ComponentCore::GetCurrentImageZoom(HWND hViewPort, ULONG* pnZoom) {
  const HRESULT checked = Check({WindowHandle(hViewPort), Pointer(pnZoom)});
  if (FAILED(checked)) return checked;
  return Frame([&] { *pnZoom = CurrentZoom(renderer_.GetCurrentImage(hViewPort)); });
}

HRESULT ComponentCore::RotateFlipImage(HWND hViewPort, ImageRotationFlipEnum eRotFlip) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Image* image = renderer_.LiveImage(hViewPort))
      ::RotateFlipImage(*image, hViewPort, eRotFlip, renderer_.FetchPixelData(*image->Info()));
  });
}

HRESULT ComponentCore::EndInteractiveTool(HWND hViewPort) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Image* image = renderer_.LiveImage(hViewPort)) image->Draw(hViewPort, false);
  });
}

HRESULT ComponentCore::ResetImage(BSTR bstrImageSopInstUID, HWND hViewPort) {
  const HRESULT checked = Check({WindowHandle(hViewPort), Pointer(bstrImageSopInstUID)});
  if (FAILED(checked)) return checked;
  return Frame([&] { renderer_.ResetImage(TextOf(bstrImageSopInstUID).c_str(), hViewPort); });
}

HRESULT ComponentCore::ToggleOverlaysVisibility() {
  return Frame([&] { renderer_.ToggleOverlaysVisibility(); });
}

HRESULT ComponentCore::AreOverlaysVisible(VARIANT_BOOL* pbShow) {
  const HRESULT checked = Check({Pointer(pbShow)});
  if (FAILED(checked)) return checked;
  return Frame([&] { *pbShow = OverlaysVisible() ? VARIANT_TRUE : VARIANT_FALSE; });
}

HRESULT ComponentCore::ToggleShutter() {
  return Frame([&] { renderer_.ToggleShutter(); });
}

HRESULT ComponentCore::IsShutterApplied(VARIANT_BOOL* pbShow) {
  const HRESULT checked = Check({Pointer(pbShow)});
  if (FAILED(checked)) return checked;
  return Frame([&] { *pbShow = ShutterApplied() ? VARIANT_TRUE : VARIANT_FALSE; });
}

HRESULT ComponentCore::MeasOnMouseButtonDown(HWND hViewPort, tagPOINT pt, MeasurementsEnum measType,
                                             VARIANT_BOOL* pbProcessed) {
  const HRESULT checked = Check({WindowHandle(hViewPort), Pointer(pbProcessed)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    Measurements* measurements = LiveMeasurements(hViewPort);
    const bool processed = measurements != nullptr && measurements->OnButtonDown(hViewPort, POINT{pt.x, pt.y}, measType);
    *pbProcessed = processed ? VARIANT_TRUE : VARIANT_FALSE;
  });
}

HRESULT ComponentCore::MeasOnMouseMove(HWND hViewPort, tagPOINT pt) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Measurements* measurements = LiveMeasurements(hViewPort)) measurements->OnMouseMove(hViewPort, POINT{pt.x, pt.y});
  });
}

HRESULT ComponentCore::MeasOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbComplete) {
  const HRESULT checked = Check({WindowHandle(hViewPort), Pointer(pbComplete)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    Measurements* measurements = LiveMeasurements(hViewPort);
    const bool complete = measurements == nullptr || measurements->OnButtonUp(hViewPort, POINT{pt.x, pt.y});
    *pbComplete = complete ? VARIANT_TRUE : VARIANT_FALSE;
  });
}

HRESULT ComponentCore::MeasOnDoubleClick(HWND hViewPort) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Measurements* measurements = LiveMeasurements(hViewPort)) measurements->OnDoubleClick(hViewPort);
  });
}

HRESULT ComponentCore::DeleteSelectedMeasurement(HWND hViewPort) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Image* image = renderer_.LiveImage(hViewPort); image != nullptr && MeasurementsOf(*image) != nullptr) {
      MeasurementsOf(*image)->DeleteSelected();
      image->Draw(hViewPort, false);
    }
  });
}

HRESULT ComponentCore::DeleteAllMeasurements(HWND hViewPort) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Image* image = renderer_.LiveImage(hViewPort); image != nullptr && MeasurementsOf(*image) != nullptr) {
      MeasurementsOf(*image)->DeleteAll();
      image->Draw(hViewPort, false);
    }
  });
}

// No redraw here: the host draws when it is ready to.
HRESULT ComponentCore::ToggleMeasurementsVisibility(HWND hViewPort) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Measurements* measurements = LiveMeasurements(hViewPort)) measurements->ToggleVisibility();
  });
}

HRESULT ComponentCore::AreMeasurementsVisible(HWND hViewPort, VARIANT_BOOL* pbShow) {
  const HRESULT checked = Check({WindowHandle(hViewPort), Pointer(pbShow)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    const Measurements* measurements = LiveMeasurements(hViewPort);
    *pbShow = measurements != nullptr && measurements->IsVisible() ? VARIANT_TRUE : VARIANT_FALSE;
  });
}

HRESULT ComponentCore::MeasEndInteraction(HWND hViewPort) {
  const HRESULT checked = Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return Frame([&] {
    if (Measurements* measurements = LiveMeasurements(hViewPort)) measurements->EndInteraction();
  });
}

HRESULT ComponentCore::Calibrate(HWND hViewPort, VARIANT_BOOL bCancel, double dUserValue, VARIANT_BOOL bApplyToSeries,
                                 VARIANT_BOOL* pvbMissingCalibLine) {
  // The window message for the out pointer, as this method has always reported it.
  const HRESULT checked = Check({WindowHandle(hViewPort), WindowHandle(pvbMissingCalibLine)});
  if (FAILED(checked)) return checked;
  *pvbMissingCalibLine = VARIANT_TRUE;
  return Frame([&] {
    Measurements* measurements = LiveMeasurements(hViewPort);
    if (measurements == nullptr) return;
    const bool missing = measurements->Calibrate(hViewPort, bCancel == VARIANT_TRUE, dUserValue,
                                                 bApplyToSeries == VARIANT_TRUE);
    *pvbMissingCalibLine = missing ? VARIANT_TRUE : VARIANT_FALSE;
  });
}

HRESULT ComponentCore::InitializeTrace(BSTR bstrTraceLogFileName, LONG nTraceLevel) {
  // Taken as unsigned, so a negative level is as far out of range as 5.
  if (static_cast<ULONG>(nTraceLevel) >= 5) return entry::ReportError(clsid_, iid_, u"The Ondrel received an invalid trace level.", E_POINTER);
  return Frame([&] {
    const std::u16string name =
        bstrTraceLogFileName != nullptr ? TextOf(bstrTraceLogFileName) : std::u16string(u"Ondrel.log");
    Trace::Instance().Open(name, static_cast<int>(nTraceLevel));
  });
}

HRESULT ComponentCore::GetMeasurementsText(HWND hViewPort, BSTR* pbstrText) {
  const HRESULT checked = Check(IOndrelMeasurements::kIid, {WindowHandle(hViewPort), Pointer(pbstrText)});
  if (FAILED(checked)) return checked;
  *pbstrText = nullptr;
  return entry::RunFrame(clsid_, IOndrelMeasurements::kIid, [&] {
    const Image* image = renderer_.GetCurrentImage(hViewPort);
    const Measurements* measurements = image != nullptr ? MeasurementsOf(*image) : nullptr;
    *pbstrText = ondrel::platform::BStr(measurements != nullptr ? MeasurementListText(*measurements) : u"").Detach();
  });
}
