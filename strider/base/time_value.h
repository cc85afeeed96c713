// Time in ticks. All key times, spans and requests are ticks; frames appear only where a person
// reads or writes them.
#pragma once

#include <cstdint>
#include <limits>

namespace strider {

using TimeValue = std::int32_t;

inline constexpr TimeValue kTicksPerSecond = 4800;
/// Ticks of a frame at 30 frames a second. The laws of motion (gravity, speeds) are written for
/// this frame whatever the scene's own rate is.
inline constexpr TimeValue kDynamicsFrame = 160;
inline constexpr TimeValue kTimeMin = std::numeric_limits<TimeValue>::min();
inline constexpr TimeValue kTimeMax = std::numeric_limits<TimeValue>::max();

/// A closed span of time, both ends in ticks. Empty when end < start.
struct Interval {
  TimeValue start = kTimeMin;
  TimeValue end = kTimeMax;

  bool Contains(TimeValue t) const { return start <= t && t <= end; }
  static constexpr Interval Forever() { return {kTimeMin, kTimeMax}; }
  static constexpr Interval Never() { return {0, -1}; }
  static constexpr Interval Instant(TimeValue t) { return {t, t}; }
};

/// A time moved by some ticks, held at the ends of the range instead of wrapping.
constexpr TimeValue Later(TimeValue t, std::int64_t ticks) {
  const std::int64_t sum = std::int64_t{t} + ticks;
  if (sum > kTimeMax) return kTimeMax;
  if (sum < kTimeMin) return kTimeMin;
  return static_cast<TimeValue>(sum);
}

/// The nearest whole frame: `t` plus half a frame, less its remainder by the frame. The remainder
/// keeps the sign of the sum, so times before 0 round towards it; saved motions rely on that.
constexpr TimeValue RoundToFrame(TimeValue t, TimeValue ticksPerFrame) {
  if (ticksPerFrame <= 0) return t;
  const std::int64_t sum = std::int64_t{t} + ticksPerFrame / 2;
  return Later(0, sum - sum % ticksPerFrame);
}

}  // namespace strider
