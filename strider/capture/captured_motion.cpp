#include "strider/capture/captured_motion.h"

#include <algorithm>
#include <new>

namespace strider {
namespace {

constexpr float kDegree = 0.017453292f;
// A reference this upright is as good as any: the joints' own zero is then preferred.
constexpr float kGoodStand = 0.85f;

Quat AboutAxis(int axis, float degrees) {
  const float angle = degrees * kDegree;
  return axis == 0 ? AboutX(angle) : axis == 1 ? AboutY(angle) : AboutZ(angle);
}

/// The joint within its parent at a frame; `frame` -1 gives the pose of no turns.
Frame LocalFrame(const JointRecord& joint, int frame) {
  Frame local{{}, joint.offset};
  if (frame < 0) return local;
  const auto at = static_cast<std::size_t>(frame);
  if (at < joint.positions.samples.size()) {
    const Point3& way = joint.positions.samples[at];
    local.origin = joint.positionsHoldOffset ? way : joint.offset + way;
  }
  if (at >= joint.rotations.samples.size()) return local;
  const Point3& degrees = joint.rotations.samples[at];
  for (const CaptureChannel& channel : joint.channels) {
    if (channel.kind != CaptureChannel::kRotation) continue;
    local.rotation = local.rotation * AboutAxis(channel.component, degrees[channel.component]);
  }
  local.rotation = Normalized(local.rotation);
  return local;
}

/// Joints after their parents, whatever the order in which a name file brought them.
std::vector<int> ParentsFirst(const CaptureScene& scene) {
  std::vector<int> order;
  std::array<bool, kNumCaptureJoints> placed{};
  for (bool more = true; more;) {
    more = false;
    for (const int joint : scene.jointOrder) {
      const auto at = static_cast<std::size_t>(joint);
      const int parent = scene.joints[at].parent;
      if (placed[at] || (parent != kNoJoint && !placed[static_cast<std::size_t>(parent)])) continue;
      placed[at] = true;
      order.push_back(joint);
      more = true;
    }
  }
  return order;
}

CapturedPose PoseAt(const CaptureScene& scene, const std::vector<int>& order, const Quat& up,
                    int frame) {
  CapturedPose pose;
  const Frame root{up, {}};
  for (const int id : order) {
    const auto at = static_cast<std::size_t>(id);
    const JointRecord& joint = scene.joints[at];
    const Frame& parent =
        joint.parent == kNoJoint ? root : pose[static_cast<std::size_t>(joint.parent)];
    const Frame local = LocalFrame(joint, frame);
    pose[at] = ChildFrame(parent, local.rotation, local.origin);
    pose[at].rotation = Normalized(pose[at].rotation);
  }
  return pose;
}

}  // namespace

Quat TurnToYUp(UpAxis up, bool downwards) {
  const float sign = downwards ? -1.0f : 1.0f;
  switch (up) {
    case UpAxis::kX: return AboutZ(sign * kPi / 2);
    case UpAxis::kZ: return AboutX(-sign * kPi / 2);
    default: return downwards ? AboutX(kPi) : Quat{};
  }
}

float StandingAnkleHeight(const CapturedMotion& motion) {
  std::vector<float> heights;
  heights.reserve(motion.poses.size());
  for (const CapturedPose& pose : motion.poses) {
    heights.push_back(std::min(pose[kLeftAnkleJoint].origin.y, pose[kRightAnkleJoint].origin.y));
  }
  if (heights.empty()) return 0;
  const auto low = heights.begin() + static_cast<std::ptrdiff_t>(heights.size() / 20);
  std::nth_element(heights.begin(), low, heights.end());
  return *low;
}

Point3 HipsMiddle(const CapturedPose& pose) {
  return 0.5f * (pose[kLeftHipJoint].origin + pose[kRightHipJoint].origin);
}

Matrix3 HeadingFrame(const CapturedPose& pose) {
  Point3 right = pose[kRightHipJoint].origin - pose[kLeftHipJoint].origin;
  right.y = 0;
  right = Normalized(right, {0, 0, 1});
  const Point3 up{0, 1, 0};
  return {{Cross(up, right), up, right, {}}};
}

float StandingScore(const CapturedPose& pose) {
  const Point3 up{0, 1, 0};
  const auto rise = [&](const Point3& from, const Point3& to) {
    return Dot(Normalized(to - from), up);
  };
  float score = rise(HipsMiddle(pose), pose[kHeadJoint].origin);
  for (const auto& [hip, knee, ankle] :
       {std::array{kLeftHipJoint, kLeftKneeJoint, kLeftAnkleJoint},
        std::array{kRightHipJoint, kRightKneeJoint, kRightAnkleJoint}}) {
    score = std::min(score, rise(pose[knee].origin, pose[hip].origin));
    score = std::min(score, rise(pose[ankle].origin, pose[knee].origin));
  }
  const float tilt = rise(pose[kLeftHipJoint].origin, pose[kRightHipJoint].origin);
  return std::min(score, 1 - std::fabs(tilt));
}

std::vector<int> ChestJoints(const CapturedMotion& motion) {
  std::vector<int> joints;
  for (int i = 0; i < kNumChestJoints; ++i) {
    if (motion.present[static_cast<std::size_t>(kChestJoint + i)])
      joints.push_back(kChestJoint + i);
  }
  const auto depth = [&motion](int joint) {
    int steps = 0;
    while (joint != kNoJoint && steps <= kNumCaptureJoints) {
      joint = motion.parent[static_cast<std::size_t>(joint)];
      ++steps;
    }
    return steps;
  };
  std::stable_sort(joints.begin(), joints.end(), [&](int a, int b) { return depth(a) < depth(b); });
  return joints;
}

int PosesOfJoints(const CaptureScene& scene, const Quat& toYUp, const FrameChoice& frames,
                  CapturedMotion& motion) {
  const int first = std::max(frames.first, 0), step = std::max(frames.step, 1);
  const int last = std::min(frames.last, scene.numFrames - 1);
  if (first > last || scene.kind != CaptureKind::kJoints) return kRefused;
  try {
    CapturedMotion made;
    for (int i = 0; i < kNumCaptureJoints; ++i) {
      const auto at = static_cast<std::size_t>(i);
      const JointRecord& joint = scene.joints[at];
      made.present[at] = joint.present;
      made.parent[at] = joint.present ? joint.parent : kNoJoint;
      made.end[at] = joint.hasEnd ? joint.endOffset : Point3{};
    }
    const std::vector<int> order = ParentsFirst(scene);
    made.poses.reserve(static_cast<std::size_t>((last - first) / step + 1));
    for (int f = first; f <= last; f += step) made.poses.push_back(PoseAt(scene, order, toYUp, f));

    made.reference = PoseAt(scene, order, toYUp, -1);
    float best = StandingScore(made.reference);
    if (best < kGoodStand) {
      const auto consider = [&](const CapturedPose& pose) {
        const float score = StandingScore(pose);
        if (!(score > best)) return;
        best = score;
        made.reference = pose;
      };
      consider(PoseAt(scene, order, toYUp, 0));
      for (const CapturedPose& pose : made.poses) consider(pose);
    }
    motion = std::move(made);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  return kDone;
}

}  // namespace strider
