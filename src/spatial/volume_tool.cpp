#include "spatial/volume_tool.h"

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "foundation/trace.h"
#include "foundation/user_preferences.h"
#include "ondrel/volume3d.h"
#include "sources/image_info_strategies.h"

using ondrel::platform::BStr;
using ondrel::platform::ComPtr;

namespace spatial {
namespace {

// The colour of the volume's surface when the user has chosen none: 0xFFFF80FF, a light magenta.
constexpr LONG kDefaultVolumeColor = -32513;

ComPtr<IOndrel3D>& Server() {
  static ComPtr<IOndrel3D> server;
  return server;
}

// The error text the server left for its failed call, if it says it leaves any. Never asked of a
// server that doesn't exist.
std::optional<std::u16string> ServerText() {
  IOndrel3D* server = Server().Get();
  return server != nullptr ? LastErrorDescription(server, IID_IOndrel3D) : std::nullopt;
}

// Reports a failed server call: the server's text when it gave one, else `fixedMessage` with the HRESULT.
[[noreturn]] void Raise(HRESULT hr, const char* fixedMessage, const std::optional<std::u16string>& text, int line) {
  std::string message = text ? ToNarrow(*text) : std::string();
  if (message.empty()) {
    char fixed[256];
    std::snprintf(fixed, sizeof fixed, fixedMessage, static_cast<unsigned>(hr));
    message = fixed;
  }
  Trace::Instance().Write(message, 1);
  ThrowFormatted(message.c_str(), "VolumeTool", line);
}

#define CHECK_SERVER_CALL(call, fixedMessage)                                             \
  do {                                                                                    \
    const HRESULT serverResult_ = (call);                                                 \
    if (FAILED(serverResult_)) Raise(serverResult_, (fixedMessage), ServerText(), __LINE__); \
  } while (false)

bool ShowsVolume(ImageInfoStrategy* image, HWND window) {
  return image != nullptr && image->GetVolumeType() == kVolumeDerivedRole && Server() && IsWindow(window);
}

}  // namespace

IOndrel3D* VolumeServer() { return Server().Get(); }

void GenerateVolumeSeries(IImageInfoNW* image, ISeriesInfoNW** out, LONG minThreshold, LONG maxThreshold) {
  EndVolumeServer();
  ComPtr<IOndrel3D>& server = Server();
  CHECK_SERVER_CALL(CoCreateInstance(CLSID_Ondrel3D, nullptr, CLSCTX_ALL, IID_IOndrel3D,
                                     reinterpret_cast<void**>(server.GetAddressOf())),
                    "Failed to create Ondrel3D COM object. HRESULT=%0X");
  const BStr traceFile{std::u16string_view(Trace::Instance().FileName())};
  CHECK_SERVER_CALL(server->InitializeTrace3D(traceFile.Get(), Trace::Instance().Level()),
                    "Failed to initialize the Ondrel3D trace. HRESULT=%0X");
  CHECK_SERVER_CALL(server->GenerateVolume3D(image, out, minThreshold, maxThreshold),
                    "Failed to generate the volume series. HRESULT=%0X");
}

void StartVolumeMode(HWND window, VARIANT_BOOL* success) {
  if (success != nullptr) *success = VARIANT_FALSE;
  if (!Server()) return;
  const LONG colour = UserPreferenceColor(u"userVolumeColor", kDefaultVolumeColor);
  CHECK_SERVER_CALL(Server()->StartVolume3D(window, colour, success), "Failed to start the volume mode. HRESULT=%0X");
}

void EndVolumeServer() {
  ComPtr<IOndrel3D>& server = Server();
  if (!server) return;
  const HRESULT hr = server->EndVolume3D();
  // The server goes before the failure is raised: its text is taken first.
  const std::optional<std::u16string> text = FAILED(hr) ? ServerText() : std::nullopt;
  server.Reset();
  if (FAILED(hr)) Raise(hr, "Failed to end the volume mode. HRESULT=%0X", text, __LINE__);
}

void ReleaseVolumeServer() { Server().Reset(); }

void GetVolumeMode(LONG* mode) {
  if (!Server()) return;
  CHECK_SERVER_CALL(Server()->GetVolumeMode3D(mode), "Failed to get the volume mode. HRESULT=%0X");
}

void ApplyVolumeThreshold(IImageInfoNW* image, HWND window, LONG minThreshold, LONG maxThreshold, SHORT step) {
  if (!Server()) return;
  CHECK_SERVER_CALL(Server()->ApplyThreshold3D(image, window, minThreshold, maxThreshold, step),
                    "Failed to apply volume thereshold. HRESULT=%0X");
}

ByteBlock GenerateVolumePixels(ImageInfoStrategy& derived) {
  const auto* host = dynamic_cast<ImageInfoWStationStrategy*>(&derived);
  if (!Server() || host == nullptr) return {};
  BYTE* data = nullptr;
  ULONG size = 0;
  CHECK_SERVER_CALL(Server()->GeneratePixelData3D(host->Image(), &data, &size),
                    "Failed to generate volume pixel data. HRESULT=%0X");
  ByteBlock pixels = ByteBlock::Uninitialised(size);
  if (size > 0) std::memcpy(pixels.Data(), data, size);
  CoTaskMemFree(data);
  return pixels;
}

void DrawVolume() {
  if (!Server()) return;
  CHECK_SERVER_CALL(Server()->DrawVolume3D(), "Failed to draw the volume image. HRESULT=%0X");
}

bool VolumeButtonDown(ImageInfoStrategy* image, HWND window) {
  if (!ShowsVolume(image, window)) return false;
  CHECK_SERVER_CALL(Server()->VolumeMouseDown3D(),
                    "Failed to process the mouse button down message on the volume image. HRESULT=%0X");
  // The drag's start is not looked at: the press has been taken already.
  Server()->SetVolumeTracking3D(VARIANT_TRUE);
  return true;
}

bool VolumeMouseMove(ImageInfoStrategy* image, HWND window) {
  if (!ShowsVolume(image, window)) return false;
  SHORT redraw = 0;
  CHECK_SERVER_CALL(Server()->VolumeMouseMove3D(&redraw),
                    "Failed to process the mouse move message on the volume image. HRESULT=%0X");
  // The flag is a VARIANT_BOOL: true is all sixteen bits set.
  if (static_cast<USHORT>(redraw) > 65534) DrawVolume();
  return true;
}

void VolumeButtonUp(ImageInfoStrategy* image, HWND window, bool& processed) {
  processed = false;
  if (!ShowsVolume(image, window)) return;
  const HRESULT hr = Server()->SetVolumeTracking3D(VARIANT_FALSE);
  processed = true;  // even when the server fails to end the drag
  if (FAILED(hr))
    Raise(hr, "Failed to process the mouse button up message on the volume image. HRESULT=%0X", ServerText(), __LINE__);
}

}  // namespace spatial
