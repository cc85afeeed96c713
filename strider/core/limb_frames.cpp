#include "strider/core/limb_frames.h"

namespace strider {
namespace {

/// Turn of a clavicle: swing ahead about its own up axis, droop about the axis ahead.
const Quat& ClavicleTurn(LimbRecord& arm) {
  ClavicleMemo& memo = arm.clavicleMemo;
  const float(&angles)[2] = arm.pose.clavicle;
  if (memo.angles[0] != angles[0] || memo.angles[1] != angles[1]) {
    const float side = arm.side == kRight ? 1.0f : -1.0f;
    memo.turn = AboutZ(angles[0]) * AboutY(side * angles[1]);
    memo.angles[0] = angles[0];
    memo.angles[1] = angles[1];
  }
  return memo.turn;
}

}  // namespace

void PlaceLimbBase(const MotionCore& core, LimbRecord& limb) {
  if (limb.isLeg) {
    limb.parent = core.pelvisFrame;
    limb.base = ChildFrame(limb.parent, limb.baseRotation, limb.baseOffset);
    return;
  }
  limb.parent =
      ChildFrame(core.spineEnd, limb.clavicleRotation * ClavicleTurn(limb), limb.baseOffset);
  limb.base = ChildFrame(limb.parent, limb.baseRotation, {limb.dimensions[0].x, 0, 0});
}

void ComputeLimbTransforms(LimbRecord& limb) {
  int link = 0;
  if (!limb.isLeg) limb.frame[link++] = UnitFrame(limb.parent.rotation, limb.parent.origin);
  const LimbPose& pose = limb.pose;
  const LimbShape& shape = ShapeOfPose(limb);
  const Quat& base = limb.base.rotation;
  const Matrix3 baseFrame = UnitFrame(base, limb.base.origin);
  limb.frame[link++] = UnitFrame(base * pose.limbRotation, limb.base.origin);
  limb.frame[link++] = UnitFrame(base * shape.lowerRotation, shape.joint * baseFrame);
  const Quat last = base * shape.lastRotation;
  if (limb.hasFourLinks) limb.frame[link++] = UnitFrame(last, shape.hock * baseFrame);
  limb.pose.worldTarget = shape.end * baseFrame;
  const Quat end = last * pose.endRotation;
  limb.frame[link] = UnitFrame(end, limb.pose.worldTarget);

  for (int d = 0; d < limb.numDigits; ++d) {
    DigitRecord& digit = limb.digits[d];
    Point3 joint = digit.baseOffset * limb.frame[link];
    Quat rotation = end * digit.baseRotation * digit.pose.base;
    for (int k = 0; k < digit.numLinks; ++k) {
      if (!limb.isLeg || k == 0) rotation = rotation * digit.pose.link[k];
      if (limb.isLeg) rotation = rotation * AboutZ(-digit.pose.bend[k]);
      digit.frame[k] = UnitFrame(rotation, joint);
      joint += digit.dimensions[k].x * digit.frame[k].row[0];
    }
  }
}

Quat LastSegmentInWorld(const LimbRecord& limb, const LimbShape& shape) {
  return limb.base.rotation * shape.lastRotation;
}

Point3 IntoBase(const LimbRecord& limb, const Point3& world) {
  return Rotate(Conjugate(limb.base.rotation), world - limb.base.origin);
}
Point3 OutOfBase(const LimbRecord& limb, const Point3& local) {
  return limb.base.origin + Rotate(limb.base.rotation, local);
}

Point3 ThroughObject(const LimbRecord& limb, const Point3& point) {
  return HasObjectFrame(limb) ? point * limb.objectFrame : point;
}

bool HasObjectFrame(const LimbRecord& limb) {
  const Matrix3& m = limb.objectFrame;
  return !(m.row[0].x == 1 && m.row[1].y == 1 && m.row[2].z == 1 && m.row[3] == Point3{});
}

Quat ObjectRotation(const LimbRecord& limb) {
  return HasObjectFrame(limb) ? RotationOf(Orthogonalized(limb.objectFrame)) : Quat{};
}

}  // namespace strider
