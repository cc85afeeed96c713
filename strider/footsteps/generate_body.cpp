// The body over its feet: ground path, heading, and the rock of the pelvis.

#include <algorithm>
#include <cmath>

#include "strider/core/track_reader.h"
#include "strider/footsteps/generation.h"

namespace strider {
namespace {

// The pelvis drops on the side of the swinging leg, radians.
constexpr float kPelvisRock = 0.05f;

// A key that is relaxed moves at most this share of the leg, or of the way to a neighbour.
constexpr float kFlightRelaxation = 0.5f, kStanceRelaxation = 0.25f;
constexpr float kSegmentShare = 0.48f;
// The body is this many ticks ahead of the middle of its feet, the more so as it starts.
constexpr TimeValue kLead = 160, kStartLead = 480;

// A turn key's tangents have full strength from a fifth of a leg length a frame on. The heading
// factor brings a default walk there, so that it turns evenly; a body that stands turns from one
// key to the next without swinging past.
constexpr float kFullTurnSpeed = 5;
constexpr float kHeadingFactor = 20;

enum HorizontalKeyType : int { kOrdinaryKey = 0, kMidStanceKey = 1 };

/// Mean of the feet's places, a foot on its way taken half way.
Point3 BetweenFeet(const FootstepTrack& track, const SupportPhase& phase) {
  Point3 sum;
  for (int side = 0; side < 2; ++side) {
    sum += FootTargetAs(track, side, phase.time, StateOf(phase, side), GroundLevel::kFlat,
                        SwingPlace::kHalfWay)
               .position;
  }
  return 0.5f * sum;
}

bool IsMidStance(const SupportPhase& phase) {
  const int r = phase.rightLegState, l = phase.leftLegState;
  return (r == kPlant && l == kMove) || (r == kMove && l == kPlant);
}

/// The rock of a phase, and whether it makes a key.
bool RockOf(const SupportPhase& phase, bool atEnd, float& rock) {
  const int r = phase.rightLegState, l = phase.leftLegState;
  rock = r == kMove ? -kPelvisRock : kPelvisRock;
  if (atEnd || IsMidStance(phase)) return true;
  return phase.nearAir && (r == kPlant || r == kMove) && l != kPlant;
}

}  // namespace

void MakeBodyKeys(Generation& g) {
  MotionCore& core = g.core;
  const auto& phases = g.Phases();
  for (std::size_t i = 0; i < phases.size(); ++i) {
    const SupportPhase& phase = phases[i];
    const bool atEnd = i == 0 || i + 1 == phases.size();
    float rock = 0;
    if (RockOf(phase, atEnd, rock)) {
      PelvisKey key;
      key.rotation = AboutX(-rock);  // about the way ahead: the left side drops
      g.Check(PutKey(core, phase.time, key));
    }
    // In an event the body would halt: keys stand at the middles between them.
    if (!atEnd && !IsMiddle(phase)) continue;
    HorizontalKey place;
    place.position = BetweenFeet(core.footsteps, phase);
    place.balanceFactor = core.body.defaultBalance;
    place.supportState = BodyKeyState(phase.rightLegState, phase.leftLegState);
    place.type = IsMidStance(phase) ? kMidStanceKey : kOrdinaryKey;
    g.Check(PutKey(core, phase.time, place));
    TurnKey turn;
    turn.rotation = AboutY(g.turns[i]);
    g.Check(PutKey(core, phase.time, turn));
  }
}

namespace {

/// How far a key moves towards the middle of its neighbours, both in the ground plane.
Point3 Relaxation(const Point3& before, const Point3& here, const Point3& after, float limit) {
  const Point3 toMiddle = Lerp(before, after, 0.5f) - here;
  const float distance = Length(toMiddle);
  if (!(distance > 0)) return {};
  const float a = kSegmentShare * Length(here - before), b = kSegmentShare * Length(after - here);
  // Never past the middle itself: a path that is even already stays.
  return (std::min({limit, a, b, distance}) / distance) * toMiddle;
}

bool NearAirAt(const FootstepTrack& track, TimeValue t) {
  const auto after = std::upper_bound(
      track.transitions.begin(), track.transitions.end(), t,
      [](TimeValue time, const SupportTransition& s) { return time < s.time; });
  return after != track.transitions.begin() && std::prev(after)->nearAir != 0;
}

/// True where a free-form interval starts or ends at `t` or lies around it.
bool TouchesFreeForm(const FootstepTrack& track, TimeValue t) {
  const TimeValue frame = track.ticksPerFrame;
  return InFreeForm(track, t) || InFreeForm(track, Later(t, frame)) ||
         InFreeForm(track, Later(t, -std::int64_t{frame}));
}

}  // namespace

void SmoothGroundPath(Generation& g) {
  KeyTable<HorizontalKey>& table = g.core.body.horizontal;
  const int count = table.track.numKeys;
  const float leg = g.core.leg[kRight].totalLength;

  // All keys are computed from the path as it was, and written back together.
  std::vector<Point3> moved(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    Point3& place = moved[static_cast<std::size_t>(i)];
    place = table[i].position;
    if (i == 0 || i > count - 3) continue;
    const bool air = NearAirAt(g.core.footsteps, table.TimeOf(i));
    const float limit = (air ? kFlightRelaxation : kStanceRelaxation) * leg;
    place += Relaxation(table[i - 1].position, table[i].position, table[i + 1].position, limit);
  }
  const auto write = [&] {
    for (int i = 0; i < count; ++i) {
      table.keys[static_cast<std::size_t>(i)].position = moved[static_cast<std::size_t>(i)];
    }
    MarkDirty(table.track, 0, count - 1);
    RefreshTracks(g.core);
  };
  write();

  for (int i = 0; i < count; ++i) {
    const TimeValue t = Later(table.TimeOf(i), i == 0 ? kStartLead : kLead);
    moved[static_cast<std::size_t>(i)] = TrackReader<HorizontalKey>(
        static_cast<const KeyTable<HorizontalKey>&>(table), t).Tcb([](const HorizontalKey& key) {
      return key.position;
    });
  }
  write();

  std::vector<int> kept;
  for (int i = 0; i < count; ++i) {
    const bool atEnd = i == 0 || i + 1 == count;
    if (atEnd || table[i].type != kMidStanceKey ||
        TouchesFreeForm(g.core.footsteps, table.TimeOf(i))) {
      kept.push_back(i);
    }
  }
  KeepKeys(table, kept);
  MarkDirty(table.track, 0, table.track.numKeys - 1);
}

void ShapeTurns(Generation& g) {
  MotionCore& core = g.core;
  RefreshTracks(core);
  const KeyTable<HorizontalKey>& path = core.body.horizontal;
  KeyTable<TurnKey>& turns = core.body.turn;
  const auto placeAt = [&path](TimeValue t) {
    return TrackReader<HorizontalKey>(path, t).Tcb(
        [](const HorizontalKey& key) { return key.position; });
  };
  const float leg = core.leg[kRight].totalLength;
  for (int i = 0; i < turns.track.numKeys; ++i) {
    const TimeValue t = turns.TimeOf(i);
    Point3 travel;
    if (std::int64_t{t} - path.TimeOf(0) >= kDynamicsFrame) {
      travel = placeAt(t) - placeAt(t - kDynamicsFrame);
    }
    const float speed = Length(travel);
    const float pace = std::min(1.0f, speed * kFullTurnSpeed / leg);
    const Point3 ahead = Rotate(turns[i].rotation, {1, 0, 0});
    // Backwards is as good a way to turn along as forwards.
    const float along = std::fabs(Dot(Normalized(travel), ahead));
    const float strength = std::min(1.0f, pace * pace * along * kHeadingFactor);
    KeyTcb tcb = GetTcb(turns.track, i, 0);
    tcb.tension = 50 - 25 * strength;  // 25 full tangents, 50 none
    if (SetTcb(turns.track, i, 0, tcb) == kRefused) g.failed = true;
  }
}

}  // namespace strider
