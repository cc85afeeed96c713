// Changes to all places of a take at once.
#pragma once

#include "strider/capture/capture_scene.h"

namespace strider {

/// Makes everything of the take `factor` times as large; markers that were dropped stay so.
void ScaleScene(CaptureScene& scene, float factor);

/// Turns the markers of a take whose up axis points down about the axis that a reader has for X.
void TurnMarkersOver(CaptureScene& scene);

}  // namespace strider
