#include "strider/base/time_value.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

namespace strider {
namespace {

TEST(TimeValue, RoundsToTheNearestFrameAsSavedMotionsDo) {
  const struct {
    TimeValue t, frame, rounded;
  } rows[] = {
      {0, 160, 0},
      {79, 160, 0},
      {80, 160, 160},
      {239, 160, 160},
      {240, 160, 320},
      {-80, 160, 0},
      {-81, 160, 0},
      {-239, 160, 0},
      {-240, 160, -160},
      {7, 1, 7},
      {-7, 1, -7},
      {5, 3, 6},
      {100, 0, 100},
      {100, -160, 100},
      // The last whole frames; past them the sum stays within the range.
      {2147483599, 160, 2147483520},
      {kTimeMax, 160, kTimeMax},
      {kTimeMin, 160, -2147483520},
      {kTimeMax, kTimeMax, kTimeMax},
      {kTimeMin, 1, kTimeMin},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(RoundToFrame(row.t, row.frame), row.rounded) << row.t << " by " << row.frame;
  }
}

TEST(TimeValue, MovedTimesStopAtTheEndsOfTheRange) {
  const std::int64_t far = std::int64_t{1} << 40;
  const struct {
    TimeValue t;
    std::int64_t ticks;
    TimeValue moved;
  } rows[] = {
      {0, 160, 160},
      {kTimeMax, 1, kTimeMax},
      {kTimeMax, -1, kTimeMax - 1},
      {kTimeMin, -1, kTimeMin},
      {0, far, kTimeMax},
      {5, -far, kTimeMin},
      {kTimeMin, std::int64_t{kTimeMax} + 1, 0},
      {kTimeMin, 2 * std::int64_t{kTimeMax} + 1, kTimeMax},
  };
  for (const auto& row : rows) EXPECT_EQ(Later(row.t, row.ticks), row.moved) << row.t;
  EXPECT_TRUE(Interval::Forever().Contains(kTimeMin) && Interval::Forever().Contains(kTimeMax));
  EXPECT_FALSE(Interval::Never().Contains(0));
  EXPECT_TRUE(Interval::Instant(7).Contains(7) && !Interval::Instant(7).Contains(8));
}

}  // namespace
}  // namespace strider
