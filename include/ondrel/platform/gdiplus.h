// The GDI+ flat API subset of the platform layer: bitmaps from DIBs, GDI bitmaps and files, graphics
// over windows and device contexts, rectangular regions, solid brushes, pens with width and dash, the
// bilinear image stretch, and the image encoders.
//
// Names, values and status codes are GDI+'s; types live in the namespace Gdiplus and the functions in
// Gdiplus::DllExports, as the Windows headers put them. Every call but the Delete/Dispose ones answers
// GdiplusNotInitialized while GDI+ is not started (GdiplusStartup). Objects are checked: a null or
// unknown object answers InvalidParameter. Drawing is aliased (no anti-aliasing), with pixel centres at
// whole coordinates as GDI+'s default pixel offset mode has them, and blends colours with alpha over
// the target; windows and 32-bit surfaces keep no alpha of their own.
#pragma once

#include <memory>

#include "ondrel/platform/com.h"
#include "ondrel/platform/gdi.h"

namespace Gdiplus {

using REAL = float;
using ARGB = DWORD;  // 0xAARRGGBB
using PixelFormat = INT;

enum Status {
  Ok = 0,
  GenericError = 1,
  InvalidParameter = 2,
  OutOfMemory = 3,
  ObjectBusy = 4,
  InsufficientBuffer = 5,
  NotImplemented = 6,
  Win32Error = 7,
  WrongState = 8,
  Aborted = 9,
  FileNotFound = 10,
  ValueOverflow = 11,
  AccessDenied = 12,
  UnknownImageFormat = 13,
  FontFamilyNotFound = 14,
  FontStyleNotFound = 15,
  NotTrueTypeFont = 16,
  UnsupportedGdiplusVersion = 17,
  GdiplusNotInitialized = 18,
  PropertyNotFound = 19,
  PropertyNotSupported = 20,
};
using GpStatus = Status;

enum Unit {
  UnitWorld = 0,
  UnitDisplay = 1,
  UnitPixel = 2,
  UnitPoint = 3,
  UnitInch = 4,
  UnitDocument = 5,
  UnitMillimeter = 6
};
using GpUnit = Unit;

// Dash patterns in units of the pen width: Dash 3 on 1 off, Dot 1 on 1 off, DashDot 3-1-1-1,
// DashDotDot 3-1-1-1-1-1.
enum DashStyle {
  DashStyleSolid = 0,
  DashStyleDash = 1,
  DashStyleDot = 2,
  DashStyleDashDot = 3,
  DashStyleDashDotDot = 4,
  DashStyleCustom = 5,
};
using GpDashStyle = DashStyle;

enum CombineMode {
  CombineModeReplace = 0,
  CombineModeIntersect = 1,
  CombineModeUnion = 2,
  CombineModeXor = 3,
  CombineModeExclude = 4,
  CombineModeComplement = 5,
};

enum ImageLockMode { ImageLockModeRead = 1, ImageLockModeWrite = 2, ImageLockModeUserInputBuf = 4 };

// Pixel formats: bits 8 to 15 hold the bits per pixel.
inline constexpr PixelFormat PixelFormatIndexed = 0x00010000;
inline constexpr PixelFormat PixelFormatGDI = 0x00020000;
inline constexpr PixelFormat PixelFormatAlpha = 0x00040000;
inline constexpr PixelFormat PixelFormatPAlpha = 0x00080000;
inline constexpr PixelFormat PixelFormatUndefined = 0;
inline constexpr PixelFormat PixelFormat1bppIndexed = 0x00030101;
inline constexpr PixelFormat PixelFormat4bppIndexed = 0x00030402;
inline constexpr PixelFormat PixelFormat8bppIndexed = 0x00030803;
inline constexpr PixelFormat PixelFormat16bppGrayScale = 0x00101004;
inline constexpr PixelFormat PixelFormat16bppRGB555 = 0x00021005;
inline constexpr PixelFormat PixelFormat16bppRGB565 = 0x00021006;
inline constexpr PixelFormat PixelFormat16bppARGB1555 = 0x00061007;
inline constexpr PixelFormat PixelFormat24bppRGB = 0x00021808;
inline constexpr PixelFormat PixelFormat32bppRGB = 0x00022009;
inline constexpr PixelFormat PixelFormat32bppARGB = 0x0026200A;
inline constexpr PixelFormat PixelFormat32bppPARGB = 0x000E200B;
inline constexpr PixelFormat PixelFormat48bppRGB = 0x0010300C;
inline constexpr PixelFormat PixelFormat64bppARGB = 0x0034400D;
inline constexpr PixelFormat PixelFormat64bppPARGB = 0x001A400E;

class Rect {
 public:
  Rect() = default;
  Rect(INT x, INT y, INT width, INT height) : X(x), Y(y), Width(width), Height(height) {}
  INT X = 0;
  INT Y = 0;
  INT Width = 0;
  INT Height = 0;
};
using GpRect = Rect;

// A locked rectangle of a bitmap: rows top-down, Stride bytes apart (a multiple of 4).
struct BitmapData {
  UINT Width;
  UINT Height;
  INT Stride;
  Gdiplus::PixelFormat PixelFormat;
  void* Scan0;
  UINT_PTR Reserved;
};

struct ImageCodecInfo {
  CLSID Clsid;
  GUID FormatID;
  const WCHAR* CodecName;
  const WCHAR* DllName;
  const WCHAR* FormatDescription;
  const WCHAR* FilenameExtension;
  const WCHAR* MimeType;
  DWORD Flags;
  DWORD Version;
  DWORD SigCount;
  DWORD SigSize;
  const BYTE* SigPattern;
  const BYTE* SigMask;
};
inline constexpr DWORD ImageCodecFlagsEncoder = 0x00000001;
inline constexpr DWORD ImageCodecFlagsDecoder = 0x00000002;
inline constexpr DWORD ImageCodecFlagsSupportBitmap = 0x00000004;
inline constexpr DWORD ImageCodecFlagsBuiltin = 0x00010000;

struct EncoderParameter {
  GUID Guid;
  ULONG NumberOfValues;
  ULONG Type;
  void* Value;
};
struct EncoderParameters {
  UINT Count;
  EncoderParameter Parameter[1];
};

using DebugEventProc = void (*)(int level, CHAR* message);
using NotificationHookProc = Status (*)(ULONG_PTR* token);
using NotificationUnhookProc = void (*)(ULONG_PTR token);

struct GdiplusStartupInput {
  GdiplusStartupInput(DebugEventProc debugEventCallback = nullptr, BOOL suppressBackgroundThread = FALSE,
                      BOOL suppressExternalCodecs = FALSE)
      : DebugEventCallback(debugEventCallback),
        SuppressBackgroundThread(suppressBackgroundThread),
        SuppressExternalCodecs(suppressExternalCodecs) {}
  UINT GdiplusVersion = 1;
  DebugEventProc DebugEventCallback;
  BOOL SuppressBackgroundThread;
  BOOL SuppressExternalCodecs;
};
struct GdiplusStartupOutput {
  NotificationHookProc NotificationHook;
  NotificationUnhookProc NotificationUnhook;
};

// Opaque objects; a bitmap is an image and a solid fill is a brush.
class GpImage {
 protected:
  GpImage() = default;
};
class GpBitmap : public GpImage {
 protected:
  GpBitmap() = default;
};
class GpBrush {
 protected:
  GpBrush() = default;
};
class GpSolidFill : public GpBrush {
 protected:
  GpSolidFill() = default;
};
class GpPen {
 protected:
  GpPen() = default;
};
class GpRegion {
 protected:
  GpRegion() = default;
};
class GpGraphics {
 protected:
  GpGraphics() = default;
};

// Starts GDI+ (GdiplusVersion 1); calls may be nested, each with its own token. InvalidParameter for
// null arguments, or a suppressed background thread without `output`, UnsupportedGdiplusVersion for
// another version.
Status GdiplusStartup(ULONG_PTR* token, const GdiplusStartupInput* input, GdiplusStartupOutput* output);
// Ends the start-up of `token`; GDI+ stops with the last one. An unknown token is ignored.
void GdiplusShutdown(ULONG_PTR token);

namespace DllExports {

// Bitmaps. A bitmap owns a copy of its pixels.
// From a BI_RGB DIB of 8 bits (PixelFormat8bppIndexed with its colour table), 24 bits (24bppRGB) or 32
// bits (32bppRGB), either row order.
GpStatus GdipCreateBitmapFromGdiDib(const BITMAPINFO* gdiBitmapInfo, void* gdiBitmapData, GpBitmap** bitmap);
// From a GDI bitmap: 32bppRGB for a 32-bit one, else as its DIB format. The palette is ignored.
GpStatus GdipCreateBitmapFromHBITMAP(HBITMAP hbm, HPALETTE hpal, GpBitmap** bitmap);
// From a BMP, JPEG, GIF, TIFF or PNG file, recognised by its contents. On failure *bitmap is still set,
// to a bitmap in an error state, as a GDI+ Bitmap object is after a failed load: every call on it but
// GdipDisposeImage answers the failure again (FileNotFound for a missing file, UnknownImageFormat for
// one that cannot be read), so that a draw reports it. The caller disposes of it as of any image.
GpStatus GdipCreateBitmapFromFile(const WCHAR* filename, GpBitmap** bitmap);
GpStatus GdipDisposeImage(GpImage* image);
GpStatus GdipGetImageWidth(GpImage* image, UINT* width);
GpStatus GdipGetImageHeight(GpImage* image, UINT* height);
GpStatus GdipGetImagePixelFormat(GpImage* image, PixelFormat* format);
// Locks a rectangle of the bitmap (null: all of it) with ImageLockModeRead and/or ImageLockModeWrite, as
// `format`: the bitmap's own format, 24bppRGB, 32bppRGB, 32bppARGB or 32bppPARGB. Writing back needs the
// bitmap's own format (else NotImplemented). WrongState when the bitmap is already locked.
GpStatus GdipBitmapLockBits(GpBitmap* bitmap, const GpRect* rect, UINT flags, PixelFormat format,
                            BitmapData* lockedBitmapData);
GpStatus GdipBitmapUnlockBits(GpBitmap* bitmap, BitmapData* lockedBitmapData);

// Encoders: image/bmp, image/jpeg, image/gif, image/tiff, image/png, in that order. `size` is the bytes
// GdipGetImageEncoders needs: the array followed by the texts it points to. InsufficientBuffer when the
// given count or size is too small.
GpStatus GdipGetImageEncodersSize(UINT* numEncoders, UINT* size);
GpStatus GdipGetImageEncoders(UINT numEncoders, UINT size, ImageCodecInfo* encoders);
// Writes the image with the encoder of `clsidEncoder`; encoder parameters are ignored. InvalidParameter
// for an unknown encoder, Win32Error when the file cannot be written.
GpStatus GdipSaveImageToFile(GpImage* image, const WCHAR* filename, const CLSID* clsidEncoder,
                             const EncoderParameters* encoderParams);

// Graphics over a window (its own pixels) or a device context (what it draws on when each call runs).
GpStatus GdipCreateFromHWND(HWND hwnd, GpGraphics** graphics);
GpStatus GdipCreateFromHDC(HDC hdc, GpGraphics** graphics);
GpStatus GdipDeleteGraphics(GpGraphics* graphics);

// Regions of whole pixels: a rectangle covers X to X + Width - 1 and Y to Y + Height - 1.
GpStatus GdipCreateRegionRectI(const GpRect* rect, GpRegion** region);
GpStatus GdipCombineRegionRectI(GpRegion* region, const GpRect* rect, CombineMode combineMode);
GpStatus GdipDeleteRegion(GpRegion* region);

GpStatus GdipCreateSolidFill(ARGB color, GpSolidFill** brush);
GpStatus GdipDeleteBrush(GpBrush* brush);
// Widths are in pixels (UnitWorld and UnitPixel only); below 1 draws one pixel.
GpStatus GdipCreatePen1(ARGB color, REAL width, GpUnit unit, GpPen** pen);
GpStatus GdipDeletePen(GpPen* pen);
GpStatus GdipSetPenDashStyle(GpPen* pen, GpDashStyle dashStyle);
GpStatus GdipGetPenWidth(GpPen* pen, REAL* width);

GpStatus GdipFillRegion(GpGraphics* graphics, GpBrush* brush, GpRegion* region);
// Stretches the whole image to the rectangle, bilinearly (GDI+'s default interpolation), with edge
// pixels repeated rather than faded; at equal sizes every pixel is copied unchanged.
GpStatus GdipDrawImageRectI(GpGraphics* graphics, GpImage* image, INT x, INT y, INT width, INT height);
// The outline of the rectangle from x, y to x + width, y + height, both edges included, with the pen
// centred on them (width w covers w/2 pixels outside and (w-1)/2 inside a one-pixel line) and its dash
// pattern running clockwise from the top-left corner.
GpStatus GdipDrawRectangleI(GpGraphics* graphics, GpPen* pen, INT x, INT y, INT width, INT height);

}  // namespace DllExports
}  // namespace Gdiplus

namespace ondrel::platform {

// Frees a GDI+ object with the call that goes with its type.
struct GdiplusDeleter {
  void operator()(Gdiplus::GpGraphics* graphics) const { Gdiplus::DllExports::GdipDeleteGraphics(graphics); }
  void operator()(Gdiplus::GpRegion* region) const { Gdiplus::DllExports::GdipDeleteRegion(region); }
  void operator()(Gdiplus::GpBrush* brush) const { Gdiplus::DllExports::GdipDeleteBrush(brush); }
  void operator()(Gdiplus::GpPen* pen) const { Gdiplus::DllExports::GdipDeletePen(pen); }
  void operator()(Gdiplus::GpImage* image) const { Gdiplus::DllExports::GdipDisposeImage(image); }
};

// The one owner of a GDI+ object: GdiplusPtr<GpBitmap>, GdiplusPtr<GpPen>, ...
template <class T>
using GdiplusPtr = std::unique_ptr<T, GdiplusDeleter>;

}  // namespace ondrel::platform
