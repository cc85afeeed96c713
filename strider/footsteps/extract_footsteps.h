// Footsteps out of feet: where a foot stands still, or is keyed as planted, it gets a footstep.
#pragma once

#include "strider/core/eval_context.h"

namespace strider {

/// What counts as standing, and as sliding.
struct ExtractionSettings {
  float fsExtractionTol = 0.07f;  // way of a standing foot in a frame, in leg lengths
  float fsSlidingDist = 25.0f;  // way within a footstep that counts as sliding, over 50 foot sizes
  float fsSlidingAngle = 0.0f;  // turn within a footstep above which it counts as sliding, degrees
  float fsVerticalTol = 0.5f;   // distance from fsZLevel, in leg lengths
  float fsZLevel = 0.0f;        // height of the floor, scene units
  int fsUseVerticalTol = 0;     // a foot must also be within fsVerticalTol of fsZLevel
  int fsUseFlatten = 0;         // footsteps are put on fsZLevel
  int conversionFlag = 0;       // without it every footstep counts as sliding

  friend bool operator==(const ExtractionSettings&, const ExtractionSettings&) = default;
};

}  // namespace strider
