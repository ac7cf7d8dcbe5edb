// The volume methods of COndrelImpl: the frames around the client of the volume server.
#include "entry/ondrel_impl.h"
#include "spatial/volume_tool.h"

using entry::Pointer;
using entry::WindowHandle;

HRESULT COndrelImpl::GenerateVolumeSeries(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppVolumeSeriesInfo,
                                          LONG lMinThreshold, LONG lMaxThreshold) {
  const HRESULT checked = core_.Check({Pointer(pImgInfo), Pointer(ppVolumeSeriesInfo)});
  if (FAILED(checked)) return checked;
  *ppVolumeSeriesInfo = nullptr;
  return core_.Frame(
      [&] { spatial::GenerateVolumeSeries(pImgInfo, ppVolumeSeriesInfo, lMinThreshold, lMaxThreshold); });
}

// Nothing is checked: a null out pointer goes on to the server, which refuses it.
HRESULT COndrelImpl::StartVolumeMode(HWND hViewPort, VARIANT_BOOL* vbInit3DSuccess) {
  return core_.Frame([&] { spatial::StartVolumeMode(hViewPort, vbInit3DSuccess); });
}

HRESULT COndrelImpl::EndVolumeMode() {
  return core_.Frame([&] { core_.Renderer().EndVolumeMode(); });
}

HRESULT COndrelImpl::GetVolumeMode(LONG* pMode) {
  const HRESULT checked = core_.Check({Pointer(pMode)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] { spatial::GetVolumeMode(pMode); });
}

HRESULT COndrelImpl::VolumeApplyThreshold(IImageInfoNW* pImgInfo, HWND hViewPort, LONG lMinThreshold,
                                          LONG lMaxThreshold, SHORT step) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  if (pImgInfo == nullptr) return S_OK;
  return core_.Frame(
      [&] { spatial::ApplyVolumeThreshold(pImgInfo, hViewPort, lMinThreshold, lMaxThreshold, step); });
}

// The point is not passed on: the server reads the pointer itself.
HRESULT COndrelImpl::VolumeOnMouseButtonDown(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbProcessed) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(pbProcessed)});
  if (FAILED(checked)) return checked;
  *pbProcessed = VARIANT_FALSE;
  return core_.Frame([&] {
    if (spatial::VolumeButtonDown(core_.Renderer().CurrentInfo(hViewPort), hViewPort)) *pbProcessed = VARIANT_TRUE;
  });
}

HRESULT COndrelImpl::VolumeOnMouseMove(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbProcessed) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(pbProcessed)});
  if (FAILED(checked)) return checked;
  *pbProcessed = VARIANT_FALSE;
  return core_.Frame([&] {
    if (spatial::VolumeMouseMove(core_.Renderer().CurrentInfo(hViewPort), hViewPort)) *pbProcessed = VARIANT_TRUE;
  });
}

HRESULT COndrelImpl::VolumeOnMouseButtonUp(HWND hViewPort, tagPOINT, VARIANT_BOOL* pbProcessed,
                                           VARIANT_BOOL* pbComplete) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(pbProcessed), Pointer(pbComplete)});
  if (FAILED(checked)) return checked;
  *pbProcessed = VARIANT_FALSE;
  *pbComplete = VARIANT_TRUE;
  bool processed = false;
  const HRESULT hr = core_.Frame(
      [&] { spatial::VolumeButtonUp(core_.Renderer().CurrentInfo(hViewPort), hViewPort, processed); });
  if (processed) *pbProcessed = VARIANT_TRUE;
  return hr;
}

HRESULT COndrelImpl::VolumeOnDoubleClick(HWND hViewPort, VARIANT_BOOL* pbProcessed) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(pbProcessed)});
  if (FAILED(checked)) return checked;
  *pbProcessed = VARIANT_FALSE;
  return S_OK;
}
