#include "strider/core/limb_solver.h"

#include <limits>

#include "tests/core/figure_fixture.h"

namespace strider {
namespace {

using test::Distance;
using test::Random;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

/// Angle at the joint between the two segments, from places alone.
double AngleAtJoint(const Point3& base, const Point3& joint, const Point3& end) {
  const Point3 up = Normalized(base - joint), down = Normalized(end - joint);
  // Twice the half angle: keeps its digits near pi, where the cosine does not.
  return 2 * Atan2D(Length(up - down), Length(up + down));
}

TEST(SolveTwoLink, FindsTheBentPoseThatForwardKinematicsMade) {
  Random random(11);
  for (int i = 0; i < 5000; ++i) {
    SCOPED_TRACE(i);
    const float size = std::pow(10.0f, random.Between(0, 3));
    const SegmentLengths lengths{size * random.Between(0.5f, 1), size * random.Between(0.5f, 1)};
    const float reach = ReachOf(lengths);
    const float hinge = random.Between(0.3f, kPi - 0.02f);
    const LimbShape shape = ForwardTwoLink(lengths, hinge, random.Rotation());
    ASSERT_NEAR(AngleAtJoint({}, shape.joint, shape.end), hinge, 1e-3);

    const LimbSolution solved = SolveTwoLink(lengths, shape.end, shape.swivel, {});
    const LimbShape again = ForwardTwoLink(lengths, solved.hingeAngle, solved.rotation);
    ASSERT_NEAR(solved.hingeAngle, hinge, 1e-3);
    ASSERT_LT(Distance(again.joint, shape.joint), 2e-4f * reach);
    ASSERT_LT(Distance(again.end, shape.end), 2e-4f * reach);
    ASSERT_LT(Distance(again.swivel, shape.swivel), 1e-3f);
  }
}

// Any target that can be reached, and a swivel that has nothing to do with it: measured by places
// and not by the way in which they came about.
TEST(SolveTwoLink, ReachesAnyTargetWithSegmentsOfTheirLengthsBentTowardsY) {
  Random random(12);
  for (int i = 0; i < 5000; ++i) {
    SCOPED_TRACE(i);
    const float a = random.Between(1, 10), b = random.Between(1, 10);
    const float nearest = std::fabs(a - b);
    const float d = random.Between(nearest + 0.01f * (a + b), 0.999f * (a + b));
    const Point3 target = d * random.Direction();
    const Point3 swivel = random.Vector(0.01f, 100);
    const LimbSolution solved = SolveTwoLink({a, b}, target, swivel, {});
    const Matrix3 frame = FrameOf(solved.rotation, {});
    const LimbShape shape = ForwardTwoLink({a, b}, solved.hingeAngle, solved.rotation);
    ASSERT_LT(Distance(shape.end, target), 2e-4f * (a + b));
    ASSERT_NEAR(Length(shape.joint), a, 1e-5f * a);
    ASSERT_NEAR(Distance(shape.joint, shape.end), b, 1e-5f * b);
    ASSERT_GE(Dot(shape.end, frame.row[1]), 0) << "an elbow bends one way only";
    // The plane keeps to the side that was asked for.
    ASSERT_NEAR(Dot(Normalized(target), frame.row[2]), 0, 1e-4);
    ASSERT_GE(Dot(swivel, frame.row[2]), 0);
  }
}

TEST(SolveTwoLink, PullsStraightTowardsTargetsOutOfReach) {
  Random random(13);
  for (float beyond : {1.0f, 1.5f, 100.0f, 1e6f, 1e30f}) {
    for (int i = 0; i < 50; ++i) {
      SCOPED_TRACE(beyond);
      const float a = random.Between(10, 20), b = random.Between(10, 20);
      const Point3 direction = random.Direction();
      const Point3 target = ((a + b) * beyond) * direction;
      const LimbSolution solved = SolveTwoLink({a, b}, target, random.Direction(), {});
      const LimbShape shape = ForwardTwoLink({a, b}, solved.hingeAngle, solved.rotation);
      // By the cosine rule at d = a + b - 1.5e-5: d^2 = a^2 + b^2 - 2 a b cos(hinge), so that
      // pi - hinge = sqrt(2 (a + b) 1.5e-5 / (a b)) to first order.
      const double missing = std::sqrt(2.0 * (a + b) * 1.5e-5 / (static_cast<double>(a) * b));
      ASSERT_NEAR(kPiD - solved.hingeAngle, missing, 2e-6);
      ASSERT_LT(solved.hingeAngle, kPi);
      ASSERT_LT(Distance(Normalized(shape.end), direction), 1e-5f);
    }
  }
}

TEST(SolveTwoLink, FoldsHalfWayForATargetWithoutDirection) {
  const auto distanceAt = [](const SegmentLengths& lengths, const Point3& target,
                             const Point3& swivel) {
    const LimbSolution solved = SolveTwoLink(lengths, target, swivel, {});
    const LimbShape shape = ForwardTwoLink(lengths, solved.hingeAngle, solved.rotation);
    EXPECT_LT(Distance(shape.swivel, Normalized(swivel)), 1e-5f);
    return Length(shape.end);
  };
  const struct {
    const char* what;
    SegmentLengths lengths;
    float distance;  // by hand: (a + b) / 2 - 0.075, at least (a + b) / 4
  } rows[] = {
      {"a figure's leg", {20, 20}, 19.925f},
      {"uneven", {30, 20}, 24.925f},
      {"short", {0.2f, 0.2f}, 0.125f},
      {"so short that the margin would eat it", {0.1f, 0.1f}, 0.05f},
      {"tiny", {0.001f, 0.001f}, 0.0005f},
  };
  Random random(14);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    for (int i = 0; i < 50; ++i) {
      const Point3 swivel = random.Vector(0.1f, 10);
      const float tolerance = 1e-4f * row.distance;
      ASSERT_NEAR(distanceAt(row.lengths, {}, swivel), row.distance, tolerance);
      ASSERT_NEAR(distanceAt(row.lengths, {kNan, 1, 0}, swivel), row.distance, tolerance);
      ASSERT_NEAR(distanceAt(row.lengths, {0, -kInf, 0}, swivel), row.distance, tolerance);
      // Along the swivel nothing of the target lies in the limb's plane.
      ASSERT_NEAR(distanceAt(row.lengths, 0.7f * row.distance * Normalized(swivel), swivel),
                  row.distance, tolerance);
    }
  }
}

TEST(SolveLimb, AnswersFiniteAnglesForAnyInput) {
  const float odd[] = {0, -0.0f, 1e-45f, 1e-38f, 1e-20f, 1, -40, 1e20f, 1e38f, kInf, kNan};
  const SegmentLengths lengths[] = {
      {40, 40, 20, true}, {40, 40},         {40, 40, 0, true}, {1e-38f, 1e-38f},
      {1e30f, 1e30f},     {5, 80, 1, true}, {0, 40},           {40, 0, 7, true}};
  const Quat current = AboutX(0.5f);
  for (const SegmentLengths& l : lengths) {
    for (float x : odd) {
      for (float y : odd) {
        for (const Point3& swivel : {Point3{0, 0, 1}, Point3{1, 1, 0}, Point3{}, Point3{x, y, kNan},
                                     Point3{x, y, 0}, Point3{1e38f, 1e38f, 1e38f}}) {
          for (bool tilt : {false, true}) {
            SCOPED_TRACE(testing::Message() << l.upper << " " << l.lower << " " << l.third << "; "
                                            << x << " " << y << "; " << tilt);
            float angles[kNumJointAngles] = {1, 0.3f, 0.1f, 0.2f};
            const Quat rotation = SolveLimb(l, {x, y, 0}, swivel, current, tilt, angles);
            ASSERT_NEAR(Dot(rotation, rotation), 1, 1e-5);
            for (float angle : angles) ASSERT_TRUE(IsFinite(angle));
            ASSERT_GE(angles[kHinge], 0);
            ASSERT_LE(angles[kHinge], kPi);
            if (l.upper == 0 || l.lower == 0) {
              ASSERT_EQ(angles[kHinge], kPi);
              ASSERT_EQ(rotation, current);
            }
          }
        }
      }
    }
  }
}

TEST(SolveLimb, FindsTheBentPoseOfAFourLinkLeg) {
  Random random(15);
  for (int i = 0; i < 5000; ++i) {
    SCOPED_TRACE(i);
    const SegmentLengths lengths{random.Between(60, 100), random.Between(60, 100),
                                 random.Between(20, 50), true};
    const float reach = ReachOf(lengths);
    float angles[kNumJointAngles] = {random.Between(1, kPi - 0.02f), random.Between(-0.7f, 0.7f),
                                     random.Between(-0.5f, 0.5f), random.Between(-0.5f, 0.5f)};
    const Quat rotation = random.Rotation();
    const LimbShape shape = ForwardLimb(lengths, angles, rotation);
    ASSERT_NEAR(Length(shape.joint), lengths.upper, 1e-3f);
    ASSERT_NEAR(Distance(shape.joint, shape.hock), lengths.lower, 1e-3f);
    ASSERT_NEAR(Distance(shape.hock, shape.end), lengths.third, 1e-3f);

    const float hinge = angles[kHinge];
    angles[kHinge] = 0;
    const Quat solved = SolveLimb(lengths, shape.end, shape.swivel, {}, false, angles);
    const LimbShape again = ForwardLimb(lengths, angles, solved);
    ASSERT_NEAR(angles[kHinge], hinge, 1e-3);
    ASSERT_LT(Distance(again.joint, shape.joint), 2e-4f * reach);
    ASSERT_LT(Distance(again.hock, shape.hock), 2e-4f * reach);
    ASSERT_LT(Distance(again.end, shape.end), 2e-4f * reach);
  }
}

// The option turns the leg's plane, which must not cost the target.
TEST(SolveLimb, ReachesItsTargetAlsoWithATiltedSwivel) {
  Random random(16);
  for (int i = 0; i < 2000; ++i) {
    SCOPED_TRACE(i);
    const SegmentLengths lengths{80, 80, 40, true};
    float angles[kNumJointAngles] = {2, random.Between(0.1f, 0.6f), random.Between(-0.2f, 0.2f), 0};
    const Point3 target = random.Vector(100, 170);
    const Quat solved = SolveLimb(lengths, target, random.Direction(), {}, true, angles);
    const LimbShape shape = ForwardLimb(lengths, angles, solved);
    ASSERT_LT(Distance(shape.end, target), 2e-4f * ReachOf(lengths));
  }
}

// The swivel takes 0.3 of the way to the hock, and the pitch the angle by which that turned the
// third segment: off it where the turn goes round the swivel, on to it where it goes against.
TEST(SolveLimb, TiltingTakesTheThirdSegmentsTurnIntoItsPitch) {
  Random random(18);
  const SegmentLengths lengths{80, 80, 40, true};
  int signs[2] = {};
  for (int i = 0; i < 200; ++i) {
    const float pitch = random.Between(-0.6f, 0.6f);
    const Point3 target = random.Vector(100, 170);
    const Point3 square = SquareSwivel(random.Direction(), target);
    Point3 knee;
    const auto thirdDirection = [&](const Point3& swivel) {
      float angles[kNumJointAngles] = {2, pitch, 0, 0};
      const Quat rotation = SolveLimb(lengths, target, swivel, {}, false, angles);
      const LimbShape shape = ForwardLimb(lengths, angles, rotation);
      knee = shape.joint;
      return Normalized(shape.end - shape.hock);
    };
    const Point3 level = thirdDirection(square);
    const Point3 onwards = target - knee;
    const Point3 across = Normalized(onwards - Dot(onwards, square) * square);
    const Point3 leaned = thirdDirection(Normalized(square + 0.3f * across));
    const bool against = Dot(Cross(level, leaned), square) < 0;
    ++signs[against];
    const float turn = Acos(Dot(level, leaned));

    float angles[kNumJointAngles] = {2, pitch, 0, 0};
    (void)SolveLimb(lengths, target, square, {}, true, angles);
    ASSERT_NEAR(angles[kThirdPitch], against ? pitch + turn : pitch - turn, 2e-3f) << i;
  }
  EXPECT_GT(signs[0], 20);
  EXPECT_GT(signs[1], 20);
}

TEST(SolveLimb, KeepsAFourLinkLegTowardsTargetsOutOfReach) {
  Random random(17);
  for (int i = 0; i < 500; ++i) {
    const SegmentLengths lengths{80, 80, 40, true};
    float angles[kNumJointAngles] = {2, random.Between(0, 0.6f), 0, 0};
    const Point3 direction = random.Direction();
    const Quat solved = SolveLimb(lengths, 500 * direction, random.Direction(), {}, false, angles);
    const LimbShape shape = ForwardLimb(lengths, angles, solved);
    ASSERT_LT(Distance(Normalized(shape.end), direction), 1e-3f);
    ASSERT_GT(angles[kHinge], 3.13f);
    // Straight above the hock: 160 and the third segment in one bend of its pitch.
    const float across = 40 * Sin(angles[kThirdPitch]);
    ASSERT_NEAR(Length(shape.end),
                40 * Cos(angles[kThirdPitch]) + std::sqrt(25600 - across * across), 0.01f);
  }
}

}  // namespace
}  // namespace strider
