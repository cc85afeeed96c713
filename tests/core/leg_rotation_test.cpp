// How a leg's rotations meet and leave its contacts.
#include <gtest/gtest.h>

#include <vector>

#include "strider/core/figure_layout.h"
#include "strider/core/key_edit.h"
#include "strider/core/track_reader.h"

namespace strider {
namespace {

struct LegStep {
  TimeValue t;
  float angle;
  int state;
};

// A leg turned about its hinge axis, and an arm under the same keys. A contact breaks the path, so
// that the leg comes to rest without overshoot.
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

TEST(LegRotation, FollowsItsStatesAsTheirShapesWould) {
  const KeyTcb broken{0, 0, 25, 25, 0}, plain;
  const KeyTcb shapes[] = {broken, broken, {0, 0, 25, 50, 25}, plain};
  for (const int state : {kTouch, kPlant, kLift, kMove}) {
    MotionCore core =
        WithSteps({{0, -0.8f, kMove}, {100, 0.5f, state}, {160, 0.2f, kMove}, {260, 0.9f, kMove}});
    const float unshaped = AngleAt(core.arm[kLeft], 50, 0);
    ASSERT_EQ(SetTcb(core.arm[kLeft].table.track, 1, 0, shapes[state]), kDone);
    RefreshTracks(core);
    // An arm has a shape by its own numbers alone.
    EXPECT_EQ(unshaped == AngleAt(core.arm[kLeft], 50, 0), state == kMove) << state;
    for (TimeValue t = 0; t < 520; t += 7) {
      const int channel = t / 260;
      EXPECT_EQ(AngleAt(core.leg[kLeft], t % 260, channel),
                AngleAt(core.arm[kLeft], t % 260, channel))
          << state << " at " << t % 260;
    }
  }
}

}  // namespace
}  // namespace strider
