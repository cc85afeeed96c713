// The measures of a motion that repeats: symmetry, speed, and the figures by which people's gait
// is described.
#pragma once

#include "strider/footsteps/measure_run.h"

namespace strider {

/// Fills the arms' measure, and those of regular motions where this is one.
void MeasureGait(MeasureRun& run);

}  // namespace strider
