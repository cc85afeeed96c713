// The sample motions at small, middling and large figures, held to every bound.
#include <gtest/gtest.h>

#include "strider/footsteps/sample_motions.h"

namespace strider {
namespace {

class MotionQuality : public testing::TestWithParam<SampleMotionInfo> {};

TEST_P(MotionQuality, HoldsItsBoundsAtAllHeights) {
  const SampleMotionInfo& info = GetParam();
  for (const float height : kSampleHeights) {
    SCOPED_TRACE(std::string(info.name) + ", " + std::to_string(height) + " high");
    const MotionMeasures measures = MeasureMotion(MakeSample(info.sample, height), {});
    for (const BoundCheck& check : CheckBounds(measures, info.kind)) {
      EXPECT_TRUE(check.ok) << Describe(check);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Samples, MotionQuality, testing::ValuesIn(SampleMotions()),
                         [](const auto& sample) { return std::string(sample.param.name); });

}  // namespace
}  // namespace strider
