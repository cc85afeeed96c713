#include "strider/footsteps/flights.h"

#include <new>

#include "strider/footsteps/body_height.h"

namespace strider {
namespace {

constexpr float kFrameTicksSquared = 25600;  // 160 squared
// A flight that would have to start (end) against its way starts (ends) as good as at rest.
constexpr float kLeastSpeed = 0.000625f;

bool IsAirborne(const VerticalKey& key) {
  return key.legState[0] >= kLift && key.legState[1] >= kLift;
}

void MarkBorder(VerticalKey& key, int mark) { key.bordersFlight[0] = key.bordersFlight[1] = mark; }

}  // namespace

float GravityPerTick(const MotionCore& core) { return core.body.gravAccel / kFrameTicksSquared; }

FlightSpeeds SpeedsOfFlight(TimeValue ticks, float rise, float gravity) {
  const float t = static_cast<float>(ticks);
  const float down = 0.5f * t - rise / (t * gravity);  // ticks from the top to the landing
  FlightSpeeds speeds{(t - down) * gravity, down * gravity};
  // A gravity next to nothing, or past all measure, has no top that can be told: a straight way.
  if (!IsFinite(speeds.takeoff) || !IsFinite(speeds.landing)) speeds = {rise / t, -rise / t};
  if (speeds.takeoff < 0) speeds.takeoff = kLeastSpeed;
  if (speeds.landing < 0) speeds.landing = kLeastSpeed;
  return speeds;
}

int BuildFlights(MotionCore& core) {
  BodyRecord& body = core.body;
  KeyTable<VerticalKey>& keys = body.vertical;
  const float gravity = GravityPerTick(core);
  body.flights.clear();
  bool grounded = true;
  FlightPeriod flight;
  TimeValue landed = FirstFootstepTime(core.footsteps);
  for (int i = 0; i < keys.track.numKeys; ++i) {
    VerticalKey& key = keys.keys[static_cast<std::size_t>(i)];
    const TimeValue t = keys.TimeOf(i);
    if (IsAirborne(key)) {
      MarkBorder(key, 1);
      if (!grounded) continue;
      grounded = false;
      flight = {};
      flight.takeoffTime = t;
      flight.takeoffKey = i;
      flight.gapBefore = Later(t, -std::int64_t{landed});
      continue;
    }
    MarkBorder(key, 0);
    if (grounded) continue;
    grounded = true;
    MarkBorder(key, 1);
    flight.landKey = i;
    flight.landTime = landed = t;
    flight.duration = Later(t, -std::int64_t{flight.takeoffTime});
    const float rise = key.ballisticHeight - keys[flight.takeoffKey].ballisticHeight;
    const FlightSpeeds speeds = SpeedsOfFlight(flight.duration, rise, gravity);
    flight.takeoffSpeed = speeds.takeoff;
    flight.landSpeed = speeds.landing;
    try {
      body.flights.push_back(flight);
    } catch (const std::bad_alloc&) {
      body.flights.clear();
      return kRefused;
    }
  }
  return kDone;
}

std::vector<FlightPeriod> FlightsShown(const MotionCore& core) {
  const FootstepTrack& track = core.footsteps;
  std::vector<FlightPeriod> shown = core.body.flights;
  std::erase_if(shown, [&track](const FlightPeriod& flight) {
    return flight.takeoffTime < FirstFootstepTime(track) ||
           InFreeForm(track, Later(flight.takeoffTime, flight.duration / 2));
  });
  return shown;
}

void FollowVerticalKey(MotionCore& core, TimeValue t) {
  if (core.freeForm || core.footsteps.numFootsteps == 0) return;
  const int index = KeyAt(core.body.vertical.track, t);
  if (index >= 0) {
    RefreshHeights(core, index, index, HeightMode::kReadFractions, GroundLevel::kTrue);
  }
  (void)BuildFlights(core);
}

}  // namespace strider
