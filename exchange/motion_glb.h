// A motion as a glTF scene in one file: a skeleton, a body over it, and an animation, for game
// engines, modelling programs and pages. docs/formats/glb.md describes it.
#pragma once

#include <optional>
#include <string>

#include "exchange/motion_range.h"
#include "strider/core/eval_context.h"

namespace strider {

struct GlbOptions {
  std::optional<FrameRange> range;      // else all of the motion
  std::optional<double> fps;            // samples a second, else one for each frame
  std::optional<double> metresPerUnit;  // else as MetresPerUnit tells
  std::optional<int> bodyType;          // 0 to 3, else the figure's own
  bool atKeys = false;                  // samples where any track has a key
  bool rootMotion = false;  // the body's ground path and heading on a node above the skeleton
  bool inPlace = false;     // no ground path; with rootMotion no heading either
};

/// Writes the file whole. False if it cannot be, what stood there untouched; `cause` says why.
[[nodiscard]] bool WriteMotionGlb(const MotionCore& core, const EvalContext& context,
                                  const GlbOptions& options, const std::string& path,
                                  std::string& cause);

}  // namespace strider
