// What a file says of the talent's measures, beside what its markers show.
#pragma once

#include <array>

#include "strider/capture/capture_scene.h"

namespace strider {

using TalentLengths = std::array<float, kNumTalentMeasures>;  // 0 for one that is not known

/// The measures in the unit of `lengths`, which the markers give: the file's own unit is the one in
/// use that fits them best, for files rarely say. What was not measured, or not within half as much
/// again of the markers' length, is 0.
TalentLengths MeasuredLengths(const CaptureScene& scene, const TalentLengths& lengths);

}  // namespace strider
