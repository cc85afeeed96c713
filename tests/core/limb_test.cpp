#include "strider/core/limb.h"

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::AngleBetween;
using test::Distance;
using test::Evaluate;
using test::LimbFrames;
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
  pose.endRotation = Conjugate(limb.base.rotation * shape.lastRotation) * wanted.rotation;
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
      const Point3 target =
          Lerp(keys[0].bodyTarget, keys[1].bodyTarget, static_cast<float>(t) / (10.0f * kFrame));
      const LimbPose& w = limb.pose;
      EXPECT_LT(Distance(w.localTarget, target), 2e-4f * ReachOf(LengthsOf(limb)));
      const LimbPose& f = FindLimb(none, id)->pose;
      const LimbPose& h = FindLimb(half, id)->pose;
      EXPECT_GT(Distance(w.localTarget, f.localTarget), 1) << "the two poses must differ";
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
    EXPECT_LT(Distance(EndFrame(core.leg[kRight]).Origin(), {t == 0 ? 10.0f : 100.0f, 40, 20}),
              0.1f);
  }
}

TEST(LimbBlend, TheFirstKeyRulesBeforeItsTimeAlsoWhereTheNextHasAnotherSpace) {
  MotionCore core = NominalFigure();
  KeyBody(core, 0, {0, 210, 0});
  KeyBody(core, 20 * kFrame, {40, 200, 0});
  const Placing stand{{20, 0, 20}, FlatFoot(), kBall};
  KeyPlaced(core, kRightLeg, 10 * kFrame, stand);
  KeyPlaced(core, kRightLeg, 20 * kFrame, {{60, 30, 20}, FlatFoot(), kAnkle, kFreeKey});
  for (TimeValue t : {-kFrame, 0, 5 * kFrame, 10 * kFrame}) {
    Evaluate(core, t);
    EXPECT_LT(Distance(PivotInWorld(core.leg[kRight], kBall), stand.anchor), 0.05f) << t;
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
      KeyPlaced(core, id, 14 * kFrame,
                {ball, FlatFoot(-0.2f), kBall, kPlantedKey, kPlant, tension});
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
  // Keys that do not hold the object, or hold another pivot on it, say nothing of this path.
  Placing before = from, after = to;
  before.anchor = {0, 50, 40};
  KeyPlaced(core, kRightLeg, -5 * kFrame, before);
  core.leg[kRight].table.keys[0].ikBlend = 0.5f;
  after.anchor = {20, 60, 10};
  after.pivot = kBall;
  KeyPlaced(core, kRightLeg, 15 * kFrame, after);
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
  KeyPlaced(core, kRightLeg, 20 * kFrame,
            {{46, 4, 20}, FlatFoot(-0.4f), {kDigitPivot, 0, 0, 1}, kSlidingKey});
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
    const float tension = random.Between(0, 1);
    MotionCore core = OnTiptoe(id, tension, random.Between(-25, 6));
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

/// The rules of the adjustment with plain numbers: the ankle's place from hip, pivot and knee.
/// Answers false where the foot is left alone.
struct PlainAdjustment {
  double upper, lower, footHeight, toe;  // lengths of the leg
  double rise;                           // of the ankle over the height of a flat foot
  double side;                           // how far the pivot lies ahead of the leg
  bool Ankle(const AnkleAdjustment& a, double hinge, const Point3& ankle, const Point3& offset,
             Point3& moved) const {
    const auto reach = [this](double angle) {
      return std::sqrt(upper * upper + lower * lower - 2 * upper * lower * std::cos(angle));
    };
    const auto part = [](double have, double need) { return have < need ? 1 - have / need : 0; };
    const double near = toe / 10, up = std::max(rise, 0.0);
    const double tension = std::min(1.0, a.tension + (up < near ? (near - up) / near : 0));
    const double now = reach(hinge);
    double wanted = reach(a.keyedHinge + (hinge - a.keyedHinge) * tension);
    const double gain = wanted - now;
    const Point3 toHip = Normalized(-ankle), toPivot = Normalized(offset);
    const double cosine = Dot(toHip, toPivot);
    if ((a.needAboveGround && rise < 0) || cosine < -0.98 || side < 0) return false;
    double follow = std::min(1.0, part(side, 0.3) + part((cosine + 0.98) / 1.98, 0.05));
    if (!a.probe) follow += hinge <= 1.3 ? 1 : hinge < 2 ? (2 - hinge) / 0.7 : 0;
    follow = std::min(1.0, follow);
    if (gain < 0 && -gain > 2 * rise && rise > 0 && !a.probe) {
      wanted = now - 2 * rise;
    } else if (gain >= 0 && a.needAboveGround && gain > rise) {
      wanted = rise + now;
    }
    // Where two circles meet: about the hip and about the pivot, on the ankle's side.
    const Point3 pivot = ankle + offset;
    const double radius = Length(offset), far = Length(pivot);
    const double along = (wanted * wanted - radius * radius + far * far) / (2 * far);
    if (along * along > wanted * wanted) return false;
    const double aside = std::sqrt(wanted * wanted - along * along);
    const Point3 line = Normalized(pivot);
    const Point3 square = Normalized(ankle - Dot(ankle, line) * line);
    const Point3 place = static_cast<float>(along) * line + static_cast<float>(aside) * square;
    const Point3 spoke = Lerp(place, ankle, static_cast<float>(follow)) - pivot;
    moved = pivot + static_cast<float>(radius) * Normalized(spoke);
    return true;
  }
};

TEST(AnkleAdjustment, FollowsItsRulesForAnyLeg) {
  Random random(46);
  int kept = 0, turned = 0;
  for (int i = 0; i < 4000; ++i) {
    SCOPED_TRACE(i);
    MotionCore core = NominalFigure();
    LimbRecord& leg = core.leg[i % 2];
    LimbPose& pose = leg.pose;
    pose.jointAngles[kHinge] = random.Between(0.9f, 3);
    pose.limbRotation = pose.limbRotation * random.SmallTurn(0.5f);
    const LimbShape shape = ForwardLimb(LengthsOf(leg), pose.jointAngles, pose.limbRotation);
    pose.localTarget = shape.end;
    pose.swivel = shape.swivel;
    const PivotChoice pivot{kNamedPivot, random.Int(1, 6), 0, 0};
    const Quat foot = FlatFoot(random.Between(-1, 0.3f)) * random.SmallTurn(0.2f);
    const Quat footInBase = Conjugate(leg.base.rotation) * foot;
    const Point3 offset = Rotate(footInBase, PivotPoint(leg, pivot));
    AnkleAdjustment adjustment;
    adjustment.keyedHinge = pose.jointAngles[kHinge] + random.Between(-0.5f, 0.5f);
    adjustment.tension = random.Between(0, 1);
    adjustment.needAboveGround = random.Int(0, 3) > 0;
    adjustment.probe = random.Int(0, 3) == 0;

    const double rise = -Rotate(foot, PivotPoint(leg, pivot)).y - leg.extremityHeight;
    // A pivot ahead of the leg: both legs' planes have their normal to the left.
    const double side = Dot(shape.swivel, Cross(Normalized(-shape.end), Normalized(offset)));
    const PlainAdjustment plain{100, 100, 23, leg.toeLength, rise, side};
    const float hinge = pose.jointAngles[kHinge];
    Point3 wanted = shape.end;
    const bool moves = plain.Ankle(adjustment, hinge, shape.end, offset, wanted);
    if (std::fabs(rise) < 1e-3 || std::fabs(side) < 1e-3) continue;  // either answer will do
    Quat after = footInBase;
    ASSERT_EQ(AdjustAnkle(leg, adjustment, offset, after, {}), moves);
    ASSERT_LT(Distance(pose.localTarget, wanted), 0.02f);
    ASSERT_LT(
        Distance(pose.localTarget + Rotate(after, PivotPoint(leg, pivot)), shape.end + offset),
        0.02f)
        << "the pivot moves";
    ++(moves ? turned : kept);
  }
  EXPECT_GT(kept, 300);
  EXPECT_GT(turned, 1000);
}

TEST(AnkleAdjustment, LeavesAFootOnTheGroundFlat) {
  for (float middle : {190.0f, 203.0f, 208.0f, 217.0f}) {
    const float tension = 0;
    SCOPED_TRACE(middle);
    MotionCore core = NominalFigure();
    KeyBody(core, 0, {0, 205, 0});
    KeyBody(core, 6 * kFrame, {0, middle, 0});
    KeyBody(core, 12 * kFrame, {0, 205, 0});
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
  return FrameOf(AboutY(0.5f * s + more) * AboutX(0.3f * s),
                 {20 + 10 * s, 260 + 8 * s + more * 20, 60});
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
  ChangeObjectSpace(
      core, kRightArm, [](TimeValue t) { return Swing(t); }, other);
  for (int k = 0; k < 2; ++k) {
    arm.objectFrame = other(arm.table.TimeOf(k));
    Evaluate(core, arm.table.TimeOf(k));
    EXPECT_LT(Distance(EndFrame(arm).Origin(), before[k].Origin()), 0.05f);
    EXPECT_LT(AngleBetween(EndRotation(arm), RotationOf(before[k])), 2e-3f);
  }
}

}  // namespace
}  // namespace strider
