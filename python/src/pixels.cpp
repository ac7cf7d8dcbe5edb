#include "pixels.h"

#include <pybind11/numpy.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "errors.h"
#include "foundation/text_utils.h"
#include "host.h"
#include "host_setup.h"
#include "pixel_warnings.h"
#include "sources/image_info_strategies.h"
#include "study.h"

namespace py = pybind11;

namespace ondrel::python {
namespace {

// The loader's block and what the image object says of it once loaded.
struct Loaded {
  std::shared_ptr<PixelData> pixels;
  std::size_t rows = 0;
  std::size_t columns = 0;
  std::size_t samples = 1;
  int bitsAllocated = 0;
  int bitsStored = 0;
  bool isSigned = false;
  bool planar = false;
  std::size_t frame = 0;
  std::string syntax;
};

bool IsUncompressed(const std::string& syntax) {
  return syntax.empty() || syntax == "1.2.840.10008.1.2" || syntax == "1.2.840.10008.1.2.1";
}

bool IsJpeg2000(const std::string& syntax) {
  return syntax == "1.2.840.10008.1.2.4.90" || syntax == "1.2.840.10008.1.2.4.91";
}

std::string SyntaxOf(ImageInfoStrategy& strategy) {
  const ImageInfoStrategy::Text text = strategy.GetTransferSyntaxUid();
  std::string uid = text.IsNull() ? std::string() : ToNarrow(text.View());
  while (!uid.empty() && (uid.back() == '\0' || uid.back() == ' ')) uid.pop_back();
  return uid;
}

// The JPEG 2000 decoder gives a signed sample as the bits of its precision, its high bits clear:
// they are made the sign's again.
template <class T>
void ExtendSigns(T* samples, std::size_t count, int bitsStored) {
  using Unsigned = std::make_unsigned_t<T>;
  const auto sign = static_cast<Unsigned>(Unsigned{1} << (bitsStored - 1));
  const auto high = static_cast<Unsigned>(~((Unsigned{1} << bitsStored) - 1));
  for (std::size_t i = 0; i < count; ++i) {
    auto value = static_cast<Unsigned>(samples[i]);
    if ((value & sign) != 0) samples[i] = static_cast<T>(value | high);
  }
}

py::array Pixels(py::handle path, int frame) {
  const std::string file = PathText(path);
  const ImageObject image = ImageOfPath(file, frame);
  const Loaded loaded = InCore([&] {
    ImageInfoWStationStrategy strategy(image.object.Get());
    Loaded result;
    result.pixels = cli::LoadPixels(strategy, file);
    result.rows = strategy.GetRows();
    result.columns = strategy.GetColumns();
    result.samples = std::max<std::size_t>(strategy.GetSamplesPerPixel(), 1);
    result.bitsAllocated = strategy.GetBitsAllocated();
    result.bitsStored = strategy.GetBitsStored();
    result.isSigned = strategy.GetPixelRepresentation() == 1;
    result.planar = strategy.GetPlanarConfiguration() == 1;
    result.frame = strategy.GetFrameIndex();
    result.syntax = SyntaxOf(strategy);
    return result;
  });

  if (!cli::LoaderGivesSamples(loaded.syntax))
    throw CoreError{file + ": " + cli::SyntaxText(loaded.syntax) + " is not decoded", E_FAIL, {}};
  const bool uncompressed = IsUncompressed(loaded.syntax);
  // The loader gives compressed data decoded to one or two bytes a sample, and the rest as stored.
  std::size_t size = 0;
  if (uncompressed && (loaded.bitsAllocated == 8 || loaded.bitsAllocated == 16 || loaded.bitsAllocated == 32))
    size = static_cast<std::size_t>(loaded.bitsAllocated / 8);
  if (!uncompressed && (loaded.bitsAllocated == 8 || loaded.bitsAllocated == 16))
    size = static_cast<std::size_t>(loaded.bitsAllocated / 8);
  if (size == 0)
    throw CoreError{file + ": Bits Allocated (0028,0100) is " + std::to_string(loaded.bitsAllocated) +
                        ": such samples are not understood",
                    E_FAIL, {}};
  const std::size_t plane = loaded.rows * loaded.columns;
  const std::size_t frameBytes = plane * loaded.samples * size;
  const std::span<const std::uint8_t> block = loaded.pixels->Bytes();
  if ((loaded.frame + 1) * frameBytes > block.size())
    throw CoreError{file + ": the pixel data hold " + std::to_string(block.size()) + " bytes, and frame " +
                        std::to_string(loaded.frame) + " needs " + std::to_string((loaded.frame + 1) * frameBytes) +
                        " for " + std::to_string(loaded.rows) + " x " + std::to_string(loaded.columns) + " x " +
                        std::to_string(loaded.samples) + " samples of " + std::to_string(size) + " bytes",
                    E_FAIL, {}};
  const std::uint8_t* in = block.data() + loaded.frame * frameBytes;

  const py::dtype type(std::string("<") + (loaded.isSigned ? "i" : "u") + std::to_string(size));
  std::vector<py::ssize_t> shape{static_cast<py::ssize_t>(loaded.rows), static_cast<py::ssize_t>(loaded.columns)};
  if (loaded.samples > 1) shape.push_back(static_cast<py::ssize_t>(loaded.samples));
  py::array samples(type, shape);
  auto* out = static_cast<std::uint8_t*>(samples.mutable_data());
  if (uncompressed && loaded.planar && loaded.samples > 1) {
    // Colour by plane, red then green then blue: interleaved like every other image.
    for (std::size_t s = 0; s < loaded.samples; ++s)
      for (std::size_t p = 0; p < plane; ++p)
        std::memcpy(out + (p * loaded.samples + s) * size, in + (s * plane + p) * size, size);
  } else {
    std::memcpy(out, in, frameBytes);
  }
  if (loaded.isSigned && IsJpeg2000(loaded.syntax) && loaded.bitsStored > 0 &&
      loaded.bitsStored < loaded.bitsAllocated) {
    const std::size_t count = plane * loaded.samples;
    if (size == 1) ExtendSigns(reinterpret_cast<std::int8_t*>(out), count, loaded.bitsStored);
    if (size == 2) ExtendSigns(reinterpret_cast<std::int16_t*>(out), count, loaded.bitsStored);
  }
  return samples;
}

}  // namespace

void DefinePixels(py::module_& module) {
  module.def("pixels", &Pixels, py::arg("path"), py::arg("frame") = 0, R"(pixels(path, frame=0) -> numpy.ndarray

The samples of a frame of a DICOM file, as the core's image loader gives them to a viewport:
uncompressed data as stored, JPEG (baseline, extended, lossless process 14 SV1) and JPEG 2000
decoded. Shape (rows, columns), or (rows, columns, samples) for colour, interleaved whatever the
planar configuration; colour as the data hold it (YBR_FULL stays Y, Cb, Cr). The dtype follows Bits
Allocated and Pixel Representation: uint8, int8, uint16, int16 (uint32, int32 for uncompressed 32-bit
samples), little-endian; signed JPEG 2000 samples are sign-extended from Bits Stored.
Raises FileNotFoundError when nothing stands at `path`, IndexError for a frame the file does not
have, and ondrel.Error for a file that gives no image, pixels the loader can't load, a transfer
syntax it does not decode (RLE, other JPEG processes, ...), samples of other widths (1-bit), and
pixel data shorter than the frame.)");
}

}  // namespace ondrel::python
