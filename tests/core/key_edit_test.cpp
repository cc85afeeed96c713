#include "strider/core/key_edit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::AllTransforms, test::Evaluate, test::Random;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr KeyRefusal kNone = KeyRefusal::kNone;

MotionCore Figure() {
  Structure s;
  s.tailLinks = 4;
  s.neckLinks = s.fingers = s.fingerLinks = 2;
  s.prop1Exists = true;
  return test::MakeFigure(s);
}

// Keys with every rotation and number of their section at random, on either side.
ChainKey AnyChainKey(Random& random) {
  ChainKey key;
  for (Quat& turn : key.rotation) turn = random.Rotation();
  return key;
}
HeadKey AnyHeadKey(Random& random) {
  HeadKey key;
  key.chain = AnyChainKey(random);
  key.headBlend = random.Between(0, 1);
  return key;
}
LimbKey AnyLimbKey(Random& random, const LimbKey& rest) {
  LimbKey key = rest;
  for (Quat* turn : {&key.limbRotation, &key.endRotation, &key.spaceRotation}) {
    *turn = random.Rotation();
  }
  key.jointAngles[kHinge] = random.Between(0.5f, 2.5f);
  key.clavicle[0] = random.Between(-1, 1);
  key.keyState = random.Int(0, 3);
  for (DigitKey& digit : key.digits) {
    digit.base = random.Rotation();
    for (Quat& turn : digit.link) turn = random.Rotation();
    digit.bend[0] = random.Between(-1, 1);
  }
  return key;
}
KeyRefusal PutAnyKey(MotionCore& core, int id, TimeValue t, Random& random,
                     std::uint32_t mask = kAllLinks) {
  if (id == kTurn) return PutKey(core, t, TurnKey{random.Rotation(), {}, {}, {}});
  if (id == kHead) return PutKey(core, t, AnyHeadKey(random), mask);
  const LimbRecord* limb = FindLimb(core, id);
  if (limb) return PutKey(core, id, t, AnyLimbKey(random, limb->rest), mask);
  return PutKey(core, id, t, AnyChainKey(random), mask);
}

template <class Key, class Put>
void ExpectRefuses(KeyTable<Key>& table, const Key& good, const Put& put,
                   const std::vector<std::function<void(Key&)>>& faults) {
  ASSERT_EQ(put(100, good), kNone);
  const std::vector<Key> before = table.keys;
  for (std::size_t i = 0; i < faults.size(); ++i) {
    for (const TimeValue t : {50, 100}) {  // a new key, and one in place of another
      Key bad = good;
      faults[i](bad);
      EXPECT_EQ(put(t, bad), KeyRefusal::kNotFinite) << i;
      EXPECT_EQ(table.keys, before) << i;
      EXPECT_TRUE(CheckTrack(table.track));
    }
  }
}

TEST(PutKey, RefusesValuesThatNoPoseHasAndLeavesTheTrackAlone) {
  MotionCore core = Figure();
  const auto put = [&core](int id) {
    return [&core, id](TimeValue t, const auto& key) { return PutKey(core, id, t, key); };
  };
  const auto putBody = [&core](TimeValue t, const auto& key) { return PutKey(core, t, key); };
  const Quat none{0, 0, 0, 0};
  LimbRecord& leg = core.leg[kLeft];
  ExpectRefuses<LimbKey>(
      leg.table, leg.rest, put(kLeftLeg),
      {[&](LimbKey& k) { k.limbRotation = none; }, [](LimbKey& k) { k.digits[0].link[0].y = kNan; },
       [](LimbKey& k) { k.digits[0].bend[1] = kInf; }, [](LimbKey& k) { k.jointAngles[3] = kNan; },
       [](LimbKey& k) { k.ikBlend = kNan; }, [](LimbKey& k) { k.objectTarget.x = -kInf; }});
  ExpectRefuses<ChainKey>(
      core.spine.table, {}, put(kSpine),
      {[&](ChainKey& k) { k.rotation[3] = none; }, [](ChainKey& k) { k.base[2] = kInf; }});
  ExpectRefuses<HeadKey>(core.head.table, {}, putBody,
                         {[](HeadKey& k) { k.chain.rotation[2].w = kNan; },
                          [](HeadKey& k) { k.targetPosition.y = kNan; }});
  ExpectRefuses<PelvisKey>(core.pelvis.table, {}, putBody,
                           {[&](PelvisKey& k) { k.rotation = none; }});
  ExpectRefuses<TurnKey>(core.body.turn, {}, putBody, {[](TurnKey& k) { k.rotation.x = kInf; }});
  ExpectRefuses<HorizontalKey>(core.body.horizontal, {}, putBody,
                               {[](HorizontalKey& k) { k.position.x = kNan; }});
  ExpectRefuses<VerticalKey>(
      core.body.vertical, {}, putBody,
      {[](VerticalKey& k) { k.height = kInf; }, [](VerticalKey& k) { k.legShape[0][2] = kNan; }});
  ExpectRefuses<PropKey>(
      core.props[0].table, {}, put(kProp1),
      {[&](PropKey& k) { k.rotation[3] = none; }, [](PropKey& k) { k.scale.z = kInf; }});
  // Choices outside their range fall back instead of reaching past tables.
  LimbKey limb = leg.rest;
  limb.keyState = 77;
  limb.ikSpace = -9;
  ASSERT_EQ(PutKey(core, kLeftLeg, 200, limb), kNone);
  EXPECT_EQ(leg.table[1].keyState, kMove);
  EXPECT_EQ(leg.table[1].ikSpace, kBodySpace);
  PropKey prop;
  prop.posSpace = 4;
  prop.rotSpace = -1;
  ASSERT_EQ(PutKey(core, kProp1, 200, prop), kNone);
  EXPECT_EQ(core.props[0].table[1].posSpace, kWorldProp);
  EXPECT_EQ(core.props[0].table[1].rotSpace, kWorldProp);
}

TEST(KeyEdits, KnowWhichPartsHaveTracksAndAngles) {
  MotionCore core = Figure();
  for (const int id : {kPony1, kHead, kFootprints, kLeftForearmTwist, kTailNub, kNoBodyId}) {
    EXPECT_EQ(PutKey(core, id, 0, ChainKey{}), KeyRefusal::kNoTrack) << id;
  }
  EXPECT_EQ(PutKey(core, kSpine, 0, LimbKey{}), KeyRefusal::kNoTrack);
  EXPECT_EQ(PutKey(core, kProp2, 0, PropKey{}), KeyRefusal::kNoTrack);
  EXPECT_EQ(PutKey(core, kTail, 0, ChainKey{}, 0xf0), KeyRefusal::kNoTrack);  // no link of four
  EXPECT_EQ(core.tail.table.track.numKeys, 0);
  EXPECT_EQ(PutKey(core, kLeftToes, 0, core.leg[kLeft].rest), kNone);
  EXPECT_EQ(core.leg[kLeft].table.track.numKeys, 1);
  for (const int id : {kPelvis, kVertical, kHorizontal, kProp1, kFootprints, kPony2, kXtraFirst}) {
    EXPECT_FALSE(SetEulerActive(core, id, 0)) << id;
    EXPECT_EQ(GetEulerOrder(core, id), -1);
  }
  EXPECT_FALSE(SetEulerActive(core, kSpine, 6) || SetEulerActive(core, kSpine, -1));
  EXPECT_FALSE(SetQuaternionActive(core, kPelvis));
}

TEST(DeleteKeyAt, TakesAKeyFromItsLinksAndThenAltogether) {
  MotionCore core = Figure();
  KeyTrack& track = core.tail.table.track;
  for (const TimeValue t : {0, 100}) ASSERT_EQ(PutKey(core, kTail, t, ChainKey{}), kNone);
  track.times[1].flag = 1;
  const struct {
    int id;
    TimeValue t;
    std::uint32_t mask;
    KeyRefusal answer;
    int keys;
  } rows[] = {
      {kTail, 50, kAllLinks, KeyRefusal::kNoSuchKey, 2},
      {kTail, 100, 1, KeyRefusal::kProtected, 2},
      {kTail, 0, 5, kNone, 2},
      {kTail, 0, 5, KeyRefusal::kNoSuchKey, 2},
      {kTail, 0, 10, kNone, 1},
      {kPony1, 0, 1, KeyRefusal::kNoTrack, 1},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(DeleteKeyAt(core, row.id, row.t, row.mask), row.answer) << row.id << ' ' << row.t;
    EXPECT_EQ(track.numKeys, row.keys);
  }
  EXPECT_EQ(MoveKey(core, kTail, 0, 300), kNone);
  EXPECT_EQ(MoveKey(core, kTail, 1, 300), KeyRefusal::kNoSuchKey);
  EXPECT_EQ(MoveKey(core, kPony1, 0, 300), KeyRefusal::kNoTrack);
  EXPECT_EQ(core.tail.table.TimeOf(0), 300);
}

TEST(PutKey, OfSomeLinksLeavesTheOthersKeysAsTheyStand) {
  Random random(92);
  MotionCore core = Figure();
  for (const int id : {kNeck, kLeftLeg, kRightArm}) {
    ASSERT_EQ(SetSeparateTracks(core, id, true), kDone);
  }
  const HeadKey head = AnyHeadKey(random), other = AnyHeadKey(random);
  ASSERT_EQ(PutKey(core, 0, head), kNone);
  ASSERT_EQ(PutKey(core, 0, other, 3), kNone);  // the neck alone
  EXPECT_EQ(core.head.table[0].headBlend, head.headBlend);
  for (int k = 0; k < 3; ++k) {
    const Quat& wanted = (k == 2 ? head : other).chain.rotation[k];
    EXPECT_GT(std::fabs(Dot(core.head.table[0].chain.rotation[k], wanted)), 0.999999f) << k;
  }
  // Which link's keys hold which value of a limb.
  const struct {
    int id, link;
    std::function<float(const LimbKey&)> value;
  } rows[] = {
      {kLeftLeg, 0, [](auto& k) { return std::fabs(k.limbRotation.x); }},
      {kLeftLeg, 1, [](auto& k) { return k.jointAngles[0]; }},
      {kLeftLeg, 2, [](auto& k) { return k.bodyTarget.x; }},
      {kLeftLeg, 3, [](auto& k) { return k.digits[0].bend[0]; }},
      {kRightArm, 0, [](auto& k) { return k.clavicle[0]; }},
      {kRightArm, 1, [](auto& k) { return std::fabs(k.limbRotation.x); }},
      {kRightArm, 2, [](auto& k) { return k.jointAngles[0]; }},
      {kRightArm, 3, [](auto& k) { return k.ikBlend; }},
      {kRightArm, 4, [](auto& k) { return std::fabs(k.digits[1].link[0].x); }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.id << ' ' << row.link);
    const KeyTable<LimbKey>& table = FindLimb(core, row.id)->table;
    LimbKey keys[2];
    for (LimbKey& key : keys) {
      key = AnyLimbKey(random, LimbKey{});
      key.bodyTarget = random.Inside(1);
      key.ikBlend = random.Between(0, 1);
    }
    ASSERT_EQ(PutKey(core, row.id, 0, keys[0]), kNone);
    ASSERT_EQ(PutKey(core, row.id, 0, keys[1], ~(1u << row.link)), kNone);
    EXPECT_NEAR(row.value(table[0]), row.value(keys[0]), 1e-5f);
    ASSERT_EQ(PutKey(core, row.id, 0, keys[1], 1u << row.link), kNone);
    EXPECT_NEAR(row.value(table[0]), row.value(keys[1]), 1e-5f);
  }
}

/// Calls `look` with each two keys that follow each other in one link's own keys.
template <class Key, class Look>
void ForNeighbours(const KeyTable<Key>& table, int sub, const Look& look) {
  const Key* before = nullptr;
  for (int i = 0; i < table.track.numKeys; ++i) {
    const std::uint32_t mask = table.track.times[static_cast<std::size_t>(i)].linkMask;
    if (table.track.separate && !(mask >> sub & 1)) continue;
    if (before) look(*before, table[i]);
    before = &table[i];
  }
}

// Neighbours turn the short way into each other, whatever keys came and went between them.
void ExpectOneSide(const MotionCore& core) {
  for (const ChainRecord* chain : {&core.spine, &core.tail}) {
    for (int k = 0; k < chain->numLinks; ++k) {
      ForNeighbours(chain->table, k, [k](const ChainKey& a, const ChainKey& b) {
        EXPECT_GE(Dot(a.rotation[k], b.rotation[k]), 0) << k;
      });
    }
  }
  for (const LimbRecord* limb : {&core.leg[kLeft], &core.arm[kRight]}) {
    const int first = limb->isLeg ? 0 : 1, end = NumLimbLinks(*limb) - 1;
    ForNeighbours(limb->table, first, [](const LimbKey& a, const LimbKey& b) {
      EXPECT_GE(Dot(a.limbRotation, b.limbRotation), 0);
    });
    ForNeighbours(limb->table, end, [](const LimbKey& a, const LimbKey& b) {
      EXPECT_GE(Dot(a.endRotation, b.endRotation), 0);
      EXPECT_GE(Dot(a.spaceRotation, b.spaceRotation), 0);
    });
    ForNeighbours(limb->table, end + 1, [](const LimbKey& a, const LimbKey& b) {
      EXPECT_GE(Dot(a.digits[0].base, b.digits[0].base), 0);
      EXPECT_GE(Dot(a.digits[0].link[1], b.digits[0].link[1]), 0);
    });
  }
}

// The angles of each link's own keys: those of the rotation, each within half a turn of the last.
void ExpectAnglesGoOn(const ChainRecord& chain) {
  const KeyTrack& track = chain.table.track;
  for (int k = 0; k < chain.numLinks; ++k) {
    ForNeighbours(chain.table, k, [&](const ChainKey& a, const ChainKey& b) {
      for (int c = 0; c < 3; ++c) EXPECT_LE(std::fabs(b.euler[k][c] - a.euler[k][c]), kPi + 1e-4f);
      const Quat turn = EulerToQuat({b.euler[k].x, b.euler[k].y, -b.euler[k].z}, track.eulerOrder);
      EXPECT_GT(std::fabs(Dot(turn, b.rotation[k])), 1 - 3e-6f) << k;
    });
  }
}

template <class Key>
void CopyKeysOneByOne(const KeyTable<Key>& from, KeyTable<Key>& to) {
  const KeyTrack& track = from.track;
  ClearKeys(to);
  to.track.eulerActive = track.eulerActive;
  to.track.eulerOrder = track.eulerOrder;
  for (int i = 0; i < track.numKeys; ++i) {
    const std::uint32_t mask = track.times[static_cast<std::size_t>(i)].linkMask;
    ASSERT_EQ(PutKeyRecord(to, from.TimeOf(i), from[i], mask), kDone);
    for (int sub = 0; sub < ShapesPerKey(track); ++sub) {
      if (track.separate && !(mask >> sub & 1)) continue;
      ASSERT_EQ(SetTcb(to.track, i, sub, GetTcb(track, i, sub)), kDone);
    }
  }
}

void ExpectSamePose(MotionCore& a, MotionCore& b, TimeValue t) {
  Evaluate(a, t);
  Evaluate(b, t);
  EXPECT_EQ(AllTransforms(a), AllTransforms(b)) << t;
}

TEST(KeyEdits, LeaveATrackAsIfItsKeysHadBeenPutInAtOnce) {
  Random random(93);
  MotionCore core = Figure(), fresh = Figure();
  for (MotionCore* figure : {&core, &fresh}) {
    for (const int id : {kLeftLeg, kRightFingers}) {
      ASSERT_EQ(SetSeparateTracks(*figure, id, true), kDone);
    }
  }
  const int ids[] = {kSpine, kTail, kHead, kLeftLeg, kRightArm, kTurn};
  for (int step = 0; step < 2000; ++step) {
    const int id = ids[step / 10 % 6];  // several edits of one track wait for each look at it
    KeyTrack& track = *FindTrack(core, id);
    const TimeValue t = 10 * random.Int(0, 39);
    const std::uint32_t any = static_cast<std::uint32_t>(random.Int(1, 15));
    const std::uint32_t mask = track.separate ? any : kAllLinks;
    const int at = random.Int(0, std::max(track.numKeys - 1, 0));
    const float shape = random.Between(0, 50);
    switch (random.Int(0, track.numKeys > 12 ? 5 : 6)) {
      case 0: (void)DeleteKeyAt(core, id, t, mask); break;
      case 1: (void)MoveKey(core, id, at, t + 3); break;
      case 2: (void)SetTcb(track, at, step % 4, {shape, 5, 25, 50 - shape, shape}); break;
      case 3:
        if (!track.separate || track.numKeys == 0) break;
        SetLinkMask(track, at, mask);
        AlignKeys(core, id);
        break;
      default: ASSERT_EQ(PutAnyKey(core, id, t, random, mask), kNone);
    }
    // Half of the life under quaternions, then two hundred steps under each order of angles.
    if (step >= 800 && step % 200 == 0) {
      ASSERT_TRUE(SetEulerActive(core, kSpine, step / 200 - 4));
      ASSERT_TRUE(SetEulerActive(core, kTail, step / 200 - 4));
    }
    ExpectOneSide(core);
    if (step >= 800) {
      ExpectAnglesGoOn(core.spine);
      ExpectAnglesGoOn(core.tail);
    }
    if (step % 5 == 0) {
      CopyKeysOneByOne(core.spine.table, fresh.spine.table);
      CopyKeysOneByOne(core.tail.table, fresh.tail.table);
      CopyKeysOneByOne(core.head.table, fresh.head.table);
      CopyKeysOneByOne(core.leg[kLeft].table, fresh.leg[kLeft].table);
      CopyKeysOneByOne(core.arm[kRight].table, fresh.arm[kRight].table);
      CopyKeysOneByOne(core.body.turn, fresh.body.turn);
      for (int i = 0; i < 12; ++i) ExpectSamePose(core, fresh, random.Int(-10, 410));
    }
    if (HasFailure()) FAIL() << "after step " << step;
  }
}

TEST(SetEulerActive, AgreesWithTheQuaternionsAtTheKeysInEveryOrder) {
  Random random(94);
  for (int order = 0; order < kNumEulerOrders; ++order) {
    SCOPED_TRACE(order);
    MotionCore core = Figure();
    for (TimeValue t = 0; t < 120; t += 10) {
      for (const int id : {kSpine, kHead, kTurn, kRightArm}) {
        ASSERT_EQ(PutAnyKey(core, id, t, random), kNone);
      }
    }
    MotionCore plain = core;
    const auto expectSameAtKeys = [&](float tolerance) {
      for (TimeValue t = 0; t < 120; t += 10) {
        Evaluate(core, t);
        Evaluate(plain, t);
        const std::vector<Matrix3> with = AllTransforms(core), without = AllTransforms(plain);
        for (std::size_t i = 0; i < 4 * with.size(); ++i) {
          ASSERT_LE(Length(with[i / 4].row[i % 4] - without[i / 4].row[i % 4]), tolerance) << t;
        }
      }
    };
    for (const int id : {kSpine, kNeck, kTurn, kRightFingers}) {
      ASSERT_TRUE(SetEulerActive(core, id, order)) << id;
      EXPECT_EQ(GetEulerOrder(core, id), order);
    }
    expectSameAtKeys(1e-3f);  // scene units; the figure is 80 high
    for (const int id : {kSpine, kHead, kTurn, kRightArm}) {
      ASSERT_TRUE(SetQuaternionActive(core, id));
      EXPECT_EQ(GetEulerOrder(core, id), -1);
    }
    expectSameAtKeys(0);
  }
}

TEST(SetSeparateTracks, ChangesNoPoseAndGivesUpKeysThatNotAllLinksHave) {
  Random random(95);
  MotionCore core = Figure();
  for (const TimeValue t : {0, 100, 200, 300}) {
    ASSERT_EQ(PutAnyKey(core, kSpine, t, random), kNone);
  }
  MotionCore whole = core, without = core;
  ASSERT_EQ(DeleteKeyAt(without, kSpine, 100), kNone);
  ASSERT_EQ(SetSeparateTracks(core, kSpine, true), kDone);
  // The switch alone changes no pose.
  for (TimeValue t = -10; t < 320; t += 11) ExpectSamePose(core, whole, t);
  // The key of one link alone goes with the switch back; what it stood between falls together.
  ASSERT_EQ(DeleteKeyAt(core, kSpine, 100, ~4u), kNone);
  ASSERT_EQ(SetSeparateTracks(core, kSpine, false), kDone);
  AlignKeys(core, kSpine);
  for (TimeValue t = -10; t < 320; t += 11) ExpectSamePose(core, without, t);
}

}  // namespace
}  // namespace strider
