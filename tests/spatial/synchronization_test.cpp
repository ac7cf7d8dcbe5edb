// Series synchronisation on made geometry: the offset between two slices, which slices are candidates,
// the nearest one in each mode and the one stored offset. Axial slices of 64 x 64 pixels of 1 mm whose
// centres, pixel (32, 32), lie at (32, 32, z).
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "spatial/series_synchronization.h"
#include "spatial/spatial_test_support.h"

namespace {

using namespace spatial_test;

constexpr char16_t kFrame[] = u"1.2.840.5";

// An axial slice turned by `angle` about the x axis, its centre kept at (32, 32, z).
Slice Turned(double z, double angle) {
  Slice slice = Axial(z);
  slice.second = {0.0, std::cos(angle), std::sin(angle)};
  slice.position = {0.0, 32.0 - 32.0 * std::cos(angle), z - 32.0 * std::sin(angle)};
  return slice;
}

TEST(SeriesOffset, IsTheWayFromOneCentreToTheOtherBetweenNearlyParallelSlices) {
  const ClassesRegistered registered;
  const struct {
    const char* what;
    Slice b;
    bool calculated;
    double distance;
    Point3D direction;
  } rows[] = {
      {"a parallel slice above", Axial(12.5), true, 2.5, {0, 0, 1}},
      {"a parallel slice below", Axial(6.0), true, 4.0, {0, 0, -1}},
      {"the same centre", Axial(10.0), true, 0.0, {0, 0, 0}},
      {"a slice turned by 0.09 radian", Turned(13.0, 0.09), true, 3.0, {0, 0, 1}},
      {"a slice turned by 0.2 radian", Turned(13.0, 0.2), false, 0.0, {}},
      {"a slice facing the other way", {{0, 64, 14.0}, {1, 0, 0}, {0, -1, 0}}, false, 0.0, {}},
      {"a coronal slice", Coronal(32.0, 0.0, 42.0), false, 0.0, {}},
  };
  for (const auto& row : rows) {
    const MadeSeries a(kFrame, {Axial(10.0)});
    const MadeSeries b(kFrame, {row.b});
    SeriesOffset offset;
    EXPECT_EQ(CalculateSeriesOffset(*a.Strategy(0), *b.Strategy(0), offset), row.calculated) << row.what;
    if (!row.calculated) continue;
    EXPECT_NEAR(offset.distance, row.distance, 1e-9) << row.what;
    EXPECT_NEAR(offset.direction.x, row.direction.x, 1e-9) << row.what;
    EXPECT_NEAR(offset.direction.y, row.direction.y, 1e-9) << row.what;
    EXPECT_NEAR(offset.direction.z, row.direction.z, 1e-9) << row.what;
  }
}

// A current axial slice and a series to follow it, its slices given in the order the series holds them.
class Nearest : public ::testing::Test {
 protected:
  std::string NearestOf(const MadeSeries& series, SynchronizeSeriesEnum mode, const MadeSeries& current,
                        std::size_t index = 0) {
    synchronization_.SetMode(mode);
    const auto chosen = synchronization_.NearestSlice(*current.Strategy(index), *series.Strategy(0));
    return chosen ? std::to_string(chosen->GetInstanceNumber()) : "none";
  }

  ClassesRegistered registered_;
  SeriesSynchronization synchronization_;
  const MadeSeries current_{kFrame, {Axial(10.0), Axial(20.0)}, u"1.2.9.1"};
};

TEST_F(Nearest, AutoModeTakesTheNearestCentreAndTheFirstOfEquallyNearOnes) {
  // Listed against their positions: 14 and 6 lie 4 mm from z = 10, and 6 comes first.
  const MadeSeries follower(kFrame, {Axial(30.0), Axial(6.0), Axial(14.0), Axial(-3.0)});
  EXPECT_EQ(NearestOf(follower, SYNCH_SERIES_AUTO, current_), "2");
  const MadeSeries reversed(kFrame, {Axial(14.0), Axial(6.0)});
  EXPECT_EQ(NearestOf(reversed, SYNCH_SERIES_AUTO, current_), "1");
  EXPECT_EQ(NearestOf(follower, SYNCH_SERIES_AUTO, current_, 1), "3") << "from z = 20";
}

TEST_F(Nearest, OnlyNearlyParallelSlicesFacingTheSameWayAreCandidates) {
  const MadeSeries tilted(kFrame, {Turned(10.0, 0.2), Turned(12.0, 0.2)});
  EXPECT_EQ(NearestOf(tilted, SYNCH_SERIES_AUTO, current_), "none");
  const MadeSeries mixed(kFrame, {Turned(10.0, 0.2), Axial(40.0), Turned(11.0, 0.05)});
  EXPECT_EQ(NearestOf(mixed, SYNCH_SERIES_AUTO, current_), "3");
}

TEST_F(Nearest, AutoModeWantsTheSameFrameOfReferenceAndOffModeDoesNot) {
  const MadeSeries padded(u"  1.2.840.5 ", {Axial(30.0), Axial(11.0)});
  EXPECT_EQ(NearestOf(padded, SYNCH_SERIES_AUTO, current_), "2");
  const MadeSeries other(u"1.2.840.6", {Axial(30.0), Axial(11.0)});
  EXPECT_EQ(NearestOf(other, SYNCH_SERIES_AUTO, current_), "none");
  EXPECT_EQ(NearestOf(other, SYNCH_SERIES_OFF, current_), "2") << "as the host asks, nearest whatever the frame";
}

TEST_F(Nearest, ManualModeKeepsTheStoredOffset) {
  // Another acquisition: the user aligned its slice at z = 3 with the current slice at z = 10. The
  // slice at 17 lies as far from 10, but above it.
  const MadeSeries other(u"1.2.840.6", {Axial(17.0), Axial(-4.0), Axial(3.0), Axial(9.0), Axial(13.0), Axial(18.0)},
                         u"1.2.9.2");
  EXPECT_EQ(NearestOf(other, SYNCH_SERIES_MANUAL, current_), "none") << "no offset stored";
  synchronization_.CalculateOffset(current_.Strategy(0).get(), other.Strategy(2).get());
  EXPECT_EQ(NearestOf(other, SYNCH_SERIES_MANUAL, current_), "3") << "the stored alignment, at value 0";
  EXPECT_EQ(NearestOf(other, SYNCH_SERIES_MANUAL, current_, 1), "5") << "z = 20 goes to 13, 7 mm below, not to 18";
  EXPECT_EQ(NearestOf(other, SYNCH_SERIES_AUTO, current_, 1), "none");
}

TEST_F(Nearest, OneOffsetIsStoredAtATime) {
  const MadeSeries first(u"1.2.840.6", {Axial(3.0), Axial(9.0)}, u"1.2.9.2");
  const MadeSeries second(u"1.2.840.7", {Axial(0.0), Axial(5.0)}, u"1.2.9.3");
  synchronization_.CalculateOffset(current_.Strategy(0).get(), first.Strategy(0).get());
  EXPECT_EQ(NearestOf(first, SYNCH_SERIES_MANUAL, current_), "1");
  synchronization_.CalculateOffset(current_.Strategy(0).get(), second.Strategy(0).get());
  EXPECT_EQ(NearestOf(first, SYNCH_SERIES_MANUAL, current_), "none") << "the first pair's offset is forgotten";
  EXPECT_EQ(NearestOf(second, SYNCH_SERIES_MANUAL, current_), "1");
  synchronization_.CalculateOffset(current_.Strategy(0).get(), nullptr);
  EXPECT_EQ(NearestOf(second, SYNCH_SERIES_MANUAL, current_), "none") << "a viewport without an image forgets too";
}

// Coinciding centres store a zero direction, whose angle with any other can't be taken: every
// candidate is passed over.
TEST_F(Nearest, AnOffsetBetweenCoincidingCentresSelectsNothing) {
  const MadeSeries other(u"1.2.840.6", {Axial(4.0), Axial(10.0), Axial(16.0)}, u"1.2.9.2");
  synchronization_.CalculateOffset(current_.Strategy(0).get(), other.Strategy(1).get());
  ASSERT_NE(synchronization_.StoredOffset(*other.Strategy(0)), nullptr);
  EXPECT_EQ(synchronization_.StoredOffset(*other.Strategy(0))->distance, 0.0);
  EXPECT_EQ(NearestOf(other, SYNCH_SERIES_MANUAL, current_), "none");
  EXPECT_EQ(NearestOf(other, SYNCH_SERIES_MANUAL, current_, 1), "none");
}

}  // namespace
