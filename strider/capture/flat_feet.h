// How a take's feet lie on the ground, learnt from the frames in which they do.
#pragma once

#include <optional>
#include <vector>

#include "strider/capture/captured_motion.h"
#include "strider/capture/marker_tracks.h"
#include "strider/core/body_id.h"

namespace strider {

/// Marks the frames in which an ankle is slowest: those in which the sole lies on the ground. All
/// of them where none shows it. Passes std::bad_alloc on.
std::vector<unsigned char> FlatFrames(const PointTrack& ankle);

/// The upright of a foot that lies flat, a unit vector in the axes of the joint that carries it.
struct FlatFoot {
  Point3 ankle{0, 1, 0};
  Point3 toe{0, 1, 0};  // where the take turns the toes
};

/// The median over the slowest frames of the foot, in which its sole lies on the ground: the pose
/// of no turns, from which joints count, says little of feet, as many a rig is posed on its toes.
/// None where the take is too short to tell, or where the foot then seems to lie more than half a
/// right angle away from how the reference has it. Passes std::bad_alloc on.
std::optional<FlatFoot> FindFlatFoot(const CapturedMotion& motion, Side side);

}  // namespace strider
