// Feet of a motion that came from elsewhere are held still while they stand: one step of adopting
// footsteps.
#pragma once

#include "strider/core/eval_context.h"

namespace strider {

/// Rewrites the leg keys of `core`, whose footsteps stand, from the motion of `source`, the same
/// without footsteps in force; with `anew` also those of contacts that keys hold already. kRefused
/// if memory ran out, `core` being of no use then.
[[nodiscard]] int HoldFeet(MotionCore& core, const MotionCore& source, bool anew,
                           const EvalContext& context);

}  // namespace strider
