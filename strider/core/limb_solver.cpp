#include "strider/core/limb_solver.h"

#include <algorithm>

namespace strider {
namespace {

// How far short of its full length a limb stays when its target is out of reach.
constexpr double kReachMargin = 1.5e-5;
// What a limb whose target lies on its base folds to: half the reach less half of this.
constexpr double kHalfReachMargin = 0.15;
constexpr double kLeastReachShare = 0.25;
// Share of the hock's direction that the four-link option mixes into the swivel.
constexpr float kSwivelTilt = 0.3f;

/// Cosine of the angle between sides p and q of a triangle whose third side is r.
double CosineOf(double p, double q, double r) {
  return std::clamp((p * p + q * q - r * r) / (2 * p * q), -1.0, 1.0);
}

/// Frame with rows along azimuth and elevation of the unit swivel, which is its third row: with
/// e = atan2(x, z) and sin a = -y the rows are (cos e, 0, -sin e), (sin e sin a, cos a,
/// cos e sin a) and (sin e cos a, -sin a, cos e cos a). Read off without the angles themselves.
struct SwivelFrame {
  double first[3], second[3];
};
SwivelFrame FrameOfSwivel(const Point3& s) {
  const double x = s.x, y = s.y, z = s.z;
  const double cosA = std::sqrt(x * x + z * z);
  const double sinE = cosA > 0 ? x / cosA : 0, cosE = cosA > 0 ? z / cosA : 1;
  const double sinA = -y;
  return {{cosE, 0, -sinE}, {sinE * sinA, cosA, cosE * sinA}};
}

double Project(const Point3& p, const double (&axis)[3]) {
  return p.x * axis[0] + p.y * axis[1] + p.z * axis[2];
}

/// Distances in the limb's plane of a leg with a third segment, for a given line between base
/// and hock.
struct ThirdSegment {
  double cosPitch, sinPitch;  // against the line from hip to ankle
  double inPlane;             // the segment's length within the limb's plane
  double outOfPlane;

  ThirdSegment(const SegmentLengths& lengths, const float (&angles)[kNumJointAngles]) {
    const SinCosD pitch = SinCosOf(angles[kThirdPitch]), lean = SinCosOf(angles[kThirdLean]);
    cosPitch = pitch.cos;
    sinPitch = pitch.sin;
    inPlane = lengths.third * lean.cos;
    outOfPlane = lengths.third * lean.sin;
  }
  /// Hip to ankle within the plane, when hip to hock is `hock`.
  double AnkleDistance(double hock) const {
    const double across = inPlane * sinPitch;
    return inPlane * cosPitch + std::sqrt(std::max(0.0, hock * hock - across * across));
  }
};

}  // namespace

SegmentLengths LengthsOf(const LimbRecord& limb) {
  return {limb.upperLength, limb.lowerLength, limb.hasFourLinks ? limb.endLength : 0,
          limb.hasFourLinks};
}

const LimbShape& ShapeOfPose(LimbRecord& limb) {
  const LimbPose& pose = limb.pose;
  ShapeMemo& memo = limb.shapeMemo;
  const SegmentLengths lengths = LengthsOf(limb);
  if (!(memo.lengths == lengths) || !(memo.limbRotation == pose.limbRotation) ||
      !std::equal(pose.jointAngles, pose.jointAngles + kNumJointAngles, memo.jointAngles)) {
    memo.lengths = lengths;
    memo.limbRotation = pose.limbRotation;
    std::copy(pose.jointAngles, pose.jointAngles + kNumJointAngles, memo.jointAngles);
    memo.shape = ForwardLimb(lengths, pose.jointAngles, pose.limbRotation);
  }
  return memo.shape;
}

float ReachOf(const SegmentLengths& lengths) {
  return lengths.upper + lengths.lower + (lengths.hasThird ? lengths.third : 0);
}

Point3 SquareSwivel(const Point3& swivel, const Point3& along, bool* squared) {
  // In double no product of finite coordinates is lost, however large or small they are.
  const double px = along.x, py = along.y, pz = along.z;
  const double sx = swivel.x, sy = swivel.y, sz = swivel.z;
  const double lineSquared = px * px + py * py + pz * pz;
  const double share = lineSquared > 0 ? (sx * px + sy * py + sz * pz) / lineSquared : 0;
  const double x = sx - share * px, y = sy - share * py, z = sz - share * pz;
  const double left = x * x + y * y + z * z, whole = sx * sx + sy * sy + sz * sz;
  // Within a thousandth of the target's own direction the rest is rounding, not a direction.
  const bool good = lineSquared > 0 && left >= 1e-6 * whole && left > 0;
  if (squared) *squared = good;
  if (!good) return Normalized(swivel, {0, 0, 1});
  const double scale = 1 / std::sqrt(left);
  return {static_cast<float>(x * scale), static_cast<float>(y * scale),
          static_cast<float>(z * scale)};
}

LimbShape ForwardTwoLink(const SegmentLengths& lengths, float hingeAngle, const Quat& rotation) {
  LimbShape shape;
  const SinCosD half = SinCosOf(0.5 * (kPiD - hingeAngle));
  const Quat bend{0, 0, static_cast<float>(half.sin), static_cast<float>(half.cos)};
  const Matrix3 frame = FrameOf(rotation, {});
  const float cosBend = static_cast<float>(half.cos * half.cos - half.sin * half.sin);
  const float sinBend = static_cast<float>(2 * half.sin * half.cos);
  shape.joint = lengths.upper * frame.row[0];
  shape.end = shape.joint + (lengths.lower * cosBend) * frame.row[0] +
              (lengths.lower * sinBend) * frame.row[1];
  shape.hock = shape.end;
  shape.swivel = frame.row[2];
  shape.lowerRotation = shape.lastRotation = rotation * bend;
  return shape;
}

LimbSolution SolveTwoLink(const SegmentLengths& lengths, const Point3& target, const Point3& swivel,
                          const Quat& current) {
  const double a = lengths.upper, b = lengths.lower;
  if (!(a > 0) || !(b > 0)) return {kPi, current};
  const Point3 goal = IsFinite(target) ? target : Point3{};
  bool hasPlane = false;
  const Point3 s = SquareSwivel(swivel, goal, &hasPlane);
  const SwivelFrame frame = FrameOfSwivel(s);
  // A target along the swivel has no direction in the plane but what rounding leaves.
  double x = hasPlane ? Project(goal, frame.first) : 0;
  double y = hasPlane ? Project(goal, frame.second) : 0;
  double d = std::sqrt(x * x + y * y);

  const double reach = a + b;
  const double maxReach = std::max(reach - kReachMargin, kLeastReachShare * reach);
  if (d > maxReach) {
    x *= maxReach / d;
    y *= maxReach / d;
    d = maxReach;
  }
  double cosBase = 1, sinBase = 0;
  if (d > 0) {
    cosBase = x / d;
    sinBase = y / d;
  } else {
    d = std::max((reach - kHalfReachMargin) * 0.5, kLeastReachShare * reach);
  }

  const double cosHinge = CosineOf(a, b, d);
  // The joint lies off the line to the target by the angle at the base, on the side away from
  // the bend: the sum of both angles, without the angles.
  const double cosOff = CosineOf(a, d, b), sinOff = std::sqrt(1 - cosOff * cosOff);
  const double cosJoint = cosBase * cosOff + sinBase * sinOff;
  const double sinJoint = sinBase * cosOff - cosBase * sinOff;
  const auto along = [&](int axis) {
    return static_cast<float>(cosJoint * frame.first[axis] + sinJoint * frame.second[axis]);
  };
  const Point3 bone{along(0), along(1), along(2)};
  const Matrix3 rotation{{bone, Cross(s, bone), s, {}}};
  return {static_cast<float>(AcosD(cosHinge)), RotationOf(rotation)};
}

LimbShape ForwardLimb(const SegmentLengths& lengths, const float (&jointAngles)[kNumJointAngles],
                      const Quat& rotation) {
  LimbShape shape = ForwardTwoLink(lengths, jointAngles[kHinge], rotation);
  if (!lengths.hasThird) return shape;
  const ThirdSegment third(lengths, jointAngles);
  // Within the plane, from the line to the hock to the line to the ankle.
  const Point3 inLimb = Rotate(Conjugate(rotation), shape.hock);
  const double hock = Length(inLimb);
  const double ankle = third.AnkleDistance(hock);
  const double hockBehind =
      Atan2D(third.inPlane * third.sinPitch, ankle - third.inPlane * third.cosPitch);
  const double ankleLine = Atan2D(inLimb.y, inLimb.x) - hockBehind;
  const Quat direction =
      AboutZ(static_cast<float>(ankleLine - Atan2D(third.sinPitch, third.cosPitch))) *
      AboutY(-jointAngles[kThirdLean]) * AboutX(jointAngles[kThirdTurn]);
  shape.lastRotation = rotation * direction;
  shape.end = shape.hock + Rotate(shape.lastRotation, {lengths.third, 0, 0});
  return shape;
}

namespace {

Quat SolveThreeSegments(const SegmentLengths& lengths, const Point3& target, const Point3& swivel,
                        const Quat& current, float (&jointAngles)[kNumJointAngles]) {
  const ThirdSegment third(lengths, jointAngles);
  const double reach = static_cast<double>(lengths.upper) + lengths.lower;
  const double maxAnkle = third.AnkleDistance(reach - kReachMargin);
  const Point3 square = SquareSwivel(swivel, target);
  const double distance = Length(target);
  Point3 line = Normalized(target);
  if (line == Point3{}) {  // no direction: straight on from the swivel's own first axis
    const SwivelFrame frame = FrameOfSwivel(square);
    line = {static_cast<float>(frame.first[0]), static_cast<float>(frame.first[1]),
            static_cast<float>(frame.first[2])};
  }
  // The plane passes through hip, knee and hock; a lean takes the ankle out of it.
  const double sinTilt = distance > 0 ? std::clamp(third.outOfPlane / distance, -1.0, 1.0) : 0.0;
  const double cosTilt = std::sqrt(1 - sinTilt * sinTilt);
  const Point3 normal =
      Normalized(static_cast<float>(cosTilt) * square + static_cast<float>(sinTilt) * line, square);
  const Point3 ahead = Normalized(line - Dot(line, normal) * normal, line);
  double ankle = distance * cosTilt;
  if (!(ankle > 0)) {
    ankle =
        std::max((ReachOf(lengths) - kHalfReachMargin) * 0.5, kLeastReachShare * ReachOf(lengths));
  }
  ankle = std::min(ankle, maxAnkle);
  // Back from the ankle along the third segment to the hock.
  const Point3 aside = Cross(normal, ahead);
  const Point3 hock = static_cast<float>(ankle - third.inPlane * third.cosPitch) * ahead +
                      static_cast<float>(third.inPlane * third.sinPitch) * aside;
  const LimbSolution solution = SolveTwoLink(lengths, hock, normal, current);
  jointAngles[kHinge] = solution.hingeAngle;
  return solution.rotation;
}

/// The plane of the limb leans towards the hock, and the third segment's pitch takes up the angle
/// that its direction turned by, with the sign of the side of the swivel it turned to.
Quat SolveWithTiltedSwivel(const SegmentLengths& lengths, const Point3& target,
                           const Point3& swivel, const Quat& current,
                           float (&jointAngles)[kNumJointAngles]) {
  const Point3 before = SquareSwivel(swivel, target);
  Quat rotation = SolveThreeSegments(lengths, target, before, current, jointAngles);
  const LimbShape level = ForwardLimb(lengths, jointAngles, rotation);
  const Point3 toTarget = target - level.joint;
  const Point3 across = Normalized(toTarget - Dot(toTarget, before) * before);
  const Point3 tilted = Normalized(before + kSwivelTilt * across, before);
  rotation = SolveThreeSegments(lengths, target, tilted, current, jointAngles);
  const LimbShape leaned = ForwardLimb(lengths, jointAngles, rotation);

  const Point3 oldDirection = Normalized(level.end - level.hock);
  const Point3 newDirection = Normalized(leaned.end - leaned.hock);
  const Point3 turn = Cross(oldDirection, newDirection);
  const float angle = Acos(Dot(oldDirection, newDirection));
  jointAngles[kThirdPitch] += Dot(turn, before) < 0 ? angle : -angle;
  return SolveThreeSegments(lengths, target, tilted, current, jointAngles);
}

}  // namespace

Quat SolveLimb(const SegmentLengths& lengths, const Point3& target, const Point3& swivel,
               const Quat& current, bool tiltSwivel, float (&jointAngles)[kNumJointAngles]) {
  if (!lengths.hasThird) {
    const LimbSolution solution = SolveTwoLink(lengths, target, swivel, current);
    jointAngles[kHinge] = solution.hingeAngle;
    return solution.rotation;
  }
  const Point3 goal = IsFinite(target) ? target : Point3{};
  if (!(lengths.upper > 0) || !(lengths.lower > 0)) {
    jointAngles[kHinge] = kPi;
    return current;
  }
  return tiltSwivel ? SolveWithTiltedSwivel(lengths, goal, swivel, current, jointAngles)
                    : SolveThreeSegments(lengths, goal, swivel, current, jointAngles);
}

void TakeLimbRest(LimbRecord& limb) {
  LimbPose& pose = limb.pose;
  const LimbKey& rest = limb.rest;
  for (int i = 0; i < kNumJointAngles; ++i) pose.jointAngles[i] = rest.jointAngles[i];
  pose.limbRotation = rest.limbRotation;
  pose.endRotation = rest.endRotation;
  pose.clavicle[0] = rest.clavicle[0];
  pose.clavicle[1] = rest.clavicle[1];
  pose.swivel = FrameOf(rest.limbRotation, {}).row[2];
  pose.localTarget = rest.bodyTarget;
  pose.ikBlend = pose.ikAnkleTension = 0;
  pose.ikSpace = kBodySpace;
  pose.pivotLink = pose.pivotDigit = pose.pivotIndex = 0;
  pose.pivotKind = kNamedPivot;
  pose.ikJoinedPivot = 0;
  limb.keyState = kMove;
  for (int d = 0; d < limb.numDigits; ++d) limb.digits[d].pose = rest.digits[d];
}

}  // namespace strider
