#include "strider/footsteps/pose_sample.h"

#include <algorithm>

#include "strider/core/evaluate.h"
#include "strider/footsteps/extract_footsteps.h"

namespace strider {
namespace {

/// Angle of a bone ahead of straight down, seen from the side of a body that faces `ahead`.
float SwingOf(const Point3& bone, const Point3& ahead) { return Atan2(Dot(bone, ahead), -bone.y); }

/// Knee flexion with its sign: a bend about the other side of the stance's knee axis is backwards.
float SignedFlexion(const LimbRecord& leg, const Matrix3& thigh) {
  const Point3 stanceAxis =
      FrameOf(leg.parent.rotation * leg.baseRotation * leg.rest.limbRotation, {}).row[2];
  const float flexion = kPi - leg.pose.jointAngles[kHinge];
  return Dot(stanceAxis, thigh.row[2]) < 0 ? -flexion : flexion;
}

/// How far off the leg's end the pivot would have it. The pose keeps only what the leg attained;
/// the place of the pivot and the foot's turn about it tell what was asked.
float ReachOf(const LimbRecord& leg, const Matrix3& foot) {
  if (leg.pose.ikSpace != kObjectSpace || !(leg.pose.ikBlend > 0)) return 0;
  const PivotChoice pivot{leg.pose.pivotKind, leg.pose.pivotIndex, leg.pose.pivotDigit,
                          leg.pose.pivotLink};
  const Point3 asked =
      ThroughObject(leg, leg.pose.pivotPosition) - TransformVector(PivotPoint(leg, pivot), foot);
  return Length(asked - leg.base.origin) / leg.totalLength;
}

LegSample ReadLeg(const LimbRecord& leg, const Point3& ahead, const LegSample* before) {
  LegSample sample;
  sample.thigh = leg.frame[0];
  sample.calf = leg.frame[1];
  sample.foot = leg.frame[NumLimbLinks(leg) - 1];
  sample.hip = sample.thigh.Origin();
  sample.knee = sample.calf.Origin();
  sample.ankle = sample.foot.Origin();
  sample.print = PlaceOfPrint(leg);
  for (int i = 0; i < kNumSolePoints; ++i) {
    sample.sole[i] = PivotPoint(leg, PivotChoice{kNamedPivot, i + 1, 0, 0}) * sample.foot;
  }
  sample.flexion = SignedFlexion(leg, sample.thigh);
  sample.thighSwing = SwingOf(sample.thigh.row[0], ahead);
  sample.footPitch = Asin(std::clamp(sample.foot.row[1].y, -1.0f, 1.0f));
  const LimbPose& pose = leg.pose;
  sample.pivot = {pose.pivotKind, pose.pivotIndex, pose.pivotDigit, pose.pivotLink};
  sample.pivotPlace = PivotPoint(leg, sample.pivot) * sample.foot;
  if (before) sample.earlierPivot = PivotPoint(leg, before->pivot) * sample.foot;
  sample.reach = ReachOf(leg, sample.foot);
  return sample;
}

void ReadDigits(const LimbRecord& limb, const char* name, std::vector<JointSample>& joints) {
  for (int d = 0; d < limb.numDigits; ++d) {
    const DigitRecord& digit = limb.digits[d];
    for (int k = 0; k < digit.numLinks; ++k) {
      Quat turn = k == 0 ? digit.pose.base * digit.pose.link[0] : digit.pose.link[k];
      if (limb.isLeg) turn = (k == 0 ? turn : Quat{}) * AboutZ(-digit.pose.bend[k]);
      joints.push_back({name, turn});
    }
  }
}

void ReadChain(const ChainRecord& chain, const char* name, std::vector<JointSample>& joints) {
  for (int k = 0; k < chain.numLinks; ++k) joints.push_back({name, chain.pose[k]});
}

/// Every joint that the figure has, in an order that is the same at all times.
std::vector<JointSample> ReadJoints(const MotionCore& core) {
  static constexpr const char* kLegNames[2][4] = {
      {"right hip", "right knee", "right ankle", "right toes"},
      {"left hip", "left knee", "left ankle", "left toes"}};
  static constexpr const char* kArmNames[2][5] = {
      {"right shoulder", "right elbow", "right wrist", "right fingers", "right clavicle"},
      {"left shoulder", "left elbow", "left wrist", "left fingers", "left clavicle"}};
  std::vector<JointSample> joints = {
      {"body", core.body.bodyRotation}, {"pelvis", core.pelvis.pose}, {"head", core.head.pose}};
  const auto readLimb = [&joints](const LimbRecord& limb, const char* const* names) {
    joints.push_back({names[0], limb.pose.limbRotation});
    joints.push_back({names[1], AboutZ(limb.pose.jointAngles[kHinge])});
    joints.push_back({names[2], limb.pose.endRotation});
    ReadDigits(limb, names[3], joints);
  };
  for (int side = 0; side < 2; ++side) {
    readLimb(core.leg[side], kLegNames[side]);
    if (!core.structure.arms) continue;
    const LimbRecord& arm = core.arm[side];
    readLimb(arm, kArmNames[side]);
    joints.push_back({kArmNames[side][4], AboutZ(arm.pose.clavicle[0])});
    joints.push_back({kArmNames[side][4], AboutZ(arm.pose.clavicle[1])});
  }
  ReadChain(core.spine, "spine", joints);
  ReadChain(core.neck, "neck", joints);
  return joints;
}

/// The head's frame has X up.
float HeadTilt(const MotionCore& core) {
  return Acos(std::clamp(core.head.frame.row[0].y, -1.0f, 1.0f));
}

}  // namespace

PoseSample TakePoseSample(MotionCore& core, TimeValue t, const EvalContext& context,
                          const PoseSample* before) {
  CorePose(core, t, context);
  PoseSample sample;
  sample.time = t;
  sample.body = core.body.bodyPosition;
  sample.liftedHeight = core.body.bodyPosition.y + core.body.balanceOffset.y;
  sample.bodyFrame = core.body.bodyMatrix;
  sample.pelvis = core.pelvis.frame;
  const Point3 facing = sample.bodyFrame.row[0];
  const Point3 ahead = Normalized({facing.x, 0, facing.z}, {1, 0, 0});
  for (int side = 0; side < 2; ++side) {
    sample.leg[side] = ReadLeg(core.leg[side], ahead, before ? &before->leg[side] : nullptr);
    sample.armSwing[side] = SwingOf(core.arm[side].frame[1].row[0], ahead);
  }
  sample.headTilt = HeadTilt(core);
  sample.joints = ReadJoints(core);
  return sample;
}

}  // namespace strider
