#include "sources/pixel_layout.h"

#include "sources/image_info_strategy.h"

Photometric PhotometricOf(std::string_view text) {
  static constexpr struct {
    std::string_view name;
    Photometric photometric;
  } kOrder[] = {{"MONOCHROME1", Photometric::Monochrome1}, {"MONOCHROME2", Photometric::Monochrome2},
                {"RGB", Photometric::Rgb},                 {"YBR_FULL_422", Photometric::YbrFull422},
                {"YBR_RCT", Photometric::YbrRct},          {"YBR_FULL", Photometric::YbrFull}};
  for (const auto& entry : kOrder) {
    if (text.find(entry.name) != std::string_view::npos) return entry.photometric;
  }
  return Photometric::Unknown;
}

PixelLayout PixelLayout::Of(ImageInfoStrategy& info, Photometric photometric) {
  PixelLayout layout;
  // Rows and columns are signed 16-bit values to the image: a header's 40000 rows are no rows at all.
  layout.rows = static_cast<SHORT>(info.GetRows());
  layout.columns = static_cast<SHORT>(info.GetColumns());
  layout.samples = std::max<int>(info.GetSamplesPerPixel(), 1);
  layout.bitsAllocated = info.GetBitsAllocated();
  layout.bitsStored = info.GetBitsStored();
  layout.planarConfiguration = info.GetPlanarConfiguration();
  layout.photometric = photometric;
  return layout;
}
