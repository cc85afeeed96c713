// How a limb's keys become its pose: forward angles, the target that inverse kinematics follows,
// and the blend of the two. Frames, pivots and keys of limbs have rooms of their own, which this
// header brings along.
#pragma once

#include "strider/core/limb_frames.h"
#include "strider/core/limb_keys.h"
#include "strider/core/limb_pivot.h"

namespace strider {

/// The contact of a leg at `t`, or at its hold time, by its own keys: a touch lasts a frame and a
/// lift an instant, after which they read as plant and move. kMove without keys and in free-form,
/// which the body's record tells for `t` (EvaluateFreePeriod).
LegState LegKeyState(const MotionCore& core, LimbRecord& limb, TimeValue t);

/// Sets the pose of a limb at `t` from its keys: forward pose, target, pivot, ankle, digits, and
/// the blend between forward and inverse kinematics. Needs the frames of pelvis and spine at `t`,
/// and a leg's keyState as LegKeyState gives it.
/// `layerWeight` scales ikBlend; `strict` lets a leg's foot turn about its pivot to keep the knee.
/// Allocates nothing.
void EvaluateLimbFull(MotionCore& core, LimbRecord& limb, TimeValue t, const EvalContext& context,
                      float layerWeight = 1, bool strict = true);

}  // namespace strider
