#include "strider/footsteps/foot_target.h"

#include <algorithm>

namespace strider {
namespace {

/// Index of the last span that touches at or before `t`; -1 before the first.
int LastTouched(const std::vector<FootstepSpan>& spans, TimeValue t) {
  const auto after =
      std::upper_bound(spans.begin(), spans.end(), t,
                       [](TimeValue time, const FootstepSpan& s) { return time < s.start; });
  return static_cast<int>(after - spans.begin()) - 1;
}

Point3 PlaceOf(const FootstepTrack& track, int footstep, GroundLevel level) {
  Point3 place = track.position[static_cast<std::size_t>(footstep)];
  if (level == GroundLevel::kFlat) place.y = 0;
  return place;
}

float AngleOf(const FootstepTrack& track, int footstep) {
  return track.angle[static_cast<std::size_t>(footstep)];
}

}  // namespace

FootTarget FootTargetAt(const FootstepTrack& track, int side, TimeValue t, GroundLevel level,
                        SwingPlace place) {
  return FootTargetAs(track, side, t, FootstepLegState(track, side, t), level, place);
}

FootTarget FootTargetAs(const FootstepTrack& track, int side, TimeValue t, int state,
                        GroundLevel level, SwingPlace place) {
  const std::vector<FootstepSpan>& spans = track.spans[side];
  const int index = LastTouched(spans, t);
  const int last = static_cast<int>(spans.size()) - 1;
  FootTarget target;
  target.state = state;
  if (state < kMove && index >= 0) {
    int stood = index;
    // One step's end may be the next one's start.
    if (state == kLift && index > 0 && spans[static_cast<std::size_t>(index)].start == t) --stood;
    target.footstep = spans[static_cast<std::size_t>(stood)].footstep;
    target.position = PlaceOf(track, target.footstep, level);
    target.angle = AngleOf(track, target.footstep);
    return target;
  }
  const FootstepSpan* from = index >= 0 ? &spans[static_cast<std::size_t>(index)] : nullptr;
  const FootstepSpan* to = index < last ? &spans[static_cast<std::size_t>(index + 1)] : nullptr;
  target.previous = from ? from->footstep : 0;
  target.next = to ? to->footstep : track.numFootsteps - 1;
  target.footstep = target.next;
  // Without a step to go to (to come from) the track's end (start) is where the foot is.
  target.u = !to ? 1.0f : !from ? 0.0f : 0.5f;
  if (from && to && place == SwingPlace::kByTime) {
    const auto whole = static_cast<float>(std::int64_t{to->start} - from->Lift());
    const auto gone = static_cast<float>(std::int64_t{t} - from->Lift());
    if (whole > 0) target.u = std::clamp(gone / whole, 0.0f, 1.0f);
  }
  target.position = Lerp(PlaceOf(track, target.previous, level),
                         PlaceOf(track, target.next, level), target.u);
  const float a = AngleOf(track, target.previous), b = AngleOf(track, target.next);
  target.angle = a + target.u * (b - a);
  return target;
}

}  // namespace strider
