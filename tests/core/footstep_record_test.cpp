#include "strider/core/footstep_track.h"

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

/// Footsteps at heights 2, 7, 4, right and left in turn: right 1000 to 2000, left 1500 to 3000,
/// right 4000 to 5000; a free-form interval opens after the second.
FootstepTrack ThreeSteps() {
  FootstepTrack track;
  track.freeForm = 0;
  track.numFootsteps = 3;
  track.position = {{0, 2, 0}, {0, 7, 0}, {0, 4, 0}};
  track.freeFormStart = {0, 3000, 0};
  track.freeFormEnd = {0, 4000, 0};
  track.spans[kRight] = {{1000, 1000, 0}, {4000, 1000, 2}};
  track.spans[kLeft] = {{1500, 1500, 1}};
  return track;
}

TEST(FootstepRecord, AnswersContactHeightAndFreeFormAtAnyTime) {
  const FootstepTrack track = ThreeSteps();
  const struct {
    TimeValue t;
    LegState right, left;
    float height;
    bool free;
  } rows[] = {
      {kTimeMin, kMove, kMove, 2, false}, {1000, kTouch, kMove, 2, false},
      {1500, kPlant, kTouch, 2, false},   {2000, kLift, kPlant, 2, false},
      {2001, kMove, kPlant, 7, false},    {3000, kMove, kLift, 7, false},
      {3001, kMove, kMove, 6.997f, true}, {3500, kMove, kMove, 5.5f, true},
      {4000, kTouch, kMove, 4, false},    {kTimeMax, kMove, kMove, 4, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.t);
    EXPECT_EQ(FootstepLegState(track, kRight, row.t), row.right);
    EXPECT_EQ(FootstepLegState(track, kLeft, row.t), row.left);
    EXPECT_NEAR(FootstepHeight(track, row.t), row.height, 1e-4);
    EXPECT_EQ(InFreeForm(track, row.t), row.free);
  }
  EXPECT_EQ(FirstFootstepTime(track), 1000);
  EXPECT_EQ(LastFootstepTime(track), 5000);
}

TEST(FootstepRecord, AnEmptyTrackIsFreeFormEverywhere) {
  const FootstepTrack track;
  for (TimeValue t : {kTimeMin, 0, kTimeMax}) {
    EXPECT_TRUE(InFreeForm(track, t));
    EXPECT_EQ(FootstepLegState(track, kRight, t), kMove);
    EXPECT_EQ(FootstepHeight(track, t), 0);
  }
  EXPECT_EQ(FirstFootstepTime(track), 0);
  EXPECT_EQ(LastFootstepTime(track), 0);
}

// Against a plain look at every span, over random steps; lifts may pass the next side's touch.
TEST(FootstepRecord, AgreesWithAPlainLookAtEverySpan) {
  test::Random random(71);
  for (int i = 0; i < 100; ++i) {
    FootstepTrack track;
    track.freeForm = 0;
    for (int side = 0; side < 2; ++side) {
      TimeValue t = random.Int(0, 500);
      for (int k = random.Int(0, 6); k > 0; --k) {
        const TimeValue duration = random.Int(1, 900);
        track.spans[side].push_back({t, duration, track.numFootsteps++});
        track.position.push_back({0, random.Between(-9, 9), 0});
        t += duration + random.Int(0, 3) * 200;  // often none: a lift that is the next touch
      }
    }
    track.freeFormStart.assign(track.position.size(), 0);
    track.freeFormEnd.assign(track.position.size(), 0);
    std::vector<TimeValue> times;
    for (int k = 0; k < 100; ++k) times.push_back(random.Int(-200, 8000));
    for (const auto& spans : track.spans) {
      for (const FootstepSpan& span : spans) {
        for (int near : {-1, 0, 1}) times.push_back(span.start + near);
      }
    }
    for (const TimeValue t : times) {
      float lowest = 1e9f;
      for (int side = 0; side < 2; ++side) {
        LegState state = kMove;
        for (const FootstepSpan& span : track.spans[side]) {
          const TimeValue lift = span.start + span.duration;
          if (t == span.start) state = kTouch;
          if (t > span.start && t < lift) state = kPlant;
          if (t == lift && state == kMove) state = kLift;
          if (t >= span.start && t <= lift) {
            lowest = std::fmin(lowest, track.position[static_cast<std::size_t>(span.footstep)].y);
          }
        }
        ASSERT_EQ(FootstepLegState(track, side, t), state) << side << " at " << t;
      }
      if (lowest < 1e8f) {
        const bool seam =
            FootstepLegState(track, 0, t) == kTouch || FootstepLegState(track, 1, t) == kTouch;
        // On a seam of two contacts of one foot either may be meant.
        ASSERT_TRUE(seam || FootstepHeight(track, t) == lowest) << t;
      }
    }
  }
}

}  // namespace
}  // namespace strider
