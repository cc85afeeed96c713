#include "strider/footsteps/gait.h"

#include <vector>

#include "strider/footsteps/footstep_edit.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

constexpr TimeValue kFrame = kDynamicsFrame;

GaitDurations Frames(int ground, int air) { return {ground * kFrame, air * kFrame}; }

TEST(AutoTiming, FollowsFromStrideAndCycle) {
  const struct {
    const char* what;
    int gait;
    float leg, stride;
    int cycle, ground, air;  // frames; of a walk the double support
  } rows[] = {
      {"the default walk", kWalk, 36.1447f, 27.108f, 15, 18, 3},
      {"the default run", kRun, 36.1447f, 54.217f, 15, 6, 9},
      {"the default jump", kJump, 36.1447f, 86.747f, 20, 5, 15},
      {"backwards", kWalk, 36.1447f, -27.108f, 15, 18, 3},
      {"on the spot, double support capped", kWalk, 36, 0, 30, 35, 5},
      {"on the spot, by the cycle", kWalk, 36, 0, 15, 18, 3},
      // 2 double supports of 2 frames would be the whole of 4: a frame is added.
      {"a cycle too short", kWalk, 36, 20, 2, 5, 2},
      // (33.48 - 20) / (20 / 20) - 1 = 12.5 frames, and a fifth of the cycle is 4.
      {"slow, a fifth of the cycle", kWalk, 36, 20, 20, 24, 4},
      // Out of reach: 36 * 0.05 / (40 / 20) - 1 < 0.
      {"a stride past the leg's reach", kWalk, 36, 40, 20, 22, 2},
      {"on the spot in the air", kRun, 36, 0, 12, 8, 4},
      {"fast", kRun, 10, 100, 10, 2, 8},
      // 36 * 0.6 / (30 / 20) = 14.4 frames, over 0.7 of the cycle.
      {"slow, most of the cycle", kJump, 36, 30, 20, 14, 6},
      {"less than the shortest contact", kRun, 36, 30, 1, 2, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const GaitDurations got = AutoTiming(row.gait, row.leg, row.stride, row.cycle * kFrame, kFrame);
    EXPECT_EQ(got.ground / static_cast<float>(kFrame), row.ground);
    EXPECT_EQ(got.air / static_cast<float>(kFrame), row.air);
  }
}

struct SpanRow {
  int side, start, frames;
};

TEST(NextFootstepStart, FollowsFromTheSpansBeforeIt) {
  const GaitDurations walk = Frames(18, 3), run = Frames(6, 9), jump = Frames(5, 15);
  const struct {
    const char* what;
    int gait;
    GaitDurations durations;
    std::vector<SpanRow> spans;
    int side;
    int start;
    int lengthened = -1, newFrames = 0;
    bool stretch = true, first = false, active = false;
  } rows[] = {
      {"nothing before", kWalk, walk, {}, kLeft, -1},
      {"walk: first of its side", kWalk, walk, {{kRight, 0, 18}}, kLeft, 15},
      {"walk: on", kWalk, walk, {{kLeft, 0, 18}, {kRight, 15, 18}}, kLeft, 30},
      {"walk: from a stand", kWalk, walk, {{kLeft, 0, 18}, {kRight, 0, 18}}, kLeft, 30, 1, 34},
      {"walk: from a stand, right",
       kWalk,
       walk,
       {{kLeft, 0, 18}, {kRight, 0, 18}},
       kRight,
       30,
       0,
       34},
      {"walk: not to be stretched",
       kWalk,
       walk,
       {{kLeft, 0, 18}, {kRight, 0, 18}},
       kLeft,
       30,
       -1,
       0,
       false},
      {"walk: has its keys already",
       kWalk,
       walk,
       {{kLeft, 0, 18}, {kRight, 0, 18}},
       kLeft,
       30,
       -1,
       0,
       true,
       false,
       true},
      // The other foot came before this one's last: it is on its way, and is not called back.
      {"walk: same foot again", kWalk, walk, {{kRight, 0, 18}, {kLeft, 15, 18}}, kLeft, 45},
      {"walk: one foot only", kWalk, walk, {{kLeft, 0, 18}}, kLeft, 30},
      {"run", kRun, run, {{kLeft, 0, 6}, {kRight, 15, 6}}, kLeft, 30},
      {"run: either foot", kRun, run, {{kLeft, 0, 6}, {kRight, 15, 6}}, kRight, 30},
      {"jump: from a stand", kJump, jump, {{kLeft, 0, 5}, {kRight, 0, 5}}, kLeft, 20},
      {"jump: from a stand, right", kJump, jump, {{kLeft, 0, 5}, {kRight, 0, 5}}, kRight, 20},
      {"jump: lands beside",
       kJump,
       jump,
       {{kLeft, 0, 5}, {kRight, 0, 5}, {kLeft, 20, 5}},
       kRight,
       20},
      {"jump: a new batch does not",
       kJump,
       jump,
       {{kLeft, 0, 5}, {kRight, 0, 5}, {kLeft, 20, 5}},
       kRight,
       40,
       -1,
       0,
       true,
       true},
      {"jump: nor beside another ground time",
       kJump,
       jump,
       {{kLeft, 0, 5}, {kRight, 0, 5}, {kLeft, 20, 6}},
       kRight,
       41},
      {"jump: nor while it still stands",
       kJump,
       jump,
       {{kRight, 0, 22}, {kLeft, 20, 5}},
       kRight,
       40},
      {"jump: beside the only foot", kJump, jump, {{kLeft, 0, 5}}, kRight, 0},
      {"jump: a batch after the only foot",
       kJump,
       jump,
       {{kLeft, 0, 5}},
       kRight,
       20,
       -1,
       0,
       true,
       true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    FootstepTrack track;
    for (const SpanRow& span : row.spans) {
      ASSERT_EQ(InsertFootstep(track, track.numFootsteps,
                               {span.side, span.start * kFrame, span.frames * kFrame, {}, 0}),
                kDone);
      track.active.Set(track.numFootsteps - 1, row.active);
    }
    // What comes later in the track is not looked at.
    const int index = track.numFootsteps;
    ASSERT_EQ(InsertFootstep(track, index, {row.side, 900 * kFrame, kFrame, {}, 0}), kDone);
    const NextStart next = NextFootstepStart(
        track, {index, row.side, row.gait, row.durations, row.stretch, row.first});
    EXPECT_EQ(next.start, row.start < 0 ? -1 : row.start * kFrame);
    EXPECT_EQ(next.lengthened, row.lengthened);
    if (row.lengthened >= 0) {
      EXPECT_EQ(next.duration, row.newFrames * kFrame);
    }
  }
}

TEST(NextFootstepStart, KeepsTheOtherFootNoLongerThanToItsOwnNextTouch) {
  FootstepTrack track;
  ASSERT_EQ(InsertFootstep(track, 0, {kLeft, 0, 18 * kFrame, {}, 0}), kDone);
  ASSERT_EQ(InsertFootstep(track, 1, {kRight, 0, 18 * kFrame, {}, 0}), kDone);
  ASSERT_EQ(InsertFootstep(track, 2, {kRight, 34 * kFrame, 18 * kFrame, {}, 0}), kDone);
  EXPECT_EQ(NextFootstepStart(track, {2, kLeft, kWalk, Frames(18, 3)}).lengthened, -1);
}

TEST(GaitSettings, KeepTheirFramesAtAnotherRate) {
  GaitSettings settings;
  RetimeSettings(settings, 200);
  const GaitSettings made(200);
  for (int i = 0; i < kNumGaits; ++i) {
    EXPECT_EQ(settings.durations[i], made.durations[i]);
    EXPECT_EQ(settings.params[i].cycle1, made.params[i].cycle1);
  }
  EXPECT_EQ(settings.second, made.second);
}

}  // namespace
}  // namespace strider
