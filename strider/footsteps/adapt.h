// Footsteps of a motion were changed: the keys follow, and what else was edited into them stays.
#pragma once

#include "strider/core/eval_context.h"

namespace strider {

/// Parts that adaptation leaves alone.
struct AdaptLocks {
  bool horz = false, vert = false, turn = false;
  bool lleg = false, rleg = false;
  bool freeform = false;  // leg keys in free-form intervals stay where they are
  bool time = false;      // keys stay at their times
};

/// How a fit of keys to footsteps ended.
enum class AdaptResult {
  kDone,
  kRebuilt,      // the pattern of supports had changed: the motion was made anew
  kNothing,      // free-form, figure mode, or footsteps wait for their motion
  kOutOfMemory,  // nothing changed, and the footsteps are again as they were before
};

/// Refits the keys around footsteps `first` to `last`, which were moved in space or time since
/// `before` (the whole track as it was). Keys keep their place in the rhythm, their distance from
/// the path that the footsteps imply, and their share of the height that the legs allow; keys that
/// nothing asks to move keep their bits. Where the same supports no longer follow each other, or
/// keys no longer find room between two of them, the motion is made anew.
[[nodiscard]] AdaptResult AdaptMotion(MotionCore& core, FootstepTrack before, int first, int last,
                                      const AdaptLocks& locks, const EvalContext& context);

/// The same in figure mode too and whatever footsteps wait, where no time has changed: for edits of
/// the figure itself.
[[nodiscard]] AdaptResult AdaptToPlaces(MotionCore& core, FootstepTrack before,
                                        const EvalContext& context);

/// Makes the motion of all footsteps anew. With fewer than two footsteps the figure becomes
/// free-form and empty of them.
[[nodiscard]] AdaptResult RebuildMotion(MotionCore& core, const EvalContext& context);

/// Notes the present transitions, to be compared by CheckPattern after an edit.
void SaveTransitions(FootstepTrack& track);
/// After an edit: rebuilds the motion if any transition's span, time, support or length differs
/// from those noted, or whatever they are with `force`. kNothing if none does. For edits by those
/// who kept no copy of the track: it loses what was edited in the keys wherever a footstep changed
/// its time, which AdaptMotion keeps as long as supports follow each other as before. Edits through
/// the host are such that AdaptMotion takes them.
[[nodiscard]] AdaptResult CheckPattern(MotionCore& core, bool force, const EvalContext& context);

}  // namespace strider
