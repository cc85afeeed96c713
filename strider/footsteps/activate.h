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
/// footsteps at the end leave the motion before them alone; new ones before others are fitted in.
[[nodiscard]] ActivationResult NewFootprintKeys(MotionCore& core, const EvalContext& context,
                                                const GenerateOptions& options = {});

}  // namespace strider
