// A motion as a table of numbers: one row for each link at each frame, for spreadsheets and
// numeric tools. docs/cli.md describes the columns.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "strider/core/eval_context.h"

namespace strider {

/// Told now and then how many of how many frames are done.
using ProgressSink = std::function<void(std::int64_t done, std::int64_t all)>;

/// Writes the table of all frames and all links under `path`. Only a piece of it is in memory at a
/// time. False, what stood there untouched, if it cannot be written; `cause` says why.
[[nodiscard]] bool WriteMotionTable(const MotionCore& core, const EvalContext& context,
                                    const std::string& path, std::string& cause,
                                    const ProgressSink& progress = {});

}  // namespace strider
