// Keys at the contacts: legs, and the height of the body over them.

#include <algorithm>
#include <cmath>

#include "strider/core/evaluate.h"
#include "strider/core/limb_keys.h"
#include "strider/footsteps/body_height.h"
#include "strider/footsteps/generation.h"

namespace strider {
namespace {

// Feet further apart than this many hip offsets draw the body towards the leg that carries it.
constexpr float kWideStance = 6;
// Vertical keys in the air nearer than this to both neighbours say nothing of their own.
constexpr int kCrowdedFrames = 10;

// A foot is flat this many frames after it came down, where it stands this long and more.
constexpr int kRollFrames = 3, kLongStance = 5;

/// Phases in which nothing happens to the legs make no keys.
bool MakesKeys(const SupportPhase& phase) {
  return !(phase.rightLegState == kPlant && phase.leftLegState == kPlant);
}

bool MakesVerticalKey(const SupportPhase& phase) {
  if (phase.rightLegState == kMove && phase.leftLegState == kMove) return false;
  // In a run the body sinks and rises once a stance: a key in its middle would make it twice.
  return !(phase.nearAir && IsMiddle(phase));
}

void DrawTowardsLeg(Generation& g, const BodyStance& stance, const BodyHeight& height,
                    TimeValue t) {
  KeyTable<HorizontalKey>& table = g.core.body.horizontal;
  const int index = KeyAt(table.track, t);
  if (index < 0 || height.namedLeg < 0) return;
  const Point3 apart = stance.foot[0].position - stance.foot[1].position;
  if (Length(Point3{apart.x, 0, apart.z}) <= kWideStance * g.core.pelvis.hipOffset) return;
  Point3& place = table.keys[static_cast<std::size_t>(index)].position;
  const Point3 foot = stance.foot[height.namedLeg].position;
  const float ground = place.y;
  place = foot + height.weight * (place - foot);
  place.y = ground;
  MarkDirty(table.track, index, index);
}

void MakeVerticalKey(Generation& g, const SupportPhase& phase, float height) {
  MotionCore& core = g.core;
  const bool event = !IsMiddle(phase);
  if (!event && KeyAt(core.body.vertical.track, phase.time) >= 0) return;
  VerticalKey key;
  key.height = key.ballisticHeight = height;
  key.legState[0] = phase.rightLegState;
  key.legState[1] = phase.leftLegState;
  for (int side = 0; side < 2; ++side) {
    key.bordersFlight[side] = key.legState[side] == kMove ? 1 : 0;
  }
  key.dynamicsBlend = core.structure.dynamicsType == 0 ? 1.0f : 0.0f;
  g.Check(PutKey(core, phase.time, key));
}

/// A key that waits to be fitted, once the body's height over the true ground is known.
void MakeLegKey(Generation& g, int side, TimeValue t, int state) {
  LimbRecord& leg = g.core.leg[side];
  if (KeyAt(leg.table.track, t) >= 0) return;
  LimbKey key = leg.rest;
  key.keyState = state;
  SetKeyKind(key, state == kMove ? kFreeKey : kPlantedKey);
  if (PutKeyRecord(leg.table, t, key) == kRefused) g.failed = true;
}

}  // namespace

void MakeContactKeys(Generation& g) {
  MotionCore& core = g.core;
  // Nearly every phase keys both legs: room for all at once, instead of copying growing tables.
  for (LimbRecord& leg : core.leg) {
    const int room = leg.table.track.numKeys + static_cast<int>(g.Phases().size());
    if (ReserveKeys(leg.table.track, room) == kRefused) g.failed = true;
    leg.table.keys.reserve(static_cast<std::size_t>(room));
  }
  for (const SupportPhase& phase : g.Phases()) {
    if (InFreeForm(core.footsteps, phase.time) || !MakesKeys(phase)) continue;
    const int states[2] = {phase.rightLegState, phase.leftLegState};
    EvaluateTrunk(core, phase.time);
    const BodyStance stance = StanceAt(core, phase.time, states, GroundLevel::kFlat);
    const BodyHeight height = BodyHeightOf(core, stance);
    DrawTowardsLeg(g, stance, height, phase.time);
    for (int side = 0; side < 2; ++side) MakeLegKey(g, side, phase.time, states[side]);
    if (MakesVerticalKey(phase)) MakeVerticalKey(g, phase, height.height);
  }
}

void ThinVerticalKeys(Generation& g) {
  KeyTable<VerticalKey>& table = g.core.body.vertical;
  const int count = table.track.numKeys;
  const TimeValue crowded = kCrowdedFrames * g.core.ticksPerFrame;
  std::vector<int> kept;
  for (int i = 0; i < count; ++i) {
    const VerticalKey& key = table[i];
    const bool inner = i > 0 && i + 1 < count;
    const bool inAir = key.bordersFlight[0] && key.bordersFlight[1] && key.legState[0] != kLift &&
                       key.legState[1] != kLift;
    if (inner && inAir && table.TimeOf(i) - table.TimeOf(i - 1) < crowded &&
        table.TimeOf(i + 1) - table.TimeOf(i) < crowded) {
      continue;
    }
    kept.push_back(i);
  }
  if (static_cast<int>(kept.size()) < count) KeepKeys(table, kept);
}

void StandStill(Generation& g) {
  KeyTrack& track = g.core.body.vertical.track;
  const int count = track.numKeys;
  for (int i = 0; i < count; ++i) {
    if (i > 1 && i < count - 2) continue;
    KeyTcb tcb = GetTcb(track, i, 0);
    tcb.tension = 50;
    if (SetTcb(track, i, 0, tcb) == kRefused) g.failed = true;
  }
}

namespace {

/// Moves every key to a whole frame; one that would meet a neighbour there goes.
template <class Key>
void SnapKeys(KeyTable<Key>& table, TimeValue ticksPerFrame) {
  for (int i = table.track.numKeys - 1; i >= 0; --i) {
    const TimeValue whole = RoundToFrame(table.TimeOf(i), ticksPerFrame);
    if (whole == table.TimeOf(i) || SetKeyTime(table.track, i, whole) == kDone) continue;
    DeleteKeyRecord(table, i);
  }
}

}  // namespace

void SnapKeysToFrames(Generation& g) {
  MotionCore& core = g.core;
  const TimeValue frame = core.ticksPerFrame;
  for (LimbRecord& leg : core.leg) SnapKeys(leg.table, frame);
  SnapKeys(core.pelvis.table, frame);
  SnapKeys(core.body.horizontal, frame);
  SnapKeys(core.body.turn, frame);
  SnapKeys(core.body.vertical, frame);
}

void TouchAnew(Generation& g) {
  const FootstepTrack& track = g.core.footsteps;
  const TimeValue frame = g.core.ticksPerFrame;
  for (int side = 0; side < 2; ++side) {
    KeyTable<LimbKey>& table = g.core.leg[side].table;
    const std::vector<FootstepSpan>& spans = track.spans[side];
    for (std::size_t k = 1; k < spans.size(); ++k) {
      if (spans[k - 1].Lift() != spans[k].start) continue;
      const TimeValue t = RoundToFrame(spans[k].start, frame);
      // Until the frame before it stands where it stood.
      const TimeValue before = Later(t, -std::int64_t{frame});
      if (before > spans[k - 1].start) MakeLegKey(g, side, before, kPlant);
      const int index = KeyAt(table.track, t);
      if (index >= 0) {  // the other foot's event made it, and took this one to stand on
        table.keys[static_cast<std::size_t>(index)].keyState = kTouch;
      } else {
        MakeLegKey(g, side, t, kTouch);
      }
    }
  }
}

void FillStances(Generation& g) {
  MotionCore& core = g.core;
  const TimeValue frame = core.ticksPerFrame;
  const TimeValue first = RoundToFrame(FirstFootstepTime(core.footsteps), frame);
  for (int side = 0; side < 2; ++side) {
    const KeyTable<LimbKey>& table = core.leg[side].table;
    for (int i = 0; i + 1 < table.track.numKeys; ++i) {
      if (table[i].keyState != kTouch) continue;
      const TimeValue from = table.TimeOf(i), to = table.TimeOf(i + 1);
      // A figure that stands from the start on does so with the whole foot.
      const bool standing = from == first && to - from >= kLongStance * frame;
      // A foot that touches and lifts without a key between would roll over its heel into the
      // ground: it lies flat where the body passes over it.
      const bool unfilled = table[i + 1].keyState == kLift && to - from >= 2 * frame;
      if (!standing && !unfilled) continue;
      const TimeValue middle = RoundToFrame(Later(from, (to - from) / 2), frame);
      const TimeValue over =
          core.body.horizontal.TimeOf(FindKey(core.body.horizontal.track, to - 1));
      TimeValue flat = over > from && over < to ? over : middle;
      if (standing) flat = Later(from, kRollFrames * frame);
      MakeLegKey(g, side, flat, kPlant);
    }
  }
}

namespace {

/// The contact of `side` that a key at `t`, a whole frame, was made for; `t` itself if there is
/// none. Where both ends of contacts round to that frame, a touch means the start.
TimeValue ContactNear(const FootstepTrack& track, int side, TimeValue t, int state) {
  const std::vector<FootstepSpan>& spans = track.spans[side];
  const TimeValue frame = track.ticksPerFrame;
  const auto after =
      std::upper_bound(spans.begin(), spans.end(), Later(t, frame / 2),
                       [](TimeValue time, const FootstepSpan& s) { return time < s.start; });
  TimeValue touch = t, lift = t;
  for (auto span = after; span != spans.begin() && after - span < 2;) {
    --span;
    if (touch == t && RoundToFrame(span->start, frame) == t) touch = span->start;
    if (lift == t && RoundToFrame(span->Lift(), frame) == t) lift = span->Lift();
  }
  const bool isTouch = touch != t && (state == kTouch || lift == t);
  return isTouch ? touch : lift;
}

}  // namespace

TimeValue MomentOfLegKey(const FootstepTrack& track, int side, TimeValue t, int state) {
  if (IsEventState(FootstepLegState(track, side, t))) return t;
  const TimeValue own = ContactNear(track, side, t, state);
  if (own != t || IsEventState(FootstepLegState(track, 1 - side, t))) return own;
  return ContactNear(track, 1 - side, t, kPlant);
}

LegPhase LegPhaseAt(const FootstepTrack& track, int side, TimeValue t, int state) {
  LegPhase phase;
  t = MomentOfLegKey(track, side, t, state);
  phase.time = t;
  phase.state = state;
  phase.otherState = FootstepLegState(track, 1 - side, t);
  const auto after =
      std::upper_bound(track.transitions.begin(), track.transitions.end(), t,
                       [](TimeValue time, const SupportTransition& s) { return time < s.time; });
  phase.nearAir = after != track.transitions.begin() && std::prev(after)->nearAir != 0;
  return phase;
}

namespace {

int FitLegKey(MotionCore& core, int side, int index, const EvalContext& context) {
  LimbRecord& leg = core.leg[side];
  const TimeValue t = leg.table.TimeOf(index);
  const LegPhase phase = LegPhaseAt(core.footsteps, side, t, leg.table[index].keyState);
  const FootPlacement placement = PlaceFoot(core, core.footsteps, side, phase, GroundLevel::kTrue);
  const LimbKey key = LegKeyOf(core, side, phase, placement, context);
  return PutKey(core, LimbId(leg), t, key) == KeyRefusal::kNone ? kDone : kRefused;
}

}  // namespace

int FitLegKeys(MotionCore& core, const EvalContext& context) {
  const KeyTable<LimbKey>* tables[2] = {&core.leg[0].table, &core.leg[1].table};
  int next[2] = {0, 0};
  const auto timeOf = [&](int side) {
    return next[side] < tables[side]->track.numKeys ? tables[side]->TimeOf(next[side]) : kTimeMax;
  };
  while (true) {
    const TimeValue t = std::min(timeOf(0), timeOf(1));
    if (t == kTimeMax) return kDone;
    EvaluateTrunk(core, t);
    for (int side = 0; side < 2; ++side) {
      if (timeOf(side) != t) continue;
      if (FitLegKey(core, side, next[side]++, context) == kRefused) return kRefused;
    }
  }
}

}  // namespace strider
