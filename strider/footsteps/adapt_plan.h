// Which keys a change of footsteps reaches, and the times that they get: the reading half of
// adaptation, for adapt.cpp; nothing else calls it. It may run out of memory, but it changes no
// key.
#pragma once

#include <vector>

#include "strider/core/motion_core.h"
#include "strider/footsteps/adapt.h"

namespace strider {

/// Old times, both ends within.
struct TimeRange {
  TimeValue from = kTimeMin, to = kTimeMax;
  bool Holds(TimeValue t) const { return t >= from && t <= to; }
};

/// The body's phases that a change reaches, as indices into the body phases, and their times.
struct BodyReach {
  TimeRange times;
  int firstPath = 0, lastPath = 0;  // what the path has to be known of around them
};
/// Of footsteps `first` to `last` of the old track, whose body phases are `bodyPhases`.
BodyReach ReachOfChange(const FootstepTrack& before, const std::vector<int>& bodyPhases, int first,
                        int last);

/// Widened to where a key of `track` in the range still bends its neighbours' curves.
TimeRange WidenedBy(const KeyTrack& track, const TimeRange& range);

/// The keys of one track that a change reaches: from index `first` on, with old and new times.
struct TrackPlan {
  KeyTrack* track = nullptr;
  int first = 0;
  std::vector<TimeValue> was, is;

  int Count() const { return static_cast<int>(was.size()); }
};
/// The keys in a range, their times unchanged as yet.
TrackPlan PlanOf(KeyTrack& track, const TimeRange& range);

/// Spaces new times out so that keys keep their order and none leaves its whole frame without need:
/// keys marked `fixed` stay, the others make way for them and for keys outside the plan. False if
/// there is not a tick for each.
bool SpaceOut(TrackPlan& plan, const std::vector<bool>& fixed, TimeValue ticksPerFrame);

/// Writes the new times. Allocates nothing.
void CommitTimes(const TrackPlan& plan);

}  // namespace strider
