#include "strider/footsteps/ground_path.h"

#include "tests/footsteps/contact_fixture.h"

namespace strider {
namespace {

using test::Contacts;
using test::FramesOf;
using test::kFrame;
using test::Random;
using test::TrackOf;

KeyTable<HorizontalKey> WholePath(const FootstepTrack& track, float leg) {
  const std::vector<int> phases = BodyPhases(track);
  return GroundPath(track, phases, 0, static_cast<int>(phases.size()) - 1, leg);
}

TEST(GroundPath, OfAnEvenWalkRunsEvenlyAFrameAhead) {
  // A foot touches every 15 frames, a stride of 30 further on. The middle of double support stands
  // 1.5 frames after that, the body then half way between the feet.
  const FootstepTrack track = TrackOf(test::Gait(6, 30, 18, 30, 5));
  const KeyTable<HorizontalKey> path = WholePath(track, 80);
  EXPECT_EQ(FramesOf(path.track), (std::vector<int>{0, 2, 17, 32, 47, 62, 77, 92, 108}));
  for (int i = 3; i < 6; ++i) {  // away from where it starts and stops
    const float framesAhead = static_cast<float>(path.TimeOf(i) / kFrame) + 1 - 16.5f;
    EXPECT_NEAR(path[i].position.x, 15 + 30 * framesAhead / 15, 0.02) << i;
    EXPECT_NEAR(path[i].position.z, 0, 1e-4);
    EXPECT_EQ(path[i].position.y, 0);
    EXPECT_EQ(path[i].supportState, 1);
  }
  EXPECT_EQ(path[0].supportState, 0);
  EXPECT_EQ(path[8].supportState, 2);
  // From where it stands to where it stands: neither back nor past.
  for (TimeValue t = -kFrame; t < 115 * kFrame; t += 40) {
    EXPECT_GE(PlaceOn(path, t).x, -1e-3f) << t;
    EXPECT_LE(PlaceOn(path, t).x, 180.001f) << t;
  }
}

TEST(GroundPath, DrawsAZigzagTowardsItsMiddle) {
  // Jumps of 60 to and fro: stances at 5, 25, 45 ... frames on 0, 60, 0 ..., flights half way.
  Contacts contacts;
  for (int i = 0; i < 6; ++i) {
    const Point3 place{0, 0, i % 2 == 0 ? 0.0f : 60.0f};
    contacts.push_back({kRight, 20 * i, 20 * i + 10, place, 0});
    contacts.push_back({kLeft, 20 * i, 20 * i + 10, place, 0});
  }
  FootstepTrack track = TrackOf(contacts);
  // A stance moves 0.48 of the 30 to its neighbours, or a share of the leg, to 60 - 14.4 or 50 and
  // stands still there; the next flight passes by at half of what lies between stances. A tenth
  // of the way on the curve is 0.972 and 0.028 of the ends and 0.009 of the flight's speed.
  const auto afterAFrame = [](float stance) {
    const float speed = (2 * (stance - 30)) / 2;
    return 0.972f * stance + 0.028f * 30 + 0.009f * speed;
  };
  const struct {
    bool nearAir;
    float leg, stance;
  } rows[] = {
      {true, 100, 45.6f}, {true, 40, 45.6f}, {true, 20, 50}, {false, 40, 50}, {false, 100, 45.6f}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.nearAir << " " << row.leg);
    for (SupportPhase& phase : track.phases) phase.nearAir = row.nearAir;
    const KeyTable<HorizontalKey> path = WholePath(track, row.leg);
    ASSERT_EQ(FramesOf(path.track),
              (std::vector<int>{0, 5, 15, 25, 35, 45, 55, 65, 75, 85, 95, 105, 110}));
    EXPECT_NEAR(path[3].position.z, afterAFrame(row.stance), 1e-3);
    EXPECT_NEAR(path[5].position.z, 60 - afterAFrame(row.stance), 1e-3);
  }
}

TEST(GroundPath, StaysOnAStraightLineAndOfAPartIsTheSameButAtItsEnds) {
  Random random(73);
  int same = 0;
  for (int run = 0; run < 20; ++run) {
    SCOPED_TRACE(run);
    Contacts contacts = test::Gait(random.Int(6, 14), 2 * random.Int(8, 14), 9, 20, 3);
    for (auto& c : contacts) c.place += Point3{random.Between(-8, 8), 0, random.Between(-8, 8)};
    const FootstepTrack track = TrackOf(contacts);
    const std::vector<int> phases = BodyPhases(track);
    const int count = static_cast<int>(phases.size());
    const KeyTable<HorizontalKey> whole = WholePath(track, 40);
    const int first = random.Int(0, count / 2), last = random.Int(first + 6, count - 1);
    const KeyTable<HorizontalKey> part = GroundPath(track, phases, first, last, 40);
    const auto timeOf = [&](int i) {
      return RoundToFrame(track.phases[static_cast<std::size_t>(phases[i])].time, kFrame);
    };
    const TimeValue from = first == 0 ? kTimeMin : timeOf(first + 3);
    const TimeValue to = last == count - 1 ? kTimeMax : timeOf(last - 3);
    for (int i = 0; i < whole.track.numKeys; ++i) {
      const TimeValue t = whole.TimeOf(i);
      if (t < from || t > to) continue;
      const int k = KeyAt(part.track, t);
      ASSERT_GE(k, 0) << t;
      EXPECT_EQ(part[k], whole[i]) << t;
      ++same;
    }

    // Feet on one line, in whatever steps: so is the body.
    for (auto& c : contacts) c.place.z = 2 * c.place.x;
    const KeyTable<HorizontalKey> line = WholePath(TrackOf(contacts), 40);
    for (const HorizontalKey& key : line.keys) {
      EXPECT_NEAR(key.position.z, 2 * key.position.x, 1e-3);
    }
  }
  EXPECT_GT(same, 40);
}

TEST(GroundPath, KeysTheMiddleOfAStanceOnlyBesideFreeForm) {
  Contacts contacts = {{kRight, 0, 2, {}, 0},
                       {kLeft, 4, 6, {}, 0},
                       {kRight, 7, 8, {}, 0},
                       {kLeft, 20, 30, {}, 0},
                       {kRight, 33, 40, {}, 0}};
  FootstepTrack track = TrackOf(contacts);
  const std::vector<int> without = FramesOf(WholePath(track, 80).track);
  ASSERT_EQ(SetFreeFormAfter(track, 2, true), kDone);
  std::vector<int> with = FramesOf(WholePath(track, 80).track);
  // The short third stance's middle lies beside the interval that follows it.
  EXPECT_EQ(std::count(without.begin(), without.end(), 8), 0);
  EXPECT_EQ(std::erase(with, 8), 1u);
  EXPECT_EQ(with, without);
}

}  // namespace
}  // namespace strider
