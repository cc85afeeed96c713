#include "strider/footsteps/measure_run.h"

#include <algorithm>

#include "strider/footsteps/contact.h"

namespace strider {

void MeasureRun::TakeFrames() {
  const TimeValue frame = std::max(core.ticksPerFrame, 1);
  for (TimeValue t = FirstFootstepTime(core.footsteps); t <= core.endTime; t = Later(t, frame)) {
    const PoseSample* before = frames.empty() ? nullptr : &frames.back();
    frames.push_back(TakePoseSample(core, t, context, before));
  }
}

std::span<const PoseSample> MeasureRun::FramesWithin(TimeValue first, TimeValue last) const {
  const auto begin = std::partition_point(
      frames.begin(), frames.end(), [first](const PoseSample& pose) { return pose.time < first; });
  const auto end = std::partition_point(
      begin, frames.end(), [last](const PoseSample& pose) { return pose.time <= last; });
  // From pointers: the library of em++ makes no span from two of its own iterators here.
  return {frames.data() + (begin - frames.begin()), static_cast<std::size_t>(end - begin)};
}

float MeasureRun::AnkleRise(const PoseSample& pose, int side) const {
  const Point3& ankle = pose.leg[side].ankle;
  const float standing =
      GroundUnder(core.footsteps, side, pose.time, ankle) + core.leg[side].extremityHeight;
  return ankle.y - standing;
}

}  // namespace strider
