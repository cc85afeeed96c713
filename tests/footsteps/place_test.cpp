#include "strider/footsteps/place.h"

#include <vector>

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

constexpr TimeValue kFrame = kDynamicsFrame;

/// What a refusal has to leave alone.
struct Kept {
  std::vector<Matrix3> transforms;
  std::vector<TimeValue> times;
  std::vector<bool> selected;
  int nextSide;
  GaitDurations durations;
  friend bool operator==(const Kept&, const Kept&) = default;
};
Kept KeptOf(const MotionCore& core, const GaitSettings& settings) {
  const FootstepTrack& track = core.footsteps;
  Kept kept{track.transform, {}, {}, settings.nextSide, settings.Durations()};
  for (int i = 0; i < track.numFootsteps; ++i) {
    kept.times.push_back(SpanOf(track, i)->start);
    kept.times.push_back(SpanOf(track, i)->duration);
    kept.selected.push_back(IsSelected(track, i));
  }
  return kept;
}

std::vector<int> StartFrames(const MotionCore& core) {
  std::vector<int> starts;
  for (int i = 0; i < core.footsteps.numFootsteps; ++i) {
    starts.push_back(SpanOf(core.footsteps, i)->start / kFrame);
  }
  return starts;
}
std::vector<int> Sides(const MotionCore& core) {
  return {core.footsteps.side.begin(), core.footsteps.side.end()};
}

MultFprintParams ParamsOf(int gait, int numFootsteps) {
  MultFprintParams params;
  InitParams(params, gait, kFrame);
  params.numFootsteps = numFootsteps;
  return params;
}

PlaceResult Place(MotionCore& core, GaitSettings& settings, const MultFprintParams& params,
                  TimeValue now = 0) {
  const PlaceResult dry = DryRunMultiple(core, settings, params, now);
  const PlaceResult result = PlaceMultiple(core, settings, params, now);
  EXPECT_EQ(dry.status, result.status);
  EXPECT_EQ(dry.failing, result.failing);
  EXPECT_TRUE(CheckFootsteps(core.footsteps));
  return result;
}

/// Where the footsteps lie from the figure's first place: ahead, height, to the left.
std::vector<Point3> FromStance(const MotionCore& core) {
  std::vector<Point3> all;
  for (const Point3& p : core.footsteps.position) {
    const Point3 way =
        IntoFrameVector(p - core.body.figurePosition, FrameOf(core.body.figureRotation, {}));
    all.push_back({way.x, p.y - (core.body.figurePosition.y - StanceHeight(core)), -way.z});
  }
  return all;
}

TEST(PlaceMultiple, WalksOnFromUnderTheFigure) {
  MotionCore core = test::MakeFigure();
  PlaceFigure(core, {30, 7, -20}, 2.5f);
  test::Evaluate(core, 0);
  const std::vector<Matrix3> stance = test::AllTransforms(core);
  GaitSettings settings;
  ASSERT_TRUE(Place(core, settings, ParamsOf(kWalk, 5)).Done());

  EXPECT_EQ(Sides(core), (std::vector<int>{1, 0, 1, 0, 1}));
  EXPECT_EQ(StartFrames(core), (std::vector<int>{0, 0, 30, 45, 60}));
  EXPECT_EQ(SpanOf(core.footsteps, 1)->duration, 34 * kFrame);  // stands until the left is down
  EXPECT_EQ(settings.nextSide, 0);
  EXPECT_EQ(core.endTime, 78 * kFrame);
  const float stride = 0.75f * core.leg[0].totalLength, aside = core.pelvis.hipOffset;
  const std::vector<Point3> places = FromStance(core);
  for (std::size_t i = 0; i < 5; ++i) {
    const float ahead = i < 2 ? 0 : stride * static_cast<float>(i - 1);
    const Point3 expected{ahead, 0, i % 2 == 0 ? aside : -aside};
    EXPECT_LT(Length(places[i] - expected), 1e-4f * core.leg[0].totalLength) << i;
    EXPECT_NEAR(HeadingOf(core.footsteps.transform[i]), 2.5f, 1e-5);
    EXPECT_TRUE(IsSelected(core.footsteps, static_cast<int>(i)));
  }
  EXPECT_TRUE(AnyInactive(core.footsteps));
  // Footsteps alone move nothing.
  test::Evaluate(core, 50 * kFrame);
  EXPECT_EQ(test::AllTransforms(core), stance);

  // A second batch goes on where the first ended, and is selected alone.
  ASSERT_TRUE(Place(core, settings, ParamsOf(kWalk, 2)).Done());
  EXPECT_EQ(StartFrames(core), (std::vector<int>{0, 0, 30, 45, 60, 75, 90}));
  EXPECT_FALSE(IsSelected(core.footsteps, 4));
  EXPECT_TRUE(IsSelected(core.footsteps, 5));
  EXPECT_NEAR(FromStance(core)[6].x, 5 * stride, 1e-4f * stride);
}

// A leg's sums end a few bits beside the ground that the figure was built to stand on.
TEST(PlaceMultiple, StandsOnTheGroundToTheBit) {
  for (int i = 1; i <= 40; ++i) {
    Structure structure;
    structure.height = 0.37f * static_cast<float>(i * i);
    structure.legLinks = 3 + i % 2;
    MotionCore core = test::MakeFigure(structure);
    GaitSettings settings;
    ASSERT_TRUE(Place(core, settings, ParamsOf(kWalk, 4)).Done());
    for (const Point3& place : core.footsteps.position) EXPECT_EQ(place.y, 0) << structure.height;
  }
}

TEST(PlaceMultiple, OneFootstepOnAnEmptyTrackIsOne) {
  MotionCore core = test::MakeFigure();
  GaitSettings settings;
  ASSERT_TRUE(Place(core, settings, ParamsOf(kWalk, 1)).Done());
  EXPECT_EQ(Sides(core), (std::vector<int>{1}));
  EXPECT_EQ(settings.nextSide, 0);
}

TEST(PlaceMultiple, AJumpOnBothFeetMovesOnceAPair) {
  MotionCore core = test::MakeFigure();
  GaitSettings settings;
  settings.fsGaitMode = kJump;
  MultFprintParams params = ParamsOf(kJump, 6);
  params.actualStrideHeight1 = 2;
  ASSERT_TRUE(Place(core, settings, params).Done());
  EXPECT_EQ(StartFrames(core), (std::vector<int>{0, 0, 20, 20, 40, 40}));
  const float stride = 2.4f * core.leg[0].totalLength;
  const std::vector<Point3> places = FromStance(core);
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_NEAR(places[i].x, stride * static_cast<float>(i / 2), 1e-3);
    EXPECT_NEAR(places[i].y, 2.0f * static_cast<float>(i / 2), 1e-4);
    EXPECT_NEAR(places[i].z, (i % 2 == 0 ? 1 : -1) * core.pelvis.hipOffset, 1e-4);
  }
}

TEST(PlaceMultiple, AHopStaysOnItsFoot) {
  MotionCore core = test::MakeFigure();
  GaitSettings settings;
  settings.fsGaitMode = kRun;
  settings.nextSide = kRight;
  MultFprintParams params = ParamsOf(kRun, 5);
  params.alternate = 0;
  ASSERT_TRUE(Place(core, settings, params).Done());
  EXPECT_EQ(Sides(core), (std::vector<int>{0, 1, 0, 0, 0}));
  EXPECT_EQ(StartFrames(core), (std::vector<int>{0, 0, 15, 30, 45}));
  const std::vector<Point3> places = FromStance(core);
  for (std::size_t i = 2; i < 5; ++i) EXPECT_NEAR(places[i].z, -core.pelvis.hipOffset, 1e-4);
}

TEST(PlaceMultiple, InterpolatesOverItsStrides) {
  MotionCore core = test::MakeFigure();
  const float leg = core.leg[0].totalLength;
  for (int numFootsteps : {3, 6}) {  // 1 and 4 strides
    GaitSettings settings;
    MotionCore walk = core;
    MultFprintParams params = ParamsOf(kWalk, numFootsteps);
    params.interpTiming = 1;
    params.paramStrideLength1 = 0.4f;
    params.paramStrideLength2 = 0.8f;
    params.actualStrideHeight2 = 8;
    params.cycle1 = 25 * kFrame;  // 5 frames double support, the second cycle 3
    ASSERT_TRUE(Place(walk, settings, params).Done());
    const std::vector<Point3> places = FromStance(walk);
    const std::size_t n = places.size() - 2;
    float ahead = 0, up = 0;
    for (std::size_t k = 0; k < n; ++k) {
      const float u = static_cast<float>(k) / static_cast<float>(n);
      ahead += (0.4f + 0.4f * u) * leg;
      up += 8 * u;
      EXPECT_NEAR(places[k + 2].x, ahead, 1e-3);
      EXPECT_NEAR(places[k + 2].y, up, 1e-4);
    }
    SetActuals(params, MeasuresOf(walk));
    EXPECT_NEAR(ReadoutsOf(params, kWalk, {}, kFrame, true).totalDistance, ahead, 1e-3);
    EXPECT_EQ(settings.Durations(), (GaitDurations{30 * kFrame, 5 * kFrame}));
    if (n == 1) continue;
    // Cycles of 25, 22.5, 20 and 17.5 frames, with double supports of 5, 4, 4 and 3.
    std::vector<int> durations;
    for (int i = 2; i < 6; ++i) durations.push_back(SpanOf(walk.footsteps, i)->duration / kFrame);
    EXPECT_EQ(durations, (std::vector<int>{30, 27, 24, 21}));
  }
}

TEST(Readouts, TellStridesDistanceCycleAndSpeed) {
  const struct {
    int gait, numFootsteps, alternate;
    bool empty;
    int strides;
    float cycle, speed;  // frames, units a frame
  } rows[] = {
      {kWalk, 12, 1, true, 10, 15, 1.8072f}, {kWalk, 12, 1, false, 12, 15, 1.8072f},
      {kRun, 8, 0, true, 6, 15, 3.6145f},    {kJump, 8, 1, true, 3, 20, 4.33735f},
      {kJump, 7, 1, false, 4, 20, 4.33735f}, {kJump, 8, 0, true, 6, 20, 4.33735f},
      {kWalk, 1, 1, true, 0, 15, 1.8072f},
  };
  for (const auto& row : rows) {
    MultFprintParams params = ParamsOf(row.gait, row.numFootsteps);
    params.alternate = row.alternate;
    const GaitSettings settings;
    const BatchReadouts out =
        ReadoutsOf(params, row.gait, settings.durations[row.gait - 1], kFrame, row.empty);
    EXPECT_EQ(out.strides, row.strides);
    EXPECT_EQ(out.cycle, row.cycle);
    EXPECT_NEAR(out.speed, row.speed, 1e-4);
    EXPECT_NEAR(out.totalDistance, row.strides * row.speed * row.cycle, 0.01);
  }
}

/// Right and left in turn every 15 frames from 100 on, 10 units apart, with the stance's heading.
MotionCore FigureWithSteps(int count) {
  MotionCore core = test::MakeFigure();
  std::vector<NewFootstep> plan;
  for (int i = 0; i < count; ++i) {
    const Point3 place{10.0f * static_cast<float>(i), 0, i % 2 == 0 ? 3.0f : -3.0f};
    plan.push_back({i % 2, (100 + 15 * i) * kFrame, 10 * kFrame, place, 0});
  }
  EXPECT_TRUE(PlaceFootsteps(core, plan).Done());
  return core;
}

TEST(PlaceMultiple, InsertsAtTheCurrentTime) {
  GaitSettings settings;
  MultFprintParams params = ParamsOf(kWalk, 3);
  params.multiInsertInTime = 1;

  // The standing pair takes the current time; the rest follows it.
  MotionCore empty = test::MakeFigure();
  ASSERT_TRUE(Place(empty, settings, params, 40 * kFrame).Done());
  EXPECT_EQ(StartFrames(empty), (std::vector<int>{40, 40, 70}));

  // Before all others a batch ends where the first of them stands.
  MotionCore before = FigureWithSteps(4);
  settings.nextSide = kLeft;
  ASSERT_TRUE(Place(before, settings, params, 20 * kFrame).Done());
  EXPECT_EQ(StartFrames(before), (std::vector<int>{20, 35, 50, 100, 115, 130, 145}));
  EXPECT_LT(Length(before.footsteps.position[2] - before.footsteps.position[3]), 1e-4f);
  const float stride = 0.75f * before.leg[0].totalLength;
  EXPECT_NEAR(before.footsteps.position[0].x, -2 * stride, 1e-3);

  // Between others it sets out from the one before.
  MotionCore between = FigureWithSteps(2);
  const NewFootstep far{kRight, 400 * kFrame, 10 * kFrame, {99, 0, 3}, 0};
  ASSERT_TRUE(PlaceFootsteps(between, {&far, 1}).Done());
  settings.nextSide = kRight;
  ASSERT_TRUE(Place(between, settings, params, 200 * kFrame).Done());
  EXPECT_EQ(StartFrames(between), (std::vector<int>{100, 115, 200, 215, 230, 400}));
  EXPECT_NEAR(between.footsteps.position[2].x, 10 + stride, 1e-3);
}

// Nothing changes, and the answer says which footstep it was.
TEST(PlaceMultiple, RefusesWholeBatches) {
  const struct {
    const char* what;
    int gait;
    void (*change)(MultFprintParams&, GaitSettings&, MotionCore&);
    TimeValue nowFrame;
    PlaceStatus status;
    int failing;
  } rows[] = {
      {"double support", kWalk,
       [](MultFprintParams& p, GaitSettings& s, MotionCore&) {
         p.autoTiming = 0;
         s.Durations().air = 9 * kFrame;
       },
       0, PlaceStatus::kDoubleSupportTooLong, 0},
      {"double support of the target", kWalk,
       [](MultFprintParams& p, GaitSettings&, MotionCore&) {
         p.autoTiming = 0;
         p.interpTiming = 1;
       },
       0, PlaceStatus::kDoubleSupportTooLong, 0},
      {"a hop that stays down", kRun,
       [](MultFprintParams& p, GaitSettings& s, MotionCore&) {
         p.autoTiming = p.alternate = 0;
         s.Durations().air = kFrame - 1;
       },
       0, PlaceStatus::kNeverInTheAir, 0},
      {"a time before 0", kWalk,
       [](MultFprintParams& p, GaitSettings&, MotionCore&) { p.multiInsertInTime = 1; }, -1,
       PlaceStatus::kNegativeTime, 0},
      {"far from the inactive", kWalk,
       [](MultFprintParams& p, GaitSettings&, MotionCore& core) {
         p.multiInsertInTime = 1;
         for (int i = 0; i < 3; ++i) core.footsteps.active.Set(i);
       },
       50, PlaceStatus::kOutsideInactive, 0},
      // 20, 35, 50, 65, 80: the sixth would touch at 95 and stand when the right foot comes at 100.
      {"into the others", kWalk,
       [](MultFprintParams& p, GaitSettings& s, MotionCore&) {
         p.multiInsertInTime = 1;
         p.numFootsteps = 8;
         s.nextSide = kLeft;
       },
       20, PlaceStatus::kDoesNotFit, 6},
      {"a stride without end", kWalk,
       [](MultFprintParams& p, GaitSettings&, MotionCore&) { p.paramStrideLength1 = 1e38f; }, 0,
       PlaceStatus::kBadValue, 0},
      {"a cycle below a frame", kRun,
       [](MultFprintParams& p, GaitSettings&, MotionCore&) { p.cycle1 = kFrame - 1; }, 0,
       PlaceStatus::kBadValue, 0},
      {"back in time", kRun,
       [](MultFprintParams& p, GaitSettings& s, MotionCore&) {
         p.autoTiming = 0;
         s.Durations().air = -20 * kFrame;
       },
       0, PlaceStatus::kBadValue, 0},
      {"a cycle past all time", kWalk,
       [](MultFprintParams& p, GaitSettings&, MotionCore&) { p.cycle1 = kTimeMax; }, 0,
       PlaceStatus::kBadValue, 0},
      {"no gait", kWalk, [](MultFprintParams&, GaitSettings& s, MotionCore&) { s.nextSide = 2; }, 0,
       PlaceStatus::kBadValue, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    MotionCore core = FigureWithSteps(5);
    GaitSettings settings;
    settings.fsGaitMode = row.gait;
    MultFprintParams params = ParamsOf(row.gait, 4);
    row.change(params, settings, core);
    const Kept before = KeptOf(core, settings);
    const PlaceResult result = Place(core, settings, params, row.nowFrame * kFrame);
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(result.failing, row.failing);
    EXPECT_EQ(result.placed, 0);
    EXPECT_TRUE(KeptOf(core, settings) == before);
  }
}

TEST(PlaceFootsteps, TakesAPlanWholeOrNamesItsRow) {
  MotionCore core = test::MakeFigure();
  std::vector<NewFootstep> plan;
  for (int i = 0; i < 50000; ++i) {
    const float turn = 0.3f * static_cast<float>(i);
    plan.push_back({i % 2, i * 15 * kFrame, 18 * kFrame, 100 * LeftOf(turn), turn});
  }
  const auto row = [](int side, int start, int frames, float x = 0, float angle = 0) {
    return NewFootstep{side, start * kFrame, frames * kFrame, {x, 0, 0}, angle};
  };
  const int last = 49999 * 15;
  const float nan = std::nanf("");
  const struct {
    const char* what;
    NewFootstep added;
    PlaceStatus status;
  } rows[] = {
      {"overlap", row(kLeft, last + 18, 5), PlaceStatus::kDoesNotFit},
      {"order", row(kRight, last - 1, 5), PlaceStatus::kOutOfOrder},
      {"no duration", row(kRight, last + 99, 0), PlaceStatus::kBadValue},
      {"side", row(2, last + 99, 5), PlaceStatus::kBadValue},
      {"place", row(kLeft, last + 99, 5, nan), PlaceStatus::kBadValue},
      {"far place", row(kLeft, last + 99, 5, -1e18f), PlaceStatus::kBadValue},
      {"heading", row(kLeft, last + 99, 5, 0, nan), PlaceStatus::kBadValue},
      {"end", row(kLeft, last + 99, 875000 - last - 99), PlaceStatus::kTooLate},
      {"far end", {kLeft, kTimeMax - 5, kTimeMax, {}, 0}, PlaceStatus::kTooLate},
  };
  for (const auto& r : rows) {
    SCOPED_TRACE(r.what);
    plan.push_back(r.added);
    const PlaceResult result = PlaceFootsteps(core, plan);
    EXPECT_EQ(result.status, r.status);
    EXPECT_EQ(result.failing, 50001);
    EXPECT_EQ(core.footsteps.numFootsteps, 0);
    EXPECT_FALSE(core.footstepsPending);
    plan.pop_back();
  }
  ASSERT_TRUE(PlaceFootsteps(core, plan).Done());
  EXPECT_EQ(core.footsteps.numFootsteps, 50000);
  EXPECT_TRUE(CheckFootsteps(core.footsteps));
  EXPECT_TRUE(core.footstepsPending);
  EXPECT_NEAR(core.footsteps.angle.back(), 0.3f * 49999, 1e-2);  // turn after turn, not wrapped

  // Both feet may touch at once.
  MotionCore pair = test::MakeFigure();
  EXPECT_TRUE(PlaceFootsteps(pair, std::vector{row(kLeft, 3, 5), row(kRight, 3, 5)}).Done());
  EXPECT_EQ(PlaceFootstepAt(pair, 2, row(kLeft, 2, 1)).status, PlaceStatus::kOutOfOrder);
  EXPECT_TRUE(PlaceFootstepAt(pair, 2, row(kLeft, 9, 5)).Done());
  EXPECT_TRUE(PlaceFootstepAt(pair, 0, row(kRight, 0, 3)).Done());
  EXPECT_TRUE(CheckFootsteps(pair.footsteps));
  const NewFootstep early = row(kLeft, -1, 5);
  EXPECT_EQ(PlaceFootsteps(pair, {&early, 1}).status, PlaceStatus::kNegativeTime);
}

TEST(AddFootprint, AnswersWithTheScriptsNumbers) {
  GaitSettings settings;
  MotionCore empty = test::MakeFigure();
  EXPECT_EQ(AddFootprint(empty, settings, {}, 0), kAddNoFootsteps);
  settings.fsCreateState = true;
  EXPECT_EQ(AddFootprint(empty, settings, {}, -1), kAddNegativeTime);
  EXPECT_EQ(AddFootprint(empty, settings, {{std::nanf(""), 0, 0}, 0}, 0), kAddDoesNotFit);
  EXPECT_EQ(empty.footsteps.numFootsteps, 0);
  EXPECT_EQ(settings.nextSide, kLeft);

  MotionCore core = FigureWithSteps(6);
  for (int i = 0; i < 4; ++i) core.footsteps.active.Set(i);
  EXPECT_EQ(AddFootprint(core, settings, {}, 112 * kFrame), kAddOutsideInactive);
  settings.nextSide = kRight;
  EXPECT_EQ(AddFootprint(core, settings, {}, 161 * kFrame), kAddDoesNotFit);
  settings.Durations() = {18 * kFrame, 9 * kFrame};
  EXPECT_EQ(AddFootprint(core, settings, {}, 300 * kFrame), kAddNoSwing);
  EXPECT_EQ(core.footsteps.numFootsteps, 6);

  // At the end too: a footstep in the middle still waits for its motion.
  settings = {};
  for (int i = 0; i < 6; ++i) core.footsteps.active.Set(i, i != 1);
  EXPECT_EQ(AddFootprint(core, settings, {}, 0), kAddOutsideInactive);
  core.footsteps.active.Set(1);
  EXPECT_EQ(AddFootprint(core, settings, {}, 0), kFootstepAdded);
}

TEST(AddFootprint, PlacesAtAPointAndHeadsAwayFromTheStepBefore) {
  MotionCore core = test::MakeFigure();
  PlaceFigure(core, {}, 0.6f);
  test::Evaluate(core, 0);
  GaitSettings settings;
  settings.fsCreateState = true;
  ASSERT_EQ(AddFootstepNow(core, settings, {0, 0, -3}, 10 * kFrame), kFootstepAdded);
  EXPECT_NEAR(core.footsteps.angle[0], 0.6f, 1e-6);  // the body's
  settings.fsCreateState = false;
  ASSERT_EQ(AddFootstepNow(core, settings, {0, 1, -23}, 0), kFootstepAdded);  // straight left
  EXPECT_NEAR(core.footsteps.angle[1], kHalfPi, 1e-6);
  EXPECT_LT(Length(core.footsteps.transform[1].Origin() - Point3{0, 23, 1}), 1e-5f);
  EXPECT_EQ(StartFrames(core), (std::vector<int>{10, 25}));
  EXPECT_EQ(Sides(core), (std::vector<int>{1, 0}));
  EXPECT_TRUE(CheckFootsteps(core.footsteps));
}

}  // namespace
}  // namespace strider
