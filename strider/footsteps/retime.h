// Footsteps moved in time. Their order stays, and a foot is never down twice at once; what would
// break that is refused whole.
#pragma once

#include <functional>

#include "strider/core/footstep_track.h"

namespace strider {

/// Gives a footstep another start and duration. kRefused, nothing changed, for an index outside,
/// times that pass a neighbour's start, meet the same foot's other contacts, last under a frame,
/// lie before 0 or reach kFootstepTimeLimit. Times that stay as they are always pass.
[[nodiscard]] int RetimeFootstep(FootstepTrack& track, int footstep, TimeValue start,
                                 TimeValue duration);

/// Moves the touches and lifts of all footsteps through `map`; with `selectedOnly` those whose
/// start edge or end edge is selected. kRefused as above. `first` and `last` are the footsteps that
/// changed, first above last if none did.
[[nodiscard]] int MapFootstepTimes(FootstepTrack& track,
                                   const std::function<TimeValue(TimeValue)>& map,
                                   bool selectedOnly, int& first, int& last);

}  // namespace strider
