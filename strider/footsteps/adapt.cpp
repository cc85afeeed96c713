#include "strider/footsteps/adapt.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "strider/core/evaluate.h"
#include "strider/core/key_edit.h"
#include "strider/core/limb_frames.h"
#include "strider/core/motion_range.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/adapt_plan.h"
#include "strider/footsteps/body_height.h"
#include "strider/footsteps/carry.h"
#include "strider/footsteps/flights.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/ground_path.h"
#include "strider/footsteps/key_phase.h"

namespace strider {
namespace {

/// A leg key on its way from the old footsteps to the new.
struct LegMove {
  int side = 0;
  int key = 0;            // index in the leg's track
  TimeValue is = 0;       // its new time
  LegPhase phase;         // what the leg does there, by the old footsteps
  Frame base;             // hip as it was
  FootPlacement placed;   // where the key had its foot
  FootPlacement implied;  // where the old footsteps had it
  LegFit fit;             // of the place it had
  FootTarget target;      // of the foot by the old footsteps
  bool inFreeForm = false;
};

/// A vertical key on its way.
struct HeightMove {
  int key = 0;
  TimeValue is = 0;
  BodyHeight was;  // what the legs allowed
  bool inFreeForm = false;
  float ground = 0;  // mean height of what carries the feet
};

/// What the steps of an adaptation hand along.
struct Adaptation {
  MotionCore& core;
  FootstepTrack& other;  // the old footsteps; while the old motion is read, the new ones
  const AdaptLocks& locks;
  const EvalContext& context;
  int first = 0, last = 0;

  std::vector<int> oldPhases = {}, newPhases = {};
  std::vector<float> oldTurns = {}, newTurns = {};
  KeyTable<HorizontalKey> oldPath = {}, newPath = {};
  std::vector<TrackPlan> times = {};  // of tracks that only follow the rhythm
  TrackPlan horizontal = {}, turn = {}, vertical = {}, leg[2] = {};
  std::vector<HeightMove> heightMoves = {};
  std::vector<LegMove> legMoves = {};
  bool hasRoom = true;      // keys find their times
  bool ownHeights = false;  // the motion keeps places of its own, as a captured one does
  Lowering lowering = Lowering(core.ticksPerFrame);

  bool IsLocked(int side) const { return side == kRight ? locks.rleg : locks.lleg; }
};

/// The footsteps as they were rule the figure while this stands.
class OldFootsteps {
 public:
  explicit OldFootsteps(Adaptation& a) : a_(a), start_(a.core.startTime), end_(a.core.endTime) {
    std::swap(a_.core.footsteps, a_.other);
    RefreshMotionSpan(a_.core);
  }
  ~OldFootsteps() {
    std::swap(a_.core.footsteps, a_.other);
    a_.core.startTime = start_;
    a_.core.endTime = end_;
  }
  OldFootsteps(const OldFootsteps&) = delete;
  OldFootsteps& operator=(const OldFootsteps&) = delete;

 private:
  Adaptation& a_;
  TimeValue start_, end_;
};

/// The angle from one heading to another, the short way.
float TurnBetween(float from, float to) { return UnwrapTo(0, to - from); }

// --- Reading: times, paths, and where the old footsteps had everything -------------------------

/// The new times of the keys in a range. `map` gives them, `isFixed` tells which are exact.
template <class Map, class IsFixed>
TrackPlan PlanTimes(Adaptation& a, KeyTrack& track, const TimeRange& range, Map map,
                    IsFixed isFixed) {
  TrackPlan plan = PlanOf(track, range);
  if (a.locks.time) return plan;
  std::vector<bool> fixed(plan.was.size());
  for (std::size_t k = 0; k < plan.was.size(); ++k) {
    plan.is[k] = map(plan.was[k]);
    fixed[k] = isFixed(plan.was[k]);
  }
  a.hasRoom = SpaceOut(plan, fixed, a.core.ticksPerFrame) && a.hasRoom;
  return plan;
}

void MakePlans(Adaptation& a, const BodyReach& reach) {
  MotionCore& core = a.core;
  const FootstepTrack &was = a.other, &is = core.footsteps;
  const auto byTransition = [&](KeyTrack& track, const TimeRange& range) {
    return PlanTimes(
        a, track, range, [&](TimeValue t) { return MovedTime(was, is, t); },
        [&](TimeValue t) { return IsAtEvent(was, t); });
  };
  // Hips follow path and heading to the end of their curves; legs follow hips and heights.
  BodyRecord& body = core.body;
  const TimeRange hips = WidenedBy(body.turn.track, WidenedBy(body.horizontal.track, reach.times));
  const TimeRange legs = WidenedBy(body.vertical.track, hips);
  if (!a.locks.turn) a.turn = byTransition(body.turn.track, reach.times);
  if (!a.locks.horz) a.horizontal = byTransition(body.horizontal.track, reach.times);
  if (!a.locks.vert) a.vertical = byTransition(body.vertical.track, hips);
  for (int side = 0; side < 2; ++side) {
    if (a.IsLocked(side)) continue;
    a.leg[side] = PlanTimes(
        a, core.leg[side].table.track, legs,
        [&](TimeValue t) { return MovedLegTime(was, is, side, t); },
        [&](TimeValue t) { return IsAtLegEvent(was, side, t); });
  }
  if (a.locks.time) return;
  const auto follow = [&](KeyTrack& track) { a.times.push_back(byTransition(track, reach.times)); };
  for (LimbRecord& arm : core.arm) follow(arm.table.track);
  for (ChainRecord* chain : {&core.spine, &core.tail, &core.pony[0], &core.pony[1]}) {
    follow(chain->table.track);
  }
  for (XtraChain& xtra : core.xtras) follow(xtra.chain.table.track);
  follow(core.head.table.track);
  follow(core.pelvis.table.track);
  for (PropRecord& prop : core.props) follow(prop.table.track);
}

void MakePaths(Adaptation& a, const BodyReach& reach) {
  const float leg = a.core.leg[kRight].totalLength;
  a.oldPath = GroundPath(a.other, a.oldPhases, reach.firstPath, reach.lastPath, leg);
  a.newPath = GroundPath(a.core.footsteps, a.newPhases, reach.firstPath, reach.lastPath, leg);
  a.oldTurns = PhaseTurns(a.other);
  a.newTurns = PhaseTurns(a.core.footsteps);
}

BodyHeight HeightAt(Adaptation& a, const VerticalKey& key, TimeValue t) {
  EvaluateTrunk(a.core, t);
  return BodyHeightOf(a.core, StanceAt(a.core, t, key.legState, GroundLevel::kTrue));
}

FootTarget TargetAt(const FootstepTrack& track, int side, TimeValue t) {
  return FootTargetAt(track, side, t, GroundLevel::kTrue, SwingPlace::kByTime);
}

float CarriersHeight(const FootstepTrack& track, TimeValue t) {
  return 0.5f *
         (CarrierOf(TargetAt(track, 0, t)).place.y + CarrierOf(TargetAt(track, 1, t)).place.y);
}

void NoteHeights(Adaptation& a) {
  const KeyTable<VerticalKey>& table = a.core.body.vertical;
  a.heightMoves.reserve(a.vertical.was.size());
  for (std::size_t k = 0; k < a.vertical.was.size(); ++k) {
    HeightMove move;
    move.key = a.vertical.first + static_cast<int>(k);
    move.is = a.vertical.is[k];
    if (a.ownHeights) {
      move.ground = CarriersHeight(a.core.footsteps, a.vertical.was[k]);
    } else {
      move.was = HeightAt(a, table[move.key], a.vertical.was[k]);
    }
    move.inFreeForm = InFreeForm(a.core.footsteps, a.vertical.was[k]);
    a.heightMoves.push_back(move);
  }
}

/// True for a key that says where the foot is: one of a thigh or of toes alone does not.
bool HoldsFoot(const LimbRecord& leg, int key) {
  const KeyTrack& track = leg.table.track;
  if (!track.separate) return true;
  const int end = std::min(NumLimbLinks(leg), track.numSubTracks) - 1;
  return (track.times[static_cast<std::size_t>(key)].linkMask >> end & 1) != 0;
}

void NoteLegs(Adaptation& a) {
  MotionCore& core = a.core;
  const FootstepTrack& was = core.footsteps;
  for (int side = 0; side < 2; ++side) {
    LimbRecord& leg = core.leg[side];
    const TrackPlan& plan = a.leg[side];
    a.legMoves.reserve(a.legMoves.size() + plan.was.size());
    for (std::size_t k = 0; k < plan.was.size(); ++k) {
      const TimeValue t = plan.was[k];
      LegMove move;
      move.side = side;
      move.key = plan.first + static_cast<int>(k);
      move.is = plan.is[k];
      if (!HoldsFoot(leg, move.key)) continue;
      const LimbKey& key = leg.table[move.key];
      EvaluateTrunk(core, t);
      PlaceLimbBase(core, leg);
      move.base = leg.base;
      move.phase = LegPhaseAt(was, side, t, key.keyState);
      move.placed = PlacementOfKey(core, side, key);
      move.implied = PlaceFoot(core, was, side, move.phase, GroundLevel::kTrue);
      move.fit = FitLeg(core, side, key, move.placed, a.context);
      move.target = FootTargetAs(was, side, move.phase.time, move.phase.state, GroundLevel::kTrue,
                                 SwingPlace::kByTime);
      move.inFreeForm = InFreeForm(was, t);
      a.legMoves.push_back(move);
    }
  }
}

/// True where no key leaves its height to footsteps and gravity.
bool KeepsHeights(const KeyTable<VerticalKey>& table, const TimeRange& range) {
  int inRange = 0;
  for (int i = 0; i < table.track.numKeys; ++i) {
    if (!range.Holds(table.TimeOf(i))) continue;
    if (table[i].dynamicsBlend != 0) return false;
    ++inRange;
  }
  return inRange > 0;
}

/// All that may run out of memory; no key changes.
void Read(Adaptation& a) {
  a.oldPhases = BodyPhases(a.other);
  a.newPhases = BodyPhases(a.core.footsteps);
  const BodyReach reach = ReachOfChange(a.other, a.oldPhases, a.first, a.last);
  a.ownHeights = KeepsHeights(a.core.body.vertical, reach.times);
  MakePlans(a, reach);
  if (!a.hasRoom) return;
  MakePaths(a, reach);
  a.core.body.flights.reserve(static_cast<std::size_t>(a.core.body.vertical.track.numKeys));
  const OldFootsteps old(a);
  NoteHeights(a);
  NoteLegs(a);
  a.lowering.Reserve(a.legMoves.size());
}

// --- Writing ----------------------------------------------------------------------------------

/// The heading that the footsteps imply at `t`: even between the body's phases.
float TurnAt(const FootstepTrack& track, const std::vector<int>& bodyPhases,
             const std::vector<float>& turns, TimeValue t) {
  const auto timeOf = [&track](int i) { return track.phases[static_cast<std::size_t>(i)].time; };
  const auto after = std::upper_bound(bodyPhases.begin(), bodyPhases.end(), t,
                                      [&](TimeValue time, int i) { return time < timeOf(i); });
  const auto at = [&](std::vector<int>::const_iterator it) {
    return turns[static_cast<std::size_t>(*it)];
  };
  if (after == bodyPhases.begin()) return at(after);
  const auto before = std::prev(after);
  if (after == bodyPhases.end()) return at(before);
  const TimeValue from = timeOf(*before), to = timeOf(*after);
  const float u =
      static_cast<float>(std::int64_t{t} - from) / static_cast<float>(std::int64_t{to} - from);
  return at(before) + u * (at(after) - at(before));
}

float TurnOfKey(const Adaptation& a, TimeValue was, TimeValue is) {
  return TurnBetween(TurnAt(a.other, a.oldPhases, a.oldTurns, was),
                     TurnAt(a.core.footsteps, a.newPhases, a.newTurns, is));
}

void MoveBody(Adaptation& a) {
  BodyRecord& body = a.core.body;
  for (std::size_t k = 0; k < a.turn.was.size(); ++k) {
    const float turned = TurnOfKey(a, a.turn.was[k], a.turn.is[k]);
    if (turned == 0) continue;
    TurnKey key = body.turn[a.turn.first + static_cast<int>(k)];
    key.rotation = AboutY(turned) * key.rotation;
    (void)PutKey(a.core, a.turn.is[k], key);
  }
  for (std::size_t k = 0; k < a.horizontal.was.size(); ++k) {
    const int index = a.horizontal.first + static_cast<int>(k);
    const Point3 was = PlaceOn(a.oldPath, a.horizontal.was[k]);
    const Point3 is = PlaceOn(a.newPath, a.horizontal.is[k]);
    const float turned = TurnOfKey(a, a.horizontal.was[k], a.horizontal.is[k]);
    if (was == is && turned == 0) continue;
    HorizontalKey& key = body.horizontal.keys[static_cast<std::size_t>(index)];
    Point3 place = is + Rotate(AboutY(turned), key.position - was);
    place.y = key.position.y;
    if (!IsFinite(place)) continue;
    key.position = place;
    MarkDirty(body.horizontal.track, index, index);
  }
}

/// Where a foot goes that its footsteps carry as it is.
FootPlacement PlaceCarried(const Adaptation& a, const LegMove& move) {
  LegPhase phase = move.phase;
  phase.time = MomentOfLegKey(a.core.footsteps, move.side, move.is, phase.state);
  const FootTarget target = FootTargetAs(a.core.footsteps, move.side, phase.time, phase.state,
                                         GroundLevel::kTrue, SwingPlace::kByTime);
  return CarriedFoot(move.placed, CarrierOf(move.target), CarrierOf(target));
}

/// The hip at a leg key's new time.
Point3 HipAt(MotionCore& core, const LegMove& move) {
  EvaluateTrunk(core, move.is);
  PlaceLimbBase(core, core.leg[move.side]);
  return core.leg[move.side].base.origin;
}

/// Heights that are the motion's own go up and down with the ground, and down where a leg that
/// stands would not reach.
void MoveOwnHeights(Adaptation& a) {
  MotionCore& core = a.core;
  KeyTable<VerticalKey>& table = core.body.vertical;
  const auto change = [&](const HeightMove& move, float rise) {
    if (rise == 0 || move.inFreeForm != InFreeForm(core.footsteps, move.is)) return;
    float& height = table.keys[static_cast<std::size_t>(move.key)].height;
    if (!IsFinite(height + rise)) return;
    height += rise;
    MarkDirty(table.track, move.key, move.key);
  };
  for (const HeightMove& move : a.heightMoves) {
    change(move, CarriersHeight(core.footsteps, move.is) - move.ground);
  }
  for (const LegMove& move : a.legMoves) {
    const LimbKey& key = core.leg[move.side].table[move.key];
    if (move.inFreeForm || !HoldsObject(key)) continue;
    const float before = Length(move.placed.ankle - move.base.origin);
    a.lowering.Need(move.is, HipAt(core, move), PlaceCarried(a, move).ankle,
                    LongestLeg(core.leg[move.side], before));
  }
  a.lowering.Sort();
  for (const HeightMove& move : a.heightMoves) {
    change(move, -a.lowering.At(move.is));
    RefreshHeights(core, move.key, move.key, HeightMode::kReadFractions, GroundLevel::kTrue);
  }
}

void MoveHeights(Adaptation& a) {
  if (a.ownHeights) return MoveOwnHeights(a);
  MotionCore& core = a.core;
  KeyTable<VerticalKey>& table = core.body.vertical;
  for (const HeightMove& move : a.heightMoves) {
    // Where an interval opens or closes around a key, nothing has moved.
    if (move.inFreeForm != InFreeForm(core.footsteps, move.is)) continue;
    VerticalKey key = table[move.key];
    const BodyHeight is = HeightAt(a, key, move.is);
    if (is.height == move.was.height && is.base == move.was.base) continue;
    // The share that the key has now: since it was noted in the key, hips may have been moved by
    // hand, which must not ask the height to move as well.
    const float oldRange = move.was.height - move.was.base, range = is.height - is.base;
    const float share = oldRange > 0 ? (key.height - move.was.base) / oldRange : 1;
    key.height = is.base + share * range;
    if (!IsFinite(key.height)) continue;
    table.keys[static_cast<std::size_t>(move.key)].height = key.height;
    RefreshHeights(core, move.key, move.key, HeightMode::kReadFractions, GroundLevel::kTrue);
  }
}

/// As far from where the footsteps imply it as it was before.
FootPlacement Moved(const LegMove& move, const FootPlacement& implied, float turned) {
  FootPlacement placement = implied;
  placement.ankle = implied.ankle + Rotate(AboutY(turned), move.placed.ankle - move.implied.ankle);
  placement.rotation =
      Normalized(implied.rotation * Conjugate(move.implied.rotation) * move.placed.rotation);
  return placement;
}

/// In free-form nothing is implied but that a foot goes along with the footsteps around it.
FootPlacement Carried(const LegMove& move, const FootTarget& target, float turned) {
  FootPlacement placement = move.placed;
  const Quat turn = AboutY(turned);
  placement.ankle = target.position + Rotate(turn, move.placed.ankle - move.target.position);
  placement.rotation = turn * placement.rotation;
  placement.pitch = move.implied.pitch;
  return placement;
}

bool IsSame(const Frame& a, const Frame& b) {
  return a.origin == b.origin && a.rotation == b.rotation;
}
bool IsSame(const FootPlacement& a, const FootPlacement& b) {
  return a.ankle == b.ankle && a.rotation == b.rotation && a.pitch == b.pitch;
}

/// A leg of a motion that keeps places of its own.
void MoveOwnLeg(Adaptation& a, const LegMove& move) {
  MotionCore& core = a.core;
  LimbRecord& leg = core.leg[move.side];
  FootPlacement placement = PlaceCarried(a, move);
  const Point3 hip = HipAt(core, move);
  if (IsSame(placement, move.placed) && IsSame(leg.base, move.base)) return;
  const LimbKey old = leg.table[move.key];
  const float distance = Length(placement.ankle - hip);
  const float longest = LongestLeg(leg, Length(move.placed.ankle - move.base.origin));
  // A foot on its way need not get everywhere.
  if (!HoldsObject(old) && distance > longest) {
    placement.ankle = Lerp(hip, placement.ankle, longest / distance);
  }
  const LimbKey key =
      RefitLegKey(core, move.side, old, move.fit, placement, placement.pitch, a.context);
  const std::uint32_t links = leg.table.track.times[static_cast<std::size_t>(move.key)].linkMask;
  (void)PutKey(core, LimbId(leg), move.is, key, links);
}

void MoveLegs(Adaptation& a) {
  MotionCore& core = a.core;
  for (const LegMove& move : a.legMoves) {
    const bool inFreeForm = InFreeForm(core.footsteps, move.is);
    if (inFreeForm != move.inFreeForm || (inFreeForm && a.locks.freeform)) continue;
    if (a.ownHeights) {
      MoveOwnLeg(a, move);
      continue;
    }
    LimbRecord& leg = core.leg[move.side];
    const LimbKey old = leg.table[move.key];
    // Supports follow each other as before: the key's moment is the same at another time.
    LegPhase phase = move.phase;
    phase.time = MomentOfLegKey(core.footsteps, move.side, move.is, phase.state);
    EvaluateTrunk(core, move.is);
    PlaceLimbBase(core, leg);
    const FootTarget target = FootTargetAs(core.footsteps, move.side, phase.time, phase.state,
                                           GroundLevel::kTrue, SwingPlace::kByTime);
    const FootPlacement implied =
        PlaceFoot(core, core.footsteps, move.side, phase, GroundLevel::kTrue);
    const float turned = TurnBetween(move.target.angle, target.angle);
    const bool sameTarget = target.position == move.target.position && turned == 0;
    if (sameTarget && IsSame(leg.base, move.base) &&
        (inFreeForm || IsSame(implied, move.implied))) {
      continue;
    }
    const FootPlacement placement =
        inFreeForm ? Carried(move, target, turned) : Moved(move, implied, turned);
    const LimbKey key =
        RefitLegKey(core, move.side, old, move.fit, placement, move.implied.pitch, a.context);
    const std::uint32_t links = leg.table.track.times[static_cast<std::size_t>(move.key)].linkMask;
    (void)PutKey(core, LimbId(leg), move.is, key, links);
  }
}

/// Keys are only overwritten from here on: nothing can run out of memory. What would not be finite
/// stays as it was.
void Write(Adaptation& a) {
  for (const TrackPlan& plan : a.times) CommitTimes(plan);
  for (const TrackPlan* plan : {&a.horizontal, &a.turn, &a.vertical, &a.leg[0], &a.leg[1]}) {
    if (plan->track) CommitTimes(*plan);
  }
  RefreshMotionSpan(a.core);
  MoveBody(a);
  MoveHeights(a);
  (void)BuildFlights(a.core);
  MoveLegs(a);
}

bool CanAdapt(const MotionCore& core) {
  return !core.freeForm && !core.figureMode && core.footsteps.numFootsteps > 0 &&
         !AnyInactive(core.footsteps);
}

AdaptResult Adapt(MotionCore& core, FootstepTrack& before, int first, int last,
                  const AdaptLocks& locks, const EvalContext& context) {
  FootstepTrack& now = core.footsteps;
  NormalizeAngles(now);
  RefreshFreeFormIntervals(now);
  if (RefreshSupport(now) == kRefused) return AdaptResult::kOutOfMemory;
  if (RefreshSupport(before) == kRefused) return AdaptResult::kOutOfMemory;
  if (!SamePattern(before, now)) return RebuildMotion(core, context);
  Adaptation a{core, before, locks, context, first, last};
  Read(a);
  if (!a.hasRoom) return RebuildMotion(core, context);
  Write(a);
  return AdaptResult::kDone;
}

AdaptResult AdaptOrRestore(MotionCore& core, FootstepTrack& before, int first, int last,
                           const AdaptLocks& locks, const EvalContext& context) {
  AdaptResult result = AdaptResult::kOutOfMemory;
  try {
    result = Adapt(core, before, first, last, locks, context);
  } catch (const std::bad_alloc&) {
  }
  if (result == AdaptResult::kOutOfMemory) std::swap(core.footsteps, before);
  return result;
}

}  // namespace

AdaptResult AdaptMotion(MotionCore& core, FootstepTrack before, int first, int last,
                        const AdaptLocks& locks, const EvalContext& context) {
  if (!CanAdapt(core)) return AdaptResult::kNothing;
  const int end = core.footsteps.numFootsteps - 1;
  first = std::clamp(first, 0, end);
  last = std::clamp(last, first, end);
  return AdaptOrRestore(core, before, first, last, locks, context);
}

AdaptResult AdaptToPlaces(MotionCore& core, FootstepTrack before, const EvalContext& context) {
  if (core.freeForm || core.footsteps.numFootsteps == 0) return AdaptResult::kNothing;
  return AdaptOrRestore(core, before, 0, core.footsteps.numFootsteps - 1, {}, context);
}

AdaptResult RebuildMotion(MotionCore& core, const EvalContext& context) {
  if (core.footsteps.numFootsteps < 2) {
    ClearFootsteps(core.footsteps);
    SetFreeForm(core, true);
    core.body.flights.clear();
    RefreshMotionSpan(core);
    core.footstepsPending = false;
    core.bodyKeysComputed = false;
    return AdaptResult::kRebuilt;
  }
  BitArray active;
  try {
    active = core.footsteps.active;
  } catch (const std::bad_alloc&) {
    return AdaptResult::kOutOfMemory;
  }
  core.footsteps.active.ClearAll();
  if (NewFootprintKeys(core, context) == ActivationResult::kDone) return AdaptResult::kRebuilt;
  std::swap(core.footsteps.active, active);
  return AdaptResult::kOutOfMemory;
}

void SaveTransitions(FootstepTrack& track) {
  try {
    track.savedTransitions = track.transitions;
  } catch (const std::bad_alloc&) {
    track.savedTransitions.clear();  // differs from any: the next check makes the motion anew
  }
}

AdaptResult CheckPattern(MotionCore& core, bool force, const EvalContext& context) {
  FootstepTrack& track = core.footsteps;
  if (core.freeForm || core.figureMode || track.numFootsteps == 0) return AdaptResult::kNothing;
  if (!force && AnyInactive(track)) return AdaptResult::kNothing;
  if (RefreshSupport(track) == kRefused) return AdaptResult::kOutOfMemory;
  const auto same = [](const SupportTransition& a, const SupportTransition& b) {
    return a.leftSpan == b.leftSpan && a.time == b.time && a.support == b.support &&
           a.length == b.length;
  };
  const bool changed =
      !std::equal(track.transitions.begin(), track.transitions.end(),
                  track.savedTransitions.begin(), track.savedTransitions.end(), same);
  return changed || force ? RebuildMotion(core, context) : AdaptResult::kNothing;
}

}  // namespace strider
