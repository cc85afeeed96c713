// When and where each foot is on the ground. This room holds the record and the questions that
// evaluating a pose asks of it; what changes footsteps lies in footsteps/. Sides run right, left.
#pragma once

#include <vector>

#include "strider/base/bit_array.h"
#include "strider/base/matrix3.h"
#include "strider/base/time_value.h"
#include "strider/core/key_records.h"

namespace strider {

/// A track that ends at or past this many ticks is refused.
inline constexpr TimeValue kFootstepTimeLimit = 140'000'000;

/// One contact: touches at `start`, lifts at `start + duration`, both ticks.
struct FootstepSpan {
  TimeValue start = 0, duration = 0;
  int footstep = 0;  // index into the footsteps' tables

  TimeValue Lift() const { return Later(start, duration); }
};

struct SupportTransition {
  int rightSpan = 0, leftSpan = 0;
  TimeValue time = 0, length = 0;
  int support = 0;  // 0 airborne, 1 right only, 2 left only, 3 both
  int nearAir = 0, touched = 0, lifted = 0;
};

struct SupportPhase {
  TimeValue time = 0;
  int nearAir = 0;
  int rightSpan = 0, leftSpan = 0;
  int rightLegState = kMove, leftLegState = kMove;
  TimeValue length = 0;
  int support = 0;
};

/// Invariant: footstep i is the footstep of span sideIndex[i] of its side; each side's spans and
/// the footsteps themselves ascend in time. No footsteps means free-form.
struct FootstepTrack {
  TimeValue ticksPerFrame = kDynamicsFrame;
  int freeForm = 1;
  int unused = 0;  // carried for files
  // The figure as the footsteps were last fitted to it.
  float scaleAnkleHeight = 0, scaleFigureHeight = 0, scaleLegLength = 0, scaleHipWidth = 0;
  float gravity = 0;  // units per frame squared
  int numFootsteps = 0, capacity = 0;

  std::vector<Point3> position;  // the core's axes: x, height, negated world y
  std::vector<float> angle;      // heading in radians about the up axis, unwrapped
  std::vector<float> bodyAngle;  // smoothed heading of the body
  std::vector<unsigned char> side;
  std::vector<int> sideIndex;
  std::vector<TimeValue> freeFormEnd, freeFormStart;  // both 0 but where an interval opens
  std::vector<Matrix3> transform;                     // the host's axes, as edited and stored
  BitArray keyMismatch, endEdgeSelected, startEdgeSelected, active, freeFormAfter;
  std::vector<FootstepSpan> spans[2];
  std::vector<SupportPhase> phases;
  std::vector<SupportTransition> transitions, savedTransitions;
};

/// One period in the air, between two keys of the vertical track.
struct FlightPeriod {
  TimeValue gapBefore = 0;  // ticks on the ground since the landing before
  TimeValue takeoffTime = 0;
  int takeoffKey = 0;
  TimeValue duration = 0;
  TimeValue landTime = 0;
  int landKey = 0;
  float takeoffSpeed = 0;  // units per tick, upward
  float landSpeed = 0;     // units per tick, downward
};

/// Contact of a side at `t`: touch at a span's start, plant inside, lift at its end, move
/// elsewhere. A time that is one span's end and the next one's start is a touch.
LegState FootstepLegState(const FootstepTrack& track, int side, TimeValue t);

/// True in a free-form track, and strictly inside a free-form interval.
bool InFreeForm(const FootstepTrack& track, TimeValue t);

/// Earliest touch of either side; 0 without footsteps.
TimeValue FirstFootstepTime(const FootstepTrack& track);
/// Latest lift of either side, never below 0.
TimeValue LastFootstepTime(const FootstepTrack& track);

/// Height of the ground under the figure at `t`: the lower of the footsteps in contact; between
/// contacts it moves evenly from the one lifted last to the one touched next.
float FootstepHeight(const FootstepTrack& track, TimeValue t);

}  // namespace strider
