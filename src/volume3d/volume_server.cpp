#include "volume3d/volume_server.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "foundation/trace.h"
#include "ondrel/platform/drawdib.h"
#include "volume3d/series_volume.h"
#include "volume3d/volume_series.h"

namespace volume3d {
namespace {

// The distance between a ray's samples, in the volume's smallest spacing, in a full picture: one, so
// that a ray meets every sample's cell; the surface's crossing is refined between samples anyway.
constexpr double kFullStep = 1.0;
// A drag shows a picture of half the window's width and height, sampled half as often along each ray.
constexpr int kCoarseShrink = 2;
// Half a degree of turn for each pixel of the pointer's travel.
constexpr double kDegreesPerPixel = 0.5;
// The derived image's side: the source's larger side, within these bounds.
constexpr USHORT kSmallestPicture = 64;
constexpr USHORT kLargestPicture = 1024;

void ReportFailure(const std::string& text) {
  ondrel::platform::ComPtr<ICreateErrorInfo> create;
  if (FAILED(CreateErrorInfo(create.GetAddressOf()))) return;
  const std::u16string wide = ToWide(text);
  create->SetGUID(IID_IOndrel3D);
  create->SetSource(const_cast<LPOLESTR>(u"Ondrel.Ondrel3D"));
  create->SetDescription(const_cast<LPOLESTR>(wide.c_str()));
  ondrel::platform::ComPtr<IErrorInfo> info;
  if (SUCCEEDED(create.As(&info))) SetErrorInfo(0, info.Get());
  Trace::Instance().Write("Ondrel3D: " + text, 1);
}

// Runs a method's body: S_OK, or the failure's code with its text as error information.
template <class Body>
HRESULT Guarded(Body&& body) {
  try {
    body();
    return S_OK;
  } catch (const std::bad_alloc&) {
    ReportFailure("The volume server ran out of memory.");
    return E_OUTOFMEMORY;
  } catch (const std::exception& failure) {
    ReportFailure(failure.what());
    return E_FAIL;
  }
}

// A 24-bit top-down DIB of an RGB picture, rows padded to four bytes.
struct Dib {
  BITMAPINFOHEADER header{};
  std::vector<BYTE> bits;
};

Dib ToDib(const std::vector<std::uint8_t>& rgb, int width, int height) {
  Dib dib;
  dib.header.biSize = sizeof(BITMAPINFOHEADER);
  dib.header.biWidth = width;
  dib.header.biHeight = -height;
  dib.header.biPlanes = 1;
  dib.header.biBitCount = 24;
  dib.header.biCompression = BI_RGB;
  const std::size_t stride = (static_cast<std::size_t>(width) * 3 + 3) & ~std::size_t{3};
  dib.bits.assign(stride * height, 0);
  for (int y = 0; y < height; ++y) {
    const std::uint8_t* from = rgb.data() + static_cast<std::size_t>(y) * width * 3;
    BYTE* to = dib.bits.data() + y * stride;
    for (int x = 0; x < width; ++x) {
      to[3 * x] = from[3 * x + 2];
      to[3 * x + 1] = from[3 * x + 1];
      to[3 * x + 2] = from[3 * x];
    }
  }
  return dib;
}

}  // namespace

HRESULT VolumeServer::InterfaceSupportsErrorInfo(REFIID riid) { return riid == IID_IOndrel3D ? S_OK : S_FALSE; }

RenderSettings VolumeServer::Settings(bool coarse) const {
  const Vec3 spacing = volume_.Spacing();
  RenderSettings settings;
  settings.rendering = rendering_;
  settings.low = low_;
  settings.high = high_;
  settings.step = std::min({spacing.x, spacing.y, spacing.z}) * kFullStep * (coarse ? kCoarseShrink : 1);
  return settings;
}

void VolumeServer::SetRange(LONG low, LONG high) {
  low_ = static_cast<int>(std::min(low, high));
  high_ = static_cast<int>(std::max(low, high));
}

void VolumeServer::RequireVolume() const {
  if (volume_.Empty()) throw MyException("No volume has been generated.");
}

void VolumeServer::DrawView(bool coarse) const {
  RECT client{};
  if (window_ == nullptr || !GetClientRect(window_, &client) || client.right <= 0 || client.bottom <= 0) return;
  const int shrink = coarse ? kCoarseShrink : 1;
  const int width = std::max<int>(client.right / shrink, 1);
  const int height = std::max<int>(client.bottom / shrink, 1);
  const RenderSettings settings = Settings(coarse);
  const auto started = std::chrono::steady_clock::now();
  Dib dib = ToDib(ToRgb(CastRays(volume_, view_, width, height, settings), settings, colour_), width, height);
  const auto took = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started);
  Trace::Instance().WriteFormatted(4, "Ondrel3D: %dx%d picture in %.1f ms.", width, height, took.count());

  const HDC dc = GetDC(window_);
  const HDRAWDIB drawer = DrawDibOpen();
  const bool drawn = dc != nullptr && drawer != nullptr &&
                     DrawDibDraw(drawer, dc, 0, 0, client.right, client.bottom, &dib.header, dib.bits.data(), 0, 0,
                                 width, height, 0) != FALSE;
  if (drawer != nullptr) DrawDibClose(drawer);
  if (dc != nullptr) ReleaseDC(window_, dc);
  if (!drawn) throw MyException("The volume could not be drawn into its window.");
}

HRESULT VolumeServer::GenerateVolume3D(IImageInfoNW* pImgInfo, ISeriesInfoNW** ppVolumeSeriesInfo, LONG lMinThreshold,
                                       LONG lMaxThreshold) {
  if (pImgInfo == nullptr || ppVolumeSeriesInfo == nullptr) return E_POINTER;
  *ppVolumeSeriesInfo = nullptr;
  return Guarded([&] {
    // The volume before goes first, so that two never stand in memory at once.
    volume_ = Volume();
    window_ = nullptr;
    tracking_ = false;
    volume_ = LoadSeriesVolume(pImgInfo);
    SetRange(lMinThreshold, lMaxThreshold);
    rendering_ = Rendering::Surface;
    view_ = FrontView();
    const Vec3 spacing = volume_.Spacing();
    Trace::Instance().WriteFormatted(2, "Ondrel3D: a volume of %d x %d x %d samples, %.4f x %.4f x %.4f mm.",
                                     volume_.Nx(), volume_.Ny(), volume_.Nz(), spacing.x, spacing.y, spacing.z);
    const int side = std::max(volume_.Nx(), volume_.Ny());
    const auto size = static_cast<USHORT>(std::clamp<int>(side, kSmallestPicture, kLargestPicture));
    *ppVolumeSeriesInfo = MakeVolumeSeries(pImgInfo, size).Detach();
  });
}

HRESULT VolumeServer::StartVolume3D(HWND hViewPort, LONG colour, VARIANT_BOOL* vbInit3DSuccess) {
  if (vbInit3DSuccess == nullptr) return E_POINTER;
  *vbInit3DSuccess = VARIANT_FALSE;
  return Guarded([&] {
    if (volume_.Empty() || !IsWindow(hViewPort)) return;
    window_ = hViewPort;
    colour_ = static_cast<std::uint32_t>(colour) & 0xFFFFFF;
    view_ = FrontView();
    tracking_ = false;
    DrawView(false);
    *vbInit3DSuccess = VARIANT_TRUE;
  });
}

HRESULT VolumeServer::EndVolume3D() {
  window_ = nullptr;
  tracking_ = false;
  return S_OK;
}

HRESULT VolumeServer::GetVolumeMode3D(LONG* pMode) {
  if (pMode == nullptr) return E_POINTER;
  if (window_ == nullptr) {
    *pMode = VOLUME_MODE_NONE;
  } else {
    *pMode = rendering_ == Rendering::Mip ? VOLUME_MODE_MIP : VOLUME_MODE_SURFACE;
  }
  return S_OK;
}

HRESULT VolumeServer::ApplyThreshold3D(IImageInfoNW*, HWND, LONG lMinThreshold, LONG lMaxThreshold, SHORT step) {
  return Guarded([&] {
    RequireVolume();
    SetRange(lMinThreshold, lMaxThreshold);
    if (step == VOLUME_MODE_SURFACE) rendering_ = Rendering::Surface;
    if (step == VOLUME_MODE_MIP) rendering_ = Rendering::Mip;
    if (window_ != nullptr && IsWindow(window_)) DrawView(tracking_);
  });
}

HRESULT VolumeServer::GeneratePixelData3D(IImageInfoNW* pImgInfo, BYTE** ppData, ULONG* pcbData) {
  if (pImgInfo == nullptr || ppData == nullptr || pcbData == nullptr) return E_POINTER;
  *ppData = nullptr;
  *pcbData = 0;
  return Guarded([&] {
    RequireVolume();
    USHORT rows = 0;
    USHORT columns = 0;
    pImgInfo->GetRows(&rows);
    pImgInfo->GetColumns(&columns);
    if (rows == 0 || columns == 0) throw MyException("The volume image has no size.");
    const RenderSettings settings = Settings(false);
    const std::vector<std::uint8_t> rgb = ToRgb(CastRays(volume_, view_, columns, rows, settings), settings, colour_);
    auto* block = static_cast<BYTE*>(CoTaskMemAlloc(rgb.size()));
    if (block == nullptr) throw std::bad_alloc();
    std::memcpy(block, rgb.data(), rgb.size());
    *ppData = block;
    *pcbData = static_cast<ULONG>(rgb.size());
  });
}

HRESULT VolumeServer::DrawVolume3D() {
  return Guarded([&] {
    if (window_ != nullptr && IsWindow(window_)) DrawView(tracking_);
  });
}

HRESULT VolumeServer::VolumeMouseDown3D() {
  GetCursorPos(&pointer_);
  return S_OK;
}

HRESULT VolumeServer::SetVolumeTracking3D(VARIANT_BOOL tracking) {
  tracking_ = tracking == VARIANT_TRUE;
  if (tracking_) return S_OK;
  return Guarded([&] {
    if (window_ != nullptr && IsWindow(window_)) DrawView(false);
  });
}

HRESULT VolumeServer::VolumeMouseMove3D(SHORT* pbRedraw) {
  if (pbRedraw == nullptr) return E_POINTER;
  *pbRedraw = VARIANT_FALSE;
  if (!tracking_) return S_OK;
  POINT now{};
  GetCursorPos(&now);
  const LONG dx = now.x - pointer_.x;
  const LONG dy = now.y - pointer_.y;
  pointer_ = now;
  if (dx == 0 && dy == 0) return S_OK;
  // The front of the volume follows the pointer: the eye moves against it sideways and with it upward.
  view_ = Turned(view_, -dx * kDegreesPerPixel, dy * kDegreesPerPixel);
  *pbRedraw = VARIANT_TRUE;
  return S_OK;
}

HRESULT VolumeServer::InitializeTrace3D(BSTR bstrTraceLogFileName, LONG nTraceLevel) {
  return Guarded([&] {
    // The server shares the process's log; with no name it opens none, as the log is the host's to open.
    if (bstrTraceLogFileName != nullptr && SysStringLen(bstrTraceLogFileName) > 0)
      Trace::Instance().Open(std::u16string(bstrTraceLogFileName, SysStringLen(bstrTraceLogFileName)),
                             static_cast<int>(nTraceLevel));
    Trace::Instance().Write("Ondrel3D: the volume server is ready.", 1);
  });
}

}  // namespace volume3d

HRESULT RegisterOndrel3DClass() {
  return ondrel::platform::RegisterComClass<volume3d::VolumeServer>(CLSID_Ondrel3D, u"Ondrel.Ondrel3D");
}

HRESULT UnregisterOndrel3DClass() { return RemoveClassFromTable(CLSID_Ondrel3D); }
