// A figure that keeps its keys while its structure changes: links come and go, the keys lose or
// gain the columns that belong to them, and hands and feet stay where they were held.
#pragma once

#include "strider/core/motion_core.h"

namespace strider {

/// The structure, proportions, stance and twist poses of a core without its keys and footsteps.
MotionCore FigureOf(const MotionCore& core);

/// Gives the core the structure, proportions, stance, default balance and twist poses of `figure`.
/// Keys, footsteps, place and modes stay. Keys lose the columns of links that go; links that come
/// stand as in the new stance at every key. Sub-tracks follow their links, a new one has the keys
/// of its lower neighbour, and a key left without any goes. Extra chains are told by their names.
/// Gravity goes from old to new in the ratio of the heights; the footstep track gets its copies.
/// Limbs keep their angles, which put hands and
/// feet elsewhere where lengths have changed: limb_places.h brings them back. kRefused, nothing
/// changed, for a figure without a height, or if memory ran out.
[[nodiscard]] int AdoptFigure(MotionCore& core, const MotionCore& figure);

}  // namespace strider
