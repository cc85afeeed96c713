#include "strider/footsteps/support.h"

#include <tuple>

#include "tests/footsteps/contact_fixture.h"

namespace strider {
namespace {

using test::Contacts;
using test::kFrame;
using test::Random;
using test::TrackOf;

/// A transition as it is worked out by hand, times in frames.
struct Change {
  int frame, support, rightSpan, leftSpan, nearAir, touched, lifted;
  friend bool operator==(const Change&, const Change&) = default;
};
void PrintTo(const Change& c, std::ostream* out) {
  *out << "frame " << c.frame << " support " << c.support << " spans " << c.rightSpan << ","
       << c.leftSpan << " near air " << c.nearAir << " touched " << c.touched << " lifted "
       << c.lifted;
}
std::vector<Change> ChangesOf(const FootstepTrack& track) {
  std::vector<Change> changes;
  for (const SupportTransition& s : track.transitions) {
    changes.push_back(
        {s.time / kFrame, s.support, s.rightSpan, s.leftSpan, s.nearAir, s.touched, s.lifted});
  }
  return changes;
}

/// Right and left leg at a phase, half frames.
struct Legs {
  int halfFrame, right, left;
  friend bool operator==(const Legs&, const Legs&) = default;
};
void PrintTo(const Legs& l, std::ostream* out) {
  *out << "half frame " << l.halfFrame << ": " << l.right << ", " << l.left;
}
std::vector<Legs> LegsOf(const FootstepTrack& track) {
  std::vector<Legs> legs;
  for (const SupportPhase& p : track.phases) {
    legs.push_back({p.time / (kFrame / 2), p.rightLegState, p.leftLegState});
  }
  return legs;
}

constexpr int R = kRight, L = kLeft;
constexpr int T = kTouch, P = kPlant, U = kLift, M = kMove;

struct Pattern {
  const char* name;
  Contacts contacts;
  std::vector<Change> changes;
  std::vector<Legs> legs;
};

const std::vector<Pattern>& Patterns() {
  static const std::vector<Pattern> patterns = {
      {"a walk from both feet",
       {{R, 0, 20, {}}, {L, 0, 10, {}}, {L, 18, 30, {}}, {R, 28, 40, {}}},
       {{0, 3, 0, 0, 0, 1, 0},
        {10, 1, 0, 0, 0, 1, 1},
        {18, 3, 0, 1, 0, 1, 0},
        {20, 2, 0, 1, 0, 0, 1},
        {28, 3, 1, 1, 0, 0, 0},
        {30, 1, 1, 1, 0, 1, 1},
        {40, 0, 1, 1, 0, 0, 1}},
       {{0, T, T},
        {10, P, P},
        {20, P, U},
        {28, P, M},
        {36, P, T},
        {38, P, P},
        {40, U, P},
        {48, M, P},
        {56, T, P},
        {58, P, P},
        {60, P, U},
        {70, P, M},
        {80, U, M}}},
      {"a run",
       {{R, 0, 6, {}}, {L, 9, 15, {}}, {R, 19, 25, {}}, {L, 30, 36, {}}},
       {{0, 1, 0, 0, 0, 0, 0},
        {6, 0, 0, 0, 0, 0, 1},  // the first flight is no run yet
        {9, 2, 0, 0, 1, 1, 0},
        {15, 0, 0, 0, 1, 1, 1},
        {19, 1, 1, 0, 1, 0, 0},
        {25, 0, 1, 0, 1, 0, 1},
        {30, 2, 1, 1, 1, 1, 0},
        {36, 0, 1, 1, 0, 1, 1}},
       {{0, T, M},
        {6, P, M},
        {12, U, M},
        {15, M, M},
        {18, M, T},
        {24, M, P},
        {30, M, U},
        {34, M, M},
        {38, T, M},
        {44, P, M},
        {50, U, M},
        {55, M, M},
        {60, M, T},
        {66, M, P},
        {72, M, U}}},
      {"jumps on both feet",
       {{R, 0, 5, {}}, {L, 0, 5, {}}, {L, 15, 20, {}}, {R, 15, 20, {}}},
       {{0, 3, 0, 0, 0, 1, 0},
        {5, 0, 0, 0, 0, 1, 1},
        {15, 3, 1, 1, 0, 1, 0},
        {20, 0, 1, 1, 0, 1, 1}},
       {{0, T, T}, {5, P, P}, {10, U, U}, {20, M, M}, {30, T, T}, {35, P, P}, {40, U, U}}},
      {"one foot touches as the other lifts, both ways",
       {{R, 0, 8, {}}, {L, 8, 14, {}}, {R, 14, 20, {}}},
       {{0, 1, 0, 0, 0, 0, 0},
        {8, 2, 0, 0, 0, 1, 0},
        {14, 1, 1, 0, 0, 1, 1},
        {20, 0, 1, 0, 0, 0, 1}},
       {{0, T, M}, {8, P, M}, {16, U, T}, {22, M, P}, {28, T, U}, {34, P, M}, {40, U, M}}},
      {"a foot that comes down again as it lifts changes no support",
       {{R, 0, 30, {}}, {L, 5, 10, {}}, {L, 10, 15, {}}},
       {{0, 1, 0, 0, 0, 0, 0},
        {5, 3, 0, 0, 0, 1, 0},
        {15, 1, 0, 1, 0, 1, 1},
        {30, 0, 0, 1, 0, 0, 1}},
       {{0, T, M}, {5, P, M}, {10, P, T}, {20, P, P}, {30, P, U}, {45, P, M}, {60, U, M}}},
      {"one side only, in hops",
       {{L, 2, 6, {}}, {L, 12, 15, {}}, {L, 20, 21, {}}},
       {{2, 2, 0, 0, 0, 1, 0},
        {6, 0, 0, 0, 0, 1, 1},
        {12, 2, 0, 1, 1, 1, 0},
        {15, 0, 0, 1, 1, 1, 1},
        {20, 2, 0, 2, 1, 1, 0},
        {21, 0, 0, 2, 0, 1, 1}},
       {{4, M, T},
        {8, M, P},
        {12, M, U},
        {18, M, M},
        {24, M, T},
        {27, M, P},
        {30, M, U},
        {35, M, M},
        {40, M, T},
        {41, M, P},
        {42, M, U}}},
      {"both feet lift into a flight out of a stand, and come down one after the other",
       {{R, 0, 4, {}}, {L, 1, 4, {}}, {R, 9, 20, {}}, {L, 12, 18, {}}},
       {{0, 1, 0, 0, 0, 0, 0},
        {1, 3, 0, 0, 1, 1, 0},
        {4, 0, 0, 0, 1, 1, 1},
        {9, 1, 1, 0, 1, 0, 0},
        {12, 3, 1, 1, 0, 1, 0},
        {18, 1, 1, 1, 0, 1, 1},
        {20, 0, 1, 1, 0, 0, 1}},
       {{0, T, M},
        {1, P, M},
        {2, P, T},
        {5, P, P},
        {8, U, U},
        {13, M, M},
        {18, T, M},
        {21, P, M},
        {24, P, T},
        {30, P, P},
        {36, P, U},
        {38, P, M},
        {40, U, M}}},
  };
  return patterns;
}

TEST(Support, ChangesAndPhasesAreThoseWorkedOutByHand) {
  for (const Pattern& pattern : Patterns()) {
    SCOPED_TRACE(pattern.name);
    const FootstepTrack track = TrackOf(pattern.contacts);
    EXPECT_EQ(ChangesOf(track), pattern.changes);
    EXPECT_EQ(LegsOf(track), pattern.legs);
    for (std::size_t i = 0; i < track.transitions.size(); ++i) {
      const bool last = i + 1 == track.transitions.size();
      const TimeValue length =
          last ? 200 * kFrame : track.transitions[i + 1].time - track.transitions[i].time + kFrame;
      EXPECT_EQ(track.transitions[i].length, length) << i;
      EXPECT_EQ(track.phases[2 * i].nearAir, track.transitions[i].nearAir) << i;
      EXPECT_EQ(track.phases[2 * i].support, track.transitions[i].support) << i;
    }
  }
}

TEST(Support, AStandBetweenTwoRunsBelongsToThem) {
  // A run, a stance on two feet, and a run: whether the stance counts as near the air goes by how
  // many changes of support lie between the flights.
  const auto nearAir = [](const std::vector<int>& supports) {
    FootstepTrack track;
    for (const int support : supports) {
      SupportTransition transition;
      transition.support = support;
      transition.nearAir = 1;  // of before
      track.transitions.push_back(transition);
    }
    MarkNearAir(track);
    std::vector<int> marks;
    for (const SupportTransition& s : track.transitions) marks.push_back(s.nearAir);
    return marks;
  };
  const struct {
    std::vector<int> supports, marks;
  } rows[] = {
      {{1, 3, 2, 3, 1, 0}, {0, 0, 0, 0, 0, 0}},                          // the end counts not
      {{1, 3, 0, 3, 1, 2, 1, 0}, {0, 1, 1, 1, 0, 0, 0, 0}},              // alone
      {{1, 3, 0, 1, 3, 2, 0, 2, 3, 1}, {0, 1, 1, 1, 1, 1, 1, 1, 0, 0}},  // one between
      {{1, 3, 0, 1, 3, 2, 3, 0, 2, 3}, {0, 1, 1, 1, 1, 1, 1, 1, 1, 0}},  // two
      {{1, 3, 0, 1, 3, 2, 3, 1, 3, 0, 1, 3}, {0, 1, 1, 1, 0, 0, 0, 0, 1, 1, 1, 0}},  // four
      {{0, 1, 0}, {0, 0, 0}},
      {{0}, {0}},
  };
  for (const auto& row : rows) EXPECT_EQ(nearAir(row.supports), row.marks);
}

TEST(Support, WithoutContactsIsOneRecordInTheAir) {
  FootstepTrack track;
  ASSERT_EQ(RefreshSupport(track), kDone);
  ASSERT_EQ(track.transitions.size(), 1u);
  EXPECT_EQ(track.transitions[0].support, 0);
  EXPECT_EQ(track.transitions[0].length, 200 * track.ticksPerFrame);
  EXPECT_EQ(track.phases.size(), 1u);
}

TEST(Support, AgreesWithTheContactsAtEveryTimeOfRandomPatterns) {
  Random random(71);
  for (int run = 0; run < 60; ++run) {
    SCOPED_TRACE(run);
    Contacts contacts;
    for (int side = 0; side < 2; ++side) {
      int t = random.Int(0, 10);
      for (int n = random.Int(side == 0 ? 1 : 0, 8); n > 0; --n) {
        const int lift = t + random.Int(1, 12);
        contacts.push_back({side, t, lift, {}});
        t = lift + random.Int(1, 12);
      }
    }
    std::stable_sort(contacts.begin(), contacts.end(),
                     [](const auto& a, const auto& b) { return a.touch < b.touch; });
    const FootstepTrack track = TrackOf(contacts);
    const auto& list = track.transitions;
    std::size_t next = 0;
    int support = 0;
    for (int f = 0; f < 220; ++f) {
      if (next < list.size() && list[next].time == f * kFrame) support = list[next++].support;
      int expected = 0;
      for (const auto& c : contacts) {
        if (c.touch <= f && f < c.lift) expected |= c.side == R ? 1 : 2;
      }
      ASSERT_EQ(support, expected) << f;
    }
    EXPECT_EQ(next, list.size());
    // At an event the legs do what their contacts say, but that a foot which came down again as
    // it lifted is the transition's to tell.
    for (const SupportPhase& phase : track.phases) {
      for (int side = 0; side < 2 && !IsMiddle(phase); ++side) {
        EXPECT_EQ(StateOf(phase, side), FootstepLegState(track, side, phase.time)) << phase.time;
      }
    }
  }
}

TEST(PhaseTurns, FollowTheFeetOnTheGround) {
  Contacts contacts = {
      {R, 0, 20, {}, 0.0f}, {L, 0, 10, {}, 0.2f}, {L, 18, 30, {}, 0.6f}, {R, 28, 40, {}, 1.2f}};
  FootstepTrack track = TrackOf(contacts);
  // Worked by hand, the bodies' angles as they stand when each phase is reached: standing on both
  // feet gives them their mean, on one foot that foot its own.
  const float third = 1 / 3.0f;
  const float expected[] = {0.1f,
                            0.1f,  // both: (0 + 0.2) / 2
                            0.1f,
                            (0 + 0 + 0.1f) * third,  // right lifts the left: both on
                            0.3f,
                            0.3f,  // (0 + 0.6) / 2
                            0.3f,
                            (0.1f + 0.6f + 1.2f) * third,  // left alone
                            0.9f,
                            0.9f,  // (0.6 + 1.2) / 2
                            0.9f,
                            (0.9f + 1.2f + 1.2f) * third,  // the last has no next
                            (0.9f + 1.2f + 1.2f) * third};
  const std::vector<float> turns = PhaseTurns(track);
  ASSERT_EQ(turns.size(), std::size(expected));
  for (std::size_t i = 0; i < turns.size(); ++i) EXPECT_NEAR(turns[i], expected[i], 1e-6) << i;
  EXPECT_NEAR(track.bodyAngle[3], 1.2f, 1e-6);

  // In the air the body keeps its turn; a side without footsteps leaves it to the other.
  FootstepTrack hops = TrackOf({{L, 0, 5, {}, 0.5f}, {L, 10, 15, {}, 1.1f}});
  const std::vector<float> hopTurns = PhaseTurns(hops);
  const float first = (0.5f + 0.5f + 1.1f) * third, second = (0.5f + 1.1f + 1.1f) * third;
  ASSERT_EQ(hopTurns.size(), 7u);
  for (int i = 0; i < 7; ++i) EXPECT_NEAR(hopTurns[i], i < 4 ? first : second, 1e-6) << i;
}

TEST(BodyKeyState, IsOfTheWholeBody) {
  // Rows: the right leg touches, is planted, lifts, moves; columns the left.
  const int expected[4][4] = {{0, 1, 0, 0}, {1, 1, 1, 1}, {0, 1, 2, 2}, {0, 1, 2, 3}};
  for (int r = 0; r < 4; ++r) {
    for (int l = 0; l < 4; ++l) EXPECT_EQ(BodyKeyState(r, l), expected[r][l]) << r << l;
  }
}

}  // namespace
}  // namespace strider
