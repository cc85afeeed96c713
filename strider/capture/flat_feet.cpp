#include "strider/capture/flat_feet.h"

#include <algorithm>

namespace strider {
namespace {

// Share of the frames in which a foot that walks or runs lies flat for certain, the slowest, and
// the fewest frames that say something.
constexpr float kSlowest = 0.2f;
constexpr std::size_t kFewest = 4;
// Cosine of the most that the ground's upright may lean from the reference's.
constexpr float kMostLean = 0.70710678f;

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

/// The way of a joint through a take.
PointTrack TrackOf(const std::vector<CapturedPose>& poses, int joint) {
  PointTrack track(static_cast<int>(poses.size()));
  for (std::size_t f = 0; f < poses.size(); ++f) {
    track.Put(f, poses[f][static_cast<std::size_t>(joint)].origin);
  }
  return track;
}

}  // namespace

std::vector<unsigned char> FlatFrames(const PointTrack& ankle) {
  std::vector<unsigned char> flat(ankle.known.size());
  std::vector<float> speeds(ankle.known.size(), -1.0f), known;
  for (std::size_t f = 0; f < flat.size(); ++f) {
    // From the frame before to the one after, as far as they show it.
    const std::size_t before = f > 0 && ankle.Has(f - 1) ? f - 1 : f;
    const std::size_t after = f + 1 < flat.size() && ankle.Has(f + 1) ? f + 1 : f;
    if (!ankle.Has(f) || before == after) continue;
    speeds[f] =
        Length(ankle.place[after] - ankle.place[before]) / static_cast<float>(after - before);
    known.push_back(speeds[f]);
  }
  if (known.empty()) return std::vector<unsigned char>(flat.size(), 1);
  const auto slow =
      known.begin() + static_cast<std::ptrdiff_t>(kSlowest * static_cast<float>(known.size() - 1));
  std::nth_element(known.begin(), slow, known.end());
  for (std::size_t f = 0; f < flat.size(); ++f) flat[f] = speeds[f] >= 0 && speeds[f] <= *slow;
  return flat;
}

std::optional<FlatFoot> FindFlatFoot(const CapturedMotion& motion, Side side) {
  const int ankle = side == kRight ? kRightAnkleJoint : kLeftAnkleJoint;
  const int toe = side == kRight ? kRightToeJoint : kLeftToeJoint;
  const std::vector<unsigned char> lies = FlatFrames(TrackOf(motion.poses, ankle));
  std::vector<std::size_t> frames;
  for (std::size_t f = 0; f < lies.size(); ++f) {
    if (lies[f] != 0) frames.push_back(f);
  }
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
