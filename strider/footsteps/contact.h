// Questions about the ground that a footstep track answers: what a foot stands on, swings over and
// steps between.
#pragma once

#include <vector>

#include "strider/core/footstep_track.h"

namespace strider {

/// The span of a side that covers all of `from` to `to`, both ends included; null where the foot is
/// off the ground in between.
const FootstepSpan* ContactOver(const FootstepTrack& track, int side, TimeValue from, TimeValue to);

/// The footsteps about a swing. An opposite foot that is in the air too counts with the contact
/// that is nearer in time. -1 where there is none.
struct SwingFootsteps {
  int last = -1, opposite = -1, next = -1;
};
SwingFootsteps FootstepsAbout(const FootstepTrack& track, int side, TimeValue t);

/// Height of the ground under a point of a foot: its footstep's in contact, else that of the
/// nearest in plan of the footsteps about the swing.
float GroundUnder(const FootstepTrack& track, int side, TimeValue t, const Point3& point);

/// One swing of a foot, between two contacts of its side.
struct Swing {
  int side = 0;
  int from = 0, to = 0;  // footsteps
  TimeValue lift = 0, touch = 0;
};
/// All swings outside of free-form, the right foot's first.
std::vector<Swing> Swings(const FootstepTrack& track);

/// The periods in which neither foot is on the ground, outside of free-form.
std::vector<Interval> AirbornePeriods(const FootstepTrack& track);

}  // namespace strider
