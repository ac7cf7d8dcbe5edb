#include "window_picture.h"

#include <cctype>
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <vector>

#include "failure_text.h"
#include "foundation/text_utils.h"
#include "console_text.h"
#include "ondrel/platform/bstr.h"
#include "ondrel/platform/gdi.h"
#include "output_file.h"

namespace ondrel::cli {

using namespace Gdiplus;
using namespace Gdiplus::DllExports;

std::u16string PictureMimeType(std::string_view file) {
  const std::size_t dot = file.rfind('.');
  std::string extension(dot == std::string_view::npos ? std::string_view() : file.substr(dot + 1));
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (extension == "png") return u"image/png";
  if (extension == "bmp") return u"image/bmp";
  if (extension == "jpg" || extension == "jpeg") return u"image/jpeg";
  if (extension == "gif") return u"image/gif";
  if (extension == "tif" || extension == "tiff") return u"image/tiff";
  return {};
}

Status SaveWindowPicture(HWND window, const std::string& file, const std::u16string& mime) {
  RECT client{};
  GetClientRect(window, &client);
  const HDC screen = GetDC(window);
  const HDC memory = CreateCompatibleDC(screen);
  const HBITMAP bitmap = CreateCompatibleBitmap(screen, client.right, client.bottom);
  const HGDIOBJ old = SelectObject(memory, bitmap);
  BitBlt(memory, 0, 0, client.right, client.bottom, screen, 0, 0, SRCCOPY);
  SelectObject(memory, old);
  DeleteDC(memory);
  ReleaseDC(window, screen);

  UINT count = 0;
  UINT size = 0;
  GdipGetImageEncodersSize(&count, &size);
  std::vector<std::uint8_t> storage(size);
  auto* encoders = reinterpret_cast<ImageCodecInfo*>(storage.data());
  GdipGetImageEncoders(count, size, encoders);
  const ImageCodecInfo* chosen = nullptr;
  for (UINT i = 0; i < count; ++i)
    if (mime == encoders[i].MimeType) chosen = &encoders[i];

  GpBitmap* picture = nullptr;
  Status status = GdipCreateBitmapFromHBITMAP(bitmap, nullptr, &picture);
  if (status == Ok && chosen == nullptr) status = UnknownImageFormat;
  if (status == Ok) status = GdipSaveImageToFile(picture, ToWide(file).c_str(), &chosen->Clsid, nullptr);
  if (picture != nullptr) GdipDisposeImage(picture);
  DeleteObject(bitmap);
  return status;
}

void WriteWindowPicture(HWND window, const std::string& file) {
  OutputFile output(file);
  // The encoder's failed write leaves the system's reason behind.
  errno = 0;
  const Status status = SaveWindowPicture(window, output.Path(), PictureMimeType(file));
  if (status != Ok)
    throw Failure{CannotWrite(file, "the encoder failed (GDI+ status " + std::to_string(status) + ")"), {}};
  output.Commit();
}

bool HasEncoder(const std::u16string& mime) {
  UINT count = 0;
  UINT size = 0;
  if (GdipGetImageEncodersSize(&count, &size) != Ok) return false;
  std::vector<ImageCodecInfo> encoders(size / sizeof(ImageCodecInfo) + 1);
  if (GdipGetImageEncoders(count, size, encoders.data()) != Ok) return false;
  return std::any_of(encoders.begin(), encoders.begin() + count,
                     [&](const ImageCodecInfo& encoder) { return mime == encoder.MimeType; });
}

HRESULT SaveThroughCore(IOndrel& core, HWND window, const std::string& file, const std::u16string& mime) {
  OutputFile output(file);
  const platform::BStr encoding(mime);
  const platform::BStr name(ToWide(output.Path()));
  errno = 0;
  if (const HRESULT hr = core.SaveImageAsFile(window, encoding.Get(), name.Get()); FAILED(hr)) return hr;
  if (output.Size() == 0) {
    if (!HasEncoder(mime))
      throw Failure{"nothing was written to " + file + ": no encoder has the MIME type " + ToConsole(mime) +
                        ", and SaveImageAsFile then writes nothing",
                    {}};
    throw Failure{CannotWrite(file, "SaveImageAsFile wrote nothing"), {}};
  }
  output.Commit();
  return S_OK;
}

}  // namespace ondrel::cli
