// Motions of footsteps become motions of free keys, and the other way round.
#pragma once

#include "strider/footsteps/extract_footsteps.h"

namespace strider {

/// Takes the footsteps off a motion: what its keys show stays, and leg keys that hold a foot keep
/// holding it. With `bake` every part gets a key on every frame first, so that flights and what
/// else the footsteps make between keys stays too. kRefused, nothing changed, for a motion that is
/// free-form already, in figure mode, or if memory ran out.
[[nodiscard]] int ConvertToFreeForm(MotionCore& core, bool bake, const EvalContext& context);

/// Puts all footsteps on one height; body and legs go there with them. kRefused if memory ran out.
[[nodiscard]] int FlattenFootsteps(MotionCore& core, float height, const EvalContext& context);

struct ToFootstepsOptions {
  bool bake = false;  // a key on every frame first
  bool flat = false;  // footsteps are put on height 0, and the motion follows
};

enum class ToFootstepsResult {
  kDone,
  kNoFootsteps,  // free-form as before, baked if that was asked for
  kRefused,      // nothing changed: it has footsteps already, is in figure mode, or without memory
};

/// Finds the footsteps of the feet that leg keys hold on the ground and lets them rule the motion,
/// which stays as it is: see AdoptFootsteps. A foot that no key holds gets none.
ToFootstepsResult ConvertToFootsteps(MotionCore& core, const ExtractionSettings& settings,
                                     const ToFootstepsOptions& options, ExtractionReport& report,
                                     const EvalContext& context);

}  // namespace strider
