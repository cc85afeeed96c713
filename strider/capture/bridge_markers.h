// Markers that the cameras lost for a while.
#pragma once

#include <string>
#include <vector>

#include "strider/capture/capture_scene.h"

namespace strider {

/// Frames from `first` to `last` in which a marker is missing.
struct MarkerGap {
  std::string name;
  int first = 0, last = 0;
};

struct BridgeReport {
  int bridged = 0;                // gaps that were closed
  std::vector<MarkerGap> remain;  // too long, or at an end of the take
};

/// Closes gaps of at most `maxFrames` frames between two frames that have the marker, by a curve
/// that leaves and arrives as the marker moves around the gap. Extra markers too.
BridgeReport BridgeDroppedMarkers(CaptureScene& scene, int maxFrames);

/// Closes the gaps that are short enough for a curve to be right, a fifth of a second, and notes
/// how many there were and which remain.
void BridgeShortGaps(CaptureScene& scene, std::vector<std::string>& notes);

}  // namespace strider
