// The time that a motion spans.
#pragma once

#include "strider/core/motion_core.h"

namespace strider {

/// From the first footstep or key to the last; empty for a figure that has neither.
Interval MotionRange(const MotionCore& core);

/// Sets the core's startTime and endTime by its footsteps. A motion whose last footstep is marked
/// to be followed by free-form reaches, at both ends, as far as keys of its body's path that are
/// free-form: a take begins before the first foot comes down and goes on after the last has lifted.
void RefreshMotionSpan(MotionCore& core);

/// Calls `use(id, table)` for every key table that the core has room for, extra chains too.
template <class Core, class Use>
void ForEachTable(Core& core, const Use& use) {
  use(kHorizontal, core.body.horizontal);
  use(kTurn, core.body.turn);
  use(kVertical, core.body.vertical);
  use(kPelvis, core.pelvis.table);
  use(kSpine, core.spine.table);
  use(kTail, core.tail.table);
  use(kHead, core.head.table);
  use(kPony1, core.pony[0].table);
  use(kPony2, core.pony[1].table);
  use(kRightLeg, core.leg[kRight].table);
  use(kLeftLeg, core.leg[kLeft].table);
  use(kRightArm, core.arm[kRight].table);
  use(kLeftArm, core.arm[kLeft].table);
  for (int i = 0; i < 3; ++i) use(kProp1 + i, core.props[i].table);
  for (int i = 0; i < static_cast<int>(core.xtras.size()); ++i) {
    use(kXtraFirst + i, core.xtras[static_cast<std::size_t>(i)].chain.table);
  }
}

}  // namespace strider
