// What loading can change in a motion: the ground it stands on, the figure it moves, the part of it
// that is kept.
#pragma once

#include "strider/storage/motion_file.h"

namespace strider {

/// Footsteps that were made for a figure of other legs or hips grow to the figure that they are on
/// now; gravity grows with its height. Within a thousandth they stay. False without memory.
[[nodiscard]] bool FitFootstepsToFigure(MotionCore& core);

/// Gives the motion another figure; see LoadOptions for what follows and what stays.
[[nodiscard]] int RetargetMotion(MotionCore& core, const MotionCore& figure,
                                 const LoadOptions& options, const EvalContext& context);

/// All footsteps to height 0; the motion follows.
[[nodiscard]] int FlattenFootsteps(MotionCore& core, const EvalContext& context);

/// Moves the whole motion up or down so that its first footstep, or without footsteps the lower
/// foot at its start, is at height 0.
void ZeroHeight(MotionCore& core, const EvalContext& context);

/// Moves the whole motion in the world (the core's space), heading and times as they are.
void ShiftMotion(MotionCore& core, const Point3& by);

}  // namespace strider
