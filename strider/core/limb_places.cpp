#include "strider/core/limb_places.h"

#include <algorithm>

#include "strider/base/trig.h"
#include "strider/core/evaluate.h"
#include "strider/core/key_edit.h"
#include "strider/core/limb.h"

namespace strider {
namespace {

/// The limb has been posed at the key's time.
LimbPlace PlaceOf(const LimbRecord& limb, const LimbKey& key, TimeValue t) {
  LimbPlace place;
  place.time = t;
  place.held = HoldsObject(key);
  place.swivel = limb.frame[limb.isLeg ? 0 : 1].row[2];
  const Matrix3& end = limb.frame[NumLimbLinks(limb) - 1];
  place.under = end.Origin() - Point3{0, limb.isLeg ? limb.extremityHeight : 0, 0};
  if (place.held) {
    place.rotation = ObjectRotation(limb) * key.spaceRotation;
    place.pivotInFoot = PivotPoint(limb, key);
    place.point = ThroughObject(limb, key.objectTarget) + Rotate(place.rotation, place.pivotInFoot);
  } else {
    place.rotation = RotationOf(end);
    place.point = place.under;
  }
  return place;
}

/// Where a held limb's pivot goes. One that lies elsewhere in a foot of another shape moves along
/// the ground with it, so that the ankle of a flat foot stays over its spot; a hand's stays.
Point3 AnchorOf(const LimbRecord& limb, const LimbKey& key, const LimbPlace& place) {
  if (!limb.isLeg) return place.point;
  const Point3 moved = PivotPoint(limb, key) - place.pivotInFoot;
  const auto level = [&place](const Point3& axis) {
    Point3 direction = Rotate(place.rotation, axis);
    direction.y = 0;
    return Normalized(direction);
  };
  return place.point + moved.y * level({0, 1, 0}) + moved.z * level({0, 0, 1});
}

/// Where the end of a held limb goes.
Point3 HeldEnd(const LimbRecord& limb, const LimbKey& key, const LimbPlace& place) {
  return AnchorOf(limb, key, place) - Rotate(place.rotation, PivotPoint(limb, key));
}

/// A leg's places, those of its swings moved by what standing moves the ankle by before and after.
std::vector<LimbPlace> WithSwings(const LimbRecord& leg, std::vector<LimbPlace> places) {
  const Point3 rise{0, leg.extremityHeight, 0};
  const auto shiftOf = [&](const LimbPlace& place) {
    const int key = KeyAt(leg.table.track, place.time);
    if (key < 0) return Point3{};
    Point3 shift = HeldEnd(leg, leg.table[key], place) - (place.under + rise);
    // A foot in the air lies flatter than it stood: lowered by as much it would scuff.
    shift.y = std::max(shift.y, 0.0f);
    return shift;
  };
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (places[i].held) continue;
    std::size_t end = i;
    while (end < places.size() && !places[end].held) ++end;
    const LimbPlace* to = end < places.size() ? &places[end] : nullptr;
    const LimbPlace* from = i > 0 ? &places[i - 1] : to;
    if (!to) to = from;
    if (!from) return places;
    const Point3 first = shiftOf(*from), last = shiftOf(*to);
    const double whole = static_cast<double>(to->time) - from->time;
    for (; i < end; ++i) {
      const double gone = static_cast<double>(places[i].time) - from->time;
      const float u = whole > 0 ? static_cast<float>(std::clamp(gone / whole, 0.0, 1.0)) : 0;
      places[i].point += Lerp(first, last, CosineEase(u));
    }
  }
  return places;
}

/// The layers of a stack would put their own pose in the place of this core's.
class OutOfStack {
 public:
  explicit OutOfStack(MotionCore& core)
      : core_(core), previous_(core.previousLayer), next_(core.nextLayer) {
    core.previousLayer = core.nextLayer = nullptr;
  }
  ~OutOfStack() {
    core_.previousLayer = previous_;
    core_.nextLayer = next_;
  }
  OutOfStack(const OutOfStack&) = delete;
  OutOfStack& operator=(const OutOfStack&) = delete;

 private:
  MotionCore& core_;
  MotionCore* previous_;
  MotionCore* next_;
};

/// The key with its hand or foot at a place; the core has been evaluated at the key's time. A link
/// without a key of its own there has the turn that evaluation gave it.
LimbKey RefittedKey(MotionCore& core, LimbRecord& limb, const LimbKey& old, const LimbPlace& place,
                    const EvalContext& context) {
  LimbPose& pose = limb.pose;
  pose.swivel = Rotate(Conjugate(limb.base.rotation), place.swivel);
  Point3 end = place.point;
  if (place.held) {
    end = HeldEnd(limb, old, place);
  } else if (limb.isLeg) {
    end.y += limb.extremityHeight;
  }
  pose.localTarget = IntoBase(limb, end);
  SolveToLocalTarget(limb, context);
  pose.endRotation =
      Normalized(Conjugate(LastSegmentInWorld(limb, ShapeOfPose(limb))) * place.rotation);
  const PivotChoice pivot = PivotOf(old);
  pose.pivotKind = pivot.kind;
  pose.pivotIndex = pivot.index;
  pose.pivotDigit = pivot.digit;
  pose.pivotLink = pivot.link;
  pose.ikSpace = old.ikSpace;

  const LimbKey now = CurrentLimbKey(core, limb);
  LimbKey key = old;
  std::copy(now.jointAngles, now.jointAngles + kNumJointAngles, key.jointAngles);
  key.limbRotation = now.limbRotation;
  key.endRotation = now.endRotation;
  key.bodyTarget = now.bodyTarget;
  key.anklePose = now.anklePose;
  if (place.held) {
    // The foot stands where it stands, also where the leg is too short to reach it.
    key.objectTarget = HasObjectFrame(limb) ? end * Inverse(limb.objectFrame) : end;
    SetKeyPivot(limb, key, pivot);
  } else {
    key.spaceRotation = now.spaceRotation;
    key.objectTarget = now.objectTarget;
    key.pivotPosition = now.pivotPosition;
  }
  return key;
}

void RefitLimb(MotionCore& core, LimbRecord& limb, const std::vector<LimbPlace>& places,
               bool heldOnly, const EvalContext& context) {
  for (const LimbPlace& place : places) {
    const int i = KeyAt(limb.table.track, place.time);
    if (i < 0 || (heldOnly && !place.held)) continue;
    CoreEvaluate(core, place.time, context);
    const LimbKey key = RefittedKey(core, limb, limb.table[i], place, context);
    (void)PutKey(core, LimbId(limb), place.time, key,
                 limb.table.track.times[static_cast<std::size_t>(i)].linkMask);
  }
  AlignKeys(core, LimbId(limb));
}

}  // namespace

LimbPlaces PlacesAtKeys(const MotionCore& core, const EvalContext& context) {
  LimbPlaces places;
  MotionCore posed = core;
  const OutOfStack alone(posed);
  const auto read = [&](LimbRecord& limb, std::vector<LimbPlace>& to) {
    for (int i = 0; i < limb.table.track.numKeys; ++i) {
      const TimeValue t = limb.table.TimeOf(i);
      CorePose(posed, t, context);
      to.push_back(PlaceOf(limb, limb.table[i], t));
    }
  };
  for (int side = 0; side < 2; ++side) {
    read(posed.leg[side], places.leg[side]);
    if (core.structure.arms) read(posed.arm[side], places.arm[side]);
  }
  return places;
}

void ConvertLegKeys(MotionCore& core, const LimbPlaces& places, const EvalContext& context) {
  const OutOfStack alone(core);
  for (int side = 0; side < 2; ++side) {
    const std::vector<LimbPlace> meant = WithSwings(core.leg[side], places.leg[side]);
    RefitLimb(core, core.leg[side], meant, false, context);
  }
}

void RefitHeldArms(MotionCore& core, const LimbPlaces& places, const EvalContext& context) {
  if (!core.structure.arms) return;
  const OutOfStack alone(core);
  for (int side = 0; side < 2; ++side) {
    RefitLimb(core, core.arm[side], places.arm[side], true, context);
  }
}

}  // namespace strider
