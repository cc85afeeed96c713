// A take that runs in a circle: its last frames lead back into its first.
#pragma once

#include "strider/core/motion_core.h"

namespace strider {

/// Moves every part of `figure` by `weight` of the way that leads from its pose in `from` to that
/// in `to`, three cores of one structure: 0 leaves it, 1 makes a figure posed as `from` stand as
/// `to`. No knee or elbow overstretches that does so in none of them. The frames are up to date
/// then. Allocates nothing.
void AddDifference(MotionCore& figure, const MotionCore& from, const MotionCore& to, float weight);

/// What is missing from the last frame to the first is spread over the last `loopFrames` frames,
/// gently at both ends: the last frame is the first, and what moved at the end of the take moves on
/// as fast. All parts take part, the way over the ground too.
class LoopBlend {
 public:
  /// `first` and `last`: the figure as it stands at the first frame and at the last one.
  LoopBlend(int loopFrames, int numFrames, const MotionCore& first, const MotionCore& last);
  void Apply(int frame, MotionCore& posed) const;

 private:
  int lastFrame_, over_;
  MotionCore first_, last_;
};

/// How many frames of a take, from its first on, a loop over its last `loopFrames` leaves alone.
int FramesBeforeLoop(int loopFrames, int numFrames);

}  // namespace strider
