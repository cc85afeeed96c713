// Where a foot stands, or is on its way, at a time: what the footsteps alone say of it.
#pragma once

#include "strider/core/footstep_track.h"

namespace strider {

/// Generation places the whole figure on flat ground first and lifts it onto the true heights
/// afterwards, so that the body's height is a share of what its legs allow.
enum class GroundLevel { kTrue, kFlat };

/// Where a foot on its way is taken to be: at the time's own share of the way, or half of it
/// whatever the time.
enum class SwingPlace { kByTime, kHalfWay };

struct FootTarget {
  int state = kMove;            // LegState
  Point3 position;              // on the ground, the core's axes
  float angle = 0;              // heading, radians
  float u = 0;                  // share of the way from the step before to the next; 0 on the ground
  int footstep = -1;            // stood on, or the next one
  int previous = -1, next = -1; // of a foot on its way; the track's ends where its side has none
};

/// The target of a side's foot at `t`. Before a side's first footstep it comes from the track's
/// first, after its last it goes to the track's last, so that a figure which starts or ends on
/// one foot keeps the other one under it. The track has footsteps.
FootTarget FootTargetAt(const FootstepTrack& track, int side, TimeValue t, GroundLevel level,
                        SwingPlace place);

/// The same with the state that a phase gives the foot, where span ends and starts meet.
FootTarget FootTargetAs(const FootstepTrack& track, int side, TimeValue t, int state,
                        GroundLevel level, SwingPlace place);

}  // namespace strider
