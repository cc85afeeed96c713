#include "strider/footsteps/support.h"

#include <sstream>
#include <string>

#include "tests/footsteps/contact_fixture.h"

namespace strider {
namespace {

using test::Contacts;
using test::kFrame;
using test::Random;
using test::TrackOf;

/// Changes of support as text: frame, support, spans right and left; marks of being near the air,
/// of a left event and of a lift.
std::string ChangesOf(const FootstepTrack& track) {
  std::ostringstream out;
  for (const SupportTransition& s : track.transitions) {
    out << s.time / kFrame << ":" << s.support << " " << s.rightSpan << s.leftSpan
        << (s.nearAir ? "a" : "") << (s.touched ? "t" : "") << (s.lifted ? "l" : "") << ", ";
  }
  return out.str();
}

/// Phases as text: half frame, and right and left leg by the initials of touch, plant, lift, move.
std::string LegsOf(const FootstepTrack& track) {
  std::ostringstream out;
  for (const SupportPhase& p : track.phases) {
    out << p.time / (kFrame / 2) << "tplm"[p.rightLegState] << "tplm"[p.leftLegState] << " ";
  }
  return out.str();
}

constexpr int R = kRight, L = kLeft;

TEST(Support, ChangesAndPhasesAreThoseWorkedOutByHand) {
  const struct {
    const char* name;
    Contacts contacts;
    std::string changes, legs;
  } rows[] = {
      {"a walk from both feet",
       {{R, 0, 20}, {L, 0, 10}, {L, 18, 30}, {R, 28, 40}},
       "0:3 00t, 10:1 00tl, 18:3 01t, 20:2 01l, 28:3 11, 30:1 11tl, 40:0 11l, ",
       "0tt 10pp 20pl 28pm 36pt 38pp 40lp 48mp 56tp 58pp 60pl 70pm 80lm "},
      {"a run, whose first flight is none yet",
       {{R, 0, 6}, {L, 9, 15}, {R, 19, 25}, {L, 30, 36}},
       "0:1 00, 6:0 00l, 9:2 00at, 15:0 00atl, 19:1 10a, 25:0 10al, 30:2 11at, 36:0 11tl, ",
       "0tm 6pm 12lm 15mm 18mt 24mp 30ml 34mm 38tm 44pm 50lm 55mm 60mt 66mp 72ml "},
      {"jumps on both feet",
       {{R, 0, 5}, {L, 0, 5}, {L, 15, 20}, {R, 15, 20}},
       "0:3 00t, 5:0 00tl, 15:3 11t, 20:0 11tl, ",
       "0tt 5pp 10ll 20mm 30tt 35pp 40ll "},
      {"one foot touches as the other lifts, both ways",
       {{R, 0, 8}, {L, 8, 14}, {R, 14, 20}},
       "0:1 00, 8:2 00t, 14:1 10tl, 20:0 10l, ",
       "0tm 8pm 16lt 22mp 28tl 34pm 40lm "},
      {"a foot that comes down again as it lifts changes no support",
       {{R, 0, 30}, {L, 5, 10}, {L, 10, 15}},
       "0:1 00, 5:3 00t, 15:1 01tl, 30:0 01l, ",
       "0tm 5pm 10pt 20pp 30pl 45pm 60lm "},
      {"one side only, in hops",
       {{L, 2, 6}, {L, 12, 15}, {L, 20, 21}},
       "2:2 00t, 6:0 00tl, 12:2 01at, 15:0 01atl, 20:2 02at, 21:0 02tl, ",
       "4mt 8mp 12ml 18mm 24mt 27mp 30ml 35mm 40mt 41mp 42ml "},
      {"off both feet at once, and down one after the other",
       {{R, 0, 4}, {L, 1, 4}, {R, 9, 20}, {L, 12, 18}},
       "0:1 00, 1:3 00at, 4:0 00atl, 9:1 10a, 12:3 11t, 18:1 11tl, 20:0 11l, ",
       "0tm 1pm 2pt 5pp 8ll 13mm 18tm 21pm 24pt 30pp 36pl 38pm 40lm "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const FootstepTrack track = TrackOf(row.contacts);
    EXPECT_EQ(ChangesOf(track), row.changes);
    EXPECT_EQ(LegsOf(track), row.legs);
    const auto& list = track.transitions;
    for (std::size_t i = 0; i < list.size(); ++i) {
      const bool last = i + 1 == list.size();
      EXPECT_EQ(list[i].length, last ? 200 * kFrame : list[i + 1].time - list[i].time + kFrame);
      EXPECT_EQ(track.phases[2 * i].nearAir, list[i].nearAir) << i;
      EXPECT_EQ(track.phases[2 * i].support, list[i].support) << i;
    }
  }
}

TEST(Support, AStandBetweenTwoRunsBelongsToThem) {
  // The supports of a track, and which of them are marked.
  const struct {
    std::string supports, marks;
  } rows[] = {
      {"131230", "------"},  // the end is no flight
      {"13031210", "-aaa----"},
      {"1301320231", "-aaaaaaa--"},      // one between the flights' neighbours
      {"1303123023", "-aaaaaaaa-"},      // two
      {"130132313013", "-aaa----aaa-"},  // four
      {"010", "---"},
      {"0", "-"},
  };
  for (const auto& row : rows) {
    FootstepTrack track;
    for (const char support : row.supports) {
      track.transitions.push_back({0, 0, 0, 0, support - '0', 1, 0, 0});
    }
    MarkNearAir(track);
    std::string marks;
    for (const SupportTransition& s : track.transitions) marks += s.nearAir ? 'a' : '-';
    EXPECT_EQ(marks, row.marks) << row.supports;
  }
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
    // At an event the legs do what their contacts say.
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
  // Both feet on the ground take their mean, a foot alone its own; alone it turns the body to the
  // mean of its body angle and its neighbours', as they stand by then. An event and a middle each.
  const float third = 1 / 3.0f, leftAlone = (0.1f + 0.6f + 1.2f) * third;
  const float first = (0.0f + 0.0f + 0.1f) * third, last = (0.9f + 1.2f + 1.2f) * third;
  const std::vector<float> expected = {0.1f,      0.1f, 0.1f, first, 0.3f, 0.3f, 0.3f,
                                       leftAlone, 0.9f, 0.9f, 0.9f,  last, last};
  const std::vector<float> turns = PhaseTurns(track);
  ASSERT_EQ(turns.size(), expected.size());
  for (std::size_t i = 0; i < turns.size(); ++i) EXPECT_NEAR(turns[i], expected[i], 1e-6) << i;
  EXPECT_NEAR(track.bodyAngle[3], 1.2f, 1e-6);

  // In the air the body keeps its turn; a side without footsteps leaves it to the other.
  FootstepTrack hops = TrackOf({{L, 0, 5, {}, 0.5f}, {L, 10, 15, {}, 1.1f}});
  const std::vector<float> hopTurns = PhaseTurns(hops);
  const float hop = (0.5f + 0.5f + 1.1f) * third, next = (0.5f + 1.1f + 1.1f) * third;
  ASSERT_EQ(hopTurns.size(), 7u);
  for (int i = 0; i < 7; ++i) EXPECT_NEAR(hopTurns[i], i < 4 ? hop : next, 1e-6) << i;
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
