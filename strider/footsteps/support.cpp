#include "strider/footsteps/support.h"

#include <algorithm>
#include <new>

#include "strider/core/key_track.h"

namespace strider {
namespace {

// The last transition has no next one to measure to; it lasts this many frames.
constexpr int kLastTransitionFrames = 200;

/// Reads one side's spans in time order.
struct SideCursor {
  const std::vector<FootstepSpan>& spans;
  std::size_t next = 0;  // the first span that touches after the cursor

  /// The span in force: the last one that touched; the first one before any has.
  int InForce() const { return next == 0 ? 0 : static_cast<int>(next) - 1; }
  bool Started() const { return next > 0; }
  const FootstepSpan& Current() const { return spans[next - 1]; }

  TimeValue NextEvent(TimeValue after) const {
    TimeValue event = next < spans.size() ? spans[next].start : kTimeMax;
    if (Started() && Current().Lift() > after) event = std::min(event, Current().Lift());
    return event;
  }
  void MoveTo(TimeValue t) {
    while (next < spans.size() && spans[next].start <= t) ++next;
  }
  bool InContact(TimeValue t) const { return Started() && t < Current().Lift(); }
  bool Touches(TimeValue t) const { return Started() && Current().start == t; }
  /// Also where the next span touches at the same time.
  bool Lifts(TimeValue t) const {
    return (Started() && Current().Lift() == t) || (next > 1 && spans[next - 2].Lift() == t);
  }
};

}  // namespace

int BodyKeyState(int right, int left) {
  const auto leaving = [](int state) { return state == kLift || state == kMove; };
  if (right == kMove && left == kMove) return 3;
  if ((right == kLift && leaving(left)) || (left == kLift && leaving(right))) return 2;
  if (right == kTouch && (left == kTouch || leaving(left))) return 0;
  if (left == kTouch && leaving(right)) return 0;
  return 1;
}

void BuildTransitions(FootstepTrack& track) {
  std::vector<SupportTransition>& list = track.transitions;
  list.clear();
  SideCursor right{track.spans[0]}, left{track.spans[1]};
  const TimeValue frame = track.ticksPerFrame;
  TimeValue cursor = Later(FirstFootstepTime(track), -std::int64_t{frame});
  int previous = 0;
  while (true) {
    const TimeValue t = std::min(right.NextEvent(cursor), left.NextEvent(cursor));
    if (t == kTimeMax) break;
    cursor = t;
    right.MoveTo(t);
    left.MoveTo(t);
    const int support = (right.InContact(t) ? 1 : 0) + (left.InContact(t) ? 2 : 0);
    if (support == previous) continue;
    previous = support;
    SupportTransition transition;
    transition.rightSpan = right.InForce();
    transition.leftSpan = left.InForce();
    transition.time = t;
    transition.support = support;
    const bool leftLifts = left.Lifts(t);
    const bool leftEvent = left.Touches(t) || leftLifts;
    transition.touched = leftEvent ? 1 : 0;
    transition.lifted = leftLifts || (!leftEvent && right.Lifts(t)) ? 1 : 0;
    list.push_back(transition);
  }
  if (list.empty()) list.push_back({});
  for (std::size_t i = 0; i + 1 < list.size(); ++i) {
    list[i].length = Later(list[i + 1].time, std::int64_t{frame} - list[i].time);
  }
  list.back().length = kLastTransitionFrames * frame;
}

void MarkNearAir(FootstepTrack& track) {
  std::vector<SupportTransition>& list = track.transitions;
  for (SupportTransition& transition : list) transition.nearAir = 0;
  const std::size_t count = list.size();
  for (std::size_t i = 2; i + 1 < count; ++i) {
    if (list[i].support != 0) continue;
    for (std::size_t k = i - 1; k <= i + 1; ++k) list[k].nearAir = 1;
  }
  for (std::size_t i = 2; i + 2 < count; ++i) {
    const bool beside = list[i - 1].nearAir && list[i + 1].nearAir;
    const bool between = list[i - 2].nearAir && list[i + 2].nearAir;
    if (beside || between) list[i].nearAir = 1;
  }
}

namespace {

struct StatePair {
  LegState right, left;
};
struct PhaseStates {
  StatePair atEvent, atMiddle;
};

/// States of the feet where support changes from `p` to `c`, and in the middle of what follows.
PhaseStates StatesOf(int p, int c) {
  constexpr LegState T = kTouch, P = kPlant, L = kLift, M = kMove;
  constexpr PhaseStates kUnlisted{{T, T}, {T, T}};
  constexpr PhaseStates kTable[4][4] = {
      {kUnlisted, {{T, M}, {P, M}}, {{M, T}, {M, P}}, {{T, T}, {P, P}}},
      {{{L, M}, {M, M}}, kUnlisted, {{L, T}, {M, P}}, {{P, T}, {P, P}}},
      {{{M, L}, {M, M}}, {{T, L}, {P, M}}, kUnlisted, {{T, P}, {P, P}}},
      {{{L, L}, {M, M}}, {{P, L}, {P, M}}, {{L, P}, {M, P}}, {{T, T}, {P, P}}},
  };
  return kTable[p][c];
}

}  // namespace

void BuildPhases(FootstepTrack& track) {
  std::vector<SupportPhase>& list = track.phases;
  list.clear();
  list.reserve(2 * track.transitions.size());
  const TimeValue frame = track.ticksPerFrame;
  int previous = 0;
  for (const SupportTransition& transition : track.transitions) {
    const PhaseStates states = StatesOf(previous, transition.support);
    previous = transition.support;
    SupportPhase phase;
    phase.time = transition.time;
    phase.nearAir = transition.nearAir;
    phase.rightSpan = transition.rightSpan;
    phase.leftSpan = transition.leftSpan;
    phase.length = transition.length;
    phase.support = transition.support;
    phase.rightLegState = states.atEvent.right;
    phase.leftLegState = states.atEvent.left;
    list.push_back(phase);
    if (transition.length < 2) continue;
    phase.time =
        Later(transition.time, static_cast<std::int64_t>((transition.length - frame) * 0.5));
    phase.rightLegState = states.atMiddle.right;
    phase.leftLegState = states.atMiddle.left;
    list.push_back(phase);
  }
  list.pop_back();
}

int RefreshSupport(FootstepTrack& track) {
  try {
    BuildTransitions(track);
    MarkNearAir(track);
    BuildPhases(track);
  } catch (const std::bad_alloc&) {
    track.transitions.clear();
    track.phases.clear();
    return kRefused;
  }
  return kDone;
}

int PhaseFootstep(const FootstepTrack& track, const SupportPhase& phase, int side) {
  if (track.spans[side].empty()) side = 1 - side;
  const std::vector<FootstepSpan>& spans = track.spans[side];
  const auto index = static_cast<std::size_t>(side == 0 ? phase.rightSpan : phase.leftSpan);
  return spans[std::min(index, spans.size() - 1)].footstep;
}

std::vector<float> PhaseTurns(FootstepTrack& track) {
  std::vector<float>& body = track.bodyAngle;
  const std::vector<float>& own = track.angle;
  body.assign(own.begin(), own.begin() + track.numFootsteps);
  std::vector<float> turns;
  turns.reserve(track.phases.size());
  float turn = own.empty() ? 0 : own.front();
  for (const SupportPhase& phase : track.phases) {
    const auto right = static_cast<std::size_t>(PhaseFootstep(track, phase, 0));
    const auto left = static_cast<std::size_t>(PhaseFootstep(track, phase, 1));
    const bool rightOn = phase.rightLegState < kMove, leftOn = phase.leftLegState < kMove;
    if (rightOn && leftOn) {
      body[right] = body[left] = (own[right] + own[left]) * 0.5f;
      turn = body[right];
    } else if (rightOn || leftOn) {
      const std::size_t on = rightOn ? right : left;
      body[on] = own[on];
      const std::size_t before = on > 0 ? on - 1 : 0;
      const std::size_t after = std::min(on + 1, body.size() - 1);
      turn = (body[before] + body[on] + body[after]) / 3;
    }
    turns.push_back(turn);
  }
  return turns;
}

}  // namespace strider
