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
  EXPECT_EQ(Sin(0), 0);
  EXPECT_EQ(Cos(0), 1);
  EXPECT_EQ(Acos(1), 0);
  EXPECT_EQ(Acos(-1), kPi);
  EXPECT_EQ(Acos(0), kHalfPi);
  EXPECT_EQ(Asin(0), 0);
  EXPECT_EQ(CosineEase(0), 0);
  EXPECT_EQ(CosineEase(0.5f), 0.5f);
  EXPECT_EQ(CosineEase(1), 1);
  EXPECT_EQ(DegreesToRadians(180), kPi);
  EXPECT_EQ(RadiansToDegrees(kPi), 180);
  const struct {
    double y, x, angle;
  } places[] = {
      {0, 0, 0},
      {0, 2, 0},
      {0, -2, kPiD},
      {-0.0, -2, kPiD},
      {2, 0, kPiD / 2},
      {-2, 0, -kPiD / 2},
      {3, 3, kPiD / 4},
      {3, -3, 3 * kPiD / 4},
      {-3, 3, -kPiD / 4},
      {-3, -3, -3 * kPiD / 4},
      {kInf, 1, kPiD / 2},
      {1, -kInf, kPiD},
      {kInf, -kInf, 3 * kPiD / 4},
      {5e-324, 5e-324, kPiD / 4},
  };
  for (const auto& place : places) {
    EXPECT_NEAR(Atan2D(place.y, place.x), place.angle, 2e-13) << place.y << ' ' << place.x;
  }
}

TEST(Trig, AnswersNanForNanAndNothingElseForWhatIsOutOfRange) {
  for (const double bad : {kInf, -kInf, kNan}) {
    EXPECT_TRUE(std::isnan(SinCosOf(bad).sin));
    EXPECT_TRUE(std::isnan(SinCosOf(bad).cos));
  }
  EXPECT_TRUE(std::isnan(AcosD(kNan)));
  for (const double other : {0.0, 1.0, -1.0, kInf, -kInf, kNan}) {
    EXPECT_TRUE(std::isnan(Atan2D(kNan, other))) << other;
    EXPECT_TRUE(std::isnan(Atan2D(other, kNan))) << other;
  }
  EXPECT_EQ(AcosD(1.5), 0);
  EXPECT_EQ(AcosD(-kInf), kPiD);
  EXPECT_EQ(Sqrt(-1e-9f), 0);
  EXPECT_EQ(Sqrt(2.25f), 1.5f);
  // Every float has a sine of at most 1, the largest too.
  EXPECT_LE(std::fabs(Sin(std::numeric_limits<float>::max())), 1);
}

}  // namespace
}  // namespace strider
