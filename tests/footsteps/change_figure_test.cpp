#include "strider/footsteps/change_figure.h"

#include "strider/core/link_counts.h"
#include "strider/core/restructure.h"
#include "strider/footsteps/motion_measures.h"
#include "strider/footsteps/sample_motions.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

/// A figure of other proportions throughout.
MotionCore OtherFigure(float height, int legLinks) {
  Structure s;
  s.height = height;
  s.legLinks = legLinks;
  s.ankleAttach = 0.3f;
  s.spineLinks = 3;
  s.neckLinks = 2;
  MotionCore figure = test::MakeFigure(s);
  figure.pelvis.hipOffset *= 1.3f;
  for (LimbRecord& leg : figure.leg) {
    leg.baseOffset.z *= 1.3f;
    leg.extremityHeight *= 1.2f;
    leg.upperLength *= 1.05f;
    leg.dimensions[0].x = leg.upperLength;
  }
  EXPECT_EQ(SettleFigure(figure), kDone);
  return figure;
}

TEST(SetFigureOfMotion, PutsTheNewFeetOnTheFootsteps) {
  for (const SampleMotion sample :
       {SampleMotion::kWalk, SampleMotion::kRun, SampleMotion::kStairs}) {
    for (const int legLinks : {3, 4}) {
      for (const bool scaleStrides : {true, false}) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(sample) << legLinks << scaleStrides);
        const MotionCore before = MakeSample(sample, 80);
        const MotionCore figure = OtherFigure(90, legLinks);
        MotionCore core = before;
        ASSERT_EQ(SetFigureOfMotion(core, figure, scaleStrides, {}), kDone);
        EXPECT_EQ(core.structure, figure.structure);
        for (int side = 0; side < 2; ++side) {
          EXPECT_EQ(core.leg[side].table.track.numKeys, before.leg[side].table.track.numKeys);
        }
        EXPECT_NEAR(core.body.gravAccel / CoreFigureHeight(core),
                    before.body.gravAccel / CoreFigureHeight(before), 1e-5f);
        const MotionMeasures measures = MeasureMotion(core, {}), was = MeasureMotion(before, {});
        EXPECT_LT(measures.footprintDistance.high, 1);
        EXPECT_LT(measures.groundDepth.high, 1);
        // The body goes with the legs: they are stretched about as far as they were.
        EXPECT_NEAR(measures.reachExcess.high, was.reachExcess.high, 2);
        // With strides the path grows with the legs, without it stays.
        const float grown = figure.leg[0].totalLength / before.leg[0].totalLength;
        const auto path = [](const MotionCore& c) {
          return c.footsteps.position.back().x - c.footsteps.position.front().x;
        };
        EXPECT_NEAR(path(core) / path(before), scaleStrides ? grown : 1, 0.08f);
      }
    }
  }
}

TEST(SetFigureOfMotion, OfTheSameFigureChangesNothing) {
  const MotionCore before = MakeSample(SampleMotion::kRun, 180);
  MotionCore core = before;
  ASSERT_EQ(SetFigureOfMotion(core, FigureOf(before), true, {}), kDone);
  for (int side = 0; side < 2; ++side) {
    EXPECT_EQ(core.leg[side].table.keys, before.leg[side].table.keys);
    EXPECT_EQ(core.arm[side].table.keys, before.arm[side].table.keys);
  }
  EXPECT_EQ(core.body.vertical.keys, before.body.vertical.keys);
  EXPECT_EQ(core.body.gravAccel, before.body.gravAccel);
  MotionCore old = before;
  for (TimeValue t = 0; t < core.endTime; t += 470) {
    CorePose(core, t, {});
    CorePose(old, t, {});
    EXPECT_EQ(test::AllTransforms(core), test::AllTransforms(old));
  }
}

// Without footsteps: feet that stand keep their places, and the body goes up with longer shanks.
TEST(SetFigureOfMotion, KeepsStandingFeetOfAFreeMotion) {
  test::Random random(211);
  MotionCore core = test::MakeFigure();
  test::KeyAllTracks(core, random, {0, 1600, 4800});
  for (LimbRecord& leg : core.leg) {
    for (int i = 0; i < 3; ++i) {
      const TimeValue t = leg.table.TimeOf(i);
      test::Evaluate(core, t);
      ASSERT_EQ(PutKey(core, LimbId(leg), t, CurrentLimbKey(core, leg, kSlidingKey)),
                KeyRefusal::kNone);
    }
  }
  const MotionCore before = core;
  MotionCore figure = FigureOf(core);
  ASSERT_EQ(ChangeNumLinks(figure, kLeftLeg, 4), kDone);
  for (LimbRecord& leg : figure.leg) leg.extremityHeight *= 1.5f;
  ASSERT_EQ(SettleFigure(figure), kDone);
  ASSERT_EQ(SetFigureOfMotion(core, figure, false, {}), kDone);
  const float rise = 0.5f * before.leg[0].extremityHeight +
                     (core.leg[0].rest.bodyTarget.x - before.leg[0].rest.bodyTarget.x);
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(core.body.vertical[i].height, before.body.vertical[i].height + rise, 1e-3f);
    for (int side = 0; side < 2; ++side) {
      EXPECT_LT(test::Distance(core.leg[side].table[i].pivotPosition,
                               before.leg[side].table[i].pivotPosition),
                1e-3f);
    }
  }
}

TEST(SetNumLinksOfMotion, GoesToFourLinksAndBack) {
  const MotionCore before = MakeSample(SampleMotion::kWalk, 80);
  MotionCore core = before;
  EXPECT_EQ(SetNumLinksOfMotion(core, kLeftLeg, 5, true, {}), kRefused);
  for (const int links : {4, 3}) {
    ASSERT_EQ(SetNumLinksOfMotion(core, kLeftLeg, links, true, {}), kDone);
    EXPECT_EQ(core.leg[kRight].table.track.numKeys, before.leg[kRight].table.track.numKeys);
    EXPECT_LT(MeasureMotion(core, {}).footprintDistance.high, 1);
  }
  MotionCore old = before;
  for (TimeValue t = 0; t < core.endTime; t += 160) {
    CorePose(core, t, {});
    CorePose(old, t, {});
    for (int side = 0; side < 2; ++side) {
      EXPECT_LT(test::Distance(core.leg[side].frame[2].Origin(), old.leg[side].frame[2].Origin()),
                0.02f * old.leg[0].totalLength)
          << t;
    }
  }
}

}  // namespace
}  // namespace strider
