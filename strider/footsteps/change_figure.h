// A motion gets another figure: its keys and footsteps follow to the new proportions.
#pragma once

#include "strider/core/eval_context.h"

namespace strider {

/// Gives the core the structure, proportions, stance and twist poses of `figure`, as a figure file
/// brings them, and fits the motion to it. Legs of another length first let the whole motion grow
/// as SetHeightOfMotion does, with `scaleStrides` its footsteps too; wider hips then set the
/// footsteps apart. The body goes up or down with the stance, feet stay where they were at each key
/// as far as the legs reach, and hands that hold something keep hold of it. Gravity goes in the
/// ratio of the heights. What is the same in both figures keeps its keys to the bit. kRefused,
/// nothing changed, for a figure that cannot stand, or if memory ran out.
[[nodiscard]] int SetFigureOfMotion(MotionCore& core, const MotionCore& figure, bool scaleStrides,
                                    const EvalContext& context);

/// The same for another number of links of one body part: see ChangeNumLinks.
[[nodiscard]] int SetNumLinksOfMotion(MotionCore& core, int id, int numLinks, bool scaleStrides,
                                      const EvalContext& context);

}  // namespace strider
