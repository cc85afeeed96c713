// A whole motion from footsteps: keys on body, legs, arms, spine and pelvis, and the flights.
#pragma once

#include "strider/core/eval_context.h"
#include "strider/footsteps/leg_fit.h"

namespace strider {

struct GenerateOptions {
  /// Arms and spine vary a little from one key to the next, as people do.
  bool variation = true;
};

/// Replaces all keys of body, pelvis, legs, arms and spine by the motion that the footsteps imply;
/// all footsteps are active afterwards. Other tracks stay. Without footsteps nothing happens.
/// kRefused if memory ran out, the core then being of no use: callers work on a copy.
[[nodiscard]] int GenerateMotion(MotionCore& core, const EvalContext& context,
                                 const GenerateOptions& options = {});

/// Fits every leg key to the footsteps and to the body as it moves now. Both legs in one pass over
/// time: the trunk is posed once where both have a key.
[[nodiscard]] int FitLegKeys(MotionCore& core, const EvalContext& context);

/// When the contact is that a leg key at `t` was made for: keys stand on whole frames, contacts
/// need not. `t` itself for keys between contacts.
TimeValue MomentOfLegKey(const FootstepTrack& track, int side, TimeValue t, int state);

/// What a leg does in the moment of a key at `t`: states of both legs, and whether the time belongs
/// to a run or a jump. Between contacts of a key's own time the footsteps decide.
LegPhase LegPhaseAt(const FootstepTrack& track, int side, TimeValue t, int state);

}  // namespace strider
