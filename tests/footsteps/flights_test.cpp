#include "strider/footsteps/flights.h"

#include "tests/footsteps/contact_fixture.h"

namespace strider {
namespace {

using test::kFrame;

constexpr int T = kTouch, P = kPlant, U = kLift, M = kMove;

struct Height {
  int frame, right, left;
  float height;
};

/// A figure with vertical keys; its footsteps begin at frame 2.
MotionCore WithHeights(const std::vector<Height>& heights) {
  MotionCore core = test::MakeFigure();
  test::AddFootsteps(core, 2 * kFrame, 1000 * kFrame);
  for (const Height& h : heights) {
    VerticalKey key;
    key.legState[0] = h.right;
    key.legState[1] = h.left;
    key.height = -3;
    key.ballisticHeight = h.height;
    key.bordersFlight[0] = key.bordersFlight[1] = 7;
    EXPECT_EQ(PutKey(core, h.frame * kFrame, key), KeyRefusal::kNone);
  }
  return core;
}

TEST(BuildFlights, AreTheKeysInTheAirThatAGroundKeyCloses) {
  struct Flight {
    int gapBefore, takeoffKey, landKey;
  };
  const struct {
    const char* name;
    std::vector<Height> heights;
    std::vector<Flight> flights;  // gaps in frames
    std::vector<int> borders;     // of the keys
  } rows[] = {
      {"a walk", {{0, P, T, 9}, {4, U, P, 9}, {9, M, P, 9}, {14, T, P, 9}}, {}, {0, 0, 0, 0}},
      {"a run",
       {{5, P, M, 9}, {8, U, M, 9}, {17, M, T, 9}, {22, M, U, 9}, {30, T, M, 9}, {33, P, M, 9}},
       {{6, 1, 2}, {5, 3, 4}},
       {0, 1, 1, 1, 1, 0}},
      {"lifts one after the other, and a key in the air",
       {{3, P, P, 9}, {5, U, U, 9}, {9, M, M, 9}, {12, M, U, 9}, {20, T, P, 9}},
       {{3, 1, 4}},
       {0, 1, 1, 1, 1}},
      {"a flight that never lands", {{3, P, P, 9}, {5, U, U, 9}, {9, M, M, 9}}, {}, {0, 1, 1}},
      {"in the air from the start", {{2, M, U, 9}, {5, T, M, 9}}, {{0, 0, 1}}, {1, 1}},
      {"no keys", {}, {}, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    MotionCore core = WithHeights(row.heights);
    core.body.flights.resize(5);
    ASSERT_EQ(BuildFlights(core), kDone);
    ASSERT_EQ(core.body.flights.size(), row.flights.size());
    for (std::size_t i = 0; i < row.flights.size(); ++i) {
      const FlightPeriod& flight = core.body.flights[i];
      const Flight& expected = row.flights[i];
      EXPECT_EQ(flight.gapBefore, expected.gapBefore * kFrame);
      EXPECT_EQ(flight.takeoffKey, expected.takeoffKey);
      EXPECT_EQ(flight.landKey, expected.landKey);
      EXPECT_EQ(flight.takeoffTime, core.body.vertical.TimeOf(expected.takeoffKey));
      EXPECT_EQ(flight.landTime, core.body.vertical.TimeOf(expected.landKey));
      EXPECT_EQ(flight.duration, flight.landTime - flight.takeoffTime);
    }
    for (std::size_t i = 0; i < row.borders.size(); ++i) {
      for (const int mark : core.body.vertical.keys[i].bordersFlight) {
        EXPECT_EQ(mark, row.borders[i]) << i;
      }
    }
  }
}

TEST(BuildFlights, ThrowTheBodyFromKeyToKey) {
  // Gravity at work in small steps, with the speeds that the flight was given.
  for (const float rise : {0.0f, 4.0f, -3.0f}) {
    for (const int frames : {1, 5, 15, 60}) {
      SCOPED_TRACE(testing::Message() << rise << " in " << frames);
      MotionCore core = WithHeights({{2, P, P, 38}, {4, U, U, 40}, {4 + frames, T, T, 40 + rise}});
      core.body.gravAccel = 6;  // a frame squared: 3 fall in the first frame
      ASSERT_EQ(BuildFlights(core), kDone);
      ASSERT_EQ(core.body.flights.size(), 1u);
      const FlightPeriod& flight = core.body.flights[0];
      if (std::fabs(rise) > 3.0f * frames * frames) continue;  // thrown against its way
      double height = 40, speed = flight.takeoffSpeed;
      const double g = 6.0 / (160 * 160);
      for (int tick = 0; tick < flight.duration; ++tick) {
        height += speed - g / 2;
        speed -= g;
      }
      EXPECT_NEAR(height, 40 + rise, 1e-3);
      EXPECT_NEAR(-speed, flight.landSpeed, 1e-5);
    }
  }
}

TEST(SpeedsOfFlight, NeverStartOrEndAgainstTheirWay) {
  const float g = 6.0f / 25600;
  const struct {
    TimeValue ticks;
    float rise, gravity, takeoff, landing;
  } rows[] = {
      {1600, 0, g, 0.1875f, 0.1875f},
      {1600, 160, g, 0.2875f, 0.0875f},
      {1600, -160, g, 0.0875f, 0.2875f},
      {1600, -3200, g, 0.000625f, 2.1875f},  // a long drop
      {1600, 3200, g, 2.1875f, 0.000625f},   // onto a height that it has not passed the top of
      {1600, 160, 1e-20f, 0.1f, 0.000625f},
      {1600, -160, 1e-45f, 0.000625f, 0.1f},  // next to no gravity: straight down
      {1600, 0, 1e-45f, 0, 0},
  };
  for (const auto& row : rows) {
    const FlightSpeeds speeds = SpeedsOfFlight(row.ticks, row.rise, row.gravity);
    EXPECT_NEAR(speeds.takeoff, row.takeoff, 1e-6f) << row.rise << " " << row.gravity;
    EXPECT_NEAR(speeds.landing, row.landing, 1e-6f) << row.rise << " " << row.gravity;
  }
  EXPECT_TRUE(IsFinite(SpeedsOfFlight(1600, 1, 1e38f).takeoff));
}

TEST(GravityPerTick, IsTheFiguresWhateverTheScenesFrame) {
  MotionCore core = test::MakeFigure();
  core.body.gravAccel = 2.56f;
  core.ticksPerFrame = 80;
  EXPECT_FLOAT_EQ(GravityPerTick(core), 1e-4f);
}

}  // namespace
}  // namespace strider
