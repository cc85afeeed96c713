#include "exchange/motion_range.h"

#include "strider/core/motion_range.h"

#include <algorithm>

namespace strider {

FrameRange FrameRangeOf(const MotionCore& core) {
  const Interval range = MotionRange(core);
  if (range.end < range.start) return {};

  // Whole frames around the times: down at the start, up at the end.
  const std::int64_t frame = std::max<TimeValue>(core.ticksPerFrame, 1);
  const auto floorDivide = [frame](std::int64_t t) {
    return t >= 0 ? t / frame : -((-t + frame - 1) / frame);
  };
  return {floorDivide(range.start), -floorDivide(-std::int64_t{range.end})};
}

}  // namespace strider
