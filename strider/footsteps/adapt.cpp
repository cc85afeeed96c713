#include "strider/footsteps/adapt.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "strider/core/evaluate.h"
#include "strider/core/key_edit.h"
#include "strider/core/limb_frames.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/body_height.h"
#include "strider/footsteps/flights.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/ground_path.h"
#include "strider/footsteps/key_phase.h"

namespace strider {
namespace {

// A key of the ground path depends on the three phases on either side of it.
constexpr int kPathMargin = 3;

struct TimeRange {
  TimeValue from = 0, to = 0;
  bool Holds(TimeValue t) const { return t >= from && t <= to; }
};

/// A leg key on its way from the old footsteps to the new.
struct LegMove {
  int side = 0;
  TimeValue time = 0;     // old
  FootPlacement placed;   // where the key had its foot
  FootPlacement implied;  // where the old footsteps had it
  Point3 target;          // of the foot by the old footsteps, on the ground
  float angle = 0;
  bool inFreeForm = false;
};

/// What the steps of an adaptation hand along.
struct Adaptation {
  MotionCore& core;
  const FootstepTrack& before;
  const AdaptLocks& locks;
  const EvalContext& context;

  TimeRange range;  // of old times: keys that may change
  std::vector<int> oldPhases, newPhases;
  int firstPath = 0, lastPath = 0;  // of the body phases
  KeyTable<HorizontalKey> oldPath, newPath;
  std::vector<float> oldTurns, newTurns;
  std::vector<LegMove> legMoves;
  bool failed = false;

  TimeValue NewTime(TimeValue t) const {
    if (locks.time) return t;
    return TimeOfPhase(core.footsteps, TransitionPhaseOf(before, t));
  }
  TimeValue NewLegTime(int side, TimeValue t) const {
    if (locks.time) return t;
    return TimeOfPhase(core.footsteps, side, LegKeyPhaseOf(before, side, t));
  }
};

// --- Which keys
// -----------------------------------------------------------------------------------

/// Old times between the contacts that enclose the changed footsteps on both sides.
TimeRange RangeAround(const FootstepTrack& track, int first, int last) {
  TimeRange range{kTimeMax, kTimeMin};
  for (int i = first; i <= last; ++i) {
    // The two ends settle the range; what lies between is within.
    if (i > first + 1 && i < last - 1) continue;
    const auto at = static_cast<std::size_t>(i);
    const auto& spans = track.spans[track.side[at]];
    const int index = track.sideIndex[at];
    const FootstepSpan& span = spans[static_cast<std::size_t>(index)];
    TimeValue from = FirstFootstepTime(track), to = LastFootstepTime(track);
    if (index > 0) from = spans[static_cast<std::size_t>(index - 1)].Lift();
    if (InFreeForm(track, Later(span.start, -std::int64_t{track.ticksPerFrame}))) from = span.start;
    if (index + 1 < static_cast<int>(spans.size())) {
      to = spans[static_cast<std::size_t>(index + 1)].start;
    }
    range.from = std::min(range.from, from);
    range.to = std::max(range.to, to);
  }
  return range;
}

/// The body's path is smoothed over its neighbours: widens the range to all that it reaches.
void SetRange(Adaptation& a, int first, int last) {
  const TimeRange narrow = RangeAround(a.before, first, last);
  a.oldPhases = BodyPhases(a.before);
  a.newPhases = BodyPhases(a.core.footsteps);
  const auto timeOf = [&a](int i) {
    return a.before.phases[static_cast<std::size_t>(a.oldPhases[static_cast<std::size_t>(i)])].time;
  };
  const int count = static_cast<int>(a.oldPhases.size());
  const auto firstNotBefore = [&](TimeValue t) {
    int low = 0, high = count;
    while (low < high) {
      const int middle = (low + high) / 2;
      if (timeOf(middle) < t) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    return low;
  };
  const int begin = std::max(firstNotBefore(narrow.from) - kPathMargin, 0);
  const int end = std::min(firstNotBefore(Later(narrow.to, 1)) - 1 + kPathMargin, count - 1);
  a.range = {begin == 0 ? kTimeMin : timeOf(begin), end == count - 1 ? kTimeMax : timeOf(end)};
  // Keys at a cut end of a path are not the whole path's.
  a.firstPath = std::max(begin - kPathMargin, 0);
  a.lastPath = std::min(end + kPathMargin, count - 1);
}

void MakePaths(Adaptation& a) {
  const float leg = a.core.leg[kRight].totalLength;
  a.oldPath = GroundPath(a.before, a.oldPhases, a.firstPath, a.lastPath, leg);
  a.newPath = GroundPath(a.core.footsteps, a.newPhases, a.firstPath, a.lastPath, leg);
  FootstepTrack& now = a.core.footsteps;
  a.newTurns = PhaseTurns(now);
  // The old turns follow from the old headings alone; they work on a copy of those tables.
  FootstepTrack was;
  was.numFootsteps = a.before.numFootsteps;
  was.angle = a.before.angle;
  was.phases = a.before.phases;
  was.spans[0] = a.before.spans[0];
  was.spans[1] = a.before.spans[1];
  a.oldTurns = PhaseTurns(was);
}

/// The heading that the footsteps imply at `t`: even between the body's phases.
float TurnAt(const FootstepTrack& track, const std::vector<int>& bodyPhases,
             const std::vector<float>& turns, TimeValue t) {
  const auto after =
      std::upper_bound(bodyPhases.begin(), bodyPhases.end(), t, [&track](TimeValue time, int i) {
        return time < track.phases[static_cast<std::size_t>(i)].time;
      });
  const auto at = [&](std::vector<int>::const_iterator it) {
    return turns[static_cast<std::size_t>(*it)];
  };
  if (after == bodyPhases.begin()) return at(bodyPhases.begin());
  if (after == bodyPhases.end()) return at(std::prev(after));
  const TimeValue from = track.phases[static_cast<std::size_t>(*std::prev(after))].time;
  const TimeValue to = track.phases[static_cast<std::size_t>(*after)].time;
  const float u = to > from ? static_cast<float>(std::int64_t{t} - from) /
                                  static_cast<float>(std::int64_t{to} - from)
                            : 0;
  return at(std::prev(after)) + u * (at(after) - at(std::prev(after)));
}

// --- Step 1: where the leg keys are, before anything moves
// -----------------------------------------

bool LegIsLocked(const AdaptLocks& locks, int side) {
  return side == kRight ? locks.rleg : locks.lleg;
}

void NoteLegKeys(Adaptation& a) {
  for (int side = 0; side < 2; ++side) {
    if (LegIsLocked(a.locks, side)) continue;
    const KeyTable<LimbKey>& table = a.core.leg[side].table;
    for (int i = InsertionIndex(table.track, a.range.from); i < table.track.numKeys; ++i) {
      LegMove move;
      move.side = side;
      move.time = table.TimeOf(i);
      if (move.time > a.range.to) break;
      move.inFreeForm = InFreeForm(a.before, move.time);
      EvaluateTrunk(a.core, move.time);
      PlaceLimbBase(a.core, a.core.leg[side]);
      const LegPhase phase = LegPhaseAt(a.before, side, move.time, table[i].keyState);
      move.placed = PlacementOfKey(a.core, side, table[i]);
      move.implied = PlaceFoot(a.core, a.before, side, phase, GroundLevel::kTrue);
      const FootTarget target =
          FootTargetAt(a.before, side, move.time, GroundLevel::kTrue, SwingPlace::kByTime);
      move.target = target.position;
      move.angle = target.angle;
      a.legMoves.push_back(move);
    }
  }
}

// --- Step 2: times
// ----------------------------------------------------------------------------------

/// Moves the keys of a track to new times. Keys that go on move from the last, keys that go back
/// from the first, so that none meets one that still has to make way.
template <class NewTime>
void Retime(KeyTrack& track, const TimeRange& range, NewTime newTime) {
  const int first = InsertionIndex(track, range.from);
  std::vector<TimeValue> wanted;
  bool moves = false;
  for (int i = first; i < track.numKeys; ++i) {
    const TimeValue t = track.times[static_cast<std::size_t>(i)].time;
    if (t > range.to) break;
    wanted.push_back(newTime(t));
    moves = moves || wanted.back() != t;
  }
  if (!moves) return;
  const int count = static_cast<int>(wanted.size());
  for (int pass = 0; pass < 2; ++pass) {
    for (int k = 0; k < count; ++k) {
      const int at = pass == 0 ? count - 1 - k : k;
      // A key that would meet another one keeps its time.
      (void)SetKeyTime(track, first + at, wanted[static_cast<std::size_t>(at)]);
    }
  }
}

void RetimeKeys(Adaptation& a) {
  if (a.locks.time) return;
  MotionCore& core = a.core;
  const auto byTransition = [&a](TimeValue t) { return a.NewTime(t); };
  if (!a.locks.horz) Retime(core.body.horizontal.track, a.range, byTransition);
  if (!a.locks.turn) Retime(core.body.turn.track, a.range, byTransition);
  if (!a.locks.vert) Retime(core.body.vertical.track, a.range, byTransition);
  for (int side = 0; side < 2; ++side) {
    if (LegIsLocked(a.locks, side)) continue;
    Retime(core.leg[side].table.track, a.range,
           [&a, side](TimeValue t) { return a.NewLegTime(side, t); });
    for (LegMove& move : a.legMoves) {
      if (move.side == side) move.time = a.NewLegTime(side, move.time);
    }
  }
  for (LimbRecord& arm : core.arm) Retime(arm.table.track, a.range, byTransition);
  for (ChainRecord* chain : {&core.spine, &core.tail, &core.pony[0], &core.pony[1]}) {
    Retime(chain->table.track, a.range, byTransition);
  }
  for (XtraChain& xtra : core.xtras) Retime(xtra.chain.table.track, a.range, byTransition);
  Retime(core.head.table.track, a.range, byTransition);
  Retime(core.pelvis.table.track, a.range, byTransition);
  for (PropRecord& prop : core.props) Retime(prop.table.track, a.range, byTransition);
}

// --- Step 3: the body
// -------------------------------------------------------------------------------

/// Runs `use` on every key of a table in the range, with its old and its new time.
template <class Key, class Use>
void ForKeys(Adaptation& a, KeyTable<Key>& table, Use use) {
  const TimeRange now{a.range.from == kTimeMin ? kTimeMin : a.NewTime(a.range.from),
                      a.range.to == kTimeMax ? kTimeMax : a.NewTime(a.range.to)};
  const int first = InsertionIndex(table.track, now.from);
  int last = first - 1;
  for (int i = first; i < table.track.numKeys && table.TimeOf(i) <= now.to; ++i) last = i;
  for (int i = first; i <= last; ++i) {
    const TimeValue t = table.TimeOf(i);
    const TimeValue old =
        a.locks.time ? t : TimeOfPhase(a.before, TransitionPhaseOf(a.core.footsteps, t));
    use(i, old, t);
  }
  if (last >= first) MarkDirty(table.track, first, last);
}

void MoveBody(Adaptation& a) {
  BodyRecord& body = a.core.body;
  if (!a.locks.turn) {
    ForKeys(a, body.turn, [&](int i, TimeValue old, TimeValue t) {
      const float turned = TurnAt(a.core.footsteps, a.newPhases, a.newTurns, t) -
                           TurnAt(a.before, a.oldPhases, a.oldTurns, old);
      if (turned == 0) return;
      TurnKey key = body.turn[i];
      key.rotation = AboutY(turned) * key.rotation;
      a.failed = a.failed || PutKey(a.core, t, key) != KeyRefusal::kNone;
    });
  }
  if (!a.locks.horz) {
    ForKeys(a, body.horizontal, [&](int i, TimeValue old, TimeValue t) {
      Point3& place = body.horizontal.keys[static_cast<std::size_t>(i)].position;
      const float height = place.y;
      place += PlaceOn(a.newPath, t) - PlaceOn(a.oldPath, old);
      place.y = height;
    });
  }
}

void MoveHeights(Adaptation& a) {
  if (a.locks.vert) return;
  KeyTable<VerticalKey>& table = a.core.body.vertical;
  int first = table.track.numKeys, last = -1;
  ForKeys(a, table, [&](int i, TimeValue, TimeValue) {
    first = std::min(first, i);
    last = std::max(last, i);
  });
  RefreshHeights(a.core, first, last, HeightMode::kKeepRange, GroundLevel::kTrue);
}

// --- Step 4: the legs
// -------------------------------------------------------------------------------

Quat HeadingTurn(float angle) { return AboutY(angle); }

/// Where a key has its foot now: as far from where the footsteps imply it as it was before.
FootPlacement Moved(const LegMove& move, const FootPlacement& implied, float turned) {
  FootPlacement placement = implied;
  const Quat turn = HeadingTurn(turned);
  placement.ankle = implied.ankle + Rotate(turn, move.placed.ankle - move.implied.ankle);
  placement.rotation =
      Normalized(implied.rotation * Conjugate(move.implied.rotation) * move.placed.rotation);
  return placement;
}

void MoveLegs(Adaptation& a) {
  MotionCore& core = a.core;
  for (const LegMove& move : a.legMoves) {
    if (move.inFreeForm && a.locks.freeform) continue;
    LimbRecord& leg = core.leg[move.side];
    const int index = KeyAt(leg.table.track, move.time);
    if (index < 0) continue;
    const LimbKey old = leg.table[index];
    const LegPhase phase = LegPhaseAt(core.footsteps, move.side, move.time, old.keyState);
    EvaluateTrunk(core, move.time);
    PlaceLimbBase(core, leg);
    const FootTarget target =
        FootTargetAt(core.footsteps, move.side, move.time, GroundLevel::kTrue, SwingPlace::kByTime);
    const float turned = target.angle - move.angle;
    FootPlacement placement;
    if (move.inFreeForm) {
      // Nothing is implied there but that it goes along with the footsteps around it.
      placement = move.placed;
      placement.ankle += target.position - move.target;
      placement.rotation = HeadingTurn(turned) * placement.rotation;
    } else {
      placement = Moved(move, PlaceFoot(core, core.footsteps, move.side, phase, GroundLevel::kTrue),
                        turned);
    }
    const LimbKey key = RefitLegKey(core, move.side, old, placement, a.context);
    a.failed = a.failed || PutKey(core, LimbId(leg), move.time, key) != KeyRefusal::kNone;
  }
}

bool CanAdapt(const MotionCore& core) {
  return !core.freeForm && !core.figureMode && core.footsteps.numFootsteps > 0 &&
         !AnyInactive(core.footsteps);
}

}  // namespace

AdaptResult AdaptMotion(MotionCore& core, const FootstepTrack& before, int first, int last,
                        const AdaptLocks& locks, const EvalContext& context) {
  if (!CanAdapt(core)) return AdaptResult::kNothing;
  first = std::clamp(first, 0, core.footsteps.numFootsteps - 1);
  last = std::clamp(last, first, core.footsteps.numFootsteps - 1);
  try {
    NormalizeAngles(core.footsteps);
    RefreshFreeFormIntervals(core.footsteps);
    if (RefreshSupport(core.footsteps) == kRefused) return AdaptResult::kOutOfMemory;
    if (!SamePattern(before, core.footsteps)) return RebuildMotion(core, context);

    Adaptation a{core, before, locks, context, {}, {}, {}, 0, 0, {}, {}, {}, {}, {}, false};
    SetRange(a, first, last);
    MakePaths(a);
    NoteLegKeys(a);
    core.endTime = LastFootstepTime(core.footsteps);
    RetimeKeys(a);
    MoveBody(a);
    MoveHeights(a);
    if (a.failed || BuildFlights(core) == kRefused) return AdaptResult::kOutOfMemory;
    MoveLegs(a);
    return a.failed ? AdaptResult::kOutOfMemory : AdaptResult::kDone;
  } catch (const std::bad_alloc&) {
    return AdaptResult::kOutOfMemory;
  }
}

AdaptResult RebuildMotion(MotionCore& core, const EvalContext& context) {
  if (core.footsteps.numFootsteps < 2) {
    ClearFootsteps(core.footsteps);
    SetFreeForm(core, true);
    core.body.flights.clear();
    core.endTime = 0;
    core.bodyKeysComputed = false;
    return AdaptResult::kRebuilt;
  }
  core.footsteps.active.ClearAll();
  const ActivationResult result = NewFootprintKeys(core, context);
  return result == ActivationResult::kDone ? AdaptResult::kRebuilt : AdaptResult::kOutOfMemory;
}

void SaveTransitions(FootstepTrack& track) { track.savedTransitions = track.transitions; }

AdaptResult CheckPattern(MotionCore& core, bool force, const EvalContext& context) {
  FootstepTrack& track = core.footsteps;
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
