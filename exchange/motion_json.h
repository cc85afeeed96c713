// What a motion is made of, as JSON: figure, footsteps, phases of support, flights, and the times
// of all keys. docs/cli.md describes the format field by field.
#pragma once

#include <string>

#include "strider/core/motion_core.h"

namespace strider {

/// One record a line. Times in ticks, places in the host's world, Z up, headings in degrees. The
/// same motion always gives the same bytes.
std::string MotionJson(const MotionCore& core);

}  // namespace strider
