// The contact sheet of a motion, as PNG: the figure every few frames from its side and the path
// from above, both over numbered footprints, and a time line with contacts and flights.
#pragma once

#include <string>

#include "strider/core/eval_context.h"

namespace strider {

/// A long motion is shown from its start as far as six rows of figures reach, and the sheet says
/// so. The same motion always gives the same bytes. False, `png` unchanged, if its extent cannot be
/// drawn or memory runs out; `cause` says which.
[[nodiscard]] bool MotionSheet(const MotionCore& core, const EvalContext& context, std::string& png,
                               std::string& cause);

}  // namespace strider
