// libFuzzer target of the picture readers, which take any file a user imports: any bytes, read as a
// picture file and, when they make one, converted to 24-bit RGB as the import does, must end in a
// picture or a refusal with a reason; never in a crash, a leak, a hang or an allocation out of
// proportion to the input.
//
// Build and run: see tests/fuzz/README.md.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "picture/picture.h"

namespace {

// A file of the process's own: the readers read only named files.
const std::filesystem::path& TempFile() {
  static const std::filesystem::path name =
      std::filesystem::temp_directory_path() /
      ("ondrel_picture_fuzzer_" + std::to_string(std::random_device()()) + ".picture");
  return name;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::ofstream(TempFile(), std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  ondrel::platform::picture::Picture picture;
  std::string error;
  if (!ondrel::platform::picture::LoadPictureFile(TempFile().u16string(), picture, error)) {
    if (error.empty()) __builtin_trap();  // a refusal always says why
    return 0;
  }
  const auto converted = ondrel::platform::picture::ConvertPicture(picture, ondrel::platform::picture::kFormat24bppRGB);
  if (converted && (converted->width != picture.width || converted->height != picture.height)) __builtin_trap();
  return 0;
}
