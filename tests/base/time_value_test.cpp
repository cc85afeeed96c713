#include "strider/base/time_value.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace strider {
namespace {

TEST(TimeValue, RoundsToTheNearestFrameAsSavedMotionsDo) {
  const struct {
    TimeValue t, frame, rounded;
  } rows[] = {
      {79, 160, 0},
      {80, 160, 160},
      {240, 160, 320},
      {-239, 160, 0},
      {-240, 160, -160},
      {5, 3, 6},
      {100, 0, 100},
      {100, -160, 100},
      // The last whole frames; past them the sum stays within the range.
      {2147483599, 160, 2147483520},
      {kTimeMax, 160, kTimeMax},
      {kTimeMin, 160, -2147483520},
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
      {kTimeMax, 1, kTimeMax},  {kTimeMax, -1, kTimeMax - 1},
      {kTimeMin, -1, kTimeMin}, {0, far, kTimeMax},
      {5, -far, kTimeMin},      {kTimeMin, std::int64_t{kTimeMax} + 1, 0},
  };
  for (const auto& row : rows) EXPECT_EQ(Later(row.t, row.ticks), row.moved) << row.t;
}

}  // namespace
}  // namespace strider
