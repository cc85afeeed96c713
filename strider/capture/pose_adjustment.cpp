#include "strider/capture/pose_adjustment.h"

#include <algorithm>

#include "strider/core/evaluate.h"
#include "strider/core/motion_range.h"

namespace strider {
namespace {

/// The turn that takes `from` to `to`, about the part's own axes.
Quat Offset(const Quat& from, const Quat& to) { return Normalized(Conjugate(from) * to); }
void Turn(Quat& turn, const Quat& offset) { turn = Normalized(turn * offset); }

/// Of the body only its lean: where and whither the take goes stays the take's.
Quat Lean(const Quat& rotation) {
  const Point3 up = Rotate(Conjugate(rotation), {0, 1, 0});
  return ShortestTurn(up, {0, 1, 0});
}

}  // namespace

PoseAdjustment::PoseAdjustment(const Talent& talent, const CapturedPose& reference,
                               const SolveOptions& options, const MotionCore& pose) {
  MotionCore from = talent.figure, to = pose;
  SolvePose(talent, reference, options, PlanesOf(talent, {&reference, 1}).front(), from);
  CorePose(to, MotionRange(pose).start, {});
  body_ = Offset(Lean(from.body.bodyRotation), Lean(to.body.bodyRotation));
  pelvis_ = Offset(from.pelvis.pose, to.pelvis.pose);
  head_ = Offset(from.head.pose, to.head.pose);
  for (int k = 0; k < std::min(from.spine.numLinks, to.spine.numLinks); ++k) {
    spine_[k] = Offset(from.spine.pose[k], to.spine.pose[k]);
  }
  for (int k = 0; k < std::min(from.neck.numLinks, to.neck.numLinks); ++k) {
    neck_[k] = Offset(from.neck.pose[k], to.neck.pose[k]);
  }
  const auto offsets = [](const LimbRecord& a, const LimbRecord& b, LimbOffset& offset) {
    for (int i = 0; i < kNumJointAngles; ++i) {
      offset.jointAngles[i] = b.pose.jointAngles[i] - a.pose.jointAngles[i];
    }
    for (int i = 0; i < 2; ++i) offset.clavicle[i] = b.pose.clavicle[i] - a.pose.clavicle[i];
    offset.limb = Offset(a.pose.limbRotation, b.pose.limbRotation);
    offset.end = Offset(a.pose.endRotation, b.pose.endRotation);
    for (int d = 0; d < std::min(a.numDigits, b.numDigits); ++d) {
      const DigitKey &was = a.digits[d].pose, &is = b.digits[d].pose;
      offset.digits[d].base = Offset(was.base, is.base);
      for (int k = 0; k < kMaxDigitLinks; ++k) {
        offset.digits[d].link[k] = Offset(was.link[k], is.link[k]);
        offset.digits[d].bend[k] = is.bend[k] - was.bend[k];
      }
    }
  };
  for (int side = 0; side < 2; ++side) {
    offsets(from.leg[side], to.leg[side], leg_[side]);
    if (from.structure.arms && to.structure.arms) {
      offsets(from.arm[side], to.arm[side], arm_[side]);
    }
  }
}

void PoseAdjustment::Apply(MotionCore& figure) const {
  Turn(figure.body.bodyRotation, body_);
  Turn(figure.pelvis.pose, pelvis_);
  Turn(figure.head.pose, head_);
  for (int k = 0; k < figure.spine.numLinks; ++k) Turn(figure.spine.pose[k], spine_[k]);
  for (int k = 0; k < figure.neck.numLinks; ++k) Turn(figure.neck.pose[k], neck_[k]);
  const auto turn = [](LimbRecord& limb, const LimbOffset& offset) {
    for (int i = 0; i < kNumJointAngles; ++i) limb.pose.jointAngles[i] += offset.jointAngles[i];
    for (int i = 0; i < 2; ++i) limb.pose.clavicle[i] += offset.clavicle[i];
    Turn(limb.pose.limbRotation, offset.limb);
    Turn(limb.pose.endRotation, offset.end);
    for (int d = 0; d < limb.numDigits; ++d) {
      DigitKey& digit = limb.digits[d].pose;
      Turn(digit.base, offset.digits[d].base);
      for (int k = 0; k < kMaxDigitLinks; ++k) {
        Turn(digit.link[k], offset.digits[d].link[k]);
        digit.bend[k] += offset.digits[d].bend[k];
      }
    }
  };
  for (int side = 0; side < 2; ++side) {
    turn(figure.leg[side], leg_[side]);
    turn(figure.arm[side], arm_[side]);
  }
  CoreForwardKinematics(figure);
}

}  // namespace strider
