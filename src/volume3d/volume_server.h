// Ondrel3D, the workstation's volume server: the COM class behind IOndrel3D (ondrel/volume3d.h). It
// holds one volume, the derived series made of it, and one view: its window, its directions, the
// visible range and rendering, and the drag under way.
#pragma once

#include <cstdint>

#include "ondrel/platform/errorinfo.h"
#include "ondrel/volume3d.h"
#include "volume3d/ray_caster.h"
#include "volume3d/view.h"
#include "volume3d/volume.h"

namespace volume3d {

class VolumeServer final : public ondrel::platform::ComObject<IOndrel3D, ISupportErrorInfo> {
 public:
  HRESULT GenerateVolume3D(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppVolumeSeriesInfo, LONG lMinThreshold,
                           LONG lMaxThreshold) override;
  HRESULT StartVolume3D(HWND hViewPort, LONG colour, VARIANT_BOOL* vbInit3DSuccess) override;
  HRESULT EndVolume3D() override;
  HRESULT GetVolumeMode3D(LONG* pMode) override;
  HRESULT ApplyThreshold3D(IImageInfoNW* pImgInfo, HWND hViewPort, LONG lMinThreshold, LONG lMaxThreshold,
                           SHORT step) override;
  HRESULT GeneratePixelData3D(IImageInfoNW* pImgInfo, BYTE** ppData, ULONG* pcbData) override;
  HRESULT DrawVolume3D() override;
  HRESULT VolumeMouseDown3D() override;
  HRESULT SetVolumeTracking3D(VARIANT_BOOL tracking) override;
  HRESULT VolumeMouseMove3D(SHORT* pbRedraw) override;
  HRESULT InitializeTrace3D(BSTR bstrTraceLogFileName, LONG nTraceLevel) override;

  HRESULT InterfaceSupportsErrorInfo(REFIID riid) override;

 private:
  // The settings of a full picture, or of the coarse one a drag shows.
  RenderSettings Settings(bool coarse) const;
  void SetRange(LONG low, LONG high);
  // Renders the view into its window: at the window's size, or while `coarse` at half of it, stretched.
  void DrawView(bool coarse) const;
  void RequireVolume() const;

  Volume volume_;
  Rendering rendering_ = Rendering::Surface;
  int low_ = 0;
  int high_ = 0;
  ViewDirections view_ = FrontView();
  HWND window_ = nullptr;  // the open view's, or null
  std::uint32_t colour_ = 0xFF80FF;
  bool tracking_ = false;
  POINT pointer_{0, 0};  // where the drag last was, in screen coordinates
};

}  // namespace volume3d
