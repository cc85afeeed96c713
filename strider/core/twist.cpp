#include "strider/core/twist.h"

namespace strider {
namespace {

constexpr float kQuarterTurn = 1.5707964f;

/// The limb that an id belongs to, twist ids among them.
int LimbIdOf(int id) {
  if (IsTwist(id)) return TwistSegmentOf(id).limbId;
  switch (id) {
    case kLeftArm:
    case kLeftFingers: return kLeftArm;
    case kRightArm:
    case kRightFingers: return kRightArm;
    case kLeftLeg:
    case kLeftToes: return kLeftLeg;
    case kRightLeg:
    case kRightToes: return kRightLeg;
    default: return kNoBodyId;
  }
}

template <class Core>
auto PosesOf(Core& core, int id) -> decltype(&core.armTwistPoses) {
  switch (LimbIdOf(id)) {
    case kLeftArm:
    case kRightArm: return &core.armTwistPoses;
    case kLeftLeg:
    case kRightLeg: return &core.legTwistPoses;
    default: return nullptr;
  }
}

/// Link of the segment that reads the poses: upper arm or thigh.
int RootLink(const LimbRecord& limb) { return limb.isLeg ? 0 : 1; }

/// A direction as the poses have it: seen from the body, and mirrored for a left limb.
Point3 AsInPoses(const MotionCore& core, const LimbRecord& limb, const Point3& direction) {
  Point3 seen = HostFromCore(Rotate(Conjugate(core.body.bodyRotation), direction));
  if (limb.side == kLeft) seen.y = -seen.y;
  return seen;
}

/// A turn about a segment's bone and how it spreads.
struct Twist {
  float angle = 0;  // radians, right-handed about the bone
  float bias = 0.5f;
};

/// The turn that brings an upper arm's or thigh's roll back to what its direction asks for. The
/// reference is the first vector of the angle: it alone need not be square to the bone.
Twist TwistOfRoot(const MotionCore& core, const LimbRecord& limb, const Matrix3& bone) {
  const std::vector<TwistPose>& poses = limb.isLeg ? core.legTwistPoses : core.armTwistPoses;
  if (poses.size() < 2) return {};
  const Point3 direction = AsInPoses(core, limb, bone.row[0]);
  const Point3 roll = AsInPoses(core, limb, bone.row[1]);
  const TwistLookUp found = LookUpTwist(poses, direction);
  const float angle = SignedAngle(found.reference, roll, direction);
  return {limb.side == kLeft ? -angle : angle, found.bias};
}

/// The turn of hand or foot about the segment's bone. Of the hand the axis across the knuckles is
/// watched, of the foot the one across the ankle: a wrist or an ankle bends about it and leaves it
/// where it is. At rest it is a quarter turn from the segment's own axis that it is compared with.
float TurnOfEnd(const LimbRecord& limb, const Matrix3& bone) {
  const Matrix3& end = limb.frame[NumLimbLinks(limb) - 1];
  const Point3& across = end.row[limb.isLeg ? 2 : 1];
  const Point3& own = bone.row[limb.isLeg ? 1 : 2];
  const Point3& axis = bone.row[0];
  // Bent so far that it lies along the bone, the axis tells of no turn.
  if (Cross(across, axis) == Point3{}) return 0;
  float between = -SignedAngle(across, own, axis);
  if (between < -kQuarterTurn) between += kTwoPi;
  return kQuarterTurn - between;
}

}  // namespace

bool TwistLinkTransform(const MotionCore& core, int link, Matrix3& matrix, int count, float bias,
                        int limbId, int limbLink) {
  matrix = {};
  const LimbRecord* limb = LimbIdOf(limbId) == limbId ? FindLimb(core, limbId) : nullptr;
  if (!limb || link < 0 || link >= count) return false;
  const int root = RootLink(*limb);
  if (limbLink < root || limbLink + 1 >= NumLimbLinks(*limb)) return false;

  const Matrix3& bone = limb->frame[limbLink];
  const float k = static_cast<float>(link), n = static_cast<float>(count);
  Twist twist{0, bias};
  float fraction = 0;
  if (limbLink == root) {
    twist = TwistOfRoot(core, *limb, bone);
    fraction = (n - k) / (n + 1);
  } else {
    twist.angle = TurnOfEnd(*limb, bone);
    fraction = (k + 1) / (n + 1);
  }
  matrix = bone;
  const SinCosD turn = SinCosOf(ShapedTwistFraction(fraction, twist.bias) * twist.angle);
  const float s = static_cast<float>(turn.sin), c = static_cast<float>(turn.cos);
  matrix.row[1] = c * bone.row[1] + s * bone.row[2];
  matrix.row[2] = c * bone.row[2] - s * bone.row[1];
  matrix.row[3] = Lerp(bone.Origin(), limb->frame[limbLink + 1].Origin(), k / n);
  return true;
}

Matrix3 TwistLinkFrame(const MotionCore& core, int id, int link) {
  Matrix3 frame;
  if (!IsTwist(id)) return frame;
  const TwistSegment segment = TwistSegmentOf(id);
  const float bias = core.structure.twistBias[(id - kTwistStartId) / 2];
  (void)TwistLinkTransform(core, link, frame, NumLinks(core, id), bias, segment.limbId,
                           segment.limbLink);
  return frame;
}

std::vector<TwistPose>* FindTwistPoses(MotionCore& core, int id) { return PosesOf(core, id); }
const std::vector<TwistPose>* FindTwistPoses(const MotionCore& core, int id) {
  return PosesOf(core, id);
}

TwistPose CurrentTwistPose(const MotionCore& core, int id) {
  TwistPose pose;
  pose.direction = pose.axis = {0, 0, -1};
  pose.referenceVector = {1, 0, 0};
  const LimbRecord* limb = FindLimb(core, LimbIdOf(id));
  if (!limb) return pose;
  const Matrix3& bone = limb->frame[RootLink(*limb)];
  pose.direction = pose.axis = AsInPoses(core, *limb, bone.row[0]);
  pose.referenceVector = AsInPoses(core, *limb, bone.row[1]);
  return pose;
}

}  // namespace strider
