// What importing a take found and made, as JSON and as lines for people.
#pragma once

#include <string>

#include "strider/capture/import_take.h"

namespace strider {

/// The document of MotionFileJson of the motion, with "take" and "summary" behind "file", and
/// "sliding" in each footstep. docs/cli.md describes it field by field.
std::string ImportJson(const ImportResult& result);

/// What a person wants to know of it, several lines; of its motion nothing if only the pose of the
/// reference was asked for.
std::string ImportSummary(const ImportResult& result, bool poseOnly);

}  // namespace strider
