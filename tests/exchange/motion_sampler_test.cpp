#include "exchange/motion_sampler.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "strider/core/evaluate.h"
#include "tests/core/figure_fixture.h"
#include "tests/exchange/motion_fixture.h"

namespace strider {
namespace {

TEST(MotionSampler, LocalFramesMultiplyOutToTheWorld) {
  MotionSampler sampler(test::SteppingMotion(6, {30, 0, 0}));
  const auto& skeleton = sampler.Skeleton();
  ASSERT_EQ(skeleton[0].parent, -1);
  std::vector<Frame> world(skeleton.size());
  for (const TimeValue t : {0, 4800, 5555}) {
    sampler.Pose(t);
    for (std::size_t i = 0; i < skeleton.size(); ++i) {
      const int link = static_cast<int>(i);
      const Frame local = sampler.Local(link);
      ASSERT_LT(skeleton[i].parent, link) << skeleton[i].name;
      world[i] = skeleton[i].parent < 0
                     ? local
                     : ChildFrame(world[static_cast<std::size_t>(skeleton[i].parent)],
                                  local.rotation, local.origin);
      EXPECT_LT(Length(world[i].origin - sampler.YUp(link).origin), 1e-4f) << skeleton[i].name;
      // Y up of the host's Z up.
      const Matrix3 host =
          UnmirroredLinkTransform(sampler.Posed(), skeleton[i].id, skeleton[i].link);
      EXPECT_EQ(sampler.YUp(link).origin, CoreFromHost(host.Origin())) << skeleton[i].name;
      // Its own axes are the link's: they only lie in another space.
      const Point3 axes[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
      for (int axis = 0; axis < 3; ++axis) {
        EXPECT_LT(test::Distance(Rotate(sampler.YUp(link).rotation, axes[axis]),
                                 CoreFromHost(host.row[axis])),
                  1e-5f)
            << skeleton[i].name;
      }
    }
  }
}

TEST(MotionSampler, TimesCoverTheRange) {
  const MotionCore core = test::SteppingMotion(6, {30, 0, 0});
  const std::vector<TimeValue> frames = TimesAtFrames(core, {2, 5});
  EXPECT_EQ(frames, (std::vector<TimeValue>{320, 480, 640, 800}));
  // 24 a second are 200 ticks apart; the end is kept.
  EXPECT_EQ(TimesAtFrames(core, {2, 5}, 24), (std::vector<TimeValue>{320, 520, 720, 800}));
  EXPECT_EQ(TimesAtFrames(core, {3, 3}, 24), (std::vector<TimeValue>{480}));
  const std::vector<TimeValue> keys = TimesAtKeys(core, {0, 40});
  EXPECT_EQ(keys.front(), 0);
  EXPECT_EQ(keys.back(), 40 * 160);
  EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
  const std::vector<TimeValue> all = TimesAtKeys(core, FrameRangeOf(core));
  for (int i = 0; i < core.leg[0].table.track.numKeys; ++i) {
    EXPECT_TRUE(std::binary_search(all.begin(), all.end(), core.leg[0].table.TimeOf(i)));
  }
}

}  // namespace
}  // namespace strider
