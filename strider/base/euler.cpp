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

/// Rows of the frame turned by `q` (zero or not finite reads as no turn), in double: near a middle
/// angle of a quarter turn the outer two are read from vanishing cells, and a float's rounding
/// there would be another rotation.
struct RotationD {
  double cell[3][3];
  explicit RotationD(const Quat& q) {
    double x = q.x, y = q.y, z = q.z, w = q.w;
    double squared = x * x + y * y + z * z + w * w;
    if (!(squared > 0) || !std::isfinite(squared)) {
      x = y = z = 0;
      w = squared = 1;
    }
    const double s = 2 / squared;
    const double rows[3][3] = {{1 - s * (y * y + z * z), s * (x * y + w * z), s * (x * z - w * y)},
                               {s * (x * y - w * z), 1 - s * (x * x + z * z), s * (y * z + w * x)},
                               {s * (x * z + w * y), s * (y * z - w * x), 1 - s * (x * x + y * y)}};
    for (int r = 0; r < 3; ++r) {
      for (int c = 0; c < 3; ++c) cell[r][c] = rows[r][c];
    }
  }
};

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
  const RotationD m(q);
  const int i = o.axis[0], j = o.axis[1], k = o.axis[2];
  const double parity = (j == (i + 1) % 3) ? 1 : -1;

  const double cosine = std::sqrt(m.cell[i][i] * m.cell[i][i] + m.cell[i][j] * m.cell[i][j]);
  const float middle = static_cast<float>(Atan2D(-parity * m.cell[i][k], cosine));
  // At a middle angle of a quarter turn the outer two axes fall together; the first takes it all.
  constexpr double kGimbal = 1e-6;
  if (cosine < kGimbal) {
    return {static_cast<float>(Atan2D(-parity * m.cell[k][j], m.cell[j][j])), middle, 0};
  }
  return {static_cast<float>(Atan2D(parity * m.cell[j][k], m.cell[k][k])), middle,
          static_cast<float>(Atan2D(parity * m.cell[i][j], m.cell[i][i]))};
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
