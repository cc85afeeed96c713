#include "strider/core/body.h"

#include <algorithm>

#include "strider/core/chain.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::AddFootsteps;
using test::AngleBetween;
using test::Distance;
using test::Evaluate;
using test::NominalFigure;
using test::Random;

constexpr TimeValue kFrame = kDynamicsFrame;

void KeyGround(MotionCore& core, TimeValue t, const Point3& place, float balance = 0,
               int support = 3) {
  HorizontalKey key;
  key.position = place;
  key.balanceFactor = balance;
  key.supportState = support;
  ASSERT_EQ(PutKey(core, t, key), KeyRefusal::kNone);
}

// --- The ground path -----------------------------------------------------------------------------

TEST(BodyGround, RunsFromKeyToKeyAndStandsOutsideThem) {
  MotionCore core = NominalFigure();
  KeyGround(core, 0, {10, 0, -4});
  KeyGround(core, 10 * kFrame, {50, 0, 16});
  TurnKey turn;
  ASSERT_EQ(PutKey(core, 0, turn), KeyRefusal::kNone);
  turn.rotation = AboutY(1.2f);
  ASSERT_EQ(PutKey(core, 10 * kFrame, turn), KeyRefusal::kNone);
  // Two keys of neutral shape: an even path.
  const struct {
    TimeValue t;
    float share;
  } rows[] = {{kTimeMin, 0}, {0, 0}, {4 * kFrame, 0.4f}, {10 * kFrame, 1}, {kTimeMax, 1}};
  for (bool euler : {false, true}) {
    ASSERT_TRUE(!euler || SetEulerActive(core, kTurn, 2));
    for (const auto& row : rows) {
      SCOPED_TRACE(row.t);
      Evaluate(core, row.t);
      EXPECT_NEAR(core.body.bodyPosition.x, 10 + 40 * row.share, 1e-3);
      EXPECT_NEAR(core.body.bodyPosition.z, -4 + 20 * row.share, 1e-3);
      EXPECT_LT(AngleBetween(core.body.bodyRotation, AboutY(1.2f * row.share)), 2e-3f);
    }
  }
}

TEST(BodyGround, FollowsItsTangentsInCurveModeEachAxisByItself) {
  MotionCore core = NominalFigure();
  KeyGround(core, 0, {0, 0, 0});
  KeyGround(core, 1600, {10, 0, 20});
  KeyTrack& track = core.body.horizontal.track;
  ASSERT_EQ(SetCurveMode(track, 1), kDone);
  // Handles a third of the span long give even time; x leaves and arrives flat, z runs straight.
  KeyTangent tangent;
  for (int i = 0; i < 3; ++i) {
    tangent.out[i][0] = 1600 / 3.0f;
    tangent.in[i][0] = -1600 / 3.0f;
  }
  tangent.out[1][1] = 20 / 3.0f;
  tangent.in[1][1] = -20 / 3.0f;
  ASSERT_EQ(SetTangent(track, 0, 0, tangent), kDone);
  ASSERT_EQ(SetTangent(track, 1, 0, tangent), kDone);
  Evaluate(core, 400);
  EXPECT_NEAR(core.body.bodyPosition.x, 10 * (3 * 0.0625f - 2 * 0.015625f), 1e-2);
  EXPECT_NEAR(core.body.bodyPosition.z, 5, 1e-2);
}

TEST(BodyVelocity, IsTheGroundTravelledInTheLast160Ticks) {
  MotionCore core = NominalFigure();
  core.ticksPerFrame = 80;  // the number stays, whatever the frame
  KeyGround(core, 1000, {0, 5, 0});
  KeyGround(core, 1000 + 20 * 160, {40, 9, -60});
  const struct {
    TimeValue t;
    Point3 velocity;
  } rows[] = {{0, {}},
              {1000, {}},
              {1160, {}},  // within 160 of the first key
              {1161, {2, 0, -3}},
              {4200, {2, 0, -3}},
              {4280, {1, 0, -1.5f}},
              {kTimeMin, {}},
              {kTimeMax, {}}};
  for (const auto& row : rows) {
    Evaluate(core, row.t);
    EXPECT_LT(Distance(core.body.velocity, row.velocity), 0.01f) << row.t;
  }
}

TEST(BodyBalance, MovesTheHipsBackUnderTheSpineAsWorkedOutByHand) {
  MotionCore core = NominalFigure();
  core.body.fixedBalanceOffset = {3, 2, 1};
  Evaluate(core, 0);
  EXPECT_EQ(core.body.balance, 0);
  EXPECT_EQ(core.body.balanceOffset, Point3{}) << "no keys, no balance";

  KeyGround(core, 0, {0, 0, 0}, 0.25f);
  TurnKey lean;
  lean.rotation = AboutZ(-0.5f);  // ahead
  ASSERT_EQ(PutKey(core, 0, lean), KeyRefusal::kNone);
  // The spine's middle stands 23 + 52 up the leaning body.
  const double s = 0.47942553860420301, c = 0.87758256189037271;
  const auto offset = [&](double balance) {
    return Point3{static_cast<float>(balance * 0.7 * 75 * s + 3 * c + 2 * s),
                  static_cast<float>(balance * 0.7 * 75 * c - 3 * s + 2 * c), 1};
  };
  Evaluate(core, 700);
  EXPECT_EQ(core.body.balance, 0.25f) << "one key: its own";
  EXPECT_LT(Distance(core.body.balanceOffset, offset(0.25)), 1e-3f);
  EXPECT_LT(Distance(core.body.bodyPosition, {-offset(0.25).x, core.body.figurePosition.y, -1}),
            1e-3f);

  // An eased key changes the path, but balance goes by the plain share of time.
  KeyGround(core, 1600, {0, 0, 0}, 1);
  ASSERT_EQ(SetTcb(core.body.horizontal.track, 0, 0, {0, 40, 25, 25, 25}), kDone);
  const struct {
    TimeValue t;
    double balance;
  } rows[] = {{-50, 0.25},  {0, 0.25}, {400, 0.25 + 0.75 * 0.14644660940672624},
              {800, 0.625}, {1600, 1}, {5000, 1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.t);
    Evaluate(core, row.t);
    EXPECT_NEAR(core.body.balance, row.balance, 1e-5);
    EXPECT_LT(Distance(core.body.balanceOffset, offset(row.balance)), 1e-3f);
  }

  // A bent spine carries its centre with it: two links of 26 straight up, two straight ahead.
  lean.rotation = {};
  ASSERT_EQ(PutKey(core, 0, lean), KeyRefusal::kNone);
  ChainKey bent;
  bent.rotation[2] = AboutZ(-kHalfPi);
  ASSERT_EQ(PutKey(core, kSpine, 0, bent), KeyRefusal::kNone);
  Evaluate(core, 5000);
  EXPECT_LT(Distance(core.body.balanceOffset, {0.7f * 13 + 3, 0.7f * (23 + 26 + 13) + 2, 1}),
            0.01f);
}

TEST(BodySupportState, FollowsTheKeysOfTheGroundPath) {
  const struct {
    int keyed;
    TimeValue age;
    int state;
  } rows[] = {{0, 0, 0}, {0, 159, 0}, {0, 160, 1}, {1, 500, 1},
              {2, 0, 2}, {2, 1, 3},   {9, 0, 3},   {-1, 500, -1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.keyed << " after " << row.age);
    MotionCore core = NominalFigure();
    AddFootsteps(core, 0, 100 * kFrame);
    KeyGround(core, 1000, {}, 1, row.keyed);
    KeyGround(core, 2000, {}, 1, 3);
    Evaluate(core, 1000 + row.age);
    EXPECT_EQ(core.body.supportState, row.state);
    SetFreeForm(core, true);
    Evaluate(core, 1000 + row.age);
    EXPECT_EQ(core.body.supportState, -1) << "free-form";
  }
  MotionCore core = NominalFigure();
  AddFootsteps(core, 0, 100 * kFrame);
  Evaluate(core, 5);
  EXPECT_EQ(core.body.supportState, -1) << "no keys";
  EXPECT_EQ(core.body.bodyPosition, core.body.figurePosition);
}

// --- Heights -------------------------------------------------------------------------------------

/// Vertical keys at times, each with its own keyed height, the ballistic height 100 above it.
void KeyHeights(MotionCore& core, const std::vector<std::pair<TimeValue, float>>& heights,
                float tension = 0) {
  for (const auto& [t, height] : heights) {
    VerticalKey key;
    key.height = height;
    key.ballisticHeight = height + 100;
    key.ballisticTension = tension;
    key.dynamicsBlend = 1;
    ASSERT_EQ(PutKey(core, t, key), KeyRefusal::kNone);
  }
}

/// A flight between two vertical keys that lands where the landing key is.
void AddFlight(MotionCore& core, int takeoffKey) {
  const KeyTable<VerticalKey>& keys = core.body.vertical;
  FlightPeriod flight;
  flight.takeoffKey = takeoffKey;
  flight.landKey = takeoffKey + 1;
  flight.takeoffTime = keys.TimeOf(takeoffKey);
  flight.landTime = keys.TimeOf(takeoffKey + 1);
  flight.duration = flight.landTime - flight.takeoffTime;
  if (!core.body.flights.empty()) {
    flight.gapBefore = flight.takeoffTime - core.body.flights.back().landTime;
  }
  const double g = core.body.gravAccel / 25600.0, t = flight.duration;
  const double rise = keys[takeoffKey + 1].ballisticHeight - keys[takeoffKey].ballisticHeight;
  flight.takeoffSpeed = static_cast<float>(0.5 * t * g + rise / t);
  flight.landSpeed = static_cast<float>(0.5 * t * g - rise / t);
  core.body.flights.push_back(flight);
}

/// A flight from key 1 to key 2 of five; long curves before and after it.
MotionCore OneFlight() {
  MotionCore core = NominalFigure();
  AddFootsteps(core, 0, 100000);
  KeyHeights(core, {{0, 210}, {1600, 214}, {3200, 211}, {4800, 205}, {6400, 208}});
  AddFlight(core, 1);
  return core;
}

TEST(BallisticHeight, FliesAParabolaThatTheCurvesBesideItMeetAtItsSpeeds) {
  const MotionCore core = OneFlight();
  const FlightPeriod& flight = core.body.flights[0];
  const double g = core.body.gravAccel / 25600.0;
  // Half way the arc stands an eighth of g T^2 over the middle of its ends.
  const struct {
    TimeValue t;
    double height;
    int state;
    float weight;
  } rows[] = {{-1, -1000, 2, 0},   {0, 310, 2, 1},
              {1600, 314, 0, 1},   {2400, 312.5 + g * 1600 * 1600 / 8, 1, 1},
              {3200, 311, 3, 1},   {4800, 305, 2, 1},
              {4801, -1000, 2, 0}, {100000, -1000, 2, 1}};  // past the end the keys rule
  for (const auto& row : rows) {
    SCOPED_TRACE(row.t);
    const FlightHeight found = BallisticHeight(core, row.t, -1000);
    EXPECT_NEAR(found.height, row.height, 1e-2);
    EXPECT_EQ(found.state, row.state);
    EXPECT_EQ(found.weight, row.weight);
  }
  const auto at = [&](TimeValue t) { return BallisticHeight(core, t, -1000).height; };
  // The frame next to the flight travels as the flight does, within the fit's tolerance.
  EXPECT_NEAR(314 - at(1600 - kFrame), flight.takeoffSpeed * kFrame, 0.2);
  EXPECT_NEAR(311 - at(3200 + kFrame), flight.landSpeed * kFrame, 0.2);
  EXPECT_LT(at(3200 + 500), 305) << "a body that comes from the air sinks before it rises again";
}

// The search against a plain walk through the list, written after the rules and not after the code.
class PlainScan {
 public:
  PlainScan(const MotionCore& core, TimeValue t, float keyed) : core_(core), t_(t), keyed_(keyed) {}

  FlightHeight Find() const {
    const auto& flights = core_.body.flights;
    if (t_ >= core_.endTime) return {keyed_, 1, 2};
    const std::int64_t t = t_, frame = core_.ticksPerFrame;
    for (std::size_t i = 0; i < flights.size(); ++i) {
      const FlightPeriod& f = flights[i];
      const bool first = i == 0, last = i + 1 == flights.size();
      std::int64_t lead = Time(f.takeoffKey) - Time(f.takeoffKey - 1);
      if (!first && f.takeoffKey - 1 == flights[i - 1].landKey) lead = f.gapBefore / 2;
      const bool joined = !last && f.landKey + 1 == flights[i + 1].takeoffKey;
      const std::int64_t trail =
          joined ? flights[i + 1].gapBefore / 2 : Time(f.landKey + 1) - Time(f.landKey);
      if (joined && t > f.landTime && t < flights[i + 1].takeoffTime) {
        const FlightPeriod& n = flights[i + 1];
        if (Free(f.landTime - frame) || Free(n.takeoffTime + frame)) return {keyed_, 1, 2};
        const double span = static_cast<double>(n.takeoffTime) - f.landTime;
        return {Curve((t - f.landTime) / span, H(f.landKey), H(n.takeoffKey), f.landSpeed * 160,
                      n.takeoffSpeed * 160, span, f.landKey, n.takeoffKey),
                1, 2};
      }
      if (t >= f.takeoffTime - lead && t < f.takeoffTime && lead > 2 * frame) {
        if (Free(f.takeoffTime + frame)) return {keyed_, 1, 2};
        const double span = static_cast<double>(lead);
        return {Curve((t - (f.takeoffTime - lead)) / span, H(f.takeoffKey - 1), H(f.takeoffKey), 0,
                      f.takeoffSpeed * 160, span, -1, f.takeoffKey),
                1, 2};
      }
      if (t == f.takeoffTime) return {static_cast<float>(H(f.takeoffKey)), 1, 0};
      if (t == f.landTime) return {static_cast<float>(H(f.landKey)), 1, 3};
      if (t > f.takeoffTime && t < f.landTime) return {Arc(f), 1, 1};
      if (t > f.landTime && t <= f.landTime + trail) {
        if (trail <= 2 * frame || Free(f.landTime - frame)) return {keyed_, 1, 2};
        const double span = static_cast<double>(trail);
        return {Curve((t - f.landTime) / span, H(f.landKey), H(f.landKey + 1), f.landSpeed * 160, 0,
                      span, f.landKey, -1),
                1, 2};
      }
    }
    return {keyed_, 0, 2};
  }

 private:
  int Held(int key) const {
    const int last = core_.body.vertical.track.numKeys - 1;
    return key < 0 ? 0 : key > last ? last : key;
  }
  std::int64_t Time(int key) const { return core_.body.vertical.TimeOf(Held(key)); }
  double H(int key) const { return core_.body.vertical[Held(key)].ballisticHeight; }
  bool Free(std::int64_t t) const { return InFreeForm(core_.footsteps, static_cast<TimeValue>(t)); }
  float Arc(const FlightPeriod& f) const {
    const double g = core_.body.gravAccel / 25600.0, tau = t_ - f.takeoffTime, all = f.duration;
    double h = f.takeoffSpeed * tau + H(f.takeoffKey) - 0.5 * g * tau * tau;
    const double end = f.takeoffSpeed * all + H(f.takeoffKey) - 0.5 * g * all * all;
    if (std::fabs(end - H(f.landKey)) > 0.5 * g * 25600) h += (keyed_ - h) * tau / all;
    return static_cast<float>(h);
  }
  static double Cubic(double u, double a, double b, double c, double d) {
    const double v = 1 - u;
    return v * v * v * a + 3 * v * v * u * b + 3 * v * u * u * c + u * u * u * d;
  }
  /// A handle whose end's frame travels as its slope says; negative keys have none.
  double Handle(double p0, double p1, double slope, double step, bool start, int key) const {
    if (key < 0) return 0;
    double low = 0, high = 20, k = 10;
    for (int i = 0; i < 60; ++i, k = (low + high) / 2) {
      const double travel = start ? p0 - Cubic(step, p0, p0 - slope * k, p1, p1)
                                  : p1 - Cubic(1 - step, p0, p0, p1 - slope * k, p1);
      if (std::fabs(travel - slope) < 0.2) break;
      (travel < slope ? low : high) = k;
    }
    return k * (1 - core_.body.vertical[key].ballisticTension);
  }
  float Curve(double u, double p0, double p1, double d0, double d1, double span, int startKey,
              int endKey) const {
    const double step = 160 / span;
    const double k0 = Handle(p0, p1, d0, step, true, startKey);
    const double k1 = Handle(p0, p1, d1, step, false, endKey);
    return static_cast<float>(Cubic(u, p0, p0 - d0 * k0, p1 - d1 * k1, p1));
  }

  const MotionCore& core_;
  TimeValue t_;
  float keyed_;
};

TEST(BallisticHeight, FindsWhatAPlainWalkThroughTheFlightsFinds) {
  Random random(51);
  int claimed = 0;
  for (int i = 0; i < 150; ++i) {
    SCOPED_TRACE(i);
    MotionCore core = NominalFigure();
    std::vector<std::pair<TimeValue, float>> heights;
    TimeValue t = random.Int(-500, 500);
    const int keys = random.Int(2, 14);
    for (int k = 0; k < keys; ++k) {
      heights.push_back({t, random.Between(190, 220)});
      const TimeValue spans[] = {320, 321, random.Int(1, 400), random.Int(400, 3000)};
      t += spans[std::min(random.Int(0, 9), 3)];  // a stretch of two frames is the last to be plain
    }
    AddFootsteps(core, 0, random.Int(0, 2) == 0 ? t - random.Int(0, 4000) : t + 500);
    for (int side = 0; side < 2; ++side) core.footsteps.spans[side] = {{-1000, 500, side}};
    KeyHeights(core, heights, random.Between(0, 1));
    for (int k = random.Int(0, 2); k + 1 < keys; k += random.Int(2, 4)) AddFlight(core, k);
    for (FlightPeriod& flight : core.body.flights) {
      if (random.Int(0, 4) == 0) flight.takeoffSpeed *= random.Between(0.5f, 2);
    }
    if (i % 3 == 0) {
      core.footsteps.freeFormStart[0] = random.Int(0, 8000);
      core.footsteps.freeFormEnd[0] = core.footsteps.freeFormStart[0] + random.Int(1, 4000);
    }
    std::vector<TimeValue> times = {kTimeMin, kTimeMin + 1, kTimeMax, core.endTime,
                                    core.endTime - 1};
    for (const auto& height : heights) {
      for (TimeValue near : {-1, 0, 1}) times.push_back(height.first + near);
    }
    for (int k = 0; k < 100; ++k) times.push_back(random.Int(-1000, t + 1000));
    for (TimeValue at : times) {
      const FlightHeight found = BallisticHeight(core, at, 200),
                         plain = PlainScan(core, at, 200).Find();
      ASSERT_EQ(found.weight, plain.weight) << at;
      ASSERT_EQ(found.state, plain.state) << at;
      ASSERT_NEAR(found.height, plain.height, 0.01f) << at;
      claimed += found.weight == 1 && found.height != 200;
    }
  }
  EXPECT_GT(claimed, 3000);
}

TEST(BodyHeight, BlendsKeyedAndFlownHeightByDynamicsBlend) {
  for (float blend : {0.0f, 0.5f, 1.0f}) {
    SCOPED_TRACE(blend);
    MotionCore core = OneFlight();
    KeyGround(core, 0, {}, 0.4f);  // balance lifts the hips' path by 0.7 x 0.4 x 75
    for (VerticalKey& key : core.body.vertical.keys) key.dynamicsBlend = blend;
    for (TimeValue t : {0, 900, 1600, 2400, 4000, 6400}) {
      SCOPED_TRACE(t);
      Evaluate(core, t);
      const BodyRecord& body = core.body;
      const FlightHeight flight = BallisticHeight(core, t, body.ballisticHeight);
      const float flown = flight.weight == 1 ? flight.height - 21 : body.keyedHeight;
      EXPECT_NEAR(body.bodyPosition.y, body.keyedHeight + blend * (flown - body.keyedHeight), 2e-3);
    }
  }
  // Between keys the blend is eased and the tension steps.
  MotionCore core = OneFlight();
  core.body.vertical.keys[1].dynamicsBlend = 0.2f;
  core.body.vertical.keys[2].dynamicsBlend = 0.8f;
  core.body.vertical.keys[1].ballisticTension = 0.9f;
  Evaluate(core, 2000);
  EXPECT_NEAR(core.body.dynamicsBlend, 0.2f + 0.6f * 0.14644660940672624f, 1e-5);
  EXPECT_EQ(core.body.ballisticTension, 0.9f);
}

TEST(BodyHeight, NeverFliesInFreeForm) {
  for (bool all : {true, false}) {
    MotionCore core = OneFlight();
    if (all) SetFreeForm(core, true);
    core.footsteps.freeFormStart[0] = 1000;
    core.footsteps.freeFormEnd[0] = 4000;
    int flown = 0;
    for (TimeValue t = 0; t < 8000; t += 50) {
      Evaluate(core, t);
      const bool flies = core.body.bodyPosition.y != core.body.keyedHeight;
      ASSERT_FALSE(flies && (all || (t > 1000 && t < 4000))) << t;
      flown += flies;
    }
    EXPECT_EQ(flown > 5, !all);
  }
}

}  // namespace
}  // namespace strider
