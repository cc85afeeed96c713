// A motion that was made without footsteps goes over to those that were found in it.
#pragma once

#include "strider/core/eval_context.h"

namespace strider {

/// Makes the footsteps of the track rule the motion, which stays as its keys have it: places and
/// heights are the keys' own, knees keep their bend. Feet stand still from touch to lift where the
/// keys let them drift: the point that a foot stands on, its heel first or its toes, is held where
/// it is on average, and the swings before and after take the difference over. A key that lacks at
/// a touch, a lift, or where a foot rolls over, is put in. Contacts that keys hold already keep
/// them to the bit. Footsteps move under the foot that they hold where that is further off than
/// `near`, in leg lengths; a turn counts a fifth of its radians. Periods without
/// support that are longer than anyone can jump become free-form. kRefused, nothing changed, for a
/// track without footsteps or if memory ran out.
[[nodiscard]] int AdoptFootsteps(MotionCore& core, float near, const EvalContext& context);

/// Lets the motion show its keys before its first footstep and behind its last, where some stand
/// there: they are free-form from then on. A motion without footsteps stays as it is.
void FreeTheEnds(MotionCore& core);

/// Holds the feet of a motion whose footsteps rule it anew, where keys of theirs were taken out or
/// moved since; footsteps settle under them. A foot that would jerk its knee may slide, unless it
/// is to stand `firmly`. kRefused, nothing changed, as above.
[[nodiscard]] int HoldFeetAnew(MotionCore& core, bool firmly, const EvalContext& context);

}  // namespace strider
