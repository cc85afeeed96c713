// A figure as other programs take it: links under their parents, and where they stand at times.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "exchange/motion_range.h"
#include "strider/core/eval_context.h"

namespace strider {

struct SkeletonLink {
  int id = kNoBodyId, link = 0;
  int parent = -1;  // place in the skeleton; -1 for the root
  std::string name;
};

/// All nodes of the figure, parents before their children, otherwise in the order of creation.
std::vector<SkeletonLink> SkeletonOf(const MotionCore& core);

/// Times of the frames of a range: of the motion's own frames, or `fps` a second between the same
/// two ends; a last time that such a step misses is added, so that the motion ends where it ends.
std::vector<TimeValue> TimesAtFrames(const MotionCore& core, const FrameRange& range,
                                     std::optional<double> fps = {});
/// Times at which any track has a key, within the range, with the range's two ends.
std::vector<TimeValue> TimesAtKeys(const MotionCore& core, const FrameRange& range);

/// Poses a copy of a motion at one time after another.
class MotionSampler {
 public:
  explicit MotionSampler(const MotionCore& core, const EvalContext& context = {});

  const MotionCore& Posed() const { return posed_; }
  const std::vector<SkeletonLink>& Skeleton() const { return skeleton_; }
  void Pose(TimeValue t);
  /// Frame of a link at the time last posed: right-handed, unmirrored, in the core's axes (X, Y up,
  /// Z) of the world, which are those of other Y-up programs; the strider's base included.
  const Frame& YUp(int link) const { return frames_[static_cast<std::size_t>(link)]; }
  /// The same within the frame of its parent; the root's own for the root.
  Frame Local(int link) const;

 private:
  MotionCore posed_;
  EvalContext context_;
  std::vector<SkeletonLink> skeleton_;
  std::vector<Frame> frames_;
};

}  // namespace strider
