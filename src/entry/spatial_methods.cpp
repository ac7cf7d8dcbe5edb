// The MPR and MIP methods of COndrelImpl: the frames around the spatial tools, and the oblique
// image's refresh after every gesture that moved the MPR line or its slab.
#include "entry/ondrel_impl.h"
#include "spatial/mip_tool.h"
#include "spatial/mpr_generation.h"
#include "spatial/mpr_interaction.h"
#include "spatial/mpr_state.h"

using entry::Pointer;
using entry::WindowHandle;

namespace {

VARIANT_BOOL AsVariantBool(bool value) { return value ? VARIANT_TRUE : VARIANT_FALSE; }

}  // namespace

HRESULT COndrelImpl::GenerateMprSeries(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppMprSeriesInfo1,
                                       ISeriesInfoNW** ppMprSeriesInfo2, ISeriesInfoNW** ppMprSeriesInfoOblique) {
  const HRESULT checked = core_.Check(
      {Pointer(pImgInfo), Pointer(ppMprSeriesInfo1), Pointer(ppMprSeriesInfo2), Pointer(ppMprSeriesInfoOblique)});
  if (FAILED(checked)) return checked;
  *ppMprSeriesInfo1 = nullptr;
  *ppMprSeriesInfo2 = nullptr;
  *ppMprSeriesInfoOblique = nullptr;
  return core_.Frame(
      [&] { spatial::GenerateMprSeries(pImgInfo, ppMprSeriesInfo1, ppMprSeriesInfo2, ppMprSeriesInfoOblique); });
}

// No description is checked: a null text goes on as it is.
HRESULT COndrelImpl::SaveMprSeries(BSTR bstrDescrOrto1, BSTR bstrDescrOrto2, BSTR bstrDescrOblique) {
  return core_.Frame(
      [&] { spatial::SaveMprSeries(bstrDescrOrto1, bstrDescrOrto2, bstrDescrOblique, core_.Loader()); });
}

HRESULT COndrelImpl::EndMprMode() {
  return core_.Frame([&] { core_.Renderer().EndMprMode(); });
}

HRESULT COndrelImpl::GetMprMode(MprOperationsEnum* pMode) {
  const HRESULT checked = core_.Check({Pointer(pMode)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] { *pMode = spatial::Mpr().mprMode; });
}

HRESULT COndrelImpl::MprOnMouseButtonDown(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(pbProcessed)});
  if (FAILED(checked)) return checked;
  *pbProcessed = VARIANT_FALSE;
  return core_.Frame([&] {
    Image* image = core_.Renderer().LiveImage(hViewPort);
    *pbProcessed = AsVariantBool(image != nullptr && spatial::MprButtonDown(*image, hViewPort, {pt.x, pt.y}));
  });
}

HRESULT COndrelImpl::MprOnMouseMove(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(pbProcessed)});
  if (FAILED(checked)) return checked;
  *pbProcessed = VARIANT_FALSE;
  return core_.Frame([&] {
    Image* image = core_.Renderer().LiveImage(hViewPort);
    if (image == nullptr || !spatial::MprMouseMove(*image, hViewPort, {pt.x, pt.y})) return;
    *pbProcessed = VARIANT_TRUE;
    core_.Renderer().RefreshOblique(true);
  });
}

HRESULT COndrelImpl::MprOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed,
                                        VARIANT_BOOL* pbComplete) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(pbProcessed), Pointer(pbComplete)});
  if (FAILED(checked)) return checked;
  *pbProcessed = VARIANT_FALSE;
  *pbComplete = VARIANT_TRUE;
  return core_.Frame([&] {
    Image* image = core_.Renderer().LiveImage(hViewPort);
    if (image == nullptr || !spatial::MprButtonUp(*image, hViewPort, {pt.x, pt.y})) return;
    *pbProcessed = VARIANT_TRUE;
    core_.Renderer().RefreshOblique(false);
  });
}

HRESULT COndrelImpl::MprOnDoubleClick(HWND hViewPort, VARIANT_BOOL* pbProcessed) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(pbProcessed)});
  if (FAILED(checked)) return checked;
  *pbProcessed = VARIANT_FALSE;
  return S_OK;
}

HRESULT COndrelImpl::GenerateMipSeries(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppMipSeriesInfo) {
  const HRESULT checked = core_.Check({Pointer(pImgInfo), Pointer(ppMipSeriesInfo)});
  if (FAILED(checked)) return checked;
  *ppMipSeriesInfo = nullptr;
  return core_.Frame([&] { spatial::GenerateMipSeries(pImgInfo, ppMipSeriesInfo); });
}

HRESULT COndrelImpl::EndMipMode() {
  return core_.Frame([] { spatial::EndSlabMode(); });
}

HRESULT COndrelImpl::GetMipMode(MipOperationsEnum* pMode) {
  const HRESULT checked = core_.Check({Pointer(pMode)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] { *pMode = static_cast<MipOperationsEnum>(spatial::Mpr().slabFlags); });
}

HRESULT COndrelImpl::SetMipMode(MipOperationsEnum mode) {
  return core_.Frame([&] {
    spatial::SetSlabMode(static_cast<std::uint16_t>(mode));
    core_.Renderer().RefreshOblique(true);
  });
}

HRESULT COndrelImpl::MipOnMouseButtonDown(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(pbProcessed)});
  if (FAILED(checked)) return checked;
  *pbProcessed = VARIANT_FALSE;
  return core_.Frame([&] {
    Image* image = core_.Renderer().LiveImage(hViewPort);
    *pbProcessed = AsVariantBool(image != nullptr && spatial::SlabButtonDown(*image, hViewPort, {pt.x, pt.y}));
  });
}

HRESULT COndrelImpl::MipOnMouseMove(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(pbProcessed)});
  if (FAILED(checked)) return checked;
  *pbProcessed = VARIANT_FALSE;
  return core_.Frame([&] {
    Image* image = core_.Renderer().LiveImage(hViewPort);
    if (image == nullptr || !spatial::SlabMouseMove(*image, hViewPort, {pt.x, pt.y})) return;
    *pbProcessed = VARIANT_TRUE;
    core_.Renderer().RefreshOblique(true);
  });
}

HRESULT COndrelImpl::MipOnMouseButtonUp(HWND hViewPort, tagPOINT pt, VARIANT_BOOL* pbProcessed,
                                        VARIANT_BOOL* pbComplete) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort), Pointer(pbProcessed), Pointer(pbComplete)});
  if (FAILED(checked)) return checked;
  *pbProcessed = VARIANT_FALSE;
  *pbComplete = VARIANT_TRUE;
  return core_.Frame([&] {
    Image* image = core_.Renderer().LiveImage(hViewPort);
    if (image == nullptr || !spatial::SlabButtonUp(*image, hViewPort, {pt.x, pt.y})) return;
    *pbProcessed = VARIANT_TRUE;
    core_.Renderer().RefreshOblique(false);
  });
}

HRESULT COndrelImpl::MipOnDoubleClick(HWND hViewPort, VARIANT_BOOL* pbProcessed) {
  return MprOnDoubleClick(hViewPort, pbProcessed);  // one operation for both modes
}

// The angle only adds up: nothing turns the MIP by it yet.
HRESULT COndrelImpl::MipRotate(HWND hViewPort, LONG dx, LONG) {
  const HRESULT checked = core_.Check({WindowHandle(hViewPort)});
  if (FAILED(checked)) return checked;
  return core_.Frame([&] {
    if (core_.Renderer().GetCurrentImage(hViewPort) != nullptr && IsWindow(hViewPort)) spatial::MipRotate(dx);
  });
}
