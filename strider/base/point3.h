// Three floats: a place, a direction or three angles. Which of them, and in which space, the
// variable's name says.
#pragma once

#include <cmath>

namespace strider {

struct Point3 {
  float x = 0, y = 0, z = 0;

  float& operator[](int i) { return i == 0 ? x : i == 1 ? y : z; }
  float operator[](int i) const { return i == 0 ? x : i == 1 ? y : z; }

  Point3& operator+=(const Point3& b) {
    x += b.x;
    y += b.y;
    z += b.z;
    return *this;
  }
  Point3& operator-=(const Point3& b) {
    x -= b.x;
    y -= b.y;
    z -= b.z;
    return *this;
  }
  Point3& operator*=(float s) {
    x *= s;
    y *= s;
    z *= s;
    return *this;
  }
  friend bool operator==(const Point3&, const Point3&) = default;
};

inline Point3 operator+(const Point3& a, const Point3& b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Point3 operator-(const Point3& a, const Point3& b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Point3 operator-(const Point3& a) { return {-a.x, -a.y, -a.z}; }
inline Point3 operator*(float s, const Point3& a) { return {s * a.x, s * a.y, s * a.z}; }
inline Point3 operator*(const Point3& a, float s) { return s * a; }
inline Point3 operator/(const Point3& a, float s) { return {a.x / s, a.y / s, a.z / s}; }

inline float Dot(const Point3& a, const Point3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Point3 Cross(const Point3& a, const Point3& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline Point3 Lerp(const Point3& a, const Point3& b, float u) { return a + u * (b - a); }

/// Length, measured in double so that no finite vector overflows or vanishes on the way.
inline float Length(const Point3& a) {
  const double x = a.x, y = a.y, z = a.z;
  return static_cast<float>(std::sqrt(x * x + y * y + z * z));
}

/// The unit vector along `a`; `fallback` where `a` is zero or not finite.
inline Point3 Normalized(const Point3& a, const Point3& fallback = {}) {
  const double x = a.x, y = a.y, z = a.z;
  const double squared = x * x + y * y + z * z;
  if (!(squared > 0) || !std::isfinite(squared)) return fallback;
  const double scale = 1 / std::sqrt(squared);
  return {static_cast<float>(x * scale), static_cast<float>(y * scale),
          static_cast<float>(z * scale)};
}

// One sum tells of all: it is 0 only if each term is, and infinity or NaN times 0 is NaN.
inline bool IsFinite(float a) { return a * 0 == 0; }
inline bool IsFinite(const Point3& a) { return a.x * 0 + a.y * 0 + a.z * 0 == 0; }

}  // namespace strider
