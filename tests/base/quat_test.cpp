#include "strider/base/quat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/base/math_fixture.h"

namespace strider {
namespace {

using test::ExpectNear, test::kInf, test::kNan, test::UnitQuats;

double DotInDouble(const Quat& a, const Quat& b) {
  return static_cast<double>(a.x) * b.x + static_cast<double>(a.y) * b.y +
         static_cast<double>(a.z) * b.z + static_cast<double>(a.w) * b.w;
}

// The textbook formula in double, on which the degenerate cases have no bearing.
Quat SlerpInDouble(const Quat& a, const Quat& b, double u) {
  const double angle = std::acos(DotInDouble(a, b));
  const double wa = std::sin((1 - u) * angle) / std::sin(angle);
  const double wb = std::sin(u * angle) / std::sin(angle);
  return static_cast<float>(wa) * a + static_cast<float>(wb) * b;
}

TEST(Quat, TurnsRightHandedAndInTheOrderOfItsProduct) {
  const Point3 x{1, 0, 0}, y{0, 1, 0}, z{0, 0, 1};
  const struct {
    Quat turn;
    Point3 from, to;
  } rows[] = {
      {AboutX(kHalfPi), y, z},
      {AboutY(kHalfPi), z, x},
      {AboutZ(kHalfPi), x, y},
      {AngleAxis(kHalfPi, 7.0f * z), x, y},
      {AboutZ(kHalfPi) * AboutX(kHalfPi), y, z},  // X first: y to z, which Z leaves
      {AboutX(kHalfPi) * AboutZ(kHalfPi), x, z},  // Z first: x to y, then y to z
  };
  for (const auto& row : rows) {
    ExpectNear(Rotate(row.turn, row.from), row.to, 1e-6);
    ExpectNear(row.from * FrameOf(row.turn, {}), row.to, 1e-6);
  }
  EXPECT_EQ(AngleAxis(1, {}), Quat{});
  const std::vector<Quat> quats = UnitQuats(1, 200);
  for (std::size_t i = 1; i < quats.size(); ++i) {
    const Quat &a = quats[i], &b = quats[i - 1];
    const Point3 v{0.3f, -2, 5};
    ExpectNear(Rotate(a * b, v), Rotate(a, Rotate(b, v)), 1e-5);
    ExpectNear(v * (FrameOf(b, {}) * FrameOf(a, {})), Rotate(a * b, v), 1e-5);
    ExpectNear(Rotate(Conjugate(a), Rotate(a, v)), v, 1e-5);
  }
}

TEST(Quat, IsReadBackFromItsFrameInEveryBranch) {
  std::vector<Quat> quats = UnitQuats(2, 300);
  for (const Point3& axis : {Point3{1, 0, 0}, Point3{0, 1, 0}, Point3{0, 0, 1}, Point3{1, 1, 0},
                             Point3{0, 1, -1}, Point3{1, 1, 1}}) {
    for (const float angle : {0.0f, 3.0f, kPi, 3.2f}) quats.push_back(AngleAxis(angle, axis));
  }
  for (const Quat& q : quats) {
    ExpectNear(OnSideOf(RotationOf(FrameOf(q, {})), q), q, 2e-6);
    // The quaternion's length does not matter to the frame.
    const Matrix3 frame = FrameOf(q, {1, 2, 3}), longer = FrameOf(12.5f * q, {1, 2, 3});
    for (int i = 0; i < 4; ++i) ExpectNear(longer.row[i], frame.row[i], 2e-6);
  }
  for (const Quat& none : {Quat{0, 0, 0, 0}, Quat{kNan, 0, 0, 1}, Quat{0, kInf, 0, 1}}) {
    EXPECT_TRUE(IsIdentity(FrameOf(none, {})));
  }
}

TEST(Quat, NormalizesWhateverHasADirection) {
  const Quat none, rows[][2] = {
                       {{0, 0, 0, 0}, none},
                       {{kNan, 0, 0, 1}, none},
                       {{0, 0, kInf, 1}, none},
                       {{3e38f, 0, 0, 0}, {1, 0, 0, 0}},
                       {{0, 0, 1e-25f, 0}, {0, 0, 1, 0}},
                       {{0, 3, 0, 4}, {0, 0.6f, 0, 0.8f}},
                   };
  for (const auto& row : rows) ExpectNear(Normalized(row[0]), row[1], 1e-7);
  for (const Quat& q : UnitQuats(3, 100)) {
    EXPECT_NEAR(DotInDouble(q, q), 1, 4e-7);
    for (const float length : {0.9999f, 1.0001f, 0.5f, 3.0f}) {
      ExpectNear(NearUnit(length * q), q, 3e-7);
    }
  }
}

TEST(Quat, LogarithmAndExponentialUndoEachOther) {
  const std::vector<Quat> quats = UnitQuats(4, 200);
  for (std::size_t i = 1; i < quats.size(); ++i) {
    const Quat& a = quats[i];
    for (const Quat& b :
         {quats[i - 1], a, Normalized(a * AboutX(1e-4f)), a * AboutY(kPi), -a * AboutZ(0.01f)}) {
      const Point3 way = LnDif(a, b);
      EXPECT_LE(Length(way), kPi + 1e-6f);
      ExpectNear(a * Exp(way), b, 3e-6);
    }
  }
  // Half the angle, along the axis; no side is taken: a turn past pi goes the long way round.
  for (const float angle : {1e-6f, 0.3f, 3.0f, 6.0f}) {
    ExpectNear(LnDif(Quat{}, AboutZ(angle)), {0, 0, angle / 2}, 1e-6);
    ExpectNear(LnDif(AboutX(1), AboutX(1) * AboutY(angle)), {0, angle / 2, 0}, 2e-6);
  }
  EXPECT_EQ(Exp({}), Quat{});
}

TEST(Slerp, FollowsTheGreatCircleAndKeepsUnitLengthWhereItsAngleVanishes) {
  const std::vector<Quat> quats = UnitQuats(5, 200);
  for (std::size_t i = 1; i < quats.size(); ++i) {
    const Quat& a = quats[i];
    const Quat perpendicular{-a.y, a.x, -a.w, a.z};
    for (const float u : {0.0f, 1e-6f, 0.3f, 0.5f, 0.9f, 1.0f}) {
      SCOPED_TRACE(u);
      const Quat& far = quats[i - 1];
      ExpectNear(Slerp(a, far, u), SlerpInDouble(a, far, u), 1e-6);
      // Just outside and just inside the angle that counts as none: both are on the circle.
      for (const float angle : {0.029f, 0.028f, 0.02f, 1e-5f}) {
        const Quat near = Normalized(a * AboutX(angle));
        ExpectNear(Slerp(a, near, u), a * AboutX(u * angle), 3e-5);
      }
      for (const Quat& other : {a, -a, Normalized(-a * AboutZ(0.02f)), perpendicular}) {
        const Quat between = Slerp(a, other, u);
        EXPECT_NEAR(DotInDouble(between, between), 1, 6e-5);
      }
      // Opposite ends turn towards the fixed perpendicular, a quarter turn in all.
      const double quarter = u * 1.570795;
      const Quat wanted = static_cast<float>(std::cos(quarter)) * a +
                          static_cast<float>(std::sin(quarter)) * perpendicular;
      ExpectNear(Slerp(a, -a, u), wanted, 2e-6);
    }
    EXPECT_EQ(Slerp(a, quats[i - 1], 0), a);
  }
}

TEST(Squad, IsTwoSlerpsAndAThirdBetweenThem) {
  const std::vector<Quat> quats = UnitQuats(6, 400);
  for (std::size_t i = 0; i + 3 < quats.size(); i += 4) {
    const Quat &from = quats[i], to = OnSideOf(quats[i + 1], from);
    const Quat out = OnSideOf(Slerp(from, OnSideOf(quats[i + 2], from), 0.2f), from);
    const Quat in = OnSideOf(Slerp(to, OnSideOf(quats[i + 3], to), 0.2f), to);
    for (const float u : {0.0f, 0.25f, 0.7f, 1.0f}) {
      const Quat wanted =
          SlerpInDouble(SlerpInDouble(from, to, u), SlerpInDouble(out, in, u), 2.0 * (1 - u) * u);
      ExpectNear(Squad(from, out, in, to, u), wanted, 3e-6);
    }
    ExpectNear(Squad(from, from, to, to, 0.4f), Slerp(from, to, 0.4f), 4e-5);
  }
}

}  // namespace
}  // namespace strider
