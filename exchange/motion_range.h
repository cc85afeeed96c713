// The frames that a motion spans: what a table lists and a sheet shows.
#pragma once

#include <cstdint>

#include "strider/core/motion_core.h"

namespace strider {

/// First and last frame, both included, counted from time 0 in the core's ticks per frame.
struct FrameRange {
  std::int64_t first = 0, last = 0;
  std::int64_t Count() const { return last - first + 1; }
};

/// From the first footstep or key to the last; frame 0 alone for a figure that has neither.
FrameRange FrameRangeOf(const MotionCore& core);

/// Time of a frame, within what a time can hold.
inline TimeValue TimeOfFrame(const MotionCore& core, std::int64_t frame) {
  return Later(0, frame * core.ticksPerFrame);
}

}  // namespace strider
