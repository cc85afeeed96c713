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
    cover(FirstFootstepTime(core.footsteps),
          std::max(LastFootstepTime(core.footsteps), core.endTime));
  }
  ForEachTable(core, [&](int id, const auto& table) {
    if (!table.Empty() && FindTrack(core, id) != nullptr) {
      cover(table.TimeOf(0), table.TimeOf(table.track.numKeys - 1));
    }
  });
  return range.start > range.end ? Interval::Never() : range;
}

}  // namespace strider
