// What the two components (OndrelImpl and OndrelDicomDirImpl) do alike: they own a loader and a
// renderer over it, and run the methods they share in the same frame, with the same checks, words and
// codes. Only the class and interface that error information names differ.
#pragma once

#include <initializer_list>
#include <memory>

#include "entry/entry_frame.h"
#include "entry/image_renderer.h"
#include "ondrel/measurements.h"
#include "ondrel/ondrel.h"
#include "sources/image_loader.h"
#include "tools/measurements.h"

class ComponentCore {
 public:
  ComponentCore(REFCLSID clsid, REFIID iid) : clsid_(clsid), iid_(iid) {}

  // The checks of a method's arguments, left to right: S_OK when all pass, else E_POINTER with the text
  // of the first that fails.
  HRESULT Check(std::initializer_list<entry::ArgumentCheck> checks) const;
  // Runs `body` in the frame: S_OK, or E_FAIL with the failure's text.
  template <class Body>
  HRESULT Frame(Body&& body) const {
    return entry::RunFrame(clsid_, iid_, std::forward<Body>(body));
  }

  // Loads the strategy's image and shows it in the window (checked by the caller): S_OK; E_POINTER with
  // "The Ondrel failed to load the image pixel data." when the file has no pixels, nothing changed;
  // or E_FAIL with the failure's text.
  HRESULT Render(std::unique_ptr<ImageInfoStrategy> strategy, HWND window, VARIANT_BOOL keep);

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
  // IOndrelMeasurements, whose failures name that interface.
  HRESULT GetMeasurementsText(HWND hViewPort, BSTR* pbstrText);

  ImageRenderer& Renderer() { return renderer_; }
  ImageLoader& Loader() { return loader_; }

 private:
  HRESULT Check(REFIID iid, std::initializer_list<entry::ArgumentCheck> checks) const;
  // The measurements of the window's image, when the window is valid and shows an image with an
  // intent; null otherwise, and the gesture is dropped.
  Measurements* LiveMeasurements(HWND window) const;

  const CLSID clsid_;
  const IID iid_;
  ImageLoader loader_;  // before the renderer, which reads through it
  ImageRenderer renderer_{loader_};
};
