// A walking, running or climbing figure gets another height.
#include "strider/footsteps/rescale.h"

#include <cmath>
#include <limits>

#include "strider/core/structure.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/motion_measures.h"
#include "strider/footsteps/sample_motions.h"
#include "tests/footsteps/contact_fixture.h"

namespace strider {
namespace {

constexpr SampleMotion kSamples[] = {SampleMotion::kWalk, SampleMotion::kRun, SampleMotion::kStairs,
                                     SampleMotion::kCircle};

/// A motion whose first footstep lies aside of the origin and high.
MotionCore Sample(SampleMotion sample) {
  MotionCore core = MakeSampleFootsteps(sample, 80);
  for (Point3& place : core.footsteps.position) place += Point3{10, 20, -30};
  TransformsFromPositions(core.footsteps);
  EXPECT_EQ(NewFootprintKeys(core, {}), ActivationResult::kDone);
  return core;
}

/// What generation makes of the footsteps of `core` for a figure of its height.
MotionCore MadeAnew(const MotionCore& core) {
  MotionCore made = core;
  made.footsteps.active.ClearAll();
  EXPECT_EQ(NewFootprintKeys(made, {}), ActivationResult::kDone);
  return made;
}

TEST(SetHeightOfMotion, GrowsFootstepsKeysAndGravityByTheSameFactor) {
  for (const SampleMotion sample : kSamples) {
    SCOPED_TRACE(static_cast<int>(sample));
    const MotionCore small = Sample(sample);
    MotionCore grown = small;
    ASSERT_EQ(SetHeightOfMotion(grown, 100, true, {}), kDone);
    const float factor = 1.25f;
    const Point3 fixed = small.footsteps.position[0];
    const auto expectGrown = [&](const Point3& is, const Point3& was) {
      EXPECT_LT(test::Distance(is, fixed + factor * (was - fixed)), 2e-3f);
    };
    EXPECT_NEAR(grown.body.gravAccel, factor * small.body.gravAccel, 1e-5f);
    for (std::size_t i = 0; i < small.footsteps.position.size(); ++i) {
      expectGrown(grown.footsteps.position[i], small.footsteps.position[i]);
      EXPECT_EQ(grown.footsteps.angle[i], small.footsteps.angle[i]);
      const Point3 shown = CoreFromHost(grown.footsteps.transform[i].Origin());
      EXPECT_LT(test::Distance(shown, grown.footsteps.position[i]), 1e-4f);
    }
    const BodyRecord &was = small.body, &is = grown.body;
    for (int i = 0; i < was.horizontal.track.numKeys; ++i) {
      Point3 place = is.horizontal[i].position, before = was.horizontal[i].position;
      place.y = before.y = fixed.y;
      expectGrown(place, before);
    }
    for (int i = 0; i < was.vertical.track.numKeys; ++i) {
      expectGrown({fixed.x, is.vertical[i].height, fixed.z},
                  {fixed.x, was.vertical[i].height, fixed.z});
      EXPECT_EQ(is.vertical[i].rangeFraction, was.vertical[i].rangeFraction);
    }
    // The same time in the air under a gravity that has grown: all speeds have.
    ASSERT_EQ(is.flights.size(), was.flights.size());
    for (std::size_t i = 0; i < was.flights.size(); ++i) {
      EXPECT_EQ(is.flights[i].duration, was.flights[i].duration);
      EXPECT_NEAR(is.flights[i].takeoffSpeed / was.flights[i].takeoffSpeed, factor, 1e-3f);
    }
    const auto before = test::MotionTracks(small), after = test::MotionTracks(grown);
    for (std::size_t k = 0; k < before.size(); ++k) {
      EXPECT_EQ(test::TimesOf(*before[k]), test::TimesOf(*after[k]));
    }
  }
}

// However it came about, it is the motion of a figure of that height.
TEST(SetHeightOfMotion, GivesWhatGenerationWouldMake) {
  for (const SampleMotion sample : kSamples) {
    for (const bool scaleStrides : {true, false}) {
      for (const float height : {72.0f, 88.0f}) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(sample) << scaleStrides << height);
        const MotionCore before = Sample(sample);
        MotionCore core = before;
        ASSERT_EQ(SetHeightOfMotion(core, height, scaleStrides, {}), kDone);
        EXPECT_EQ(core.footsteps.position == before.footsteps.position, !scaleStrides);
        EXPECT_NEAR(core.body.gravAccel, before.body.gravAccel * height / 80, 1e-5f);
        const float leg = core.leg[kRight].totalLength;
        EXPECT_LT(test::Apart(core, MadeAnew(core)) / leg, scaleStrides ? 1e-4f : 0.005f);
        EXPECT_LT(MeasureMotion(core, {}).footprintDistance.high, 1);
      }
    }
  }
}

TEST(SetHeightOfMotion, RefusesWhatIsNoHeightAndComesBack) {
  const MotionCore before = Sample(SampleMotion::kRun);
  MotionCore core = before;
  const float infinite = std::numeric_limits<float>::infinity();
  for (const float height : {0.0f, -5.0f, infinite, std::nanf("")}) {
    EXPECT_EQ(SetHeightOfMotion(core, height, true, {}), kRefused) << height;
  }
  EXPECT_EQ(core.footsteps.position, before.footsteps.position);
  test::ExpectSameKeys(core, before);
  for (const bool scaleStrides : {true, false}) {
    for (const float height : {88.0f, 80.0f}) {
      ASSERT_EQ(SetHeightOfMotion(core, height, scaleStrides, {}), kDone);
    }
    EXPECT_LT(test::Apart(core, before), 0.005f * before.leg[kRight].totalLength) << scaleStrides;
  }
}

}  // namespace
}  // namespace strider
