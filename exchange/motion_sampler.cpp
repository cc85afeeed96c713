#include "exchange/motion_sampler.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "strider/core/evaluate.h"
#include "strider/core/node_tree.h"

namespace strider {

std::vector<SkeletonLink> SkeletonOf(const MotionCore& core) {
  const std::vector<NodeInfo> nodes = BuildNodeTree(core);
  using Place = std::pair<int, int>;
  std::map<Place, int> placed;
  std::vector<SkeletonLink> skeleton;
  // A node whose parent comes later waits for the next round.
  std::vector<bool> done(nodes.size(), false);
  while (skeleton.size() < nodes.size()) {
    const std::size_t before = skeleton.size();
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      const NodeInfo& node = nodes[i];
      const auto parent = placed.find({node.parentId, node.parentLink});
      if (done[i] || (node.parentId != kNoBodyId && parent == placed.end())) continue;
      done[i] = true;
      placed[{node.id, node.link}] = static_cast<int>(skeleton.size());
      skeleton.push_back(
          {node.id, node.link, node.parentId == kNoBodyId ? -1 : parent->second, node.name});
    }
    if (skeleton.size() == before) break;  // a chain that hangs from what is not there
  }
  return skeleton;
}

std::vector<TimeValue> TimesAtFrames(const MotionCore& core, const FrameRange& range,
                                     std::optional<double> fps) {
  std::vector<TimeValue> times;
  const TimeValue first = TimeOfFrame(core, range.first), last = TimeOfFrame(core, range.last);
  if (!fps) {
    for (std::int64_t frame = range.first; frame <= range.last; ++frame) {
      times.push_back(TimeOfFrame(core, frame));
    }
    return times;
  }
  const double step = kTicksPerSecond / *fps;
  for (std::int64_t i = 0;; ++i) {
    const double t = first + std::round(static_cast<double>(i) * step);
    if (!(t < last)) break;
    const auto ticks = static_cast<TimeValue>(t);
    if (times.empty() || ticks > times.back()) times.push_back(ticks);
  }
  times.push_back(last);
  return times;
}

std::vector<TimeValue> TimesAtKeys(const MotionCore& core, const FrameRange& range) {
  const TimeValue first = TimeOfFrame(core, range.first), last = TimeOfFrame(core, range.last);
  std::vector<TimeValue> times = {first, last};
  const auto add = [&](int id) {
    const KeyTrack* track = FindTrack(core, id);
    if (track == nullptr) return;
    for (int i = 0; i < track->numKeys; ++i) {
      const TimeValue t = track->times[static_cast<std::size_t>(i)].time;
      if (first < t && t < last) times.push_back(t);
    }
  };
  for (int id = 0; id <= kProp3; ++id) add(id);
  for (int i = 0; i < static_cast<int>(core.xtras.size()); ++i) add(kXtraFirst + i);
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());
  return times;
}

MotionSampler::MotionSampler(const MotionCore& core, const EvalContext& context)
    : posed_(core), context_(context), skeleton_(SkeletonOf(core)), frames_(skeleton_.size()) {}

void MotionSampler::Pose(TimeValue t) {
  CorePose(posed_, t, context_);
  for (std::size_t i = 0; i < skeleton_.size(); ++i) {
    const Matrix3 world = LinkFrame(posed_, skeleton_[i].id, skeleton_[i].link);
    frames_[i] = {RotationOf(world), world.Origin()};
  }
}

Frame MotionSampler::Local(int link) const {
  const Frame& own = YUp(link);
  const int parent = skeleton_[static_cast<std::size_t>(link)].parent;
  if (parent < 0) return own;
  const Frame& from = YUp(parent);
  const Quat back = Conjugate(from.rotation);
  return {back * own.rotation, Rotate(back, own.origin - from.origin)};
}

}  // namespace strider
