// A figure of another size keeps its motion: footsteps, keys and gravity grow with it.
#pragma once

#include "strider/core/eval_context.h"

namespace strider {

/// Gives the figure another height with everything that it has learnt. Keys grow with the legs.
/// With `scaleStrides` the footsteps do too, about the first of them, and so does the ground path
/// of a motion without footsteps; else both stay where they are and the legs reach for them.
/// Gravity grows with the height. kRefused, nothing changed, for a height that is not positive and
/// finite, or without memory.
[[nodiscard]] int SetHeightOfMotion(MotionCore& core, float height, bool scaleStrides,
                                    const EvalContext& context);

}  // namespace strider
