// The key that a leg gets at a contact or on its way: the foot set on its footstep, pitched as
// walking asks, and the leg bent to reach it from the hip.
#pragma once

#include "strider/core/eval_context.h"
#include "strider/core/limb_pivot.h"
#include "strider/footsteps/foot_target.h"

namespace strider {

/// What a leg key is made for.
struct LegPhase {
  TimeValue time = 0;
  int state = kPlant;       // of this leg
  int otherState = kPlant;  // of the other
  bool nearAir = false;     // part of a run or a jump
};

/// Where a foot goes: its place in the core's space and the pivot that it stands on.
struct FootPlacement {
  Quat rotation;  // the core's space
  Point3 ankle;
  PivotChoice pivot;
  float pitch = 0;  // toes down, radians
};

/// The placement of a side's foot by `footsteps`, which may be others than the core's own. The core
/// stands in the pose of the phase's time: the pitch follows from how far ahead of its hip, or
/// behind it, the foot is.
FootPlacement PlaceFoot(const MotionCore& core, const FootstepTrack& footsteps, int side,
                        const LegPhase& phase, GroundLevel level);

/// The leg key of a placement, the core in the pose of its time. Leaves the leg in that pose.
LimbKey LegKeyOf(MotionCore& core, int side, const LegPhase& phase, const FootPlacement& placement,
                 const EvalContext& context);

/// Where a key has its foot, the core in the pose of its time and the leg's base placed.
FootPlacement PlacementOfKey(const MotionCore& core, int side, const LimbKey& key);

/// How a leg at rest bends to bring its foot to a placement: what a key's own bend is measured by.
struct LegFit {
  float hinge = 0;
  Quat limbRotation;
};
/// The fit for a key, whose third segment keeps its angles; the core in the pose of its time.
LegFit FitLeg(MotionCore& core, int side, const LimbKey& key, const FootPlacement& placement,
              const EvalContext& context);

/// A key brought to another placement, the core in the pose of its new time. It differs from the
/// fit there as it did from `before`, the fit to its old placement; toes follow the pitch, which
/// was `oldPitch`; what else it holds stays, its pivot among it.
LimbKey RefitLegKey(MotionCore& core, int side, const LimbKey& old, const LegFit& before,
                    const FootPlacement& placement, float oldPitch, const EvalContext& context);

}  // namespace strider
