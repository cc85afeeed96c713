#include "strider/core/key_edit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"

namespace strider {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

MotionCore Figure() {
  Structure s;
  s.tailLinks = 4;
  s.neckLinks = 2;
  s.fingers = 2;
  s.fingerLinks = 2;
  s.prop1Exists = true;
  MotionCore core;
  core.name = "F";
  LayOutFigure(core, s);
  return core;
}

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  int Below(int count) { return static_cast<int>(engine_() % static_cast<unsigned>(count)); }
  float Unit() { return static_cast<float>(Below(20001) - 10000) / 10000; }
  Quat Turn() {
    const Quat q{Unit(), Unit(), Unit(), Unit()};
    return Dot(q, q) > 0.01f ? Normalized(q) : Quat{};
  }

 private:
  std::mt19937 engine_;
};

// Keys with every rotation and number of their section at random, on either side.
ChainKey AnyChainKey(Random& random) {
  ChainKey key;
  for (Quat& turn : key.rotation) turn = random.Turn();
  return key;
}
HeadKey AnyHeadKey(Random& random) {
  HeadKey key;
  key.chain = AnyChainKey(random);
  key.headBlend = 0.5f + 0.5f * random.Unit();
  return key;
}
TurnKey AnyTurnKey(Random& random) {
  TurnKey key;
  key.rotation = random.Turn();
  return key;
}
LimbKey AnyLimbKey(Random& random, const LimbKey& rest) {
  LimbKey key = rest;
  key.limbRotation = random.Turn();
  key.endRotation = random.Turn();
  key.spaceRotation = random.Turn();
  key.jointAngles[kHinge] = 1.5f + random.Unit();
  key.clavicle[0] = random.Unit();
  key.keyState = random.Below(4);
  for (DigitKey& digit : key.digits) {
    digit.base = random.Turn();
    for (Quat& turn : digit.link) turn = random.Turn();
    digit.bend[0] = random.Unit();
  }
  return key;
}

template <class Key, class Put>
void ExpectRefuses(KeyTable<Key>& table, const Key& good, const Put& put,
                   const std::vector<std::function<void(Key&)>>& faults) {
  ASSERT_EQ(put(100, good), KeyRefusal::kNone);
  const std::vector<Key> before = table.keys;
  for (std::size_t i = 0; i < faults.size(); ++i) {
    for (const TimeValue t : {50, 100}) {  // a new key, and one in place of another
      Key bad = good;
      faults[i](bad);
      EXPECT_EQ(put(t, bad), KeyRefusal::kNotFinite) << i;
      EXPECT_EQ(table.track.numKeys, 1);
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
  for (const int id : {kLeftLeg, kRightArm}) {
    LimbRecord& limb = *FindLimb(core, id);
    ExpectRefuses<LimbKey>(
        limb.table, limb.rest, put(id),
        {[](LimbKey& k) {
           k.limbRotation = {0, 0, 0, 0};
         },
         [](LimbKey& k) { k.endRotation.x = kNan; }, [](LimbKey& k) { k.spaceRotation.w = kInf; },
         [](LimbKey& k) {
           k.digits[0].base = {0, 0, 0, 0};
         },
         [](LimbKey& k) { k.digits[0].link[0].y = kNan; },
         [](LimbKey& k) { k.digits[0].bend[1] = kInf; },
         [](LimbKey& k) { k.jointAngles[3] = kNan; }, [](LimbKey& k) { k.clavicle[1] = -kInf; },
         [](LimbKey& k) { k.ikBlend = kNan; }, [](LimbKey& k) { k.forwardBend = kInf; },
         [](LimbKey& k) { k.ikAnkleTension = kNan; }, [](LimbKey& k) { k.bodyTarget.z = kNan; },
         [](LimbKey& k) { k.objectTarget.x = kInf; }, [](LimbKey& k) { k.pivotPosition.y = kNan; },
         [](LimbKey& k) { k.joinedPivotPosition.y = kInf; },
         [](LimbKey& k) { k.anklePose.x = kNan; }});
  }
  ExpectRefuses<ChainKey>(
      core.spine.table, {}, put(kSpine),
      {[](ChainKey& k) {
         k.rotation[3] = {0, 0, 0, 0};
       },
       [](ChainKey& k) { k.rotation[0].z = kNan; }, [](ChainKey& k) { k.base[2] = kInf; },
       [](ChainKey& k) { k.extra = kNan; }});
  ExpectRefuses<HeadKey>(
      core.head.table, {}, putBody,
      {[](HeadKey& k) { k.chain.rotation[2].w = kNan; }, [](HeadKey& k) { k.headBlend = kInf; },
       [](HeadKey& k) { k.targetPosition.y = kNan; }});
  ExpectRefuses<PelvisKey>(core.pelvis.table, {}, putBody, {[](PelvisKey& k) {
                             k.rotation = {0, 0, 0, 0};
                           }});
  ExpectRefuses<TurnKey>(core.body.turn, {}, putBody, {[](TurnKey& k) { k.rotation.x = -kInf; }});
  ExpectRefuses<HorizontalKey>(core.body.horizontal, {}, putBody,
                               {[](HorizontalKey& k) { k.position.x = kNan; },
                                [](HorizontalKey& k) { k.balanceFactor = kInf; }});
  ExpectRefuses<VerticalKey>(
      core.body.vertical, {}, putBody,
      {[](VerticalKey& k) { k.height = kInf; }, [](VerticalKey& k) { k.ballisticHeight = kNan; },
       [](VerticalKey& k) { k.dynamicsBlend = kNan; },
       [](VerticalKey& k) { k.footReach[1] = kInf; },
       [](VerticalKey& k) { k.legShape[0][2] = kNan; }});
  ExpectRefuses<PropKey>(
      core.props[0].table, {}, put(kProp1),
      {[](PropKey& k) {
         k.rotation[3] = {0, 0, 0, 0};
       },
       [](PropKey& k) { k.position[2].y = kNan; }, [](PropKey& k) { k.scale.z = kInf; }});
  // Choices outside their range fall back instead of reaching past tables.
  LimbKey limb = core.leg[kLeft].rest;
  limb.keyState = 77;
  limb.ikSpace = -9;
  limb.pivotKind = 5;
  ASSERT_EQ(PutKey(core, kLeftLeg, 200, limb), KeyRefusal::kNone);
  EXPECT_EQ(core.leg[kLeft].table[1].keyState, kMove);
  EXPECT_EQ(core.leg[kLeft].table[1].ikSpace, kBodySpace);
  PropKey prop;
  prop.posSpace = 4;
  prop.rotSpace = -1;
  ASSERT_EQ(PutKey(core, kProp1, 200, prop), KeyRefusal::kNone);
  EXPECT_EQ(core.props[0].table[1].posSpace, kWorldProp);
  EXPECT_EQ(core.props[0].table[1].rotSpace, kWorldProp);
}

TEST(PutKey, KnowsWhichPartsHaveTracks) {
  MotionCore core = Figure();
  for (const int id :
       {kNeck, kPony1, kHead, kFootprints, kLeftForearmTwist, kTailNub, kXtraFirst, kNoBodyId}) {
    EXPECT_EQ(PutKey(core, id, 0, ChainKey{}), KeyRefusal::kNoTrack) << id;
  }
  for (const int id : {kSpine, kPelvis}) {
    EXPECT_EQ(PutKey(core, id, 0, LimbKey{}), KeyRefusal::kNoTrack) << id;
  }
  EXPECT_EQ(PutKey(core, kProp2, 0, PropKey{}), KeyRefusal::kNoTrack);
  EXPECT_EQ(PutKey(core, kTail, 0, ChainKey{}, 0xf0), KeyRefusal::kNoTrack);  // no link of four
  EXPECT_EQ(core.tail.table.track.numKeys, 0);
  EXPECT_EQ(PutKey(core, kLeftToes, 0, core.leg[kLeft].rest), KeyRefusal::kNone);
  EXPECT_EQ(core.leg[kLeft].table.track.numKeys, 1);
}

TEST(DeleteKeyAt, TakesAKeyFromItsLinksAndThenAltogether) {
  MotionCore core = Figure();
  KeyTrack& track = core.tail.table.track;
  ASSERT_TRUE(track.separate);
  for (const TimeValue t : {0, 100})
    ASSERT_EQ(PutKey(core, kTail, t, ChainKey{}), KeyRefusal::kNone);
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
      {kTail, 0, 5, KeyRefusal::kNone, 2},
      {kTail, 0, 5, KeyRefusal::kNoSuchKey, 2},
      {kTail, 0, 8, KeyRefusal::kNone, 2},
      {kTail, 0, 2, KeyRefusal::kNone, 1},
      {kPony1, 0, 1, KeyRefusal::kNoTrack, 1},
      {kFootprints, 0, 1, KeyRefusal::kNoTrack, 1},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(DeleteKeyAt(core, row.id, row.t, row.mask), row.answer) << row.id << ' ' << row.t;
    EXPECT_EQ(track.numKeys, row.keys);
    EXPECT_TRUE(CheckTrack(track));
  }
  EXPECT_EQ(MoveKey(core, kTail, 0, 300), KeyRefusal::kNone);
  EXPECT_EQ(MoveKey(core, kTail, 1, 300), KeyRefusal::kNoSuchKey);
  EXPECT_EQ(MoveKey(core, kPony1, 0, 300), KeyRefusal::kNoTrack);
  EXPECT_EQ(core.tail.table.TimeOf(0), 300);
}

// Neighbours of each link's own keys, as interpolation meets them.
template <class Key, class Turn>
void ExpectOneSide(const KeyTable<Key>& table, int sub, const Turn& turn) {
  const Key* before = nullptr;
  for (int i = 0; i < table.track.numKeys; ++i) {
    const std::uint32_t mask = table.track.times[static_cast<std::size_t>(i)].linkMask;
    if (table.track.separate && !(mask >> sub & 1)) continue;
    if (before) {
      EXPECT_GE(Dot(turn(*before), turn(table[i])), 0) << i << " of link " << sub;
    }
    before = &table[i];
  }
}
void ExpectOneSide(const MotionCore& core) {
  for (const ChainRecord* chain : {&core.spine, &core.tail}) {
    for (int k = 0; k < chain->numLinks; ++k) {
      ExpectOneSide(chain->table, k, [k](const ChainKey& key) { return key.rotation[k]; });
    }
  }
  for (const LimbRecord* limb : {&core.leg[kLeft], &core.arm[kRight]}) {
    const int end = NumLimbLinks(*limb) - 1;
    ExpectOneSide(limb->table, limb->isLeg ? 0 : 1,
                  [](const LimbKey& k) { return k.limbRotation; });
    ExpectOneSide(limb->table, end, [](const LimbKey& k) { return k.endRotation; });
    ExpectOneSide(limb->table, end, [](const LimbKey& k) { return k.spaceRotation; });
    ExpectOneSide(limb->table, end + 1, [](const LimbKey& k) { return k.digits[0].base; });
    ExpectOneSide(limb->table, end + 1, [](const LimbKey& k) { return k.digits[0].link[1]; });
  }
}

TEST(PutKey, KeepsNeighboursOnOneSideWhereverKeysComeAndGo) {
  Random random(91);
  MotionCore core = Figure();
  ASSERT_EQ(SetSeparateTracks(core, kRightArm, true), kDone);
  for (int step = 0; step < 1500; ++step) {
    const TimeValue t = 10 * random.Below(30);
    const std::uint32_t mask = 1u + static_cast<unsigned>(random.Below(15));
    const int ids[] = {kSpine, kTail, kLeftLeg, kRightArm};
    const int id = ids[random.Below(4)];
    if (random.Below(3) == 0) {
      (void)DeleteKeyAt(core, id, t, mask);
    } else if (id == kSpine || id == kTail) {
      ASSERT_EQ(PutKey(core, id, t, AnyChainKey(random), mask), KeyRefusal::kNone);
    } else {
      const LimbKey& rest = FindLimb(core, id)->rest;
      ASSERT_EQ(PutKey(core, id, t, AnyLimbKey(random, rest), mask), KeyRefusal::kNone);
    }
    ExpectOneSide(core);
    if (HasFailure()) FAIL() << "after step " << step;
  }
  // Giving up the links' own keys leaves new neighbours behind.
  ASSERT_EQ(SetSeparateTracks(core, kTail, false), kDone);
  AlignKeys(core, kTail);
  ExpectOneSide(core);
}

TEST(PutKey, OfSomeLinksLeavesTheOthersKeysAsTheyStand) {
  Random random(92);
  MotionCore core = Figure();
  for (const int id : {kNeck, kLeftLeg, kRightArm}) {
    ASSERT_EQ(SetSeparateTracks(core, id, true), kDone);
  }
  const ChainKey tail = AnyChainKey(random), otherTail = AnyChainKey(random);
  ASSERT_EQ(PutKey(core, kTail, 0, tail), KeyRefusal::kNone);
  ASSERT_EQ(PutKey(core, kTail, 0, otherTail, 4), KeyRefusal::kNone);
  for (int k = 0; k < 4; ++k) {
    const Quat& wanted = (k == 2 ? otherTail : tail).rotation[k];
    EXPECT_GT(Dot(core.tail.table[0].rotation[k], wanted), 0.999999f) << k;
  }
  const HeadKey head = AnyHeadKey(random);
  ASSERT_EQ(PutKey(core, 0, head), KeyRefusal::kNone);
  ASSERT_EQ(PutKey(core, 0, AnyHeadKey(random), 3), KeyRefusal::kNone);  // the neck alone
  EXPECT_EQ(core.head.table[0].headBlend, head.headBlend);
  EXPECT_GT(Dot(core.head.table[0].chain.rotation[2], head.chain.rotation[2]), 0.999999f);
  EXPECT_LT(Dot(core.head.table[0].chain.rotation[0], head.chain.rotation[0]), 0.999f);

  // Which link's keys hold which value of a limb.
  const struct {
    int id, link;
    std::function<bool(const LimbKey&, const LimbKey&)> same;
  } rows[] = {
      {kLeftLeg, 0, [](auto& a, auto& b) { return Dot(a.limbRotation, b.limbRotation) > 0.9999f; }},
      {kLeftLeg, 1, [](auto& a, auto& b) { return a.jointAngles[0] == b.jointAngles[0]; }},
      {kLeftLeg, 2,
       [](auto& a, auto& b) { return a.bodyTarget == b.bodyTarget && a.keyState == b.keyState; }},
      {kLeftLeg, 3, [](auto& a, auto& b) { return a.digits[0].bend[0] == b.digits[0].bend[0]; }},
      {kRightArm, 0, [](auto& a, auto& b) { return a.clavicle[0] == b.clavicle[0]; }},
      {kRightArm, 1,
       [](auto& a, auto& b) { return Dot(a.limbRotation, b.limbRotation) > 0.9999f; }},
      {kRightArm, 2, [](auto& a, auto& b) { return a.jointAngles[0] == b.jointAngles[0]; }},
      {kRightArm, 3, [](auto& a, auto& b) { return a.ikBlend == b.ikBlend; }},
      {kRightArm, 4,
       [](auto& a, auto& b) { return Dot(a.digits[1].link[0], b.digits[1].link[0]) > 0.9999f; }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.id << ' ' << row.link);
    const KeyTable<LimbKey>& table = FindLimb(core, row.id)->table;
    LimbKey keys[2];
    for (int i = 0; i < 2; ++i) {
      keys[i] = AnyLimbKey(random, LimbKey{});
      keys[i].bodyTarget = {random.Unit(), 0, 0};
      keys[i].ikBlend = random.Unit();
    }
    ASSERT_EQ(PutKey(core, row.id, 0, keys[0]), KeyRefusal::kNone);
    ASSERT_EQ(PutKey(core, row.id, 0, keys[1], ~(1u << row.link)), KeyRefusal::kNone);
    EXPECT_TRUE(row.same(table[0], keys[0]));
    ASSERT_EQ(PutKey(core, row.id, 0, keys[1], 1u << row.link), KeyRefusal::kNone);
    EXPECT_TRUE(row.same(table[0], keys[1]));
  }
}

// --- An edited track beside the same keys put in at once
// ------------------------------------------

template <class Key>
void CopyKeysOneByOne(const KeyTable<Key>& from, KeyTable<Key>& to) {
  const KeyTrack& track = from.track;
  ClearKeys(to);
  ASSERT_EQ(to.track.separate, track.separate);
  for (int i = 0; i < track.numKeys; ++i) {
    const std::uint32_t mask = track.times[static_cast<std::size_t>(i)].linkMask;
    ASSERT_EQ(PutKeyRecord(to, from.TimeOf(i), from[i], mask), kDone);
    for (int sub = 0; sub < ShapesPerKey(track); ++sub) {
      if (!track.separate || (mask >> sub & 1)) {
        ASSERT_EQ(SetTcb(to.track, i, sub, GetTcb(track, i, sub)), kDone);
      }
    }
  }
}

void ExpectSamePose(MotionCore& a, MotionCore& b, TimeValue t) {
  const EvalContext context;
  for (MotionCore* core : {&a, &b}) {
    CoreEvaluate(*core, t, context);
    CoreForwardKinematics(*core);
  }
  for (int id = 0; id < kMaxNodes; ++id) {
    for (int link = 0; link < 8; ++link) {
      ASSERT_TRUE(LinkFrame(a, id, link) == LinkFrame(b, id, link))
          << id << ' ' << link << " at " << t;
    }
  }
}

TEST(KeyEdits, LeaveATrackAsIfItsKeysHadBeenPutInAtOnce) {
  Random random(93);
  MotionCore core = Figure(), fresh = Figure();
  for (MotionCore* figure : {&core, &fresh}) {
    ASSERT_EQ(SetSeparateTracks(*figure, kLeftLeg, true), kDone);
    ASSERT_EQ(SetSeparateTracks(*figure, kRightFingers, true), kDone);
  }
  const int ids[] = {kSpine, kTail, kHead, kLeftLeg, kRightArm, kTurn};
  for (int step = 1; step <= 1200; ++step) {
    const int id = ids[step / 10 % 6];  // several edits of one track wait for each look at it
    KeyTrack& track = *FindTrack(core, id);
    const TimeValue t = 10 * random.Below(40);
    const std::uint32_t mask =
        track.separate ? 1u + static_cast<unsigned>(random.Below(15)) : kAllLinks;
    const int at = track.numKeys > 0 ? random.Below(track.numKeys) : 0;
    switch (random.Below(track.numKeys > 12 ? 6 : 7)) {
      case 0: (void)DeleteKeyAt(core, id, t, mask); break;
      case 1: (void)MoveKey(core, id, at, t + 3); break;
      case 2:
        (void)SetTcb(
            track, at, random.Below(4),
            {25 + 25 * random.Unit(), 5, 25, 25 + 25 * random.Unit(), 25 + 25 * random.Unit()});
        break;
      case 3:
        if (track.separate) SetLinkMask(track, at, mask);
        break;
      default:
        if (id == kTurn) {
          ASSERT_EQ(PutKey(core, t, AnyTurnKey(random)), KeyRefusal::kNone);
        } else if (id == kHead) {
          ASSERT_EQ(PutKey(core, t, AnyHeadKey(random)), KeyRefusal::kNone);
        } else if (LimbRecord* limb = FindLimb(core, id)) {
          ASSERT_EQ(PutKey(core, id, t, AnyLimbKey(random, limb->rest), mask), KeyRefusal::kNone);
        } else {
          ASSERT_EQ(PutKey(core, id, t, AnyChainKey(random), mask), KeyRefusal::kNone);
        }
    }
    if (step % 5 != 0) continue;
    CopyKeysOneByOne(core.spine.table, fresh.spine.table);
    CopyKeysOneByOne(core.tail.table, fresh.tail.table);
    CopyKeysOneByOne(core.head.table, fresh.head.table);
    CopyKeysOneByOne(core.leg[kLeft].table, fresh.leg[kLeft].table);
    CopyKeysOneByOne(core.arm[kRight].table, fresh.arm[kRight].table);
    CopyKeysOneByOne(core.body.turn, fresh.body.turn);
    for (int i = 0; i < 12; ++i) ExpectSamePose(core, fresh, random.Below(420) - 10);
    if (HasFailure()) FAIL() << "after step " << step;
  }
}

// --- Euler angles and separate links
// --------------------------------------------------------------

// The angles of each link's own keys: those of the rotation, each within half a turn of the last.
void ExpectAnglesGoOn(const KeyTable<ChainKey>& table, int links, int order) {
  for (int k = 0; k < links; ++k) {
    const Point3* before = nullptr;
    for (int i = 0; i < table.track.numKeys; ++i) {
      const std::uint32_t mask = table.track.times[static_cast<std::size_t>(i)].linkMask;
      if (table.track.separate && !(mask >> k & 1)) continue;
      const Point3& euler = table[i].euler[k];
      const Quat turn = EulerToQuat({euler.x, euler.y, -euler.z}, order);
      EXPECT_GT(std::fabs(Dot(turn, table[i].rotation[k])), 1 - 3e-6f) << i << ' ' << k;
      for (int c = 0; before && c < 3; ++c) {
        EXPECT_LE(std::fabs(euler[c] - (*before)[c]), kPi + 1e-4f) << i << ' ' << k;
      }
      before = &euler;
    }
  }
}

TEST(SetEulerActive, AgreesWithTheQuaternionsAtTheKeysInEveryOrder) {
  Random random(94);
  const EvalContext context;
  for (int order = 0; order < kNumEulerOrders; ++order) {
    SCOPED_TRACE(order);
    MotionCore core = Figure();
    for (TimeValue t = 0; t < 120; t += 10) {
      ASSERT_EQ(PutKey(core, kSpine, t, AnyChainKey(random)), KeyRefusal::kNone);
      ASSERT_EQ(PutKey(core, t, AnyHeadKey(random)), KeyRefusal::kNone);
      ASSERT_EQ(PutKey(core, t, AnyTurnKey(random)), KeyRefusal::kNone);
      const LimbKey arm = AnyLimbKey(random, core.arm[kRight].rest);
      ASSERT_EQ(PutKey(core, kRightArm, t, arm), KeyRefusal::kNone);
    }
    MotionCore plain = core;
    for (const int id : {kSpine, kNeck, kTurn, kRightFingers}) {
      ASSERT_TRUE(SetEulerActive(core, id, order)) << id;
      EXPECT_EQ(GetEulerOrder(core, id), order);
    }
    const auto expectSameAtKeys = [&](float tolerance) {
      for (TimeValue t = 0; t < 120; t += 10) {
        for (MotionCore* figure : {&core, &plain}) {
          CoreEvaluate(*figure, t, context);
          CoreForwardKinematics(*figure);
        }
        for (const int id : {kSpine, kHead, kTurn, kRightArm, kRightFingers}) {
          for (int i = 0; i < 16; ++i) {
            const Point3 with = LinkFrame(core, id, i / 4).row[i % 4];
            const Point3 without = LinkFrame(plain, id, i / 4).row[i % 4];
            ASSERT_LE(Length(with - without), tolerance) << id << ' ' << i << " at " << t;
          }
        }
      }
    };
    expectSameAtKeys(1e-3f);  // scene units; the figure is 80 high
    for (const int id : {kSpine, kHead, kTurn, kRightArm}) {
      ASSERT_TRUE(SetQuaternionActive(core, id));
      EXPECT_EQ(GetEulerOrder(core, id), -1);
    }
    expectSameAtKeys(0);
  }
}

TEST(SetEulerActive, AnglesGoOnFromKeyToKeyThroughEdits) {
  Random random(96);
  for (int order = 0; order < kNumEulerOrders; ++order) {
    MotionCore core = Figure();
    for (int step = 0; step < 80; ++step) {
      const std::uint32_t mask = 1u + static_cast<unsigned>(random.Below(15));
      for (const int id : {kSpine, kTail}) {
        const TimeValue t = random.Below(40);
        if (random.Below(4) == 0) {
          (void)DeleteKeyAt(core, id, t, mask);
        } else {
          ASSERT_EQ(PutKey(core, id, t, AnyChainKey(random), mask), KeyRefusal::kNone);
        }
        if (step == 30) {
          ASSERT_TRUE(SetEulerActive(core, id, order));
        }
      }
      if (step < 30) continue;
      ExpectAnglesGoOn(core.spine.table, 4, order);
      ExpectAnglesGoOn(core.tail.table, 4, order);
    }
  }
}

TEST(SetEulerActive, IsForSectionsThatHaveAngles) {
  MotionCore core = Figure();
  for (const int id :
       {kPelvis, kVertical, kHorizontal, kProp1, kFootprints, kTailNub, kPony2, kXtraFirst}) {
    EXPECT_FALSE(SetEulerActive(core, id, 0)) << id;
    EXPECT_EQ(GetEulerOrder(core, id), -1);
  }
  EXPECT_FALSE(SetEulerActive(core, kSpine, 6));
  EXPECT_FALSE(SetEulerActive(core, kSpine, -1));
  EXPECT_FALSE(SetQuaternionActive(core, kPelvis));
}

TEST(SetSeparateTracks, LinksRideAcrossKeysThatOnlyOneOfThemHas) {
  Random random(95);
  MotionCore core = Figure();
  for (const TimeValue t : {0, 100, 200, 300}) {
    ASSERT_EQ(PutKey(core, kSpine, t, AnyChainKey(random)), KeyRefusal::kNone);
  }
  MotionCore whole = core, without = core;
  ASSERT_EQ(DeleteKeyAt(without, kSpine, 100), KeyRefusal::kNone);
  ASSERT_EQ(SetSeparateTracks(core, kSpine, true), kDone);
  const EvalContext context;
  // The switch alone changes no pose.
  for (TimeValue t = -10; t < 320; t += 11) ExpectSamePose(core, whole, t);
  ASSERT_EQ(DeleteKeyAt(core, kSpine, 100, ~4u), KeyRefusal::kNone);
  for (TimeValue t = -10; t < 320; t += 11) {
    for (MotionCore* figure : {&core, &without}) CoreEvaluate(*figure, t, context);
    for (const int k : {0, 1, 3}) EXPECT_EQ(core.spine.pose[k], without.spine.pose[k]) << t;
  }
  CoreEvaluate(core, 100, context);
  EXPECT_GT(Dot(core.spine.pose[2], core.spine.table[1].rotation[2]), 0.999999f);
  ASSERT_EQ(SetSeparateTracks(core, kSpine, false), kDone);
  EXPECT_EQ(core.spine.table.track.numKeys, 3);
  AlignKeys(core, kSpine);
  for (TimeValue t = -10; t < 320; t += 11) ExpectSamePose(core, without, t);
}

TEST(KeyEdits, ReachOverTheWholeRangeOfTimes) {
  MotionCore core = Figure();
  for (const TimeValue t : {kTimeMax, kTimeMin, 0}) {
    TurnKey key;
    key.rotation = AboutY(t == 0 ? 0.2f : t > 0 ? 0.6f : -0.2f);
    ASSERT_EQ(PutKey(core, t, key), KeyRefusal::kNone);
    ASSERT_EQ(PutKey(core, kSpine, t, ChainKey{}), KeyRefusal::kNone);
  }
  const EvalContext context;
  const struct {
    TimeValue t;
    float heading;
  } rows[] = {
      {kTimeMin, -0.2f}, {kTimeMin / 2, 0.0f}, {0, 0.2f}, {kTimeMax / 2, 0.4f}, {kTimeMax, 0.6f}};
  for (const auto& row : rows) {
    CoreEvaluate(core, row.t, context);
    const Quat& q = core.body.bodyRotation;
    EXPECT_NEAR(2 * Atan2(q.y, q.w), row.heading, 1e-5f) << row.t;
  }
  EXPECT_EQ(MoveKey(core, kTurn, 1, kTimeMax), KeyRefusal::kNoSuchKey);
  EXPECT_EQ(MoveKey(core, kTurn, 1, kTimeMax - 1), KeyRefusal::kNone);
  EXPECT_EQ(MoveKey(core, kTurn, 3, 0), KeyRefusal::kNoSuchKey);
  EXPECT_EQ(DeleteKeyAt(core, kTurn, kTimeMin), KeyRefusal::kNone);
  EXPECT_TRUE(CheckTrack(core.body.turn.track));
}

}  // namespace
}  // namespace strider
