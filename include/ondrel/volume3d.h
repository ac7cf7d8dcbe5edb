// IOndrel3D: the volume server of the workstation. It loads a series into one volume, makes the
// derived volume series that shows it, and draws the volume into a window as a ray-cast picture: a
// shaded surface at the first sample within the visible range, or the maximum intensity projection
// of the samples within it. The core reaches it only through this interface and CoCreateInstance.
//
// One server object holds one volume and one view. All methods run on the host's user-interface
// thread; the server renders on threads of its own inside a call and returns when the picture is done.
// Every method returns an HRESULT: S_OK, E_POINTER for a null out pointer, E_FAIL with error
// information (ISupportErrorInfo answers yes for IOndrel3D) whose description says what failed, in
// plain words, for example "The series has fewer than two slices.".
//
// The slot order of the methods is part of the contract: a client binds to it.
#pragma once

#include "ondrel/platform/bstr.h"
#include "ondrel/platform/com.h"
#include "ondrel/platform/windows.h"
#include "ondrel/workstation.h"

// The rendering of the view, as GetVolumeMode3D reports it and ApplyThreshold3D chooses it.
enum VolumeModeEnum : LONG {
  VOLUME_MODE_NONE = 0,     // no view is open
  VOLUME_MODE_SURFACE = 1,  // the first sample within the range, shaded by its gradient under one light
  VOLUME_MODE_MIP = 2,      // the largest sample within the range, as grey from its low (black) to its high end
};

struct IOndrel3D : IUnknown {
  using BaseInterface = IUnknown;
  static constexpr IID kIid = MakeGuid("6A1E0C3B-5D2F-4B8E-9C71-3F0A2D9B4E15");

  // Loads the series of pImgInfo into one 16-bit volume of modality values (stored value times slope
  // plus intercept, held within -32768..32767), its slices ordered by position along their normal and
  // spaced by the distance between the first and the last; gives the source series VolumeType 1 and
  // makes the derived series (VolumeType 2, number 3001, description "3D", in the source's study) of
  // one RGB image of the view. The visible range starts as [lMinThreshold, lMaxThreshold] (a reversed
  // pair is taken in order) and the rendering as the surface. A volume loaded before is dropped first.
  // Fails for a series of fewer than two slices, for slices of different sizes or orientations or
  // without position and orientation, for slices that share one position, and when a file can't be
  // read. *ppVolumeSeriesInfo holds a reference for the caller; null on failure.
  virtual HRESULT GenerateVolume3D(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppVolumeSeriesInfo, LONG lMinThreshold,
                                   LONG lMaxThreshold) = 0;
  // Opens the view in hViewPort, the surface in `colour` (blue in bits 0-7, green 8-15, red 16-23, as
  // the user's preferences keep colours), and draws it: *vbInit3DSuccess is true then, false (and S_OK)
  // when there is no volume or the window is not valid. The view looks at the patient from the front,
  // head up, the whole volume in the window.
  virtual HRESULT StartVolume3D(HWND hViewPort, LONG colour, VARIANT_BOOL* vbInit3DSuccess) = 0;
  // Closes the view; the window keeps what it shows. Nothing when no view is open.
  virtual HRESULT EndVolume3D() = 0;
  // The rendering of the open view, VOLUME_MODE_NONE when none is open.
  virtual HRESULT GetVolumeMode3D(LONG* pMode) = 0;
  // Sets the visible range (a reversed pair is taken in order) and, with `step` VOLUME_MODE_SURFACE or
  // VOLUME_MODE_MIP, the rendering; any other `step` keeps it. The open view is redrawn. pImgInfo and
  // hViewPort are not read: the view is the one StartVolume3D opened. Fails when there is no volume.
  virtual HRESULT ApplyThreshold3D(IImageInfoNW* pImgInfo, HWND hViewPort, LONG lMinThreshold, LONG lMaxThreshold,
                                   SHORT step) = 0;
  // The picture of the current view for the derived image pImgInfo, at its Rows x Columns: 8-bit RGB
  // triplets, row by row, in *ppData (CoTaskMemAlloc, the caller frees it with CoTaskMemFree) of
  // *pcbData bytes. Fails when there is no volume or the image has no size.
  virtual HRESULT GeneratePixelData3D(IImageInfoNW* pImgInfo, BYTE** ppData, ULONG* pcbData) = 0;
  // Draws the open view into its window: the coarse picture while a drag is under way, else the full
  // one. Nothing when no view is open or its window is gone.
  virtual HRESULT DrawVolume3D() = 0;
  // A press: the pointer's position (GetCursorPos) is where the next drag starts.
  virtual HRESULT VolumeMouseDown3D() = 0;
  // -1 starts a drag, 0 ends it; ending it redraws the open view in full.
  virtual HRESULT SetVolumeTracking3D(VARIANT_BOOL tracking) = 0;
  // A move: during a drag, turns the view by the pointer's travel since the last press or move, half a
  // degree a pixel (a rightward travel turns the front of the volume to the right, a downward one
  // tilts it down), and sets *pbRedraw true (-1); else *pbRedraw is 0 and nothing changes.
  virtual HRESULT VolumeMouseMove3D(SHORT* pbRedraw) = 0;
  // Opens the process's trace log with that name and level (a log already open stays as it is) and
  // notes there the server's start.
  virtual HRESULT InitializeTrace3D(BSTR bstrTraceLogFileName, LONG nTraceLevel) = 0;

 protected:
  ~IOndrel3D() = default;
};

inline constexpr IID IID_IOndrel3D = IOndrel3D::kIid;
// Program identifier "Ondrel.Ondrel3D".
inline constexpr CLSID CLSID_Ondrel3D = MakeGuid("C3D7A2E1-8F4B-4E6A-B05D-91E2F7C4A683");

// Adds the server's class to the class table, or removes it. Registering twice is harmless.
HRESULT RegisterOndrel3DClass();
HRESULT UnregisterOndrel3DClass();
