// How high the body stands over its feet: the height that its legs allow at a time, and the two
// fractions by which a vertical key keeps its height when figure or footsteps change.
#pragma once

#include "strider/core/eval_context.h"
#include "strider/footsteps/foot_target.h"

namespace strider {

/// The body in a pose, as the height table asks for it: hips in the core's space, targets of the
/// two feet, states of the legs. Sides run right, left.
struct BodyStance {
  Point3 hip[2];
  FootTarget foot[2];
};
/// Reads the hips from the trunk as last evaluated and the targets from the footsteps at `t`.
BodyStance StanceAt(const MotionCore& core, TimeValue t, const int (&states)[2], GroundLevel level);

struct BodyHeight {
  float height = 0;
  float base = 0;     // ground that the fractions are measured from
  int namedLeg = -1;  // the leg that the body is drawn towards; -1 for none
  float weight = 1;   // share of its distance that the body keeps to that leg
};
/// Height of the body by the states of the legs. Each leg's limit is where it would stand straight
/// over its target, the foot flat; the states say how much of it is used.
BodyHeight BodyHeightOf(const MotionCore& core, const BodyStance& stance);

/// Leg and foot together: what a height over the ground is measured in.
float StandingReach(const MotionCore& core);

/// How the keys in a range take a change.
enum class HeightMode {
  kReadFractions,  // heights stand: field 16, 17 and 18 follow
  kKeepRange,      // field 17 rules: the height keeps its share of the allowed range
  kKeepLegs,       // field 18 rules: the height keeps its number of leg lengths over the ground
};
/// Refreshes the vertical keys from index `first` to `last`. Evaluates the core at each of them and
/// leaves it in the pose of the last one.
void RefreshHeights(MotionCore& core, int first, int last, HeightMode mode, GroundLevel level);

}  // namespace strider
