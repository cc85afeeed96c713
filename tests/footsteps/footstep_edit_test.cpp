#include "strider/footsteps/footstep_edit.h"

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

constexpr TimeValue kFrame = kDynamicsFrame;

NewFootstep Step(int side, int startFrame, int frames, const Point3& position = {}) {
  return {side, startFrame * kFrame, frames * kFrame, position, 0};
}

/// Footsteps in the order given; each has its number as its x.
FootstepTrack TrackOf(const std::vector<NewFootstep>& steps) {
  FootstepTrack track;
  for (const NewFootstep& step : steps) {
    NewFootstep numbered = step;
    numbered.position.x = static_cast<float>(track.numFootsteps);
    EXPECT_EQ(InsertFootstep(track, track.numFootsteps, numbered), kDone);
  }
  track.freeForm = 0;
  return track;
}

/// A footstep as a list keeps it: the second model that the tables are held against.
struct PlainStep {
  NewFootstep made;
  bool active = false, freeFormAfter = false;
};

// Spans, sides and bits stay with their footsteps whatever goes in and out, and the intervals are
// those of the bits that stand.
TEST(FootstepEdit, KeepsEachFootstepsOwnOverRandomInsertionsAndDeletions) {
  test::Random random(31);
  FootstepTrack track;
  std::vector<PlainStep> plain;
  for (int round = 0; round < 3000; ++round) {
    const int count = static_cast<int>(plain.size());
    if (count > 0 && random.Int(0, 99) < (round / 500 % 2 == 0 ? 35 : 60)) {
      const int index = random.Int(0, count - 1);
      ASSERT_EQ(DeleteFootstep(track, index), kDone);
      plain.erase(plain.begin() + index);
      if (plain.empty()) {
        EXPECT_EQ(track.freeForm, 1);
      }
    } else {
      const int side = random.Int(0, 1), startFrame = random.Int(0, 4000);
      const NewFootstep step = Step(side, startFrame, random.Int(1, 12), random.Inside(9));
      int index = 0;
      while (index < count && plain[static_cast<std::size_t>(index)].made.start <= step.start) {
        ++index;
      }
      if (!SpanFits(track, index, side, step.start, step.start + step.duration - kFrame)) continue;
      if (index == count && count > 0 && random.Int(0, 3) > 0) continue;  // more in the middle
      ASSERT_EQ(InsertFootstep(track, index, step), kDone);
      // Of those before, the one that lifts last, the later one if two do, ends its period.
      PlainStep* latest = nullptr;
      for (int i = 0; i < index; ++i) {
        PlainStep& before = plain[static_cast<std::size_t>(i)];
        const auto lift = [](const PlainStep& s) { return s.made.start + s.made.duration; };
        if (!latest || lift(before) >= lift(*latest)) latest = &before;
      }
      if (latest) latest->freeFormAfter = false;
      plain.insert(plain.begin() + index, {step, false, false});
    }
    if (!plain.empty()) {
      const int any = random.Int(0, static_cast<int>(plain.size()) - 1);
      PlainStep& chosen = plain[static_cast<std::size_t>(any)];
      chosen.active = random.Int(0, 1) == 1;
      track.active.Set(any, chosen.active);
      if (SetFreeFormAfter(track, any, true) == kDone) chosen.freeFormAfter = true;
    }

    ASSERT_TRUE(CheckFootsteps(track)) << round;
    ASSERT_EQ(track.numFootsteps, static_cast<int>(plain.size()));
    for (int i = 0; i < track.numFootsteps; ++i) {
      const auto k = static_cast<std::size_t>(i);
      const PlainStep& expected = plain[k];
      const FootstepSpan* span = SpanOf(track, i);
      ASSERT_EQ(track.side[k], expected.made.side);
      ASSERT_EQ(span->start, expected.made.start);
      ASSERT_EQ(span->duration, expected.made.duration);
      ASSERT_EQ(track.position[k], expected.made.position);
      ASSERT_EQ(track.active.Get(i), expected.active);
      ASSERT_EQ(track.freeFormAfter.Get(i), expected.freeFormAfter) << i;
    }
    FootstepTrack fresh = track;
    RefreshFreeFormIntervals(fresh);
    ASSERT_EQ(track.freeFormStart, fresh.freeFormStart) << round;
    ASSERT_EQ(track.freeFormEnd, fresh.freeFormEnd) << round;
  }
}

TEST(FootstepEdit, TakesASpanOnlyWhereItsFootIsFree) {
  // Right at frames 0 to 10 and 30 to 40, left at 15 to 25.
  const FootstepTrack track =
      TrackOf({Step(kRight, 0, 10), Step(kLeft, 15, 10), Step(kRight, 30, 10)});
  const struct {
    const char* what;
    int index, side, first, last;  // frames
    bool fits;
  } rows[] = {
      {"between", 1, kRight, 11, 12, true},
      {"straight at a lift in the middle", 1, kRight, 10, 14, true},
      {"starts within", 1, kRight, 9, 12, false},
      {"ends within", 2, kRight, 26, 30, false},
      {"ends a frame before", 2, kRight, 26, 29, true},
      {"over another whole", 2, kRight, 20, 50, false},
      {"the one at the index starts no later", 1, kRight, 15, 16, false},
      {"the other foot does not mind", 1, kLeft, 1, 14, true},
      {"over the other's next touch", 1, kLeft, 1, 15, false},
      {"at the end", 3, kRight, 41, 50, true},
      {"at the end, straight at the lift", 3, kRight, 40, 50, false},
      {"at the end, the other foot earlier", 3, kLeft, 26, 50, true},
      {"an index outside", 4, kRight, 60, 70, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(SpanFits(track, row.index, row.side, row.first * kFrame, row.last * kFrame),
              row.fits);
  }
  EXPECT_TRUE(SpanFits(FootstepTrack{}, 0, kLeft, -100, 100));
}

TEST(FootstepEdit, OpensAFreeFormIntervalOnlyWhereBothFeetAreOff) {
  const struct {
    const char* what;
    std::vector<NewFootstep> steps;
    int footstep;
    int start, end;  // frames; 0 and 0 for none
  } rows[] = {
      {"to a frame before the next touch",
       {Step(kRight, 0, 5), Step(kLeft, 0, 5), Step(kRight, 20, 5)},
       1,
       5,
       19},
      {"the last one never", {Step(kRight, 0, 5), Step(kLeft, 20, 5)}, 1, 0, 0},
      {"the other foot stands across",
       {Step(kRight, 0, 5), Step(kLeft, 3, 9), Step(kRight, 20, 5)},
       0,
       0,
       0},
      {"the other foot touches at the lift", {Step(kRight, 0, 5), Step(kLeft, 5, 5)}, 0, 0, 0},
      {"the same foot touches at the lift", {Step(kRight, 0, 5), Step(kRight, 5, 5)}, 0, 0, 0},
      {"no duration", {Step(kRight, 0, 0), Step(kLeft, 9, 5)}, 0, 0, 0},
      {"a gap of one frame", {Step(kRight, 0, 5), Step(kLeft, 6, 5)}, 0, 0, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    FootstepTrack track = TrackOf(row.steps);
    const bool opens = row.end > 0;
    EXPECT_EQ(SetFreeFormAfter(track, row.footstep, true), opens ? kDone : kRefused);
    EXPECT_EQ(track.freeFormStart[static_cast<std::size_t>(row.footstep)], row.start * kFrame);
    EXPECT_EQ(track.freeFormEnd[static_cast<std::size_t>(row.footstep)], row.end * kFrame);
    if (!opens) continue;
    EXPECT_FALSE(InFreeForm(track, row.start * kFrame));
    EXPECT_TRUE(InFreeForm(track, row.start * kFrame + 1));
    EXPECT_FALSE(InFreeForm(track, row.end * kFrame));
    EXPECT_EQ(SetFreeFormAfter(track, row.footstep, false), kDone);
    EXPECT_FALSE(InFreeForm(track, row.start * kFrame + 1));
  }
}

// Both feet lift at once and their period's end is taken out: a new footstep ends the later one's
// period alone, and the other's runs up to it.
TEST(FootstepEdit, ANewLastFootstepBoundsAnIntervalThatWaited) {
  FootstepTrack track = TrackOf({Step(kRight, 0, 5), Step(kLeft, 0, 5), Step(kRight, 20, 5)});
  for (int i : {0, 1}) ASSERT_EQ(SetFreeFormAfter(track, i, true), kDone);
  ASSERT_EQ(DeleteFootstep(track, 2), kDone);
  EXPECT_FALSE(InFreeForm(track, 6 * kFrame));
  ASSERT_EQ(InsertFootstep(track, 2, Step(kRight, 30, 5)), kDone);
  EXPECT_FALSE(track.freeFormAfter.Get(1));
  EXPECT_EQ(track.freeFormEnd, (std::vector<TimeValue>{29 * kFrame, 0, 0}));
}

TEST(FootstepEdit, RunsHeadingsOnWithoutAJump) {
  const float inf = std::numeric_limits<float>::infinity();
  const struct {
    std::vector<float> given, expected;
  } rows[] = {
      {{3.0f, -3.0f}, {3.0f, 3.2831855f}},
      {{-3.0f, 3.0f}, {-3.0f, -3.2831855f}},
      {{10.0f, 0.0f}, {-2.566371f, 0.0f}},
      {{1.0f, 2.0f, 3.0f, -2.0f, -1.0f}, {1.0f, 2.0f, 3.0f, 4.2831855f, 5.2831855f}},
      {{0.5f, kPi + 0.4f}, {0.5f, kPi + 0.4f}},
      {{1.0f, inf, -inf, std::nanf(""), 1e30f}, {1.0f, 0, 0, 0, 0}},
  };
  for (const auto& row : rows) {
    FootstepTrack track;
    track.angle = row.given;
    NormalizeAngles(track);
    for (std::size_t i = 0; i < row.given.size(); ++i) {
      EXPECT_NEAR(track.angle[i], row.expected[i], 2e-6) << row.given[0] << " " << i;
    }
    const std::vector<float> once = track.angle;
    NormalizeAngles(track);
    EXPECT_EQ(track.angle, once);
  }
}

// The tilt against the footstep's own heading stays when the heading changes, whatever it was.
TEST(FootstepEdit, TurnsATransformAndKeepsItsTilt) {
  test::Random random(5);
  for (int i = 0; i < 200; ++i) {
    FootstepTrack track = TrackOf({Step(kRight, 0, 5), Step(kLeft, 9, 5)});
    const Quat tilt = random.SmallTurn(0.7f);
    const float from = random.Between(-3, 3), to = random.Between(-3, 3);
    const Matrix3 tilted = FrameOf(tilt, {});
    const auto turned = [&](float heading) {
      return tilted * FrameOf(AboutZ(heading - HeadingOf(tilted)), {});
    };
    track.transform[1] = turned(from);
    track.transform[1].row[3] = random.Inside(50);
    PositionFromTransform(track, 1);
    EXPECT_NEAR(std::cos(track.angle[1] - from), 1, 1e-6);
    EXPECT_EQ(HostFromCore(track.position[1]), track.transform[1].Origin());

    track.angle[1] = to;
    track.position[1] = random.Inside(50);
    TransformsFromPositions(track);
    for (int r = 0; r < 3; ++r) {
      EXPECT_LT(Length(track.transform[1].row[r] - turned(to).row[r]), 1e-5f);
    }
    EXPECT_EQ(track.transform[1].Origin(), HostFromCore(track.position[1]));
    // Ahead in the core's axes is the first row in the host's.
    EXPECT_LT(Length(HostFromCore(ForwardOf(0)) - track.transform[0].row[0]), 1e-6f);
  }
}

TEST(FootstepEdit, HeadingsTurnToTheLeft) {
  EXPECT_LT(Length(HostFromCore(ForwardOf(kHalfPi)) - Point3{0, 1, 0}), 1e-6f);
  EXPECT_LT(Length(HostFromCore(LeftOf(0)) - Point3{0, 1, 0}), 1e-6f);
  EXPECT_LT(Length(HostFromCore(LeftOf(kHalfPi)) - Point3{-1, 0, 0}), 1e-6f);
}

TEST(FootstepEdit, RetimesByWholeFrames) {
  FootstepTrack track = TrackOf({Step(kRight, 2, 5), Step(kLeft, 9, 5)});
  track.spans[kLeft][0].start += 70;  // less than a frame is lost
  RetimeToTicksPerFrame(track, 200);
  EXPECT_EQ(SpanOf(track, 0)->start, 400);
  EXPECT_EQ(SpanOf(track, 1)->start, 1800);
  EXPECT_EQ(SpanOf(track, 1)->duration, 1000);
  EXPECT_EQ(track.ticksPerFrame, 200);
}

TEST(FootstepEdit, NamesTheFirstRunOfSelectedAndTheInactive) {
  FootstepTrack track;
  for (int i = 0; i < 8; ++i) ASSERT_EQ(InsertFootstep(track, i, Step(i % 2, 10 * i, 5)), kDone);
  int first = 0, last = 0;
  SelectionRange(track, first, last);
  EXPECT_EQ(first, 8);
  EXPECT_EQ(last, 8);
  track.startEdgeSelected.Set(2);
  track.endEdgeSelected.Set(3);
  SelectFootstep(track, 6, true);
  SelectionRange(track, first, last);
  EXPECT_EQ(first, 2);
  EXPECT_EQ(last, 3);
  SelectionRange(track, first, last, last + 1);
  EXPECT_EQ(first, 6);
  EXPECT_EQ(last, 6);

  for (int i : {0, 1, 4, 7}) track.active.Set(i);
  EXPECT_TRUE(RangeOfInactive(track, first, last));
  EXPECT_EQ(first, 2);
  EXPECT_EQ(last, 6);
  for (int i = 0; i < 8; ++i) track.active.Set(i);
  EXPECT_FALSE(RangeOfInactive(track, first, last));
}

TEST(FootstepEdit, CopiesAnEmptyTrackAsFreeForm) {
  FootstepTrack track = TrackOf({Step(kRight, 0, 5), Step(kLeft, 9, 5)});
  FootstepTrack copy;
  ASSERT_EQ(CopyFootsteps(copy, track), kDone);
  EXPECT_TRUE(CheckFootsteps(copy));
  EXPECT_EQ(copy.numFootsteps, 2);
  EXPECT_EQ(copy.freeForm, 0);

  FootstepTrack empty;
  empty.freeForm = 0;
  empty.scaleLegLength = 7;
  ASSERT_EQ(CopyFootsteps(copy, empty), kDone);
  EXPECT_TRUE(CheckFootsteps(copy));
  EXPECT_EQ(copy.freeForm, 1);
  EXPECT_EQ(copy.scaleLegLength, 7);

  for (int bad : {-1, 2}) EXPECT_EQ(DeleteFootstep(track, bad), kRefused);
  for (int bad : {-1, 3}) EXPECT_EQ(InsertFootstep(track, bad, Step(kLeft, 30, 5)), kRefused);
  EXPECT_EQ(SpanOf(track, 2), nullptr);
  EXPECT_TRUE(CheckFootsteps(track));
}

}  // namespace
}  // namespace strider
