// A 4x3 transform for row vectors: v' = v * M. Rows 0 to 2 are the axes of the frame in its
// parent's space, row 3 its origin. The product a * b applies a first, then b.
#pragma once

#include "strider/base/point3.h"
#include "strider/base/quat.h"

namespace strider {

struct Matrix3 {
  Point3 row[4] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, 0}};

  static Matrix3 Identity() { return {}; }
  const Point3& Origin() const { return row[3]; }
  friend bool operator==(const Matrix3& a, const Matrix3& b) {
    return a.row[0] == b.row[0] && a.row[1] == b.row[1] && a.row[2] == b.row[2] &&
           a.row[3] == b.row[3];
  }
};

/// A direction through the rotation and scale of `m`, without its origin.
inline Point3 TransformVector(const Point3& v, const Matrix3& m) {
  return {v.x * m.row[0].x + v.y * m.row[1].x + v.z * m.row[2].x,
          v.x * m.row[0].y + v.y * m.row[1].y + v.z * m.row[2].y,
          v.x * m.row[0].z + v.y * m.row[1].z + v.z * m.row[2].z};
}
inline Point3 operator*(const Point3& p, const Matrix3& m) {
  return TransformVector(p, m) + m.row[3];
}
inline Matrix3 operator*(const Matrix3& a, const Matrix3& b) {
  Matrix3 m;
  for (int i = 0; i < 3; ++i) m.row[i] = TransformVector(a.row[i], b);
  m.row[3] = a.row[3] * b;
  return m;
}

/// A place or direction of the parent's space in the frame of `m`, whose axes are unit and square.
inline Point3 IntoFrameVector(const Point3& v, const Matrix3& m) {
  return {Dot(v, m.row[0]), Dot(v, m.row[1]), Dot(v, m.row[2])};
}
inline Point3 IntoFrame(const Point3& p, const Matrix3& m) {
  return IntoFrameVector(p - m.row[3], m);
}

/// Inverse of any transform; the identity where the axes span no volume.
Matrix3 Inverse(const Matrix3& m);

/// Axes made unit and square, the first kept in direction, the handedness kept.
Matrix3 Orthogonalized(const Matrix3& m);

bool IsFinite(const Matrix3& m);
bool IsIdentity(const Matrix3& m);

/// The frame turned by the unit quaternion `q` with its origin at `p`. `scale` divides out another
/// length: 2 over its square.
inline Matrix3 UnitFrame(const Quat& q, const Point3& p, float scale = 2) {
  const float xs = q.x * scale, ys = q.y * scale, zs = q.z * scale;
  const float wx = q.w * xs, wy = q.w * ys, wz = q.w * zs;
  const float xx = q.x * xs, xy = q.x * ys, xz = q.x * zs;
  const float yy = q.y * ys, yz = q.y * zs, zz = q.z * zs;
  return {{{1 - (yy + zz), xy + wz, xz - wy},
           {xy - wz, 1 - (xx + zz), yz + wx},
           {xz + wy, yz - wx, 1 - (xx + yy)},
           p}};
}

/// The frame turned by `q` of any length (zero or not finite reads as no turn), origin at `p`.
inline Matrix3 FrameOf(const Quat& q, const Point3& p) {
  const float squared = Dot(q, q);
  if (!(squared > 1e-30f && squared < 1e30f)) return {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, p}};
  return UnitFrame(q, p, 2 / squared);
}

/// The rotation of a frame whose axes are unit, square and right-handed.
Quat RotationOf(const Matrix3& m);

inline Matrix3 Translation(const Point3& p) { return {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, p}}; }

}  // namespace strider
