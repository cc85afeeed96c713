// The motion as it is before any key goes: a sample of every section at every frame.
#pragma once

#include <vector>

#include "strider/capture/turn_test.h"
#include "strider/core/eval_context.h"

namespace strider {

/// A motion longer than this, eighteen hours at 30 frames a second, is tested by its curves alone
/// past its end.
inline constexpr int kMaxSampledFrames = 2000000;

struct ReductionSamples {
  struct Section {
    int id = kNoBodyId;
    std::vector<Matrix3> frames;  // of the section's last link, the core's space
  };

  TimeValue first = 0, step = kDynamicsFrame;
  int count = 0;
  std::vector<Point3> body;  // the centre of mass
  std::vector<Section> sections;

  /// The sample at a time; -1 where none is.
  int At(TimeValue t) const;
  /// Of a section; null for one that the figure lacks.
  const std::vector<Matrix3>* FramesOf(int id) const;
};

/// Samples a motion from its first key to its last. Passes std::bad_alloc on.
ReductionSamples SampleForReduction(const MotionCore& core, const EvalContext& context);

/// The samples around one; false where the motion begins or ends within its reach.
template <class Sample>
bool WindowAt(const std::vector<Sample>& samples, int at, SampleWindow<Sample>& window) {
  if (at < kTurnReach || at + kTurnReach >= static_cast<int>(samples.size())) return false;
  for (int i = -kTurnReach; i <= kTurnReach; ++i) {
    window[static_cast<std::size_t>(i + kTurnReach)] = samples[static_cast<std::size_t>(at + i)];
  }
  return true;
}

}  // namespace strider
