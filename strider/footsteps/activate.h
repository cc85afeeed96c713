// Footsteps that wait get their motion.
#pragma once

#include "strider/footsteps/generate.h"

namespace strider {

/// How a request for motion ended.
enum class ActivationResult {
  kDone,
  kNoFootsteps,     // nothing to do
  kNothingPending,  // all footsteps have their keys
  kOutOfMemory,     // nothing changed
};

/// Makes the keys that the inactive footsteps imply; all footsteps are active afterwards. New
/// footsteps at the end leave the motion before them alone; each run of new ones before others is
/// fitted in, from the swing that leads to it to the touch that follows it on its last side.
[[nodiscard]] ActivationResult NewFootprintKeys(MotionCore& core, const EvalContext& context,
                                                const GenerateOptions& options = {});

}  // namespace strider
