#include "strider/footsteps/generate.h"

#include "strider/footsteps/activate.h"
#include "strider/footsteps/sample_motions.h"
#include "tests/footsteps/contact_fixture.h"

namespace strider {
namespace {

using test::Contacts;
using test::FramesOf;
using test::kFrame;
using test::Random;
using test::WithContacts;

constexpr int R = kRight, L = kLeft;
constexpr int T = kTouch, P = kPlant, U = kLift, M = kMove;

MotionCore Generated(const Contacts& contacts, const Structure& structure = {}) {
  MotionCore core = WithContacts(contacts, structure);
  EXPECT_EQ(GenerateMotion(core, {}), kDone);
  return core;
}

/// What every motion holds, however wild its footsteps.
void CheckMotion(const MotionCore& motion) {
  for (const KeyTrack* track : test::MotionTracks(motion)) {
    EXPECT_TRUE(CheckTrack(*track));
    for (const TimeValue t : test::TimesOf(*track)) EXPECT_EQ(t % kFrame, 0) << t;
  }
  for (const VerticalKey& key : motion.body.vertical.keys) {
    EXPECT_TRUE(IsFinite(key.height + key.ballisticHeight + key.rangeFraction + key.legFraction +
                         key.footReach[0] + key.footReach[1]));
  }
  EXPECT_FALSE(motion.freeForm);
  EXPECT_FALSE(AnyInactive(motion.footsteps));
  for (const FlightPeriod& flight : motion.body.flights) {
    EXPECT_LT(flight.takeoffTime, flight.landTime);
    EXPECT_TRUE(IsFinite(flight.takeoffSpeed) && IsFinite(flight.landSpeed));
    EXPECT_TRUE(flight.takeoffSpeed >= 0 && flight.landSpeed >= 0);
  }
  MotionCore core = motion;
  for (int k = -1; k <= 24; ++k) {
    const auto t = static_cast<TimeValue>(std::int64_t{core.endTime} * k / 23);
    test::Evaluate(core, t);
    ASSERT_TRUE(test::AllFinite(test::AllTransforms(core))) << t;
  }
}

std::vector<int> LegStatesOf(const MotionCore& core, int side) {
  std::vector<int> states;
  for (const LimbKey& key : core.leg[side].table.keys) states.push_back(key.keyState);
  return states;
}

// --- Which keys ----------------------------------------------------------------------------------

TEST(GenerateMotion, KeysAWalkWhereItsContactsAskForIt) {
  // Contacts: right 0-18, 30-48; left 0-3, 15-33, 45-63.
  const MotionCore core = Generated(test::Gait(3, 30, 18, 20, 3));
  using Frames = std::vector<int>;
  const Frames contacts = {0, 3, 9, 15, 18, 24, 30, 33, 39, 45, 48, 56, 63};
  EXPECT_EQ(FramesOf(core.leg[R].table.track), contacts);
  EXPECT_EQ(LegStatesOf(core, R), (Frames{T, P, P, P, U, M, T, P, P, P, U, M, M}));
  // The left stands for three frames only: it is laid flat before it lifts.
  Frames left = contacts;
  left.insert(left.begin() + 1, 2);
  EXPECT_EQ(FramesOf(core.leg[L].table.track), left);
  EXPECT_EQ(LegStatesOf(core, L), (Frames{T, P, U, M, T, P, P, P, U, M, T, P, P, U}));
  EXPECT_EQ(FramesOf(core.body.vertical.track), contacts);
  EXPECT_EQ(FramesOf(core.body.turn.track), (Frames{0, 2, 9, 17, 24, 32, 39, 47, 56, 63}));
  EXPECT_EQ(FramesOf(core.body.horizontal.track), (Frames{0, 2, 17, 32, 47, 63}));
  EXPECT_EQ(FramesOf(core.pelvis.table.track), (Frames{0, 9, 24, 39, 56, 63}));
  const Frames upper = {0, 9, 15, 24, 30, 39, 45, 56, 63};
  EXPECT_EQ(FramesOf(core.spine.table.track), upper);
  EXPECT_EQ(FramesOf(core.arm[L].table.track), upper);
  EXPECT_TRUE(core.body.flights.empty());

  // The side of the swinging leg drops by 0.05: the pelvis's right axis rises or falls.
  for (int i = 0; i < 6; ++i) {
    const float rightSide = Rotate(core.pelvis.table[i].rotation, {0, 0, 1}).y;
    const bool rightSwings = i == 2 || i == 4 || i == 5;
    EXPECT_NEAR(rightSide, rightSwings ? -0.05f : 0.05f, 1e-4) << i;
  }
  for (std::size_t i = 0; i < contacts.size(); ++i) {
    const VerticalKey& key = core.body.vertical.keys[i];
    EXPECT_EQ(key.legState[R], LegStatesOf(core, R)[i]);
    EXPECT_EQ(key.dynamicsBlend, 1);
    EXPECT_EQ(key.ballisticTension, 0.5f);
  }
}

TEST(GenerateMotion, KeysARunsHeightWhereItLeavesAndMeetsTheGround) {
  MotionCore core = Generated(
      {{R, 0, 6, {}}, {L, 9, 15, {15, 0, -3}}, {R, 19, 25, {30, 0, 3}}, {L, 30, 36, {45, 0, -3}}});
  EXPECT_EQ(FramesOf(core.body.vertical.track), (std::vector<int>{0, 3, 6, 9, 15, 19, 25, 30, 36}));
  const auto& flights = core.body.flights;
  ASSERT_EQ(flights.size(), 3u);
  const int takeoffs[] = {6, 15, 25}, landings[] = {9, 19, 30};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(flights[i].takeoffTime, takeoffs[i] * kFrame);
    EXPECT_EQ(flights[i].landTime, landings[i] * kFrame);
    // There the body is exactly where its keys have it, balance and all.
    for (const int key : {flights[i].takeoffKey, flights[i].landKey}) {
      test::Evaluate(core, core.body.vertical.TimeOf(key));
      EXPECT_NEAR(core.body.bodyPosition.y + core.body.balanceOffset.y,
                  core.body.vertical[key].ballisticHeight, 2e-6 * core.body.bodyPosition.y);
    }
  }
}

TEST(GenerateMotion, AFootThatTouchesAsItLiftsStandsOnEachFootstepInItsTime) {
  const Contacts oneLeg = {{R, 0, 20, {}}, {R, 20, 40, {8, 0, 0}}, {R, 40, 60, {16, 0, 0}}};
  Contacts besideAStance = oneLeg, besideATouch = oneLeg;
  besideAStance.push_back({L, 0, 60, {8, 0, -6}});
  besideATouch.push_back({L, 20, 60, {8, 0, -6}});
  for (const Contacts& contacts : {oneLeg, besideAStance, besideATouch}) {
    MotionCore core = Generated(contacts);
    CheckMotion(core);
    for (const int frame : {1, 10, 19, 20, 30, 39, 40, 50}) {
      const Point3 foot = TakePoseSample(core, frame * kFrame, {}).leg[R].print;
      EXPECT_NEAR(foot.x, 8.0f * static_cast<float>(frame / 20), 0.1f) << frame;
    }
  }
}

TEST(GenerateMotion, FliesOnlyUnderTheFiguresOwnDynamics) {
  for (const int dynamicsType : {0, 1}) {
    Structure structure;
    structure.dynamicsType = dynamicsType;
    MotionCore core = Generated(test::Gait(6, 30, 6, 40, 3), structure);
    for (const VerticalKey& key : core.body.vertical.keys) {
      EXPECT_EQ(key.dynamicsBlend, dynamicsType == 0 ? 1.0f : 0.0f);
    }
    ASSERT_FALSE(core.body.flights.empty());
    float off = 0;
    for (TimeValue t = 0; t < core.endTime; t += 80) {
      test::Evaluate(core, t);
      off = std::max(off, std::fabs(core.body.bodyPosition.y - core.body.keyedHeight));
    }
    EXPECT_EQ(off > 1, dynamicsType == 0) << off;
    EXPECT_EQ(off == 0, dynamicsType == 1) << off;
  }
}

TEST(GenerateMotion, LeavesFreeFormToItself) {
  MotionCore core = WithContacts(test::Gait(5, 60, 12, 60, 3));
  ASSERT_EQ(SetFreeFormAfter(core.footsteps, 3, true), kDone);
  const TimeValue start = core.footsteps.freeFormStart[3], end = core.footsteps.freeFormEnd[3];
  ASSERT_LT(start, end);
  ASSERT_EQ(GenerateMotion(core, {}), kDone);
  CheckMotion(core);
  const auto keysInside = [&](const KeyTrack& track) {
    int inside = 0;
    for (const TimeValue t : test::TimesOf(track)) inside += start < t && t < end;
    return inside;
  };
  for (const KeyTrack* track :
       {&core.leg[R].table.track, &core.leg[L].table.track, &core.body.vertical.track,
        &core.spine.table.track, &core.arm[R].table.track}) {
    EXPECT_EQ(keysInside(*track), 0);
  }
  EXPECT_EQ(keysInside(core.body.horizontal.track), 1);
  for (const TimeValue t : {start, end + kFrame}) {  // contacts border it
    EXPECT_GE(std::max(KeyAt(core.leg[R].table.track, t), KeyAt(core.leg[L].table.track, t)), 0);
  }
  float x = -1e9f;
  for (TimeValue t = start + kFrame; t < end; t += kFrame) {
    test::Evaluate(core, t);
    EXPECT_GT(core.body.bodyPosition.x, x) << "the body goes on";
    EXPECT_EQ(core.body.bodyPosition.y, core.body.keyedHeight);
    EXPECT_EQ(core.body.supportState, -1);
    x = core.body.bodyPosition.x;
  }
}

// Keys stand on whole frames whatever the footsteps do. A foot that touches a tick after its key is
// on its footstep all the same.
TEST(GenerateMotion, ATickOffTheFramesMakesHardlyADifference) {
  for (const SampleMotionInfo& info : SampleMotions()) {
    SCOPED_TRACE(info.name);
    const MotionCore whole = MakeSample(info.sample, 80);
    MotionCore off = MakeSampleFootsteps(info.sample, 80);
    for (auto& spans : off.footsteps.spans) {
      for (FootstepSpan& span : spans) ++span.start;
    }
    ASSERT_EQ(NewFootprintKeys(off, {}), ActivationResult::kDone);
    CheckMotion(off);
    EXPECT_LT(test::Apart(whole, off), 0.002f * whole.leg[R].totalLength);
  }
}

// --- Figures and footsteps of all kinds ----------------------------------------------------------

TEST(GenerateMotion, SuitsEveryFigureAndFewFootsteps) {
  const float leg = test::MakeFigure().leg[0].totalLength;
  const Contacts walk = test::Gait(4, 30, 18, 0.6f * leg, 0.1f * leg);
  Contacts leftOnly, ending;
  for (int i = 0; i < 4; ++i) {
    leftOnly.push_back({L, 12 * i, 12 * i + 6, {0.3f * leg * static_cast<float>(i), 0, 0}, 0});
  }
  struct Row {
    const char* name;
    Contacts contacts;
    Structure structure = {};
  };
  std::vector<Row> rows = {{"one footstep", {{R, 5, 20, {1, 2, 3}, 1}}},
                           {"one of a frame", {{L, 0, 1, {}, 0}}},
                           {"left only", leftOnly},
                           {"the right joins at the end", leftOnly},
                           {"stands for two hours", {{R, 0, 216000, {}}, {L, 0, 216000, {}}}},
                           {"no arms", walk},
                           {"four links", walk},
                           {"all parts", walk, test::FullStructure()}};
  rows[3].contacts.push_back({R, 44, 60, {leg, 0, 4}, 0});
  rows[5].structure.arms = false;
  rows[6].structure.legLinks = 4;
  for (int links = 1; links <= 5; ++links) {
    rows.push_back({"spine", walk});
    rows.back().structure.spineLinks = links;
  }
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.name << " " << row.structure.spineLinks);
    const MotionCore core = Generated(row.contacts, row.structure);
    CheckMotion(core);
    EXPECT_EQ(core.endTime, LastFootstepTime(core.footsteps));
    EXPECT_GT(core.spine.table.track.numKeys, 0);
    EXPECT_EQ(core.arm[R].table.track.numKeys > 0, row.structure.arms);
  }
}

/// Footsteps within reach, at any time, place and heading; on any ground.
Contacts SaneContacts(Random& random, float leg) {
  Contacts contacts;
  const int steps = random.Int(3, 10), cycle = 2 * random.Int(7, 18);
  const int ground = random.Int(cycle / 3, cycle / 2 + 4);
  const float width = random.Between(0.08f, 0.2f) * leg;
  Point3 path = random.Inside(5 * leg);
  float angle = random.Between(-3, 3);
  const float stride = random.Between(-0.4f, 0.5f) * leg, turn = random.Between(-0.3f, 0.3f);
  const int firstSide = random.Int(0, 1);
  for (int i = 0; i < steps; ++i) {
    const int side = (i + firstSide) % 2;
    const Point3 aside = (side == R ? -width : width) * LeftOf(angle);
    contacts.push_back({side, i * cycle / 2, i * cycle / 2 + ground, path + aside, angle});
    angle += turn;
    path += stride * ForwardOf(angle);
    path.y += random.Between(-0.1f, 0.1f) * leg;
  }
  return contacts;
}

TEST(GenerateMotion, StandsOnItsFootstepsInRandomWalksAndRuns) {
  Random random(74);
  float stood = 0;
  for (int run = 0; run < 80; ++run) {
    SCOPED_TRACE(run);
    const Structure structure = run % 3 == 0 ? test::RandomStructure(random) : Structure{};
    const float leg = test::MakeFigure(structure).leg[0].totalLength;
    const Contacts contacts = SaneContacts(random, leg);
    MotionCore core = Generated(contacts, structure);
    CheckMotion(core);

    // Made again out of its own motion: the same to the last bit.
    MotionCore again = core;
    ASSERT_EQ(GenerateMotion(again, {}), kDone);
    test::ExpectSameKeys(again, core);
    stood += test::ExpectFeetOnFootsteps(core);
  }
  EXPECT_GT(stood, 0.9f * 80);
}

TEST(GenerateMotion, GoesWithItsFootstepsOverAllGround) {
  Random random(75);
  for (int run = 0; run < 10; ++run) {
    Contacts contacts = SaneContacts(random, test::MakeFigure().leg[0].totalLength);
    MotionCore core = Generated(contacts);
    const Point3 shift = random.Inside(200);
    for (auto& c : contacts) c.place += shift;
    MotionCore moved = Generated(contacts);
    for (TimeValue t = 0; t <= core.endTime; t += 7 * kFrame / 2) {
      test::Evaluate(core, t);
      test::Evaluate(moved, t);
      const auto frames = test::AllTransforms(core), movedFrames = test::AllTransforms(moved);
      for (std::size_t i = 1; i < frames.size(); ++i) {
        const Point3 expected = frames[i].Origin() + HostFromCore(shift);
        ASSERT_LT(test::Distance(movedFrames[i].Origin(), expected), 0.1f)
            << run << " " << t << " " << i;
      }
    }
  }
}

TEST(GenerateMotion, BearsWildFootsteps) {
  for (unsigned seed = 0; seed < 250; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Structure structure = seed % 4 == 0 ? test::RandomStructure(random) : Structure{};
    MotionCore core = test::MakeFigure(structure);
    const float leg = core.leg[0].totalLength;
    const float sizes[] = {0, 0.01f * leg, leg, 3 * leg, 100 * leg, 1e6f, 9e17f};
    const float heights[] = {0, 0.2f * leg, 10 * leg, 1000 * leg};
    const float gravities[] = {1, 1e-3f, 1e-10f, 1e-38f, 1e3f, 1e10f, 1e38f};
    const float size = sizes[random.Int(0, 6)], height = heights[random.Int(0, 3)];
    core.body.gravAccel *= gravities[random.Int(0, 6)];
    const bool wholeFrames = random.Int(0, 3) > 0, mixed = random.Int(0, 2) > 0;
    std::vector<NewFootstep> plan;
    TimeValue next[2] = {random.Int(0, 6000), random.Int(0, 6000)};
    const int lone = random.Int(0, 1);
    for (int n = random.Int(1, 14); n > 0; --n) {
      const int side = mixed ? random.Int(0, 1) : lone;
      NewFootstep step{side, next[side], random.Int(1, 6000), random.Inside(1), 0};
      step.angle = random.Between(-4, 4);
      step.position = {step.position.x * size, step.position.y * height, step.position.z * size};
      if (wholeFrames) {
        step.start -= step.start % kFrame;
        step.duration = std::max(RoundToFrame(step.duration, kFrame), kFrame);
      }
      next[side] = step.start + step.duration + random.Int(0, 8) * random.Int(1, 600);
      plan.push_back(step);
    }
    std::stable_sort(plan.begin(), plan.end(),
                     [](const auto& a, const auto& b) { return a.start < b.start; });
    FootstepTrack& track = core.footsteps;
    for (const NewFootstep& step : plan) {
      ASSERT_EQ(InsertFootstep(track, InsertPosition(track, step.start), step), kDone);
    }
    for (int i = 0; i < track.numFootsteps; i += random.Int(1, 4)) {
      (void)SetFreeFormAfter(track, i, true);
    }
    ASSERT_EQ(GenerateMotion(core, {}), kDone);
    CheckMotion(core);
  }
}

TEST(GenerateMotion, RefusesPlacesPastAllMeasureAndDoesNothingWithoutFootsteps) {
  MotionCore far = WithContacts({{R, 0, 10, {3e38f, 0, 0}}, {L, 5, 20, {3e38f, 0, 3e38f}}});
  EXPECT_EQ(GenerateMotion(far, {}), kRefused);
  MotionCore core = test::MakeFigure();
  EXPECT_EQ(GenerateMotion(core, {}), kDone);
  EXPECT_TRUE(core.freeForm);
  EXPECT_TRUE(core.body.vertical.Empty());
}

}  // namespace
}  // namespace strider
