// Real files whose headers were changed (by DCMTK's dcmodify) to claim far more pixels than they hold,
// as damaged files from a CD or a PACS do: the component refuses each with a clear message, at once,
// without allocating what the header claims.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "component_test_support.h"

namespace {

namespace fs = std::filesystem;
using ondrel::platform::ComPtr;

const std::string kPydicomFiles = "/usr/lib/python3/dist-packages/pydicom/data/test_files/";

// The process's peak resident memory in kilobytes, from the kernel's account of it.
long PeakResidentKilobytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::stol(line.substr(6));
  }
  return -1;
}

class DamagedHeaders : public component_test::ComponentTest {
 protected:
  void SetUp() override {
    ComponentTest::SetUp();
    folder_ = fs::temp_directory_path() / ("ondrel_damaged_" + std::to_string(std::random_device()()));
    fs::create_directories(folder_);
  }
  void TearDown() override {
    fs::remove_all(folder_);
    ComponentTest::TearDown();
  }

  // A copy of `original` with dcmodify's changes (`-m "(gggg,eeee)=value"` ...).
  std::string Damaged(const std::string& original, const std::string& changes) {
    const fs::path copy = folder_ / fs::path(original).filename();
    fs::copy_file(original, copy, fs::copy_options::overwrite_existing);
    const std::string command = "dcmodify -nb -q " + changes + " '" + copy.string() + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << command << " (scripts/setup installs DCMTK)";
    return copy.string();
  }

  fs::path folder_;
};

TEST_F(DamagedHeaders, AreRefusedAtOnceWithAClearMessage) {
  const struct {
    const char* what;
    std::string original;
    std::string changes;
    std::u16string message;
  } cases[] = {
      {"32769 samples per pixel: 1 GB for a 128 x 128 CT", ONDREL_TEST_DATA_DIR "/dicom/CT_small.dcm",
       "-m \"(0028,0002)=32769\"", u"The image has 32769 samples per pixel; only 1 or 3 can be shown."},
      {"96 samples over 25601 columns, decoded from JPEG first", kPydicomFiles + "JPEG-lossy.dcm",
       "-m \"(0028,0002)=96\" -m \"(0028,0011)=25601\"",
       u"The image has 96 samples per pixel; only 1 or 3 can be shown."},
      {"32767 x 32767 16-bit pixels: 2 GB over 32 KB of data", ONDREL_TEST_DATA_DIR "/dicom/CT_small.dcm",
       "-m \"(0028,0010)=32767\" -m \"(0028,0011)=32767\"",
       u"The pixel data holds 32768 bytes where the image's header needs 2147352578."},
  };
  const HWND window = Window(256, 256);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const ComPtr<IImageInfoNW> image = component_test::FirstImageOf(Damaged(c.original, c.changes));
    ASSERT_TRUE(image);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ondrel_->RenderImage(image.Get(), window, VARIANT_FALSE), E_FAIL);
    const std::u16string description = component_test::TakeErrorInfo().first;
    EXPECT_NE(description.find(u"The Image copy pixel data failed."), std::u16string::npos);
    EXPECT_NE(description.find(c.message), std::u16string::npos);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  }
  EXPECT_LT(PeakResidentKilobytes(), 100 * 1024) << "nothing of what the headers claim was allocated";
}

}  // namespace
