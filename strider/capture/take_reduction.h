// The reduction of a take's keys as a user wants it: few keys, feet that stand, no knee that jerks.
#pragma once

#include "strider/capture/key_reduction.h"
#include "strider/footsteps/extract_footsteps.h"

namespace strider {

struct TakeReductionSettings {
  KeyReductionTable rows = kDefaultKeyReduction;
  /// Of the frames, keys that the tracks of arms and legs together may keep. While they keep more,
  /// the tolerances of those that do grow, as far as the joints stay near the take. 0 for any.
  float limbKeysAtMost = 0;
  /// Where keys let a knee jerk that did not in the take, the keys around it stay.
  bool smoothKnees = false;
  bool firmFeet = false;  // feet stand firmly whatever their knees do
  /// Where keys let a foot on its way seem to stand by these settings, the keys around it stay:
  /// whoever looks for footsteps in the result then finds the same. Null for none.
  const ExtractionSettings* contacts = nullptr;
};

/// Thins the keys of `motion` on its first `numFrames` frames, holds its feet anew, and tells in
/// `rows` the table that was used in the end. `take` is the motion that it is measured by, frame by
/// frame: the take's own. kRefused, nothing changed, if memory ran out.
[[nodiscard]] int ReduceTakeKeys(MotionCore& motion, const TakeReductionSettings& settings,
                                 const MotionCore& take, int numFrames, const EvalContext& context,
                                 KeyReductionTable& rows, ReductionReport& report);

}  // namespace strider
