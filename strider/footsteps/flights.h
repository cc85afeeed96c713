// The periods in the air, found on the vertical keys, and the speeds that carry the body from
// takeoff to landing.
#pragma once

#include <vector>

#include "strider/core/motion_core.h"

namespace strider {

/// Gravity as flights use it: units per tick squared, at 160 ticks a frame whatever the scene's.
float GravityPerTick(const MotionCore& core);

/// Rebuilds the flights and the keys' marks of bordering one. A vertical key with both feet at lift
/// or move is airborne; a period that no ground key closes is none. kRefused, no flights, if
/// memory ran out.
[[nodiscard]] int BuildFlights(MotionCore& core);

/// The flights that show: where a motion is free-form, before its first footstep too, its keys
/// alone say how it moves. Passes std::bad_alloc on.
std::vector<FlightPeriod> FlightsShown(const MotionCore& core);

/// Upward speed at takeoff and downward speed at landing (units per tick) of a flight of `ticks`
/// that ends `rise` higher than it starts, under `gravity` (units per tick squared).
struct FlightSpeeds {
  float takeoff = 0, landing = 0;
};
FlightSpeeds SpeedsOfFlight(TimeValue ticks, float rise, float gravity);

/// In a motion of footsteps a vertical key came, changed or went at `t`: the other forms of its
/// height follow, and the flights between such keys. Without memory the body keeps to its keys.
void FollowVerticalKey(MotionCore& core, TimeValue t);

}  // namespace strider
