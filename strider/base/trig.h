// The one home of trigonometry. Every function is computed in double from additions,
// multiplications, divisions and square roots alone, and rounded once where a float leaves, so
// that g++, clang and WebAssembly give the same bits on every machine. The polynomials are
// Chebyshev interpolants of the Taylor series on the reduced range; absolute error below 2e-13,
// eight orders finer than a float.
#pragma once

#include <cmath>
#include <limits>

namespace strider {

inline constexpr double kPiD = 3.14159265358979323846;
inline constexpr float kPi = 3.1415927f;
inline constexpr float kTwoPi = 6.2831855f;
inline constexpr float kHalfPi = 1.5707964f;

struct SinCosD {
  double sin, cos;
};

namespace trig_detail {

// Half pi in two parts: the first has 33 bits, so that small multiples of it are exact.
inline constexpr double kHalfPiHigh = 1.57079632673412561417;
inline constexpr double kHalfPiLow = 6.07710050650619224932e-11;
// Adding and taking away 1.5 * 2^52 rounds a double below 2^51 to the nearest whole number.
inline constexpr double kRoundTrick = 6755399441055744.0;
// Past this many radians the two-part reduction loses bits; whole turns come off by fmod first.
inline constexpr double kDirectRange = 1e6;

inline double SinPoly(double x, double z) {
  return x + x * z *
                 (-0.16666666666666666 +
                  z * (0.0083333333333309358 +
                       z * (-0.00019841269836740532 +
                            z * (2.7557316093198404e-06 +
                                 z * (-2.5051129896450185e-08 + z * 1.5917988979397435e-10)))));
}

inline double CosPoly(double z) {
  return 1 - 0.5 * z +
         z * z *
             (0.041666666666666664 +
              z * (-0.0013888888888887389 +
                   z * (2.48015872987544e-05 +
                        z * (-2.7557317265878082e-07 +
                             z * (2.0876145049413178e-09 + z * -1.138254464534925e-11)))));
}

// asin(x) / x - 1, over z = x * x up to 1/4. Even and odd powers are summed apart, which the
// processor does side by side.
inline double AsinSeries(double z) {
  const double zz = z * z;
  const double even = 0.16666666666664359 +
                      zz * (0.044642856432069701 +
                            zz * (0.022369853483740171 +
                                  zz * (0.013358512179138618 +
                                        zz * (-0.014920564844600097 + zz * -0.13341294242028898))));
  const double odd = 0.075000000002384201 +
                     zz * (0.030382005313336954 +
                           zz * (0.017400793557044408 +
                                 zz * (0.016395386007522501 +
                                       zz * (0.086448496995200644 + zz * 0.12009721873392892))));
  return z * (even + z * odd);
}

// atan(x) / x - 1, over z = x * x up to tan^2(pi / 8).
inline double AtanSeries(double z) {
  const double zz = z * z;
  const double even = -0.33333333333339377 +
                      zz * (-0.1428571396611884 +
                            zz * (-0.090902945969080523 +
                                  zz * (-0.065157361626904539 +
                                        zz * (0.006633919376616202 + zz * 0.16658623271855538))));
  const double odd =
      0.19999999998152265 +
      zz * (0.11111092092992102 +
            zz * (0.076802165967798569 + zz * (0.046805578726144201 + zz * -0.11845886110188433)));
  return z * (even + z * odd);
}

}  // namespace trig_detail

/// Sine and cosine of an angle in radians; NaN for an infinite or NaN angle. Past a million radians
/// whole turns come off as a double holds them, which costs 4e-17 of the angle.
inline SinCosD SinCosOf(double angle) {
  using namespace trig_detail;
  if (angle <= kPiD / 4 && angle >= -kPiD / 4) {  // what the reduction would leave as it is
    return {SinPoly(angle, angle * angle), CosPoly(angle * angle)};
  }
  if (!(angle < kDirectRange && angle > -kDirectRange)) {
    if (!std::isfinite(angle)) {
      const double nan = std::numeric_limits<double>::quiet_NaN();
      return {nan, nan};
    }
    angle = std::fmod(angle, 2 * kPiD);
  }
  const double quarters = (angle * (2 / kPiD) + kRoundTrick) - kRoundTrick;
  const double x = (angle - quarters * kHalfPiHigh) - quarters * kHalfPiLow;
  const double z = x * x;
  const double s = SinPoly(x, z);
  const double c = CosPoly(z);
  switch (static_cast<int>(quarters) & 3) {
    case 0: return {s, c};
    case 1: return {c, -s};
    case 2: return {-s, -c};
    default: return {-c, s};
  }
}

/// Angle in [0, pi] whose cosine is `x`; the argument is clamped to [-1, 1], NaN stays NaN.
inline double AcosD(double x) {
  using namespace trig_detail;
  if (x > 0.5) {
    const double z = x < 1 ? (1 - x) * 0.5 : 0;
    const double root = std::sqrt(z);
    return 2 * (root + root * AsinSeries(z));
  }
  if (x < -0.5) {
    const double z = x > -1 ? (1 + x) * 0.5 : 0;
    const double root = std::sqrt(z);
    return kPiD - 2 * (root + root * AsinSeries(z));
  }
  return kPiD / 2 - (x + x * AsinSeries(x * x));
}

/// Angle in (-pi, pi] of the point (x, y); 0 at the origin, NaN where either is NaN.
inline double Atan2D(double y, double x) {
  using namespace trig_detail;
  if (x != x || y != y) return x + y;
  const double ax = std::fabs(x), ay = std::fabs(y);
  const double high = ax > ay ? ax : ay, low = ax > ay ? ay : ax;
  if (high == 0) return 0;
  double angle;
  if (!std::isfinite(high)) {
    angle = low == high ? kPiD / 4 : 0;
  } else {
    double t = low / high, base = 0;
    if (t > 0.41421356237309503) {  // tan(pi / 8)
      t = (t - 1) / (t + 1);
      base = kPiD / 4;
    }
    angle = base + t + t * AtanSeries(t * t);
  }
  if (ay > ax) angle = kPiD / 2 - angle;
  if (x < 0) angle = kPiD - angle;
  return y < 0 ? -angle : angle;
}

inline float Sin(float angle) { return static_cast<float>(SinCosOf(angle).sin); }
inline float Cos(float angle) { return static_cast<float>(SinCosOf(angle).cos); }
inline float Acos(float x) { return static_cast<float>(AcosD(x)); }
inline float Asin(float x) { return static_cast<float>(kPiD / 2 - AcosD(x)); }
inline float Atan2(float y, float x) { return static_cast<float>(Atan2D(y, x)); }
inline float Sqrt(float x) { return x > 0 ? std::sqrt(x) : 0.0f; }

/// Slow start and slow end: 0.5 - 0.5 cos(pi u).
inline float CosineEase(float u) {
  return static_cast<float>(0.5 - 0.5 * SinCosOf(kPiD * static_cast<double>(u)).cos);
}

inline constexpr float DegreesToRadians(float degrees) {
  return static_cast<float>(degrees * (kPiD / 180));
}
inline constexpr float RadiansToDegrees(float radians) {
  return static_cast<float>(radians * (180 / kPiD));
}

}  // namespace strider
