// How a leg's rotations meet and leave its contacts.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "strider/core/figure_layout.h"
#include "strider/core/key_edit.h"
#include "strider/core/track_reader.h"

namespace strider {
namespace {

// -----------------------------------------------------------------------------

struct LegStep {
  TimeValue t;
  float angle;
  int state;
};

/// A leg turned about its hinge axis, and an arm under the same keys.
MotionCore WithSteps(const std::vector<LegStep>& steps) {
  MotionCore core;
  LayOutFigure(core, Structure{});
  for (const LegStep& step : steps) {
    for (const int id : {kLeftLeg, kLeftArm}) {
      LimbKey key = FindLimb(core, id)->rest;
      key.limbRotation = key.endRotation = AboutZ(step.angle);
      key.keyState = step.state;
      EXPECT_EQ(PutKey(core, id, step.t, key), KeyRefusal::kNone);
    }
  }
  RefreshTracks(core);
  return core;
}
float AngleAt(const LimbRecord& limb, TimeValue t, int channel) {
  const Quat q =
      TrackReader<LimbKey>(limb.table, t).Rotation(channel, [&](const LimbKey& k) -> const Quat& {
        return channel == 0 ? k.limbRotation : k.endRotation;
      });
  return 2 * Atan2(q.z, q.w);
}

TEST(LegRotation, ComesToAContactAndLeavesItWithoutOvershoot) {
  MotionCore core =
      WithSteps({{0, -0.8f, kMove}, {100, 0.5f, kTouch}, {200, 0.5f, kPlant}, {260, 0.9f, kMove}});
  for (const int channel : {0, 1}) {
    float leg = -0.8f, leastArm = 1, mostArm = 0;
    for (TimeValue t = 1; t <= 200; ++t) {
      const float angle = AngleAt(core.leg[kLeft], t, channel);
      EXPECT_GE(angle, leg - 1e-5f) << t;  // never back
      EXPECT_LE(angle, 0.5f + 1e-5f) << t;
      leg = angle;
      if (t < 100) continue;
      EXPECT_NEAR(angle, 0.5f, 1e-5f) << t;
      leastArm = std::min(leastArm, AngleAt(core.arm[kLeft], t, channel));
      mostArm = std::max(mostArm, AngleAt(core.arm[kLeft], t, channel));
    }
    // An arm swings through the same keys.
    EXPECT_GT(mostArm, 0.51f);
    EXPECT_LT(leastArm, 0.49f);
  }
}

TEST(LegRotation, FollowsItsStatesAsTheirShapesWould) {
  const struct {
    int state;
    KeyTcb tcb;
  } rows[] = {
      {kTouch, {0, 0, 25, 25, 0}},
      {kPlant, {0, 0, 25, 25, 0}},
      {kLift, {0, 0, 25, 50, 25}},
      {kMove, {0, 0, 25, 25, 25}},
  };
  for (const auto& row : rows) {
    MotionCore core = WithSteps(
        {{0, -0.8f, kMove}, {100, 0.5f, row.state}, {160, 0.2f, kMove}, {260, 0.9f, kMove}});
    ASSERT_EQ(SetTcb(core.arm[kLeft].table.track, 1, 0, row.tcb), kDone);
    RefreshTracks(core);
    for (TimeValue t = 0; t < 260; t += 7) {
      for (const int channel : {0, 1}) {
        EXPECT_EQ(AngleAt(core.leg[kLeft], t, channel), AngleAt(core.arm[kLeft], t, channel))
            << row.state << " at " << t;
      }
    }
  }
}

}  // namespace
}  // namespace strider
