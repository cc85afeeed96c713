// A motion as tables of numbers, for spreadsheets and numeric tools: one row for each link at each
// time, and if asked its contacts and footsteps beside it. docs/formats/csv.md describes the
// columns.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "strider/core/eval_context.h"

namespace strider {

/// Told now and then how many of how many frames are done.
using ProgressSink = std::function<void(std::int64_t done, std::int64_t all)>;

struct MotionTableOptions {
  std::vector<TimeValue> times;  // ascending; empty: all frames of the motion
  bool withFootsteps = false;    // also NAME.footsteps.csv and NAME.contacts.csv
};

/// Writes the table of all links under `path`. Only a piece of it is in memory at a time. False,
/// what stood there untouched, if it cannot be written; `cause` says why. Of several tables all are
/// complete before the first takes its name.
[[nodiscard]] bool WriteMotionTable(const MotionCore& core, const EvalContext& context,
                                    const MotionTableOptions& options, const std::string& path,
                                    std::string& cause, const ProgressSink& progress = {});

inline constexpr const char* kTablesBeside[] = {"footsteps", "contacts"};
/// The name of a table beside that of the links: `walk.csv` has `walk.footsteps.csv`.
std::string TableBeside(const std::string& path, const std::string& what);

}  // namespace strider
