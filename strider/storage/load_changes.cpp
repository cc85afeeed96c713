#include "strider/storage/load_changes.h"

#include <algorithm>
#include <cmath>

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/core/limb_frames.h"
#include "strider/core/limb_keys.h"
#include "strider/core/motion_range.h"
#include "strider/footsteps/adapt.h"
#include "strider/footsteps/adopt_footsteps.h"
#include "strider/footsteps/bake.h"
#include "strider/footsteps/bend_scale.h"
#include "strider/footsteps/change_figure.h"
#include "strider/footsteps/flights.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/support.h"

namespace strider {

bool FitFootstepsToFigure(MotionCore& core) {
  FootstepTrack& track = core.footsteps;
  const float leg = core.leg[kRight].totalLength, hip = core.pelvis.hipOffset;
  const float oldLeg = track.scaleLegLength, oldHip = track.scaleHipWidth;
  const float height = core.structure.height, oldHeight = track.scaleFigureHeight;
  if (oldHeight > 0 && track.gravity > 0) {
    core.body.gravAccel = track.gravity * (height / oldHeight);
  }
  const bool told = oldLeg > 0 && oldHip > 0;
  constexpr float kSame = 1e-3f, kSamePlace = 0.01f;
  const bool same =
      told && std::fabs(leg / oldLeg - 1) <= kSame && std::fabs(hip - oldHip) <= kSamePlace * leg;
  if (told && !same && RescaleFootprints(core, {leg / oldLeg, oldHip, hip}) == kRefused) {
    return false;
  }
  RefreshFootstepMeasures(core);
  return true;
}

int RetargetMotion(MotionCore& core, const MotionCore& figure, const LoadOptions& options,
                   const EvalContext& context) {
  if (options.retargetLimbSizes) {
    // A hand that is not held goes where the arm's angles and its own length take it.
    for (LimbRecord& arm : core.arm) {
      for (LimbKey& key : arm.table.keys) SetKeyKind(key, kFreeKey);
      MarkDirty(arm.table.track, 0, arm.table.track.numKeys - 1);
    }
    RefreshTracks(core);
  }
  return SetFigureOfMotion(core, figure, !options.retargetHeight, context);
}

int FlattenFootsteps(MotionCore& core, const EvalContext& context) {
  FootstepTrack& track = core.footsteps;
  if (track.numFootsteps == 0) return kDone;
  FootstepTrack before = track;
  for (Point3& place : track.position) place.y = 0;
  TransformsFromPositions(track);
  const AdaptResult result =
      AdaptMotion(core, std::move(before), 0, track.numFootsteps - 1, {}, context);
  return result == AdaptResult::kOutOfMemory ? kRefused : kDone;
}

void ShiftMotion(MotionCore& core, const Point3& by) {
  FootstepTrack& track = core.footsteps;
  for (Point3& place : track.position) place += by;
  for (Matrix3& transform : track.transform) transform.row[3] += HostFromCore(by);
  for (HorizontalKey& key : core.body.horizontal.keys) {
    key.position += Point3{by.x, 0, by.z};
  }
  for (VerticalKey& key : core.body.vertical.keys) {
    key.height += by.y;
    key.ballisticHeight += by.y;
  }
  for (LimbRecord* limb : {&core.leg[0], &core.leg[1], &core.arm[0], &core.arm[1]}) {
    if (HasObjectFrame(*limb)) continue;  // what it holds stays where the object is
    for (LimbKey& key : limb->table.keys) {
      key.objectTarget += by;
      key.pivotPosition += by;
      key.joinedPivotPosition += by;
    }
  }
  for (HeadKey& key : core.head.table.keys) key.targetPosition += by;
  for (PropRecord& prop : core.props) {
    for (PropKey& key : prop.table.keys) key.position[kWorldProp] += by;
  }
  core.body.figurePosition += by;
  core.body.bodyPosition += by;
  ForEachTable(core, [](int, auto& table) { MarkDirty(table.track, 0, table.track.numKeys - 1); });
  RefreshTracks(core);
}

namespace {

/// The ground under the lower foot as the figure stands at `t`.
float GroundAt(const MotionCore& core, TimeValue t, const EvalContext& context) {
  MotionCore posed = core;
  CorePose(posed, t, context);
  float ground = kLargestFloat;
  for (const int id : {kRightLeg, kLeftLeg}) {
    const LimbRecord& leg = *FindLimb(posed, id);
    const Matrix3 foot = LinkFrame(posed, id, NumLimbLinks(leg) - 1);
    ground = std::min(ground, foot.Origin().y - leg.extremityHeight);
  }
  return ground;
}

}  // namespace

void ZeroHeight(MotionCore& core, const EvalContext& context) {
  const FootstepTrack& track = core.footsteps;
  const Interval range = MotionRange(core);
  const float height =
      track.numFootsteps > 0 ? track.position.front().y : GroundAt(core, range.start, context);
  ShiftMotion(core, {0, -height, 0});
  (void)BuildFlights(core);
}

// --- Segments ----------------------------------------------------------------------------------

namespace {

void KeepKeysWithin(MotionCore& core, TimeValue first, TimeValue last) {
  ForEachTable(core, [&](int, auto& table) {
    std::vector<int> kept;
    for (int i = 0; i < table.track.numKeys; ++i) {
      if (first <= table.TimeOf(i) && table.TimeOf(i) <= last) kept.push_back(i);
    }
    if (static_cast<int>(kept.size()) < table.track.numKeys) KeepKeys(table, kept);
  });
}

/// Footsteps that stand between the two times, cut where they reach over them.
void KeepFootstepsWithin(FootstepTrack& track, TimeValue first, TimeValue last) {
  BitArray gone(track.numFootsteps);
  for (int i = 0; i < track.numFootsteps; ++i) {
    FootstepSpan& span = *SpanOf(track, i);
    const TimeValue lift = std::min(span.Lift(), last);
    const TimeValue start = std::max(span.start, first);
    if (lift <= start) {
      gone.Set(i);
    } else {
      span.start = start;
      span.duration = lift - start;
    }
  }
  (void)DeleteFootsteps(track, gone);
}

/// The frames at the ends that no footstep of the segment reaches: free keys alone show there what
/// flights and swings between the footsteps that were cut off have been.
std::vector<TimeValue> FramesOutside(const MotionCore& core, TimeValue first, TimeValue last) {
  FootstepTrack inside = core.footsteps;
  KeepFootstepsWithin(inside, first, last);
  std::vector<TimeValue> times = FramesBetween(core, first, last);
  if (inside.numFootsteps == 0) return times;
  const TimeValue start = FirstFootstepTime(inside), end = LastFootstepTime(inside);
  std::erase_if(times, [&](TimeValue t) { return t > start && t < end; });
  return times;
}

}  // namespace

int CutSegment(const MotionCore& core, TimeValue first, TimeValue last, bool keyPerFrame,
               const EvalContext& context, MotionCore& segment) {
  const Interval range = MotionRange(core);
  first = std::max(first, range.start);
  last = std::min(last, range.end);
  if (last < first) return kRefused;
  try {
    segment = core;
    std::vector<TimeValue> times;
    if (keyPerFrame) {
      times = FramesBetween(core, first, last);
    } else if (!core.freeForm) {
      times = FramesOutside(core, first, last);
    }
    if (times.empty() || times.front() > first) times.insert(times.begin(), first);
    if (times.back() < last) times.push_back(last);
    if (BakeKeys(segment, times, keyPerFrame, context) == kRefused) return kRefused;
    KeepKeysWithin(segment, first, last);
    KeepFootstepsWithin(segment.footsteps, first, last);
    if (segment.footsteps.numFootsteps == 0) {
      ClearFootsteps(segment.footsteps);
      SetFreeForm(segment, true);
    } else if (RefreshSupport(segment.footsteps) == kRefused) {
      return kRefused;
    } else {
      RefreshFreeFormIntervals(segment.footsteps);
      FreeTheEnds(segment);
    }
    RefreshMotionSpan(segment);
    if (BuildFlights(segment) == kRefused) return kRefused;
    RefreshTracks(segment);
    return kDone;
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
}

}  // namespace strider
