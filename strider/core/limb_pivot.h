// The point about which a planted foot or hand turns, and how a foot turns about it.
#pragma once

#include "strider/core/eval_context.h"
#include "strider/core/limb_frames.h"

namespace strider {

/// A pivot in the frame of the foot or hand. Seven named ones: 0 the ankle or wrist, then the
/// heel row and the toe row (a hand: its base and its far end), each in the order -Z or -Y,
/// middle, +. A digit's joint lies where the link starts, the last where the digit ends. Digit and
/// link are held to the figure's counts.
struct PivotChoice {
  int kind = kNamedPivot;
  int index = 0;
  int digit = 0;
  int link = 0;
  friend bool operator==(const PivotChoice&, const PivotChoice&) = default;
};
/// The pivot that a key chooses.
PivotChoice PivotOf(const LimbKey& key);
Point3 PivotPoint(const LimbRecord& limb, const PivotChoice& choice);
/// A key's own pivot, with the digits as the key holds them.
Point3 PivotPoint(const LimbRecord& limb, const LimbKey& key);
/// Chooses a key's pivot; its position follows from the key's own target and rotation, both in
/// object space.
void SetKeyPivot(const LimbRecord& limb, LimbKey& key, const PivotChoice& pivot);
/// Notes in a key where its pivot lies at the key before: an unjoined pivot travels from there.
void JoinPivots(const LimbRecord& limb, const LimbKey& before, LimbKey& key);
/// Seven, and every digit's joints with its end where digits have no sub-tracks of their own.
int NumPivots(const LimbRecord& limb);
/// The choice behind a pivot's running number, 0 to NumPivots - 1.
PivotChoice PivotOfNumber(const LimbRecord& limb, int number);

/// Brings the limb's end to its local target, or as near as it reaches.
void SolveToLocalTarget(LimbRecord& limb, const EvalContext& context);
/// Places the limb so that the pivot in force stands at `anchor` (object space), the foot or hand
/// keeping its rotation `endWorld`.
void PlacePivotedLimb(LimbRecord& limb, const Point3& anchor, const PivotChoice& pivot,
                      const Quat& endWorld, const EvalContext& context);

/// Turns the foot about its pivot so that the knee comes nearer to its keyed angle, as far as
/// the ankle tension, the ground and the leg's stretch allow. True if the foot moved.
struct AnkleAdjustment {
  float keyedHinge = kPi;
  float tension = 0;  // of the two span keys, eased
  bool needAboveGround = true;
  bool probe = false;  // ask for the turn without the rules for a folded knee
};
bool AdjustAnkle(LimbRecord& limb, const AnkleAdjustment& adjustment, const Point3& pivotOffset,
                 Quat& endInBase, const EvalContext& context);

/// Toes stay as they lay when the foot turns over its toe row from one rotation to another.
void AdjustToesToPivot(LimbRecord& limb, const Quat& before, const Quat& after);

}  // namespace strider
