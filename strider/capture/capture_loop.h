// A take that runs in a circle: its last frames lead back into its first.
#pragma once

#include <memory>

#include "strider/core/motion_core.h"

namespace strider {

/// The pose of `figure` mixed with that of `other`, a core of the same structure, in all parts: 0
/// leaves it, 1 is the other's. The frames are up to date then. Allocates nothing.
void BlendPose(MotionCore& figure, const MotionCore& other, float weight);

/// Frames come one by one, the first first: it is kept, and the last `loopFrames` of them are mixed
/// with it, gently at first, the last one whole. All parts take part, the way over the ground too.
class LoopBlend {
 public:
  LoopBlend(int loopFrames, int numFrames) : loopFrames_(loopFrames), numFrames_(numFrames) {}
  void Apply(int frame, MotionCore& posed);

 private:
  int loopFrames_, numFrames_;
  std::unique_ptr<MotionCore> first_;
};

}  // namespace strider
