#include "strider/footsteps/convert_motion.h"

#include <new>
#include <utility>

#include "strider/core/motion_range.h"
#include "strider/footsteps/adapt.h"
#include "strider/footsteps/adopt_footsteps.h"
#include "strider/footsteps/bake.h"
#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

// Footsteps found this near their feet, in leg lengths, stay where their contacts begin: those of
// a motion that was made are found again within a thousandth.
constexpr float kNearFoot = 0.01f;

/// The whole frames that a motion covers.
struct FrameSpan {
  int first = 0, count = 0;
};

FrameSpan FramesOf(const MotionCore& core) {
  const Interval range = MotionRange(core);
  const TimeValue frame = core.ticksPerFrame;
  if (range.start > range.end || frame <= 0 || range.end >= kFootstepTimeLimit ||
      range.start <= -kFootstepTimeLimit) {
    return {};
  }
  FrameSpan span;
  span.first = range.start / frame - (range.start % frame < 0 ? 1 : 0);
  span.count = (range.end + frame - 1) / frame - span.first + 1;
  return span;
}

int BakeAll(MotionCore& core, const EvalContext& context) {
  const FrameSpan span = FramesOf(core);
  if (span.count == 0) return kDone;
  const TimeValue first = span.first * core.ticksPerFrame;
  const TimeValue last = Later(first, std::int64_t{span.count - 1} * core.ticksPerFrame);
  return BakeKeys(core, FramesBetween(core, first, last), false, context);
}

/// A foot goes on standing as its keys hold it; that they are contacts is forgotten.
void FreeLegKeys(MotionCore& core) {
  for (LimbRecord& leg : core.leg) {
    for (LimbKey& key : leg.table.keys) key.keyState = kMove;
    MarkDirty(leg.table.track, 0, leg.table.track.numKeys - 1);
  }
}

void FreeBodyKeys(MotionCore& core) {
  for (HorizontalKey& key : core.body.horizontal.keys) key.supportState = -1;
  for (VerticalKey& key : core.body.vertical.keys) {
    key.legState[0] = key.legState[1] = kMove;
    key.bordersFlight[0] = key.bordersFlight[1] = 0;
  }
  core.body.flights.clear();
}

}  // namespace

int ConvertToFreeForm(MotionCore& core, bool bake, const EvalContext& context) {
  if (core.freeForm || core.figureMode || core.footsteps.numFootsteps == 0) return kRefused;
  try {
    MotionCore freed = core;
    if (bake && BakeAll(freed, context) == kRefused) return kRefused;
    ClearFootsteps(freed.footsteps);
    SetFreeForm(freed, true);
    FreeLegKeys(freed);
    FreeBodyKeys(freed);
    RefreshMotionSpan(freed);
    freed.footstepsPending = freed.bodyKeysComputed = false;
    core = std::move(freed);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  return kDone;
}

int FlattenFootsteps(MotionCore& core, float height, const EvalContext& context) {
  try {
    FootstepTrack before = core.footsteps;
    for (Point3& place : core.footsteps.position) place.y = height;
    TransformsFromPositions(core.footsteps);
    const int last = core.footsteps.numFootsteps - 1;
    const AdaptResult result = AdaptMotion(core, std::move(before), 0, last, {}, context);
    return result == AdaptResult::kOutOfMemory ? kRefused : kDone;
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
}

ToFootstepsResult ConvertToFootsteps(MotionCore& core, const ExtractionSettings& settings,
                                     const ToFootstepsOptions& options, ExtractionReport& report,
                                     const EvalContext& context) {
  report = {};
  if (!core.freeForm || core.figureMode) return ToFootstepsResult::kRefused;
  try {
    MotionCore made = core;
    // Before the bake: its keys hold feet as those of the motion do.
    if (options.bake && BakeAll(made, context) == kRefused) return ToFootstepsResult::kRefused;
    const FrameSpan span = FramesOf(made);
    MotionCore source = made;
    if (ExtractFootsteps(made, source, settings, span.first, span.count, true, report, context) ==
        0) {
      core = std::move(made);
      return ToFootstepsResult::kNoFootsteps;
    }
    if (AdoptFootsteps(made, kNearFoot, context) == kRefused) return ToFootstepsResult::kRefused;
    if (options.flat && FlattenFootsteps(made, 0, context) == kRefused)
      return ToFootstepsResult::kRefused;
    core = std::move(made);
  } catch (const std::bad_alloc&) {
    return ToFootstepsResult::kRefused;
  }
  return ToFootstepsResult::kDone;
}

}  // namespace strider
