// One measuring of a motion at work: the copy that is posed, its frames, and what comes out.
#pragma once

#include <span>
#include <vector>

#include "strider/footsteps/motion_measures.h"
#include "strider/footsteps/pose_sample.h"

namespace strider {

struct MeasureRun {
  MotionCore core;  // a copy, posed at will
  const EvalContext& context;
  float leg = 0;                   // length, scene units
  std::vector<PoseSample> frames;  // all frames of the motion
  MotionMeasures out;

  MeasureRun(const MotionCore& original, const EvalContext& evalContext)
      : core(original), context(evalContext), leg(original.leg[kRight].totalLength) {}

  void TakeFrames();
  PoseSample At(TimeValue t) { return TakePoseSample(core, t, context); }
  /// The frames from `first` to `last`, both included.
  std::span<const PoseSample> FramesWithin(TimeValue first, TimeValue last) const;
  float Percent(float length) const { return 100 * length / leg; }
  /// Height of an ankle over where it is when the sole stands flat.
  float AnkleRise(const PoseSample& pose, int side) const;
};

}  // namespace strider
