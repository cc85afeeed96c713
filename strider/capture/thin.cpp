#include "strider/capture/thin.h"

#include <algorithm>
#include <cmath>

namespace strider {
namespace {

void Thin(CaptureSamples& samples, int step, int first, int count) {
  if (samples.Count() == 0) return;
  const auto last = static_cast<std::size_t>(samples.Count() - 1);
  for (int i = 0; i < count; ++i) {
    const std::size_t from = static_cast<std::size_t>(first) +
                             static_cast<std::size_t>(i) * static_cast<std::size_t>(step);
    samples.samples[static_cast<std::size_t>(i)] = samples.samples[std::min(from, last)];
  }
  samples.samples.resize(static_cast<std::size_t>(count));
}

}  // namespace

int ThinningFor(double frameTime, TimeValue ticksPerFrame) {
  constexpr double kMost = 1e6;
  if (!(frameTime > 0) || ticksPerFrame <= 0) return 1;
  const double ratio = static_cast<double>(ticksPerFrame) / kTicksPerSecond / frameTime;
  return static_cast<int>(std::clamp(std::floor(ratio + 0.5), 1.0, kMost));
}

void ThinCapture(CaptureScene& scene, int step, int first) {
  first = std::clamp(first, 0, std::max(0, scene.numFrames - 1));
  step = std::max(step, 1);
  if (scene.numFrames == 0 || (step == 1 && first == 0)) return;
  const int count = std::max(1, (scene.numFrames - first) / step);
  for (JointRecord& joint : scene.joints) {
    Thin(joint.positions, step, first, count);
    Thin(joint.rotations, step, first, count);
  }
  for (MarkerRecord& marker : scene.markers) Thin(marker.positions, step, first, count);
  for (MarkerRecord& marker : scene.extraMarkers) Thin(marker.positions, step, first, count);
  scene.numFrames = count;
  scene.thinning *= step;
}

}  // namespace strider
