#include "exchange/turn_angles.h"

#include <cmath>

namespace strider {
namespace {

/// `angle` moved by whole turns to within half a turn of `previous`.
double Unwrapped(double angle, double previous) {
  return angle + 2 * kPiD * std::round((previous - angle) / (2 * kPiD));
}

ZxyAngles Unwrapped(const ZxyAngles& a, const ZxyAngles& previous) {
  return {Unwrapped(a.z, previous.z), Unwrapped(a.x, previous.x), Unwrapped(a.y, previous.y)};
}

double Distance(const ZxyAngles& a, const ZxyAngles& b) {
  return std::fabs(a.z - b.z) + std::fabs(a.x - b.x) + std::fabs(a.y - b.y);
}

// Cosines of X below this are rounding: the turn's elements are good to 1e-16, and what the two
// other angles would be read from has none of them left.
constexpr double kQuarterTurn = 1e-8;

}  // namespace

Turn TurnOf(const Quat& q) {
  const double squared = static_cast<double>(q.x) * q.x + static_cast<double>(q.y) * q.y +
                         static_cast<double>(q.z) * q.z + static_cast<double>(q.w) * q.w;
  if (!(squared > 0) || !std::isfinite(squared)) return {};
  const double s = 2 / squared, x = q.x, y = q.y, z = q.z, w = q.w;
  return {{{1 - s * (y * y + z * z), s * (x * y - z * w), s * (x * z + y * w)},
           {s * (x * y + z * w), 1 - s * (x * x + z * z), s * (y * z - x * w)},
           {s * (x * z - y * w), s * (y * z + x * w), 1 - s * (x * x + y * y)}}};
}

Turn operator*(const Turn& a, const Turn& b) {
  Turn product;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      product.m[r][c] = a.m[r][0] * b.m[0][c] + a.m[r][1] * b.m[1][c] + a.m[r][2] * b.m[2][c];
    }
  }
  return product;
}

Turn Inverse(const Turn& a) {
  Turn back;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) back.m[r][c] = a.m[c][r];
  }
  return back;
}

void Rotate(const Turn& a, const double (&v)[3], double (&turned)[3]) {
  for (int r = 0; r < 3; ++r) {
    turned[r] = a.m[r][0] * v[0] + a.m[r][1] * v[1] + a.m[r][2] * v[2];
  }
}

Turn TurnOf(const ZxyAngles& angles) {
  const SinCosD z = SinCosOf(angles.z), x = SinCosOf(angles.x), y = SinCosOf(angles.y);
  return {{{z.cos * y.cos - z.sin * x.sin * y.sin, -z.sin * x.cos,
            z.cos * y.sin + z.sin * x.sin * y.cos},
           {z.sin * y.cos + z.cos * x.sin * y.sin, z.cos * x.cos,
            z.sin * y.sin - z.cos * x.sin * y.cos},
           {-x.cos * y.sin, x.sin, x.cos * y.cos}}};
}

ZxyAngles AnglesNear(const Turn& turn, const ZxyAngles& previous) {
  const auto& m = turn.m;
  const double cosX = std::sqrt(m[0][1] * m[0][1] + m[1][1] * m[1][1]);
  const double x = Atan2D(m[2][1], cosX);
  if (cosX < kQuarterTurn) {
    // Z X Y times Y's inverse is Z X, whose first column is that of Z.
    const SinCosD y = SinCosOf(previous.y);
    const double z = Atan2D(m[1][0] * y.cos + m[1][2] * y.sin, m[0][0] * y.cos + m[0][2] * y.sin);
    return Unwrapped({z, x, previous.y}, previous);
  }
  const ZxyAngles one = {Atan2D(-m[0][1], m[1][1]), x, Atan2D(-m[2][0], m[2][2])};
  const ZxyAngles near = Unwrapped(one, previous);
  const ZxyAngles other = Unwrapped({one.z + kPiD, kPiD - one.x, one.y + kPiD}, previous);
  return Distance(near, previous) <= Distance(other, previous) ? near : other;
}

}  // namespace strider
