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
  int state = kMove;  // LegState
  Point3 position;    // on the ground, the core's axes
  float angle = 0;    // heading, radians
  // Of a foot on its way:
  float u = 0;      // share of the way
  Point3 from, to;  // its ends
  float fromAngle = 0, toAngle = 0;
  bool idle = false;  // no way of its own: carried beside the other foot
};

/// The target of a side's foot at `t`. A foot whose side has no later footstep goes to the other
/// side's next one, to stand beside it; where that side then walks on alone, it is carried along.
/// Before a side's first footstep the same holds the other way round. The track has footsteps.
FootTarget FootTargetAt(const FootstepTrack& track, int side, TimeValue t, GroundLevel level,
                        SwingPlace place);

/// The same with the state that a phase gives the foot, where span ends and starts meet.
FootTarget FootTargetAs(const FootstepTrack& track, int side, TimeValue t, int state,
                        GroundLevel level, SwingPlace place);

}  // namespace strider
