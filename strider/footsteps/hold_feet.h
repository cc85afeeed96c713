// Feet of a motion that came from elsewhere are held still while they stand: one step of adopting
// footsteps.
#pragma once

#include "strider/core/eval_context.h"

namespace strider {

struct HoldFeetOptions {
  bool anew = false;    // also contacts that keys hold already
  bool firmly = false;  // no foot slides for its knee's sake
};

/// Rewrites the leg keys of `core`, whose footsteps stand, from the motion of `source`, the same
/// without footsteps in force. kRefused if memory ran out, `core` being of no use then.
[[nodiscard]] int HoldFeet(MotionCore& core, const MotionCore& source,
                           const HoldFeetOptions& options, const EvalContext& context);

}  // namespace strider
