// Motions as captures leave them: free keys alone, on every frame or fewer, feet that drift a
// little where they ought to stand.
#pragma once

#include <gtest/gtest.h>

#include "strider/core/evaluate.h"
#include "strider/core/key_edit.h"
#include "strider/core/limb_keys.h"
#include "strider/footsteps/bake.h"
#include "strider/footsteps/convert_motion.h"
#include "strider/footsteps/sample_motions.h"

namespace strider::test {

/// A sample without its footsteps: a key every `spacing` frames, legs shaken by `drift` radians.
inline MotionCore CapturedLike(SampleMotion sample, int spacing = 1, float drift = 0.012f) {
  MotionCore core = MakeSample(sample, 180);
  const TimeValue end = core.endTime;
  std::vector<TimeValue> times;
  for (TimeValue t = 0; t < end; t += spacing * kDynamicsFrame) times.push_back(t);
  times.push_back(end);
  EXPECT_EQ(BakeKeys(core, times, true, {}), kDone);
  EXPECT_EQ(ConvertToFreeForm(core, false, {}), kDone);
  MotionCore posed = core;
  for (int side = 0; side < 2; ++side) {
    for (const TimeValue t : times) {
      CorePose(posed, t, {});
      LimbKey key = CurrentLimbKey(posed, posed.leg[side], kFreeKey);
      const float phase = 0.13f * static_cast<float>(t) / kDynamicsFrame;
      key.limbRotation = key.limbRotation * AboutZ(drift * Sin(phase + static_cast<float>(side))) *
                         AboutY(drift * Cos(1.7f * phase));
      EXPECT_EQ(PutKey(core, LimbId(core.leg[side]), t, key), KeyRefusal::kNone);
    }
  }
  return core;
}

/// What suits walks as shown above: a foot stands that goes 1.5 cm a frame at the most, near the
/// ground.
inline ExtractionSettings SettingsFor(const MotionCore& core, int numFrames) {
  ExtractionSettings settings;
  settings.conversionFlag = 1;
  settings.fsExtractionTol = 0.02f;
  settings.fsSlidingAngle = 15;
  settings.fsUseVerticalTol = 1;
  settings.fsVerticalTol = 0.25f;
  const FootSamples feet = SampleFeet(core, 0, numFrames, false, {});
  settings.fsZLevel = feet.side[0][0].ankle.y;
  for (const auto& foot : feet.side) {
    for (const FootSample& sample : foot) {
      settings.fsZLevel = std::min(settings.fsZLevel, sample.ankle.y);
    }
  }
  return settings;
}

}  // namespace strider::test
