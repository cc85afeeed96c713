#include "strider/capture/solve_pose.h"

#include <algorithm>
#include <cmath>

#include "strider/core/chain.h"
#include "strider/core/evaluate.h"
#include "strider/core/limb.h"

namespace strider {
namespace {

// Sines of the bend of a limb up to which a hinge may be taken to overstretch instead of its plane
// to have turned over.
constexpr float kOverstretch = 0.6f;
// The sine of the bend from which on the places say clearly where the plane is.
constexpr double kClearlyBent = 0.25;
// What it costs the plane to turn from frame to frame, against leaving the plane of a limb bent by
// a sine of 1: at a sine of 0.07 the plane follows within a frame, at 0.007 within ten.
constexpr double kPlaneInertia = 0.005;

const Point3& PlaceOf(const CapturedPose& pose, int joint) {
  return pose[static_cast<std::size_t>(joint)].origin;
}
const Quat& TurnOf(const CapturedPose& pose, int joint) {
  return pose[static_cast<std::size_t>(joint)].rotation;
}

/// `frame` turned the least way that puts its X axis along `direction`.
Quat Aimed(const Quat& frame, const Point3& direction) {
  return Normalized(ShortestTurn(Rotate(frame, {1, 0, 0}), direction) * frame);
}

// --- Trunk -------------------------------------------------------------------------------------

/// The turn of a chain's link in the core's space, on `start`.
Quat LinkTurn(const ChainLink& link, const CapturedPose& pose, const Point3& start) {
  const Quat turn = TurnOf(pose, link.joint) * link.turn;
  if (link.target == kNoJoint) return turn;
  return Aimed(turn, PlaceOf(pose, link.target) - start);
}

/// Turns of the take's own links at `pose`, the chain starting at `start`; answers where it ends.
Point3 OwnLinkTurns(const std::vector<ChainLink>& links, const CapturedPose& pose, Point3 start,
                    Quat* turns) {
  for (std::size_t k = 0; k < links.size(); ++k) {
    turns[k] = LinkTurn(links[k], pose, start);
    start += Rotate(turns[k], {links[k].length, 0, 0});
  }
  return start;
}

/// The turn of the take's chain at a share of its length: its links' own in their middles.
Quat TurnAlong(const std::vector<ChainLink>& links, const Quat* turns, float at) {
  float middle = 0, before = 0;
  for (std::size_t k = 0; k < links.size(); ++k) {
    const float next = middle + 0.5f * links[k].length;
    if (at <= next || k + 1 == links.size()) {
      if (k == 0 || !(next > before)) return turns[k];
      const float u = std::clamp((at - before) / (next - before), 0.0f, 1.0f);
      return Normalized(Slerp(turns[k - 1], OnSideOf(turns[k], turns[k - 1]), u));
    }
    before = next;
    middle += links[k].length;
  }
  return turns[links.size() - 1];
}

/// Poses a chain of the figure on its parent by the take's links.
void SolveChain(const std::vector<ChainLink>& links, const CapturedPose& pose, const Frame& parent,
                ChainRecord& chain) {
  if (links.empty() || chain.numLinks == 0) return;
  Quat own[kMaxLinks], turns[kMaxLinks];
  const Frame base = ChildFrame(parent, chain.baseRotation, chain.baseOffset);
  const Point3 end = OwnLinkTurns(links, pose, base.origin, own);
  const int n = chain.numLinks;
  if (n == static_cast<int>(links.size())) {
    std::copy(own, own + n, turns);
  } else {
    float total = 0, length = 0;
    for (const ChainLink& link : links) total += link.length;
    for (int k = 0; k < n; ++k) length += chain.dimensions[k].x;
    float at = 0;
    Point3 reached = base.origin;
    for (int k = 0; k < n; ++k) {
      const float share = (at + 0.5f * chain.dimensions[k].x) / length;
      at += chain.dimensions[k].x;
      // The first link bends as the first of the take does and the last as its last.
      turns[k] = k == n - 1 && n > 1 ? own[links.size() - 1] : TurnAlong(links, own, share * total);
      reached += Rotate(turns[k], {chain.dimensions[k].x, 0, 0});
    }
    // The chain as a whole leads to where the take's leads; the last link keeps its own turn.
    const Quat lead = ShortestTurn(reached - base.origin, end - base.origin);
    for (int k = 0; k < std::max(n - 1, 1); ++k) turns[k] = Normalized(lead * turns[k]);
  }
  Quat before = base.rotation;
  for (int k = 0; k < n; ++k) {
    chain.pose[k] = Normalized(Conjugate(before) * turns[k]);
    before = turns[k];
  }
}

// --- Limbs -------------------------------------------------------------------------------------

/// The three joints of a limb and what stands for its end.
struct LimbJoints {
  int upper, middle, end;
};
LimbJoints JointsOf(const LimbRecord& limb) {
  const bool right = limb.side == kRight;
  if (limb.isLeg) {
    return right ? LimbJoints{kRightHipJoint, kRightKneeJoint, kRightAnkleJoint}
                 : LimbJoints{kLeftHipJoint, kLeftKneeJoint, kLeftAnkleJoint};
  }
  return right ? LimbJoints{kRightShoulderJoint, kRightElbowJoint, kRightWristJoint}
               : LimbJoints{kLeftShoulderJoint, kLeftElbowJoint, kLeftWristJoint};
}

/// The normal of a limb's plane by the turn of its first joint, square to `upper`.
Point3 NormalByTurn(const LimbTurns& turns, const LimbJoints& joints, const CapturedPose& pose,
                    const Point3& upper) {
  return Rotate(Aimed(TurnOf(pose, joints.upper) * turns.upper, upper), {0, 0, 1});
}

/// The normal of the limb's plane, the core's space; unit and square to `upper`.
Point3 PlaneNormal(const LimbRecord& limb, const LimbTurns& turns, const LimbJoints& joints,
                   const CapturedPose& pose, PlaneSource kind, float angle, const Point3& upper,
                   const Point3& lower) {
  const Point3 byTurn = NormalByTurn(turns, joints, pose, upper);
  switch (kind) {
    case PlaneSource::kPoint: return Normalized(Cross(upper, lower), byTurn);
    case PlaneSource::kAngle: return byTurn;
    case PlaneSource::kAuto: return Rotate(AngleAxis(angle, upper), byTurn);
    case PlaneSource::kAsStands: break;
  }
  const Point3 stands = Rotate(limb.base.rotation, limb.pose.swivel);
  return Normalized(stands - Dot(stands, upper) * upper, byTurn);
}

/// Angles of a limb whose base stands: the upper segment along the take's, the lower one as nearly
/// as the plane allows.
void SolveSegments(LimbRecord& limb, const LimbTurns& turns, const CapturedPose& pose,
                   PlaneSource kind, float angle) {
  const LimbJoints joints = JointsOf(limb);
  const Point3& base = limb.base.origin;
  const Point3 upper = Normalized(PlaceOf(pose, joints.middle) - base);
  const Point3 joint = base + limb.upperLength * upper;
  const Point3 lower = Normalized(PlaceOf(pose, joints.end) - joint);
  if (upper == Point3{} || lower == Point3{}) return;
  const Point3 normal = PlaneNormal(limb, turns, joints, pose, kind, angle, upper, lower);
  const Quat inBase = Conjugate(limb.base.rotation);
  LimbPose& to = limb.pose;
  to.swivel = Rotate(inBase, normal);
  if (limb.hasFourLinks) {
    to.localTarget = IntoBase(limb, PlaceOf(pose, joints.end));
    SolveToLocalTarget(limb, {});
    return;
  }
  const Point3 x = Rotate(inBase, upper);
  to.limbRotation = RotationOf(Matrix3{{x, Cross(to.swivel, x), to.swivel, {}}});
  to.jointAngles[kHinge] = kPi - Atan2(Dot(Cross(upper, lower), normal), Dot(upper, lower));
  to.localTarget = ShapeOfPose(limb).end;
}

void SolveClavicle(const MotionCore& figure, const CapturedPose& pose, LimbRecord& arm) {
  const Point3 start = figure.spineEnd.origin + Rotate(figure.spineEnd.rotation, arm.baseOffset);
  const Point3 toShoulder = PlaceOf(pose, JointsOf(arm).upper) - start;
  const Quat axes = figure.spineEnd.rotation * arm.clavicleRotation;
  const Point3 d = Normalized(Rotate(Conjugate(axes), toShoulder), {1, 0, 0});
  const float side = arm.side == kRight ? 1.0f : -1.0f;
  arm.pose.clavicle[0] = Atan2(d.y, d.x);
  arm.pose.clavicle[1] = -side * Asin(d.z);
}

int FirstFingerJoint(const LimbRecord& arm, int chain) {
  return (arm.side == kRight ? kRightFingerJoint : kLeftFingerJoint) + 3 * chain;
}

void SolveFingers(const Talent& talent, const CapturedPose& pose, const Quat& hand,
                  LimbRecord& arm) {
  const LimbTurns& turns = talent.arm[arm.side];
  for (int d = 0; d < arm.numDigits; ++d) {
    const int chain = talent.finger[d];
    if (chain < 0) continue;
    DigitRecord& digit = arm.digits[d];
    digit.pose.base = {};
    Quat before = hand * digit.baseRotation;
    for (int k = 0; k < std::min(digit.numLinks, 3); ++k) {
      const Quat turn = TurnOf(pose, FirstFingerJoint(arm, chain) + k) * turns.digit[d][k];
      digit.pose.link[k] = Normalized(Conjugate(before) * turn);
      before = turn;
    }
  }
}

void SolveToes(const Talent& talent, const CapturedPose& pose, const Quat& foot, LimbRecord& leg) {
  if (!talent.movesToes || leg.numDigits == 0) return;
  const int joint = leg.side == kRight ? kRightToeJoint : kLeftToeJoint;
  DigitRecord& digit = leg.digits[0];
  const Quat turn = TurnOf(pose, joint) * talent.leg[leg.side].digit[0][0];
  digit.pose.base = {};
  digit.pose.link[0] = Normalized(Conjugate(foot * digit.baseRotation) * turn);
  for (float& bend : digit.pose.bend) bend = 0;
}

/// The turn of hand or foot: its joint's own, with `kPoint` aimed at the joint that follows it.
Quat EndTurn(const LimbTurns& turns, const CapturedPose& pose, int joint, PlaneSource kind) {
  const Quat end = TurnOf(pose, joint) * turns.end;
  if (kind != PlaneSource::kPoint || turns.pointsAt == kNoJoint) return end;
  const Point3 toNext = PlaceOf(pose, turns.pointsAt) - PlaceOf(pose, joint);
  return Normalized(ShortestTurn(Rotate(TurnOf(pose, joint), turns.pointsAlong), toNext) * end);
}

void SolveWholeLimb(const Talent& talent, const CapturedPose& pose, const SolveOptions& options,
                    const PlaneAngles& planes, LimbRecord& limb) {
  const LimbTurns& turns = limb.isLeg ? talent.leg[limb.side] : talent.arm[limb.side];
  SolveSegments(limb, turns, pose, limb.isLeg ? options.knee : options.elbow,
                limb.isLeg ? planes.leg[limb.side] : planes.arm[limb.side]);
  const Quat last = LastSegmentInWorld(limb, ShapeOfPose(limb));
  const PlaneSource endKind = limb.isLeg ? options.foot : options.hand;
  if (endKind == PlaneSource::kAsStands) return;
  const Quat end = EndTurn(turns, pose, JointsOf(limb).end, endKind);
  limb.pose.endRotation = Normalized(Conjugate(last) * end);
  if (limb.isLeg) {
    SolveToes(talent, pose, end, limb);
  } else {
    SolveFingers(talent, pose, end, limb);
  }
}

}  // namespace

namespace {

/// What one frame says of a limb's plane.
struct PlaneSample {
  double angle = 0;     // from where the joint's turn has it, about the upper segment
  double weight = 0;    // 0 where the limb is straight
  bool either = false;  // may as well be turned over
};

PlaneSample SamplePlane(const LimbTurns& turns, const LimbJoints& joints,
                        const CapturedPose& pose) {
  const Point3 upper = Normalized(PlaceOf(pose, joints.middle) - PlaceOf(pose, joints.upper));
  const Point3 lower = Normalized(PlaceOf(pose, joints.end) - PlaceOf(pose, joints.middle));
  const Point3 across = Cross(upper, lower);
  const double bend = Length(across);
  if (!(bend > 1e-4)) return {};
  const Point3 byTurn = NormalByTurn(turns, joints, pose, upper);
  const Point3 byPlace = Normalized(across);
  const double angle = Atan2D(Dot(Cross(byTurn, byPlace), upper), Dot(byTurn, byPlace));
  return {angle, bend * bend, bend < kOverstretch && Dot(upper, lower) > 0};
}

/// Each sample's angle in the turn, or half turn, nearest to that of the last clearly bent one;
/// nearly straight ones, which point anywhere, lead none astray.
void Unwrap(std::vector<PlaneSample>& samples) {
  double clear = 0;
  for (PlaneSample& sample : samples) {
    const double period = sample.either ? kPiD : 2 * kPiD;
    sample.angle -= period * std::round((sample.angle - clear) / period);
    if (sample.weight > kClearlyBent * kClearlyBent) clear = sample.angle;
  }
}

/// The angles that leave the samples least, weighed, and turn least from frame to frame: the
/// minimum of a quadratic form, by elimination in its tridiagonal system.
std::vector<float> SmoothAngles(const std::vector<PlaneSample>& samples) {
  const std::size_t n = samples.size();
  std::vector<double> diagonal(n), right(n);
  // A trace of weight towards the joint's own turn for limbs that are straight throughout.
  constexpr double kTrace = 1e-6;
  for (std::size_t i = 0; i < n; ++i) {
    const double links = (i > 0 ? 1 : 0) + (i + 1 < n ? 1 : 0);
    diagonal[i] = samples[i].weight + kTrace + links * kPlaneInertia;
    right[i] = samples[i].weight * samples[i].angle;
  }
  for (std::size_t i = 1; i < n; ++i) {
    const double factor = kPlaneInertia / diagonal[i - 1];
    diagonal[i] -= factor * kPlaneInertia;
    right[i] += factor * right[i - 1];
  }
  std::vector<float> angles(n);
  double next = 0;
  for (std::size_t i = n; i-- > 0;) {
    next = (right[i] + (i + 1 < n ? kPlaneInertia * next : 0)) / diagonal[i];
    angles[i] = static_cast<float>(next);
  }
  return angles;
}

}  // namespace

std::vector<PlaneAngles> PlanesOf(const Talent& talent, std::span<const CapturedPose> poses) {
  std::vector<PlaneAngles> planes(poses.size());
  std::vector<PlaneSample> samples(poses.size());
  const auto follow = [&](const LimbRecord& limb, const LimbTurns& turns, const auto& angleOf) {
    const LimbJoints joints = JointsOf(limb);
    for (std::size_t f = 0; f < poses.size(); ++f) {
      samples[f] = SamplePlane(turns, joints, poses[f]);
    }
    Unwrap(samples);
    const std::vector<float> angles = SmoothAngles(samples);
    for (std::size_t f = 0; f < poses.size(); ++f) angleOf(planes[f]) = angles[f];
  };
  for (int side = 0; side < 2; ++side) {
    follow(talent.figure.leg[side], talent.leg[side],
           [side](PlaneAngles& p) -> float& { return p.leg[side]; });
    follow(talent.figure.arm[side], talent.arm[side],
           [side](PlaneAngles& p) -> float& { return p.arm[side]; });
  }
  return planes;
}

void SolveTrunk(const Talent& talent, const CapturedPose& pose, MotionCore& figure) {
  BodyRecord& body = figure.body;
  const Quat hips = TurnOf(pose, kHipsJoint) * talent.pelvis;
  // Hips that move against their joint turn the pelvis along.
  const Point3 across = PlaceOf(pose, kRightHipJoint) - PlaceOf(pose, kLeftHipJoint);
  const Point3 own = figure.leg[kRight].baseOffset - figure.leg[kLeft].baseOffset;
  body.bodyRotation = Normalized(ShortestTurn(Rotate(hips, own), across) * hips);
  const Point3 middle = 0.5f * (figure.leg[kRight].baseOffset + figure.leg[kLeft].baseOffset);
  body.bodyPosition = HipsMiddle(pose) - Rotate(body.bodyRotation, middle);
  figure.pelvis.pose = {};
  const Frame pelvis{body.bodyRotation, body.bodyPosition};
  SolveChain(talent.spine, pose, pelvis, figure.spine);
  ComputeTrunkFrames(figure);
}

void SolvePose(const Talent& talent, const CapturedPose& pose, const SolveOptions& options,
               const PlaneAngles& planes, MotionCore& figure) {
  SolveTrunk(talent, pose, figure);
  SolveChain(talent.neck, pose, figure.spineEnd, figure.neck);
  figure.neckEnd = ComputeChainFrames(figure.neck, figure.spineEnd);
  figure.head.pose =
      Normalized(Conjugate(figure.neckEnd.rotation) * TurnOf(pose, kHeadJoint) * talent.head);
  for (LimbRecord& leg : figure.leg) {
    PlaceLimbBase(figure, leg);
    SolveWholeLimb(talent, pose, options, planes, leg);
  }
  if (figure.structure.arms) {
    for (LimbRecord& arm : figure.arm) {
      SolveClavicle(figure, pose, arm);
      PlaceLimbBase(figure, arm);
      SolveWholeLimb(talent, pose, options, planes, arm);
    }
  }
  CoreForwardKinematics(figure);
}

}  // namespace strider
