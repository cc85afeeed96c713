// What is asked of a motion's measures: each bound stands here once, with its reason, for tests
// and for the table in the documentation.
#pragma once

#include <string>
#include <vector>

#include "strider/footsteps/motion_measures.h"

namespace strider {

enum class MotionKind { kWalk, kCircleWalk, kStairWalk, kTurnWalk, kRun, kJump };

/// One measure and the limits on it; an infinite limit is none.
struct MotionBound {
  const char* name;
  const char* unit;
  const char* reason;
  MeasuredRange MotionMeasures::*measure;
  float low, high;     // both allowed
  unsigned kinds;      // bit of each MotionKind that it is asked of
  bool describesGait;  // a figure of people's gait rather than a fault
};

/// All of them, in the order of the measures.
const std::vector<MotionBound>& MotionBounds();
bool AsksOf(const MotionBound& bound, MotionKind kind);

struct BoundCheck {
  const MotionBound* bound = nullptr;
  MeasuredRange measured;
  /// False too where the motion gave no occasion to measure what is asked of it.
  bool ok = false;
  MotionSpot worst;  // where the value lies that passes a limit furthest, or is next to one
};

/// What is asked of a kind of motion, held against its measures.
std::vector<BoundCheck> CheckBounds(const MotionMeasures& measures, MotionKind kind);

/// A check in words: name, value, bound, where. One line without its end. Times in ticks.
std::string Describe(const BoundCheck& check);
/// The limits in words, as "at most 1 % leg" or "35 to 50 deg".
std::string DescribeLimits(const MotionBound& bound);

}  // namespace strider
