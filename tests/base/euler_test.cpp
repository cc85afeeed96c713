#include "strider/base/euler.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/base/math_fixture.h"

namespace strider {
namespace {

using test::ExpectNear, test::ExpectSameTurn, test::kNan;

// A turn about one axis, written out for row vectors: about X it takes Y to Z.
Matrix3 AxisTurn(int axis, float angle) {
  const float c = static_cast<float>(std::cos(static_cast<double>(angle)));
  const float s = static_cast<float>(std::sin(static_cast<double>(angle)));
  Matrix3 m;
  const int j = (axis + 1) % 3, k = (axis + 2) % 3;
  m.row[j][j] = m.row[k][k] = c;
  m.row[j][k] = s;
  m.row[k][j] = -s;
  return m;
}

// The six orders as three letters: which axis is turned about first, second, third.
constexpr const char* kOrderNames[kNumEulerOrders] = {"XYZ", "ZYX", "ZXY", "YXZ", "YZX", "XZY"};

TEST(Euler, EachOrderTurnsAboutItsAxesInTurnAndIsReadBack) {
  std::mt19937 random(31);
  std::uniform_real_distribution<float> outer(-3.1f, 3.1f), middle(-1.5f, 1.5f);
  for (int order = 0; order < kNumEulerOrders; ++order) {
    SCOPED_TRACE(kOrderNames[order]);
    for (int i = 0; i < 200; ++i) {
      const Point3 angles{outer(random), middle(random), outer(random)};
      Matrix3 composed;
      for (int k = 0; k < 3; ++k) {
        composed = composed * AxisTurn(kOrderNames[order][k] - 'X', angles[k]);
      }
      const Matrix3 m = EulerToMatrix(angles, order);
      for (int r = 0; r < 4; ++r) ExpectNear(m.row[r], composed.row[r], 2e-6);
      // Near a quarter turn the outer axes fall together and a float's last bit counts for more.
      const Point3 read = QuatToEuler(EulerToQuat(angles, order), order);
      ExpectNear(read, angles, 2e-6f + 2e-6f / std::cos(angles.y));
    }
    for (const float off : {0.0f, 1e-6f, 1e-5f, 1e-3f}) {
      const float sign = off > 5e-6f ? -1.0f : 1.0f;
      const Quat turn = EulerToQuat({0.4f, sign * (kHalfPi - off), -1.1f}, order);
      const Point3 read = QuatToEuler(turn, order);
      EXPECT_NEAR(read.y, sign * kHalfPi, 1e-3);
      ExpectSameTurn(EulerToQuat(read, order), turn, 3e-6);
    }
  }
}

TEST(Euler, ContinuousAnglesFollowASpinPastWholeTurnsAndQuarterTurns) {
  for (int order = 0; order < kNumEulerOrders; ++order) {
    SCOPED_TRACE(kOrderNames[order]);
    Point3 last;
    // The middle angle swings past a quarter turn, where plain angles jump by half a turn.
    for (int step = 0; step <= 200; ++step) {
      const float s = 0.05f * static_cast<float>(step);
      const Point3 wanted{2 * s, 2 * std::sin(s), -s};
      const Point3 got = ContinuousQuatToEuler(EulerToQuat(wanted, order), last, order);
      for (int k = 0; k < 3; ++k) ASSERT_NEAR(got[k], wanted[k], 2e-4) << step << ' ' << k;
      last = got;
    }
  }
  // Whatever came before, the rotation is the same and no angle is further than it must be.
  std::mt19937 random(33);
  std::uniform_real_distribution<float> any(-20, 20);
  for (int i = 0; i < 300; ++i) {
    const int order = i % kNumEulerOrders;
    const Quat turn = EulerToQuat({any(random), any(random), any(random)}, order);
    const Point3 before{any(random), any(random), any(random)};
    const Point3 got = ContinuousQuatToEuler(turn, before, order);
    ExpectSameTurn(EulerToQuat(got, order), turn, 1e-5);
    for (int k = 0; k < 3; ++k) EXPECT_LE(std::fabs(got[k] - before[k]), kPi + 1e-4f);
  }
}

TEST(Decompose, TakesATransformApartIntoPartsThatMakeItAgain) {
  std::mt19937 random(34);
  std::uniform_real_distribution<float> factor(0.2f, 3);
  const std::vector<Quat> quats = test::UnitQuats(35, 301);
  for (std::size_t i = 0; i < 300; ++i) {
    const float size = i % 3 == 0 ? 1e-4f : i % 3 == 1 ? 1.0f : 1e4f;
    const Quat &turn = quats[i], &axes = quats[i + 1];
    const float sign = i % 2 ? -1.0f : 1.0f;
    Matrix3 scale;
    for (int k = 0; k < 3; ++k) scale.row[k][k] = size * factor(random);
    const Matrix3 stretch = FrameOf(Conjugate(axes), {}) * scale * FrameOf(axes, {});
    Matrix3 m = stretch * FrameOf(turn, {});
    for (int k = 0; k < 3; ++k) m.row[k] *= sign;
    m.row[3] = {1, 2, 3};
    const AffineParts parts = Decompose(m);
    EXPECT_EQ(parts.sign, sign);
    EXPECT_EQ(parts.translation, m.row[3]);
    ExpectSameTurn(parts.rotation, turn, 3e-5);
    for (int r = 0; r < 3; ++r) ExpectNear(parts.stretch.row[r], stretch.row[r], 1e-4 * size);
  }
}

TEST(Decompose, HasARotationForFlatAndBrokenTransformsToo) {
  const Point3 x{1, 0, 0}, y{0, 1, 0}, z{0, 0, 1};
  for (const Matrix3& m :
       {Matrix3{{x, y, {}, {}}}, Matrix3{{{}, {}, {}, {}}}, Matrix3{{x, x, z, {}}},
        Matrix3{{x, {kNan, 0, 0}, z, {}}}, Matrix3{{x, y, 1e-30f * z, {}}}}) {
    const AffineParts parts = Decompose(m);
    EXPECT_NEAR(Dot(parts.rotation, parts.rotation), 1, 1e-5);
    EXPECT_TRUE(IsFinite(parts.stretch));
  }
}

}  // namespace
}  // namespace strider
