#include "strider/capture/scene_places.h"

#include <algorithm>

namespace strider {
namespace {

void Scale(CaptureSamples& samples, float factor) {
  for (Point3& sample : samples.samples) {
    if (sample.x != kDroppedMarker) sample *= factor;
  }
}

}  // namespace

void ScaleScene(CaptureScene& scene, float factor) {
  for (JointRecord& joint : scene.joints) {
    joint.offset *= factor;
    joint.endOffset *= factor;
    Scale(joint.positions, factor);
  }
  for (MarkerRecord& marker : scene.markers) Scale(marker.positions, factor);
  for (MarkerRecord& marker : scene.extraMarkers) Scale(marker.positions, factor);
  for (float& measure : scene.talent) measure *= factor;
}

void TurnMarkersOver(CaptureScene& scene) {
  const auto turn = [](MarkerRecord& marker) {
    for (Point3& place : marker.positions.samples) {
      if (place.x != kDroppedMarker) place = {place.x, -place.y, -place.z};
    }
  };
  std::for_each(scene.markers.begin(), scene.markers.end(), turn);
  std::for_each(scene.extraMarkers.begin(), scene.extraMarkers.end(), turn);
}

}  // namespace strider
