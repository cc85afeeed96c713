// Where a key lies in the rhythm of the footsteps: the transition that it follows and how far, and
// for a leg the contact or the swing of its own foot. A key's time in a changed rhythm follows
// from its place in the old one.
#pragma once

#include "strider/core/footstep_track.h"

namespace strider {

struct TransitionPhase {
  int transition = 0;   // index
  float fraction = 0;   // of the transition's length; below 0 before the first touch
};
TransitionPhase TransitionPhaseOf(const FootstepTrack& track, TimeValue t);
/// The time of a phase in `track`, ticks, on a whole frame.
TimeValue TimeOfPhase(const FootstepTrack& track, const TransitionPhase& phase);

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
TimeValue TimeOfPhase(const FootstepTrack& track, int side, const LegKeyPhase& phase);

/// Whether the same supports follow each other with the same spans, whatever their times.
bool SamePattern(const FootstepTrack& a, const FootstepTrack& b);

}  // namespace strider
