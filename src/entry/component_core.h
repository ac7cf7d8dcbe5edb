// What the two components (OndrelImpl and OndrelDicomDirImpl) do alike: they own a loader and a
// renderer, and run the methods they share in the same frame, with the same checks, words and codes.
// Only the class and interface that error information names differ.
#pragma once

#include <memory>

#include "entry/entry_frame.h"
#include "entry/image_renderer.h"
#include "ondrel/ondrel.h"
#include "sources/image_loader.h"

class ComponentCore {
 public:
  ComponentCore(REFCLSID clsid, REFIID iid) : clsid_(clsid), iid_(iid) {}

  // E_POINTER with `text`; E_NOTIMPL with "Not implemented.".
  HRESULT Invalid(const char16_t* text) const;
  HRESULT NotImplemented() const;
  // Runs `body` in the frame: S_OK, or E_FAIL with the failure's text.
  template <class Body>
  HRESULT Frame(Body&& body) const {
    return entry::RunFrame(clsid_, iid_, std::forward<Body>(body));
  }

  // Loads the strategy's pixels and renders them in the window (the window is checked by the caller).
  void Render(std::unique_ptr<ImageInfoStrategy> strategy, HWND window, VARIANT_BOOL keep);

  HRESULT Draw(HWND hViewPort);
  HRESULT SelectWindow(HWND hViewPort);
  HRESULT UnloadImage(BSTR bstrSopInstUID);
  HRESULT PanImage(HWND hViewPort, LONG dx, LONG dy);
  HRESULT MagnifyingGlass(HWND hViewPort, tagPOINT pt);
  HRESULT WindowLevelImage(HWND hViewPort, LONG dx, LONG dy);
  HRESULT ApplyWindowLevelPreset(HWND hViewPort, LONG window, LONG level);
  HRESULT InvertImage(HWND hViewPort);
  HRESULT ApplyColorPalette(HWND hViewPort, ColorPaletteEnum eColorPalette);
  HRESULT GetColorPaletteMode(HWND hViewPort, ColorPaletteEnum* pMode);
  HRESULT ZoomImage(HWND hViewPort, ULONG nZoom);
  HRESULT ZoomImageDynamically(HWND hViewPort, LONG dx, LONG dy);
  HRESULT GetCurrentImageZoom(HWND hViewPort, ULONG* pnZoom);
  HRESULT RotateFlipImage(HWND hViewPort, ImageRotationFlipEnum eRotFlip);
  HRESULT EndInteractiveTool(HWND hViewPort);
  HRESULT ResetImage(BSTR bstrImageSopInstUID, HWND hViewPort);
  HRESULT ToggleOverlaysVisibility();
  HRESULT AreOverlaysVisible(VARIANT_BOOL* pbShow);
  HRESULT ToggleShutter();
  HRESULT IsShutterApplied(VARIANT_BOOL* pbShow);
  HRESULT MeasOnMouseButtonDown(HWND hViewPort, tagPOINT pt, MeasurementsEnum measType, VARIANT_BOOL* pbProcessed);
  HRESULT MeasOnMouseMove(HWND hViewPort, tagPOINT pt);
  HRESULT MeasOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbComplete);
  HRESULT MeasOnDoubleClick(HWND hViewPort);
  HRESULT DeleteSelectedMeasurement(HWND hViewPort);
  HRESULT DeleteAllMeasurements(HWND hViewPort);
  HRESULT ToggleMeasurementsVisibility(HWND hViewPort);
  HRESULT AreMeasurementsVisible(HWND hViewPort, VARIANT_BOOL* pbShow);
  HRESULT MeasEndInteraction(HWND hViewPort);
  HRESULT Calibrate(HWND hViewPort, VARIANT_BOOL bCancel, double dUserValue, VARIANT_BOOL bApplyToSeries,
                    VARIANT_BOOL* pvbMissingCalibLine);
  HRESULT InitializeTrace(BSTR bstrTraceLogFileName, LONG nTraceLevel);

  ImageLoader& Loader() { return loader_; }
  ImageRenderer& Renderer() { return renderer_; }

 private:
  const CLSID clsid_;
  const IID iid_;
  ImageLoader loader_;
  ImageRenderer renderer_;
};

// The checks of each method, left to right: W a window handle, P a pointer.
#define ONDREL_CHECK_WINDOW(core, handle) \
  if ((handle) == nullptr) return (core).Invalid(entry::kInvalidWindow)
#define ONDREL_CHECK_POINTER(core, pointer) \
  if ((pointer) == nullptr) return (core).Invalid(entry::kInvalidPointer)
