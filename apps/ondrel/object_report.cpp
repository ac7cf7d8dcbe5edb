#include "object_report.h"

#include <cstdio>

#include "foundation/date_utils.h"
#include "foundation/text_utils.h"
#include "sources/image_info_strategies.h"
#include "sources/image_loader.h"
#include "sources/pixel_data.h"
#include "sources/pixel_layout.h"
#include "spatial/mip_tool.h"
#include "spatial/mpr_pixels.h"

namespace ondrel::cli {
namespace {

void Line(std::string& out, const char* name, const std::string& value) {
  out.append(name).append("=").append(value).append("\n");
}

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.10g", value);
  return text;
}

template <class Object>
void Show(std::string& out, const char* name, Object* object, HRESULT (Object::*getter)(BSTR*)) {
  platform::BStr value;
  if ((object->*getter)(value.Out()) == S_OK) Line(out, name, ToNarrow(value.View()));
}
template <class Object, class T>
void Show(std::string& out, const char* name, Object* object, HRESULT (Object::*getter)(T*)) {
  T value{};
  if ((object->*getter)(&value) == S_OK) Line(out, name, Number(static_cast<double>(value)));
}
template <class Object>
void ShowDate(std::string& out, const char* name, Object* object, HRESULT (Object::*getter)(DATE*)) {
  DATE value = 0.0;
  std::string date;
  std::string time;
  if ((object->*getter)(&value) == S_OK && DateValueToDicom(value, date, time)) Line(out, name, date + " " + time);
}
template <class Object>
void Show(std::string& out, const char* name, Object* object, HRESULT (Object::*getter)(double*, double*)) {
  double first = 0.0;
  double second = 0.0;
  if ((object->*getter)(&first, &second) == S_OK) Line(out, name, Number(first) + "," + Number(second));
}

#define ONDREL_SHOW_TEXT(Name) Show(out, #Name, object, &Type::Get##Name);
#define ONDREL_SHOW_USHORT(Name) Show(out, #Name, object, &Type::Get##Name);
#define ONDREL_SHOW_SHORT(Name) Show(out, #Name, object, &Type::Get##Name);
#define ONDREL_SHOW_LONG(Name) Show(out, #Name, object, &Type::Get##Name);
#define ONDREL_SHOW_DOUBLE(Name) Show(out, #Name, object, &Type::Get##Name);
#define ONDREL_SHOW_SLOPE(Name) Show(out, #Name, object, &Type::Get##Name);
#define ONDREL_SHOW_BOOL(Name) Show(out, #Name, object, &Type::Get##Name);
#define ONDREL_SHOW_PAIR(Name) Show(out, #Name, object, &Type::Get##Name);
#define ONDREL_SHOW_DATE(Name) ShowDate(out, #Name, object, &Type::Get##Name);
#define ONDREL_SHOW(Kind, Name) ONDREL_SHOW_##Kind(Name)

std::string SourceUid(ISeriesInfoNW* series, HRESULT (ISeriesInfoNW::*getter)(ISeriesInfoNW**)) {
  platform::ComPtr<ISeriesInfoNW> source;
  platform::BStr uid;
  if ((series->*getter)(source.GetAddressOf()) != S_OK || source->GetSeriesInstanceUid(uid.Out()) != S_OK) return {};
  return ToNarrow(uid.View());
}

}  // namespace

std::string SeriesReport(ISeriesInfoNW* object) {
  using Type = ISeriesInfoNW;
  std::string out;
  ONDREL_SERIES_PROPERTIES(ONDREL_SHOW)
  SAFEARRAY* images = nullptr;
  LONG upper = -1;
  if (SUCCEEDED(object->GetSeriesImages(&images))) SafeArrayGetUBound(images, 1, &upper);
  SafeArrayDestroy(images);
  Line(out, "Images", std::to_string(upper + 1));
  if (const std::string uid = SourceUid(object, &Type::GetMprSource); !uid.empty()) Line(out, "MprSource", uid);
  if (const std::string uid = SourceUid(object, &Type::GetMipSource); !uid.empty()) Line(out, "MipSource", uid);
  return out;
}

std::string ImageReport(IImageInfoNW* object) {
  using Type = IImageInfoNW;
  std::string out;
  ONDREL_IMAGE_PROPERTIES(ONDREL_SHOW)
  return out;
}

std::vector<std::uint8_t> CorePixels(IImageInfoNW* image) {
  ImageInfoWStationStrategy strategy(image);
  // A loader of the host's own: the derived pixels read their slices through it.
  ImageLoader loader;
  ByteBlock derived;
  if (strategy.GetMprType() >= 2) {
    derived = spatial::GenerateMprPixels(strategy, loader);
  } else if (strategy.GetMipType() >= 2) {
    derived = spatial::GenerateMipPixels(strategy, loader);
  } else {
    bool cached = false;
    const FramePixels frame = FramePixels::Of(loader.Load(&strategy, &cached), strategy);
    const std::size_t size =
        std::min(frame.Bytes().size(), PixelLayout::Of(strategy, Photometric::Unknown).FrameBytes());
    return {frame.Bytes().begin(), frame.Bytes().begin() + static_cast<std::ptrdiff_t>(size)};
  }
  return {derived.Data(), derived.Data() + derived.Size()};
}

}  // namespace ondrel::cli
