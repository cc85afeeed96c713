#include "strider/capture/capture_pose.h"

namespace strider {

Place3 LocalPlace(const JointRecord& joint, int frame) {
  const Place3 offset = ToPlace(joint.offset);
  if (frame < 0 || frame >= joint.positions.Count()) return offset;
  const Place3 place = ToPlace(joint.positions.samples[static_cast<std::size_t>(frame)]);
  return joint.positionsHoldOffset ? place : offset + place;
}

Turn3 LocalTurn(const JointRecord& joint, int frame) {
  if (frame < 0 || frame >= joint.rotations.Count()) return {};
  return TurnOfChannels(joint.channels, joint.rotations.samples[static_cast<std::size_t>(frame)]);
}

CapturePose PoseOfCapture(const CaptureScene& scene, int frame) {
  CapturePose pose;
  for (const int joint : scene.jointOrder) {  // a parent comes before its children
    const JointRecord& record = scene.joints[static_cast<std::size_t>(joint)];
    const auto own = static_cast<std::size_t>(joint);
    pose.place[own] = LocalPlace(record, frame);
    pose.turn[own] = LocalTurn(record, frame);
    if (record.parent == kNoJoint) continue;
    const auto parent = static_cast<std::size_t>(record.parent);
    pose.place[own] = pose.place[parent] + pose.turn[parent] * pose.place[own];
    pose.turn[own] = pose.turn[parent] * pose.turn[own];
  }
  return pose;
}

}  // namespace strider
