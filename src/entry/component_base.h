// The methods both components have, forwarded to their ComponentCore. IOndrel and IOndrelDicomDir
// declare them with the same names and parameters, so one template serves a component over either.
// Both also answer IOndrelMeasurements, the host's reading of the measurements.
#pragma once

#include "entry/component_core.h"
#include "ondrel/measurements.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/errorinfo.h"

template <class Interface>
class ComponentBase : public ondrel::platform::ComObject<Interface, IOndrelMeasurements, ISupportErrorInfo> {
 public:
  HRESULT InterfaceSupportsErrorInfo(REFIID riid) override {
    return riid == Interface::kIid || riid == IOndrelMeasurements::kIid ? S_OK : S_FALSE;
  }
  HRESULT GetMeasurementsText(HWND hViewPort, BSTR* pbstrText) override {
    return core_.GetMeasurementsText(hViewPort, pbstrText);
  }

  HRESULT Draw(HWND hViewPort) override { return core_.Draw(hViewPort); }
  HRESULT SelectWindow(HWND hViewPort) override { return core_.SelectWindow(hViewPort); }
  HRESULT UnloadImage(BSTR bstrSopInstUID) override { return core_.UnloadImage(bstrSopInstUID); }
  HRESULT PanImage(HWND hViewPort, LONG dx, LONG dy) override { return core_.PanImage(hViewPort, dx, dy); }
  HRESULT MagnifyingGlass(HWND hViewPort, tagPOINT pt) override { return core_.MagnifyingGlass(hViewPort, pt); }
  HRESULT WindowLevelImage(HWND hViewPort, LONG dx, LONG dy) override {
    return core_.WindowLevelImage(hViewPort, dx, dy);
  }
  HRESULT ApplyWindowLevelPreset(HWND hViewPort, LONG window, LONG level) override {
    return core_.ApplyWindowLevelPreset(hViewPort, window, level);
  }
  HRESULT InvertImage(HWND hViewPort) override { return core_.InvertImage(hViewPort); }
  HRESULT ApplyColorPalette(HWND hViewPort, ColorPaletteEnum eColorPalette) override {
    return core_.ApplyColorPalette(hViewPort, eColorPalette);
  }
  HRESULT GetColorPaletteMode(HWND hViewPort, ColorPaletteEnum* pMode) override {
    return core_.GetColorPaletteMode(hViewPort, pMode);
  }
  HRESULT ZoomImage(HWND hViewPort, ULONG nZoom) override { return core_.ZoomImage(hViewPort, nZoom); }
  HRESULT ZoomImageDynamically(HWND hViewPort, LONG dx, LONG dy) override {
    return core_.ZoomImageDynamically(hViewPort, dx, dy);
  }
  HRESULT GetCurrentImageZoom(HWND hViewPort, ULONG* pnZoom) override {
    return core_.GetCurrentImageZoom(hViewPort, pnZoom);
  }
  HRESULT RotateFlipImage(HWND hViewPort, ImageRotationFlipEnum eRotFlip) override {
    return core_.RotateFlipImage(hViewPort, eRotFlip);
  }
  HRESULT EndInteractiveTool(HWND hViewPort) override { return core_.EndInteractiveTool(hViewPort); }
  HRESULT ResetImage(BSTR bstrImageSopInstUID, HWND hViewPort) override {
    return core_.ResetImage(bstrImageSopInstUID, hViewPort);
  }
  HRESULT ToggleOverlaysVisibility() override { return core_.ToggleOverlaysVisibility(); }
  HRESULT AreOverlaysVisible(VARIANT_BOOL* pbShow) override { return core_.AreOverlaysVisible(pbShow); }
  HRESULT ToggleShutter() override { return core_.ToggleShutter(); }
  HRESULT IsShutterApplied(VARIANT_BOOL* pbShow) override { return core_.IsShutterApplied(pbShow); }
  HRESULT MeasOnMouseButtonDown(HWND hViewPort, tagPOINT pt, MeasurementsEnum measType,
                                VARIANT_BOOL* pbProcessed) override {
    return core_.MeasOnMouseButtonDown(hViewPort, pt, measType, pbProcessed);
  }
  HRESULT MeasOnMouseMove(HWND hViewPort, tagPOINT pt) override { return core_.MeasOnMouseMove(hViewPort, pt); }
  HRESULT MeasOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbComplete) override {
    return core_.MeasOnMouseButtonUp(hViewPort, pt, pbComplete);
  }
  HRESULT MeasOnDoubleClick(HWND hViewPort) override { return core_.MeasOnDoubleClick(hViewPort); }
  HRESULT DeleteSelectedMeasurement(HWND hViewPort) override { return core_.DeleteSelectedMeasurement(hViewPort); }
  HRESULT DeleteAllMeasurements(HWND hViewPort) override { return core_.DeleteAllMeasurements(hViewPort); }
  HRESULT ToggleMeasurementsVisibility(HWND hViewPort) override {
    return core_.ToggleMeasurementsVisibility(hViewPort);
  }
  HRESULT AreMeasurementsVisible(HWND hViewPort, VARIANT_BOOL* pbShow) override {
    return core_.AreMeasurementsVisible(hViewPort, pbShow);
  }
  HRESULT MeasEndInteraction(HWND hViewPort) override { return core_.MeasEndInteraction(hViewPort); }
  HRESULT Calibrate(HWND hViewPort, VARIANT_BOOL bCancel, double dUserValue, VARIANT_BOOL bApplyToSeries,
                    VARIANT_BOOL* pvbMissingCalibLine) override {
    return core_.Calibrate(hViewPort, bCancel, dUserValue, bApplyToSeries, pvbMissingCalibLine);
  }
  HRESULT InitializeTrace(BSTR bstrTraceLogFileName, LONG nTraceLevel) override {
    return core_.InitializeTrace(bstrTraceLogFileName, nTraceLevel);
  }

 protected:
  explicit ComponentBase(REFCLSID clsid) : core_(clsid, Interface::kIid) {}

  ComponentCore core_;
};
