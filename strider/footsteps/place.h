// Puts footsteps down: in batches of a gait, one at a point, or as a plan lists them. New
// footsteps wait for their motion, and the figure goes on as it was until that is made. What is
// refused changes nothing: neither footsteps, selection, durations nor the side of the next one.
#pragma once

#include <span>

#include "strider/core/motion_core.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/gait.h"

namespace strider {

enum class PlaceStatus {
  kPlaced,
  kNothingAsked,          // no footsteps to place
  kDoubleSupportTooLong,  // 110: a walk's double supports leave no time for the other foot's swing
  kOutsideInactive,       // 111: the current time is too far from the footsteps without keys
  kDoesNotFit,            // 114: a footstep's time is taken
  kNeverInTheAir,         // 147: a run that would not leave the ground
  kNegativeTime,          // 148: before time 0
  kTooLate,               // ends at or past kFootstepTimeLimit
  kOutOfOrder,            // a plan's footstep starts before the one above it
  kBadValue,              // not finite, no duration, no such side, no such gait
  kOutOfMemory,
};

struct PlaceResult {
  PlaceStatus status = PlaceStatus::kPlaced;
  int failing = 0;  // number of the footstep that cannot be placed, from 1; 0 for none of its own
  int placed = 0;
  bool Done() const { return status == PlaceStatus::kPlaced; }
};

StepMeasures MeasuresOf(const MotionCore& core);

/// A batch in the gait and from the side of the settings, at the end or, with multiInsertInTime, at
/// `now`. Actuals are worked out for the figure here. On an empty track the first two stand under
/// the figure. Afterwards the batch is selected, and nothing else.
[[nodiscard]] PlaceResult PlaceMultiple(MotionCore& core, GaitSettings& settings,
                                        const MultFprintParams& params, TimeValue now);
/// What PlaceMultiple would answer.
[[nodiscard]] PlaceResult DryRunMultiple(const MotionCore& core, const GaitSettings& settings,
                                         const MultFprintParams& params, TimeValue now);

/// A plan: footsteps in order of their starts, each put at its place among those that stand. The
/// cost of many behind the last one is even. Those placed are selected, and nothing else.
[[nodiscard]] PlaceResult PlaceFootsteps(MotionCore& core, std::span<const NewFootstep> plan);

/// One footstep as number `index` among those that stand. Refused as a row of a plan, and where its
/// start would break their order. It is selected, and nothing else.
[[nodiscard]] PlaceResult PlaceFootstepAt(MotionCore& core, int index, const NewFootstep& step);

/// The index of a footstep that starts at `now`: before the first that starts later.
int InsertPosition(const FootstepTrack& track, TimeValue now);
/// The heading of a footstep at `position` (the core's space): from the footstep before `index` to
/// it, or the body's where there is none.
float HeadingTo(const MotionCore& core, int index, const Point3& position);

/// Where a single footstep is put: the core's space, radians.
struct FootstepPlace {
  Point3 position;
  float angle = 0;
};

/// Answers of the operations below: 1, or a refusal by the number that scripts know.
enum AddFootstepCode : int {
  kFootstepAdded = 1,
  kAddNoSwing = -1,          // double supports of a walk leave no time for the other foot's swing
  kAddNoFootsteps = -2,      // the first footstep needs a time: fsCreateState
  kAddOutsideInactive = -3,  // more than one place from the footsteps without keys
  kAddDoesNotFit = -4,       // also for a place that is not finite and a time past the limit
  kAddNegativeTime = -5,     // with fsCreateState
};

/// One footstep of the settings' gait and side: with fsCreateState at `now`, else at the end. The
/// next side is the other one.
int AddFootprint(MotionCore& core, GaitSettings& settings, const FootstepPlace& place,
                 TimeValue now);
/// At a time, whatever the state.
int AddFootstepAtTime(MotionCore& core, GaitSettings& settings, const FootstepPlace& place,
                      TimeValue time);
/// As AddFootprint at a point, headed away from the footstep before it.
int AddFootstepNow(MotionCore& core, GaitSettings& settings, const Point3& position, TimeValue now);

}  // namespace strider
