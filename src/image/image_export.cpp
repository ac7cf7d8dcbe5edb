#include "image/image_export.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <type_traits>
#include <vector>

#include "dicom/file_writer.h"
#include "dicom/transfer_syntax.h"
#include "dicom/vr_container.h"
#include "foundation/exceptions.h"
#include "foundation/text_utils.h"
#include "foundation/trace.h"
#include "foundation/uid.h"
#include "image/overlays.h"
#include "ondrel/platform/drawdib.h"
#include "ondrel/platform/system.h"
#include "sources/image_info_strategies.h"
#include "storage/disk_storage.h"

using namespace Gdiplus;
using namespace Gdiplus::DllExports;

namespace {

struct BitmapDeleter {
  void operator()(std::remove_pointer_t<HBITMAP>* bitmap) const { DeleteObject(bitmap); }
};
using BitmapHandle = std::unique_ptr<std::remove_pointer_t<HBITMAP>, BitmapDeleter>;

using Picture = ondrel::platform::GdiplusPtr<GpBitmap>;

struct ArrayDestroyer {
  void operator()(SAFEARRAY* array) const { SafeArrayDestroy(array); }
};

[[noreturn]] void ThrowInvalidWindow() { THROW_MY_EXCEPTION("The Image received an invalid window handle."); }

// The window's client area as it stands, into a new 32-bit bitmap.
HBITMAP CopyClientArea(HWND window, const RECT& client) {
  const int width = client.right - client.left;
  const int height = client.bottom - client.top;
  const HDC screen = GetDC(window);
  const HDC memory = CreateCompatibleDC(screen);
  const HBITMAP bitmap = CreateCompatibleBitmap(screen, width, height);
  const HGDIOBJ old = SelectObject(memory, bitmap);
  BitBlt(memory, 0, 0, width, height, screen, client.left, client.top, SRCCOPY);
  SelectObject(memory, old);
  DeleteDC(memory);
  ReleaseDC(window, screen);
  if (bitmap == nullptr) THROW_MY_EXCEPTION("Failed to create the compatible bitmap.");
  return bitmap;
}

// The class identifier of the encoder whose MIME type is `mime`. GDI+ that can't list its encoders
// has none to offer, as when none matches.
std::optional<CLSID> FindEncoder(const std::u16string& mime) {
  try {
    UINT count = 0;
    UINT size = 0;
    if (GdipGetImageEncodersSize(&count, &size) != Ok || count == 0) return std::nullopt;
    std::vector<ImageCodecInfo> storage(size / sizeof(ImageCodecInfo) + 1);
    if (GdipGetImageEncoders(count, size, storage.data()) != Ok) return std::nullopt;
    for (UINT i = 0; i < count; ++i)
      if (storage[i].MimeType != nullptr && mime == storage[i].MimeType) return storage[i].Clsid;
    return std::nullopt;
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to get the encoder id.");
  }
}

bool IsReadableFormat(PixelFormat format) {
  for (const PixelFormat known :
       {PixelFormat1bppIndexed, PixelFormat4bppIndexed, PixelFormat8bppIndexed, PixelFormat16bppRGB555,
        PixelFormat16bppRGB565, PixelFormat16bppARGB1555, PixelFormat16bppGrayScale, PixelFormat24bppRGB,
        PixelFormat32bppRGB, PixelFormat32bppARGB, PixelFormat32bppPARGB, PixelFormat48bppRGB,
        PixelFormat64bppARGB, PixelFormat64bppPARGB})
    if (format == known) return true;
  return false;
}

// The image object's SOP Instance UID; an object without one gets a new UID, which a workstation
// image object takes, so that the host learns which image it made.
std::string SopInstanceUid(ImageInfoStrategy& strategy) {
  const ImageInfoStrategy::Text uid = strategy.GetSopInstanceUid();
  if (uid.Length() > 0) return ToNarrow(uid.View());
  const std::string made = GenerateUid();
  if (auto* workstation = dynamic_cast<ImageInfoWStationStrategy*>(&strategy)) {
    const ondrel::platform::BStr text(ToWide(made));
    CHECK_COM_CALL(workstation->Image()->SetSopInstanceUid(text.Get()), workstation->Image(), IImageInfoNW::kIid);
  }
  return made;
}

void AddUid(DicomEngine::DicomData& data, std::uint16_t group, std::uint16_t element, const std::string& uid) {
  auto value = std::make_unique<DicomEngine::VRUniqueIdentifier>("UI", group, element, 0, std::string());
  value->SetValue(uid);
  data.AddSorted(std::move(value));
}

// The data set of the image object with the picture's pixels. A host that named the object's file
// exports the image and keeps the file: the data set is written there. Otherwise the image goes to the
// workstation's storage, recorded in the database and written into the storage tree.
void WriteDicomObject(ImageInfoStrategy& strategy, std::unique_ptr<std::uint8_t[]> pixels, std::uint32_t size) {
  DicomEngine::DicomData data(true);
  const std::string uid = SopInstanceUid(strategy);
  strategy.FillDicomData(data);
  if (data.Find(0x0008, 0x0018) == nullptr) AddUid(data, 0x0008, 0x0018, uid);
  data.AddSorted(std::make_unique<DicomEngine::VRBinary>("OB", DicomEngine::kPixelDataGroup,
                                                         DicomEngine::kPixelDataElement, size, std::move(pixels)));
  auto conversionType = std::make_unique<DicomEngine::VRString>("CS", 0x0008, 0x0064, 0, std::string());
  conversionType->SetValue("WSD");
  data.AddSorted(std::move(conversionType));

  const DicomEngine::SyntaxRecord syntax{DicomEngine::kLittleEndian, DicomEngine::kImplicitVR};
  const ImageInfoStrategy::Text fileName = strategy.GetFileName();
  if (fileName.Length() == 0) {
    char storedUid[64] = {};
    DiskStorage::StoreDicomData(data, storedUid, nullptr, true, syntax, DicomEngine::kImplicitVRLittleEndianUid);
    return;
  }
  DiskStorage::CompleteTransferSyntax(data, syntax);
  DicomEngine::FileWriter writer(DicomEngine::kImplicitVRLittleEndianUid);
  writer.Write(data, syntax, fileName.ToString(), std::string());
}

// The picture's pixels as 8-bit RGB, told to the image object and written as its DICOM object.
void WritePictureAsDicom(Picture picture, ImageInfoStrategy& strategy) {
  try {
    if (!picture) THROW_MY_EXCEPTION("Failed to create the GDI+ bitmap");
    UINT width = 0;
    UINT height = 0;
    PixelFormat format = PixelFormatUndefined;
    GdipGetImageWidth(picture.get(), &width);
    GdipGetImageHeight(picture.get(), &height);
    GdipGetImagePixelFormat(picture.get(), &format);
    if (!IsReadableFormat(format)) THROW_MY_EXCEPTION("Unknown bitmap pixel format.");
    // Rows and columns are 16-bit in DICOM and the pixel data's length 32-bit, kept even.
    const std::uint64_t size = std::uint64_t{width} * height * 3;
    if (width > 0xFFFF || height > 0xFFFF || size + 1 > 0xFFFFFFFEu)
      THROW_MY_EXCEPTION("The picture is too large for a DICOM image.");

    BitmapData locked{};
    const Rect whole(0, 0, static_cast<INT>(width), static_cast<INT>(height));
    const GpStatus status = GdipBitmapLockBits(picture.get(), &whole, ImageLockModeRead, PixelFormat24bppRGB, &locked);
    if (status != Ok) THROW_MY_EXCEPTION_F(256, "Failed to lock the bitmap bits. GDIPlus status=%d", static_cast<int>(status));
    const auto unlock = [&](GpBitmap* bitmap) { GdipBitmapUnlockBits(bitmap, &locked); };
    std::unique_ptr<GpBitmap, decltype(unlock)> lock(picture.get(), unlock);

    strategy.SetRows(static_cast<USHORT>(height));
    strategy.SetColumns(static_cast<USHORT>(width));
    strategy.SetBitsStored(8);
    strategy.SetBitsAllocated(8);
    strategy.SetHighBit(7);
    strategy.SetPixelRepresentation(0);
    strategy.SetPhotometricInterpretation(u"RGB");
    strategy.SetSamplesPerPixel(3);
    strategy.SetPlanarConfiguration(0);

    // A DICOM value has an even length: an odd pixel count is followed by one zero byte.
    const auto valueLength = static_cast<std::uint32_t>((size + 1) / 2 * 2);
    std::unique_ptr<std::uint8_t[]> pixels;
    try {
      pixels = std::make_unique<std::uint8_t[]>(valueLength);
    } catch (const std::bad_alloc&) {
      THROW_MY_EXCEPTION("Failed to allocate memory for pixel data.");
    }
    for (UINT y = 0; y < height; ++y) {
      const BYTE* source = static_cast<const BYTE*>(locked.Scan0) + static_cast<std::ptrdiff_t>(y) * locked.Stride;
      std::uint8_t* target = &pixels[std::size_t{y} * width * 3];
      for (UINT x = 0; x < width; ++x, source += 3, target += 3) {
        target[0] = source[2];
        target[1] = source[1];
        target[2] = source[0];
      }
    }
    lock.reset();
    picture.reset();
    WriteDicomObject(strategy, std::move(pixels), valueLength);
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to create the DICOM file.");
  }
}

// The full draw of a valid window, before its client area is read back; `client` receives the area.
void DrawForCapture(Image& image, HWND window, RECT& client) {
  if (!IsWindow(window)) ThrowInvalidWindow();
  if (!GetClientRect(window, &client)) THROW_MY_EXCEPTION("Cannot get the client rectangle.");
  image.Draw(window, false);
}

}  // namespace

HBITMAP Capture(Image& image, HWND window, RECT& client) {
  try {
    DrawForCapture(image, window, client);
    return CopyClientArea(window, client);
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to get the image bitmap.");
  }
}

HBITMAP CaptureImageBitmap(Image& image, HWND window, RECT& client) {
  BitmapHandle captured(Capture(image, window, client));
  ReleaseCapturedBitmap(image);
  image.CapturedBitmap() = captured.release();
  return image.CapturedBitmap();
}

void ReleaseCapturedBitmap(Image& image) {
  HBITMAP& captured = image.CapturedBitmap();
  if (captured != nullptr) DeleteObject(captured);
  captured = nullptr;
}

void SaveImageAsFile(Image& image, HWND window, const std::u16string& encoding, const std::u16string& fileName) {
  try {
    RECT client{};
    DrawForCapture(image, window, client);
    const std::optional<CLSID> encoder = FindEncoder(encoding);
    if (!encoder) return;
    const BitmapHandle bitmap(CopyClientArea(window, client));
    GpBitmap* made = nullptr;
    GdipCreateBitmapFromHBITMAP(bitmap.get(), nullptr, &made);
    const Picture picture(made);
    const GpStatus status = GdipSaveImageToFile(picture.get(), fileName.c_str(), &*encoder, nullptr);
    // The host is told nothing of a save that failed; the trace keeps it.
    if (status != Ok)
      Trace::Instance().WriteFormatted(1, "SaveImageAsFile - The %s file was not written. GDIPlus status=%d",
                                       ToNarrow(fileName).c_str(), static_cast<int>(status));
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to save the image as image file.");
  }
}

void SaveImageAsDICOMFile(HWND, const char16_t* fileName, std::unique_ptr<ImageInfoStrategy> strategy) {
  if (fileName == nullptr || !strategy) THROW_MY_EXCEPTION("The Image renderer received an invalid pointer.");
  PresentationIntent intent;
  // The image's DICOM save has nothing to write. The image lives only for this call: nothing holds it
  // afterwards, so it goes here with its intent.
  const Image image(FramePixels{}, std::move(strategy), &intent);
}

void SaveConsultImage(Image& image, HWND window, ImageInfoStrategy* strategy) {
  if (strategy == nullptr) THROW_MY_EXCEPTION("The Image renderer received an invalid pointer.");
  try {
    if (!IsWindow(window)) ThrowInvalidWindow();
    RECT client{};
    // A bitmap of its own, so that one the host holds from CaptureImageBitmap stays valid.
    const BitmapHandle bitmap(Capture(image, window, client));
    GpBitmap* made = nullptr;
    if (GdipCreateBitmapFromHBITMAP(bitmap.get(), nullptr, &made) != Ok) {
      GdipDisposeImage(made);
      made = nullptr;
    }
    WritePictureAsDicom(Picture(made), *strategy);
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to save the consult image.");
  }
}

void ImportImageAsDICOMFile(const char16_t* fileName, std::unique_ptr<ImageInfoStrategy> strategy) {
  if (fileName == nullptr || !strategy) THROW_MY_EXCEPTION("The Image renderer received an invalid pointer.");
  PresentationIntent intent;
  Image image(FramePixels{}, std::move(strategy), &intent);
  try {
    GpBitmap* made = nullptr;
    // A file that can't be read leaves a bitmap in an error state: it counts as no picture.
    if (GdipCreateBitmapFromFile(fileName, &made) != Ok) {
      GdipDisposeImage(made);
      made = nullptr;
    }
    WritePictureAsDicom(Picture(made), *image.Info());
  } catch (...) {
    RETHROW_MY_EXCEPTION("Failed to save the image as DICOM file.");
  }
}

void GetImageCurrentPixelData(Image& image, SAFEARRAY** data, LONG* rows, LONG* columns, VARIANT_BOOL* colour) {
  if (data == nullptr || rows == nullptr || columns == nullptr || colour == nullptr)
    THROW_MY_EXCEPTION("The Image received an invalid pointer.");
  ImageInfoStrategy& info = *image.Info();
  const PresentationIntent* intent = image.Intent();
  const BITMAPINFO* header = image.BitmapInfo();

  struct Section {
    HDC dc = nullptr;
    HBITMAP bitmap = nullptr;
    HGDIOBJ old = nullptr;
    ~Section() {
      if (old != nullptr) SelectObject(dc, old);
      if (bitmap != nullptr) DeleteObject(bitmap);
      if (dc != nullptr) DeleteDC(dc);
    }
  } section;
  section.dc = CreateCompatibleDC(nullptr);
  if (section.dc == nullptr) THROW_MY_EXCEPTION("Failed to create the compatible DC.");
  void* bits = nullptr;
  section.bitmap = CreateDIBSection(section.dc, header, DIB_RGB_COLORS, &bits, nullptr, 0);
  if (section.bitmap == nullptr) THROW_MY_EXCEPTION("Failed to create the DIB section.");
  section.old = SelectObject(section.dc, section.bitmap);

  if (static_cast<SHORT>(info.GetRows()) < 1) THROW_MY_EXCEPTION("Image rows is 0.");
  const Image::DisplayShape shape = image.Shape();
  const LONG width = shape.width;
  const LONG height = shape.height;

  const std::unique_ptr<std::remove_pointer_t<HDRAWDIB>, BOOL (*)(HDRAWDIB)> drawDib(DrawDibOpen(), &DrawDibClose);
  DrawDibDraw(drawDib.get(), section.dc, 0, 0, width, height,
              reinterpret_cast<LPBITMAPINFOHEADER>(const_cast<BITMAPINFO*>(header)),
              const_cast<BYTE*>(image.DisplayBits()), 0, 0, -1, -1, 0);
  const WindowLevel applied = image.AppliedWindowLevel().value_or(WindowLevel{});
  Overlays(&info).Draw(section.dc, RECT{0, 0, width, height}, applied.window, applied.level,
                       intent != nullptr ? intent->threshold : 0, intent != nullptr ? intent->filter : 0);
  if (ImageAnnotations* annotations = image.Annotations()) {
    // The picture stands in the section at one pixel per image pixel from its top-left corner, the
    // padding right and below it: the annotations are placed over the image's own rows and columns.
    const bool turned = intent != nullptr && intent->rotation % 180 != 0;
    const LONG shownColumns = static_cast<SHORT>(turned ? info.GetRows() : info.GetColumns());
    const LONG shownRows = static_cast<SHORT>(turned ? info.GetColumns() : info.GetRows());
    const RECT picture{0, 0, shownColumns, shownRows};
    annotations->DrawReferenceLines(section.dc, picture);
    annotations->Draw(section.dc, picture);
  }

  const bool palette = intent != nullptr && intent->palette != 0;
  const bool isColour = image.IsColour() || palette;
  const auto samples = static_cast<std::size_t>(shape.bytesPerPixel);

  const std::size_t pixelCount = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  std::unique_ptr<SAFEARRAY, ArrayDestroyer> array(
      SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(samples * pixelCount)));
  if (!array) THROW_MY_EXCEPTION("Failed to create the pixel data array.");
  void* target = nullptr;
  SafeArrayAccessData(array.get(), &target);
  auto* out = static_cast<BYTE*>(target);
  const auto* source = static_cast<const BYTE*>(bits);
  // The section's rows are bottom-up, as long as the bitmap header says (rows of 4-pixel multiples
  // need no padding of their own).
  const std::size_t sourceRow = static_cast<std::size_t>(width) * (header->bmiHeader.biBitCount / 8);
  const std::size_t targetRow = static_cast<std::size_t>(width) * samples;
  const bool planes = samples == 3 && info.GetPlanarConfiguration() == 0 && palette && sourceRow == targetRow;
  for (LONG y = 0; y < height; ++y) {
    const BYTE* row = source + static_cast<std::size_t>(height - 1 - y) * sourceRow;
    if (!planes) {
      std::memcpy(out + static_cast<std::size_t>(y) * targetRow, row, std::min(sourceRow, targetRow));
      continue;
    }
    const std::size_t at = static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
    for (LONG x = 0; x < width; ++x) {
      out[at + static_cast<std::size_t>(x)] = row[3 * x + 2];
      out[pixelCount + at + static_cast<std::size_t>(x)] = row[3 * x + 1];
      out[2 * pixelCount + at + static_cast<std::size_t>(x)] = row[3 * x];
    }
  }
  SafeArrayUnaccessData(array.get());

  *data = array.release();
  *rows = height;
  *columns = width;
  *colour = isColour ? VARIANT_TRUE : VARIANT_FALSE;
}
