// A motion as a BVH file: a skeleton in words and a line of numbers for each frame, Y up.
// docs/formats/bvh.md tells its joints and conventions.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "exchange/motion_table.h"

namespace strider {

struct MotionBvhOptions {
  std::vector<TimeValue> times;         // evenly spaced; empty: all frames of the motion
  std::optional<double> fps;            // of those times, where they are not the motion's own
  std::optional<double> metresPerUnit;  // places in metres; else in scene units
  bool onlyKnown = false;               // without the links that captured motion has no name for
};

/// Writes the motion under `path`, a frame at a time. False, what stood there untouched, if it
/// cannot be written; `cause` says why.
[[nodiscard]] bool WriteMotionBvh(const MotionCore& core, const EvalContext& context,
                                  const MotionBvhOptions& options, const std::string& path,
                                  std::string& cause, const ProgressSink& progress = {});

}  // namespace strider
