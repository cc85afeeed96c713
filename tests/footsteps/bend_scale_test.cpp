#include "strider/footsteps/bend_scale.h"

#include "strider/footsteps/footstep_edit.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::Distance;

struct Step {
  Point3 position;
  float angle = 0;
  bool selected = true;
};

/// Footsteps of the two sides in turn.
MotionCore CoreWith(const std::vector<Step>& steps) {
  MotionCore core;
  FootstepTrack& track = core.footsteps;
  for (const Step& step : steps) {
    const int i = track.numFootsteps;
    EXPECT_EQ(InsertFootstep(track, i, {i % 2, i * 800, 960, step.position, step.angle}), kDone);
    SelectFootstep(track, i, step.selected);
  }
  TransformsFromPositions(track);
  return core;
}

/// Steps straight ahead, ten units each, of which those from `first` to `last` are selected.
std::vector<Step> Straight(int count, int first, int last) {
  std::vector<Step> steps;
  for (int i = 0; i < count; ++i) {
    steps.push_back({{10.0f * static_cast<float>(i), 0, 0}, 0, i >= first && i <= last});
  }
  return steps;
}

void ExpectSteps(const MotionCore& core, const std::vector<Step>& expected, float tolerance) {
  const FootstepTrack& track = core.footsteps;
  ASSERT_EQ(track.numFootsteps, static_cast<int>(expected.size()));
  for (std::size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_LT(Distance(track.position[i], expected[i].position), tolerance);
    EXPECT_NEAR(track.angle[i], expected[i].angle, 1e-5);
    // The form that is stored follows: host space, the heading in its first row.
    EXPECT_LT(Distance(track.transform[i].Origin(), HostFromCore(track.position[i])), 1e-5f);
    EXPECT_LT(std::fabs(std::remainder(HeadingOf(track.transform[i]) - track.angle[i], kTwoPi)),
              2e-3f);
  }
}

// Worked by hand: quarter turns at footsteps 1 and 2, the tail as one piece.
TEST(BendFootprints, TurnsThePathToTheLeftAtEachFootstepOfARun) {
  MotionCore core = CoreWith(Straight(5, 1, 2));
  ASSERT_EQ(BendFootprints(core, kHalfPi), kDone);
  const float quarter = kHalfPi;
  ExpectSteps(core,
              {{{0, 0, 0}, 0},
               {{10, 0, 0}, quarter / 2},
               {{10, 0, -10}, quarter * 1.5f},
               {{0, 0, -10}, 2 * quarter},
               {{-10, 0, -10}, 2 * quarter}},
              1e-4f);
}

/// The same bend as a walk over the pivots, each turning all that follows it.
void BendByPivots(std::vector<Step>& steps, float angle) {
  const auto count = steps.size();
  for (std::size_t i = 0; i < count; ++i) {
    const bool beside =
        (i > 0 && steps[i - 1].selected) || (i + 1 < count && steps[i + 1].selected);
    if (!steps[i].selected || !beside) continue;
    const Point3 pivot = steps[i].position;
    for (std::size_t k = i; k < count; ++k) {
      steps[k].position = pivot + Rotate(AboutY(angle), steps[k].position - pivot);
      steps[k].angle += k == i ? 0.5f * angle : angle;
    }
  }
}

std::vector<Step> RandomSteps(test::Random& random, int count) {
  std::vector<Step> steps;
  Point3 place;
  for (int i = 0; i < count; ++i) {
    place += random.Inside(20);
    steps.push_back({place, random.Between(-1, 1), random.Int(0, 2) > 0});
  }
  steps[1].selected = steps[2].selected = true;  // a run in any case
  return steps;
}

TEST(BendFootprints, AgreesWithAWalkOverThePivots) {
  test::Random random(3);
  for (int round = 0; round < 50; ++round) {
    const std::vector<Step> steps = RandomSteps(random, random.Int(3, 20));
    MotionCore core = CoreWith(steps);
    std::vector<Step> bent = steps;
    const float angle = random.Between(-0.4f, 0.4f);
    BendByPivots(bent, angle);
    ASSERT_EQ(BendFootprints(core, angle), kDone);
    for (Step& step : bent) step.angle = std::remainder(step.angle, kTwoPi);
    for (int i = 0; i < core.footsteps.numFootsteps; ++i) {
      const auto k = static_cast<std::size_t>(i);
      EXPECT_LT(Distance(core.footsteps.position[k], bent[k].position), 1e-2f);
      EXPECT_NEAR(std::remainder(core.footsteps.angle[k] - bent[k].angle, kTwoPi), 0, 1e-4);
    }
  }
}

TEST(BendFootprints, DraggingToAndFroEndsWhereItBegan) {
  test::Random random(4);
  MotionCore core = CoreWith(RandomSteps(random, 12));
  const FootstepReference before = ReferenceOf(core.footsteps);
  for (const float angle : {0.3f, -1.0f, 2.5f, 0.1f}) {
    ASSERT_EQ(BendFootprints(core, before, angle), kDone);
  }
  MotionCore once = core;
  ASSERT_EQ(BendFootprints(once, before, 0.1f), kDone);
  EXPECT_EQ(core.footsteps.position, once.footsteps.position);
  ASSERT_EQ(BendFootprints(core, before, 0), kDone);
  EXPECT_EQ(core.footsteps.position, before.position);
  EXPECT_EQ(core.footsteps.angle, before.angle);
}

TEST(BendFootprints, RefusesWhatIsNoBendAndChangesNothing) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const struct {
    const char* what;
    std::vector<Step> steps;
    float angle;
  } rows[] = {{"no footsteps", {}, 1},
              {"none selected", Straight(4, 9, 9), 1},
              {"a run of one", Straight(4, 2, 2), 1},
              {"not a number", Straight(4, 0, 3), nan}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    MotionCore core = CoreWith(row.steps);
    const FootstepReference before = ReferenceOf(core.footsteps);
    EXPECT_EQ(BendFootprints(core, row.angle), kRefused);
    EXPECT_EQ(core.footsteps.position, before.position);
    EXPECT_EQ(core.footsteps.angle, before.angle);
  }
  MotionCore core = CoreWith(Straight(4, 0, 3));
  EXPECT_EQ(BendFootprints(core, ReferenceOf(CoreWith(Straight(3, 0, 2)).footsteps), 1), kRefused);
}

/// A walk of strides of 10, feet 4 apart, rising 1 a step, headed by `heading`.
std::vector<Step> Walk(float heading, bool selected = true) {
  std::vector<Step> steps;
  for (int i = 0; i < 6; ++i) {
    const float n = static_cast<float>(i);
    const Point3 place = n * 10 * ForwardOf(heading) +
                         (i % 2 == 1 ? 4.0f : 0.0f) * LeftOf(heading) + Point3{0, n, 0};
    steps.push_back({place, heading, selected});
  }
  return steps;
}

TEST(ScaleFootprints, ScalesLengthWidthOrWholeSteps) {
  const float heading = 0.7f;
  const struct {
    const char* what;
    FootstepScale scale;
    float ahead, aside, up;  // of one step to the left
  } rows[] = {
      {"length", {2, 5, true, false}, 20, 4, 1},
      {"width", {5, 2, false, true}, 10, 8, 2},
      {"both alike", {2, 2, true, true}, 20, 8, 2},
      {"both unlike: two edits", {2, 3, true, true}, 10, 4, 1},
      {"by one", {1, 1, true, true}, 10, 4, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    MotionCore core = CoreWith(Walk(heading));
    ASSERT_EQ(ScaleFootprints(core, row.scale), kDone);
    for (std::size_t i = 0; i < 6; ++i) {
      const float n = static_cast<float>(i);
      const Point3 expected = n * row.ahead * ForwardOf(heading) +
                              (i % 2 == 1 ? row.aside : 0.0f) * LeftOf(heading) +
                              Point3{0, n * row.up, 0};
      EXPECT_LT(Distance(core.footsteps.position[i], expected), 1e-4f) << i;
      EXPECT_NEAR(core.footsteps.angle[i], heading, 1e-6);
    }
  }
}

TEST(ScaleFootprints, LeavesTheStepsAfterARunAsTheyWere) {
  MotionCore core = CoreWith(Straight(6, 1, 3));
  ASSERT_EQ(ScaleFootprints(core, {1.5f, 1, true, false}), kDone);
  const float expected[] = {0, 10, 25, 40, 50, 60};
  for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(core.footsteps.position[i].x, expected[i], 1e-4);
}

// Travel in a bent run is along the arc, so it does not matter which edit comes first.
TEST(ScaleFootprints, AgreesWithABendAfterIt) {
  const FootstepScale scales[] = {{1.6f, 1, true, false}, {1, 0.5f, false, true}};
  for (const FootstepScale& scale : scales) {
    MotionCore a = CoreWith(Walk(0.2f)), b = CoreWith(Walk(0.2f));
    ASSERT_EQ(ScaleFootprints(a, scale), kDone);
    ASSERT_EQ(BendFootprints(a, 0.35f), kDone);
    ASSERT_EQ(BendFootprints(b, 0.35f), kDone);
    ASSERT_EQ(ScaleFootprints(b, scale), kDone);
    for (std::size_t i = 0; i < 6; ++i) {
      EXPECT_LT(Distance(a.footsteps.position[i], b.footsteps.position[i]), 1e-3f) << i;
    }
  }
}

TEST(ScaleFootprints, RefusesWithoutAFactorOrARun) {
  MotionCore core = CoreWith(Walk(0)), unselected = CoreWith(Walk(0, false));
  const float huge = std::numeric_limits<float>::infinity();
  EXPECT_EQ(ScaleFootprints(core, {2, 2, false, false}), kRefused);
  EXPECT_EQ(ScaleFootprints(core, {huge, 2, true, false}), kRefused);
  EXPECT_EQ(ScaleFootprints(core, {3e38f, 1, true, false}), kRefused) << "leaves the floats";
  EXPECT_EQ(ScaleFootprints(unselected, {2, 2, true, true}), kRefused);
  EXPECT_EQ(core.footsteps.position, ReferenceOf(CoreWith(Walk(0)).footsteps).position);
}

TEST(RescaleFootprints, ExchangesTheHipWidthAndGrowsTheRestWithTheLeg) {
  // Step of 5 in plan (3 ahead, 4 aside), of which hips take 2: 3 more, twice as long 6, hips 7.
  MotionCore core = CoreWith({{{1, 1, 1}}, {{4, 2, -3}}});
  ASSERT_EQ(RescaleFootprints(core, {2, 2, 7}), kDone);
  ExpectSteps(core, {{{1, 1, 1}}, {{1 + 3 * 13 / 5.0f, 3, 1 - 4 * 13 / 5.0f}}}, 1e-4f);

  // Closer than the old hips and the new ones gone: the foot stays with the other, on its side.
  core = CoreWith({{{0, 0, 0}}, {{1, 0, 0}}, {{1, 0, 0}}});
  ASSERT_EQ(RescaleFootprints(core, {2, 4, 0}), kDone);
  ExpectSteps(core, {{{0, 0, 0}}, {{0, 0, 0}}, {{0, 0, 0}}}, 1e-6f);
}

TEST(RescaleFootprints, GrowsTheWholePathWithAFigureThatGrowsEvenly) {
  test::Random random(9);
  const std::vector<Step> steps = RandomSteps(random, 40);
  MotionCore core = CoreWith(steps);
  ASSERT_EQ(RescaleFootprints(core, {2.5f, 1.5f, 2.5f * 1.5f}), kDone);
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const Point3 expected = steps[0].position + 2.5f * (steps[i].position - steps[0].position);
    EXPECT_LT(Distance(core.footsteps.position[i], expected), 1e-2f) << i;
  }
  for (const FigureRescale& bad :
       {FigureRescale{0, 1, 1}, FigureRescale{-1, 1, 1}, FigureRescale{1, HUGE_VALF, 1}}) {
    EXPECT_EQ(RescaleFootprints(core, bad), kRefused);
  }
}

}  // namespace
}  // namespace strider
