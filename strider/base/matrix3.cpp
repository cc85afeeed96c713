#include "strider/base/matrix3.h"

namespace strider {

Matrix3 Inverse(const Matrix3& m) {
  const auto& r = m.row;
  const double a = r[0].x, b = r[0].y, c = r[0].z;
  const double d = r[1].x, e = r[1].y, f = r[1].z;
  const double g = r[2].x, h = r[2].y, i = r[2].z;
  const double determinant = a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g);
  if (determinant == 0 || !std::isfinite(determinant)) return {};
  const double s = 1 / determinant;
  const auto cell = [s](double value) { return static_cast<float>(value * s); };
  Matrix3 inverse;
  inverse.row[0] = {cell(e * i - f * h), cell(c * h - b * i), cell(b * f - c * e)};
  inverse.row[1] = {cell(f * g - d * i), cell(a * i - c * g), cell(c * d - a * f)};
  inverse.row[2] = {cell(d * h - e * g), cell(b * g - a * h), cell(a * e - b * d)};
  inverse.row[3] = -TransformVector(m.row[3], inverse);
  return inverse;
}

Matrix3 Orthogonalized(const Matrix3& m) {
  const bool leftHanded = Dot(Cross(m.row[0], m.row[1]), m.row[2]) < 0;
  Matrix3 square = m;
  square.row[0] = Normalized(m.row[0], {1, 0, 0});
  const Point3 second = m.row[1] - Dot(m.row[1], square.row[0]) * square.row[0];
  const Point3 spare = std::fabs(square.row[0].x) < 0.9f ? Point3{1, 0, 0} : Point3{0, 1, 0};
  square.row[1] = Normalized(second, Normalized(Cross(square.row[0], spare)));
  square.row[2] = Cross(square.row[0], square.row[1]);
  if (leftHanded) square.row[2] = -square.row[2];
  return square;
}

bool IsFinite(const Matrix3& m) {
  return IsFinite(m.row[0]) && IsFinite(m.row[1]) && IsFinite(m.row[2]) && IsFinite(m.row[3]);
}

bool IsIdentity(const Matrix3& m) { return m == Matrix3{}; }

Quat RotationOf(const Matrix3& m) {
  const auto& r = m.row;
  // The largest of the four squares is found first, so that no division meets a vanishing root.
  const float trace = r[0].x + r[1].y + r[2].z;
  Quat q;
  if (trace > 0) {
    const float root = Sqrt(trace + 1);
    const float s = 0.5f / root;
    q = {(r[1].z - r[2].y) * s, (r[2].x - r[0].z) * s, (r[0].y - r[1].x) * s, 0.5f * root};
  } else if (r[0].x >= r[1].y && r[0].x >= r[2].z) {
    const float root = Sqrt(1 + r[0].x - r[1].y - r[2].z);
    const float s = root > 0 ? 0.5f / root : 0;
    q = {0.5f * root, (r[0].y + r[1].x) * s, (r[0].z + r[2].x) * s, (r[1].z - r[2].y) * s};
  } else if (r[1].y >= r[2].z) {
    const float root = Sqrt(1 + r[1].y - r[0].x - r[2].z);
    const float s = root > 0 ? 0.5f / root : 0;
    q = {(r[0].y + r[1].x) * s, 0.5f * root, (r[1].z + r[2].y) * s, (r[2].x - r[0].z) * s};
  } else {
    const float root = Sqrt(1 + r[2].z - r[0].x - r[1].y);
    const float s = root > 0 ? 0.5f / root : 0;
    q = {(r[0].z + r[2].x) * s, (r[1].z + r[2].y) * s, 0.5f * root, (r[0].y - r[1].x) * s};
  }
  return NearUnit(q);
}

}  // namespace strider
