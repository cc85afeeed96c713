// A motion as one page that a browser opens from the disk: the viewer with the motion put into it.
// docs/formats/html.md describes what the page shows and the data that it holds.
#pragma once

#include <optional>
#include <string>

#include "exchange/motion_range.h"
#include "exchange/motion_table.h"
#include "strider/core/eval_context.h"

namespace strider {

/// More frames than this are refused: the page would be too much for a browser.
inline constexpr std::int64_t kMaxPageFrames = 100'000;

struct MotionPageOptions {
  std::optional<double> metresPerUnit;  // by default the scale that fits the figure's gravity
  std::optional<FrameRange> range;      // by default all frames of the motion
  std::optional<double> fps;            // by default the motion's own frames
  std::optional<int> bodyType;          // 0 to 3, what is shown at first; by default the figure's
};

/// Writes the page. False with the cause if it could not be; nothing is left then.
[[nodiscard]] bool WriteMotionPage(const MotionCore& core, const EvalContext& context,
                                   const MotionPageOptions& options, const std::string& path,
                                   std::string& cause, const ProgressSink& progress = {});

/// The motion as the page holds it: JSON without a character that could end its element.
std::string MotionPageData(const MotionCore& core, const EvalContext& context,
                           const MotionPageOptions& options, const ProgressSink& progress = {});

}  // namespace strider
