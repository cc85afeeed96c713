// Footsteps that move take their motion along: what generation would have made of them, and what
// was edited into the motion by hand.
#include "strider/footsteps/adapt.h"

#include <functional>

#include "strider/footsteps/activate.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/motion_measures.h"
#include "strider/footsteps/rescale.h"
#include "strider/footsteps/retime.h"
#include "strider/footsteps/sample_motions.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using Edit = std::function<void(FootstepTrack&)>;

AdaptResult Adapt(MotionCore& core, int first, int last, const Edit& edit,
                  const AdaptLocks& locks = {}) {
  const FootstepTrack before = core.footsteps;
  edit(core.footsteps);
  return AdaptMotion(core, before, first, last, locks, {});
}

/// Largest distance of any joint of the legs and the body over both motions.
float Apart(MotionCore a, MotionCore b) {
  float apart = 0;
  for (TimeValue t = 0; t <= a.endTime; t += kDynamicsFrame / 2) {
    CorePose(a, t, {});
    CorePose(b, t, {});
    apart = std::max(apart, test::Distance(a.body.bodyPosition, b.body.bodyPosition));
    for (int side = 0; side < 2; ++side) {
      for (int k = 0; k < 3; ++k) {
        apart = std::max(
            apart, test::Distance(a.leg[side].frame[k].Origin(), b.leg[side].frame[k].Origin()));
      }
    }
  }
  return apart;
}

TEST(AdaptMotion, GivesWhatGenerationWouldMake) {
  const struct {
    const char* what;
    int first, last;
    Edit edit;
    float bound;  // of the leg
  } rows[] = {
      {"nothing", 5, 5, [](FootstepTrack&) {}, 1e-4f},
      {"one ahead", 5, 5, [](FootstepTrack& t) { t.position[5].x += 3; }, 0.01f},
      {"one aside and turned", 6, 6,
       [](FootstepTrack& t) {
         t.position[6].z += 2;
         t.angle[6] += 0.2f;
       },
       0.02f},
      {"one higher", 5, 5, [](FootstepTrack& t) { t.position[5].y += 2; }, 0.01f},
      {"all later", 0, 11,
       [](FootstepTrack& t) {
         for (auto& spans : t.spans) {
           for (FootstepSpan& span : spans) span.start += 10 * kDynamicsFrame;
         }
       },
       0.005f},
      {"the last longer on the ground", 11, 11,
       [](FootstepTrack& t) { SpanOf(t, 11)->duration += 6 * kDynamicsFrame; }, 0.05f},
  };
  for (const SampleMotion sample : {SampleMotion::kWalk, SampleMotion::kStairs}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.what);
      MotionCore adapted = MakeSample(sample, 80), made = MakeSampleFootsteps(sample, 80);
      ASSERT_EQ(Adapt(adapted, row.first, row.last, row.edit), AdaptResult::kDone);
      row.edit(made.footsteps);
      ASSERT_EQ(NewFootprintKeys(made, {}), ActivationResult::kDone);
      const float leg = made.leg[kRight].totalLength;
      EXPECT_LT(Apart(adapted, made) / leg, row.bound);
      EXPECT_TRUE(CheckFootsteps(adapted.footsteps));
      for (int id : {kRightLeg, kLeftLeg, kVertical, kHorizontal, kTurn, kSpine}) {
        EXPECT_TRUE(CheckTrack(*FindTrack(adapted, id))) << id;
      }
    }
  }
}

TEST(AdaptMotion, KeepsWhatWasEditedByHand) {
  MotionCore core = MakeSample(SampleMotion::kWalk, 80);
  KeyTable<HorizontalKey>& path = core.body.horizontal;
  const int key = path.track.numKeys / 2;
  const Point3 was = path[key].position;
  path.keys[static_cast<std::size_t>(key)].position.z += 1.5f;
  MarkDirty(path.track, key, key);
  ASSERT_EQ(Adapt(core, 6, 6, [](FootstepTrack& t) { t.position[6].x += 2; }), AdaptResult::kDone);
  EXPECT_NEAR(path[key].position.z - was.z, 1.5f, 1e-3f);
}

TEST(AdaptMotion, LeavesLockedPartsAlone) {
  const MotionCore made = MakeSample(SampleMotion::kWalk, 80);
  const Edit edit = [](FootstepTrack& t) {
    t.position[6] += Point3{2, 1, 1};
    t.angle[6] += 0.3f;
  };
  const struct {
    const char* what;
    AdaptLocks locks;
    std::function<bool(const MotionCore&)> same;
  } rows[] = {
      {"horz",
       {.horz = true},
       [&](const MotionCore& c) { return c.body.horizontal.keys == made.body.horizontal.keys; }},
      {"vert",
       {.vert = true},
       [&](const MotionCore& c) { return c.body.vertical.keys == made.body.vertical.keys; }},
      {"turn",
       {.turn = true},
       [&](const MotionCore& c) { return c.body.turn.keys == made.body.turn.keys; }},
      {"left",
       {.lleg = true},
       [&](const MotionCore& c) { return c.leg[kLeft].table.keys == made.leg[kLeft].table.keys; }},
      {"right",
       {.rleg = true},
       [&](const MotionCore& c) {
         return c.leg[kRight].table.keys == made.leg[kRight].table.keys;
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    MotionCore locked = made, free = made;
    ASSERT_EQ(Adapt(locked, 6, 6, edit, row.locks), AdaptResult::kDone);
    ASSERT_EQ(Adapt(free, 6, 6, edit), AdaptResult::kDone);
    EXPECT_TRUE(row.same(locked));
    EXPECT_FALSE(row.same(free));
  }
}

TEST(AdaptMotion, RebuildsWhereSupportsNoLongerFollowEachOther) {
  MotionCore core = MakeSample(SampleMotion::kWalk, 80);
  const Edit remove = [](FootstepTrack& t) { ASSERT_EQ(DeleteFootstep(t, 11), kDone); };
  EXPECT_EQ(Adapt(core, 10, 10, remove), AdaptResult::kRebuilt);
  EXPECT_EQ(core.endTime, LastFootstepTime(core.footsteps));
  const Edit removeAllButOne = [](FootstepTrack& t) {
    while (t.numFootsteps > 1) ASSERT_EQ(DeleteFootstep(t, 1), kDone);
  };
  EXPECT_EQ(Adapt(core, 0, 0, removeAllButOne), AdaptResult::kRebuilt);
  EXPECT_TRUE(core.freeForm);
  EXPECT_EQ(core.footsteps.numFootsteps, 0);
}

TEST(CheckPattern, RebuildsWhereTimesOfSupportChanged) {
  MotionCore core = MakeSample(SampleMotion::kWalk, 80);
  SaveTransitions(core.footsteps);
  core.footsteps.position[5].x += 3;
  EXPECT_EQ(CheckPattern(core, false, {}), AdaptResult::kNothing) << "no time has changed";

  ASSERT_EQ(RetimeFootstep(core.footsteps, 5, SpanOf(core.footsteps, 5)->start + kDynamicsFrame,
                           SpanOf(core.footsteps, 5)->duration),
            kDone);
  EXPECT_EQ(CheckPattern(core, false, {}), AdaptResult::kRebuilt);
  MotionCore anew = core;
  ASSERT_EQ(RebuildMotion(anew, {}), AdaptResult::kRebuilt);
  EXPECT_LT(Apart(core, anew), 1e-4f);
  SaveTransitions(core.footsteps);
  EXPECT_EQ(CheckPattern(core, false, {}), AdaptResult::kNothing);
  EXPECT_EQ(CheckPattern(core, true, {}), AdaptResult::kRebuilt) << "forced";
  core.footsteps.active.Set(3, false);
  ASSERT_EQ(DeleteFootstep(core.footsteps, 11), kDone);
  EXPECT_EQ(CheckPattern(core, false, {}), AdaptResult::kNothing) << "footsteps wait";
}

TEST(SetHeightOfMotion, GrowsTheWholeMotionOrKeepsTheFootsteps) {
  for (const bool scaleStrides : {true, false}) {
    const MotionCore small = MakeSample(SampleMotion::kWalk, 80);
    MotionCore grown = small;
    const float factor = 1.1f;
    ASSERT_EQ(SetHeightOfMotion(grown, 88, scaleStrides, {}), kDone);
    EXPECT_NEAR(grown.body.gravAccel, small.body.gravAccel * factor, 1e-4f);
    const Point3 fixed = small.footsteps.position[0];
    for (std::size_t i = 0; i < 12; ++i) {
      const Point3 step = small.footsteps.position[i] - fixed;
      const Point3 wanted = fixed + (scaleStrides ? factor : 1.0f) * step;
      EXPECT_LT(test::Distance(grown.footsteps.position[i], wanted), 1e-2f) << i;
    }
    const MotionMeasures measures = MeasureMotion(grown, {});
    EXPECT_LT(measures.footprintDistance.high, 1) << scaleStrides;
  }
}

}  // namespace
}  // namespace strider
