// How many links a body part of a figure has, and how the part is laid out when that changes.
#pragma once

#include "strider/core/motion_core.h"

namespace strider {

/// Changes the number of links of a body part and lays the part out anew in the default proportions
/// of the figure's scale; the spine keeps its length, legs their length and the shares of thigh and
/// calf. Arms, fingers, legs, toes and twist links change on both sides. Ids: fingers, legs, toes,
/// spine, tail, neck, ponytails, twists. `figure` must have no keys. kRefused, nothing changed, for
/// another id and for a number outside the structure's limits.
[[nodiscard]] int ChangeNumLinks(MotionCore& figure, int id, int numLinks);

}  // namespace strider
