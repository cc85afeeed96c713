// What the tests of mathematics share: broken numbers, seeded turns, comparison part by part.
#pragma once

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

#include "strider/base/matrix3.h"
#include "strider/base/quat.h"

namespace strider::test {

inline constexpr float kInf = std::numeric_limits<float>::infinity();
inline constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

inline void ExpectNear(const Point3& got, const Point3& wanted, double tolerance) {
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(got[i], wanted[i], tolerance) << i;
}
inline void ExpectNear(const Quat& got, const Quat& wanted, double tolerance) {
  ExpectNear(Point3{got.x, got.y, got.z}, {wanted.x, wanted.y, wanted.z}, tolerance);
  EXPECT_NEAR(got.w, wanted.w, tolerance);
}
inline void ExpectSameTurn(const Quat& got, const Quat& wanted, double tolerance) {
  ExpectNear(OnSideOf(got, wanted), wanted, tolerance);
}

inline std::vector<Quat> UnitQuats(unsigned seed, int count) {
  std::mt19937 random(seed);
  std::normal_distribution<float> any(0, 1);
  std::vector<Quat> quats;
  for (int i = 0; i < count; ++i) {
    quats.push_back(Normalized(Quat{any(random), any(random), any(random), any(random)}));
  }
  return quats;
}

}  // namespace strider::test
