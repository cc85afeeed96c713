#include "strider/core/twist.h"

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::Random;

Structure TwistedStructure(int legLinks = 3) {
  Structure s;
  s.legLinks = legLinks;
  s.twists = true;
  for (int& links : s.twistLinks) links = 3;
  return s;
}

/// How far a twist link is turned about its bone, right-handed, in radians.
float TurnAboutBone(const MotionCore& core, int id, int link) {
  const TwistSegment segment = TwistSegmentOf(id);
  const Matrix3 bone = LinkFrame(core, segment.limbId, segment.limbLink);
  const Matrix3 twist = LinkFrame(core, id, link);
  return Atan2(Dot(twist.row[1], bone.row[2]), Dot(twist.row[1], bone.row[1]));
}

/// Points a limb's first bone in a direction of the poses (X ahead, Y left, Z up), rolled so that
/// its Y axis lies along the part of `roll` square to it.
void Point(MotionCore& core, LimbRecord& limb, const Point3& direction, const Point3& roll) {
  const Point3 x = Normalized(CoreFromHost(direction));
  const Point3 z = Normalized(Cross(x, CoreFromHost(roll)));
  const Quat world = RotationOf(Matrix3{{x, Cross(z, x), z, {}}});
  limb.pose.limbRotation = Conjugate(limb.base.rotation) * world;
  CoreForwardKinematics(core);
}

TEST(SignedAngle, IsWhatHandAndProtractorSay) {
  const struct {
    const char* what;
    Point3 a, b, axis;
    float angle;
  } rows[] = {
      {"a quarter turn to the left-handed side", {1, 0, 0}, {0, -1, 0}, {0, 0, 1}, 0.5f * kPi},
      {"and to the other", {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, -0.5f * kPi},
      {"opposite", {1, 0, 0}, {-1, 0, 0}, {0, 0, 1}, kPi},
      {"only what is square to the axis counts of the first", {3, 0, 9}, {1, 0, 0}, {0, 0, 2}, 0},
      {"an eighth", {0, 2, 0}, {1, 1, 0}, {0, 0, 1}, 0.25f * kPi},
      {"along the axis there is no angle", {0, 0, 5}, {1, 0, 0}, {0, 0, 1}, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_NEAR(SignedAngle(row.a, row.b, row.axis), row.angle, 1e-6f);
  }
}

TEST(ShapedTwistFraction, DrawsTheTwistToOneEnd) {
  // The fourth power of 1/2 is 1/16, of 1/5 it is 1/625.
  const struct {
    float fraction, bias, shaped;
  } rows[] = {{0.5f, 0.5f, 0.5f},      {0.5f, 0, 0.0625f},      {0.5f, 1, 0.9375f},
              {0.2f, 0, 1.0f / 625},   {0.5f, 0.25f, 0.28125f}, {0.5f, 0.75f, 0.71875f},
              {0.8f, 1, 1 - 1 / 625.f}};
  for (const auto& row : rows) {
    EXPECT_NEAR(ShapedTwistFraction(row.fraction, row.bias), row.shaped, 1e-6f)
        << row.fraction << " " << row.bias;
  }
  for (float b = 0; b <= 1; b += 0.125f) {
    for (float f = 0; f <= 1; f += 0.0625f) {
      const float mirrored = 1 - ShapedTwistFraction(1 - f, 1 - b);
      EXPECT_NEAR(ShapedTwistFraction(f, b), mirrored, 1e-6f) << f << " " << b;
    }
  }
}

TEST(LookUpTwist, WeighsNearPosesByTheirDistances) {
  std::vector<TwistPose> table(3);
  table[0].direction = {1, 0, 0};
  table[1].direction = {0, 1, 0};
  table[2].direction = {0, 0, 1};
  for (TwistPose& pose : table) pose.axis = pose.direction;
  table[0].referenceVector = {0, 0, 1};
  table[1].referenceVector = {0, 0, 1};
  table[1].twist = 90;  // about Y, right-handed: Z goes to X
  table[1].bias = 0.9f;
  table[2].referenceVector = {0, 1, 0};

  // On a pose: its turned reference and its bias to the bit, also where others are near.
  for (const float near : {1.0f, 1e-6f}) {
    table[0].direction = {near, 1, 0};
    const TwistLookUp found = LookUpTwist(table, {0, 1, 0});
    EXPECT_NEAR(Length(found.reference - Point3{1, 0, 0}), 0, 1e-5f);
    EXPECT_EQ(found.bias, 0.9f);
  }
  // At distances 1, 2 and 4 the weights are 3/4, 1/4 and 0.
  table[0].direction = {1, 0, 0};
  table[1].direction = {0, 2, 0};
  table[2].direction = {0, 0, 4};
  const TwistLookUp found = LookUpTwist(table, {});
  EXPECT_NEAR(Length(found.reference - Point3{0.25f, 0, 0.75f}), 0, 1e-6f);
  EXPECT_NEAR(found.bias, 0.75f * 0.5f + 0.25f * 0.9f, 1e-6f);

  // One pose rules alone, none says nothing, and poses all as far as each other weigh nothing.
  EXPECT_EQ(LookUpTwist(std::span(table).first(1), {5, 5, 5}).reference, table[0].referenceVector);
  EXPECT_EQ(LookUpTwist({}, {1, 0, 0}).reference, Point3{});
  table[1].direction = {-1, 0, 0};
  EXPECT_EQ(LookUpTwist(std::span(table).first(2), {}).reference, Point3{});
}

TEST(TwistLinks, HaveNoTwistInTheStance) {
  for (const int legLinks : {3, 4}) {
    const MotionCore core = test::MakeFigure(TwistedStructure(legLinks));
    for (int id = kLeftForearmTwist; id <= kRightHorseTwist; ++id) {
      for (int k = 0; k < NumLinks(core, id); ++k) {
        EXPECT_NEAR(TurnAboutBone(core, id, k), 0, 1e-6f) << id << " " << k;
      }
    }
  }
}

// A bone that was swung to a pose without rolling is not twisted there. One that has rolled gives
// the roll back at its root and keeps a quarter of it, by three links, at its far end.
TEST(TwistLinks, OfARootUndoTheRollThatThePosesDoNotAskFor) {
  MotionCore core = test::MakeFigure(TwistedStructure());
  core.body.bodyRotation = AboutY(2.2f) * AboutX(0.4f);  // where the body turns does not count
  CoreForwardKinematics(core);
  for (const int id : {kRightUpperArmTwist, kRightThighTwist}) {
    LimbRecord& limb = *FindLimb(core, TwistSegmentOf(id).limbId);
    const bool overhead = !limb.isLeg;
    std::vector<TwistPose>& poses = *FindTwistPoses(core, id);
    ASSERT_GE(poses.size(), 4u);
    for (std::size_t i = 0; i < poses.size(); ++i) {
      SCOPED_TRACE(testing::Message() << id << " " << poses[i].name);
      EXPECT_EQ(FindFault(poses[i]), nullptr);
      const bool atTop = overhead && poses[i].direction.z > 0.5f;
      for (const float roll : {0.0f, 0.8f, -1.2f}) {
        const Quat body = core.body.bodyRotation;
        const Quat rolled = AngleAxis(roll, poses[i].direction);
        const auto inHost = [&](const Point3& v) {
          return HostFromCore(Rotate(body, CoreFromHost(v)));
        };
        Point(core, limb, inHost(poses[i].direction),
              inHost(Rotate(rolled, poses[i].referenceVector)));
        for (int k = 0; k < 3; ++k) {
          const float share = static_cast<float>(3 - k) / 4;
          EXPECT_NEAR(TurnAboutBone(core, id, k), -share * roll, 2e-5f);
        }
      }
      if (atTop) continue;
      // The shortest turn from hanging leaves no twist anywhere on its way: an arm on its way up
      // feels the pose overhead by a degree or two.
      const Point3 down{0, 0, -1}, start = poses[0].referenceVector;
      Point3 axis = Cross(down, poses[i].direction);
      if (axis == Point3{}) axis = {0, 1, 0};
      core.body.bodyRotation = {};
      CoreForwardKinematics(core);
      for (const float angle : {0.3f, 0.9f, 1.4f}) {
        const Quat swing = AngleAxis(i == 0 ? 0 : angle, axis);
        Point(core, limb, Rotate(swing, down), Rotate(swing, start));
        EXPECT_NEAR(TurnAboutBone(core, id, 0), 0, limb.isLeg ? 1e-4f : 0.03f) << angle;
      }
      core.body.bodyRotation = AboutY(2.2f) * AboutX(0.4f);
      CoreForwardKinematics(core);
    }
    // With fewer than two poses there is nothing to measure a roll by.
    poses.resize(1);
    EXPECT_NEAR(TurnAboutBone(core, id, 0), 0, 1e-6f);
  }
}

// A pose that is stored from the figure holds there and then, and its own twist turns the root.
TEST(TwistLinks, FollowAPoseTakenFromTheFigure) {
  Random random(171);
  for (const int id :
       {kLeftUpperArmTwist, kRightUpperArmTwist, kLeftThighTwist, kRightThighTwist}) {
    MotionCore core = test::MakeFigure(TwistedStructure());
    test::BendFigure(core, random);
    std::vector<TwistPose>& poses = *FindTwistPoses(core, id);
    poses.push_back(CurrentTwistPose(core, id));
    EXPECT_NEAR(TurnAboutBone(core, id, 0), 0, 1e-5f) << id;
    poses.back().twist = 40;
    const float turn = DegreesToRadians(30);  // three quarters
    const bool left = FindLimb(core, TwistSegmentOf(id).limbId)->side == kLeft;
    EXPECT_NEAR(TurnAboutBone(core, id, 0), left ? -turn : turn, 1e-4f) << id;
  }
}

// The right side of a pose mirrored is the left side's, whatever the pose.
TEST(TwistLinks, AreMirrorImagesInMirroredPoses) {
  Random random(172);
  for (int i = 0; i < 40; ++i) {
    SCOPED_TRACE(i);
    MotionCore core = test::MakeFigure(TwistedStructure(3 + i % 2));
    test::BendFigure(core, random);
    core.body.bodyRotation = core.pelvis.pose = {};
    for (int k = 0; k < core.spine.numLinks; ++k) core.spine.pose[k] = {};
    CoreForwardKinematics(core);
    // The left limbs take the right ones' frames mirrored: two axes mirrored, the third square.
    const auto mirrored = [](const Point3& v) { return Point3{v.x, v.y, -v.z}; };
    for (LimbRecord* limbs : {core.arm, core.leg}) {
      for (int k = 0; k < NumLimbLinks(limbs[kRight]); ++k) {
        const Matrix3& from = limbs[kRight].frame[k];
        Matrix3& to = limbs[kLeft].frame[k];
        for (int row : {0, 1, 3}) to.row[row] = mirrored(from.row[row]);
        to.row[2] = -mirrored(from.row[2]);
      }
    }
    for (int id = kLeftForearmTwist; id <= kRightHorseTwist; id += 2) {
      if (NumLinks(core, id) == 0) continue;
      for (int k = 0; k < 3; ++k) {
        const float right = TurnAboutBone(core, id + 1, k), left = TurnAboutBone(core, id, k);
        ASSERT_NEAR(left, -right, 1e-4f) << id << " " << k;
      }
    }
  }
}

// Turning a hand or foot about the bone before it from one end of its range to the other.
TEST(TwistLinks, FollowTheEndSteadilyThroughItsRange) {
  const struct {
    int id, limbId;
  } rows[] = {{kRightForearmTwist, kRightArm},
              {kLeftForearmTwist, kLeftArm},
              {kRightCalfTwist, kRightLeg},
              {kLeftHorseTwist, kLeftLeg}};
  for (const auto& row : rows) {
    MotionCore core = test::MakeFigure(TwistedStructure(row.id == kLeftHorseTwist ? 4 : 3));
    LimbRecord& limb = *FindLimb(core, row.limbId);
    const Quat rest = limb.pose.endRotation;
    for (float turn = -3; turn <= 3; turn += 0.05f) {
      limb.pose.endRotation = AboutX(turn) * rest;
      CoreForwardKinematics(core);
      for (int k = 0; k < 3; ++k) {
        const float share = static_cast<float>(k + 1) / 4;
        ASSERT_NEAR(TurnAboutBone(core, row.id, k), share * turn, 1e-4f) << row.id << " " << turn;
      }
    }
    // Bending the wrist across the knuckles, or the ankle across the heel, is no twist.
    limb.pose.endRotation = rest * (limb.isLeg ? AboutZ(0.7f) : AboutY(0.7f));
    CoreForwardKinematics(core);
    EXPECT_NEAR(TurnAboutBone(core, row.id, 2), 0, 1e-5f) << row.id;
    // The segment's own bias shapes it.
    limb.pose.endRotation = AboutX(1) * rest;
    CoreForwardKinematics(core);
    core.structure.twistBias[(row.id - kTwistStartId) / 2] = 0;
    EXPECT_NEAR(TurnAboutBone(core, row.id, 1), 0.0625f, 1e-5f) << row.id;
  }
}

// An arm that swings up from hanging, rolled by half a radian, on any way that arms take: the root
// moves with it, without jumps.
TEST(TwistLinks, OfAMovingArmMoveSteadily) {
  MotionCore core = test::MakeFigure(TwistedStructure());
  LimbRecord& arm = core.arm[kRight];
  const Point3 down{0, 0, -1}, ahead{1, 0, 0};
  const auto sample = [&](float up, float round) {
    // Round 0 goes up ahead, a quarter turn aside.
    const Quat swing = AngleAxis(up, Point3{-Sin(round), -Cos(round), 0});
    Point(core, arm, Rotate(swing, down), Rotate(swing * AngleAxis(0.5f, down), ahead));
    return LinkFrame(core, kRightUpperArmTwist, 0);
  };
  float worst = 0;
  for (float round = -0.3f; round < 1.8f; round += 0.1f) {
    Matrix3 before = sample(0, round);
    for (float up = 0.01f; up < 2.8f; up += 0.01f) {
      const Matrix3 now = sample(up, round);
      for (int row = 0; row < 3; ++row) {
        worst = std::fmax(worst, Length(now.row[row] - before.row[row]));
      }
      before = now;
    }
  }
  EXPECT_LT(worst, 0.05f);
}

TEST(TwistLinks, OfPartsThatTheFigureLacksStandAtTheOrigin) {
  MotionCore core = test::MakeFigure(TwistedStructure());
  Matrix3 matrix;
  const struct {
    int link, count, limbId, limbLink;
  } rows[] = {{-1, 3, kLeftArm, 1}, {3, 3, kLeftArm, 1}, {0, 0, kLeftArm, 1},
              {0, 3, kLeftArm, 0},  {0, 3, kLeftArm, 3}, {0, 3, kLeftLeg, 2},
              {0, 3, kLeftLeg, -1}, {0, 3, kSpine, 1},   {0, 3, kLeftFingers, 1},
              {0, 3, kNoBodyId, 1}};
  for (const auto& row : rows) {
    matrix = Translation({1, 2, 3});
    EXPECT_FALSE(
        TwistLinkTransform(core, row.link, matrix, row.count, 0.5f, row.limbId, row.limbLink));
    EXPECT_TRUE(IsIdentity(matrix));
  }
  EXPECT_TRUE(IsIdentity(LinkFrame(core, kLeftHorseTwist, 0)));
}

}  // namespace
}  // namespace strider
