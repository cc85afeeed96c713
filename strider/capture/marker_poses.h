// A take of markers becomes a moving body, as a take of joints is one.
//
// Joints stand where the markers around them say, by shares of the body that hold for grown people
// where a marker shows only the outside of a joint. The distances between joints are constant: each
// is the median over the frames, or what the file measured of the talent where that is within half
// as much again of it. The reference is a body of these lengths that stands upright with its arms
// down.
#pragma once

#include "strider/capture/captured_motion.h"

namespace strider {

/// Poses of the body at the chosen frames. What no marker shows in a frame keeps the relation to
/// its parent that it has before and after; CapturedMotion::held lists it. kRefused where there
/// are no frames or no pelvis and legs, and if memory ran out.
[[nodiscard]] int PosesOfMarkers(const CaptureScene& scene, const FrameChoice& frames,
                                 CapturedMotion& motion);

}  // namespace strider
