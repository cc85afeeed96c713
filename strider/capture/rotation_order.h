// Rotations as takes write them: angles in degrees about the axes of the joint's parent, in the
// order of the channels. Computed in double, since a take's chains are long.
#pragma once

#include <span>

#include "strider/base/point3.h"
#include "strider/capture/capture_scene.h"

namespace strider {

struct Place3 {
  double x = 0, y = 0, z = 0;
};
inline Place3 ToPlace(const Point3& p) { return {p.x, p.y, p.z}; }
inline Point3 ToPoint(const Place3& p) {
  return {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
}
inline Place3 operator+(const Place3& a, const Place3& b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Place3 operator-(const Place3& a, const Place3& b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}

/// A rotation that is applied to columns: its columns are the joint's axes in the parent's space.
struct Turn3 {
  double m[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
};
Turn3 operator*(const Turn3& a, const Turn3& b);
Place3 operator*(const Turn3& a, const Place3& p);

/// Of a joint with these channels whose rotation samples, by component, are `degrees`.
Turn3 TurnOfChannels(std::span<const CaptureChannel> channels, const Point3& degrees);

/// The angles, by component, that make a rotation with three channels about different axes: those
/// nearest to `before`, so that curves have no jumps.
Point3 AnglesOfChannels(std::span<const CaptureChannel> channels, const Turn3& turn,
                        const Point3& before);

/// Whether the rotations among the channels are three about three axes, which can make any.
bool CanMakeAnyTurn(std::span<const CaptureChannel> channels);

}  // namespace strider
