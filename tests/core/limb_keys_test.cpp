// Keys of limbs by themselves: the points they can turn about, their kinds, what a key of the
// current pose holds, and the values that are read from keys without solving.
#include <limits>

#include "strider/core/body.h"
#include "strider/core/limb.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::AngleBetween;
using test::Distance;
using test::Evaluate;
using test::FullStructure;
using test::LimbFrames;
using test::MakeFigure;
using test::NominalFigure;
using test::Random;

constexpr TimeValue kFrame = kDynamicsFrame;

const Matrix3& EndFrame(const LimbRecord& limb) { return limb.frame[NumLimbLinks(limb) - 1]; }
Point3 PivotInWorld(const LimbRecord& limb, const PivotChoice& pivot) {
  return PivotPoint(limb, pivot) * EndFrame(limb);
}
const PivotChoice kAnkle{};

// --- Pivots ------------------------------------------------------------------------------------

TEST(Pivots, TheSevenNamedOnesLieOnSoleAndPalm) {
  MotionCore core = NominalFigure();
  // Sole 23 below the ankle, heel 7.4 behind, toes 29.6 ahead, half the width 9.5. A hand of 25
  // each way: rows 10 to both sides, the palm 25 / 9 towards the body.
  const Point3 foot[7] = {{0, 0, 0},         {23, -7.4f, -9.5f}, {23, -7.4f, 0},
                          {23, -7.4f, 9.5f}, {23, 29.6f, -9.5f}, {23, 29.6f, 0},
                          {23, 29.6f, 9.5f}};
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
      {"short thumb", 5, 3, 5, 3, true, 7 + 3 + 4 * 4, 7 + 5 * 4},
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
  EXPECT_EQ(KeyKindOf(half), kFreeKey);
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
    const Quat objectTurn = random.Rotation();
    if (i % 3 == 0) limb.objectFrame = FrameOf(objectTurn, random.Inside(80));
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
    } rows[] = {{0, first}, {10 * kFrame, middle}, {20 * kFrame, last}, {90 * kFrame, last}};
    for (const auto& row : rows) {
      SCOPED_TRACE(row.t);
      Evaluate(core, row.t);
      ExpectSameFrames(*FindLimb(core, id), *FindLimb(row.wanted, id), 0.1f);
      if (HasFatalFailure()) return;
    }
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
  } rows[] = {{0, kTouch},   {159, kTouch}, {160, kPlant}, {1999, kPlant},
              {2000, kLift}, {2001, kMove}, {3000, kMove}, {kTimeMax, kMove}};
  SetFreeForm(core, false);
  EvaluateFreePeriod(core, 0);
  for (const auto& row : rows) EXPECT_EQ(LegKeyState(core, leg, row.t), row.state) << row.t;
  EXPECT_EQ(LegKeyState(core, core.leg[kRight], 0), kMove) << "no keys, no contact";
  SetFreeForm(core, true);
  EvaluateFreePeriod(core, 0);
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
