// Pictures of what a window shows, as a host saves them: the window's client area captured the way
// the core captures a window, written through GDI+'s encoders. Shared by `ondrel run`'s save command
// and by `ondrel render`.
#pragma once

#include <string>
#include <string_view>

#include "ondrel/ondrel.h"
#include "ondrel/platform/gdiplus.h"
#include "ondrel/platform/windows.h"

namespace ondrel::cli {

// The extensions a picture file may have, in the words of the messages that list them.
inline constexpr std::string_view kPictureExtensions = ".png, .bmp, .jpg, .gif or .tif";

// The MIME type of the GDI+ encoder chosen by a file name's extension, in any letter case: .png,
// .bmp, .jpg or .jpeg, .gif, .tif or .tiff. Empty for any other extension, or none.
std::u16string PictureMimeType(std::string_view file);

// Captures the client area of `window` with its visible child windows painted over it (a compatible
// bitmap filled by BitBlt from the window's device context) and writes it to `file`, replacing it,
// with the encoder of `mime`. GDI+ must be started (GdiplusStartup). Returns Ok, or the failure:
// UnknownImageFormat when no encoder has that MIME type, GdiplusNotInitialized, or the status of the
// bitmap or the encoder (a file that can't be written among them).
Gdiplus::Status SaveWindowPicture(HWND window, const std::string& file, const std::u16string& mime);

// What a command writes of a window: SaveWindowPicture with the encoder of `file`'s extension (which
// must have one, see PictureMimeType), through an OutputFile, so that a failed write leaves no partial
// file. Throws Failure "cannot write FILE: REASON" when the file can't be written.
void WriteWindowPicture(HWND window, const std::string& file);

// Whether one of GDI+'s encoders has exactly this MIME type.
bool HasEncoder(const std::u16string& mime);

// What the component writes of `window` into `file` with SaveImageAsFile and the encoder of `mime`,
// through an OutputFile. The method's failure is returned, its error information left for the caller;
// S_OK once the file is in place. The method succeeds whether or not it wrote, so what it left is
// checked: throws Failure when it left nothing (saying so when no encoder has that MIME type) or the
// file can't be put in place.
HRESULT SaveThroughCore(IOndrel& core, HWND window, const std::string& file, const std::u16string& mime);

}  // namespace ondrel::cli
