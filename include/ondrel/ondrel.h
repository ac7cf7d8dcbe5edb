// IOndrel: everything a host sees of the image core. A host creates one object of the class
// OndrelImpl (CoCreateInstance(CLSID_OndrelImpl, ..., IOndrel::kIid, ...)), hands it image objects
// (include/ondrel/workstation.h) and window handles (include/ondrel/platform/windows.h), and calls it
// for every gesture of the user, on one thread.
//
// The slot order of the methods below is part of the contract: a COM-capable host binds to it.
//
// Every method returns an HRESULT:
// - S_OK on success. A window that shows no image, or an image the core does not know, is no failure:
//   the call then does nothing and succeeds.
// - E_POINTER (0x80004003) when an argument check fails, with error information "The Ondrel received
//   an invalid window handle." or "The Ondrel received an invalid pointer.". Checks run left to
//   right and stop at the first that fails.
// - E_FAIL (0x80004005) when the work fails, with error information (GetErrorInfo) whose description
//   is the core's failure text, its source the program identifier "Ondrel.OndrelImpl".
// A host reads what the user measured through IOndrelMeasurements (include/ondrel/measurements.h), a
// second interface of both components.
// Booleans are VARIANT_BOOL: false 0, true -1; an input counts as true only when it equals -1.
// Out booleans are written as -1 or 0.
#pragma once

#include "ondrel/platform/com.h"
#include "ondrel/platform/gdi.h"
#include "ondrel/platform/safearray.h"
#include "ondrel/platform/windows.h"
#include "ondrel/workstation.h"

enum MeasurementsEnum : USHORT {
  MEAS_NONE = 0,
  MEAS_LINE = 1,
  MEAS_ELLIPSE = 2,
  MEAS_ANGLE = 3,
  MEAS_ARROW = 4,  // no tool draws arrows: the value is accepted and does nothing
  MEAS_TEXT = 5,
  MEAS_DELETE = 6,
  MEAS_DELETE_ALL = 7,
  MEAS_EDIT = 8,
  MEAS_CALIBRATION = 9,
};

enum MeasOperationsEnum : USHORT {
  MEAS_MODE_NONE = 0,
  MEAS_MODE_CREATING = 1,
  MEAS_MODE_MOVING_ANCHOR = 2,
  MEAS_MODE_MOVING_SHAPE = 3,
  MEAS_MODE_MOVING_TEXT = 4,
  MEAS_MODE_EDITING_TEXT = 5,
};

enum ImageRotationFlipEnum : USHORT {
  ROT_FLIP_NONE = 0,
  ROTATE_RIGHT = 1,
  ROTATE_LEFT = 2,
  FLIP_UD = 3,
  FLIP_LR = 4,
};

enum ColorPaletteEnum : USHORT {
  COLOR_PALETTE_NONE = 0,
  COLOR_PALETTE_RAINBOW = 1,
  COLOR_PALETTE_HOT_IRON = 2,
  COLOR_PALETTE_HOT_BLUE_METAL = 3,
};

enum ReferenceLinesEnum : USHORT {
  REFERENCE_LINE_OFF = 0,
  REFERENCE_LINE_CURRENT_IMAGE = 1,
  REFERENCE_LINE_CURRENT_SERIES = 2,
};

enum SynchronizeSeriesEnum : USHORT {
  SYNCH_SERIES_OFF = 0,
  SYNCH_SERIES_AUTO = 1,
  SYNCH_SERIES_MANUAL = 2,
};

enum MprOperationsEnum : USHORT {
  MPR_MODE_NONE = 0,
  MPR_MODE_GENERATED = 1,
  MPR_MODE_TRANSLATION = 2,
  MPR_MODE_ROTATION = 3,
};

enum MipOperationsEnum : USHORT {
  MIP_MODE_NONE = 0,
  MIP_MODE_MAXIP = 1,
  MIP_MODE_MINIP = 2,
  MIP_MODE_TRANSLATION = 16,
};

// No method takes a filter: the enumeration is part of the type library only.
enum ImageFilterEnum : USHORT {
  IMAGE_FILTER_NONE = 0,
  IMAGE_FILTER_THRESHOLD = 1,
  IMAGE_FILTER_EDGE_DETECTION = 2,
};

// A mouse position in client pixels, passed by value.
struct tagPOINT {
  LONG x;
  LONG y;
};

// The checks each method makes stand beside it: W a window handle, P a pointer, in argument order.
struct IOndrel : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("93DF1215-A723-40E3-9B99-CAABE98D49E7");

  // Viewports and images.
  virtual HRESULT RenderImage(IImageInfoNW* pImgInfo, HWND hViewPort, VARIANT_BOOL bKeepPresIntent) = 0;  // W; null image: S_OK
  virtual HRESULT RenderConsultImage(HWND hViewPort, HWND hConsultViewPort, IImageInfoNW* pImgInfo) = 0;  // W W P
  virtual HRESULT Draw(HWND hViewPort) = 0;                                                                // W
  virtual HRESULT SelectWindow(HWND hViewPort) = 0;                                                        // W
  virtual HRESULT ReleaseWindow(HWND hViewPort) = 0;                                                       // W
  virtual HRESULT UnloadImage(BSTR bstrSopInstUID) = 0;                                                    // P

  // Display operations.
  virtual HRESULT PanImage(HWND hViewPort, LONG dx, LONG dy) = 0;                         // W
  virtual HRESULT MagnifyingGlass(HWND hViewPort, tagPOINT pt) = 0;                       // W
  virtual HRESULT WindowLevelImage(HWND hViewPort, LONG dx, LONG dy) = 0;                 // W
  virtual HRESULT ApplyWindowLevelPreset(HWND hViewPort, LONG window, LONG level) = 0;    // W
  virtual HRESULT InvertImage(HWND hViewPort) = 0;                                        // W
  virtual HRESULT ApplyColorPalette(HWND hViewPort, ColorPaletteEnum eColorPalette) = 0;  // W
  // A null window reports the pointer message.
  virtual HRESULT GetColorPaletteMode(HWND hViewPort, ColorPaletteEnum* pMode) = 0;       // P P
  virtual HRESULT ZoomImage(HWND hViewPort, ULONG nZoom) = 0;                             // W
  virtual HRESULT ZoomImageDynamically(HWND hViewPort, LONG dx, LONG dy) = 0;             // W
  virtual HRESULT GetCurrentImageZoom(HWND hViewPort, ULONG* pnZoom) = 0;                 // W P
  virtual HRESULT RotateFlipImage(HWND hViewPort, ImageRotationFlipEnum eRotFlip) = 0;    // W
  virtual HRESULT EndInteractiveTool(HWND hViewPort) = 0;                                 // W
  // Brings the window's image back to its first state (rotation, flips, zoom, pan, palette, invert and
  // window all gone; measurements stay) from the pixels the component holds for bstrImageSopInstUID,
  // normally the window's own image. E_FAIL with "The Ondrel failed to load the image pixel data." when
  // it holds none for that UID: the picture stays as it was. Checks the window first.
  virtual HRESULT ResetImage(BSTR bstrImageSopInstUID, HWND hViewPort) = 0;               // W (second) P (first)

  // Export and import. SaveImageAsFile writes what the window shows with the GDI+ encoder whose MIME
  // type is bstrEncoding ("image/png", ...); a type no encoder has writes nothing and succeeds, and so
  // does a file the encoder fails to write. SaveImageAsDICOMFile writes nothing and succeeds. What a
  // window shows (SaveConsultImage) and a picture file (ImportImageAsDICOMFile) become 8-bit RGB DICOM
  // objects of the image object given, which takes their size, format and, when it has none, a new SOP
  // Instance UID; the file goes to the object's FileName, else to DICOMfiles/<SOP Instance UID>.dcm.
  virtual HRESULT SaveImageAsFile(HWND hViewPort, BSTR bstrEncoding, BSTR bstrFileName) = 0;        // W P P
  virtual HRESULT SaveImageAsDICOMFile(HWND hViewPort, BSTR bstrFileName, IImageInfoNW* pImgInfo) = 0;  // W P P
  virtual HRESULT SaveConsultImage(HWND hViewPort, IImageInfoNW* pConsultImageInfo) = 0;           // W P
  virtual HRESULT ImportImageAsDICOMFile(BSTR bstrFileName, IImageInfoNW* pImgInfo) = 0;           // P P

  // Process-wide switches.
  virtual HRESULT ToggleOverlaysVisibility() = 0;
  virtual HRESULT AreOverlaysVisible(VARIANT_BOOL* pbShow) = 0;  // P
  virtual HRESULT ToggleShutter() = 0;
  virtual HRESULT IsShutterApplied(VARIANT_BOOL* pbShow) = 0;    // P

  // What a viewport shows. The rectangle of GetImageHBITMAP is not used: the whole client area is
  // captured. The bitmap is the core's until ReleaseHBITMAP.
  virtual HRESULT GetImageHBITMAP(HWND hViewPort, LONG left, LONG top, LONG right, LONG bottom,
                                  HBITMAP* phBitmap) = 0;                                          // W P
  virtual HRESULT ReleaseHBITMAP(HWND hViewPort) = 0;                                              // W
  // Rows and columns come back padded to multiples of 4; the window and those two pointers are
  // checked further in, and fail with E_FAIL.
  virtual HRESULT GetImageCurrentPixelData(HWND hViewPort, BSTR bstrSopInstUID, SHORT nFrameIdx, SAFEARRAY** ppData,
                                           LONG* pPixelsRows, LONG* pPixelsColumns, VARIANT_BOOL* pbColor) = 0;  // P P P

  // Measurements and annotations, on the image a window shows; a window without one drops the
  // gesture (pbProcessed false, pbComplete true, pbShow false). A gesture is a press, moves and a
  // release at client points; the tool chosen with measType starts on a press that hits no tool, while
  // a press on a grip handle, outline or text box drags that tool. pbProcessed is false only for
  // MEAS_EDIT on empty image area. pbComplete is false while a tool wants more (an angle's three
  // clicks, an open text box, which the next press commits). A move draws the rubber band straight
  // into the window; the finished tool shows at the next draw (Draw, EndInteractiveTool). A release
  // that would finish a measurement whose points lie within the grip handle size of each other (a
  // click without a drag) fails with E_FAIL and "The Ondrel caught an unknown error.", the tool staying
  // as it was. The deletes redraw the window; the visibility switch does not. Calibrate gives the true
  // length in millimetres of the selected calibration line (MEAS_CALIBRATION), which goes, to the
  // image (or with bApplyToSeries its series) as a square pixel spacing; pvbMissingCalibLine is true,
  // and nothing changes, when no calibration line is selected.
  virtual HRESULT MeasOnMouseButtonDown(HWND hViewPort, tagPOINT pt, MeasurementsEnum measType,
                                        VARIANT_BOOL* pbProcessed) = 0;                      // W P
  virtual HRESULT MeasOnMouseMove(HWND hViewPort, tagPOINT pt) = 0;                          // W
  virtual HRESULT MeasOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbComplete) = 0;  // W P
  virtual HRESULT MeasOnDoubleClick(HWND hViewPort) = 0;                                     // W
  virtual HRESULT DeleteSelectedMeasurement(HWND hViewPort) = 0;                             // W
  virtual HRESULT DeleteAllMeasurements(HWND hViewPort) = 0;                                 // W
  virtual HRESULT ToggleMeasurementsVisibility(HWND hViewPort) = 0;                          // W
  virtual HRESULT AreMeasurementsVisible(HWND hViewPort, VARIANT_BOOL* pbShow) = 0;          // W P
  virtual HRESULT MeasEndInteraction(HWND hViewPort) = 0;                                    // W
  // A null out pointer reports the window message; the out value starts true.
  virtual HRESULT Calibrate(HWND hViewPort, VARIANT_BOOL bCancel, double dUserValue, VARIANT_BOOL bApplyToSeries,
                            VARIANT_BOOL* pvbMissingCalibLine) = 0;                          // W W

  // Reference lines and synchronisation. CalculateReferenceLines replaces the reference lines of the
  // image hProjecteeViewPort shows with where the slice hProjectedViewPort shows cuts it (mode
  // REFERENCE_LINE_CURRENT_IMAGE), or every slice of that slice's series (REFERENCE_LINE_CURRENT_SERIES),
  // each numbered with its instance number; the projected image loses its own lines. Images must share
  // a frame of reference; parallel or disjoint slices give no line. Nothing is drawn: the lines show at
  // the next Draw, and while the mode (process-wide, REFERENCE_LINE_OFF at first) is off they are not
  // drawn. SynchronizeSeries shows in hSynchViewPort the slice of its series whose centre lies nearest
  // to the centre of the image hCrtViewPort shows, among the slices within 0.1 radian of parallel to
  // it: of the same frame of reference in SYNCH_SERIES_AUTO; in SYNCH_SERIES_MANUAL the one whose
  // offset comes nearest to the one CalculateSynchronizeSeriesOffset stored for that series (one pair
  // is remembered at a time), and nothing without it. The mode is the component object's,
  // SYNCH_SERIES_OFF at first; the set methods store any value.
  virtual HRESULT SetReferenceLinesMode(ReferenceLinesEnum mode) = 0;
  virtual HRESULT GetReferenceLinesMode(ReferenceLinesEnum* pMode) = 0;                          // P
  virtual HRESULT CalculateReferenceLines(HWND hProjectedViewPort, HWND hProjecteeViewPort) = 0;  // W W
  virtual HRESULT SetSynchronizeSeriesMode(SynchronizeSeriesEnum mode) = 0;
  virtual HRESULT GetSynchronizeSeriesMode(SynchronizeSeriesEnum* pMode) = 0;                    // P
  virtual HRESULT SynchronizeSeries(HWND hCrtViewPort, HWND hSynchViewPort, VARIANT_BOOL bKeepPresIntent) = 0;  // W W
  virtual HRESULT CalculateSynchronizeSeriesOffset(HWND hCrtViewPort, HWND hSynchViewPort) = 0;  // W W

  // MPR.
  virtual HRESULT GenerateMprSeries(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppMprSeriesInfo1,
                                    ISeriesInfoNW** ppMprSeriesInfo2, ISeriesInfoNW** ppMprSeriesInfoOblique) = 0;  // P x4
  virtual HRESULT SaveMprSeries(BSTR bstrDescrOrto1, BSTR bstrDescrOrto2, BSTR bstrDescrOblique) = 0;
  virtual HRESULT EndMprMode() = 0;
  virtual HRESULT GetMprMode(MprOperationsEnum* pMode) = 0;                                         // P
  virtual HRESULT MprOnMouseButtonDown(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) = 0;  // W P
  virtual HRESULT MprOnMouseMove(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) = 0;        // W P
  virtual HRESULT MprOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed,
                                     VARIANT_BOOL* pbComplete) = 0;                                 // W P P
  virtual HRESULT MprOnDoubleClick(HWND hViewPort, VARIANT_BOOL* pbProcessed) = 0;                  // W P

  // MIP.
  virtual HRESULT GenerateMipSeries(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppMipSeriesInfo) = 0;   // P P
  virtual HRESULT EndMipMode() = 0;
  virtual HRESULT GetMipMode(MipOperationsEnum* pMode) = 0;                                         // P
  virtual HRESULT SetMipMode(MipOperationsEnum mode) = 0;
  virtual HRESULT MipOnMouseButtonDown(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) = 0;  // W P
  virtual HRESULT MipOnMouseMove(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) = 0;        // W P
  virtual HRESULT MipOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed,
                                     VARIANT_BOOL* pbComplete) = 0;                                 // W P P
  virtual HRESULT MipOnDoubleClick(HWND hViewPort, VARIANT_BOOL* pbProcessed) = 0;                  // W P
  virtual HRESULT MipRotate(HWND hViewPort, LONG dx, LONG dy) = 0;                                  // W

  // Volume mode, served by the volume server Ondrel3D (ondrel/volume3d.h), which the host registers.
  // GenerateVolumeSeries ends a server that runs, makes a new one and has it build the volume series
  // (one image, VolumeType 2). StartVolumeMode opens the server's view in a window and says whether it
  // came up (false, and S_OK, before any generation). A window showing the volume image forwards the
  // mouse: a press starts a drag that turns the view by the pointer's travel, which the server reads
  // from the platform's pointer (a host puts it at each mouse event); the image's pixels are the
  // server's picture of the view, and Draw of its window is the server's draw. EndVolumeMode ends the
  // server and forgets every window that shows a volume image. A failed server call is E_FAIL with the
  // server's own text, or a fixed message with the server's HRESULT. Without a server every method but
  // GenerateVolumeSeries does nothing and succeeds.
  virtual HRESULT GenerateVolumeSeries(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppVolumeSeriesInfo, LONG lMinThreshold,
                                       LONG lMaxThreshold) = 0;                                     // P P
  virtual HRESULT StartVolumeMode(HWND hViewPort, VARIANT_BOOL* vbInit3DSuccess) = 0;
  virtual HRESULT EndVolumeMode() = 0;
  virtual HRESULT GetVolumeMode(LONG* pMode) = 0;                                                   // P
  // A null image succeeds and does nothing.
  virtual HRESULT VolumeApplyThreshold(IImageInfoNW* pImgInfo, HWND hViewPort, LONG lMinThreshold, LONG lMaxThreshold,
                                       SHORT step) = 0;                                             // W
  virtual HRESULT VolumeOnMouseButtonDown(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) = 0;  // W P
  virtual HRESULT VolumeOnMouseMove(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) = 0;        // W P
  virtual HRESULT VolumeOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed,
                                        VARIANT_BOOL* pbComplete) = 0;                                 // W P P
  virtual HRESULT VolumeOnDoubleClick(HWND hViewPort, VARIANT_BOOL* pbProcessed) = 0;                  // W P

  // The trace log: a null name means "Ondrel.log" in the Log folder beside the host; levels 0 to 4
  // (any other fails with E_POINTER, "The Ondrel received an invalid trace level.").
  virtual HRESULT InitializeTrace(BSTR bstrTraceLogFileName, LONG nTraceLevel) = 0;

 protected:
  ~IOndrel() = default;
};

inline constexpr IID IID_IOndrel = IOndrel::kIid;
inline constexpr CLSID CLSID_OndrelImpl = MakeGuid("EEF19488-1051-41E1-AC40-D035D8725944");

// IOndrelDicomDir: the component for browsing DICOM media (class OndrelDicomDirImpl), over the media's
// image objects. The methods are those of IOndrel with the same checks, words and codes, in this
// order (WindowLevelImage before MagnifyingGlass); failures name this class ("Ondrel.OndrelDicomDirImpl")
// and this interface. The component starts GDI+ itself.
struct IOndrelDicomDir : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("1F0808B4-7B3A-410C-820D-059A51137146");

  virtual HRESULT RenderImage(IDicomDirImage* pImgInfo, HWND hViewPort, VARIANT_BOOL bKeepPresIntent) = 0;
  virtual HRESULT Draw(HWND hViewPort) = 0;
  virtual HRESULT SelectWindow(HWND hViewPort) = 0;
  virtual HRESULT UnloadImage(BSTR bstrSopInstUID) = 0;
  virtual HRESULT PanImage(HWND hViewPort, LONG dx, LONG dy) = 0;
  virtual HRESULT WindowLevelImage(HWND hViewPort, LONG dx, LONG dy) = 0;
  virtual HRESULT MagnifyingGlass(HWND hViewPort, tagPOINT pt) = 0;
  virtual HRESULT ApplyWindowLevelPreset(HWND hViewPort, LONG window, LONG level) = 0;
  virtual HRESULT InvertImage(HWND hViewPort) = 0;
  virtual HRESULT ApplyColorPalette(HWND hViewPort, ColorPaletteEnum eColorPalette) = 0;
  virtual HRESULT GetColorPaletteMode(HWND hViewPort, ColorPaletteEnum* pMode) = 0;
  virtual HRESULT ZoomImage(HWND hViewPort, ULONG nZoom) = 0;
  virtual HRESULT ZoomImageDynamically(HWND hViewPort, LONG dx, LONG dy) = 0;
  virtual HRESULT GetCurrentImageZoom(HWND hViewPort, ULONG* pnZoom) = 0;
  virtual HRESULT RotateFlipImage(HWND hViewPort, ImageRotationFlipEnum eRotFlip) = 0;
  virtual HRESULT EndInteractiveTool(HWND hViewPort) = 0;
  virtual HRESULT ResetImage(BSTR bstrImageSopInstUID, HWND hViewPort) = 0;
  virtual HRESULT ToggleOverlaysVisibility() = 0;
  virtual HRESULT AreOverlaysVisible(VARIANT_BOOL* pbShow) = 0;
  virtual HRESULT ToggleShutter() = 0;
  virtual HRESULT IsShutterApplied(VARIANT_BOOL* pbShow) = 0;
  virtual HRESULT MeasOnMouseButtonDown(HWND hViewPort, tagPOINT pt, MeasurementsEnum measType,
                                        VARIANT_BOOL* pbProcessed) = 0;
  virtual HRESULT MeasOnMouseMove(HWND hViewPort, tagPOINT pt) = 0;
  virtual HRESULT MeasOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbComplete) = 0;
  virtual HRESULT MeasOnDoubleClick(HWND hViewPort) = 0;
  virtual HRESULT DeleteSelectedMeasurement(HWND hViewPort) = 0;
  virtual HRESULT DeleteAllMeasurements(HWND hViewPort) = 0;
  virtual HRESULT ToggleMeasurementsVisibility(HWND hViewPort) = 0;
  virtual HRESULT AreMeasurementsVisible(HWND hViewPort, VARIANT_BOOL* pbShow) = 0;
  virtual HRESULT MeasEndInteraction(HWND hViewPort) = 0;
  virtual HRESULT Calibrate(HWND hViewPort, VARIANT_BOOL bCancel, double dUserValue, VARIANT_BOOL bApplyToSeries,
                            VARIANT_BOOL* pvbMissingCalibLine) = 0;
  virtual HRESULT InitializeTrace(BSTR bstrTraceLogFileName, LONG nTraceLevel) = 0;

 protected:
  ~IOndrelDicomDir() = default;
};

inline constexpr IID IID_IOndrelDicomDir = IOndrelDicomDir::kIid;
inline constexpr CLSID CLSID_OndrelDicomDirImpl = MakeGuid("477B159D-3FD6-41C0-A103-059781FB1536");
