// What every take goes through, whatever it holds: it is read, checked, and asked what it tells of
// itself.
#pragma once

#include "fuzz/memory_bound.h"
#include "strider/capture/bridge_markers.h"
#include "strider/capture/capture_pose.h"
#include "strider/capture/take_guess.h"

#include "strider/capture/capture_report.h"

namespace strider::fuzz {

inline void CheckSamples(const CaptureScene& scene, const CaptureSamples& samples) {
  if (samples.Count() != 0 && samples.Count() != scene.numFrames) Stop("samples of another number");
  for (const Point3& sample : samples.samples) {
    if (!IsFinite(sample)) Stop("a sample that is not finite");
  }
}

inline void CheckScene(const CaptureScene& scene) {
  for (const JointRecord& joint : scene.joints) {
    CheckSamples(scene, joint.positions);
    CheckSamples(scene, joint.rotations);
    if (!IsFinite(joint.offset) || !IsFinite(joint.endOffset)) Stop("an offset without end");
  }
  // A parent comes before its children: whoever walks up gets to an end.
  std::array<bool, kNumCaptureJoints> seen{};
  for (const int joint : scene.jointOrder) {
    const int parent = scene.joints[static_cast<std::size_t>(joint)].parent;
    if (parent != kNoJoint && !seen[static_cast<std::size_t>(parent)])
      Stop("a joint above its parent");
    seen[static_cast<std::size_t>(joint)] = true;
  }
  for (const MarkerRecord& marker : scene.markers) CheckSamples(scene, marker.positions);
  for (const MarkerRecord& marker : scene.extraMarkers) CheckSamples(scene, marker.positions);
}

template <class Read>
void PlayCapture(std::string_view input, const Read& read) {
  const std::size_t before = HeapBytes();
  ForgetPeak();
  CaptureScene scene;
  CaptureReport report;
  const int status = read(scene, report);
  CheckPeak(before, input, 0);
  CheckScene(scene);
  if (status != report.status || (status == 1) != report.message.empty()) Stop("no cause is told");
  if (status != 1 && (scene.numFrames != 0 || scene.kind != CaptureKind::kNone)) {
    Stop("a refused take left something");
  }
  if (status != 1) return;
  (void)GuessUnit(scene);
  (void)GuessUpAxis(scene);
  (void)FirstFrameStandsAlone(scene);
  (void)GuessSceneRate(scene.frameTime);
  (void)BridgeDroppedMarkers(scene, 6);
  CheckScene(scene);
}

}  // namespace strider::fuzz
