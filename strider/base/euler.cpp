#include "strider/base/euler.h"

#include <cmath>

namespace strider {
namespace {

const EulerOrder& OrderOf(int order) {
  return kEulerOrders[order >= 0 && order < kNumEulerOrders ? order : 0];
}

Quat AboutAxis(int axis, float angle) {
  return axis == 0 ? AboutX(angle) : axis == 1 ? AboutY(angle) : AboutZ(angle);
}

float NearestTurn(float angle, float reference) {
  const double turns = std::floor((static_cast<double>(reference) - angle) / (2 * kPiD) + 0.5);
  return static_cast<float>(angle + turns * (2 * kPiD));
}

float Distance(const Point3& a, const Point3& b) {
  return std::fabs(a.x - b.x) + std::fabs(a.y - b.y) + std::fabs(a.z - b.z);
}

}  // namespace

Quat EulerToQuat(const Point3& angles, int order) {
  const EulerOrder& o = OrderOf(order);
  return AboutAxis(o.axis[2], angles.z) * AboutAxis(o.axis[1], angles.y) *
         AboutAxis(o.axis[0], angles.x);
}

Matrix3 EulerToMatrix(const Point3& angles, int order) {
  return FrameOf(EulerToQuat(angles, order), {});
}

Point3 QuatToEuler(const Quat& q, int order) {
  const EulerOrder& o = OrderOf(order);
  const Matrix3 m = FrameOf(q, {});
  const auto cell = [&m](int axis, int component) { return m.row[axis][component]; };
  const int i = o.axis[0], j = o.axis[1], k = o.axis[2];
  const float parity = (j == (i + 1) % 3) ? 1.0f : -1.0f;

  const double sine = -parity * cell(i, k);
  const double cosine = std::sqrt(static_cast<double>(cell(i, i)) * cell(i, i) +
                                  static_cast<double>(cell(i, j)) * cell(i, j));
  const float middle = static_cast<float>(Atan2D(sine, cosine));
  // At a middle angle of a quarter turn the outer two axes fall together; the first takes it all.
  constexpr double kGimbal = 1e-6;
  if (cosine < kGimbal) return {Atan2(-parity * cell(k, j), cell(j, j)), middle, 0};
  return {Atan2(parity * cell(j, k), cell(k, k)), middle, Atan2(parity * cell(i, j), cell(i, i))};
}

Point3 ContinuousQuatToEuler(const Quat& q, const Point3& previous, int order) {
  const Point3 first = QuatToEuler(q, order);
  const Point3 candidates[2] = {first, {first.x + kPi, kPi - first.y, first.z + kPi}};
  Point3 best;
  float bestDistance = 0;
  for (int c = 0; c < 2; ++c) {
    Point3 near;
    for (int i = 0; i < 3; ++i) near[i] = NearestTurn(candidates[c][i], previous[i]);
    const float distance = Distance(near, previous);
    if (c == 0 || distance < bestDistance) {
      best = near;
      bestDistance = distance;
    }
  }
  return best;
}

AffineParts Decompose(const Matrix3& m) {
  AffineParts parts;
  parts.translation = m.row[3];
  Matrix3 turn = m;
  turn.row[3] = {};
  if (!IsFinite(turn)) return parts;
  if (Dot(Cross(turn.row[0], turn.row[1]), turn.row[2]) < 0) {
    parts.sign = -1;
    for (int i = 0; i < 3; ++i) turn.row[i] = -turn.row[i];
  }
  const Matrix3 positive = turn;
  // Higham's iteration to the nearest rotation: the mean with the inverse's transpose. It
  // converges quadratically; a flat transform has no inverse and falls back to squared axes.
  for (int step = 0; step < 32; ++step) {
    const Matrix3 inverse = Inverse(turn);
    if (IsIdentity(inverse) && !IsIdentity(turn)) {
      turn = Orthogonalized(positive);
      break;
    }
    Matrix3 next;
    float change = 0;
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) {
        next.row[i][j] = 0.5f * (turn.row[i][j] + inverse.row[j][i]);
        change += std::fabs(next.row[i][j] - turn.row[i][j]);
      }
    }
    turn = next;
    if (change < 1e-6f) break;
  }
  turn = Orthogonalized(turn);
  parts.rotation = RotationOf(turn);
  for (int i = 0; i < 3; ++i) {
    parts.stretch.row[i] = IntoFrameVector(positive.row[i], turn);
  }
  return parts;
}

}  // namespace strider
