// Keys of limbs: their kinds, the key that holds a pose, and keys that stand on an IK object.
#pragma once

#include <functional>

#include "strider/core/limb_pivot.h"

namespace strider {

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
