#include "strider/core/limb.h"

#include <algorithm>

#include "strider/core/track_reader.h"

namespace strider {
namespace {

using Reader = TrackReader<LimbKey>;

// Below this share a target has no effect worth solving for.
constexpr float kLeastBlend = 0.0001f;

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

// --- Step 3: rotations of the hand or foot ------------------------------------------------------

/// Rotation that the key's own space gives the hand or foot: a body-space one turns with the body
/// (legs) or the clavicle (arms), an object-space one with the object.
Quat SpaceRotationInWorld(const MotionCore& core, const LimbRecord& limb, const Reader& r) {
  const Quat inSpace =
      r.Rotation(2, [](const LimbKey& key) -> const Quat& { return key.spaceRotation; });
  if (limb.pose.ikSpace == kObjectSpace) return NearUnit(ObjectRotation(limb) * inSpace);
  const Quat& body = limb.isLeg ? core.body.bodyRotation : limb.parent.rotation;
  return NearUnit(body * inSpace);
}

}  // namespace

LegState LegKeyState(const MotionCore& core, LimbRecord& limb, TimeValue t) {
  bool free = core.body.freePeriod;
  if (limb.hold) {
    t = limb.holdTime;
    free = core.freeForm || InFreeForm(core.footsteps, t);
  }
  if (free || limb.table.Empty()) return kMove;
  const int index = FindKeyNear(limb.table.track, t, limb.table.near);
  const TimeValue age = Later(t, -std::int64_t{limb.table.TimeOf(index)});
  switch (limb.table[index].keyState) {
    case kTouch: return age >= 0 && age < core.ticksPerFrame ? kTouch : kPlant;
    case kPlant: return kPlant;
    case kLift: return age == 0 ? kLift : kMove;
    default: return kMove;
  }
}

namespace {

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

}  // namespace strider
