// Footsteps from a user's own table: a text file with a row for each, `side,x,y,z,heading,start,
// duration`. docs/cli.md describes the format. Checked whole: a plan that is answered can be placed
// row by row.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "strider/base/point3.h"
#include "strider/base/time_value.h"

namespace strider {

/// Start and duration are whole frames of the settings.
struct PlannedFootstep {
  int side = 0;       // 0 right, 1 left
  Point3 place;       // the host's world, Z up, scene units
  float heading = 0;  // radians in [-pi, pi], positive to the left of +X
  TimeValue start = 0, duration = 0;
};

struct PlanSettings {
  double unitsPerLength = 1;  // scene units for each unit of length of the file
  TimeValue ticksPerFrame = kDynamicsFrame;
};

/// The footsteps of a plan's text in order of start; of two that start together the first row
/// comes first. False, `plan` unchanged, for anything that is no plan: `cause` names the row, the
/// header being row 1, and what is wrong in it.
[[nodiscard]] bool ParseFootstepPlan(std::string_view text, const PlanSettings& settings,
                                     std::vector<PlannedFootstep>& plan, std::string& cause);

/// The same from a file.
[[nodiscard]] bool ReadFootstepPlan(const std::string& path, const PlanSettings& settings,
                                    std::vector<PlannedFootstep>& plan, std::string& cause);

}  // namespace strider
