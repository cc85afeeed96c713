#include "strider/capture/flat_feet.h"

#include <algorithm>

namespace strider {
namespace {

// Share of the frames in which a foot that walks or runs lies flat for certain, and the fewest
// frames that say something.
constexpr float kSlowest = 0.2f;
constexpr std::size_t kFewest = 4;
// Cosine of the most that the ground's upright may lean from the reference's.
constexpr float kMostLean = 0.70710678f;

/// The frames in which the joint moves least, from the frame before to the one after.
std::vector<std::size_t> SlowestFrames(const std::vector<CapturedPose>& poses, int joint) {
  std::vector<std::size_t> frames;
  if (poses.size() < 2) return frames;
  const auto at = static_cast<std::size_t>(joint);
  std::vector<float> ways(poses.size());
  for (std::size_t f = 0; f < poses.size(); ++f) {
    const std::size_t before = f > 0 ? f - 1 : 0, after = std::min(f + 1, poses.size() - 1);
    ways[f] = Length(poses[after][at].origin - poses[before][at].origin) /
              static_cast<float>(after - before);
  }
  std::vector<float> sorted = ways;
  const auto slow = sorted.begin() +
                    static_cast<std::ptrdiff_t>(kSlowest * static_cast<float>(sorted.size() - 1));
  std::nth_element(sorted.begin(), slow, sorted.end());
  for (std::size_t f = 0; f < poses.size(); ++f) {
    if (ways[f] <= *slow) frames.push_back(f);
  }
  return frames;
}

/// The median, axis by axis, of the world's upright in the joint's axes.
Point3 MedianUpright(const std::vector<CapturedPose>& poses, const std::vector<std::size_t>& frames,
                     int joint) {
  Point3 upright;
  std::vector<float> values(frames.size());
  for (int axis = 0; axis < 3; ++axis) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
      const Frame& frame = poses[frames[i]][static_cast<std::size_t>(joint)];
      values[i] = Rotate(Conjugate(frame.rotation), {0, 1, 0})[axis];
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    upright[axis] = *middle;
  }
  return Normalized(upright);
}

}  // namespace

std::optional<FlatFoot> FindFlatFoot(const CapturedMotion& motion, Side side) {
  const int ankle = side == kRight ? kRightAnkleJoint : kLeftAnkleJoint;
  const int toe = side == kRight ? kRightToeJoint : kLeftToeJoint;
  const std::vector<std::size_t> frames = SlowestFrames(motion.poses, ankle);
  if (frames.size() < kFewest) return std::nullopt;
  const auto find = [&](int joint, Point3& upright) {
    if (!motion.present[static_cast<std::size_t>(joint)]) return true;
    upright = MedianUpright(motion.poses, frames, joint);
    const Quat& reference = motion.reference[static_cast<std::size_t>(joint)].rotation;
    return Rotate(reference, upright).y > kMostLean;
  };
  FlatFoot flat;
  if (!find(ankle, flat.ankle) || !find(toe, flat.toe)) return std::nullopt;
  return flat;
}

}  // namespace strider
