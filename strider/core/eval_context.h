// What an evaluation needs besides the core: the user's switches, read only while evaluating, and
// the sources of pose that stand above the keys. One context may serve many threads at once.
#pragma once

#include "strider/core/motion_core.h"

namespace strider {

struct EvalContext;

/// Something above the core's own keys that can pose a figure: layers, a flow, a mix. Rooms above
/// implement it; the core only knows when to ask.
class PoseSource {
 public:
  virtual ~PoseSource() = default;
  /// Sets the core's pose values at `t` (forward kinematics follow). False leaves the pose as it
  /// was.
  virtual bool EvaluatePose(MotionCore& core, TimeValue t, const EvalContext& context) = 0;
};

struct EvalContext {
  bool tiltFourLinkSwivel = false;  // four-link legs lean their plane towards the hock
  bool disableIk = false;           // limbs show their forward pose
  PoseSource* layers = nullptr;     // merges a stack of more than the base, bottom up
};

}  // namespace strider
