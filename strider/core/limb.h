// How a limb's keys become its pose: forward angles, the target that inverse kinematics follows,
// the point about which a planted foot or hand turns, and the frames of its links and digits.
#pragma once

#include <functional>

#include "strider/core/eval_context.h"
#include "strider/core/limb_solver.h"

namespace strider {

/// The contact of a leg at `t` by its own keys: a touch lasts a frame and a lift an instant, after
/// which they read as plant and move. kMove without keys and in free-form.
LegState LegKeyState(const MotionCore& core, const LimbRecord& limb, TimeValue t);

/// Sets the pose of a limb at `t` from its keys: forward pose, target, pivot, ankle, digits, and
/// the blend between forward and inverse kinematics. Needs the frames of pelvis and spine at `t`.
/// `layerWeight` scales ikBlend; `strict` lets a leg's foot turn about its pivot to keep the knee.
/// Allocates nothing.
void EvaluateLimbFull(MotionCore& core, LimbRecord& limb, TimeValue t, const EvalContext& context,
                      float layerWeight = 1, bool strict = true);

/// Where the limb starts from, by pelvis or spine and its clavicle's angles.
void PlaceLimbBase(const MotionCore& core, LimbRecord& limb);
/// Frames of the limb's links and digits from its pose, on the base as it was last placed.
void ComputeLimbTransforms(LimbRecord& limb);

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
Point3 PivotPoint(const LimbRecord& limb, const PivotChoice& choice);
/// A key's own pivot, with the digits as the key holds them.
Point3 PivotPoint(const LimbRecord& limb, const LimbKey& key);
/// Notes in a key where its pivot lies at the key before: an unjoined pivot travels from there.
void JoinPivots(const LimbRecord& limb, const LimbKey& before, LimbKey& key);
/// Seven, and every digit's joints with its end where digits have no sub-tracks of their own.
int NumPivots(const LimbRecord& limb);
/// The choice behind a pivot's running number, 0 to NumPivots - 1.
PivotChoice PivotOfNumber(const LimbRecord& limb, int number);

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

/// Kinds of limb keys: planted and sliding ones hold the target in object space, a free one shows
/// the forward pose; a planted key's pivot continues from the key before.
enum LimbKeyKind : int { kPlantedKey, kSlidingKey, kFreeKey };

/// A key that holds the limb's current pose: angles, targets in both spaces, rotations, pivot. It
/// keeps the blend and space now in force, or takes those of a kind; the pose at the key is the
/// same either way. The frames must be up to date.
LimbKey CurrentLimbKey(const MotionCore& core, const LimbRecord& limb);
LimbKey CurrentLimbKey(const MotionCore& core, const LimbRecord& limb, LimbKeyKind kind);

/// Gives a key the blend, space and join of its kind.
void SetKeyKind(LimbKey& key, LimbKeyKind kind);
/// The kind that a key's values make; free for anything that is neither planted nor sliding.
LimbKeyKind KeyKindOf(const LimbKey& key);
/// Chooses a key's pivot; its position follows from the key's own target and rotation, both in
/// object space.
void SetKeyPivot(const LimbRecord& limb, LimbKey& key, const PivotChoice& pivot);

/// Where an IK object stands at a time, in the core's space.
using ObjectFrameAt = std::function<Matrix3(TimeValue)>;

/// Brings every object-space key of a limb up to date after its IK object has moved: the whole
/// figure is evaluated at the key on a copy, and the pose that follows the object is written into
/// the key. The core's own pose stays.
void RefreshObjectSpaceKeys(MotionCore& core, int limbId, const ObjectFrameAt& objectFrameAt,
                            const EvalContext& context);

/// Makes a limb's object-space keys relative to another object, the limb's end and pivots staying
/// where they are at each key.
void ChangeObjectSpace(MotionCore& core, int limbId, const ObjectFrameAt& before,
                       const ObjectFrameAt& after);

}  // namespace strider
