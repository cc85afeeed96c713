// Rotations as quaternions, right-handed: v' = q v q*. The product a * b turns by b first, then
// by a, so a child's world rotation is parent * local.
#pragma once

#include "strider/base/point3.h"
#include "strider/base/trig.h"

namespace strider {

struct Quat {
  float x = 0, y = 0, z = 0, w = 1;
  friend bool operator==(const Quat&, const Quat&) = default;
};

inline Quat operator*(const Quat& a, const Quat& b) {
  return {
      a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y, a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x,
      a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w, a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z};
}
inline Quat operator*(float s, const Quat& a) { return {s * a.x, s * a.y, s * a.z, s * a.w}; }
inline Quat operator+(const Quat& a, const Quat& b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z, a.w + b.w};
}
inline Quat operator-(const Quat& a) { return {-a.x, -a.y, -a.z, -a.w}; }
inline Quat Conjugate(const Quat& a) { return {-a.x, -a.y, -a.z, a.w}; }
inline float Dot(const Quat& a, const Quat& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
}
inline bool IsFinite(const Quat& a) { return a.x * 0 + a.y * 0 + a.z * 0 + a.w * 0 == 0; }

/// The unit quaternion along `a`; the identity where `a` is zero or not finite.
inline Quat Normalized(const Quat& a) {
  const double squared = static_cast<double>(a.x) * a.x + static_cast<double>(a.y) * a.y +
                         static_cast<double>(a.z) * a.z + static_cast<double>(a.w) * a.w;
  if (!(squared > 1e-60) || !std::isfinite(squared)) return {};
  const float scale = static_cast<float>(1 / std::sqrt(squared));
  return scale * a;
}

/// As Normalized, in a few products where `a` is within a hundredth of unit length already, as
/// interpolation leaves it. One step of Newton's method: an error of 1e-4 shrinks to 1.5e-8.
inline Quat NearUnit(const Quat& a) {
  const float squared = Dot(a, a);
  if (!(squared > 0.99f && squared < 1.01f)) return Normalized(a);
  return (1.5f - 0.5f * squared) * a;
}

/// `v` turned by the unit quaternion `q`.
inline Point3 Rotate(const Quat& q, const Point3& v) {
  const Point3 axis{q.x, q.y, q.z};
  const Point3 t = 2.0f * Cross(axis, v);
  return v + q.w * t + Cross(axis, t);
}

/// A turn by `angle` radians about one of the three axes, right-handed.
inline Quat AboutX(float angle) {
  const SinCosD h = SinCosOf(0.5 * angle);
  return {static_cast<float>(h.sin), 0, 0, static_cast<float>(h.cos)};
}
inline Quat AboutY(float angle) {
  const SinCosD h = SinCosOf(0.5 * angle);
  return {0, static_cast<float>(h.sin), 0, static_cast<float>(h.cos)};
}
inline Quat AboutZ(float angle) {
  const SinCosD h = SinCosOf(0.5 * angle);
  return {0, 0, static_cast<float>(h.sin), static_cast<float>(h.cos)};
}

/// A turn by `angle` radians about `axis` (any length), right-handed; the identity for a zero axis.
inline Quat AngleAxis(float angle, const Point3& axis) {
  const Point3 unit = Normalized(axis);
  if (unit == Point3{}) return {};
  const SinCosD h = SinCosOf(0.5 * angle);
  const float s = static_cast<float>(h.sin);
  return {s * unit.x, s * unit.y, s * unit.z, static_cast<float>(h.cos)};
}

/// The least turn that brings the direction of `from` to that of `to` (any lengths); half a turn
/// about some perpendicular where they are opposite, none where one is zero.
Quat ShortestTurn(const Point3& from, const Point3& to);

/// `q` or its negative, whichever lies on the side of `reference`: keys that neighbour each other
/// are stored on one side, since interpolation never flips a sign.
inline Quat OnSideOf(const Quat& q, const Quat& reference) {
  return Dot(q, reference) < 0 ? -q : q;
}

/// log(inverse(a) b) as a half-angle vector: the turn from `a` to `b`, in the frame of `a`.
Point3 LnDif(const Quat& a, const Quat& b);
/// Inverse of the logarithm: the unit quaternion of a half-angle vector.
Quat Exp(const Point3& halfAngle);

/// Great-circle interpolation without a sign flip. Where `a` and `b` are opposite a fixed
/// perpendicular stands in for `b`; where they are close the two mix linearly, so the result may
/// fall short of unit length by up to 3e-5.
Quat Slerp(const Quat& a, const Quat& b, float u);

/// What Slerp needs to know of its two ends, kept where the same ends are asked again and again.
struct SlerpArc {
  enum Kind : int { kClose, kOpposite, kArc };
  double angle = 0, cosine = 1, inverseSine = 0;  // between the ends; for kArc only
  Kind kind = kClose;
};
SlerpArc ArcOf(const Quat& a, const Quat& b);
/// The same bits as Slerp(a, b, u), given arc = ArcOf(a, b).
Quat Slerp(const Quat& a, const Quat& b, const SlerpArc& arc, float u);

/// Shoemake's squad over a span with the control points that the keys' handles give.
Quat Squad(const Quat& from, const Quat& out, const Quat& in, const Quat& to, float u);
/// The same with the arcs from -> to and out -> in at hand.
Quat Squad(const Quat& from, const Quat& out, const Quat& in, const Quat& to,
           const SlerpArc& keyArc, const SlerpArc& handleArc, float u);

}  // namespace strider
