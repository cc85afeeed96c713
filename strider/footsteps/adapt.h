// A change to footsteps that have their motion is carried into the keys that depend on them.
#pragma once

#include "strider/core/eval_context.h"

namespace strider {

/// What adaptation leaves alone. The user's switches, one set for all figures.
struct AdaptLocks {
  bool horz = false, vert = false, turn = false;  // the body's tracks
  bool lleg = false, rleg = false;                // keys of a leg
  bool freeform = false;                          // leg keys inside free-form intervals
  bool time = false;                              // times of keys between contacts
};

/// Fits the motion to the footsteps from `firstFootstep` to `lastFootstep`, which have changed.
/// Nothing happens in free-form, in figure mode, or while a footstep has no keys yet.
void AdaptMotion(MotionCore& core, int firstFootstep, int lastFootstep, const AdaptLocks& locks,
                 const EvalContext& context);

}  // namespace strider
