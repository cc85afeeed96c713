#include "strider/core/limb_pivot.h"

#include <algorithm>

namespace strider {

PivotChoice PivotOf(const LimbKey& key) {
  PivotChoice choice{key.pivotKind, 0, 0, 0};
  if (key.pivotKind == kNamedPivot) {
    choice.index = key.pivotIndex;
  } else {
    choice.digit = key.pivotDigit;
    choice.link = key.pivotLink;
  }
  return choice;
}

namespace {

/// `poseOf` gives the pose of a digit: the limb's current one or a key's.
template <class PoseOf>
Point3 PivotPointIn(const LimbRecord& limb, const PivotChoice& choice, PoseOf poseOf) {
  if (choice.kind == kDigitPivot && limb.numDigits > 0) {
    const int d = std::clamp(choice.digit, 0, limb.numDigits - 1);
    const DigitRecord& digit = limb.digits[d];
    const DigitKey& pose = poseOf(d);
    const int link = std::clamp(choice.link, 0, digit.numLinks);
    Point3 joint = digit.baseOffset;
    Quat rotation = digit.baseRotation * pose.base;
    for (int k = 0; k < link; ++k) {
      if (!limb.isLeg || k == 0) rotation = rotation * pose.link[k];
      if (limb.isLeg) rotation = rotation * AboutZ(-pose.bend[k]);
      joint += Rotate(rotation, {digit.dimensions[k].x, 0, 0});
    }
    return joint;
  }
  const int index = std::clamp(choice.index, 0, kNumNamedPivots - 1);
  if (index == 0) return {};
  const float across = static_cast<float>((index - 1) % 3 - 1);
  const bool far = index >= kFirstToePivot;
  if (limb.isLeg) {
    return {limb.extremityHeight, far ? limb.toeLength : -limb.heelLength,
            across * 0.5f * limb.extremityWidth};
  }
  // A hand rests on its palm, which faces the body: the third axis points out on the right hand
  // and in on the left.
  const float palm = limb.extremityHeight / (limb.side == kRight ? -9.0f : 9.0f);
  return {far ? limb.toeLength : 0, across * limb.extremityWidth / 2.5f, palm};
}

}  // namespace

Point3 PivotPoint(const LimbRecord& limb, const PivotChoice& choice) {
  return PivotPointIn(limb, choice,
                      [&limb](int d) -> const DigitKey& { return limb.digits[d].pose; });
}
Point3 PivotPoint(const LimbRecord& limb, const LimbKey& key) {
  return PivotPointIn(limb, PivotOf(key),
                      [&key](int d) -> const DigitKey& { return key.digits[d]; });
}

void JoinPivots(const LimbRecord& limb, const LimbKey& before, LimbKey& key) {
  key.joinedPivotPosition = key.pivotPosition;
  if (!InObjectSpace(key) || !InObjectSpace(before)) return;
  LimbKey asBefore = before;
  asBefore.pivotKind = key.pivotKind;
  asBefore.pivotIndex = key.pivotIndex;
  asBefore.pivotDigit = key.pivotDigit;
  asBefore.pivotLink = key.pivotLink;
  key.joinedPivotPosition =
      before.objectTarget + Rotate(before.spaceRotation, PivotPoint(limb, asBefore));
}

int NumPivots(const LimbRecord& limb) {
  int count = kNumNamedPivots;
  if (limb.digitsSeparate) return count;
  for (int d = 0; d < limb.numDigits; ++d) count += limb.digits[d].numLinks + 1;
  return count;
}

PivotChoice PivotOfNumber(const LimbRecord& limb, int number) {
  if (number < kNumNamedPivots) return {kNamedPivot, std::max(number, 0), 0, 0};
  number = std::min(number, NumPivots(limb) - 1) - kNumNamedPivots;
  if (number < 0) return {kNamedPivot, kNumNamedPivots - 1, 0, 0};
  int digit = 0;
  while (number > limb.digits[digit].numLinks) number -= limb.digits[digit++].numLinks + 1;
  return {kDigitPivot, 0, digit, number};
}

void PlacePivotedLimb(LimbRecord& limb, const Point3& anchor, const PivotChoice& pivot,
                      const Quat& endWorld, const EvalContext& context) {
  const Point3 toPivot = Rotate(endWorld, PivotPoint(limb, pivot));
  limb.pose.worldTarget = ThroughObject(limb, anchor) - toPivot;
  limb.pose.localTarget = IntoBase(limb, limb.pose.worldTarget);
  SolveToLocalTarget(limb, context);
}

void SetKeyPivot(const LimbRecord& limb, LimbKey& key, const PivotChoice& pivot) {
  key.pivotKind = pivot.kind;
  key.pivotIndex = pivot.index;
  key.pivotDigit = pivot.digit;
  key.pivotLink = pivot.link;
  key.pivotPosition = key.objectTarget + Rotate(key.spaceRotation, PivotPoint(limb, key));
}

void SolveToLocalTarget(LimbRecord& limb, const EvalContext& context) {
  LimbPose& pose = limb.pose;
  pose.limbRotation = SolveLimb(LengthsOf(limb), pose.localTarget, pose.swivel, pose.limbRotation,
                                context.tiltFourLinkSwivel, pose.jointAngles);
}

namespace {

double BaseDistance(const LimbRecord& limb, float hinge) {
  const double a = limb.upperLength, b = limb.lowerLength;
  return std::sqrt(std::max(0.0, a * a + b * b - 2 * a * b * SinCosOf(hinge).cos));
}

/// Turns the foot about its pivot until the ankle stands `distance` from the hip; `follow` brings
/// it back towards where it was. False, nothing changed, if there is no such place.
bool RotateFootToDistance(LimbRecord& limb, double distance, const Point3& pivotOffset,
                          float follow, Quat& endInBase, const EvalContext& context) {
  const Point3 ankle = limb.pose.localTarget;
  const Point3 pivot = ankle + pivotOffset;
  const double radius = Length(pivotOffset), pivotDistance = Length(pivot);
  if (!(radius > 0) || !(pivotDistance > 0)) return false;
  // In the plane of hip, pivot and ankle, along the line to the pivot and across it.
  const Point3 along = Normalized(pivot);
  const Point3 across = Normalized(ankle - Dot(ankle, along) * along);
  if (across == Point3{}) return false;
  const double x =
      (distance * distance - radius * radius + pivotDistance * pivotDistance) / (2 * pivotDistance);
  const double square = distance * distance - x * x;
  if (!(square >= 0)) return false;
  const Point3 wanted =
      static_cast<float>(x) * along + static_cast<float>(std::sqrt(square)) * across;
  const Point3 between = Lerp(wanted, ankle, follow) - pivot;
  const Point3 spoke = Normalized(between, Normalized(ankle - pivot));
  const Point3 moved = pivot + static_cast<float>(radius) * spoke;

  const Point3 oldSpoke = Normalized(ankle - pivot);
  const Quat turn = AngleAxis(Acos(Dot(oldSpoke, spoke)), Cross(oldSpoke, spoke));
  endInBase = NearUnit(turn * endInBase);
  limb.pose.localTarget = moved;
  limb.pose.worldTarget = OutOfBase(limb, moved);
  SolveToLocalTarget(limb, context);
  return true;
}

/// Share by which a measure below `limit` falls short of it.
float Shortfall(float value, float limit) { return value < limit ? 1 - value / limit : 0; }

}  // namespace

bool AdjustAnkle(LimbRecord& limb, const AnkleAdjustment& a, const Point3& pivotOffset,
                 Quat& endInBase, const EvalContext& context) {
  // Limits of the rules below: a foot nearer to the ground than a tenth of its length keeps its
  // ankle; a leg stretched past kStraight is left alone.
  constexpr float kStraight = 0.98f, kSideRange = 0.3f, kStraightRange = 0.05f;
  constexpr float kFoldedKnee = 1.3f, kOpenKnee = 2.0f;
  LimbPose& pose = limb.pose;
  const float currentHinge = pose.jointAngles[kHinge];

  // Step 1: the hinge wanted. Near the ground the ankle holds.
  const float rise = -Rotate(limb.base.rotation, pivotOffset).y - limb.extremityHeight;
  const float near = limb.toeLength / 10;
  float tension = a.tension;
  const float lifted = std::max(rise, 0.0f);
  if (lifted < near) tension += (near - lifted) / near;
  tension = std::min(tension, 1.0f);
  const float hinge = a.keyedHinge + (currentHinge - a.keyedHinge) * tension;

  // Step 2: what that does to the distance of hip and ankle.
  double distance = BaseDistance(limb, hinge);
  const double now = BaseDistance(limb, currentHinge);
  const double gain = distance - now;

  // Steps 3 to 5: when the foot cannot turn sensibly.
  if (a.needAboveGround && rise < 0) return false;
  const Point3 hipDirection = Normalized(-pose.localTarget);
  const Point3 pivotDirection = Normalized(pivotOffset);
  const float facing = Dot(hipDirection, pivotDirection);
  if (facing < -kStraight) return false;
  const float straight = (facing + kStraight) / (1 + kStraight);
  // Both legs keep their swivel to the left, so a pivot ahead of the ankle is positive for both.
  const Point3 swivel = FrameOf(pose.limbRotation, {}).row[2];
  const float side = Dot(swivel, Cross(hipDirection, pivotDirection));
  if (side < 0) return false;

  // Steps 6 and 7: how far the ankle stays where it is.
  float follow = std::min(Shortfall(side, kSideRange) + Shortfall(straight, kStraightRange), 1.0f);
  if (!a.probe) {
    if (currentHinge <= kFoldedKnee) {
      follow += 1;
    } else if (currentHinge < kOpenKnee) {
      follow += (kOpenKnee - currentHinge) / (kOpenKnee - kFoldedKnee);
    }
  }
  follow = std::min(follow, 1.0f);

  // Step 8: the ground limits the turn.
  if (gain < 0 && -gain > 2 * rise && rise > 0 && !a.probe) {
    distance = now - 2 * rise;
  } else if (gain >= 0 && a.needAboveGround && gain > rise) {
    distance = rise + now;
  }
  return RotateFootToDistance(limb, distance, pivotOffset, follow, endInBase, context);
}

void AdjustToesToPivot(LimbRecord& limb, const Quat& before, const Quat& after) {
  for (int d = 0; d < limb.numDigits; ++d) {
    DigitRecord& digit = limb.digits[d];
    const Quat back = Conjugate(after * digit.baseRotation) * before * digit.baseRotation;
    digit.pose.base = Normalized(back * digit.pose.base);
  }
}

}  // namespace strider
