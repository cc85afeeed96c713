#include "strider/core/limb.h"

#include <functional>
#include <limits>

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::AngleBetween;
using test::Distance;
using test::Evaluate;
using test::FullStructure;
using test::MakeFigure;
using test::Random;

constexpr TimeValue kFrame = kDynamicsFrame;

/// Legs bent a little under a body at the origin, its keyed path free of balance.
void KeyBody(MotionCore& core, TimeValue t, const Point3& place, float heading = 0) {
  HorizontalKey ground;
  ground.position = place;
  ground.balanceFactor = 0;
  VerticalKey height;
  height.height = height.ballisticHeight = place.y;
  TurnKey turn;
  turn.rotation = AboutY(heading);
  EXPECT_EQ(PutKey(core, t, ground), KeyRefusal::kNone);
  EXPECT_EQ(PutKey(core, t, height), KeyRefusal::kNone);
  EXPECT_EQ(PutKey(core, t, turn), KeyRefusal::kNone);
}

/// What a limb is keyed to: its pivot's place (object space) and the hand's or foot's rotation.
struct Placing {
  Point3 anchor;
  Quat rotation;
  PivotChoice pivot;
  LimbKeyKind kind = kPlantedKey;
  int keyState = kPlant;
  float ankleTension = 1;
};

/// Poses the limb as told under the body as keyed at `t`, and keys that.
LimbKey KeyPlaced(MotionCore& core, int id, TimeValue t, const Placing& wanted) {
  MotionCore posed = core;
  Evaluate(posed, t);
  LimbRecord& limb = *FindLimb(posed, id);
  LimbPose& pose = limb.pose;
  pose.pivotKind = wanted.pivot.kind;
  pose.pivotIndex = wanted.pivot.index;
  pose.pivotDigit = wanted.pivot.digit;
  pose.pivotLink = wanted.pivot.link;
  PlacePivotedLimb(limb, wanted.anchor, wanted.pivot, wanted.rotation, {});
  const LimbShape shape = ForwardLimb(LengthsOf(limb), pose.jointAngles, pose.limbRotation);
  pose.endRotation =
      Conjugate(limb.base.rotation * shape.lastRotation) * wanted.rotation;
  pose.ikAnkleTension = wanted.ankleTension;
  CoreForwardKinematics(posed);
  LimbKey key = CurrentLimbKey(posed, limb, wanted.kind);
  key.keyState = limb.isLeg ? wanted.keyState : kMove;
  EXPECT_EQ(PutKey(core, id, t, key), KeyRefusal::kNone);
  return key;
}

const Matrix3& EndFrame(const LimbRecord& limb) { return limb.frame[NumLimbLinks(limb) - 1]; }
Quat EndRotation(const LimbRecord& limb) { return RotationOf(EndFrame(limb)); }
Point3 PivotInWorld(const LimbRecord& limb, const PivotChoice& pivot) {
  return PivotPoint(limb, pivot) * EndFrame(limb);
}

/// A foot flat on the ground with its toes ahead; `pitch` lifts the toes.
Quat FlatFoot(float pitch = 0) {
  const Matrix3 flat{{{0, -1, 0}, {1, 0, 0}, {0, 0, 1}, {}}};
  return AboutZ(pitch) * RotationOf(flat);
}
const PivotChoice kAnkle{}, kHeel{kNamedPivot, 2, 0, 0}, kBall{kNamedPivot, 5, 0, 0};

MotionCore NominalFigure() {
  Structure s;
  s.height = 415;  // lengths in nominal units
  return MakeFigure(s);
}
constexpr float kLegLength = 200;

// --- Pivots ------------------------------------------------------------------------------------

TEST(Pivots, TheSevenNamedOnesLieOnSoleAndPalm) {
  MotionCore core = NominalFigure();
  // Sole 23 below the ankle, heel 7.4 behind, toes 29.6 ahead, half the width 9.5. A hand of 25
  // each way: rows 10 to both sides, the palm 25 / 9 towards the body.
  const Point3 foot[7] = {{0, 0, 0},      {23, -7.4f, -9.5f}, {23, -7.4f, 0},    {23, -7.4f, 9.5f},
                          {23, 29.6f, -9.5f}, {23, 29.6f, 0},  {23, 29.6f, 9.5f}};
  for (int i = 0; i < 7; ++i) {
    SCOPED_TRACE(i);
    const PivotChoice pivot{kNamedPivot, i, 0, 0};
    for (const LimbRecord& leg : core.leg) {
      EXPECT_LT(Distance(PivotPoint(leg, pivot), foot[i]), 1e-4f);
    }
    for (const LimbRecord& arm : core.arm) {
      const float palm = i == 0 ? 0 : arm.side == kRight ? -25 / 9.0f : 25 / 9.0f;
      const float across[7] = {0, -10, 0, 10, -10, 0, 10};
      EXPECT_LT(Distance(PivotPoint(arm, pivot), {i >= 4 ? 25.0f : 0, across[i], palm}), 1e-4f);
      // The palm faces the body.
      if (i == 0) continue;
      EXPECT_LT(std::fabs(PivotInWorld(arm, pivot).z), std::fabs(EndFrame(arm).row[3].z));
    }
  }
  // A number from a damaged file is held to those there are.
  EXPECT_EQ(PivotPoint(core.leg[0], PivotChoice{kNamedPivot, 99, 0, 0}),
            PivotPoint(core.leg[0], PivotChoice{kNamedPivot, 6, 0, 0}));
  EXPECT_EQ(PivotPoint(core.leg[0], PivotChoice{kNamedPivot, -4, 0, 0}), Point3{});
}

TEST(Pivots, DigitJointsLieWhereTheirLinksStartAndEnd) {
  Random random(41);
  Structure s = FullStructure();
  s.shortThumb = true;
  MotionCore core = MakeFigure(s);
  for (int i = 0; i < 20; ++i) {
    test::BendFigure(core, random);
    for (int id : {kLeftArm, kRightArm, kLeftLeg, kRightLeg}) {
      const LimbRecord& limb = *FindLimb(core, id);
      for (int d = 0; d < limb.numDigits; ++d) {
        const DigitRecord& digit = limb.digits[d];
        for (int k = 0; k <= digit.numLinks; ++k) {
          SCOPED_TRACE(testing::Message() << id << " digit " << d << " joint " << k);
          const bool end = k == digit.numLinks;
          const Matrix3& link = digit.frame[end ? k - 1 : k];
          const Point3 joint = end ? Point3{digit.dimensions[k - 1].x, 0, 0} * link : link.Origin();
          ASSERT_LT(Distance(PivotInWorld(limb, {kDigitPivot, 0, d, k}), joint), 1e-3f);
        }
      }
    }
  }
}

TEST(Pivots, AreCountedWithEveryJointAndEndOfUnseparatedDigits) {
  const struct {
    const char* what;
    int fingers, fingerLinks, toes, toeLinks;
    bool shortThumb;
    int hand, foot;
  } rows[] = {
      {"one of each", 1, 1, 1, 3, false, 7 + 2, 7 + 4},
      {"full", 5, 3, 5, 3, false, 7 + 5 * 4, 7 + 5 * 4},
      {"short thumb", 5, 3, 5, 3, true, 7 + 3 + 4 * 4, 7 + 5 * 4},
      {"short thumb of one link", 2, 1, 1, 1, true, 7 + 2 * 2, 7 + 2},
      {"no fingers", 0, 3, 2, 2, true, 7, 7 + 2 * 3},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Structure s;
    s.fingers = row.fingers;
    s.fingerLinks = row.fingerLinks;
    s.toes = row.toes;
    s.toeLinks = row.toeLinks;
    s.shortThumb = row.shortThumb;
    MotionCore core = MakeFigure(s);
    EXPECT_EQ(NumPivots(core.arm[kLeft]), row.hand);
    EXPECT_EQ(NumPivots(core.leg[kRight]), row.foot);
    // Each number is another point of the limb, in order: named ones, then digit by digit.
    for (const LimbRecord* limb : {&core.arm[kLeft], &core.leg[kRight]}) {
      int digit = 0, link = 0;
      for (int i = kNumNamedPivots; i < NumPivots(*limb); ++i) {
        EXPECT_EQ(PivotOfNumber(*limb, i), (PivotChoice{kDigitPivot, 0, digit, link})) << i;
        if (++link > limb->digits[digit].numLinks) ++digit, link = 0;
      }
      for (int i : {-1, -100}) EXPECT_EQ(PivotOfNumber(*limb, i), kAnkle);
      EXPECT_EQ(PivotOfNumber(*limb, 1000), PivotOfNumber(*limb, NumPivots(*limb) - 1));
    }
    ASSERT_EQ(SetSeparateTracks(core, kLeftFingers, true), kDone);
    EXPECT_EQ(NumPivots(core.arm[kLeft]), 7) << "digits with keys of their own are no pivots";
  }
}

// --- Kinds of keys and keys of the current pose --------------------------------------------------

TEST(KeyKinds, SetAndReadBlendSpaceAndJoin) {
  const struct {
    LimbKeyKind kind;
    float blend;
    int space, join;
  } rows[] = {{kPlantedKey, 1, kObjectSpace, 1},
              {kSlidingKey, 1, kObjectSpace, 0},
              {kFreeKey, 0, kBodySpace, 0}};
  for (const auto& row : rows) {
    LimbKey key;
    key.ikBlend = 0.3f;
    key.ikJoinedPivot = 1;
    SetKeyKind(key, row.kind);
    EXPECT_EQ(key.ikBlend, row.blend);
    EXPECT_EQ(key.ikSpace, row.space);
    EXPECT_EQ(key.ikJoinedPivot, row.join);
    EXPECT_EQ(KeyKindOf(key), row.kind);
  }
  LimbKey half;
  SetKeyKind(half, kPlantedKey);
  half.ikBlend = 0.5f;
  EXPECT_EQ(KeyKindOf(half), kFreeKey) << "what is held by half is not planted";
}

std::vector<Matrix3> LimbFrames(const LimbRecord& limb) {
  std::vector<Matrix3> frames(limb.frame, limb.frame + NumLimbLinks(limb));
  for (int d = 0; d < limb.numDigits; ++d) {
    const DigitRecord& digit = limb.digits[d];
    frames.insert(frames.end(), digit.frame, digit.frame + digit.numLinks);
  }
  return frames;
}

void ExpectSameFrames(const LimbRecord& a, const LimbRecord& b, float closeness) {
  const std::vector<Matrix3> fa = LimbFrames(a), fb = LimbFrames(b);
  ASSERT_EQ(fa.size(), fb.size());
  for (std::size_t i = 0; i < fa.size(); ++i) {
    SCOPED_TRACE(i);
    ASSERT_LT(Distance(fa[i].Origin(), fb[i].Origin()), closeness);
    ASSERT_LT(AngleBetween(RotationOf(fa[i]), RotationOf(fb[i])), 3e-3f);
  }
}

// One key, and one between two others of another kind and place: the pose at the key is the pose
// that was keyed, whatever its kind, pivot, object and structure.
TEST(CurrentLimbKey, BringsThePoseBackAtItsTime) {
  Random random(42);
  for (int i = 0; i < 400; ++i) {
    SCOPED_TRACE(i);
    Structure s = i % 2 ? FullStructure() : Structure{};
    s.height = 415;
    MotionCore core = MakeFigure(s);
    const int id = kLeftArm + (i % 4 < 2 ? i % 4 : i % 4 + 2);
    LimbRecord& limb = *FindLimb(core, id);
    if (i % 3 == 0) limb.objectFrame = FrameOf(random.Rotation(), random.Inside(80));
    const auto poseAndKey = [&](TimeValue t) {
      MotionCore posed = core;
      test::BendFigure(posed, random);
      LimbRecord& own = *FindLimb(posed, id);
      const PivotChoice pivot = PivotOfNumber(own, random.Int(0, NumPivots(own) - 1));
      own.pose.pivotKind = pivot.kind;
      own.pose.pivotIndex = pivot.index;
      own.pose.pivotDigit = pivot.digit;
      own.pose.pivotLink = pivot.link;
      const LimbKeyKind kind = static_cast<LimbKeyKind>(random.Int(0, 2));
      EXPECT_EQ(PutKey(core, id, t, CurrentLimbKey(posed, own, kind)), KeyRefusal::kNone);
      EXPECT_EQ(PutKey(core, t, CurrentHorizontalKey(posed)), KeyRefusal::kNone);
      EXPECT_EQ(PutKey(core, t, CurrentVerticalKey(posed)), KeyRefusal::kNone);
      EXPECT_EQ(PutKey(core, t, CurrentTurnKey(posed)), KeyRefusal::kNone);
      EXPECT_EQ(PutKey(core, t, CurrentPelvisKey(posed)), KeyRefusal::kNone);
      EXPECT_EQ(PutKey(core, kSpine, t, CurrentChainKey(posed.spine)), KeyRefusal::kNone);
      return posed;
    };
    const MotionCore middle = poseAndKey(10 * kFrame);
    Evaluate(core, 10 * kFrame);
    ExpectSameFrames(*FindLimb(core, id), *FindLimb(middle, id), 0.1f);
    if (HasFatalFailure()) return;

    const MotionCore first = poseAndKey(0), last = poseAndKey(20 * kFrame);
    const struct {
      TimeValue t;
      const MotionCore& wanted;
    } rows[] = {{0, first}, {10 * kFrame, middle}, {20 * kFrame, last}, {-5 * kFrame, first},
                {90 * kFrame, last}};
    for (const auto& row : rows) {
      SCOPED_TRACE(row.t);
      Evaluate(core, row.t);
      ExpectSameFrames(*FindLimb(core, id), *FindLimb(row.wanted, id), 0.1f);
      if (HasFatalFailure()) return;
    }
  }
}

// --- Blend of forward and inverse kinematics -----------------------------------------------------

/// Two keys of a limb with different poses and, apart from them, targets of their own.
MotionCore TwoTargetKeys(int id, float blend) {
  Random random(43);
  MotionCore core = NominalFigure();
  for (TimeValue t : {0, 10 * kFrame}) {
    MotionCore posed = core;
    test::BendFigure(posed, random);
    LimbKey key = CurrentLimbKey(posed, *FindLimb(posed, id), kFreeKey);
    key.ikBlend = blend;
    key.bodyTarget += random.Inside(15);
    EXPECT_EQ(PutKey(core, id, t, key), KeyRefusal::kNone);
  }
  return core;
}

TEST(LimbBlend, ZeroIsExactlyTheForwardPose) {
  for (int id : {kRightArm, kLeftLeg}) {
    MotionCore core = TwoTargetKeys(id, 0), forward = core;
    EvalContext noIk;
    noIk.disableIk = true;
    for (TimeValue t = -kFrame; t <= 11 * kFrame; t += 37) {
      Evaluate(core, t);
      Evaluate(forward, t, noIk);
      ASSERT_EQ(LimbFrames(*FindLimb(core, id)), LimbFrames(*FindLimb(forward, id))) << t;
    }
  }
}

TEST(LimbBlend, OneBringsTheEndToTheTargetAndAHalfLiesBetween) {
  for (int id : {kRightArm, kLeftLeg}) {
    MotionCore whole = TwoTargetKeys(id, 1), half = TwoTargetKeys(id, 0.5f);
    MotionCore none = TwoTargetKeys(id, 0);
    const LimbRecord& limb = *FindLimb(whole, id);
    const KeyTable<LimbKey>& keys = limb.table;
    for (TimeValue t : {0, 5 * kFrame, 10 * kFrame}) {
      SCOPED_TRACE(t);
      for (MotionCore* core : {&whole, &half, &none}) Evaluate(*core, t);
      // Two keys of neutral shape: half way in time is half way between their targets.
      const Point3 target = Lerp(keys[0].bodyTarget, keys[1].bodyTarget,
                                 static_cast<float>(t) / (10.0f * kFrame));
      const LimbPose& w = limb.pose;
      EXPECT_LT(Distance(w.localTarget, target), 2e-4f * ReachOf(LengthsOf(limb)));
      const LimbPose& f = FindLimb(none, id)->pose;
      const LimbPose& h = FindLimb(half, id)->pose;
      EXPECT_GT(std::fabs(w.jointAngles[kHinge] - f.jointAngles[kHinge]), 0.01f);
      EXPECT_NEAR(h.jointAngles[kHinge], (w.jointAngles[kHinge] + f.jointAngles[kHinge]) / 2, 1e-4);
      const float apart = AngleBetween(f.limbRotation, w.limbRotation);
      EXPECT_NEAR(AngleBetween(f.limbRotation, h.limbRotation), apart / 2, 2e-3);
      EXPECT_NEAR(AngleBetween(h.limbRotation, w.limbRotation), apart / 2, 2e-3);
    }
  }
}

// A key in the body's space beside one in the world's: only at the keys themselves does either
// target rule, between them the forward pose does.
TEST(LimbBlend, ChangeOfSpaceShowsTheForwardPoseBetweenTheKeys) {
  MotionCore core = NominalFigure();
  for (int k = 0; k <= 3; ++k) {
    KeyBody(core, k * 10 * kFrame, {30.0f * static_cast<float>(k), 215, 0});
  }
  const int id = kRightLeg;
  Placing free{{10, 40, 20}, FlatFoot(), kAnkle, kFreeKey, kMove, 1};
  KeyPlaced(core, id, 0, free);
  const Placing stand{{40, 0, 20}, FlatFoot(), kBall};
  KeyPlaced(core, id, 10 * kFrame, stand);
  KeyPlaced(core, id, 20 * kFrame, stand);
  free.anchor.x = 100;
  KeyPlaced(core, id, 30 * kFrame, free);

  MotionCore forward = core;
  EvalContext noIk;
  noIk.disableIk = true;
  const auto isForward = [&](TimeValue t) {
    Evaluate(core, t);
    Evaluate(forward, t, noIk);
    return LimbFrames(core.leg[kRight]) == LimbFrames(forward.leg[kRight]);
  };
  for (TimeValue t = 1; t < 10 * kFrame; t += 53) ASSERT_TRUE(isForward(t)) << t;
  for (TimeValue t = 20 * kFrame + 1; t < 30 * kFrame; t += 53) ASSERT_TRUE(isForward(t)) << t;
  for (TimeValue t : {10 * kFrame, 15 * kFrame, 20 * kFrame}) {
    Evaluate(core, t);
    EXPECT_LT(Distance(PivotInWorld(core.leg[kRight], kBall), stand.anchor), 0.05f) << t;
  }
  for (TimeValue t : {0, 30 * kFrame}) {
    Evaluate(core, t);
    EXPECT_LT(Distance(EndFrame(core.leg[kRight]).Origin(), {t == 0 ? 10.0f : 100.0f, 40, 20}), 0.1f);
  }
}

// --- Planted legs ------------------------------------------------------------------------------

/// A body that strides from x 0 to x 96 in 24 frames and bobs.
void KeyStride(MotionCore& core) {
  for (int k = 0; k <= 4; ++k) {
    const float bob = k % 2 ? -6.0f : 2.0f;
    KeyBody(core, k * 6 * kFrame, {24.0f * static_cast<float>(k), 205 + bob, 0}, 0.05f * k);
  }
}

TEST(PlantedLeg, StaysOnItsHeelThenOnItsToesWhileTheBodyStridesOver) {
  for (int id : {kRightLeg, kLeftLeg}) {
    for (float tension : {1.0f, 0.5f, 0.0f}) {
      SCOPED_TRACE(testing::Message() << id << " tension " << tension);
      MotionCore core = NominalFigure();
      KeyStride(core);
      const float z = id == kRightLeg ? 20.0f : -20.0f;
      // The heel lands at x 40 with the toes up, the foot goes flat, then its heel rises.
      const Point3 heel{40, 0, z}, ball{40 + 37, 0, z};
      KeyPlaced(core, id, 4 * kFrame, {heel, FlatFoot(0.35f), kHeel, kSlidingKey, kTouch, tension});
      KeyPlaced(core, id, 9 * kFrame, {ball, FlatFoot(), kBall, kPlantedKey, kPlant, tension});
      KeyPlaced(core, id, 14 * kFrame, {ball, FlatFoot(-0.2f), kBall, kPlantedKey, kPlant, tension});
      KeyPlaced(core, id, 20 * kFrame, {ball, FlatFoot(-0.9f), kBall, kPlantedKey, kLift, tension});
      const LimbRecord& leg = *FindLimb(core, id);
      Point3 last;
      for (TimeValue t = 4 * kFrame; t <= 20 * kFrame; t += 40) {
        SCOPED_TRACE(t);
        Evaluate(core, t);
        const bool onHeel = t < 9 * kFrame;
        const Point3 pivot = PivotInWorld(leg, onHeel ? kHeel : kBall);
        ASSERT_LT(Distance(pivot, onHeel ? heel : ball), 0.002f * kLegLength);
        if (t > 4 * kFrame && t != 9 * kFrame) {
          ASSERT_LT(Distance(pivot, last), 0.002f * kLegLength);
        }
        last = pivot;
        ASSERT_GT(test::LowestSolePoint(leg), -0.1f) << "into the ground";
      }
    }
  }
}

TEST(PlantedLeg, KeepsItsFootsRotationWhereTheKeysAgree) {
  const struct {
    const char* what;
    int id, state;
    LimbKeyKind kind;
  } rows[] = {
      {"planted leg", kLeftLeg, kPlant, kPlantedKey},
      {"sliding leg without contact", kRightLeg, kMove, kSlidingKey},
      {"planted arm", kRightArm, kMove, kPlantedKey},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    MotionCore core = NominalFigure();
    // The body turns by a right angle on the way, so the outer keys differ from the middle ones.
    for (int k = 0; k <= 4; ++k) {
      KeyBody(core, k * 6 * kFrame, {8.0f * static_cast<float>(k), 200, 0},
              1.0f + 0.4f * static_cast<float>(k));
    }
    Evaluate(core, 12 * kFrame);
    const Matrix3 stance = EndFrame(*FindLimb(core, row.id));
    const Point3 lift{0, row.id == kRightArm ? 20.0f : 0.0f, 0};
    const Placing hold{stance.Origin() + lift, RotationOf(stance), kAnkle, row.kind, row.state, 1};
    Placing free = hold;
    free.kind = kFreeKey;
    free.keyState = kMove;
    free.rotation = AboutY(0.9f) * hold.rotation;
    KeyPlaced(core, row.id, 0, free);
    KeyPlaced(core, row.id, 8 * kFrame, hold);
    KeyPlaced(core, row.id, 16 * kFrame, hold);
    KeyPlaced(core, row.id, 24 * kFrame, free);
    for (TimeValue t = 8 * kFrame; t <= 16 * kFrame; t += 32) {
      Evaluate(core, t);
      ASSERT_LT(AngleBetween(EndRotation(*FindLimb(core, row.id)), hold.rotation), 2e-3f) << t;
      ASSERT_LT(Distance(EndFrame(*FindLimb(core, row.id)).Origin(), hold.anchor), 0.1f) << t;
    }
  }
}

TEST(PlantedLeg, SlidesOnAStraightLineBetweenSlidingKeys) {
  MotionCore core = NominalFigure();
  KeyBody(core, 0, {0, 205, 0});
  const Placing from{{-20, 0, 20}, FlatFoot(), kHeel, kSlidingKey};
  Placing to = from;
  to.anchor = {30, 0, 28};
  KeyPlaced(core, kRightLeg, 0, from);
  KeyPlaced(core, kRightLeg, 10 * kFrame, to);
  float lastX = -21;
  for (TimeValue t = 0; t <= 10 * kFrame; t += 80) {
    Evaluate(core, t);
    const Point3 heel = PivotInWorld(core.leg[kRight], kHeel);
    EXPECT_GT(heel.x, lastX);
    lastX = heel.x;
    const float u = (heel.x + 20) / 50;
    EXPECT_LT(Distance(heel, Lerp(from.anchor, to.anchor, u)), 0.1f) << t;
    if (t == 5 * kFrame) {
      EXPECT_NEAR(u, 0.5f, 2e-3f);
    }
  }
}

// Without a join the later key's pivot takes over right after the earlier key, from where it lay
// then: nothing jumps, at the keys or between them.
TEST(PlantedLeg, ChangesItsPivotWithoutAJumpAlsoUnjoined) {
  MotionCore core = NominalFigure();
  KeyBody(core, 0, {0, 205, 0});
  KeyBody(core, 20 * kFrame, {30, 205, 0});
  const Point3 heel{0, 0, 20};
  KeyPlaced(core, kRightLeg, 0, {heel, FlatFoot(0.3f), kHeel, kSlidingKey});
  KeyPlaced(core, kRightLeg, 10 * kFrame, {{46, 0, 20}, FlatFoot(-0.2f), kBall, kSlidingKey});
  KeyPlaced(core, kRightLeg, 20 * kFrame, {{46, 4, 20}, FlatFoot(-0.4f),
                                           {kDigitPivot, 0, 0, 1}, kSlidingKey});
  Evaluate(core, 0);
  EXPECT_LT(Distance(PivotInWorld(core.leg[kRight], kHeel), heel), 0.05f);
  Point3 lastHeel = PivotInWorld(core.leg[kRight], kHeel);
  Point3 lastBall = PivotInWorld(core.leg[kRight], kBall);
  for (TimeValue t = 4; t <= 21 * kFrame; t += 4) {
    Evaluate(core, t);
    const Point3 nowHeel = PivotInWorld(core.leg[kRight], kHeel);
    const Point3 nowBall = PivotInWorld(core.leg[kRight], kBall);
    ASSERT_LT(Distance(nowHeel, lastHeel), 1.0f) << t;
    ASSERT_LT(Distance(nowBall, lastBall), 1.0f) << t;
    lastHeel = nowHeel;
    lastBall = nowBall;
    if (t == 10 * kFrame) {
      EXPECT_LT(Distance(nowBall, {46, 0, 20}), 0.05f);
    }
  }
}

TEST(PlantedLeg, FourLinkLegsStayPlantedToo) {
  for (bool tilt : {false, true}) {
    SCOPED_TRACE(tilt);
    EvalContext context;
    context.tiltFourLinkSwivel = tilt;
    Structure s;
    s.height = 415;
    s.legLinks = 4;
    MotionCore core = MakeFigure(s);
    for (int k = 0; k <= 4; ++k) {
      KeyBody(core, k * 6 * kFrame, {12.0f * static_cast<float>(k), k % 2 ? 195.0f : 205.0f, 0});
    }
    const Placing stand{{40, 0, 20}, FlatFoot(), kBall};
    KeyPlaced(core, kRightLeg, 4 * kFrame, stand);
    KeyPlaced(core, kRightLeg, 20 * kFrame, stand);
    for (TimeValue t = 4 * kFrame; t <= 20 * kFrame; t += 40) {
      Evaluate(core, t, context);
      const LimbRecord& leg = core.leg[kRight];
      ASSERT_LT(Distance(PivotInWorld(leg, kBall), stand.anchor), 0.002f * kLegLength) << t;
      ASSERT_LT(AngleBetween(EndRotation(leg), stand.rotation), 3e-3f) << t;
      ASSERT_NEAR(Distance(leg.frame[2].Origin(), leg.frame[3].Origin()), 40, 0.01f);
    }
  }
}

// --- The ankle ---------------------------------------------------------------------------------

/// A foot on its toes with the heel up, the keys of both ends alike, the body dipping between.
MotionCore OnTiptoe(int id, float tension, float dip) {
  MotionCore core = NominalFigure();
  KeyBody(core, 0, {0, 215, 0});
  KeyBody(core, 6 * kFrame, {0, 215 + dip, 0});
  KeyBody(core, 12 * kFrame, {0, 215, 0});
  const float z = id == kRightLeg ? 20.0f : -20.0f;
  const Placing tiptoe{{10, 0, z}, FlatFoot(-0.3f), kBall, kPlantedKey, kPlant, tension};
  KeyPlaced(core, id, 0, tiptoe);
  KeyPlaced(core, id, 12 * kFrame, tiptoe);
  return core;
}

TEST(AnkleAdjustment, TensionChoosesBetweenTheAnklesAndTheKneesKeyedAngle) {
  for (int id : {kRightLeg, kLeftLeg}) {
    for (float dip : {-8.0f, -3.0f, 3.0f}) {
      SCOPED_TRACE(testing::Message() << id << " dip " << dip);
      float away[3];
      for (int i = 0; i < 3; ++i) {
        const float tension = 1 - 0.5f * static_cast<float>(i);
        MotionCore core = OnTiptoe(id, tension, dip);
        const LimbRecord& leg = *FindLimb(core, id);
        const Quat keyedFoot = leg.table[0].spaceRotation;
        const float keyedHinge = leg.table[0].jointAngles[kHinge];
        Evaluate(core, 6 * kFrame);
        if (tension == 1) {
          EXPECT_LT(AngleBetween(EndRotation(leg), keyedFoot), 1e-3f);
        }
        away[i] = std::fabs(leg.pose.jointAngles[kHinge] - keyedHinge);
        EXPECT_LT(Distance(PivotInWorld(leg, kBall), {10, 0, id == kRightLeg ? 20.0f : -20.0f}),
                  0.05f);
      }
      // The dip bends the knee away from its key; the less the ankle holds, the less it does.
      EXPECT_GT(away[0], 0.02f);
      EXPECT_LT(away[1], 0.9f * away[0]);
      EXPECT_LT(away[2], 0.9f * away[1]);
    }
  }
}

TEST(AnkleAdjustment, KeepsPivotSoleAndToesWhereTheyBelong) {
  Random random(44);
  int turned = 0;
  for (int i = 0; i < 60; ++i) {
    const int id = i % 2 ? kRightLeg : kLeftLeg;
    MotionCore core = OnTiptoe(id, random.Between(0, 1), random.Between(-25, 6));
    const LimbRecord& leg = *FindLimb(core, id);
    Evaluate(core, 0);
    const Quat foot = EndRotation(leg);
    const Quat toe = RotationOf(leg.digits[0].frame[0]);
    const Point3 ball = PivotInWorld(leg, kBall);
    Quat last = foot;
    for (TimeValue t = 0; t <= 12 * kFrame; t += 20) {
      SCOPED_TRACE(testing::Message() << i << " at " << t);
      Evaluate(core, t);
      ASSERT_LT(Distance(PivotInWorld(leg, kBall), ball), 0.05f);
      ASSERT_GT(test::LowestSolePoint(leg), -0.05f);
      ASSERT_LT(AngleBetween(RotationOf(leg.digits[0].frame[0]), toe), 3e-3f) << "toes lie still";
      ASSERT_LT(AngleBetween(EndRotation(leg), last), 0.1f) << "the foot jumps";
      last = EndRotation(leg);
      turned += AngleBetween(last, foot) > 0.02f;
    }
  }
  EXPECT_GT(turned, 200) << "the adjustment is hardly at work: this test proves nothing";
}

TEST(AnkleAdjustment, LeavesAFootOnTheGroundFlat) {
  for (float tension : {0.0f, 1.0f}) {
    MotionCore core = NominalFigure();
    KeyBody(core, 0, {0, 215, 0});
    KeyBody(core, 6 * kFrame, {0, 200, 0});
    KeyBody(core, 12 * kFrame, {0, 215, 0});
    const Placing flat{{30, 0, 20}, FlatFoot(), kBall, kPlantedKey, kPlant, tension};
    KeyPlaced(core, kRightLeg, 0, flat);
    KeyPlaced(core, kRightLeg, 12 * kFrame, flat);
    for (TimeValue t = 0; t <= 12 * kFrame; t += 80) {
      Evaluate(core, t);
      ASSERT_LT(AngleBetween(EndRotation(core.leg[kRight]), flat.rotation), 2e-3f) << t;
    }
  }
}

// --- Objects -----------------------------------------------------------------------------------

/// An object that swings about and rises beside the figure.
Matrix3 Swing(TimeValue t, float more = 0) {
  const float s = static_cast<float>(t) / (20 * kFrame);
  return FrameOf(AboutY(0.5f * s + more) * AboutX(0.3f * s), {20 + 10 * s, 260 + 8 * s + more * 20, 60});
}

MotionCore HandOnObject(const PivotChoice& pivot) {
  Structure s;
  s.height = 415;
  s.fingers = 2;
  s.fingerLinks = 3;
  MotionCore core = MakeFigure(s);
  core.arm[kRight].hasObject = true;
  for (TimeValue t : {0, 20 * kFrame}) {
    core.arm[kRight].objectFrame = Swing(t);
    // The same grip at both keys: object space.
    const Quat world = RotationOf(Swing(t)) * AboutZ(0.4f);
    KeyPlaced(core, kRightArm, t, {{5, 3, 2}, world, pivot, kPlantedKey});
  }
  return core;
}

TEST(IkObject, AHandPlantedOnItRidesAlong) {
  for (const PivotChoice& pivot :
       {PivotChoice{}, PivotChoice{kNamedPivot, 5, 0, 0}, PivotChoice{kDigitPivot, 0, 1, 3}}) {
    SCOPED_TRACE(testing::Message() << pivot.kind << " " << pivot.index);
    MotionCore core = HandOnObject(pivot);
    LimbRecord& arm = core.arm[kRight];
    for (TimeValue t = 0; t <= 20 * kFrame; t += 100) {
      SCOPED_TRACE(t);
      arm.objectFrame = Swing(t);
      Evaluate(core, t);
      const Matrix3 grip = EndFrame(arm) * Inverse(arm.objectFrame);
      ASSERT_LT(Distance(PivotPoint(arm, pivot) * grip, {5, 3, 2}), 0.05f);
      ASSERT_LT(AngleBetween(RotationOf(grip), AboutZ(0.4f)), 2e-3f);
    }
  }
}

TEST(RefreshObjectSpaceKeys, LetsTheKeysFollowAnObjectWhosePathWasEdited) {
  for (const PivotChoice& pivot : {PivotChoice{}, PivotChoice{kDigitPivot, 0, 1, 2}}) {
    MotionCore core = HandOnObject(pivot);
    LimbRecord& arm = core.arm[kRight];
    const auto edited = [](TimeValue t) { return Swing(t, 0.4f); };
    const LimbKey before = arm.table[0];
    test::Random random(45);
    for (int d = 0; d < arm.numDigits; ++d) {
      for (Quat& link : arm.digits[d].pose.link) link = random.SmallTurn(1);  // a pose of its own
    }
    const LimbPose poseBefore = arm.pose;
    RefreshObjectSpaceKeys(core, kRightArm, edited, {});
    EXPECT_EQ(arm.pose.jointAngles[kHinge], poseBefore.jointAngles[kHinge])
        << "the core's own pose stays";
    EXPECT_GT(std::fabs(arm.table[0].jointAngles[kHinge] - before.jointAngles[kHinge]), 0.01f);
    for (int k = 0; k < 2; ++k) {
      SCOPED_TRACE(k);
      const TimeValue t = arm.table.TimeOf(k);
      arm.objectFrame = edited(t);
      Evaluate(core, t);
      const LimbKey& key = arm.table[k];
      const Matrix3 grip = EndFrame(arm) * Inverse(arm.objectFrame);
      EXPECT_LT(Distance(PivotPoint(arm, pivot) * grip, {5, 3, 2}), 0.05f);
      EXPECT_LT(Distance(key.pivotPosition, {5, 3, 2}), 0.05f);
      // The key's own angles are those of the pose that it now holds.
      EXPECT_NEAR(arm.pose.jointAngles[kHinge], key.jointAngles[kHinge], 1e-3);
      EXPECT_LT(AngleBetween(arm.pose.limbRotation, key.limbRotation), 2e-3f);
      EXPECT_LT(Distance(key.bodyTarget, arm.pose.localTarget), 0.05f);
    }
  }
}

TEST(ChangeObjectSpace, LeavesTheHandWhereItIsAtItsKeys) {
  MotionCore core = HandOnObject({kNamedPivot, 5, 0, 0});
  LimbRecord& arm = core.arm[kRight];
  Matrix3 before[2];
  for (int k = 0; k < 2; ++k) {
    arm.objectFrame = Swing(arm.table.TimeOf(k));
    Evaluate(core, arm.table.TimeOf(k));
    before[k] = EndFrame(arm);
  }
  const auto other = [](TimeValue t) {
    return FrameOf(AboutZ(1 + static_cast<float>(t) / 5000), {-40, 3, static_cast<float>(t) / 100});
  };
  ChangeObjectSpace(core, kRightArm, [](TimeValue t) { return Swing(t); }, other);
  for (int k = 0; k < 2; ++k) {
    arm.objectFrame = other(arm.table.TimeOf(k));
    Evaluate(core, arm.table.TimeOf(k));
    EXPECT_LT(Distance(EndFrame(arm).Origin(), before[k].Origin()), 0.05f);
    EXPECT_LT(AngleBetween(EndRotation(arm), RotationOf(before[k])), 2e-3f);
  }
}

// --- States, clavicles, digits ------------------------------------------------------------------

TEST(LegKeyState, LastsAFrameForATouchAndAnInstantForALift) {
  MotionCore core = MakeFigure();
  const int states[] = {kTouch, kPlant, kLift, kMove, 7};
  LimbRecord& leg = core.leg[kLeft];
  for (int k = 0; k < 5; ++k) {
    ASSERT_EQ(PutKey(core, kLeftLeg, k * 1000, leg.rest), KeyRefusal::kNone);
    leg.table.keys[static_cast<std::size_t>(k)].keyState = states[k];
  }
  const struct {
    TimeValue t;
    LegState state;
  } rows[] = {{0, kTouch},    {159, kTouch}, {160, kPlant}, {999, kPlant}, {1000, kPlant},
              {1999, kPlant}, {2000, kLift}, {2001, kMove}, {3000, kMove}, {4000, kMove},
              {kTimeMax, kMove}};
  SetFreeForm(core, false);
  for (const auto& row : rows) EXPECT_EQ(LegKeyState(core, leg, row.t), row.state) << row.t;
  EXPECT_EQ(LegKeyState(core, core.leg[kRight], 0), kMove) << "no keys, no contact";
  SetFreeForm(core, true);
  for (const auto& row : rows) EXPECT_EQ(LegKeyState(core, leg, row.t), kMove) << row.t;
}

TEST(Clavicle, SwingsAheadAndDroopsByItsKeys) {
  MotionCore core = NominalFigure();
  for (int id : {kRightArm, kLeftArm}) {
    LimbKey key = FindLimb(core, id)->rest;
    key.clavicle[0] = 0;
    key.clavicle[1] = 0.4f;
    ASSERT_EQ(PutKey(core, id, 0, key), KeyRefusal::kNone);
    key.clavicle[0] = 0.6f;
    key.clavicle[1] = 0;
    ASSERT_EQ(PutKey(core, id, 10 * kFrame, key), KeyRefusal::kNone);
    const LimbRecord& arm = *FindLimb(core, id);
    const float outward = id == kRightArm ? 1.0f : -1.0f;
    const auto bone = [&](TimeValue t) {
      Evaluate(core, t);
      EXPECT_NEAR(Distance(arm.frame[0].Origin(), arm.frame[1].Origin()), 65, 1e-2);
      return arm.frame[0].row[0];
    };
    // Along the shoulder line, outward: down by the droop, ahead by the swing.
    EXPECT_LT(Distance(bone(0), {0, -Sin(0.4f), outward * Cos(0.4f)}), 1e-3f);
    EXPECT_LT(Distance(bone(10 * kFrame), {Sin(0.6f), 0, outward * Cos(0.6f)}), 1e-3f);
    (void)bone(5 * kFrame);  // half way in time: half of both angles
    EXPECT_NEAR(arm.pose.clavicle[0], 0.3f, 1e-4);
    EXPECT_NEAR(arm.pose.clavicle[1], 0.2f, 1e-4);
  }
}

TEST(Digits, WithTracksOfTheirOwnRideBetweenTheirOwnKeys) {
  Structure s;
  s.fingers = 3;
  s.fingerLinks = 2;
  MotionCore core = MakeFigure(s);
  ASSERT_EQ(SetSeparateTracks(core, kLeftFingers, true), kDone);
  LimbRecord& arm = core.arm[kLeft];
  const auto keyWith = [&](float angle) {
    LimbKey key = arm.rest;
    for (DigitKey& digit : key.digits) digit.link[1] = AboutY(angle);
    return key;
  };
  ASSERT_EQ(PutKey(core, kLeftArm, 0, keyWith(0)), KeyRefusal::kNone);
  ASSERT_EQ(PutKey(core, kLeftArm, 20 * kFrame, keyWith(1)), KeyRefusal::kNone);
  // The second finger alone stops half way, curled twice as far.
  const std::uint32_t second = SubTrackMask(core, kLeftFingers, 1 * 2 + 1);
  ASSERT_EQ(PutKey(core, kLeftFingers, 10 * kFrame, keyWith(2), second), KeyRefusal::kNone);
  Evaluate(core, 10 * kFrame);
  const float wanted[3] = {0.5f, 2, 0.5f};
  for (int d = 0; d < 3; ++d) {
    EXPECT_NEAR(AngleBetween(arm.digits[d].pose.link[1], Quat{}), wanted[d], 1e-3) << d;
  }
}

TEST(Digits, ToesAreEasedAndFingersInterpolated) {
  MotionCore core = MakeFigure();
  LimbRecord& leg = core.leg[kRight];
  LimbKey key = leg.rest;
  for (float bend : {0.0f, 0.8f}) {
    key.digits[0].bend[1] = bend;
    ASSERT_EQ(PutKey(core, kRightLeg, bend == 0 ? 0 : 8 * kFrame, key), KeyRefusal::kNone);
  }
  // 0.5 - 0.5 cos(pi / 4) of the way after a quarter of the time.
  Evaluate(core, 2 * kFrame);
  EXPECT_NEAR(leg.digits[0].pose.bend[1], 0.8f * 0.14644660940672624, 1e-5);
}

}  // namespace
}  // namespace strider
