// A figure of another size keeps its motion: footsteps, keys and gravity grow with it.
#pragma once

#include "strider/core/eval_context.h"

namespace strider {

/// Gives the figure another height with everything that it has learnt. With `scaleStrides` the
/// whole motion grows: footsteps about the first of them, ground paths of a motion without
/// footsteps about its first key. Else footsteps, ground paths and what is held on the ground stay
/// where they are, and the legs reach for them. Gravity grows with the height, one set by the user
/// too. kRefused, nothing changed, for a height that is not positive and finite, or without memory.
[[nodiscard]] int SetHeightOfMotion(MotionCore& core, float height, bool scaleStrides,
                                    const EvalContext& context);

}  // namespace strider
