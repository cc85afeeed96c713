#include "strider/base/trig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace strider {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// The promise of the header: 2e-13, and what a turn of 2 pi as a double loses on large angles.
double AngleTolerance(double angle) { return 2e-13 + 5e-17 * std::fabs(angle); }

TEST(Trig, FollowsTheStandardLibraryOverAllMagnitudes) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> exponent(-320, 15), mantissa(-1, 1), unit(-1, 1);
  for (int i = 0; i < 20000; ++i) {
    const double angle = mantissa(random) * std::pow(10, exponent(random));
    SCOPED_TRACE(angle);
    const SinCosD both = SinCosOf(angle);
    ASSERT_NEAR(both.sin, std::sin(angle), AngleTolerance(angle));
    ASSERT_NEAR(both.cos, std::cos(angle), AngleTolerance(angle));
    const double x = unit(random), y = mantissa(random) * std::pow(10, exponent(random));
    ASSERT_NEAR(AcosD(x), std::acos(x), 2e-13);
    for (const double far : {x, x * 1e-310, x * 1e300}) {
      ASSERT_NEAR(Atan2D(y, far), std::atan2(y, far), 2e-13);
      ASSERT_NEAR(Atan2D(far, y), std::atan2(far, y), 2e-13);
    }
  }
  // Around every multiple of a quarter turn the reduction cancels most digits.
  for (int quarter = -4000; quarter <= 4000; ++quarter) {
    for (const double off : {-1e-9, 0.0, 1e-9}) {
      const double angle = quarter * 1.5707963267948966 + off;
      ASSERT_NEAR(SinCosOf(angle).sin, std::sin(angle), 2e-13) << quarter;
      ASSERT_NEAR(SinCosOf(angle).cos, std::cos(angle), 2e-13) << quarter;
    }
  }
  for (const double x : {1.0, -1.0, 0.5, -0.5, 0.0, 5e-324, 1 - 1e-16, -1 + 1e-16}) {
    EXPECT_NEAR(AcosD(x), std::acos(x), 2e-13) << x;
  }
}

TEST(Trig, FloatsAreRoundedOnceFromTheDouble) {
  std::mt19937 random(12);
  std::uniform_real_distribution<float> wide(-100, 100), unit(-1, 1);
  for (int i = 0; i < 20000; ++i) {
    const float angle = wide(random), x = unit(random), y = unit(random);
    // Another last bit than the library's is right only where the exact value lies at the middle.
    const auto expectRounded = [](float got, double exact) {
      EXPECT_LE(std::fabs(got - exact),
                0.5001 * std::fabs(std::nextafter(got, 1e9f) - got) + 3e-13);
    };
    expectRounded(Sin(angle), std::sin(static_cast<double>(angle)));
    expectRounded(Cos(angle), std::cos(static_cast<double>(angle)));
    expectRounded(Acos(x), std::acos(static_cast<double>(x)));
    expectRounded(Asin(x), std::asin(static_cast<double>(x)));
    expectRounded(Atan2(y, x), std::atan2(static_cast<double>(y), static_cast<double>(x)));
    // Odd and even to the last bit, so that mirrored figures mirror their motion.
    EXPECT_EQ(Sin(-angle), -Sin(angle));
    EXPECT_EQ(Cos(-angle), Cos(angle));
    EXPECT_EQ(Atan2(-y, x), -Atan2(y, x));
  }
}

TEST(Trig, HasExactValuesWhereMotionRestsOnThem) {
  const float rows[][2] = {
      {Acos(1), 0},
      {Acos(-1), kPi},
      {Acos(0), kHalfPi},
      {CosineEase(0), 0},
      {CosineEase(1), 1},
      {CosineEase(0.5f), 0.5f},
      {Sqrt(2.25f), 1.5f},
      {Sqrt(-1e-9f), 0},
      {DegreesToRadians(180), kPi},
      {RadiansToDegrees(kPi), 180},
  };
  for (const auto& row : rows) EXPECT_EQ(row[0], row[1]);
  // The axes, the corners of the range and what has no direction; -0 lies above the axis as 0 does.
  for (const double y : {0.0, 3.0, -3.0, kInf, -kInf, 5e-324}) {
    for (const double x : {0.0, 2.0, -2.0, kInf, -kInf, 5e-324}) {
      EXPECT_NEAR(Atan2D(y, x), std::atan2(y, x), 2e-13) << y << ' ' << x;
    }
  }
  EXPECT_NEAR(Atan2D(-0.0, -2), kPiD, 2e-13);
}

TEST(Trig, AnswersNanForNanAndNothingElseForWhatIsOutOfRange) {
  for (const double bad : {kInf, -kInf, kNan}) {
    EXPECT_TRUE(std::isnan(SinCosOf(bad).sin));
    EXPECT_TRUE(std::isnan(SinCosOf(bad).cos));
  }
  EXPECT_TRUE(std::isnan(AcosD(kNan)));
  for (const double other : {0.0, 1.0, kInf}) {
    EXPECT_TRUE(std::isnan(Atan2D(kNan, other)) && std::isnan(Atan2D(other, kNan))) << other;
  }
  EXPECT_EQ(AcosD(1.5), 0);
  EXPECT_EQ(AcosD(-kInf), kPiD);
  // Every float has a sine of at most 1, the largest too.
  EXPECT_LE(std::fabs(Sin(std::numeric_limits<float>::max())), 1);
}

}  // namespace
}  // namespace strider
