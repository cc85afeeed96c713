// Motions for the tests of what is written of them: footsteps placed and their keys made.
#pragma once

#include "strider/footsteps/activate.h"
#include "strider/footsteps/place.h"
#include "tests/core/figure_fixture.h"

namespace strider::test {

/// A motion of footsteps in turn, left first, each `step` on from the one before (the host's
/// space), headed by `heading`, half a second apart.
inline MotionCore SteppingMotion(int count, const Point3& step, float heading = 0) {
  MotionCore core = MakeFigure();
  const Point3 aside = 0.05f * core.structure.height * LeftOf(heading);
  std::vector<NewFootstep> plan;
  for (int i = 0; i < count; ++i) {
    const int side = i % 2 == 0 ? 1 : 0;
    const Point3 place = static_cast<float>(i) * CoreFromHost(step) + (side == 1 ? aside : -aside);
    plan.push_back({side, 2400 * i, 2880, place, heading});
  }
  EXPECT_TRUE(PlaceFootsteps(core, plan).Done());
  EXPECT_EQ(NewFootprintKeys(core, {}), ActivationResult::kDone);
  return core;
}

}  // namespace strider::test
