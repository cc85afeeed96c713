// The motions by which footsteps are judged: tests, benchmarks and the table in the documentation
// all make them here.
#pragma once

#include <vector>

#include "strider/footsteps/motion_bounds.h"

namespace strider {

enum class SampleMotion { kWalk, kRun, kJump, kJumpOnOneSide, kCircle, kStairs, kTurn };

struct SampleMotionInfo {
  SampleMotion sample;
  const char* name;     // one word, for command lines and tests
  const char* caption;  // for people
  MotionKind kind;
};
/// All of them.
const std::vector<SampleMotionInfo>& SampleMotions();

/// Heights of the figures that samples are judged at, scene units. Below the least of them the
/// curves that join flights and stances fit their handles too coarsely.
inline constexpr float kSampleHeights[] = {8, 80, 180};

/// The default figure of a height with the sample's footsteps, which wait for their motion.
MotionCore MakeSampleFootsteps(SampleMotion sample, float height);
/// The same with its motion; a core in free-form if that failed.
MotionCore MakeSample(SampleMotion sample, float height);

}  // namespace strider
