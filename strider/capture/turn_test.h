// Whether a motion turns back at a time: the tests by which thinning keeps a key at the far point
// of a swing, which a tolerance alone would round off.
#pragma once

#include <array>

#include "strider/base/matrix3.h"

namespace strider {

/// Samples around a key at -3, -2, -1, 0, +1, +2 and +3 frames.
inline constexpr int kTurnReach = 3;
template <class Sample>
using SampleWindow = std::array<Sample, 2 * kTurnReach + 1>;

/// True if one of the two lead axes travels back from `b` to `c` against its way from `a` to `b`,
/// by more than about 107 degrees. A way of at most `noise` counts as none, and turns nowhere.
bool TurnTest(const Matrix3& a, const Matrix3& b, const Matrix3& c, float noise = 0);
/// The same for places.
bool TurnTest(const Point3& a, const Point3& b, const Point3& c, float noise = 0);

/// True if it turns back over three, two and one frames alike.
bool LimbTest(const SampleWindow<Matrix3>& window, float noise = 0);
bool LimbTest(const SampleWindow<Point3>& window, float noise = 0);

}  // namespace strider
