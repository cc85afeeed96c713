// Keys from the motion as it shows: at chosen times every part gets a key that holds its pose.
#pragma once

#include <span>
#include <vector>

#include "strider/core/eval_context.h"

namespace strider {

/// Puts a key into every track of the figure's own parts at each of `times`, which ascend; with
/// `replace` all other keys go, else they stay. What shows at these times does not change: heights
/// are the keys' own from then on, limbs keep the space that they are held in, and a leg's key has
/// the contact that the leg has there. kRefused, nothing changed, if memory ran out or a key
/// could not be put.
[[nodiscard]] int BakeKeys(MotionCore& core, std::span<const TimeValue> times, bool replace,
                           const EvalContext& context);

/// Puts a key of every part of the figure into `core` at `t`, which holds the pose of `posed`, a
/// core of the same structure whose frames are up to date. False if a key could not be put.
[[nodiscard]] bool PutPose(MotionCore& core, const MotionCore& posed, TimeValue t);

/// Whole frames from `first` to `last`, both included.
std::vector<TimeValue> FramesBetween(const MotionCore& core, TimeValue first, TimeValue last);

}  // namespace strider
