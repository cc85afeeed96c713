// Where a key lies in the rhythm of the footsteps: the transition that it follows and how far, and
// for a leg the contact or the swing of its own foot. A key's time in a changed rhythm follows
// from its place in the old one.
#pragma once

#include "strider/core/footstep_track.h"

namespace strider {

/// The last transition at or before a key, the first where there is none.
struct TransitionPhase {
  int transition = 0;  // index
  float fraction = 0;  // of the transition's length; below 0 before the first touch
};
TransitionPhase TransitionPhaseOf(const FootstepTrack& track, TimeValue t);

enum LegPhaseType : int {
  kInSpan = 0,        // from the touch to the lift
  kBetweenSpans = 1,  // from there to the side's next touch
  kPastEnd = 2,       // after the side's last span and the end of the motion
  kAfterSpans = 3,    // after the side's last span, before the end of the motion
  kBeforeSpans = 4,   // before the side's first span
  kNoSpans = 5,       // the side never touches
  kInFreeForm = 6,    // in a free-form interval
};
struct LegKeyPhase {
  int phaseType = kNoSpans;
  int spanIndex = 0;  // of the side; for kInFreeForm the footstep that opens the interval
  TimeValue phaseStart = 0, phaseLength = 0;
  float fraction = 0;
};
LegKeyPhase LegKeyPhaseOf(const FootstepTrack& track, int side, TimeValue t);

/// Where a key at `t` goes as the rhythm of `from` becomes that of `to`, the same supports
/// following each other in both. It keeps its share of the way between the two changes of support
/// around it, on whole frames; where that way only moved, or lies outside the motion, its distance
/// to the tick.
TimeValue MovedTime(const FootstepTrack& from, const FootstepTrack& to, TimeValue t);
/// The same for a key of a leg, whose rhythm is its own foot's.
TimeValue MovedLegTime(const FootstepTrack& from, const FootstepTrack& to, int side, TimeValue t);

/// A key where support changes, or a leg's where its own foot touches or lifts, stays exactly
/// there.
bool IsAtEvent(const FootstepTrack& track, TimeValue t);
bool IsAtLegEvent(const FootstepTrack& track, int side, TimeValue t);

/// Whether the same supports follow each other with the same spans, whatever their times.
bool SamePattern(const FootstepTrack& a, const FootstepTrack& b);

}  // namespace strider
