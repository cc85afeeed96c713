#include "strider/footsteps/leg_fit.h"

#include <algorithm>
#include <cmath>

#include "strider/core/limb_frames.h"
#include "strider/core/limb_keys.h"
#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

// --- How a foot is pitched
// ------------------------------------------------------------------------

// Pitch of the foot (radians, toes down) for each leg length that it is behind its hip. People
// leave the ground with the foot 40 to 70 degrees toe-down; a default walk lifts half a leg length
// behind the hip, where 0.85 of this is 0.8, or 46 degrees, and bends the knee by about 43.
constexpr float kLiftPitch = 1.9f;
// The same, toes up, for a foot that comes down ahead of its hip: 12 to 37 degrees in people.
constexpr float kTouchPitch = 0.95f;
// On its way the foot hangs: for each leg length of the way on either side, toes down while it
// follows the hip, level where it leads.
constexpr float kSwingPitch = -1.1f;
constexpr float kMostPitch = 1.25f;

// Shares of the pitch by the state of the leg.
constexpr float kLiftShare = 0.85f;
constexpr float kPlantShare = 0.2f, kLeastPlant = 0.2f;
constexpr float kWalkSwingShare = -0.3f, kRunSwingShare = -0.65f;
constexpr float kFlightTouchShare = 1.5f;

// --- How a foot is carried through the air
// ----------------------------------------------------------

// Rise of the ankle in the middle of a swing, in leg lengths. People raise it by 14 to 23 per cent
// in a walk, which with the hip over the standing foot bends the knee to 55 to 75 degrees; in a
// run the heel comes up behind.
constexpr float kWalkSwingRise = 0.18f, kRunSwingRise = 0.3f;
// Of the height that is still to climb half way, so much is climbed ahead.
constexpr float kClimb = 1.35f;
// A swinging leg passes the other one a little to the outside.
constexpr float kSwingOut = 0.03f;
constexpr float kSwingOutShare = 0.6f;
// A leg in the air stays bent, its end this share of its length from the hip: high over the ground
// it is drawn up, and between its keys it never passes through straight.
constexpr float kMostStretch = 0.96f;

// A leg that stands is not quite straight: there a small step of the body turns the knee fast.
constexpr float kMostStance = 0.998f;
constexpr int kPitchSteps = 12;  // a thousandth of the range of pitches

// Toes bend back over the ground by this share of the foot's pitch. They ease from key to key while
// the foot hurries up to its lift, and would outrun it with the whole.
constexpr float kToeShare = 0.7f;

// The heel's middle and the toe row's middle, as named pivots count.
constexpr int kHeelPivot = 2, kToePivot = 5;

/// Full pitch for a leg four hip offsets long and more; stumpy legs tip their feet less.
float StrideFactor(const MotionCore& core, const LimbRecord& leg) {
  const float factor = std::min(leg.totalLength / core.pelvis.hipOffset * 0.25f, 1.0f);
  return factor * factor;
}

Point3 HipOf(const MotionCore& core, const LimbRecord& leg) {
  return core.pelvisFrame.origin + Rotate(core.pelvisFrame.rotation, leg.baseOffset);
}

/// How far the foot's target lies ahead of the hip along its heading, in leg lengths.
float LeadOf(const MotionCore& core, const LimbRecord& leg, const FootTarget& target) {
  return Dot(target.position - HipOf(core, leg), ForwardOf(target.angle)) / leg.totalLength;
}

/// Half the way of a swing, in leg lengths along its heading.
float HalfWay(const LimbRecord& leg, const FootTarget& target) {
  return 0.5f * Dot(target.to - target.from, ForwardOf(target.angle)) / leg.totalLength;
}

float PitchOf(const MotionCore& core, const LimbRecord& leg, const LegPhase& phase,
              const FootTarget& target) {
  const float lead = LeadOf(core, leg, target);
  float pitch = 0;
  switch (phase.state) {
    case kTouch:
      pitch = -kTouchPitch * std::max(lead, 0.0f);
      if (phase.nearAir) pitch *= kFlightTouchShare;
      break;
    case kPlant:
      // A foot that has come down lies flat. It rises over its toes when it is left behind, as the
      // other one comes down.
      if (phase.otherState != kLift && phase.otherState != kPlant) {
        pitch = kPlantShare * kLiftPitch * std::max(-lead, 0.0f);
      }
      if (pitch < kLeastPlant && phase.otherState == kMove) pitch = 0;
      break;
    case kLift: pitch = kLiftShare * kLiftPitch * std::max(-lead, 0.0f); break;
    default: {
      const float way = std::max(HalfWay(leg, target), 0.0f);
      pitch = kSwingPitch * way * 2 * (1 - target.u);
      pitch *= phase.nearAir ? kRunSwingShare : kWalkSwingShare;
      break;
    }
  }
  return std::clamp(pitch, -kMostPitch, kMostPitch) * StrideFactor(core, leg);
}

/// X down to the sole, Y to the toes, Z right, over a heading and pitched about the ankle.
Quat FootRotation(float angle, float pitch) {
  const Matrix3 axes{{{0, -1, 0}, {1, 0, 0}, {0, 0, 1}, {}}};
  return Normalized(AboutY(angle) * RotationOf(axes) * AboutZ(-pitch));
}

/// How far a foot is in the air: not at all at the ends of its way.
float CarriedShare(const FootTarget& target) { return target.idle ? 1 : Sin(kPi * target.u); }

Point3 CarriedFoot(const MotionCore& core, const LimbRecord& leg, const LegPhase& phase,
                   const FootTarget& target) {
  const float share = CarriedShare(target);
  const float rise = phase.nearAir || target.idle ? kRunSwingRise : kWalkSwingRise;
  Point3 place = target.position;
  // Up a step the foot has to be well over it by the time that it is half way.
  const float climb = kClimb * std::max(target.to.y - target.position.y, 0.0f);
  place.y += leg.extremityHeight + share * (rise * leg.totalLength + climb);
  const float out = kSwingOutShare * kSwingOut * leg.totalLength * share;
  place += (leg.side == kRight ? -out : out) * LeftOf(target.angle);
  if (share <= 0) return place;  // it stands beside the other one
  const Point3 hip = HipOf(core, leg);
  const float distance = Length(place - hip), most = kMostStretch * leg.totalLength;
  return distance > most ? Lerp(hip, place, most / distance) : place;
}

/// Pitches a standing foot: its pivot is where it is when the foot lies flat on its footstep.
void PitchAbout(const LimbRecord& leg, const FootTarget& target, float pitch,
                FootPlacement& placement) {
  const Point3 pivot = PivotPoint(leg, placement.pivot);
  const Point3 flatAnkle = target.position + Point3{0, leg.extremityHeight, 0};
  const Point3 anchor = flatAnkle + Rotate(FootRotation(target.angle, 0), pivot);
  placement.pitch = pitch;
  placement.rotation = FootRotation(target.angle, pitch);
  placement.ankle = anchor - Rotate(placement.rotation, pivot);
}

/// Lets the heel rise where the leg would be too short for a flat foot.
void RiseOntoToes(const MotionCore& core, const LimbRecord& leg, const FootTarget& target,
                  FootPlacement& placement) {
  const Point3 hip = HipOf(core, leg);
  const float most = kMostStance * leg.totalLength;
  const auto reaches = [&] { return Length(placement.ankle - hip) <= most; };
  if (reaches()) return;
  float low = placement.pitch, high = kMostPitch;
  for (int i = 0; i < kPitchSteps; ++i) {
    const float middle = 0.5f * (low + high);
    PitchAbout(leg, target, middle, placement);
    (reaches() ? high : low) = middle;
  }
  PitchAbout(leg, target, high, placement);
}

}  // namespace

FootPlacement PlaceFoot(const MotionCore& core, const FootstepTrack& footsteps, int side,
                        const LegPhase& phase, GroundLevel level) {
  const LimbRecord& leg = core.leg[side];
  const FootTarget target =
      FootTargetAs(footsteps, side, phase.time, phase.state, level, SwingPlace::kByTime);
  FootPlacement placement;
  placement.pitch = PitchOf(core, leg, phase, target);
  placement.rotation = FootRotation(target.angle, placement.pitch);
  placement.pivot.index = phase.state == kTouch ? kHeelPivot : kToePivot;
  if (phase.state == kMove) {
    placement.ankle = CarriedFoot(core, leg, phase, target);
    return placement;
  }
  PitchAbout(leg, target, placement.pitch, placement);
  if (phase.state != kTouch) RiseOntoToes(core, leg, target, placement);
  return placement;
}

namespace {

/// Bends the toes back by what the foot has pitched since they lay flat; up on the heel they do
/// not bend.
void BendToes(LimbRecord& leg, const Quat& foot, float fromPitch, float toPitch) {
  const float more = std::max(toPitch, 0.0f) - std::max(fromPitch, 0.0f);
  if (more != 0) AdjustToesToPivot(leg, foot * AboutZ(kToeShare * more), foot);
}

/// Toes stay on the ground while the heel rises over them.
void LayToes(LimbRecord& leg, const FootPlacement& placement, int state) {
  for (int d = 0; d < leg.numDigits; ++d) leg.digits[d].pose = leg.rest.digits[d];
  if (state != kMove) BendToes(leg, placement.rotation, 0, placement.pitch);
}

/// Bends the leg so that its ankle is where a placement has it, as far as it reaches. `key` gives
/// the angles of its third segment.
void BendLeg(MotionCore& core, LimbRecord& leg, const LimbKey& key, const FootPlacement& placement,
             const EvalContext& context) {
  LimbPose& pose = leg.pose;
  TakeLimbRest(leg);
  std::copy(key.jointAngles + kThirdPitch, key.jointAngles + kNumJointAngles,
            pose.jointAngles + kThirdPitch);
  PlaceLimbBase(core, leg);
  pose.worldTarget = placement.ankle;
  pose.localTarget = IntoBase(leg, placement.ankle);
  SolveToLocalTarget(leg, context);
}

void TurnFoot(LimbRecord& leg, const Quat& rotation) {
  leg.pose.endRotation =
      Normalized(Conjugate(LastSegmentInWorld(leg, ShapeOfPose(leg))) * rotation);
}

/// The foot stands where it stands, also where the leg is too short to reach it at the key.
void StandOn(const LimbRecord& leg, LimbKey& key, const FootPlacement& placement) {
  key.objectTarget = placement.ankle;
  if (HasObjectFrame(leg)) key.objectTarget = placement.ankle * Inverse(leg.objectFrame);
  SetKeyPivot(leg, key, placement.pivot);
}

}  // namespace

LimbKey LegKeyOf(MotionCore& core, int side, const LegPhase& phase, const FootPlacement& placement,
                 const EvalContext& context) {
  LimbRecord& leg = core.leg[side];
  LimbPose& pose = leg.pose;
  BendLeg(core, leg, leg.rest, placement, context);
  TurnFoot(leg, placement.rotation);
  LayToes(leg, placement, phase.state);
  pose.pivotKind = placement.pivot.kind;
  pose.pivotIndex = placement.pivot.index;
  pose.forwardBend = 0;
  pose.ikAnkleTension = 0;

  leg.keyState = static_cast<LegState>(phase.state);
  LimbKey key = CurrentLimbKey(core, leg, phase.state == kMove ? kFreeKey : kPlantedKey);
  // The heel strikes anew; from there on each contact goes on from the one before.
  if (phase.state == kTouch) key.ikJoinedPivot = 0;
  if (phase.state != kMove) StandOn(leg, key, placement);
  return key;
}

FootPlacement PlacementOfKey(const MotionCore& core, int side, const LimbKey& key) {
  const LimbRecord& leg = core.leg[side];
  FootPlacement placement;
  placement.pivot = PivotOf(key);
  if (HoldsObject(key)) {
    placement.rotation = ObjectRotation(leg) * key.spaceRotation;
    placement.ankle = ThroughObject(leg, key.objectTarget);
  } else {
    const LimbShape shape = ForwardLimb(LengthsOf(leg), key.jointAngles, key.limbRotation);
    placement.rotation = Normalized(LastSegmentInWorld(leg, shape) * key.endRotation);
    placement.ankle = OutOfBase(leg, shape.end);
  }
  return placement;
}

LegFit FitLeg(MotionCore& core, int side, const LimbKey& key, const FootPlacement& placement,
              const EvalContext& context) {
  LimbRecord& leg = core.leg[side];
  BendLeg(core, leg, key, placement, context);
  return {leg.pose.jointAngles[kHinge], leg.pose.limbRotation};
}

LimbKey RefitLegKey(MotionCore& core, int side, const LimbKey& old, const LegFit& before,
                    const FootPlacement& placement, float oldPitch, const EvalContext& context) {
  LimbRecord& leg = core.leg[side];
  LimbPose& pose = leg.pose;
  BendLeg(core, leg, old, placement, context);
  float& hinge = pose.jointAngles[kHinge];
  hinge = std::clamp(hinge + (old.jointAngles[kHinge] - before.hinge), 0.0f, kPi);
  pose.limbRotation =
      Normalized(pose.limbRotation * (Conjugate(before.limbRotation) * old.limbRotation));
  TurnFoot(leg, placement.rotation);
  for (int d = 0; d < leg.numDigits; ++d) leg.digits[d].pose = old.digits[d];
  if (old.keyState != kMove) BendToes(leg, placement.rotation, oldPitch, placement.pitch);
  const PivotChoice pivot = PivotOf(old);
  pose.pivotKind = pivot.kind;
  pose.pivotIndex = pivot.index;
  pose.pivotDigit = pivot.digit;
  pose.pivotLink = pivot.link;

  const LimbKey now = CurrentLimbKey(core, leg, InObjectSpace(old) ? kPlantedKey : kFreeKey);
  LimbKey key = old;
  std::copy(now.jointAngles, now.jointAngles + kNumJointAngles, key.jointAngles);
  std::copy(now.digits, now.digits + leg.numDigits, key.digits);
  key.limbRotation = now.limbRotation;
  key.endRotation = now.endRotation;
  key.spaceRotation = now.spaceRotation;
  key.bodyTarget = now.bodyTarget;
  key.objectTarget = now.objectTarget;
  key.pivotPosition = now.pivotPosition;
  key.anklePose = now.anklePose;
  if (HoldsObject(old)) {
    FootPlacement standing = placement;
    standing.pivot = pivot;
    StandOn(leg, key, standing);
  }
  return key;
}

}  // namespace strider
