// Where the joints of a take stand in a frame: the take's own forward kinematics.
#pragma once

#include <array>

#include "strider/capture/capture_scene.h"
#include "strider/capture/rotation_order.h"

namespace strider {

/// Joints that the take has not are at the origin, unturned.
struct CapturePose {
  std::array<Place3, kNumCaptureJoints> place;  // the take's axes and units
  std::array<Turn3, kNumCaptureJoints> turn;    // from a joint's own axes to the take's
};

/// Of a joint in a frame, from its parent: the way, and its turn.
Place3 LocalPlace(const JointRecord& joint, int frame);
Turn3 LocalTurn(const JointRecord& joint, int frame);

CapturePose PoseOfCapture(const CaptureScene& scene, int frame);

}  // namespace strider
