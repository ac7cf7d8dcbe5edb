#include "pixels_command.h"

#include <iostream>
#include <memory>
#include <string>

#include "command_table.h"
#include "foundation/text_utils.h"
#include "host_setup.h"
#include "output_file.h"
#include "ondrel/platform/hresult_exception.h"
#include "ondrel/study_builder.h"
#include "pixel_warnings.h"
#include "sources/image_info_strategies.h"

namespace ondrel::cli {
namespace {

std::string TextOf(const ImageInfoStrategy::Text& text) {
  return text.IsNull() ? std::string() : ToNarrow(std::u16string(text.Get(), text.Length()));
}

}  // namespace

int RunPixels(std::span<const std::string_view> args) {
  const auto [input, output] = ParseInputAndOutput(args, "pixels", "FILE", "OUT.raw");

  LoadDictionary();
  RegisterWorkstation();
  const platform::ComPtr<IImageInfoNW> image = ImageOfFile(input, 0).image;
  WarnAboutPixels(*image.Get(), input);

  ImageInfoWStationStrategy strategy(image.Get());
  const std::shared_ptr<PixelData> pixels = LoadPixels(strategy, input);
  WriteOutputFile(output, pixels->Bytes().data(), pixels->Bytes().size());
  std::cout << "rows=" << strategy.GetRows() << " columns=" << strategy.GetColumns()
            << " samples=" << strategy.GetSamplesPerPixel() << " bits_allocated=" << strategy.GetBitsAllocated()
            << " bits_stored=" << strategy.GetBitsStored() << " syntax=" << TextOf(strategy.GetTransferSyntaxUid())
            << " bytes=" << pixels->Bytes().size() << "\n";
  return kExitSuccess;
}

}  // namespace ondrel::cli
