// A take of every so manieth frame.
#pragma once

#include "strider/base/time_value.h"
#include "strider/capture/capture_scene.h"

namespace strider {

/// How many frames of `frameTime` seconds go into one of the scene: rounded, 1 at least.
int ThinningFor(double frameTime, TimeValue ticksPerFrame);

/// Keeps the frame `first` and every `step`th behind it. As many remain as whole steps, at least
/// one.
void ThinCapture(CaptureScene& scene, int step, int first = 0);

}  // namespace strider
