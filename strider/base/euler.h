// Euler angles in six orders, and the taking apart of a general transform.
#pragma once

#include "strider/base/matrix3.h"

namespace strider {

inline constexpr int kNumEulerOrders = 6;

/// The axes (0 X, 1 Y, 2 Z) about which an order turns, first turn first, and the sign with which
/// a key's channel holds that turn.
struct EulerOrder {
  int axis[3];
  int sign[3];
};
inline constexpr EulerOrder kEulerOrders[kNumEulerOrders] = {
    {{0, 1, 2}, {+1, +1, +1}}, {{2, 1, 0}, {-1, +1, -1}}, {{2, 0, 1}, {-1, +1, -1}},
    {{1, 0, 2}, {+1, +1, +1}}, {{1, 2, 0}, {+1, -1, -1}}, {{0, 2, 1}, {+1, -1, -1}},
};

/// Turns by angles.x about the order's first axis, then angles.y about its second, then angles.z
/// about its third, all about the axes of the space turned in (radians, right-handed).
Matrix3 EulerToMatrix(const Point3& angles, int order);
Quat EulerToQuat(const Point3& angles, int order);

/// The angles of a rotation, the middle one within a quarter turn of 0.
Point3 QuatToEuler(const Quat& q, int order);

/// Those angles of a rotation that lie nearest to `previous`: whole turns and the second triple
/// of the same rotation are tried, so that a curve through successive keys has no jumps.
Point3 ContinuousQuatToEuler(const Quat& q, const Point3& previous, int order);

/// A transform taken apart: m = stretch, then `sign`, then rotation, then translation.
/// `stretch` is symmetric; `sign` is -1 for a mirrored transform.
struct AffineParts {
  Point3 translation;
  Quat rotation;
  float sign = 1;
  Matrix3 stretch;
};
AffineParts Decompose(const Matrix3& m);

/// A key's shape as the host gives it to new keys, in the host's own scale: tension, continuity
/// and bias -1 to 1, ease 0 to 1.
struct TcbDefaults {
  float tension = 0, continuity = 0, bias = 0, easeTo = 0, easeFrom = 0;
};
inline TcbDefaults GetTCBDefaultParams() { return {}; }

}  // namespace strider
