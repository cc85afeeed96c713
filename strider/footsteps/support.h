// How the feet carry the figure: the times at which support changes, the phases between them, and
// the heading that the body takes from the footsteps around it.
#pragma once

#include <vector>

#include "strider/core/footstep_track.h"

namespace strider {

/// Rebuilds transitions (with their marks of being near the air) and phases from the spans.
/// kRefused, the lists empty, if memory ran out.
[[nodiscard]] int RefreshSupport(FootstepTrack& track);

/// The steps of RefreshSupport. A transition stands at each time at which support changes, the
/// first at the first touch, the last at the last lift; a track without spans has one, airborne.
void BuildTransitions(FootstepTrack& track);
/// Marks flights and what lies beside them: a short stance between two flights belongs to the run.
void MarkNearAir(FootstepTrack& track);
/// Two phases for each transition, its event and its middle, but for the last one's middle.
void BuildPhases(FootstepTrack& track);

/// The footstep of a side's span in a phase; where that side has no spans, the other's.
int PhaseFootstep(const FootstepTrack& track, const SupportPhase& phase, int side);

/// The heading of the body at each phase, radians, and the body angles of all footsteps on the
/// way. Headings must be continuous (NormalizeAngles). One pass in time order.
std::vector<float> PhaseTurns(FootstepTrack& track);

/// True in the middle of a transition, where neither foot touches or lifts.
inline bool IsEventState(int state) { return state == kTouch || state == kLift; }
inline bool IsMiddle(const SupportPhase& phase) {
  return !IsEventState(phase.rightLegState) && !IsEventState(phase.leftLegState);
}
inline int StateOf(const SupportPhase& phase, int side) {
  return side == 0 ? phase.rightLegState : phase.leftLegState;
}

/// The middle of a stance on one foot.
inline bool IsMidStance(const SupportPhase& phase) {
  const int r = phase.rightLegState, l = phase.leftLegState;
  return (r == kPlant && l == kMove) || (r == kMove && l == kPlant);
}

/// Key state of the whole body (horizontal and vertical tracks): 2 lifts off the ground, 0 comes
/// down on it, 3 in the air, 1 carried.
int BodyKeyState(int right, int left);

}  // namespace strider
