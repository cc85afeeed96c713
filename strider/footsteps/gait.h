// When the next foot comes down: the gaits, their durations, and the figures of a batch of
// footsteps. The settings are one user's, shared by all of their figures. All times are ticks; the
// duration that is time in the air for runs and jumps is the double support of a walk.
#pragma once

#include "strider/core/footstep_track.h"

namespace strider {

enum GaitMode : int { kWalk = 1, kRun = 2, kJump = 3 };
inline constexpr int kNumGaits = 3;

/// What a batch of footsteps is made from. Params are relative to the figure (strides to its leg
/// length, the width to the distance of its hips), actuals in scene units; SetActuals fits them.
struct MultFprintParams {
  int numFootsteps = 0;
  float actualStrideWidth = 0, paramStrideWidth = 0;
  float actualStrideLength1 = 0, paramStrideLength1 = 0;
  float actualStrideHeight1 = 0;
  TimeValue cycle1 = 0;  // from one touch to the other foot's
  // What the batch moves towards from its first footstep to its last with interpTiming.
  float actualStrideLength2 = 0, paramStrideLength2 = 0;
  float actualStrideHeight2 = 0;
  TimeValue cycle2 = 0;
  int autoTiming = 0;         // durations follow from stride and cycle
  int interpTiming = 0;       // strides, heights and timing change over the batch
  int alternate = 0;          // runs and jumps use both feet in turn, as a walk always does
  int multiInsertInTime = 0;  // at the current time instead of the end
};

/// Time on the ground, and in the air or, for a walk, in double support.
struct GaitDurations {
  TimeValue ground = 0, air = 0;
  friend bool operator==(const GaitDurations&, const GaitDurations&) = default;
};

/// Defaults of a gait. A number that is no gait leaves what depends on the gait alone.
void InitParams(MultFprintParams& params, int gait, TimeValue ticksPerFrame);

struct GaitSettings {
  GaitSettings() : GaitSettings(kDynamicsFrame) {}
  explicit GaitSettings(TimeValue frame);

  TimeValue ticksPerFrame = kDynamicsFrame;
  int fsGaitMode = kWalk;
  int nextSide = 1;            // of the next footstep: 0 right, 1 left
  bool fsCreateState = false;  // single footsteps come at the current time
  bool fsAppendState = false;  // they come at the end of the track
  GaitDurations durations[kNumGaits];
  GaitDurations second;  // what batches with interpTiming move towards
  MultFprintParams params[kNumGaits];

  bool Legal() const {
    return fsGaitMode >= kWalk && fsGaitMode <= kJump && (nextSide == 0 || nextSide == 1);
  }
  /// Of the gait in force.
  GaitDurations& Durations() { return durations[fsGaitMode - 1]; }
  const GaitDurations& Durations() const { return durations[fsGaitMode - 1]; }
};

/// The same settings for another number of ticks a frame: all times keep their frames.
void RetimeSettings(GaitSettings& settings, TimeValue ticksPerFrame);

/// The sizes of a figure that footsteps are made for.
struct StepMeasures {
  float legLength = 0;  // sum of the leg's links
  float hipWidth = 0;   // half the distance of the hips
};
/// Works the actuals out from the params.
void SetActuals(MultFprintParams& params, const StepMeasures& figure);

/// Durations with which a figure takes a stride in a cycle, whole frames. A stride backwards times
/// as one ahead; without a stride a walk has the longest double support, a run the longest contact.
GaitDurations AutoTiming(int gait, float legLength, float stride, TimeValue cycle,
                         TimeValue ticksPerFrame);

/// True where a walk's double supports would leave no time for the other foot to swing.
inline bool LeavesNoSwing(const GaitDurations& walk) {
  return std::int64_t{2} * walk.air >= walk.ground;
}

/// What the next footstep is timed by.
struct NextStep {
  int index = 0;  // among all footsteps; those before it are looked at
  int side = 0;
  int gait = kWalk;
  GaitDurations durations;
  bool stretch = true;  // the other foot may be kept on the ground until the new one comes
  bool first = false;   // of its batch
};

/// When the next footstep touches, and what has to change for it. Without stretching -1 below.
struct NextStart {
  TimeValue start = -1;    // -1: no footstep stands before it
  int lengthened = -1;     // the footstep before it that has to stay longer
  TimeValue duration = 0;  // its new duration
};

/// Looks for the last span of each side by halves, so that long batches stay quick.
NextStart NextFootstepStart(const FootstepTrack& track, const NextStep& step);

/// Values on the way from the first of `n` strides to the second set's: k of n. With n of 0 the
/// first.
float Interpolated(float first, float second, int k, int n);

/// Strides that a batch takes: on an empty track its first footsteps stand under the figure, and a
/// jump on both feet takes one stride a pair. Never below 0.
int NumStrides(const MultFprintParams& params, int gait, bool emptyTrack);

/// What the panel of a batch shows.
struct BatchReadouts {
  int strides = 0;
  float totalDistance = 0;  // scene units
  float cycle = 0;          // frames
  float speed = 0;          // scene units a frame
};
/// Of a batch whose actuals fit the figure, with the durations of its first stride.
BatchReadouts ReadoutsOf(const MultFprintParams& params, int gait, const GaitDurations& durations,
                         TimeValue ticksPerFrame, bool emptyTrack);

}  // namespace strider
