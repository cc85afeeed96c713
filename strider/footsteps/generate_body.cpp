// The body over its feet: ground path, heading, and the rock of the pelvis.

#include <algorithm>
#include <cmath>

#include "strider/footsteps/generation.h"
#include "strider/footsteps/ground_path.h"

namespace strider {
namespace {

// The pelvis drops on the side of the swinging leg, radians.
constexpr float kPelvisRock = 0.05f;

// A turn key's tangents have full strength from a fifth of a leg length a frame on. The heading
// factor brings a default walk there, so that it turns evenly; a body that stands turns from one
// key to the next without swinging past.
constexpr float kFullTurnSpeed = 5;
constexpr float kHeadingFactor = 20;

/// The rock of a phase, and whether it makes a key.
bool RockOf(const SupportPhase& phase, bool atEnd, float& rock) {
  const int r = phase.rightLegState, l = phase.leftLegState;
  rock = r == kMove ? -kPelvisRock : kPelvisRock;
  if (atEnd || IsMidStance(phase)) return true;
  return phase.nearAir && (r == kPlant || r == kMove) && l != kPlant;
}

void MakePelvisKeys(Generation& g) {
  const auto& phases = g.Phases();
  for (std::size_t i = 0; i < phases.size(); ++i) {
    float rock = 0;
    if (!RockOf(phases[i], i == 0 || i + 1 == phases.size(), rock)) continue;
    PelvisKey key;
    key.rotation = AboutX(-rock);  // about the way ahead: the left side drops
    g.Check(PutKey(g.core, phases[i].time, key));
  }
}

}  // namespace

void MakeBodyKeys(Generation& g) {
  MotionCore& core = g.core;
  MakePelvisKeys(g);
  // In an event the body would halt: keys stand at the middles between them.
  const std::vector<int> bodyPhases = BodyPhases(core.footsteps);
  for (const int i : bodyPhases) {
    TurnKey turn;
    turn.rotation = AboutY(g.turns[static_cast<std::size_t>(i)]);
    g.Check(PutKey(core, g.Phases()[static_cast<std::size_t>(i)].time, turn));
  }
  const KeyTable<HorizontalKey> path =
      GroundPath(core.footsteps, bodyPhases, 0, static_cast<int>(bodyPhases.size()) - 1,
                 core.leg[kRight].totalLength);
  for (int i = 0; i < path.track.numKeys; ++i) {
    HorizontalKey key = path[i];
    key.balanceFactor = core.body.defaultBalance;
    g.Check(PutKey(core, path.TimeOf(i), key));
  }
}

void ShapeTurns(Generation& g) {
  MotionCore& core = g.core;
  RefreshTracks(core);
  const KeyTable<HorizontalKey>& path = core.body.horizontal;
  KeyTable<TurnKey>& turns = core.body.turn;
  const float leg = core.leg[kRight].totalLength;
  for (int i = 0; i < turns.track.numKeys; ++i) {
    const TimeValue t = turns.TimeOf(i);
    Point3 travel;
    if (std::int64_t{t} - path.TimeOf(0) >= kDynamicsFrame) {
      travel = PlaceOn(path, t) - PlaceOn(path, t - kDynamicsFrame);
    }
    const float pace = std::min(1.0f, Length(travel) * kFullTurnSpeed / leg);
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
