// Rotations as three angles that run on without jumps, for formats that keep angles.
#pragma once

#include "strider/base/quat.h"

namespace strider {

/// A rotation as columns of a matrix, in double: what is taken apart into angles and put together
/// again has to come back to the last bit of a float.
struct Turn {
  double m[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};  // m[row][column]
};
Turn TurnOf(const Quat& q);
Turn operator*(const Turn& a, const Turn& b);
Turn Inverse(const Turn& a);
/// `v` turned.
void Rotate(const Turn& a, const double (&v)[3], double (&turned)[3]);

/// A turn about Y, then about X, then about Z, all about the axes of the space turned in: the
/// matrix product Z X Y. Radians.
struct ZxyAngles {
  double z = 0, x = 0, y = 0;
};
Turn TurnOf(const ZxyAngles& angles);
/// Those angles of a rotation that lie nearest to `previous`: whole turns and the second triple of
/// the same rotation are tried. Where X stands at a quarter turn and only the sum of the others
/// counts, Y stays as it was.
ZxyAngles AnglesNear(const Turn& turn, const ZxyAngles& previous);

}  // namespace strider
