// Pictures of the core as numpy arrays: height x width x 3 uint8, red, green, blue.
#pragma once

#include <pybind11/numpy.h>

#include "ondrel/platform/gdi.h"
#include "ondrel/platform/windows.h"

namespace ondrel::python {

// What a window shows, its visible child windows (a text's edit box) painted over it, as a host reads
// it. The window is read with the GIL released and the core's lock held. Throws CoreError for a window
// that can't be read.
pybind11::array_t<std::uint8_t> WindowPicture(HWND window);

// The pixels of a bitmap the core handed out (GetImageHBITMAP), read through GDI+. Throws CoreError with
// GDI+'s status when it can't be read.
pybind11::array_t<std::uint8_t> BitmapPicture(HBITMAP bitmap);

}  // namespace ondrel::python
