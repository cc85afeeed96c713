#include "strider/core/motion_range.h"

#include <algorithm>

namespace strider {

Interval MotionRange(const MotionCore& core) {
  Interval range{kTimeMax, kTimeMin};
  const auto cover = [&range](TimeValue from, TimeValue to) {
    range.start = std::min(range.start, from);
    range.end = std::max(range.end, to);
  };
  if (core.footsteps.numFootsteps > 0) {
    cover(std::min(FirstFootstepTime(core.footsteps), core.startTime),
          std::max(LastFootstepTime(core.footsteps), core.endTime));
  }
  ForEachTable(core, [&](int id, const auto& table) {
    if (!table.Empty() && FindTrack(core, id) != nullptr) {
      cover(table.TimeOf(0), table.TimeOf(table.track.numKeys - 1));
    }
  });
  return range.start > range.end ? Interval::Never() : range;
}

void RefreshMotionSpan(MotionCore& core) {
  core.startTime = kTimeMax;
  core.endTime = 0;
  const FootstepTrack& track = core.footsteps;
  if (track.numFootsteps == 0) return;
  core.endTime = LastFootstepTime(track);
  const KeyTable<HorizontalKey>& path = core.body.horizontal;
  if (core.freeForm || path.Empty()) return;
  if (!track.freeFormAfter.Get(track.numFootsteps - 1)) return;
  const int last = path.track.numKeys - 1;
  const TimeValue start = path.TimeOf(0);
  if (path[0].supportState < 0 && start < FirstFootstepTime(track)) core.startTime = start;
  if (path[last].supportState < 0) core.endTime = std::max(core.endTime, path.TimeOf(last));
}

}  // namespace strider
