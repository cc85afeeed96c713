// A figure as JSON: its height, its structure parameters and every node with its place, turn and
// size. docs/cli.md describes the format field by field.
#pragma once

#include <string>

#include "strider/core/motion_core.h"

namespace strider {

/// The core's figure as its frames stand, one node a line. World space of the host, Z up, scene
/// units. The same figure always gives the same bytes.
std::string FigureJson(const MotionCore& core);

/// Of that document the fields `height` and `structure`, a parameter a line, without the braces.
std::string FigureFieldsJson(const MotionCore& core);

}  // namespace strider
