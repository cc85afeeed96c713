// How long a scene unit is, for formats that count in metres.
#pragma once

#include <optional>

#include "strider/core/motion_core.h"

namespace strider {

/// Metres in a scene unit: as given, otherwise the scale at which the figure's gravity is that of
/// the Earth. A figure of default proportions and gravity then stands 1.74 m high.
double MetresPerUnit(const MotionCore& core, std::optional<double> given = {});

}  // namespace strider
