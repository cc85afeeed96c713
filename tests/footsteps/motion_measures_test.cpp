// Faults of a known size, planted in a motion, and the measures that have to find them. Most are
// planted in a figure that glides over its footsteps in its stance: what its feet do is then known.
#include <algorithm>

#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/pose_sample.h"
#include "strider/footsteps/sample_motions.h"
#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::Distance;

constexpr TimeValue kFrame = kDynamicsFrame;

void Put(KeyRefusal refusal) { EXPECT_EQ(refusal, KeyRefusal::kNone); }

Point3 UnderAnkle(const LimbRecord& leg) {
  return Point3{leg.extremityHeight, 0, 0} * leg.frame[NumLimbLinks(leg) - 1];
}

/// A figure that stands on one footstep a side for 20 frames, without any keys.
class Glider {
 public:
  Glider() : core_(test::MakeFigure()) {
    for (int side = 0; side < 2; ++side) {
      AddStep({side, 0, 20 * kFrame, UnderAnkle(core_.leg[side]), 0});
    }
  }
  float Leg() const { return core_.leg[0].totalLength; }
  float Share(float percent) const { return percent / 100 * Leg(); }
  void AddStep(const NewFootstep& step) {
    FootstepTrack& track = core_.footsteps;
    ASSERT_EQ(InsertFootstep(track, track.numFootsteps, step), kDone);
    core_.endTime = LastFootstepTime(track);
    SetFreeForm(core_, false);
  }
  /// The footsteps that stand are given up for others.
  void StartAnew() { ClearFootsteps(core_.footsteps); }
  /// The body at a frame, `by` from where it stands.
  void KeyBody(int frame, const Point3& by) {
    HorizontalKey horizontal = CurrentHorizontalKey(core_);
    horizontal.position += by;
    horizontal.balanceFactor = 0;
    Put(PutKey(core_, frame * kFrame, horizontal));
    VerticalKey vertical = CurrentVerticalKey(core_);
    vertical.height += by.y;
    vertical.ballisticHeight += by.y;
    Put(PutKey(core_, frame * kFrame, vertical));
  }
  MotionMeasures Measure() const { return MeasureMotion(core_, {}); }
  MotionCore& Core() { return core_; }

 private:
  MotionCore core_;
};

TEST(MotionMeasures, FindNothingAmissWithAFigureThatStandsStill) {
  const MotionMeasures m = Glider().Measure();
  EXPECT_NEAR(m.footprintDistance.high, 0, 1e-3);
  EXPECT_NEAR(m.groundDepth.high, 0, 1e-3);
  EXPECT_NEAR(m.skate.high, 0, 1e-3);
  EXPECT_NEAR(m.bodyAcceleration.high, 0, 1e-3);
  EXPECT_NEAR(m.headTilt.high, 0, 0.05);
  EXPECT_LE(m.kneeBackwards.high, 0);
  EXPECT_EQ(m.skate.count, 2 * 20);
  EXPECT_EQ(m.flightError.count, 0);
  EXPECT_FALSE(m.regular);
}

TEST(MotionMeasures, FindASlideAndAMissedFootprint) {
  Glider glider;
  const float way = glider.Share(20);
  glider.KeyBody(0, {});
  glider.KeyBody(20, {way, 0, 0});
  float fastest = 0;
  for (int f = 0; f < 20; ++f) {
    MotionCore& core = glider.Core();
    CorePose(core, f * kFrame, {});
    const Point3 before = core.body.bodyPosition;
    CorePose(core, (f + 1) * kFrame, {});
    fastest = std::max(fastest, Distance(core.body.bodyPosition, before));
  }
  const MotionMeasures m = glider.Measure();
  EXPECT_NEAR(m.skate.high, 100 * fastest / glider.Leg(), 1e-3);
  EXPECT_GT(m.skate.high, 1);
  EXPECT_NEAR(m.footprintDistance.high, 10, 1e-3);  // half way at the middle of the stance
  EXPECT_EQ(m.footprintDistance.highAt.time, 10 * kFrame);
}

TEST(MotionMeasures, FindAFootTurnedOffItsFootprint) {
  Glider glider;
  glider.Core().footsteps.angle[1] = DegreesToRadians(7);
  const MotionMeasures m = glider.Measure();
  EXPECT_NEAR(m.footprintHeading.high, 7, 1e-3);
  EXPECT_EQ(m.footprintHeading.highAt.side, glider.Core().footsteps.side[1]);
  EXPECT_NEAR(m.footprintHeading.low, 0, 1e-3);
}

TEST(MotionMeasures, FindFeetInTheGround) {
  Glider glider;
  glider.KeyBody(0, {});
  glider.KeyBody(12, {0, -glider.Share(3), 0});
  glider.KeyBody(20, {});
  const MotionMeasures m = glider.Measure();
  EXPECT_NEAR(m.groundDepth.high, 3, 0.05);  // the curve passes the key by next to nothing
  EXPECT_NEAR(static_cast<float>(m.groundDepth.highAt.time), 12 * kFrame, kFrame);
}

TEST(MotionMeasures, FindAKneeThatPopsAndOneThatBendsBackwards) {
  Glider glider;
  LimbRecord& leg = glider.Core().leg[kLeft];
  LimbKey key = CurrentLimbKey(glider.Core(), leg, kFreeKey);
  const struct {
    int frame;
    float degrees;
  } keys[] = {{0, 170}, {9, 170}, {10, 130}, {15, 170}, {20, 190}};
  for (const auto& row : keys) {
    key.jointAngles[kHinge] = DegreesToRadians(row.degrees);
    Put(PutKey(glider.Core(), kLeftLeg, row.frame * kFrame, key));
  }
  const MotionMeasures m = glider.Measure();
  EXPECT_NEAR(m.kneeChange.high, 40, 1e-2);
  EXPECT_EQ(m.kneeChange.highAt.time, 10 * kFrame);
  EXPECT_EQ(m.kneeChange.highAt.side, kLeft);
  EXPECT_NEAR(m.kneeBackwards.high, 10, 1e-2);
  EXPECT_EQ(m.kneeBackwards.highAt.time, 20 * kFrame);
  EXPECT_GT(m.jointAcceleration.high, 40);
  EXPECT_STREQ(m.jointAcceleration.highAt.part, "left knee");
}

TEST(MotionMeasures, FindAThighTurnedAboutSoThatItsKneePointsBack) {
  Glider glider;
  LimbKey key = CurrentLimbKey(glider.Core(), glider.Core().leg[kRight], kFreeKey);
  key.jointAngles[kHinge] = DegreesToRadians(155);
  key.limbRotation = key.limbRotation * AboutX(kPi);
  Put(PutKey(glider.Core(), kRightLeg, 0, key));
  EXPECT_NEAR(glider.Measure().kneeBackwards.high, 25, 1e-2);
}

TEST(MotionMeasures, FindAnAnkleOutOfReach) {
  Glider glider;
  MotionCore& core = glider.Core();
  LimbKey key = CurrentLimbKey(core, core.leg[kRight], kPlantedKey);
  SetKeyPivot(core.leg[kRight], key, {kNamedPivot, 5, 0, 0});
  const Point3 hip = core.leg[kRight].frame[0].Origin();
  const Point3 down = Point3{0, -glider.Share(8), 0};
  key.objectTarget += down;
  key.pivotPosition += down;
  Put(PutKey(core, kRightLeg, 0, key));
  const float asked = Distance(hip, key.objectTarget);
  const MotionMeasures m = glider.Measure();
  EXPECT_NEAR(m.reachExcess.high, 100 * (asked / glider.Leg() - 1), 1e-2);
  EXPECT_GT(m.reachExcess.high, 5);
  EXPECT_EQ(m.reachExcess.highAt.side, kRight);
}

TEST(MotionMeasures, FindABodyThatJerksAndAHeadThatLolls) {
  Glider glider;
  const float jerk = glider.Share(12);
  for (const int frame : {0, 9, 10}) glider.KeyBody(frame, {});
  for (const int frame : {11, 12, 20}) glider.KeyBody(frame, {0, 0, jerk});
  HeadKey head = CurrentHeadKey(glider.Core());
  const int link = glider.Core().neck.numLinks;
  head.chain.rotation[link] = head.chain.rotation[link] * AboutZ(DegreesToRadians(14));
  Put(PutKey(glider.Core(), 0, head));
  const MotionMeasures m = glider.Measure();
  EXPECT_NEAR(m.bodyAcceleration.high, 12, 1e-2);
  EXPECT_EQ(m.bodyAcceleration.highAt.time, 10 * kFrame);
  EXPECT_NEAR(m.headTilt.high, 14, 1e-2);
}

TEST(MotionMeasures, FindAFigureThatHangsInTheAir) {
  Glider glider;
  for (int side = 0; side < 2; ++side) {
    glider.AddStep({side, 30 * kFrame, 10 * kFrame, UnderAnkle(glider.Core().leg[side]), 0});
  }
  const MotionMeasures m = glider.Measure();
  EXPECT_NEAR(m.flightError.high, 100, 1e-2);
  EXPECT_EQ(m.flightError.count, 9);  // ten frames have nine between two others
}

/// The right foot glides over a step of a tenth of the leg without lifting, to a footstep above.
TEST(MotionMeasures, FindAFootThatCutsThroughAStair) {
  Glider glider;
  glider.StartAnew();
  const LimbRecord* legs = glider.Core().leg;
  const float stride = glider.Share(60), rise = glider.Share(10);
  glider.AddStep({kRight, 0, 5 * kFrame, UnderAnkle(legs[kRight]), 0});
  glider.AddStep({kLeft, 0, 30 * kFrame, UnderAnkle(legs[kLeft]), 0});
  const Point3 above = UnderAnkle(legs[kRight]) + Point3{stride, rise, 0};
  glider.AddStep({kRight, 20 * kFrame, 10 * kFrame, above, 0});
  glider.KeyBody(0, {});
  glider.KeyBody(5, {});
  glider.KeyBody(20, {stride, 0, 0});
  glider.KeyBody(30, {stride, 0, 0});
  const MotionMeasures m = glider.Measure();
  EXPECT_NEAR(m.treadClearance.low, -10, 1e-2);
  EXPECT_EQ(m.treadClearance.lowAt.side, kRight);
  EXPECT_EQ(m.treadClearance.count, kNumSolePoints);
  EXPECT_NEAR(m.groundDepth.high, 10, 1e-2);
  EXPECT_NEAR(m.ankleClearance.low, -10, 1e-2);
  EXPECT_NEAR(m.soleClearance.low, -10, 1e-2);
  EXPECT_NEAR(m.soleClearance.high, 0, 1e-2);
}

/// Turns a limb's first bone about the body's lateral axis.
void KeySwing(MotionCore& core, int id, TimeValue t, float degrees) {
  const LimbRecord& limb = *FindLimb(core, id);
  LimbKey key = CurrentLimbKey(core, limb, kFreeKey);
  const Quat& base = limb.base.rotation;
  key.limbRotation = Conjugate(base) * AboutZ(DegreesToRadians(degrees)) * base * key.limbRotation;
  Put(PutKey(core, id, t, key));
}

TEST(MotionMeasures, TellArmsThatSwingWithTheLegsFromThoseThatSwingAgainst) {
  Glider glider;
  MotionCore& core = glider.Core();
  for (int i = 0; i < 4; ++i) {
    const int side = i % 2;
    glider.AddStep({side, (25 + 10 * i) * kFrame, 5 * kFrame, UnderAnkle(core.leg[side]), 0});
  }
  for (int i = 0; i < 8; ++i) {
    const float swing = i % 2 == 0 ? 20.0f : -20.0f;
    const TimeValue t = 10 * i * kFrame;
    KeySwing(core, kRightLeg, t, swing);
    KeySwing(core, kRightArm, t, 0.7f * swing);
    KeySwing(core, kLeftLeg, t, -swing);
    KeySwing(core, kLeftArm, t, swing);
  }
  const MotionMeasures m = glider.Measure();
  EXPECT_NEAR(m.armOppose.high, 1, 0.01);
  EXPECT_EQ(m.armOppose.highAt.side, kRight);
  EXPECT_NEAR(m.armOppose.low, -1, 0.01);
}

TEST(MotionMeasures, FindAWalkThatLeansToOneSideOrFallsBehind) {
  MotionCore core = MakeSample(SampleMotion::kWalk, 80);
  const MotionMeasures sound = MeasureMotion(core, {});
  ASSERT_TRUE(sound.regular);
  const float leg = sound.legLength;

  MotionCore leaning = core;
  for (HorizontalKey& key : leaning.body.horizontal.keys) key.position.z += 0.03f * leg;
  const MotionMeasures lean = MeasureMotion(leaning, {});
  EXPECT_NEAR(lean.mirrorBody.high, 6, 1);  // the mirror doubles it
  EXPECT_GE(lean.mirrorPlace.high, 5);

  MotionCore behind = core;
  for (Point3& position : behind.footsteps.position) position.x *= 1.05f;
  const MotionMeasures slow = MeasureMotion(behind, {});
  EXPECT_NEAR(slow.meanSpeed.high, 100 * (1 - 1 / 1.05f), 0.5f);
  EXPECT_LT(sound.meanSpeed.high, 1);

  // A turned footprint in the middle and the walk is not straight any more.
  MotionCore crooked = core;
  crooked.footsteps.angle[6] += 0.2f;
  EXPECT_FALSE(MeasureMotion(crooked, {}).regular);
}

TEST(MotionMeasures, DescribeAWalkByItsFigures) {
  const MotionCore core = MakeSample(SampleMotion::kWalk, 80);
  const MotionMeasures m = MeasureMotion(core, {});
  const FootstepSpan span = *SpanOf(core.footsteps, 6);  // settled, with a swing after it
  const int side = core.footsteps.side[6];
  MotionCore posed = core;
  CorePose(posed, span.Lift(), {});
  const LimbRecord& leg = posed.leg[side];
  // The knee's bend by the places of hip, knee and ankle.
  const Point3 thigh = leg.frame[1].Origin() - leg.frame[0].Origin();
  const Point3 calf = leg.frame[2].Origin() - leg.frame[1].Origin();
  const float bend = RadiansToDegrees(Acos(Dot(Normalized(thigh), Normalized(calf))));
  EXPECT_GE(bend, m.kneeAtLift.low - 0.05f);
  EXPECT_LE(bend, m.kneeAtLift.high + 0.05f);
  // The foot's slope by the heights of heel and ball.
  const Matrix3& foot = leg.frame[2];
  const float drop = (PivotPoint(leg, PivotChoice{kNamedPivot, 2, 0, 0}) * foot).y -
                     (PivotPoint(leg, PivotChoice{kNamedPivot, 5, 0, 0}) * foot).y;
  const float slope = RadiansToDegrees(Asin(drop / (leg.toeLength + leg.heelLength)));
  EXPECT_GE(slope, m.toeDownAtLift.low - 0.05f);
  EXPECT_LE(slope, m.toeDownAtLift.high + 0.05f);
  // Pivots pass from heel to ball, more than a fifth of the leg apart, which is not a slide.
  EXPECT_LT(m.skate.high, 5);
  EXPECT_EQ(m.lowestInSupport.count, 1);
  EXPECT_GE(m.kneeInSwing.low, m.kneeAtLift.low);
}

TEST(MotionBounds, AreBrokenByValuesOutsideAndByNoValuesAtAll) {
  MotionMeasures m;
  const auto check = [&m](const char* name) {
    for (const BoundCheck& row : CheckBounds(m, MotionKind::kWalk)) {
      if (std::string(row.bound->name) == name) return row;
    }
    ADD_FAILURE() << name;
    return BoundCheck{};
  };
  EXPECT_FALSE(check("skate").ok);
  EXPECT_NE(Describe(check("skate")).find("not measured"), std::string::npos);
  m.skate.Add(0.1f, {});
  EXPECT_TRUE(check("skate").ok);
  m.skate.Add(0.3f, {480, kLeft, 3, "heel"});
  EXPECT_FALSE(check("skate").ok);
  EXPECT_NE(Describe(check("skate")).find("at tick 480, left, footstep 3, heel"),
            std::string::npos);

  m.kneeAtLift.Add(40, {160});
  EXPECT_TRUE(check("knee bend at the lift").ok);
  m.kneeAtLift.Add(30, {320});
  EXPECT_FALSE(check("knee bend at the lift").ok);
  EXPECT_EQ(check("knee bend at the lift").worst.time, 320);

  m.headTilt.Add(1, {});
  m.headTilt.Add(std::numeric_limits<float>::quiet_NaN(), {800});
  m.headTilt.Add(2, {960});
  EXPECT_FALSE(check("head tilt").ok);
  EXPECT_EQ(check("head tilt").worst.time, 800);
}

TEST(MotionMeasures, AnswerNothingForAFigureWithoutFootsteps) {
  const MotionMeasures m = MeasureMotion(test::MakeFigure(), {});
  for (const MotionBound& bound : MotionBounds()) EXPECT_EQ((m.*bound.measure).count, 0);
}

}  // namespace
}  // namespace strider
