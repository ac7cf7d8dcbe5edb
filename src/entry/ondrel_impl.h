// COndrelImpl: the component a host creates (class OndrelImpl). Each method is a frame: it checks its
// arguments as the interface says, hands the work on, and turns failures into codes with error
// information (entry/entry_frame.h).
//
// Implemented: RenderImage, RenderConsultImage, Draw, SelectWindow, ReleaseWindow, UnloadImage, the
// display operations (PanImage to ResetImage, but MagnifyingGlass) and InitializeTrace. Every other
// method checks its arguments and then answers E_NOTIMPL (0x80004001) with error information "Not
// implemented.": the magnifying glass, export and import, overlays and shutters, measurements,
// reference lines and synchronisation, MPR, MIP and volume mode come with the work that builds them;
// RenderImage of an image of a derived (MPR, MIP, volume) series fails until then.
#pragma once

#include <atomic>

#include "entry/component_core.h"
#include "ondrel/ondrel.h"
#include "ondrel/platform/errorinfo.h"

class COndrelImpl : public ondrel::platform::ComObject<IOndrel, ISupportErrorInfo> {
 public:
  COndrelImpl() : core_(CLSID_OndrelImpl, IID_IOndrel) { ++liveComponents_; }
  ~COndrelImpl() override { --liveComponents_; }

  // The components alive in the process, which keep the module loaded.
  static long LiveComponents() { return liveComponents_; }

  // Creation, as the class factory finishes it: the licence check, the settings file
  // "ViewerUI.exe.config" and the dictionary "dicom_dictionary.txt" beside the host, the user's
  // preferences (through the workstation's UserPreferences object, which must be registered:
  // RegisterWorkstationClasses), and the process-wide GlobalConfiguration object. E_FAIL with error
  // information when the preferences can't be read; a GlobalConfiguration that can't be made is
  // reported the same way, and creation goes on.
  HRESULT FinalConstruct();

  HRESULT InterfaceSupportsErrorInfo(REFIID riid) override { return riid == IID_IOndrel ? S_OK : S_FALSE; }

  HRESULT RenderImage(IImageInfoNW* pImgInfo, HWND hViewPort, VARIANT_BOOL bKeepPresIntent) override;
  HRESULT RenderConsultImage(HWND hViewPort, HWND hConsultViewPort, IImageInfoNW* pImgInfo) override;
  HRESULT Draw(HWND hViewPort) override { return core_.Draw(hViewPort); }
  HRESULT SelectWindow(HWND hViewPort) override { return core_.SelectWindow(hViewPort); }
  HRESULT ReleaseWindow(HWND hViewPort) override;
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
  HRESULT SaveImageAsFile(HWND hViewPort, BSTR bstrEncoding, BSTR bstrFileName) override;
  HRESULT SaveImageAsDICOMFile(HWND hViewPort, BSTR bstrFileName, IImageInfoNW* pImgInfo) override;
  HRESULT SaveConsultImage(HWND hViewPort, IImageInfoNW* pConsultImageInfo) override;
  HRESULT ImportImageAsDICOMFile(BSTR bstrFileName, IImageInfoNW* pImgInfo) override;
  HRESULT ToggleOverlaysVisibility() override { return core_.ToggleOverlaysVisibility(); }
  HRESULT AreOverlaysVisible(VARIANT_BOOL* pbShow) override { return core_.AreOverlaysVisible(pbShow); }
  HRESULT ToggleShutter() override { return core_.ToggleShutter(); }
  HRESULT IsShutterApplied(VARIANT_BOOL* pbShow) override { return core_.IsShutterApplied(pbShow); }
  HRESULT GetImageHBITMAP(HWND hViewPort, LONG left, LONG top, LONG right, LONG bottom, HBITMAP* phBitmap) override;
  HRESULT ReleaseHBITMAP(HWND hViewPort) override;
  HRESULT GetImageCurrentPixelData(HWND hViewPort, BSTR bstrSopInstUID, SHORT nFrameIdx, SAFEARRAY** ppData,
                                   LONG* pPixelsRows, LONG* pPixelsColumns, VARIANT_BOOL* pbColor) override;
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
  HRESULT SetReferenceLinesMode(ReferenceLinesEnum mode) override;
  HRESULT GetReferenceLinesMode(ReferenceLinesEnum* pMode) override;
  HRESULT CalculateReferenceLines(HWND hProjectedViewPort, HWND hProjecteeViewPort) override;
  HRESULT SetSynchronizeSeriesMode(SynchronizeSeriesEnum mode) override;
  HRESULT GetSynchronizeSeriesMode(SynchronizeSeriesEnum* pMode) override;
  HRESULT SynchronizeSeries(HWND hCrtViewPort, HWND hSynchViewPort, VARIANT_BOOL bKeepPresIntent) override;
  HRESULT CalculateSynchronizeSeriesOffset(HWND hCrtViewPort, HWND hSynchViewPort) override;
  HRESULT GenerateMprSeries(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppMprSeriesInfo1, ISeriesInfoNW** ppMprSeriesInfo2,
                            ISeriesInfoNW** ppMprSeriesInfoOblique) override;
  HRESULT SaveMprSeries(BSTR bstrDescrOrto1, BSTR bstrDescrOrto2, BSTR bstrDescrOblique) override;
  HRESULT EndMprMode() override;
  HRESULT GetMprMode(MprOperationsEnum* pMode) override;
  HRESULT MprOnMouseButtonDown(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) override;
  HRESULT MprOnMouseMove(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) override;
  HRESULT MprOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed, VARIANT_BOOL* pbComplete) override;
  HRESULT MprOnDoubleClick(HWND hViewPort, VARIANT_BOOL* pbProcessed) override;
  HRESULT GenerateMipSeries(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppMipSeriesInfo) override;
  HRESULT EndMipMode() override;
  HRESULT GetMipMode(MipOperationsEnum* pMode) override;
  HRESULT SetMipMode(MipOperationsEnum mode) override;
  HRESULT MipOnMouseButtonDown(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) override;
  HRESULT MipOnMouseMove(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) override;
  HRESULT MipOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed, VARIANT_BOOL* pbComplete) override;
  HRESULT MipOnDoubleClick(HWND hViewPort, VARIANT_BOOL* pbProcessed) override;
  HRESULT MipRotate(HWND hViewPort, LONG dx, LONG dy) override;
  HRESULT GenerateVolumeSeries(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppVolumeSeriesInfo, LONG lMinThreshold,
                               LONG lMaxThreshold) override;
  HRESULT StartVolumeMode(HWND hViewPort, VARIANT_BOOL* vbInit3DSuccess) override;
  HRESULT EndVolumeMode() override;
  HRESULT GetVolumeMode(LONG* pMode) override;
  HRESULT VolumeApplyThreshold(IImageInfoNW* pImgInfo, HWND hViewPort, LONG lMinThreshold, LONG lMaxThreshold,
                               SHORT step) override;
  HRESULT VolumeOnMouseButtonDown(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) override;
  HRESULT VolumeOnMouseMove(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) override;
  HRESULT VolumeOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed,
                                VARIANT_BOOL* pbComplete) override;
  HRESULT VolumeOnDoubleClick(HWND hViewPort, VARIANT_BOOL* pbProcessed) override;
  HRESULT InitializeTrace(BSTR bstrTraceLogFileName, LONG nTraceLevel) override {
    return core_.InitializeTrace(bstrTraceLogFileName, nTraceLevel);
  }

 private:
  static inline std::atomic<long> liveComponents_{0};
  ComponentCore core_;
};
