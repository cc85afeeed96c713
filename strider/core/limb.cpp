#include "strider/core/limb.h"

#include <algorithm>

#include "strider/core/evaluate.h"
#include "strider/core/track_reader.h"

namespace strider {
namespace {

using Reader = TrackReader<LimbKey>;

// Below this share a target has no effect worth solving for.
constexpr float kLeastBlend = 0.0001f;

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

bool InObjectSpace(const LimbKey& key) { return key.ikSpace == kObjectSpace; }
bool HoldsObject(const LimbKey& key) { return InObjectSpace(key) && key.ikBlend == 1; }

/// Which of a limb's sub-tracks and curves rule which of its values.
struct LimbLayout {
  int first, hinge, third, end;
  explicit LimbLayout(const LimbRecord& limb)
      : first(limb.isLeg ? 0 : 1), hinge(first + 1), third(2), end(NumLimbLinks(limb) - 1) {}
};

/// Readers of a limb's sections: one for all, or one for each where links have their own keys.
class LimbReaders {
 public:
  LimbReaders(LimbRecord& limb, TimeValue t)
      : table_(limb.table), t_(t), shared_(limb.table, t, LimbLayout(limb).end) {}

  /// Runs `use` with the reader of a sub-track.
  template <class Use>
  auto With(int subTrack, Use use) {
    if (!table_.track.separate) return use(shared_);
    return use(Reader(table_, t_, subTrack));
  }
  /// The reader of the end link, whose keys hold the target.
  const Reader& End() const { return shared_; }

 private:
  KeyTable<LimbKey>& table_;
  TimeValue t_;
  Reader shared_;
};

// --- Step 1: what the keys say at t -----------------------------------------------------------

/// Where keys hold values that no angle can have, the stance stands in.
void KeepFinite(LimbRecord& limb) {
  LimbPose& pose = limb.pose;
  for (int i = 0; i < kNumJointAngles; ++i) {
    if (!IsFinite(pose.jointAngles[i])) pose.jointAngles[i] = limb.rest.jointAngles[i];
  }
  for (int i = 0; i < 2; ++i) {
    if (!IsFinite(pose.clavicle[i])) pose.clavicle[i] = limb.rest.clavicle[i];
  }
}

/// `needEnd` asks for the forward rotation of hand or foot too, which a target that rules alone
/// replaces.
void ReadForwardPose(LimbRecord& limb, LimbReaders& readers, bool needEnd) {
  const LimbLayout layout(limb);
  LimbPose& pose = limb.pose;
  pose.jointAngles[kHinge] = readers.With(layout.hinge, [&](const Reader& r) {
    return r.Scalar(layout.hinge, 0, [](const LimbKey& key) { return key.jointAngles[kHinge]; });
  });
  if (limb.hasFourLinks) {
    readers.With(layout.third, [&](const Reader& r) {
      for (int i = kThirdPitch; i < kNumJointAngles; ++i) {
        pose.jointAngles[i] = r.Scalar(layout.third, i - kThirdPitch,
                                       [i](const LimbKey& key) { return key.jointAngles[i]; });
      }
    });
  }
  pose.limbRotation = readers.With(layout.first, [&](const Reader& r) {
    return r.RotationOrEuler(
        0, layout.first, [](const LimbKey& key) -> const Quat& { return key.limbRotation; },
        [](const LimbKey& key) -> const Point3& { return key.limbEuler; });
  });
  if (needEnd) {
    pose.endRotation = readers.End().RotationOrEuler(
        1, layout.end, [](const LimbKey& key) -> const Quat& { return key.endRotation; },
        [](const LimbKey& key) -> const Point3& { return key.endEuler; });
  }
  if (limb.isLeg) return;
  readers.With(0, [&](const Reader& r) {
    for (int i = 0; i < 2; ++i) {
      pose.clavicle[i] = r.Scalar(0, i, [i](const LimbKey& key) { return key.clavicle[i]; });
    }
  });
}

void ReadDigits(LimbRecord& limb, LimbReaders& readers) {
  const int links = NumLimbLinks(limb);
  for (int d = 0; d < limb.numDigits; ++d) {
    DigitKey& pose = limb.digits[d].pose;
    const int firstChannel = 3 + d * (1 + limb.digitLinks);
    const int firstCurve = links + d * limb.digitLinks;
    readers.With(links + d, [&](const Reader& r) {
      const DigitKey& left = r.Left().digits[d];
      const DigitKey& right = r.Right().digits[d];
      if (limb.isLeg) {
        // Toes are eased between the two keys, without regard to their neighbours.
        const float u = CosineEase(r.U());
        pose.base = NearUnit(Slerp(left.base, right.base, u));
        pose.link[0] = NearUnit(Slerp(left.link[0], right.link[0], u));
        for (int k = 0; k < limb.digitLinks; ++k) {
          const float bend = left.bend[k] + u * (right.bend[k] - left.bend[k]);
          pose.bend[k] = IsFinite(bend) ? bend : limb.rest.digits[d].bend[k];
        }
        return;
      }
      pose.base = r.RotationOrEuler(
          firstChannel, firstCurve,
          [d](const LimbKey& key) -> const Quat& { return key.digits[d].base; },
          [d](const LimbKey& key) -> const Point3& { return key.digits[d].baseEuler; });
      for (int k = 0; k < limb.digitLinks; ++k) {
        pose.link[k] = r.RotationOrEuler(
            firstChannel + 1 + k, firstCurve + k,
            [d, k](const LimbKey& key) -> const Quat& { return key.digits[d].link[k]; },
            [d, k](const LimbKey& key) -> const Point3& { return key.digits[d].linkEuler[k]; });
      }
    });
  }
}

/// Blend and space of the target between two keys. Where the two spaces differ there is no place
/// in between: the target rules only at the key that stands in object space.
void ReadIkState(LimbRecord& limb, const Reader& r, TimeValue t, bool layered) {
  LimbPose& pose = limb.pose;
  const LimbKey& left = r.Left();
  const LimbKey& right = r.Right();
  const float u = layered ? CosineEase(r.U()) : r.U();
  pose.ikBlend = left.ikBlend + u * (right.ikBlend - left.ikBlend);
  pose.forwardBend = left.forwardBend + u * (right.forwardBend - left.forwardBend);
  pose.ikAnkleTension = left.ikAnkleTension;
  pose.ikSpace = left.ikSpace;
  pose.ikJoinedPivot = left.ikJoinedPivot;
  if (left.ikSpace != right.ikSpace) {
    const bool atKey = t <= r.LeftTime();  // before the first key the first rules
    pose.ikBlend = !atKey ? 0 : InObjectSpace(left) ? 1 : left.ikBlend;
  }
  pose.ikBlend = IsFinite(pose.ikBlend) ? std::clamp(pose.ikBlend, 0.0f, 1.0f) : 0;
}

// --- Step 2: the pivot in force ----------------------------------------------------------------

struct PivotInForce {
  PivotChoice choice;
  Point3 anchor;  // object space
};

/// A point of both span keys; outer neighbours count only where `usable`, else the span's keys
/// stand in for them.
template <class Get, class Usable>
Point3 SpanPoint(const LimbRecord& limb, const Reader& r, Get get, Usable usable) {
  if (r.AtKey()) return get(r.Left());
  const Point3 p1 = get(r.Left()), p2 = get(r.Right());
  const KeyTrack& track = limb.table.track;
  if (track.curveMode && track.trackCurves) {
    // The second channel of a limb's own curve is drawn negated.
    const KeyTangent left = GetTrackTangent(track, r.Span().left);
    const KeyTangent right = GetTrackTangent(track, r.Span().right);
    Point3 value;
    for (int i = 0; i < 3; ++i) {
      const float sign = i == 1 ? -1.0f : 1.0f;
      value[i] = sign * CurveValue(sign * p1[i], sign * p2[i], left, right, i, r.LeftTime(),
                                   r.RightTime(), r.U());
    }
    return value;
  }
  const Point3 p0 = usable(r.Prev()) ? get(r.Prev()) : p1;
  const Point3 p3 = usable(r.Next()) ? get(r.Next()) : p2;
  return TcbValue(p0, p1, p2, p3, r.LeftShape(), r.RightShape(), r.U());
}

PivotInForce ReadPivot(const LimbRecord& limb, const Reader& r) {
  const LimbKey& left = r.Left();
  const LimbKey& right = r.Right();
  if (r.AtKey() || right.ikJoinedPivot) return {PivotOf(left), left.pivotPosition};
  const auto position = [](const LimbKey& key) { return key.pivotPosition; };
  const PivotChoice choice = PivotOf(right);
  if (!(PivotOf(left) == choice)) {
    // Another pivot takes over: the new one is followed from where it lay at the left key.
    const Point3 from = right.joinedPivotPosition, to = right.pivotPosition;
    return {choice, TcbValue(from, from, to, to, r.LeftShape(), r.RightShape(), r.U())};
  }
  return {choice, SpanPoint(limb, r, position, [&](const LimbKey& key) {
            return HoldsObject(key) && PivotOf(key) == choice;
          })};
}

/// Exact comparison on purpose: only a frame that nobody set is passed over.
bool HasObjectFrame(const LimbRecord& limb) {
  const Matrix3& m = limb.objectFrame;
  return !(m.row[0].x == 1 && m.row[1].y == 1 && m.row[2].z == 1 && m.row[3] == Point3{});
}

// --- Step 3: rotations of the hand or foot ------------------------------------------------------

/// Rotation that the key's own space gives the hand or foot: a body-space one turns with the body
/// (legs) or the clavicle (arms), an object-space one with the object.
Quat SpaceRotationInWorld(const MotionCore& core, const LimbRecord& limb, const Reader& r) {
  const Quat inSpace =
      r.Rotation(2, [](const LimbKey& key) -> const Quat& { return key.spaceRotation; });
  Quat space;
  if (limb.pose.ikSpace == kBodySpace) {
    space = limb.isLeg ? core.body.bodyRotation : limb.parent.rotation;
  } else if (HasObjectFrame(limb)) {
    space = RotationOf(Orthogonalized(limb.objectFrame));
  }
  return NearUnit(space * inSpace);
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

void SolveToLocalTarget(LimbRecord& limb, const EvalContext& context) {
  LimbPose& pose = limb.pose;
  pose.limbRotation = SolveLimb(LengthsOf(limb), pose.localTarget, pose.swivel, pose.limbRotation,
                                context.tiltFourLinkSwivel, pose.jointAngles);
}

}  // namespace

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

LegState LegKeyState(const MotionCore& core, const LimbRecord& limb, TimeValue t) {
  if (core.freeForm || limb.table.Empty() || InFreeForm(core.footsteps, t)) return kMove;
  const int index = FindKey(limb.table.track, t);
  const TimeValue age = Later(t, -std::int64_t{limb.table.TimeOf(index)});
  switch (limb.table[index].keyState) {
    case kTouch: return age >= 0 && age < core.ticksPerFrame ? kTouch : kPlant;
    case kPlant: return kPlant;
    case kLift: return age == 0 ? kLift : kMove;
    default: return kMove;
  }
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

namespace {

/// Toes stay as they lay when the foot turned over its toe row from `before` to `after`.
void AdjustToesToPivot(LimbRecord& limb, const Quat& before, const Quat& after) {
  for (int d = 0; d < limb.numDigits; ++d) {
    DigitRecord& digit = limb.digits[d];
    const Quat back = Conjugate(after * digit.baseRotation) * before * digit.baseRotation;
    digit.pose.base = Normalized(back * digit.pose.base);
  }
}

/// The pose that the keys give without a target.
struct ForwardPose {
  float jointAngles[kNumJointAngles] = {};
  Quat limbRotation, endWorld;
};

ForwardPose SaveForwardPose(LimbRecord& limb) {
  ForwardPose saved;
  const LimbPose& pose = limb.pose;
  std::copy(pose.jointAngles, pose.jointAngles + kNumJointAngles, saved.jointAngles);
  saved.limbRotation = pose.limbRotation;
  saved.endWorld = NearUnit(LastSegmentInWorld(limb, ShapeOfPose(limb)) * pose.endRotation);
  return saved;
}

/// Between the forward pose (w = 0) and the solved one (w = 1).
void BackTowardsForward(LimbRecord& limb, const ForwardPose& saved, float w) {
  LimbPose& pose = limb.pose;
  for (int i = 0; i < kNumJointAngles; ++i) {
    pose.jointAngles[i] = saved.jointAngles[i] + (pose.jointAngles[i] - saved.jointAngles[i]) * w;
  }
  pose.limbRotation =
      Normalized(Slerp(saved.limbRotation, OnSideOf(pose.limbRotation, saved.limbRotation), w));
}

/// The target of an object-space key: the pivot stands where its anchor is, and a leg's foot turns
/// about it as the knee asks. Answers the foot's or hand's world rotation.
Quat FollowObjectTarget(LimbRecord& limb, const Reader& r, TimeValue t, Quat endWorld, bool strict,
                        const EvalContext& context) {
  LimbPose& pose = limb.pose;
  const float keyedHinge = pose.jointAngles[kHinge];
  const PivotInForce pivot = ReadPivot(limb, r);
  pose.pivotKind = pivot.choice.kind;
  pose.pivotIndex = pivot.choice.index;
  pose.pivotDigit = pivot.choice.digit;
  pose.pivotLink = pivot.choice.link;
  pose.pivotPosition = pivot.anchor;
  PlacePivotedLimb(limb, pivot.anchor, pivot.choice, endWorld, context);

  const bool atKey = t == r.LeftTime();
  if (!limb.isLeg || !strict || limb.hasFourLinks || atKey) return endWorld;
  const float u = CosineEase(r.U());
  const AnkleAdjustment adjustment{
      keyedHinge,
      r.Left().ikAnkleTension + u * (r.Right().ikAnkleTension - r.Left().ikAnkleTension)};
  const Quat toBase = Conjugate(limb.base.rotation);
  Quat endInBase = toBase * endWorld;
  const Point3 pivotOffset = Rotate(endInBase, PivotPoint(limb, pivot.choice));
  if (!AdjustAnkle(limb, adjustment, pivotOffset, endInBase, context)) return endWorld;
  const Quat turned = limb.base.rotation * endInBase;
  if (pivot.choice.kind == kNamedPivot && pivot.choice.index >= kFirstToePivot) {
    AdjustToesToPivot(limb, endWorld, turned);
  }
  return turned;
}

}  // namespace

void EvaluateLimbFull(MotionCore& core, LimbRecord& limb, TimeValue t, const EvalContext& context,
                      float layerWeight, bool strict) {
  LimbPose& pose = limb.pose;
  if (limb.hold) t = limb.holdTime;
  limb.keyState = limb.isLeg ? LegKeyState(core, limb, t) : kMove;
  if (limb.table.Empty()) {
    TakeLimbRest(limb);
    PlaceLimbBase(core, limb);
    return;
  }
  LimbReaders readers(limb, t);
  const Reader& end = readers.End();
  ReadIkState(limb, end, t, core.previousLayer || core.nextLayer);
  const float w = layerWeight * pose.ikBlend;
  const bool followsTarget =
      (w >= kLeastBlend || HasObjectFrame(limb)) && !context.disableIk && pose.ikBlend > 0;
  ReadForwardPose(limb, readers, !followsTarget || w < 1);
  ReadDigits(limb, readers);
  KeepFinite(limb);
  PlaceLimbBase(core, limb);

  if (!followsTarget) {
    const LimbShape& forward = ShapeOfPose(limb);
    pose.swivel = forward.swivel;
    pose.localTarget = forward.end;
    return;
  }
  pose.swivel = UnitFrame(pose.limbRotation, {}).row[2];
  ForwardPose saved;
  if (w < 1) saved = SaveForwardPose(limb);
  Quat endWorld = SpaceRotationInWorld(core, limb, end);
  if (pose.ikSpace == kBodySpace) {
    pose.localTarget = end.Tcb([](const LimbKey& key) { return key.bodyTarget; });
    SolveToLocalTarget(limb, context);
  } else {
    endWorld = FollowObjectTarget(limb, end, t, endWorld, strict, context);
  }
  if (w < 1) {
    BackTowardsForward(limb, saved, w);
    endWorld = Normalized(Slerp(saved.endWorld, OnSideOf(endWorld, saved.endWorld), w));
  }
  const LimbShape& shape = ShapeOfPose(limb);
  pose.swivel = shape.swivel;
  pose.localTarget = shape.end;
  pose.endRotation = NearUnit(Conjugate(LastSegmentInWorld(limb, shape)) * endWorld);
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
  Quat object;
  if (HasObjectFrame(limb)) {
    endPlace = endPlace * Inverse(limb.objectFrame);
    object = RotationOf(Orthogonalized(limb.objectFrame));
  }
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

void SetKeyPivot(const LimbRecord& limb, LimbKey& key, const PivotChoice& pivot) {
  key.pivotKind = pivot.kind;
  key.pivotIndex = pivot.index;
  key.pivotDigit = pivot.digit;
  key.pivotLink = pivot.link;
  key.pivotPosition = key.objectTarget + Rotate(key.spaceRotation, PivotPoint(limb, key));
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
    key.limbRotation = OnSideOf(now.limbRotation, key.limbRotation);
    key.endRotation = OnSideOf(now.endRotation, key.endRotation);
    key.bodyTarget = now.bodyTarget;
    key.anklePose = now.anklePose;
    key.objectTarget = now.objectTarget;
    SetKeyPivot(*limb, key, PivotOf(key));
  }
  MarkDirty(limb->table.track, 0, limb->table.track.numKeys - 1);
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
    if (i > 0) {
      const LimbKey& earlier = limb->table[i - 1];
      key.spaceRotation = OnSideOf(key.spaceRotation, earlier.spaceRotation);
      JoinPivots(*limb, earlier, key);
    }
  }
  MarkDirty(limb->table.track, 0, limb->table.track.numKeys - 1);
}

}  // namespace strider
