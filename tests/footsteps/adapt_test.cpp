// Footsteps that move take their motion along: what generation would have made of them, and what
// was edited into the motion by hand.
#include "strider/footsteps/adapt.h"

#include <functional>

#include "strider/core/limb_keys.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/retime.h"
#include "strider/footsteps/sample_motions.h"
#include "tests/footsteps/contact_fixture.h"

namespace strider {
namespace {

using Edit = std::function<void(FootstepTrack&)>;

AdaptResult Adapt(MotionCore& core, int first, int last, const Edit& edit,
                  const AdaptLocks& locks = {}) {
  const FootstepTrack before = core.footsteps;
  edit(core.footsteps);
  return AdaptMotion(core, before, first, last, locks, {});
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
       1e-4f},
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
      EXPECT_LT(test::Apart(adapted, made) / leg, row.bound);
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

// --- Free-form in the middle of a walk ----------------------------------------------------------

/// Both feet are off from frame 102 to 120; footstep 4 opens free-form up to frame 119.
MotionCore WithFreeForm() {
  MotionCore core = test::WithContacts(test::Gait(6, 60, 12, 15, 3));
  EXPECT_EQ(SetFreeFormAfter(core.footsteps, 4, true), kDone);
  EXPECT_EQ(core.footsteps.freeFormStart[4], 102 * kDynamicsFrame);
  EXPECT_EQ(core.footsteps.freeFormEnd[4], 119 * kDynamicsFrame);
  return core;
}

TEST(AdaptMotion, GoesAroundFreeFormAsGenerationDoes) {
  const struct {
    const char* what;
    int first, last;
    Edit edit;
  } rows[] = {
      {"the one that opens it", 4, 4, [](FootstepTrack& t) { t.position[4].x += 2; }},
      {"the one that ends it", 5, 5,
       [](FootstepTrack& t) {
         t.position[5] += Point3{3, 1, 1};
       }},
      {"far before it", 1, 1, [](FootstepTrack& t) { t.position[1].z -= 1; }},
      {"all later", 0, 7,
       [](FootstepTrack& t) {
         for (auto& spans : t.spans) {
           for (FootstepSpan& span : spans) span.start += 7 * kDynamicsFrame;
         }
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    MotionCore adapted = WithFreeForm(), made = adapted;
    ASSERT_EQ(NewFootprintKeys(adapted, {}), ActivationResult::kDone);
    ASSERT_EQ(Adapt(adapted, row.first, row.last, row.edit), AdaptResult::kDone);
    row.edit(made.footsteps);
    RefreshFreeFormIntervals(made.footsteps);
    ASSERT_EQ(NewFootprintKeys(made, {}), ActivationResult::kDone);
    EXPECT_EQ(adapted.footsteps.freeFormStart, made.footsteps.freeFormStart);
    EXPECT_LT(test::Apart(adapted, made) / made.leg[kRight].totalLength, 2e-3f);
    test::ExpectFeetOnFootsteps(adapted);
  }
}

TEST(AdaptMotion, KeysInFreeFormGoAlongUnlessLocked) {
  const TimeValue t = 110 * kDynamicsFrame;
  MotionCore made = WithFreeForm();
  ASSERT_EQ(NewFootprintKeys(made, {}), ActivationResult::kDone);
  LimbRecord& left = made.leg[kLeft];
  CorePose(made, t, {});
  ASSERT_EQ(PutKey(made, kLeftLeg, t, CurrentLimbKey(made, left, kPlantedKey)), KeyRefusal::kNone);
  const auto keyAt = [](const MotionCore& core, TimeValue at) {
    const KeyTable<LimbKey>& table = core.leg[kLeft].table;
    return KeyAt(table.track, at);
  };
  const auto ankle = [](MotionCore core, TimeValue at) {
    CorePose(core, at, {});
    return core.leg[kLeft].frame[2].Origin();
  };
  const auto all = [](FootstepTrack& track) {
    for (Point3& place : track.position) place += Point3{4, 0, 2};
  };
  for (const bool locked : {false, true}) {
    MotionCore core = made;
    ASSERT_EQ(Adapt(core, 0, 7, all, {.freeform = locked}), AdaptResult::kDone);
    const int is = keyAt(core, t), was = keyAt(made, t);
    const LimbKey &now = core.leg[kLeft].table[is], &old = made.leg[kLeft].table[was];
    EXPECT_EQ(now.objectTarget == old.objectTarget && now.limbRotation == old.limbRotation, locked);
    const Point3 moved = locked ? Point3{} : Point3{4, 0, 2};  // it is held in the world
    EXPECT_LT(test::Distance(ankle(core, t), ankle(made, t) + moved), 0.01f);
  }

  // Of 17 frames of the interval 8 lie before the key: 16 of 34, and 3.3 of 7.
  const auto later = [](int frames) {
    return [frames](FootstepTrack& track) {
      for (int i = 5; i < 8; ++i) SpanOf(track, i)->start += frames * kDynamicsFrame;
    };
  };
  const struct { int frames, key; } rows[] = {{17, 118}, {-10, 105}};
  for (const auto& row : rows) {
    MotionCore core = made, timed = made;
    ASSERT_EQ(Adapt(core, 5, 7, later(row.frames)), AdaptResult::kDone);
    EXPECT_GE(keyAt(core, row.key * kDynamicsFrame), 0) << row.frames;
    EXPECT_EQ(keyAt(core, t), -1);
    ASSERT_EQ(Adapt(timed, 5, 7, later(row.frames), {.time = true}), AdaptResult::kDone);
    EXPECT_EQ(test::TimesOf(timed.leg[kLeft].table.track), test::TimesOf(left.table.track));
  }
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

TEST(AdaptMotion, TakesKeysFromBeforeTheFirstFootstepAlong) {
  MotionCore core = MakeSampleFootsteps(SampleMotion::kWalk, 80);
  for (auto& spans : core.footsteps.spans) {
    for (FootstepSpan& span : spans) span.start += 20 * kDynamicsFrame;
  }
  ASSERT_EQ(NewFootprintKeys(core, {}), ActivationResult::kDone);
  const TimeValue early = 5 * kDynamicsFrame;
  for (const int side : {kRight, kLeft}) {
    CorePose(core, early, {});
    LimbRecord& leg = core.leg[side];
    ASSERT_EQ(PutKey(core, LimbId(leg), early, CurrentLimbKey(core, leg, kFreeKey)),
              KeyRefusal::kNone);
  }
  MotionCore moved = core;
  const Point3 by{3, 0, 1};
  const Edit edit = [&](FootstepTrack& t) {
    for (Point3& place : t.position) place += by;
  };
  ASSERT_EQ(Adapt(moved, 0, 11, edit), AdaptResult::kDone);
  CorePose(core, early, {});
  CorePose(moved, early, {});
  for (const int side : {kRight, kLeft}) {
    const Point3 was = core.leg[side].frame[2].Origin();
    EXPECT_LT(test::Distance(moved.leg[side].frame[2].Origin(), was + by), 0.01f);
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
  EXPECT_LT(test::Apart(core, anew), 1e-4f);
  SaveTransitions(core.footsteps);
  EXPECT_EQ(CheckPattern(core, false, {}), AdaptResult::kNothing);
  EXPECT_EQ(CheckPattern(core, true, {}), AdaptResult::kRebuilt) << "forced";
  core.footsteps.active.Set(3, false);
  ASSERT_EQ(DeleteFootstep(core.footsteps, 11), kDone);
  EXPECT_EQ(CheckPattern(core, false, {}), AdaptResult::kNothing) << "footsteps wait";
}

}  // namespace
}  // namespace strider
