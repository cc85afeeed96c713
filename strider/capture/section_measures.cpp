// What each kind of section has for curves, and how far apart two of its poses are.

#include <algorithm>
#include <cmath>

#include "strider/base/trig.h"
#include "strider/capture/section_curve.h"
#include "strider/core/limb.h"

namespace strider {
namespace {

std::size_t At(int index) { return static_cast<std::size_t>(index); }

/// Angle between two rotations (radians).
float AngleBetween(const Quat& a, const Quat& b) {
  const Quat c = OnSideOf(b, a);
  const double x = a.x - c.x, y = a.y - c.y, z = a.z - c.z, w = a.w - c.w;
  const double half = std::sqrt(x * x + y * y + z * z + w * w) / 2;
  return static_cast<float>(4 * (kPiD / 2 - AcosD(half)));
}

/// Angle between two directions (radians).
float AngleBetween(const Point3& a, const Point3& b) {
  return static_cast<float>(kPiD - 2 * AcosD(static_cast<double>(Length(a - b)) / 2));
}

// --- Keys ---------------------------------------------------------------------------------------

/// Which keys of a track a curve has, with their times and shapes.
void TakeKeys(SectionCurve& curve, const KeyTrack& track, int subTrack) {
  const std::uint32_t mask = track.separate ? std::uint32_t{1} << subTrack : kAllLinks;
  for (int i = 0; i < track.numKeys; ++i) {
    const KeyTimeRecord& record = track.times[At(i)];
    if (track.separate && (record.linkMask & mask) == 0) continue;
    curve.keys.push_back(i);
    curve.times.push_back(record.time);
    curve.tcb.push_back(GetTcb(track, i, track.separate ? subTrack : 0));
    curve.forced.push_back(record.flag != 0);
  }
  curve.space.assign(curve.keys.size(), 0);
}

template <class Key, class RotationOf>
void TakeRotations(SectionCurve& curve, const KeyTable<Key>& table, int count,
                   const RotationOf& rotationOf) {
  curve.numRotations = count;
  curve.rotations.reserve(curve.keys.size() * At(count));
  for (const int key : curve.keys) {
    for (int i = 0; i < count; ++i) curve.rotations.push_back(rotationOf(table[key], i));
  }
}
template <class Key, class ScalarOf>
void TakeScalars(SectionCurve& curve, const KeyTable<Key>& table, int count,
                 const ScalarOf& scalarOf) {
  curve.numScalars = count;
  curve.scalars.reserve(curve.keys.size() * At(count));
  for (const int key : curve.keys) {
    for (int i = 0; i < count; ++i) curve.scalars.push_back(scalarOf(table[key], i));
  }
}

// --- Chains and the body ------------------------------------------------------------------------

// The pelvis carries all other sections, and its turns add up with theirs.
constexpr float kPelvisShare = 0.5f;

/// The links of a chain turn those that follow: what shows is where each has got to.
float ChainMeasure(int, int, const CurvePose& shown, const CurvePose& meant, float tolerance) {
  Quat turnShown, turnMeant;
  float most = 0;
  for (std::size_t i = 0; i < shown.rotations.size(); ++i) {
    turnShown = turnShown * shown.rotations[i];
    turnMeant = turnMeant * meant.rotations[i];
    most = std::max(most, AngleBetween(turnShown, turnMeant));
  }
  return most / DegreesToRadians(tolerance);
}

float PlaceMeasure(int, int, const CurvePose& shown, const CurvePose& meant, float tolerance) {
  float square = 0;
  for (std::size_t i = 0; i < shown.scalars.size(); ++i) {
    const float off = shown.scalars[i] - meant.scalars[i];
    square += off * off;
  }
  return std::sqrt(square) / tolerance;
}

template <class Key, class ChainOf>
SectionCurve ChainCurve(const KeyTable<Key>& table, int links, int subTrack,
                        const ChainOf& chainOf) {
  SectionCurve curve;
  TakeKeys(curve, table.track, subTrack);
  const bool separate = table.track.separate != 0;
  TakeRotations(curve, table, separate ? 1 : links, [&](const Key& key, int i) {
    return chainOf(key).rotation[separate ? subTrack : i];
  });
  curve.measure = ChainMeasure;
  return curve;
}

bool OnGround(int legState) {
  return legState == kTouch || legState == kPlant || legState == kLift;
}
/// True where a contact begins or ends: the states between follow from these by themselves.
bool ChangesContact(int before, int here) {
  return here == kTouch || here == kLift || OnGround(before) != OnGround(here);
}

SectionCurve VerticalCurve(const MotionCore& core) {
  const KeyTable<VerticalKey>& table = core.body.vertical;
  SectionCurve curve;
  TakeKeys(curve, table.track, 0);
  TakeScalars(curve, table, 1, [](const VerticalKey& key, int) { return key.height; });
  curve.measure = PlaceMeasure;
  for (int i = 1; i < curve.NumKeys() && !core.freeForm; ++i) {
    for (int leg = 0; leg < 2; ++leg) {
      if (ChangesContact(table[i - 1].legState[leg], table[i].legState[leg])) {
        curve.forced[At(i)] = 1;
      }
    }
  }
  return curve;
}

SectionCurve HorizontalCurve(const MotionCore& core) {
  const KeyTable<HorizontalKey>& table = core.body.horizontal;
  SectionCurve curve;
  TakeKeys(curve, table.track, 0);
  TakeScalars(curve, table, 2, [](const HorizontalKey& key, int i) {
    return i == 0 ? key.position.x : key.position.z;
  });
  curve.measure = PlaceMeasure;
  for (int i = 1; i < curve.NumKeys(); ++i) {
    if (table[i].supportState != table[i - 1].supportState) curve.forced[At(i)] = 1;
    // The path bends where the height does.
    if (KeyAt(core.body.vertical.track, curve.times[At(i)]) >= 0) curve.forced[At(i)] = 1;
  }
  return curve;
}

// --- Limbs --------------------------------------------------------------------------------------

// A limb's rotations and scalars, as its curves number them.
enum LimbRotations : int { kLimbTurn, kEndTurn, kSpaceTurn, kFirstDigitTurn };
enum LimbScalars : int {
  kHingeScalar,
  kClavicleScalar = kNumJointAngles,
  kBodyTargetScalar = kClavicleScalar + 2,
  kPivotScalar = kBodyTargetScalar + 3,
  kPivotPointScalar = kPivotScalar + 3,  // the pivot in the foot or hand
  kFirstBend = kPivotPointScalar + 3,
};

// A free hand or foot may leave its place in the limb's base by this share of what the tolerance
// moves a straight limb's end by, and one that holds the ground or an object by a tenth of that:
// turns of limb and joint would else add up to more than either.
constexpr float kFreeShare = 0.7f, kHeldShare = 0.07f;

/// What the target of a key does.
struct LimbHold {
  float ikBlend = 0;
  int ikSpace = kBodySpace;
  PivotChoice pivot;
  bool joined = false;
  Point3 pivotPosition, pivotPoint;  // in object space, and in the foot or hand
  Quat rotation;
};
LimbHold HoldOf(const LimbRecord& limb, const LimbKey& key) {
  return {key.ikBlend,       key.ikSpace,           PivotOf(key),     key.ikJoinedPivot != 0,
          key.pivotPosition, PivotPoint(limb, key), key.spaceRotation};
}
/// A change of these shows at the very key.
bool SameHold(const LimbHold& a, const LimbHold& b) {
  return a.ikBlend == b.ikBlend && (a.ikBlend == 0 || a.ikSpace == b.ikSpace);
}

Point3 Point(const CurvePose& pose, int first) {
  return {pose.scalars[At(first)], pose.scalars[At(first + 1)], pose.scalars[At(first + 2)]};
}

/// How far the point of foot or hand that is held at a sample is from its place, between two keys
/// that may hold another point each.
float HeldOff(const LimbHold& from, const LimbHold& to, const CurvePose& shown,
              const CurvePose& meant) {
  // Between keys the sample is a curve's, and holds a point only where all keys hold the same.
  if (!meant.atKey) return 0;
  Point3 anchor = Point(shown, kPivotScalar), point = to.pivotPoint;
  if (to.joined) {
    anchor = from.pivotPosition;
    point = from.pivotPoint;
  } else if (!(from.pivot == to.pivot)) {
    const Point3 start =
        from.pivotPosition + Rotate(from.rotation, to.pivotPoint - from.pivotPoint);
    anchor = start + shown.u * (to.pivotPosition - start);
  }
  const Quat& rotation = shown.rotations[kSpaceTurn];
  return Length(anchor + Rotate(rotation, Point(meant, kPivotPointScalar) - point) -
                Point(meant, kPivotScalar));
}

struct DigitSlot {
  int digit, slot;  // slot 0 the base, then the links
};

/// Everything that a limb's measure asks beyond the poses.
struct LimbMeasure {
  SegmentLengths lengths;
  std::vector<LimbHold> holds;       // of the curve's keys
  std::vector<char> countsRotation;  // which channels are this sub-track's own
  std::vector<char> countsScalar;
  bool whole = true;  // one key for all links

  float operator()(int left, int right, const CurvePose& shown, const CurvePose& meant,
                   float tolerance) const {
    const LimbHold& from = holds[At(left)];
    const LimbHold& to = holds[At(right)];
    const bool parted = from.ikSpace != to.ikSpace;
    const bool free = parted || (from.ikBlend == 0 && to.ikBlend == 0);
    const bool held = !parted && from.ikBlend == 1 && to.ikBlend == 1;
    const float radians = DegreesToRadians(tolerance);
    float angle = 0;
    const auto turn = [&](int i) {
      if (countsRotation[At(i)]) {
        angle = std::max(angle, AngleBetween(shown.rotations[At(i)], meant.rotations[At(i)]));
      }
    };
    const auto bend = [&](int i) {
      if (countsScalar[At(i)]) {
        angle = std::max(angle, std::fabs(shown.scalars[At(i)] - meant.scalars[At(i)]));
      }
    };
    for (int i = kFirstDigitTurn; i < static_cast<int>(shown.rotations.size()); ++i) turn(i);
    for (int i = kFirstBend; i < static_cast<int>(shown.scalars.size()); ++i) bend(i);
    bend(kClavicleScalar);
    bend(kClavicleScalar + 1);
    float off = 0;  // in tolerances
    if (!held && whole) {
      Measure(shown, meant, radians, angle, off);
    } else if (!held) {
      turn(kLimbTurn);
      turn(kEndTurn);
      for (int i = 0; i < kNumJointAngles; ++i) bend(i);
    }
    if (!free) {
      turn(kSpaceTurn);
      bend(kHingeScalar);  // which a foot that turns about its pivot follows
      // Of the limb's own rotation only the side that the joint is bent to counts for a target.
      if (countsRotation[kLimbTurn]) {
        const Point3 a = Rotate(shown.rotations[kLimbTurn], {0, 0, 1});
        const Point3 b = Rotate(meant.rotations[kLimbTurn], {0, 0, 1});
        angle = std::max(angle, Acos(Dot(a, b)));
      }
      if (from.ikSpace == kObjectSpace) {
        if (countsScalar[kPivotScalar]) {
          off = std::max(
              off, HeldOff(from, to, shown, meant) / (kHeldShare * radians * ReachOf(lengths)));
        }
      } else {
        if (countsScalar[kBodyTargetScalar]) {
          const Point3 away = Point(shown, kBodyTargetScalar) - Point(meant, kBodyTargetScalar);
          off = std::max(off, Length(away) / (kFreeShare * radians * ReachOf(lengths)));
        }
      }
    }
    return std::max(off, angle / radians);
  }

  /// Both segments and the end of a limb that shows its forward pose.
  void Measure(const CurvePose& shown, const CurvePose& meant, float radians, float& angle,
               float& off) const {
    const auto shapeOf = [this](const CurvePose& pose) {
      float angles[kNumJointAngles];
      std::copy_n(pose.scalars.begin() + kHingeScalar, kNumJointAngles, angles);
      return ForwardLimb(lengths, angles, pose.rotations[kLimbTurn]);
    };
    const LimbShape a = shapeOf(shown), b = shapeOf(meant);
    // Of a limb nearly straight the plane turns at the least noise, and nobody sees it: what shows
    // is where the segments point.
    const auto along = [](const Quat& q) { return Rotate(q, {1, 0, 0}); };
    angle = std::max(
        {angle, AngleBetween(along(shown.rotations[kLimbTurn]), along(meant.rotations[kLimbTurn])),
         AngleBetween(along(a.lowerRotation), along(b.lowerRotation)),
         std::min(AngleBetween(shown.rotations[kEndTurn], meant.rotations[kEndTurn]),
                  AngleBetween(a.lastRotation * shown.rotations[kEndTurn],
                               b.lastRotation * meant.rotations[kEndTurn]))});
    off = std::max(off, Length(a.end - b.end) / (kFreeShare * radians * ReachOf(lengths)));
  }
};

const Quat& DigitTurn(const LimbKey& key, const DigitSlot& slot) {
  const DigitKey& digit = key.digits[slot.digit];
  return slot.slot == 0 ? digit.base : digit.link[slot.slot - 1];
}

/// Turns of digits that move at all, and bends of toes.
void FindMovingDigits(const LimbRecord& limb, const std::vector<int>& keys,
                      std::vector<DigitSlot>& turns, std::vector<DigitSlot>& bends) {
  if (keys.empty()) return;
  const LimbKey& first = limb.table[keys.front()];
  const auto moves = [&](const auto& differs) {
    return std::any_of(keys.begin(), keys.end(), [&](int key) { return differs(limb.table[key]); });
  };
  for (int d = 0; d < limb.numDigits; ++d) {
    for (int slot = 0; slot <= (limb.isLeg ? 1 : limb.digitLinks); ++slot) {
      const DigitSlot own{d, slot};
      if (moves([&](const LimbKey& k) { return !(DigitTurn(k, own) == DigitTurn(first, own)); })) {
        turns.push_back(own);
      }
    }
    for (int k = 0; limb.isLeg && k < limb.digitLinks; ++k) {
      if (moves([&](const LimbKey& key) {
            return key.digits[d].bend[k] != first.digits[d].bend[k];
          })) {
        bends.push_back({d, k});
      }
    }
  }
}

float LimbScalar(const LimbRecord& limb, const LimbKey& key, int i,
                 const std::vector<DigitSlot>& bends) {
  if (i < kClavicleScalar) return key.jointAngles[i];
  if (i < kBodyTargetScalar) return key.clavicle[i - kClavicleScalar];
  if (i < kPivotScalar) return key.bodyTarget[i - kBodyTargetScalar];
  if (i < kPivotPointScalar) return key.pivotPosition[i - kPivotScalar];
  if (i < kFirstBend) return PivotPoint(limb, key)[i - kPivotPointScalar];
  const DigitSlot& slot = bends[At(i - kFirstBend)];
  return key.digits[slot.digit].bend[slot.slot];
}

SectionCurve LimbCurve(const LimbRecord& limb, int subTrack) {
  const KeyTable<LimbKey>& table = limb.table;
  SectionCurve curve;
  TakeKeys(curve, table.track, subTrack);
  std::vector<DigitSlot> turns, bends;
  FindMovingDigits(limb, curve.keys, turns, bends);
  TakeRotations(curve, table, kFirstDigitTurn + static_cast<int>(turns.size()),
                [&](const LimbKey& key, int i) {
                  if (i == kLimbTurn) return key.limbRotation;
                  if (i == kEndTurn) return key.endRotation;
                  if (i == kSpaceTurn) return key.spaceRotation;
                  return DigitTurn(key, turns[At(i - kFirstDigitTurn)]);
                });
  TakeScalars(curve, table, kFirstBend + static_cast<int>(bends.size()),
              [&](const LimbKey& key, int i) { return LimbScalar(limb, key, i, bends); });
  curve.ownSpaceRotation = kSpaceTurn;
  curve.ownSpaceScalar = kPivotScalar;
  curve.ownSpaceEnd = kPivotPointScalar;
  if (limb.isLeg) {
    curve.firstEasedRotation = kFirstDigitTurn;
    curve.firstEasedScalar = kFirstBend;
    curve.rotationTcb = curve.tcb;
  }

  LimbMeasure measure;
  measure.lengths = LengthsOf(limb);
  measure.whole = !table.track.separate;
  const int links = NumLimbLinks(limb), first = limb.isLeg ? 0 : 1;
  const auto own = [&](int sub) {
    return measure.whole || std::min(sub, table.track.numSubTracks - 1) == subTrack;
  };
  for (int i = 0; i < curve.numRotations; ++i) {
    measure.countsRotation.push_back(own(i == kLimbTurn ? first
                                         : i < kFirstDigitTurn
                                             ? links - 1
                                             : links + turns[At(i - kFirstDigitTurn)].digit));
  }
  for (int i = 0; i < curve.numScalars; ++i) {
    measure.countsScalar.push_back(own(i == kHingeScalar       ? first + 1
                                       : i < kClavicleScalar   ? 2
                                       : i < kBodyTargetScalar ? 0
                                       : i < kFirstBend        ? links - 1
                                                        : links + bends[At(i - kFirstBend)].digit));
  }
  for (int i = 0; i < curve.NumKeys(); ++i) {
    const LimbKey& key = table[curve.keys[At(i)]];
    measure.holds.push_back(HoldOf(limb, key));
    curve.space[At(i)] = key.ikSpace;
    if (limb.isLeg) {
      // What the contacts do to a leg's path, as evaluation has it.
      KeyTcb& rule = curve.rotationTcb[At(i)];
      if (key.keyState == kTouch || key.keyState == kPlant) rule.continuity = 0;
      if (key.keyState == kLift) rule.bias = 50;
    }
    if (i == 0) continue;
    const LimbKey& before = table[curve.keys[At(i - 1)]];
    if (!SameHold(measure.holds[At(i - 1)], measure.holds[At(i)]) ||
        (limb.isLeg && ChangesContact(before.keyState, key.keyState))) {
      curve.forced[At(i)] = 1;
    }
  }
  curve.measure = std::move(measure);
  return curve;
}

}  // namespace

SectionCurve CurveOf(const MotionCore& core, int id, int subTrack) {
  if (const LimbRecord* limb = FindLimb(core, id)) return LimbCurve(*limb, subTrack);
  const auto plain = [](const auto& table) {
    SectionCurve curve;
    TakeKeys(curve, table.track, 0);
    TakeRotations(curve, table, 1, [](const auto& key, int) { return key.rotation; });
    curve.measure = ChainMeasure;
    return curve;
  };
  switch (id) {
    case kVertical: return VerticalCurve(core);
    case kHorizontal: return HorizontalCurve(core);
    case kTurn: return plain(core.body.turn);
    case kPelvis: {
      SectionCurve curve = plain(core.pelvis.table);
      curve.toleranceShare = kPelvisShare;
      return curve;
    }
    case kHead:
      return ChainCurve(core.head.table, core.neck.numLinks + 1, subTrack,
                        [](const HeadKey& key) -> const ChainKey& { return key.chain; });
    default: break;
  }
  const ChainRecord* chain = FindChain(core, id);
  if (chain == nullptr) return {};
  return ChainCurve(chain->table, chain->numLinks, subTrack,
                    [](const ChainKey& key) -> const ChainKey& { return key; });
}

}  // namespace strider
