// The real test series of tests/data/spatial (axial, coronal, sagittal, tilted and oblique slices of
// one frame of reference, and axial stacks of the same and of another frame), as the study builder
// makes them from the files: every reference line and every nearest slice that
// scripts/make_spatial_series works out with numpy from the planes, to the pixel.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "spatial/reference_lines.h"
#include "spatial/series_synchronization.h"
#include "spatial/spatial_test_support.h"

namespace {

using namespace spatial_test;

// The manifest's lines that begin with `kind`, split into words.
std::vector<std::vector<std::string>> Expected(const std::string& kind) {
  std::ifstream in(ONDREL_TEST_DATA_DIR "/spatial/expected.txt");
  EXPECT_TRUE(in.good());
  std::vector<std::vector<std::string>> lines;
  for (std::string line; std::getline(in, line);) {
    std::istringstream words(line);
    std::vector<std::string> split;
    for (std::string word; words >> word;) split.push_back(word);
    if (!split.empty() && split[0] == kind) lines.push_back(split);
  }
  return lines;
}

class RealSeriesTest : public ::testing::Test {
 protected:
  RealSeries series_;
};

TEST_F(RealSeriesTest, ReferenceLinesLieWhereThePlanesCross) {
  const auto lines = Expected("line");
  ASSERT_GT(lines.size(), 400U);
  int drawn = 0;
  for (const auto& line : lines) {
    const std::string expected = line[3] == "none" ? "none" : line[3] + " " + line.at(4);
    drawn += expected != "none";
    EXPECT_EQ(Text(ProjectImage(*series_.Strategy(line[1]), *series_.Strategy(line[2]))), expected)
        << line[1] << " on " << line[2];
  }
  EXPECT_GT(drawn, 250) << "most pairs cross";
}

TEST_F(RealSeriesTest, SynchronisationChoosesTheNearestSlice) {
  const auto lines = Expected("nearest");
  ASSERT_EQ(lines.size(), 25U);
  for (const auto& line : lines) {
    SeriesSynchronization synchronization;
    const bool manual = line[1] == "manual";
    synchronization.SetMode(manual ? SYNCH_SERIES_MANUAL : SYNCH_SERIES_AUTO);
    if (manual)
      synchronization.CalculateOffset(series_.Strategy(line[5]).get(), series_.Strategy(line[6]).get());
    const auto chosen = synchronization.NearestSlice(*series_.Strategy(line[2]), *series_.Strategy(line[3]));
    EXPECT_EQ(chosen ? series_.NameOf(*chosen) : "none", line.back()) << line[1] << " from " << line[2];
  }
}

}  // namespace
