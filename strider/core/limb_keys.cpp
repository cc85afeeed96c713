#include "strider/core/limb_keys.h"

#include "strider/core/evaluate.h"
#include "strider/core/key_edit.h"

namespace strider {

namespace {

/// The current pose as a key whose hand or foot is held in the space that the key's kind names.
LimbKey PoseAsKey(const MotionCore& core, const LimbRecord& limb, float ikBlend, int ikSpace,
                  int joined) {
  const LimbPose& pose = limb.pose;
  LimbKey key = limb.rest;
  for (int i = 0; i < kNumJointAngles; ++i) key.jointAngles[i] = pose.jointAngles[i];
  key.limbRotation = pose.limbRotation;
  key.endRotation = pose.endRotation;
  key.clavicle[0] = pose.clavicle[0];
  key.clavicle[1] = pose.clavicle[1];
  key.keyState = limb.keyState;
  key.forwardBend = pose.forwardBend;
  key.ikBlend = ikBlend;
  key.ikAnkleTension = pose.ikAnkleTension;
  key.ikSpace = ikSpace;
  key.ikJoinedPivot = joined;
  for (int d = 0; d < limb.numDigits; ++d) key.digits[d] = limb.digits[d].pose;

  const LimbShape shape = ForwardLimb(LengthsOf(limb), pose.jointAngles, pose.limbRotation);
  key.bodyTarget = shape.end;
  const Quat endWorld = Normalized(LastSegmentInWorld(limb, shape) * pose.endRotation);
  Point3 endPlace = OutOfBase(limb, shape.end);
  const Quat object = ObjectRotation(limb);
  if (HasObjectFrame(limb)) endPlace = endPlace * Inverse(limb.objectFrame);
  key.objectTarget = endPlace;
  const Quat body = limb.isLeg ? core.body.bodyRotation : limb.parent.rotation;
  const Quat space = ikSpace == kObjectSpace ? object : body;
  key.spaceRotation = Normalized(Conjugate(space) * endWorld);
  if (limb.isLeg) {
    const Quat inBody = Conjugate(core.body.bodyRotation) * endWorld;
    key.anklePose = QuatToEuler(inBody, 0);
  }
  const PivotChoice pivot{pose.pivotKind, pose.pivotIndex, pose.pivotDigit, pose.pivotLink};
  key.pivotKind = pivot.kind;
  key.pivotIndex = pivot.index;
  key.pivotDigit = pivot.digit;
  key.pivotLink = pivot.link;
  key.pivotPosition = endPlace + Rotate(Conjugate(object) * endWorld, PivotPoint(limb, pivot));
  key.joinedPivotPosition = key.pivotPosition;
  return key;
}

}  // namespace

LimbKey CurrentLimbKey(const MotionCore& core, const LimbRecord& limb) {
  const LimbPose& pose = limb.pose;
  return PoseAsKey(core, limb, pose.ikBlend, pose.ikSpace, pose.ikJoinedPivot);
}

LimbKey CurrentLimbKey(const MotionCore& core, const LimbRecord& limb, LimbKeyKind kind) {
  LimbKey form;
  SetKeyKind(form, kind);
  return PoseAsKey(core, limb, form.ikBlend, form.ikSpace, form.ikJoinedPivot);
}

void SetKeyKind(LimbKey& key, LimbKeyKind kind) {
  key.ikBlend = kind == kFreeKey ? 0.0f : 1.0f;
  key.ikSpace = kind == kFreeKey ? kBodySpace : kObjectSpace;
  key.ikJoinedPivot = kind == kPlantedKey ? 1 : 0;
}

LimbKeyKind KeyKindOf(const LimbKey& key) {
  if (!HoldsObject(key)) return kFreeKey;
  return key.ikJoinedPivot ? kPlantedKey : kSlidingKey;
}

void RefreshObjectSpaceKeys(MotionCore& core, int limbId, const ObjectFrameAt& objectFrameAt,
                            const EvalContext& context) {
  LimbRecord* limb = FindLimb(core, limbId);
  if (!limb || limb->table.Empty()) return;
  MotionCore scratch = core;
  LimbRecord& reader = *FindLimb(scratch, limbId);
  for (int i = 0; i < limb->table.track.numKeys; ++i) {
    LimbKey& key = limb->table.keys[static_cast<std::size_t>(i)];
    if (!InObjectSpace(key)) continue;
    const TimeValue t = limb->table.TimeOf(i);
    reader.objectFrame = objectFrameAt(t);
    CoreEvaluate(scratch, t, context);
    CoreForwardKinematics(scratch);
    const LimbKey now = CurrentLimbKey(scratch, reader);
    for (int a = 0; a < kNumJointAngles; ++a) key.jointAngles[a] = now.jointAngles[a];
    key.limbRotation = now.limbRotation;
    key.endRotation = now.endRotation;
    key.bodyTarget = now.bodyTarget;
    key.anklePose = now.anklePose;
    key.objectTarget = now.objectTarget;
    SetKeyPivot(*limb, key, PivotOf(key));
  }
  AlignKeys(core, limbId);
}

void ChangeObjectSpace(MotionCore& core, int limbId, const ObjectFrameAt& before,
                       const ObjectFrameAt& after) {
  LimbRecord* limb = FindLimb(core, limbId);
  if (!limb) return;
  for (int i = 0; i < limb->table.track.numKeys; ++i) {
    LimbKey& key = limb->table.keys[static_cast<std::size_t>(i)];
    if (!InObjectSpace(key)) continue;
    const TimeValue t = limb->table.TimeOf(i);
    const Matrix3 change = before(t) * Inverse(after(t));
    key.objectTarget = key.objectTarget * change;
    key.pivotPosition = key.pivotPosition * change;
    const Quat turn = RotationOf(Orthogonalized(change));
    key.spaceRotation = Normalized(turn * key.spaceRotation);
    if (i > 0) JoinPivots(*limb, limb->table[i - 1], key);
  }
  AlignKeys(core, limbId);
}

}  // namespace strider
