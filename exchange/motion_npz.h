// A motion as arrays for numeric tools: one archive that numpy opens with `numpy.load`.
// docs/formats/npz.md lists the arrays with their shapes and units.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "exchange/motion_table.h"

namespace strider {

struct MotionNpzOptions {
  std::vector<TimeValue> times;         // ascending; empty: all frames of the motion
  std::optional<double> fps;            // of those times, where they are not the motion's own
  std::optional<double> metresPerUnit;  // by default the figure's gravity is that of the earth
};

/// Writes the arrays under `path`. Memory holds a few numbers for each time, never all poses.
/// False, what stood there untouched, if it cannot be written; `cause` says why.
[[nodiscard]] bool WriteMotionNpz(const MotionCore& core, const EvalContext& context,
                                  const MotionNpzOptions& options, const std::string& path,
                                  std::string& cause, const ProgressSink& progress = {});

}  // namespace strider
