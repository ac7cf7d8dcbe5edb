// COndrelImpl: the component a host creates (class OndrelImpl). Each method is a frame: it checks its
// arguments as the interface says, hands the work on, and turns failures into codes with error
// information (entry/entry_frame.h).
//
// Implemented: RenderImage, RenderConsultImage, Draw, SelectWindow, ReleaseWindow, UnloadImage, the
// display operations (PanImage to ResetImage, the magnifying glass among them), export and import
// (SaveImageAsFile to ImportImageAsDICOMFile, GetImageHBITMAP to GetImageCurrentPixelData), the
// overlay and shutter switches (ToggleOverlaysVisibility to IsShutterApplied), the measurement tools
// (MeasOnMouseButtonDown to Calibrate, and IOndrelMeasurements), reference lines and series
// synchronisation (SetReferenceLinesMode to CalculateSynchronizeSeriesOffset), the MPR and the MIP
// (GenerateMprSeries to MipRotate, in spatial_methods.cpp), volume mode (GenerateVolumeSeries to
// VolumeOnDoubleClick, in volume_methods.cpp) and InitializeTrace.
#pragma once

#include <atomic>

#include "entry/component_base.h"
#include "ondrel/ondrel.h"

class COndrelImpl : public ComponentBase<IOndrel> {
 public:
  COndrelImpl() : ComponentBase(CLSID_OndrelImpl) { ++liveComponents_; }
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

  HRESULT RenderImage(IImageInfoNW* pImgInfo, HWND hViewPort, VARIANT_BOOL bKeepPresIntent) override;
  HRESULT RenderConsultImage(HWND hViewPort, HWND hConsultViewPort, IImageInfoNW* pImgInfo) override;
  HRESULT ReleaseWindow(HWND hViewPort) override;
  HRESULT SaveImageAsFile(HWND hViewPort, BSTR bstrEncoding, BSTR bstrFileName) override;
  HRESULT SaveImageAsDICOMFile(HWND hViewPort, BSTR bstrFileName, IImageInfoNW* pImgInfo) override;
  HRESULT SaveConsultImage(HWND hViewPort, IImageInfoNW* pConsultImageInfo) override;
  HRESULT ImportImageAsDICOMFile(BSTR bstrFileName, IImageInfoNW* pImgInfo) override;
  HRESULT GetImageHBITMAP(HWND hViewPort, LONG left, LONG top, LONG right, LONG bottom, HBITMAP* phBitmap) override;
  HRESULT ReleaseHBITMAP(HWND hViewPort) override;
  HRESULT GetImageCurrentPixelData(HWND hViewPort, BSTR bstrSopInstUID, SHORT nFrameIdx, SAFEARRAY** ppData,
                                   LONG* pPixelsRows, LONG* pPixelsColumns, VARIANT_BOOL* pbColor) override;
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

 private:
  static inline std::atomic<long> liveComponents_{0};
};
