// Random motions of random figures, and what a trip through a stream may not change in them.
#pragma once

#include <gtest/gtest.h>

#include "strider/core/evaluate.h"
#include "strider/core/key_edit.h"
#include "strider/core/motion_range.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/place.h"
#include "strider/storage/motion_stream.h"
#include "tests/core/figure_fixture.h"

namespace strider::test {

/// A figure with its separate tracks switched at random, in curve mode here and there.
inline void ShuffleForms(MotionCore& core, Random& random) {
  for (const int id :
       {kRightArm, kRightFingers, kRightLeg, kRightToes, kNeck, kSpine, kTail, kPony1, kPony2}) {
    const bool on = random.Int(0, 1) == 1;
    (void)SetSeparateTracks(core, id, on);
  }
  ForEachTable(core, [&random](int, auto& table) {
    if (random.Int(0, 3) == 0) (void)SetCurveMode(table.track, 1);
  });
}

/// Shapes, tangents and link masks at random on keys that stand.
inline void ShuffleKeys(MotionCore& core, Random& random) {
  ForEachTable(core, [&random](int, auto& table) {
    KeyTrack& track = table.track;
    for (int i = 0; i < track.numKeys; ++i) {
      KeyTcb tcb;
      for (float* value : {&tcb.easeFrom, &tcb.easeTo, &tcb.tension, &tcb.bias, &tcb.continuity}) {
        *value = random.Between(0, 50);
      }
      (void)SetTcb(track, i, 0, tcb);
      if (track.separate && i % 2 == 1) {
        SetLinkMask(track, i, static_cast<std::uint32_t>(random.Int(1, 63)) & EveryLink(track));
        if (track.times[static_cast<std::size_t>(i)].linkMask == 0) SetLinkMask(track, i, 1);
      }
      if (track.curveMode) {
        KeyTangent tangent;
        tangent.out[0][1] = random.Between(-1, 1);
        tangent.in[1][1] = random.Between(-1, 1);
        tangent.lock[2] = 1;
        tangent.inType = random.Int(1, 6);
        (void)SetTangent(track, i, track.numCurves - 1, tangent);
      }
    }
  });
}

/// A motion of any kind: free-form keys, or a gait with edited keys.
inline MotionCore RandomMotion(unsigned seed) {
  Random random(seed);
  Structure structure = RandomStructure(random);
  MotionCore core;
  core.name = "Strider01";
  if (random.Int(0, 2) == 0) {
    XtraChain& xtra = core.xtras.emplace_back();
    xtra.name = "Cape\xc3\xa9";
    xtra.parentId = kSpine;
    xtra.chain.numLinks = random.Int(1, 5);
  }
  LayOutFigure(core, structure);
  ShuffleForms(core, random);
  if (random.Int(0, 1) == 0) {
    KeyAllTracks(core, random, {-800, 0, 333, 1600, 4800});
  } else {
    GaitSettings gaits(core.ticksPerFrame);
    gaits.fsGaitMode = random.Int(1, 3);
    MultFprintParams params = gaits.params[gaits.fsGaitMode - 1];
    params.numFootsteps = random.Int(2, 9);
    SetActuals(params, MeasuresOf(core));
    EXPECT_TRUE(PlaceMultiple(core, gaits, params, 0).Done());
    EXPECT_EQ(NewFootprintKeys(core, {}), ActivationResult::kDone);
  }
  ShuffleKeys(core, random);
  ForEachTable(core, [&core](int id, auto&) { AlignKeys(core, id); });
  core.layerName = "Base";
  core.inPlace = random.Int(0, 3) == 0;
  core.inPlaceKind = static_cast<InPlaceKind>(random.Int(0, 2));
  RefreshTracks(core);
  return core;
}

/// Every transform that is handed out at times over the motion and beyond its ends.
inline std::vector<Matrix3> Played(const MotionCore& core) {
  MotionCore posed = core;
  const Interval range = MotionRange(core);
  std::vector<Matrix3> all;
  const TimeValue step = std::max(1, (range.end - range.start + 2000) / 40);
  for (TimeValue t = range.start - 1000; t <= range.end + 1000; t += step) {
    CorePose(posed, t, {});
    const std::vector<Matrix3> now = AllTransforms(posed);
    all.insert(all.end(), now.begin(), now.end());
  }
  return all;
}

inline StreamContents Back(const std::string& bytes, StreamForm form,
                           const ReadOptions& options = {}) {
  StreamContents contents;
  std::string cause;
  EXPECT_TRUE(ReadStream(bytes, form, options, contents, cause)) << cause;
  for (const auto& motion : contents.motions) motion->name = "Strider01";
  return contents;
}

}  // namespace strider::test
