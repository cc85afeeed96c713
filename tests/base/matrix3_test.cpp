#include "strider/base/matrix3.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/base/math_fixture.h"

namespace strider {
namespace {

using test::ExpectNear, test::kInf, test::kNan;

struct RandomMatrices {
  std::mt19937 random{21};
  std::uniform_real_distribution<float> unit{-1, 1};

  Point3 Vector(float size) {
    return {size * unit(random), size * unit(random), size * unit(random)};
  }
  Matrix3 Any(float size) {
    return {{Vector(size), Vector(size), Vector(size), Vector(10 * size)}};
  }
};

float Volume(const Matrix3& m) { return Dot(Cross(m.row[0], m.row[1]), m.row[2]); }

TEST(Matrix3, ComposesFromLeftToRight) {
  RandomMatrices random;
  for (const Quat& turn : test::UnitQuats(22, 200)) {
    const Matrix3 a = random.Any(2), b = random.Any(2);
    const Point3 p = random.Vector(3);
    ExpectNear(p * (a * b), (p * a) * b, 2e-4f);
    ExpectNear(TransformVector(p, a * b), TransformVector(TransformVector(p, a), b), 2e-4f);
    const Matrix3 frame = FrameOf(turn, random.Vector(5));
    ExpectNear(IntoFrame(p * frame, frame), p, 1e-5f);
    ExpectNear(IntoFrame(p, frame), p * Inverse(frame), 1e-5f);
  }
}

TEST(Matrix3, InverseUndoesAnyTransformThatSpansAVolume) {
  RandomMatrices random;
  for (int i = 0; i < 500; ++i) {
    for (const float size : {1e-6f, 1.0f, 1e6f}) {
      const Matrix3 m = random.Any(size);
      // A nearly flat one is left out: its inverse magnifies the rounding of its input.
      if (std::fabs(Volume(m)) < 0.05f * size * size * size) continue;
      const Point3 p = random.Vector(1);
      ExpectNear((p * m) * Inverse(m), p, 1e-3f);
      ExpectNear((p * Inverse(m)) * m, p, 1e-3f * (1 + 20 * size));
    }
  }
  Matrix3 flat = random.Any(1);
  flat.row[2] = flat.row[0] + flat.row[0];
  EXPECT_TRUE(IsIdentity(Inverse(flat)));
  flat.row[1].y = kNan;
  EXPECT_TRUE(IsIdentity(Inverse(flat)));
}

TEST(Matrix3, OrthogonalAxesKeepTheFirstAndTheHand) {
  RandomMatrices random;
  const Point3 x{1, 0, 0}, y{0, 1, 0};
  Matrix3 cases[104] = {
      {{x, 3.0f * x, y, {}}}, {{{}, {}, {}, {}}}, {{{}, x, y, {}}}, {{y, y, y, {}}}};
  for (int i = 4; i < 104; ++i) cases[i] = random.Any(3);
  for (const Matrix3& m : cases) {
    const Matrix3 square = Orthogonalized(m);
    for (int i = 0; i < 3; ++i) {
      EXPECT_NEAR(Length(square.row[i]), 1, 1e-5);
      EXPECT_NEAR(Dot(square.row[i], square.row[(i + 1) % 3]), 0, 1e-5);
    }
    if (!(m.row[0] == Point3{})) ExpectNear(square.row[0], Normalized(m.row[0]), 1e-6f);
    if (std::fabs(Volume(m)) > 1e-3f) {
      EXPECT_EQ(Volume(square) < 0, Volume(m) < 0);
    }
    EXPECT_EQ(square.row[3], m.row[3]);
  }
}

TEST(Point3, MeasuresWithoutOverflowOrLoss) {
  EXPECT_EQ(Length({3e30f, 4e30f, 0}), 5e30f);
  EXPECT_EQ(Length({0, 3e-30f, 4e-30f}), 5e-30f);
  ExpectNear(Normalized(Point3{0, 0, 1e-40f}), {0, 0, 1}, 1e-6f);
  ExpectNear(Normalized(Point3{3e38f, -3e38f, 0}), {0.70710678f, -0.70710678f, 0}, 1e-6f);
  for (const Point3& none : {Point3{}, Point3{kInf, 0, 0}, Point3{0, kNan, 0}}) {
    EXPECT_EQ(Normalized(none, {0, 1, 0}), (Point3{0, 1, 0}));
    EXPECT_EQ(IsFinite(none), none == Point3{});
  }
}

}  // namespace
}  // namespace strider
