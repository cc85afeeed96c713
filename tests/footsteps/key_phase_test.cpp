// Places of keys in the rhythm, worked out by hand in frames.
#include "strider/footsteps/key_phase.h"

#include "tests/footsteps/contact_fixture.h"

namespace strider {
namespace {

using test::Contacts;
using test::kFrame;
using test::Random;
using test::TrackOf;

constexpr int R = kRight, L = kLeft;
constexpr float kClose = 1e-6f;

// Support changes at 10, 20, 30, 40, 50 and 70.
const Contacts kSteps = {{R, 10, 30}, {L, 20, 40}, {R, 50, 70}};
// The left foot is down for 26 frames, the right one's second touch is 12 later: changes at 10, 20,
// 30, 46, 62 and 82.
const Contacts kSlower = {{R, 10, 30}, {L, 20, 46}, {R, 62, 82}};

FootstepTrack WithInterval(const Contacts& contacts) {
  FootstepTrack track = TrackOf(contacts);
  EXPECT_EQ(SetFreeFormAfter(track, 1, true), kDone);
  return track;
}

TEST(KeyPhase, TellsTheTransitionAndHowFarIntoIt) {
  const FootstepTrack track = TrackOf(kSteps);
  const struct {
    int frame, transition;
    float fraction;  // of a length that reaches a frame into the next transition
  } rows[] = {{5, 0, -5.0f / 11}, {10, 0, 0},          {15, 0, 5.0f / 11},
              {30, 2, 0},         {60, 4, 10.0f / 21}, {80, 5, 10.0f / 200}};
  for (const auto& row : rows) {
    const TransitionPhase phase = TransitionPhaseOf(track, row.frame * kFrame);
    EXPECT_EQ(phase.transition, row.transition) << row.frame;
    EXPECT_NEAR(phase.fraction, row.fraction, kClose) << row.frame;
  }
}

TEST(KeyPhase, TellsAllKindsOfLegPhases) {
  const FootstepTrack steps = TrackOf(kSteps), oneLeg = TrackOf({{R, 10, 30}, {R, 50, 70}});
  // Both feet are off from 40 on; the interval ends a frame before the touch at 60.
  const FootstepTrack interval = WithInterval({{R, 10, 30}, {L, 20, 40}, {R, 60, 80}});
  const struct {
    const FootstepTrack& track;
    int side, frame;
    LegPhaseType type;
    int span, start, length;  // frames
    float fraction;
  } rows[] = {
      {steps, R, 10, kInSpan, 0, 10, 20, 0},
      {steps, R, 15, kInSpan, 0, 10, 20, 0.25f},
      {steps, R, 30, kInSpan, 0, 10, 20, 1},
      {steps, R, 35, kBetweenSpans, 0, 30, 20, 0.25f},
      {steps, R, 50, kInSpan, 1, 50, 20, 0},
      {steps, R, 80, kPastEnd, 1, 70, 10, 1},
      {steps, L, 71, kPastEnd, 0, 70, 1, 1},
      {steps, L, 55, kAfterSpans, 0, 40, 30, 0.5f},
      {steps, L, 70, kAfterSpans, 0, 40, 30, 1},
      {steps, L, 15, kBeforeSpans, 0, 10, 10, 0.5f},
      {steps, L, 5, kBeforeSpans, 0, 10, 10, -0.5f},
      {steps, R, 5, kBeforeSpans, 0, 10, 0, 0},
      {oneLeg, L, 25, kNoSpans, 0, 10, 60, 0.25f},
      {oneLeg, L, 100, kNoSpans, 0, 10, 60, 1.5f},
      {interval, R, 45, kInFreeForm, 1, 40, 19, 5.0f / 19},
      {interval, L, 45, kInFreeForm, 1, 40, 19, 5.0f / 19},
      {interval, L, 40, kInSpan, 0, 20, 20, 1},
      {interval, R, 59, kBetweenSpans, 0, 30, 30, 29.0f / 30},
      {interval, L, 59, kAfterSpans, 0, 40, 40, 19.0f / 40},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.frame << (row.side == R ? " right" : " left"));
    const LegKeyPhase phase = LegKeyPhaseOf(row.track, row.side, row.frame * kFrame);
    EXPECT_EQ(phase.phaseType, row.type);
    EXPECT_EQ(phase.spanIndex, row.span);
    EXPECT_EQ(phase.phaseStart, row.start * kFrame);
    EXPECT_EQ(phase.phaseLength, row.length * kFrame);
    EXPECT_NEAR(phase.fraction, row.fraction, kClose);
  }
}

TEST(KeyPhase, KeysKeepTheirShareOfTheRhythm) {
  const FootstepTrack from = TrackOf(kSteps), to = TrackOf(kSlower);
  const Contacts before = {{R, 10, 30}, {L, 20, 40}, {R, 60, 80}};
  const Contacts after = {{R, 10, 30}, {L, 20, 40}, {R, 70, 90}};
  const FootstepTrack open = WithInterval(before), longer = WithInterval(after);
  const FootstepTrack closed = TrackOf(after);
  constexpr int kBody = -1;
  const struct {
    const char* what;
    const FootstepTrack &from, &to;
    int side;  // kBody follows the supports
    int frame, moved;
  } rows[] = {
      {"before all", from, to, kBody, 5, 5},
      {"where nothing changed", from, to, kBody, 15, 15},
      {"half of 30 to 40, now to 46", from, to, kBody, 35, 38},
      {"0.3 of 40 to 50, now 46 to 62: 50.8", from, to, kBody, 43, 51},
      {"where all moved by 12", from, to, kBody, 61, 73},
      {"past the end", from, to, kBody, 80, 92},
      {"a quarter of the swing", from, to, R, 35, 38},
      {"half of the contact", from, to, L, 30, 33},
      {"half of what follows the last contact", from, to, L, 55, 64},
      {"before the first contact", from, to, L, 15, 15},
      {"a leg past the end", from, to, R, 80, 92},
      {"5 of 19 frames of an interval, now of 29: 47.6", open, longer, R, 45, 48},
      {"half of the swing as the interval closes", open, closed, R, 45, 50},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const TimeValue t = row.frame * kFrame;
    EXPECT_EQ(row.side == kBody ? MovedTime(row.from, row.to, t)
                                : MovedLegTime(row.from, row.to, row.side, t),
              row.moved * kFrame);
  }
  // What only moved keeps its distance to the tick.
  EXPECT_EQ(MovedTime(from, to, 60 * kFrame + 37), 72 * kFrame + 37);
  EXPECT_EQ(MovedLegTime(from, to, R, 55 * kFrame - 1), 67 * kFrame - 1);
  EXPECT_EQ(MovedTime({}, to, 77), 77);
}

TEST(KeyPhase, EventsFallOnEventsAndOrderStaysInAnyRhythm) {
  Random random(41);
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE(round);
    // Contacts of both feet in turn, in two rhythms: overlapping throughout or never.
    const bool overlap = random.Int(0, 1) == 1;
    Contacts rhythms[2];
    for (Contacts& contacts : rhythms) {
      int t = random.Int(0, 30);
      for (int i = 0; i < 8; ++i) {
        const int length = random.Int(6, 20);
        contacts.push_back({i % 2, t, t + length});
        t += overlap ? length - random.Int(1, 2) : length + random.Int(1, 9);
      }
    }
    const FootstepTrack from = TrackOf(rhythms[0]), to = TrackOf(rhythms[1]);
    ASSERT_TRUE(SamePattern(from, to));
    for (std::size_t i = 0; i < from.transitions.size(); ++i) {
      EXPECT_TRUE(IsAtEvent(from, from.transitions[i].time));
      EXPECT_EQ(MovedTime(from, to, from.transitions[i].time), to.transitions[i].time);
    }
    for (int side = 0; side < 2; ++side) {
      for (std::size_t i = 0; i < from.spans[side].size(); ++i) {
        const FootstepSpan &was = from.spans[side][i], &is = to.spans[side][i];
        EXPECT_TRUE(IsAtLegEvent(from, side, was.start));
        EXPECT_EQ(MovedLegTime(from, to, side, was.start), is.start);
        EXPECT_EQ(MovedLegTime(from, to, side, was.Lift()), is.Lift());
      }
    }
    TimeValue earlier[3] = {kTimeMin, kTimeMin, kTimeMin};
    for (TimeValue t = -800; t < LastFootstepTime(from) + 800; t += 53) {
      const TimeValue moved[3] = {MovedTime(from, to, t), MovedLegTime(from, to, R, t),
                                  MovedLegTime(from, to, L, t)};
      for (int k = 0; k < 3; ++k) {
        ASSERT_GE(moved[k], earlier[k]) << k << " " << t;
        earlier[k] = moved[k];
      }
    }
  }
}

TEST(KeyPhase, APatternIsWhichSupportsFollowEachOther) {
  const FootstepTrack walk = TrackOf(kSteps);
  EXPECT_TRUE(SamePattern(walk, TrackOf(kSlower)));
  EXPECT_FALSE(SamePattern(walk, TrackOf({{R, 10, 30}, {L, 20, 55}, {R, 50, 70}})));  // no flight
  EXPECT_FALSE(SamePattern(walk, TrackOf({{L, 10, 30}, {R, 20, 40}, {L, 50, 70}})));
  EXPECT_FALSE(SamePattern(walk, TrackOf({{R, 10, 30}, {L, 20, 40}})));
  EXPECT_FALSE(IsAtEvent(walk, 25 * kFrame));
  EXPECT_FALSE(IsAtLegEvent(walk, R, 20 * kFrame));
}

}  // namespace
}  // namespace strider
