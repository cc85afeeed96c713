#include "strider/footsteps/retime.h"

#include "strider/footsteps/footstep_edit.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

constexpr TimeValue kFrame = kDynamicsFrame;

/// Right 0 to 10, left 8 to 20, right 18 to 30, left 28 to 40: frames.
FootstepTrack Walk() {
  FootstepTrack track;
  const int starts[] = {0, 8, 18, 28}, lifts[] = {10, 20, 30, 40};
  for (int i = 0; i < 4; ++i) {
    const TimeValue duration = (lifts[i] - starts[i]) * kFrame;
    EXPECT_EQ(InsertFootstep(track, i, {i % 2, starts[i] * kFrame, duration, {}, 0}), kDone);
  }
  return track;
}

TEST(RetimeFootstep, KeepsOrderAndLeavesEachFootTimeToSwing) {
  const struct {
    const char* what;
    int footstep, start, lift;  // frames
    bool done;
  } rows[] = {
      {"later and shorter", 1, 12, 16, true},
      {"as early as the one before", 1, 0, 20, true},
      {"past the one after", 1, 19, 26, false},
      {"over the next of its foot", 1, 8, 28, false},
      {"up to a frame before it", 1, 8, 27, true},
      {"into the last of its foot", 2, 10, 30, false},
      {"before 0", 0, -1, 5, false},
      {"no time at all", 0, 5, 5, false},
      {"past what may be", 3, 28, 875000, false},
      {"no such footstep", 4, 50, 60, false},
      {"as it is", 3, 28, 40, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    FootstepTrack track = Walk();
    const TimeValue start = row.start * kFrame, duration = (row.lift - row.start) * kFrame;
    EXPECT_EQ(RetimeFootstep(track, row.footstep, start, duration), row.done ? kDone : kRefused);
    EXPECT_TRUE(CheckFootsteps(track));
    if (row.done) {
      EXPECT_EQ(SpanOf(track, row.footstep)->start, start);
    } else {
      EXPECT_EQ(track.spans[kLeft][0].start, 8 * kFrame);
    }
  }
}

TEST(MapFootstepTimes, MovesSelectedEdgesTogetherOrNotAtAll) {
  const auto moved = [](FootstepTrack& track, int frames, int& first, int& last) {
    const auto later = [frames](TimeValue t) { return t + frames * kFrame; };
    return MapFootstepTimes(track, later, true, first, last);
  };
  int first = 0, last = 0;
  FootstepTrack track = Walk();
  SelectFootstep(track, 2, true);
  track.endEdgeSelected.Set(1);
  ASSERT_EQ(moved(track, 5, first, last), kDone);
  EXPECT_EQ(first, 1);
  EXPECT_EQ(last, 2);
  EXPECT_EQ(SpanOf(track, 1)->start, 8 * kFrame);
  EXPECT_EQ(SpanOf(track, 1)->duration, 17 * kFrame);
  EXPECT_EQ(SpanOf(track, 2)->start, 23 * kFrame);
  EXPECT_EQ(SpanOf(track, 2)->duration, 12 * kFrame);

  // Another 3 frames would bring the left foot's lift to its next touch: none of them moves.
  EXPECT_EQ(moved(track, 3, first, last), kRefused);
  EXPECT_GT(first, last);
  EXPECT_EQ(SpanOf(track, 2)->start, 23 * kFrame);
  EXPECT_TRUE(CheckFootsteps(track));

  // All of them may be stretched.
  ASSERT_EQ(MapFootstepTimes(
                track, [](TimeValue t) { return 3 * t; }, false, first, last),
            kDone);
  EXPECT_EQ(LastFootstepTime(track), 120 * kFrame);
}

TEST(DeleteFootsteps, TakesAllOfASetOutAsOneByOneWould) {
  test::Random random(3);
  for (int round = 0; round < 50; ++round) {
    FootstepTrack all;
    for (int i = 0; i < 40; ++i) {
      const NewFootstep step{
          i % 3 == 0 ? 1 : i % 2, 20 * i * kFrame, 5 * kFrame, {static_cast<float>(i), 0, 0}, 0};
      ASSERT_EQ(InsertFootstep(all, i, step), kDone);
      all.active.Set(i, random.Int(0, 1) == 1);
    }
    for (int i = 0; i < 40; ++i) {
      if (random.Int(0, 1) == 1) (void)SetFreeFormAfter(all, i, true);
    }
    BitArray which(40);
    for (int i = 0; i < 40; ++i) which.Set(i, random.Int(0, 9) < round / 4);
    FootstepTrack single = all;
    for (int i = 39; i >= 0; --i) {
      if (!which.Get(i)) continue;
      ASSERT_EQ(DeleteFootstep(single, i), kDone);
    }
    EXPECT_EQ(DeleteFootsteps(all, which), which.Count());
    ASSERT_TRUE(CheckFootsteps(all));
    EXPECT_EQ(all.position, single.position);
    EXPECT_EQ(all.active, single.active);
    EXPECT_EQ(all.freeFormEnd, single.freeFormEnd);
  }
}

}  // namespace
}  // namespace strider
