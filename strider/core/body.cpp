#include "strider/core/body.h"

#include <algorithm>
#include <cmath>

#include "strider/core/chain.h"
#include "strider/core/track_reader.h"

namespace strider {
namespace {

// Share of the spine's centre that balance moves the hips by.
constexpr float kBalanceShare = 0.7f;
// 160 squared: gravity per frame squared to gravity per tick squared, whatever the frame rate.
constexpr float kFrameTicksSquared = 25600;
// Handle lengths are sought between these, until a frame's travel is met within the tolerance.
constexpr double kLeastHandle = 0, kMostHandle = 20;
constexpr float kTravelTolerance = 0.2f;

const FootstepTrack& Footsteps(const MotionCore& core) { return core.footsteps; }

bool InFreePeriod(const MotionCore& core, TimeValue t) {
  return core.freeForm || InFreeForm(Footsteps(core), t);
}

/// Index of the flight that claims `t` or the stance before it: the first that has not landed.
int FirstNotLanded(const std::vector<FlightPeriod>& flights, TimeValue t) {
  const auto found =
      std::lower_bound(flights.begin(), flights.end(), t,
                       [](const FlightPeriod& f, TimeValue time) { return f.landTime < time; });
  return static_cast<int>(found - flights.begin());
}

/// Where the body is on the ground at `t`, before balance: x and the third axis of its keys.
Point3 KeyedGroundPosition(BodyRecord& body, TimeValue t) {
  const TrackReader<HorizontalKey> reader(body.horizontal, t);
  if (!body.horizontal.track.curveMode) {
    return reader.Tcb([](const HorizontalKey& key) { return key.position; });
  }
  Point3 position = reader.Left().position;
  position.x = reader.Scalar(0, 0, [](const HorizontalKey& key) { return key.position.x; });
  position.z = reader.Scalar(0, 1, [](const HorizontalKey& key) { return key.position.z; });
  return position;
}

}  // namespace

// --- The ground path and the heading -----------------------------------------------------------

namespace {

void EvaluateTurn(BodyRecord& body, TimeValue t) {
  if (body.turn.Empty()) {
    body.bodyRotation = body.figureRotation;
    return;
  }
  const TrackReader<TurnKey> reader(body.turn, t);
  body.bodyRotation = reader.RotationOrEuler(
      0, 0, [](const TurnKey& key) -> const Quat& { return key.rotation; },
      [](const TurnKey& key) -> const Point3& { return key.euler; });
}

void EvaluateGroundPosition(BodyRecord& body, TimeValue t) {
  Point3 ground = body.figurePosition;
  body.velocity = {};
  if (!body.horizontal.Empty()) {
    ground = KeyedGroundPosition(body, t);
    if (std::int64_t{t} - body.horizontal.TimeOf(0) > kDynamicsFrame) {
      body.velocity = ground - KeyedGroundPosition(body, t - kDynamicsFrame);
      body.velocity.y = 0;
    }
  }
  // Only keys whose values overflow between them can leave the finite; the stance stands in.
  if (!IsFinite(ground)) ground = body.figurePosition;
  if (!IsFinite(body.velocity)) body.velocity = {};
  body.bodyPosition.x = ground.x;
  body.bodyPosition.z = ground.z;
}

void EvaluateBalance(MotionCore& core, TimeValue t) {
  BodyRecord& body = core.body;
  body.balance = 0;
  body.balanceOffset = {};
  const KeyTable<HorizontalKey>& keys = body.horizontal;
  if (keys.Empty()) return;
  const int left = FindKeyNear(keys.track, t, body.horizontal.near);
  const int right = std::min(left + 1, keys.track.numKeys - 1);
  body.balance = keys[left].balanceFactor;
  const TimeValue from = keys.TimeOf(left), to = keys.TimeOf(right);
  if (right > left && t > from) {
    // The plain share of time, without the keys' own ease.
    const float u =
        static_cast<float>(std::int64_t{t} - from) / static_cast<float>(std::int64_t{to} - from);
    body.balance += CosineEase(u) * (keys[right].balanceFactor - body.balance);
  }
  const Point3 centre = SpineCentre(core, body.bodyRotation * core.pelvis.pose);
  body.balanceOffset =
      (body.balance * kBalanceShare) * centre + Rotate(body.bodyRotation, body.fixedBalanceOffset);
  if (!IsFinite(body.balanceOffset)) body.balanceOffset = {};
}

}  // namespace

void EvaluateHorizontalAndTurn(MotionCore& core, TimeValue t) {
  BodyRecord& body = core.body;
  EvaluateTurn(body, t);
  EvaluateGroundPosition(body, t);
  if (core.previousLayer == nullptr) EvaluateBalance(core, t);
  body.bodyPosition.x -= body.balanceOffset.x;
  body.bodyPosition.z -= body.balanceOffset.z;
  // Two finite numbers can still leave the range of floats together.
  if (!IsFinite(body.bodyPosition.x) || !IsFinite(body.bodyPosition.z)) {
    body.bodyPosition.x = body.figurePosition.x;
    body.bodyPosition.z = body.figurePosition.z;
  }
  body.supportState = BodySupportState(core, t);
}

int BodySupportState(const MotionCore& core, TimeValue t) {
  const KeyTable<HorizontalKey>& keys = core.body.horizontal;
  if (core.body.freePeriod) return -1;
  const int k = FindKey(keys.track, t);
  if (k < 0) return -1;
  const std::int64_t age = std::int64_t{t} - keys.TimeOf(k);
  switch (keys[k].supportState) {
    case -1: return -1;
    case 0: return age < core.ticksPerFrame ? 0 : 1;
    case 1: return 1;
    case 2: return age == 0 ? 2 : 3;
    default: return 3;
  }
}

Point3 BodyAngles(const MotionCore& core) { return QuatToEuler(core.body.bodyRotation, 0); }

// --- The height --------------------------------------------------------------------------------

void EvaluateFreePeriod(MotionCore& core, TimeValue t) {
  core.body.freePeriod = InFreePeriod(core, t);
}

void EvaluateVertical(MotionCore& core, TimeValue t) {
  BodyRecord& body = core.body;
  KeyTable<VerticalKey>& keys = body.vertical;
  if (keys.Empty()) {
    body.keyedHeight = body.ballisticHeight = body.figurePosition.y;
    return;
  }
  const TrackReader<VerticalKey> reader(keys, t);
  const VerticalKey& left = reader.Left();
  const VerticalKey& right = reader.Right();
  body.ballisticTension = left.ballisticTension;  // a step: it is a key's own, not a path's
  const float f = CosineEase(reader.U());
  body.dynamicsBlend = left.dynamicsBlend + f * (right.dynamicsBlend - left.dynamicsBlend);
  for (int side = 0; side < 2; ++side) {
    body.lastLegStates[side] = body.legStates[side];
    body.legStates[side] = kMove;
    if (body.freePeriod || core.leg[side].table.track.numKeys < 2) continue;
    body.footReach[side] =
        left.footReach[side] + f * (right.footReach[side] - left.footReach[side]);
    body.legStates[side] = core.leg[side].keyState;
    body.bordersFlight[side] = left.bordersFlight[side];
  }
  body.keyedHeight = reader.Scalar(0, 0, [](const VerticalKey& key) { return key.height; });
  body.ballisticHeight =
      reader.Scalar(0, 1, [](const VerticalKey& key) { return key.ballisticHeight; });
}

namespace {

/// Cubic Bezier of heights; slopes lead away from both ends against the curve's direction.
float HeightCurve(float u, float p0, float p1, float d0, float d1, float k0, float k1) {
  return Bezier(p0, p0 - d0 * k0, p1 - d1 * k1, p1, u);
}

struct CurveEnds {
  float from = 0, to = 0;            // heights
  float slopeFrom = 0, slopeTo = 0;  // travel a frame
};

/// The handle at one end with which the curve's frame next to that end travels as its slope says.
/// The other handle counts as none while this one is sought. The middle is kept as a float.
float FitHandle(const CurveEnds& c, float step, bool atStart) {
  double low = kLeastHandle, high = kMostHandle;
  float handle = static_cast<float>((low + high) * 0.5);
  const float wanted = atStart ? c.slopeFrom : c.slopeTo;
  while (true) {
    const float travel = atStart
                             ? c.from - HeightCurve(step, c.from, c.to, c.slopeFrom, 0, handle, 0)
                             : c.to - HeightCurve(1 - step, c.from, c.to, 0, c.slopeTo, 0, handle);
    const float miss = travel - wanted;
    if (std::fabs(miss) < kTravelTolerance) break;
    if (miss < 0) {
      low = handle;
    } else {
      high = handle;
    }
    const float middle = static_cast<float>((low + high) * 0.5);
    if (middle == static_cast<float>(low) || middle == static_cast<float>(high)) break;
    handle = middle;
  }
  return handle;
}

/// Reads of one flight and its neighbours on the vertical track.
struct FlightView {
  const MotionCore& core;
  const FlightPeriod& flight;
  const FlightPeriod* previous;
  const FlightPeriod* next;

  const VerticalKey& Key(int index) const {
    const int last = core.body.vertical.track.numKeys - 1;
    return core.body.vertical[std::clamp(index, 0, last)];
  }
  std::int64_t TimeOf(int index) const {
    const int last = core.body.vertical.track.numKeys - 1;
    return core.body.vertical.TimeOf(std::clamp(index, 0, last));
  }
  float TakeoffHeight() const { return Key(flight.takeoffKey).ballisticHeight; }
  float LandHeight() const { return Key(flight.landKey).ballisticHeight; }

  /// Ticks of the curve before takeoff; half the stance when that starts with a landing.
  std::int64_t Lead() const {
    if (previous && flight.takeoffKey - 1 == previous->landKey) return flight.gapBefore / 2;
    return TimeOf(flight.takeoffKey) - TimeOf(flight.takeoffKey - 1);
  }
  std::int64_t Trail() const {
    if (next && flight.landKey + 1 == next->takeoffKey) return next->gapBefore / 2;
    return TimeOf(flight.landKey + 1) - TimeOf(flight.landKey);
  }
  bool JoinsNext() const { return next && flight.landKey + 1 == next->takeoffKey; }
};

float PerFrame(float perTick) { return perTick * static_cast<float>(kDynamicsFrame); }

float RiseToTakeoff(const FlightView& v, TimeValue t, std::int64_t lead) {
  const CurveEnds ends{v.Key(v.flight.takeoffKey - 1).ballisticHeight, v.TakeoffHeight(), 0,
                       PerFrame(v.flight.takeoffSpeed)};
  const float span = static_cast<float>(lead);
  const float fitted = FitHandle(ends, static_cast<float>(kDynamicsFrame) / span, false);
  const float handle = fitted * (1 - v.Key(v.flight.takeoffKey).ballisticTension);
  const float u = static_cast<float>(t - (v.flight.takeoffTime - lead)) / span;
  return HeightCurve(u, ends.from, ends.to, 0, ends.slopeTo, 0, handle);
}

float SinkAfterLanding(const FlightView& v, TimeValue t, std::int64_t trail) {
  const CurveEnds ends{v.LandHeight(), v.Key(v.flight.landKey + 1).ballisticHeight,
                       PerFrame(v.flight.landSpeed), 0};
  const float span = static_cast<float>(trail);
  const float fitted = FitHandle(ends, static_cast<float>(kDynamicsFrame) / span, true);
  const float handle = fitted * (1 - v.Key(v.flight.landKey).ballisticTension);
  const float u = static_cast<float>(std::int64_t{t} - v.flight.landTime) / span;
  return HeightCurve(u, ends.from, ends.to, ends.slopeFrom, 0, handle, 0);
}

float StanceBetweenFlights(const FlightView& v, TimeValue t) {
  const CurveEnds ends{v.LandHeight(), v.Key(v.next->takeoffKey).ballisticHeight,
                       PerFrame(v.flight.landSpeed), PerFrame(v.next->takeoffSpeed)};
  const float span = static_cast<float>(std::int64_t{v.next->takeoffTime} - v.flight.landTime);
  const float step = static_cast<float>(kDynamicsFrame) / span;
  const float start = FitHandle(ends, step, true) * (1 - v.Key(v.flight.landKey).ballisticTension);
  const float end = FitHandle(ends, step, false) * (1 - v.Key(v.next->takeoffKey).ballisticTension);
  const float u = static_cast<float>(std::int64_t{t} - v.flight.landTime) / span;
  return HeightCurve(u, ends.from, ends.to, ends.slopeFrom, ends.slopeTo, start, end);
}

FlightHeight InFlight(const FlightView& v, TimeValue t, float keyed) {
  if (t == v.flight.landTime) return {v.LandHeight(), 1, 3};
  const float g = v.core.body.gravAccel / kFrameTicksSquared;
  const auto arc = [&](float ticks) {
    return v.flight.takeoffSpeed * ticks + v.TakeoffHeight() - 0.5f * g * ticks * ticks;
  };
  const float ticks = static_cast<float>(std::int64_t{t} - v.flight.takeoffTime);
  const float whole = static_cast<float>(std::int64_t{v.flight.landTime} - v.flight.takeoffTime);
  float height = arc(ticks);
  // An arc that comes down more than a frame's fall beside its landing is led over to the keys.
  const float tolerance = 0.5f * g * kFrameTicksSquared;
  if (std::fabs(arc(whole) - v.LandHeight()) > tolerance) {
    const float f = ticks / whole;
    height = (1 - f) * height + f * keyed;
  }
  return {height, 1, 1};
}

bool FreeAt(const MotionCore& core, std::int64_t t) { return InFreePeriod(core, Later(0, t)); }

}  // namespace

FlightHeight BallisticHeight(const MotionCore& core, TimeValue t, float keyed) {
  const std::vector<FlightPeriod>& flights = core.body.flights;
  if (t >= core.endTime) return {keyed, 1, 2};
  if (flights.empty() || core.body.vertical.Empty()) return {keyed, 0, 2};
  const std::int64_t frame = core.ticksPerFrame;
  const std::int64_t shortSpan = 2 * frame;
  const int count = static_cast<int>(flights.size());
  const auto viewOf = [&](int i) {
    const auto at = static_cast<std::size_t>(i);
    return FlightView{core, flights[at], i > 0 ? &flights[at - 1] : nullptr,
                      i + 1 < count ? &flights[at + 1] : nullptr};
  };

  // After the landing of the flight before: its stance, or the curve that sinks from it.
  const int upcoming = FirstNotLanded(flights, t);
  if (upcoming > 0) {
    const FlightView v = viewOf(upcoming - 1);
    const std::int64_t landed = v.flight.landTime;
    if (v.JoinsNext() && t < v.next->takeoffTime) {
      if (FreeAt(core, landed - frame) || FreeAt(core, v.next->takeoffTime + frame)) {
        return {keyed, 1, 2};
      }
      return {StanceBetweenFlights(v, t), 1, 2};
    }
    const std::int64_t trail = v.Trail();
    if (!v.JoinsNext() && t <= landed + trail) {
      if (trail <= shortSpan || FreeAt(core, landed - frame)) return {keyed, 1, 2};
      return {SinkAfterLanding(v, t, trail), 1, 2};
    }
  }
  if (upcoming >= count) return {keyed, 0, 2};
  const FlightView v = viewOf(upcoming);
  if (t == v.flight.takeoffTime) return {v.TakeoffHeight(), 1, 0};
  if (t > v.flight.takeoffTime) return InFlight(v, t, keyed);
  const std::int64_t lead = v.Lead();
  if (t >= v.flight.takeoffTime - lead && lead > shortSpan) {
    if (FreeAt(core, v.flight.takeoffTime + frame)) return {keyed, 1, 2};
    return {RiseToTakeoff(v, t, lead), 1, 2};
  }
  return {keyed, 0, 2};
}

float CombinedHeight(const MotionCore& core, TimeValue t) {
  const BodyRecord& body = core.body;
  const bool footsteps = core.footsteps.numFootsteps > 0;
  float height = body.keyedHeight;
  if (footsteps && !body.freePeriod && !body.vertical.Empty()) {
    const FlightHeight flight = BallisticHeight(core, t, body.ballisticHeight);
    const double keyed = height;
    const double computed =
        (static_cast<double>(flight.height) - body.balanceOffset.y) * flight.weight +
        (1.0 - flight.weight) * keyed;
    const double blend = body.dynamicsBlend;
    height = static_cast<float>(blend < 1 ? (1 - blend) * keyed + blend * computed : computed);
  }
  return IsFinite(height) ? height : body.figurePosition.y;
}

}  // namespace strider
