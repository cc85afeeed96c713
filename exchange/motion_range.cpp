#include "exchange/motion_range.h"

#include <algorithm>

namespace strider {

FrameRange FrameRangeOf(const MotionCore& core) {
  TimeValue first = kTimeMax, last = kTimeMin;
  const auto cover = [&](TimeValue from, TimeValue to) {
    first = std::min(first, from);
    last = std::max(last, to);
  };
  if (core.footsteps.numFootsteps > 0) {
    cover(FirstFootstepTime(core.footsteps),
          std::max(LastFootstepTime(core.footsteps), core.endTime));
  }
  const auto coverTrack = [&](int id) {
    const KeyTrack* track = FindTrack(core, id);
    if (track == nullptr || track->numKeys == 0) return;
    cover(track->times.front().time,
          track->times[static_cast<std::size_t>(track->numKeys - 1)].time);
  };
  for (int id = 0; id <= kProp3; ++id) coverTrack(id);
  for (int i = 0; i < static_cast<int>(core.xtras.size()); ++i) coverTrack(kXtraFirst + i);
  if (first > last) return {};

  // Whole frames around the times: down at the start, up at the end.
  const std::int64_t frame = std::max<TimeValue>(core.ticksPerFrame, 1);
  const auto floorDivide = [frame](std::int64_t t) {
    return t >= 0 ? t / frame : -((-t + frame - 1) / frame);
  };
  return {floorDivide(first), -floorDivide(-std::int64_t{last})};
}

}  // namespace strider
