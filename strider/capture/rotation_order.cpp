#include "strider/capture/rotation_order.h"

#include <cmath>

#include "strider/base/trig.h"

namespace strider {
namespace {

constexpr double kDegree = kPiD / 180;

/// Turns the axes of `turn` about one of them.
void TurnAbout(Turn3& turn, int axis, double degrees) {
  if (degrees == 0) return;
  const SinCosD angle = SinCosOf(degrees * kDegree);
  const int a = (axis + 1) % 3, b = (axis + 2) % 3;
  for (auto& row : turn.m) {
    const double before = row[a];
    row[a] = angle.cos * before + angle.sin * row[b];
    row[b] = angle.cos * row[b] - angle.sin * before;
  }
}

/// The axes of the first three rotations; fewer than three give -1.
struct Axes {
  int axis[3] = {-1, -1, -1};
  int count = 0;
};
Axes AxesOf(std::span<const CaptureChannel> channels) {
  Axes axes;
  for (const CaptureChannel& channel : channels) {
    if (channel.kind != CaptureChannel::kRotation) continue;
    if (axes.count < 3) axes.axis[axes.count] = channel.component;
    ++axes.count;
  }
  return axes;
}

/// `degrees` by whole turns as near to `before` as can be.
double Near(double degrees, double before) {
  return degrees + 360 * std::floor((before - degrees) / 360 + 0.5);
}

}  // namespace

Turn3 operator*(const Turn3& a, const Turn3& b) {
  Turn3 c;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      c.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j];
    }
  }
  return c;
}

Place3 operator*(const Turn3& a, const Place3& p) {
  return {a.m[0][0] * p.x + a.m[0][1] * p.y + a.m[0][2] * p.z,
          a.m[1][0] * p.x + a.m[1][1] * p.y + a.m[1][2] * p.z,
          a.m[2][0] * p.x + a.m[2][1] * p.y + a.m[2][2] * p.z};
}

Turn3 TurnOfChannels(std::span<const CaptureChannel> channels, const Point3& degrees) {
  Turn3 turn;
  for (const CaptureChannel& channel : channels) {
    if (channel.kind == CaptureChannel::kRotation) {
      TurnAbout(turn, channel.component, degrees[channel.component]);
    }
  }
  return turn;
}

bool CanMakeAnyTurn(std::span<const CaptureChannel> channels) {
  const Axes axes = AxesOf(channels);
  return axes.count == 3 && axes.axis[0] != axes.axis[1] && axes.axis[1] != axes.axis[2] &&
         axes.axis[0] != axes.axis[2];
}

Point3 AnglesOfChannels(std::span<const CaptureChannel> channels, const Turn3& turn,
                        const Point3& before) {
  const Axes axes = AxesOf(channels);
  const int i = axes.axis[0], j = axes.axis[1], k = axes.axis[2];
  const double sign = j == (i + 1) % 3 ? 1 : -1;
  const auto& m = turn.m;
  // With the middle angle at a quarter turn the outer two turn about one axis: the last one rests.
  const double across = std::sqrt(m[i][i] * m[i][i] + m[i][j] * m[i][j]);
  constexpr double kLocked = 1e-9;
  double first, last = before[k];
  const double middle = Atan2D(sign * m[i][k], across) / kDegree;
  if (across > kLocked) {
    first = Atan2D(-sign * m[j][k], m[k][k]) / kDegree;
    last = Atan2D(-sign * m[i][j], m[i][i]) / kDegree;
  } else {
    Turn3 rest;  // what is left once the last turn is taken off
    TurnAbout(rest, k, -last);
    const Turn3 left = turn * rest;
    first = Atan2D(sign * left.m[k][j], left.m[j][j]) / kDegree;
  }
  // The same rotation has a second triple.
  const double one[3] = {Near(first, before[i]), Near(middle, before[j]), Near(last, before[k])};
  const double two[3] = {Near(first + 180, before[i]), Near(180 - middle, before[j]),
                         Near(last + 180, before[k])};
  double way[2] = {0, 0};
  for (int n = 0; n < 3; ++n) {
    way[0] += std::abs(one[n] - before[axes.axis[n]]);
    way[1] += std::abs(two[n] - before[axes.axis[n]]);
  }
  const double* best = way[1] < way[0] ? two : one;
  Point3 degrees;
  for (int n = 0; n < 3; ++n) degrees[axes.axis[n]] = static_cast<float>(best[n]);
  return degrees;
}

}  // namespace strider
