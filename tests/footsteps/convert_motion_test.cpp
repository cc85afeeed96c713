// Footsteps taken off a motion and found again, and footsteps found in captured motions: what shows
// stays, and afterwards footsteps can be moved.
#include "strider/footsteps/convert_motion.h"

#include "strider/footsteps/adapt.h"
#include "strider/footsteps/adopt_footsteps.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/motion_measures.h"
#include "strider/footsteps/pose_sample.h"
#include "strider/footsteps/retime.h"
#include "tests/footsteps/captured_fixture.h"
#include "tests/footsteps/contact_fixture.h"

namespace strider {
namespace {

/// Largest distance of the legs' joints at `times`.
float ApartAt(MotionCore a, MotionCore b, const std::vector<TimeValue>& times) {
  float apart = 0;
  for (const TimeValue t : times) {
    CorePose(a, t, {});
    CorePose(b, t, {});
    for (int side = 0; side < 2; ++side) {
      for (int k = 0; k < 3; ++k) {
        apart = std::max(
            apart, test::Distance(a.leg[side].frame[k].Origin(), b.leg[side].frame[k].Origin()));
      }
    }
  }
  return apart;
}

TEST(ConvertMotion, ToFreeFormAndBackFindsTheSameFootsteps) {
  for (const SampleMotionInfo& info : SampleMotions()) {
    for (const bool bake : {false, true}) {
      SCOPED_TRACE(std::string(info.name) + (bake ? ", baked" : ""));
      const MotionCore made = MakeSample(info.sample, 180);
      const float leg = made.leg[0].totalLength;
      MotionCore core = made;
      ASSERT_EQ(ConvertToFreeForm(core, bake, {}), kDone);
      EXPECT_TRUE(core.freeForm && core.footsteps.freeForm);
      EXPECT_EQ(core.footsteps.numFootsteps, 0);
      if (bake) {
        EXPECT_LT(ApartAt(made, core, FramesBetween(made, 0, made.endTime)), 1e-4f * leg);
      }
      const MotionCore freed = core;

      ExtractionReport report;
      ASSERT_EQ(ConvertToFootsteps(core, {}, {}, report, {}), ToFootstepsResult::kDone);
      const FootstepTrack &was = made.footsteps, &is = core.footsteps;
      ASSERT_TRUE(CheckFootsteps(is));
      ASSERT_EQ(is.numFootsteps, was.numFootsteps);
      for (int i = 0; i < was.numFootsteps; ++i) {
        const auto at = static_cast<std::size_t>(i);
        EXPECT_EQ(is.side[at], was.side[at]) << i;
        EXPECT_EQ(SpanOf(is, i)->start, SpanOf(was, i)->start) << i;
        EXPECT_EQ(SpanOf(is, i)->duration, SpanOf(was, i)->duration) << i;
        EXPECT_LT(test::Distance(is.position[at], was.position[at]), 1e-3f * leg) << i;
        EXPECT_NEAR(is.angle[at], was.angle[at], 1e-3) << i;
      }
      for (const VerticalKey& key : core.body.vertical.keys) EXPECT_EQ(key.dynamicsBlend, 0);
      EXPECT_LT(ApartAt(freed, core, test::TimesOf(core.body.vertical.track)), 1e-4f * leg);
      EXPECT_EQ(test::TimesOf(core.leg[0].table.track), test::TimesOf(freed.leg[0].table.track));
      EXPECT_EQ(core.endTime, made.endTime);
    }
  }
}

TEST(ConvertMotion, FindsFeetThatWereKeyedByHand) {
  MotionCore core = test::MakeFigure();
  const float leg = core.leg[0].totalLength;
  const struct {
    int frame;
    LimbKeyKind kind;
  } keys[] = {{0, kFreeKey},  {10, kPlantedKey}, {20, kSlidingKey},
              {22, kFreeKey}, {23, kSlidingKey}, {24, kFreeKey}};  // one frame is no contact
  for (const auto& row : keys) {
    const LimbKey key = CurrentLimbKey(core, core.leg[kLeft], row.kind);
    ASSERT_EQ(PutKey(core, kLeftLeg, row.frame * kDynamicsFrame, key), KeyRefusal::kNone);
  }
  const Point3 sole =
      core.leg[kLeft].frame[2].Origin() - Point3{0, core.leg[kLeft].extremityHeight, 0};
  for (const bool flat : {false, true}) {
    MotionCore made = core;
    ExtractionReport report;
    ASSERT_EQ(ConvertToFootsteps(made, {}, {false, flat}, report, {}), ToFootstepsResult::kDone);
    ASSERT_EQ(made.footsteps.numFootsteps, 1);
    const FootstepSpan& span = made.footsteps.spans[kLeft].at(0);
    EXPECT_EQ(span.start, 10 * kDynamicsFrame);
    EXPECT_EQ(span.Lift(), 20 * kDynamicsFrame);
    EXPECT_NEAR(made.footsteps.position[0].x, sole.x, 1e-3f * leg);
    EXPECT_NEAR(made.footsteps.position[0].y, flat ? 0 : sole.y, 1e-3f * leg);
    EXPECT_NEAR(made.footsteps.position[0].z, sole.z, 1e-3f * leg);
  }
  ExtractionSettings settings;
  settings.fsUseVerticalTol = 1;
  settings.fsZLevel = 2 * leg;  // the floor is elsewhere
  ExtractionReport report;
  EXPECT_EQ(ConvertToFootsteps(core, settings, {}, report, {}), ToFootstepsResult::kNoFootsteps);
}

TEST(ConvertMotion, RefusesWhatItCannotDoAndChangesNothing) {
  const MotionCore walk = MakeSample(SampleMotion::kWalk, 180);
  MotionCore core = walk;
  ExtractionReport report;
  EXPECT_EQ(ConvertToFootsteps(core, {}, {}, report, {}), ToFootstepsResult::kRefused);
  core.figureMode = true;
  EXPECT_EQ(ConvertToFreeForm(core, true, {}), kRefused);
  test::ExpectSameKeys(core, walk);
  MotionCore captured = test::CapturedLike(SampleMotion::kWalk, 10);
  EXPECT_EQ(ConvertToFreeForm(captured, false, {}), kRefused);
  EXPECT_EQ(AdoptFootsteps(captured, 0, {}), kRefused);
  const MotionCore before = captured;
  EXPECT_EQ(ConvertToFootsteps(captured, {}, {}, report, {}), ToFootstepsResult::kNoFootsteps);
  EXPECT_TRUE(captured.freeForm);
  test::ExpectSameKeys(captured, before);
  // No keys at all, and keys too far off for footsteps.
  MotionCore empty = test::MakeFigure();
  EXPECT_EQ(ConvertToFootsteps(empty, {}, {true, true}, report, {}),
            ToFootstepsResult::kNoFootsteps);
  ASSERT_EQ(PutKey(empty, kRightLeg, 2'000'000'000, empty.leg[0].rest), KeyRefusal::kNone);
  EXPECT_EQ(ConvertToFootsteps(empty, {}, {true, true}, report, {}),
            ToFootstepsResult::kNoFootsteps);
}

// --- Captured motions ----------------------------------------------------------------------------

/// A captured motion with the footsteps that were found in it.
MotionCore Adopted(const MotionCore& captured, int numFrames) {
  MotionCore core = captured;
  ExtractionReport report;
  EXPECT_EQ(ExtractFootsteps(core, captured, test::SettingsFor(captured, numFrames), 0, numFrames,
                             false, report, {}),
            1);
  EXPECT_EQ(AdoptFootsteps(core, 0, {}), kDone);
  return core;
}

/// Greatest second difference of a knee's bend, degrees.
float KneeJump(MotionCore core, TimeValue from, TimeValue to) {
  float jump = 0;
  for (TimeValue t = from + kDynamicsFrame; t < to; t += kDynamicsFrame) {
    const PoseSample a = TakePoseSample(core, t - kDynamicsFrame, {});
    const PoseSample b = TakePoseSample(core, t, {}),
                     c = TakePoseSample(core, t + kDynamicsFrame, {});
    for (int side = 0; side < 2; ++side) {
      const float bend = c.leg[side].flexion - 2 * b.leg[side].flexion + a.leg[side].flexion;
      jump = std::max(jump, RadiansToDegrees(std::fabs(bend)));
    }
  }
  return jump;
}

TEST(AdoptFootsteps, HoldsFeetStillAndKeepsTheMotion) {
  for (const int spacing : {1, 4}) {
    for (const SampleMotion sample :
         {SampleMotion::kWalk, SampleMotion::kRun, SampleMotion::kJump, SampleMotion::kTurn}) {
      SCOPED_TRACE(std::to_string(spacing) + ", sample " +
                   std::to_string(static_cast<int>(sample)));
      const MotionCore captured = test::CapturedLike(sample, spacing);
      const int numFrames = MakeSample(sample, 180).endTime / kDynamicsFrame + 1;
      const MotionCore core = Adopted(captured, numFrames);
      const float leg = core.leg[0].totalLength;
      ASSERT_FALSE(core.freeForm);
      const TimeValue first = FirstFootstepTime(core.footsteps), last = core.endTime;
      // Free keys four frames apart let feet slide by 2 % a frame where they come down.
      const float slack = spacing == 1 ? 1 : 1.5f;
      EXPECT_LT(ApartAt(captured, core, FramesBetween(core, first, last)), slack * 0.05f * leg);
      EXPECT_LT(KneeJump(core, first, last), 1.5f * KneeJump(captured, first, last) + 2);
      const MotionMeasures measures = MeasureMotion(core, {});
      EXPECT_LT(measures.skate.high, spacing == 1 ? 0.2f : 2);
      EXPECT_LT(measures.footprintDistance.high, 1);
      EXPECT_LT(measures.reachExcess.high, 1);
      for (const VerticalKey& key : core.body.vertical.keys) EXPECT_EQ(key.dynamicsBlend, 0);
    }
  }
}

TEST(HoldFeetAnew, StopsFeetWhoseKeysWereTakenOut) {
  MotionCore core = Adopted(test::CapturedLike(SampleMotion::kWalk), 184);
  for (LimbRecord& leg : core.leg) {
    std::vector<int> kept;
    for (int i = 0; i < leg.table.track.numKeys; i += 3) kept.push_back(i);
    KeepKeys(leg.table, kept);
  }
  RefreshTracks(core);
  EXPECT_GT(MeasureMotion(core, {}).skate.high, 0.2f);
  const MotionCore thinned = core;
  ASSERT_EQ(HoldFeetAnew(core, false, {}), kDone);
  const MotionMeasures measures = MeasureMotion(core, {});
  EXPECT_LT(measures.skate.high, 0.2f);
  EXPECT_LT(measures.footprintDistance.high, 1);
  EXPECT_LT(ApartAt(thinned, core, FramesBetween(core, 0, core.endTime)),
            0.05f * core.leg[0].totalLength);
  MotionCore free = test::CapturedLike(SampleMotion::kWalk, 10);
  EXPECT_EQ(HoldFeetAnew(free, false, {}), kRefused);
}

TEST(AdoptFootsteps, MakesThemLive) {
  const struct {
    const char* what;
    Point3 way;  // leg lengths
    float turn;
  } rows[] = {{"ahead", {0.1f, 0, 0}, 0},
              {"back", {-0.1f, 0, 0}, 0},
              {"aside", {0, 0, 0.1f}, 0},
              {"up", {0, 0.1f, 0}, 0},
              {"down and turned", {0, -0.05f, 0.05f}, 0.3f}};
  for (const int spacing : {1, 4}) {
    const MotionCore captured = test::CapturedLike(SampleMotion::kWalk, spacing);
    const MotionCore core = Adopted(captured, 184);
    const float leg = core.leg[0].totalLength;
    const float skate = std::max(0.2f, MeasureMotion(core, {}).skate.high + 0.05f);
    for (const auto& row : rows) {
      for (int i = 2; i < core.footsteps.numFootsteps; i += 3) {
        SCOPED_TRACE(std::string(row.what) + ", footstep " + std::to_string(i) + ", key every " +
                     std::to_string(spacing));
        MotionCore moved = core;
        FootstepTrack& track = moved.footsteps;
        const FootstepTrack before = track;
        track.position[static_cast<std::size_t>(i)] += leg * row.way;
        track.angle[static_cast<std::size_t>(i)] += row.turn;
        ASSERT_EQ(AdaptMotion(moved, before, i, i, {}, {}), AdaptResult::kDone);
        const MotionMeasures measures = MeasureMotion(moved, {});
        EXPECT_LT(measures.footprintDistance.high, 1);
        EXPECT_LT(measures.footprintHeading.high, 1);
        EXPECT_LT(measures.skate.high, skate);
        EXPECT_LT(measures.reachExcess.high, 1);
        EXPECT_LT(measures.kneeChange.high, 30);
        EXPECT_LT(measures.bodyAcceleration.high, 8);
        EXPECT_LT(measures.ankleAcceleration.high, 25);
        EXPECT_LT(measures.jointAcceleration.high, 30);
      }
    }
  }
}

}  // namespace
}  // namespace strider
