// The way of the body over the ground, between its feet: what generation keys, and what adaptation
// measures a change of footsteps by.
#pragma once

#include <vector>

#include "strider/core/key_table.h"
#include "strider/core/key_records.h"
#include "strider/footsteps/support.h"

namespace strider {

/// Indices of the phases at which the body is keyed: the middles of all transitions, the first and
/// the last phase.
std::vector<int> BodyPhases(const FootstepTrack& track);

enum HorizontalKeyType : int { kOrdinaryKey = 0, kMidStanceKey = 1 };

/// The path of the phases bodyPhases[first] to bodyPhases[last], smoothed: places between the feet,
/// each drawn to the middle of its neighbours and taken a frame ahead, at whole frames. A part of
/// the path has the same keys as the whole but for the three next to a cut end. Heights are 0;
/// positions, types and states are set.
KeyTable<HorizontalKey> GroundPath(const FootstepTrack& track, const std::vector<int>& bodyPhases,
                                   int first, int last, float legLength);

/// The path's place at `t`; the path has keys and is refreshed.
Point3 PlaceOn(const KeyTable<HorizontalKey>& path, TimeValue t);

}  // namespace strider
