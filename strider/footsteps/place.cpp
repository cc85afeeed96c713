#include "strider/footsteps/place.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "strider/base/trig.h"
#include "strider/core/motion_range.h"

namespace strider {
namespace {

/// Heading of the body over the ground.
float BodyHeading(const MotionCore& core) {
  const Point3 ahead = Rotate(core.body.bodyRotation, {1, 0, 0});
  return Atan2(-ahead.z, ahead.x);
}

/// Height of the lower sole. What the sums down a leg leave of a level of 0 is taken off: footsteps
/// on it would else stand a few millionths above the ground for good.
float GroundUnder(const MotionCore& core) {
  constexpr float kRounding = 1e-6f;  // of a leg, some eight times what a float drops of it
  const auto sole = [](const LimbRecord& leg) {
    return leg.pose.worldTarget.y - leg.extremityHeight;
  };
  const float ground = std::min(sole(core.leg[kRight]), sole(core.leg[kLeft]));
  return std::fabs(ground) <= kRounding * MeasuresOf(core).legLength ? 0 : ground;
}

// Footsteps lie nearer to the origin than this: squares of their distances stay numbers.
constexpr float kFarthestPlace = 1e18f;

bool IsPlace(const Point3& p) {
  return std::max({std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)}) < kFarthestPlace;
}

/// What can be wrong with a footstep in itself.
PlaceStatus CheckNew(const NewFootstep& step) {
  if (!IsFinite(step.position) || !IsPlace(step.position) || !IsFinite(step.angle) ||
      step.duration <= 0 || step.side < 0 || step.side > 1) {
    return PlaceStatus::kBadValue;
  }
  if (step.start < 0) return PlaceStatus::kNegativeTime;
  if (Later(step.start, step.duration) >= kFootstepTimeLimit) return PlaceStatus::kTooLate;
  return PlaceStatus::kPlaced;
}

/// Puts a footstep in at `index` if it is sound and fits.
PlaceStatus PlaceAt(FootstepTrack& track, int index, const NewFootstep& step) {
  const PlaceStatus status = CheckNew(step);
  if (status != PlaceStatus::kPlaced) return status;
  const FootstepSpan* before = SpanOf(track, index - 1);
  if (before && before->start > step.start) return PlaceStatus::kOutOfOrder;
  const TimeValue last = Later(step.start, std::int64_t{step.duration} - track.ticksPerFrame);
  if (!SpanFits(track, index, step.side, step.start, last)) return PlaceStatus::kDoesNotFit;
  return InsertFootstep(track, index, step) == kDone ? PlaceStatus::kPlaced
                                                     : PlaceStatus::kOutOfMemory;
}

/// A copy of the track to work on, committed whole.
bool Scratch(const MotionCore& core, FootstepTrack& track) {
  if (CopyFootsteps(track, core.footsteps) == kRefused) return false;
  if (track.numFootsteps == 0) track.ticksPerFrame = core.ticksPerFrame;
  ClearFootstepSelection(track);
  return true;
}

void SayChanged(MotionCore& core) {
  core.footstepsPending = true;
  RefreshMotionSpan(core);
}

void Commit(MotionCore& core, FootstepTrack&& track) {
  NormalizeAngles(track);
  TransformsFromPositions(track);
  core.footsteps = std::move(track);
  SayChanged(core);
}

/// True if a footstep at `index` touches the run of footsteps without keys, or nearly so.
bool NearInactive(const FootstepTrack& track, int index) {
  int first = 0, last = 0;
  if (!RangeOfInactive(track, first, last)) return true;
  return index >= first - 1 && index <= last + 1;
}

}  // namespace

StepMeasures MeasuresOf(const MotionCore& core) {
  return {core.leg[kRight].totalLength, core.pelvis.hipOffset};
}

int InsertPosition(const FootstepTrack& track, TimeValue now) {
  int index = track.numFootsteps;
  for (const auto& spans : track.spans) {
    const auto next =
        std::upper_bound(spans.begin(), spans.end(), now,
                         [](TimeValue t, const FootstepSpan& s) { return t < s.start; });
    if (next != spans.end()) index = std::min(index, next->footstep);
  }
  return index;
}

float HeadingTo(const MotionCore& core, int index, const Point3& position) {
  const FootstepTrack& track = core.footsteps;
  if (index <= 0 || index > track.numFootsteps) return BodyHeading(core);
  const auto before = static_cast<std::size_t>(index - 1);
  const Point3 way = position - track.position[before];
  if (way.x == 0 && way.z == 0) return track.angle[before];
  return UnwrapTo(track.angle[before], Atan2(-way.z, way.x));
}

// --- Batches -----------------------------------------------------------------------------------

namespace {

/// A batch as it is laid. What it changes are its own copies.
struct BatchRun {
  const MotionCore& core;
  GaitSettings settings;
  MultFprintParams params;
  TimeValue now;
  FootstepTrack track = {};

  StepMeasures figure = {};
  GaitDurations durations = {};  // of the footstep at work
  bool emptyTrack = false, alternates = false, pairs = false;
  bool insertInTime = false;  // the first footstep takes the current time
  int numStrides = 0;
  int index = 0, firstIndex = 0;
  int previousSide = 0;
  Point3 position = {}, from = {};  // where the last footstep stands, and where the batch set out
  Point3 forward = {}, left = {};
  float angle = 0;
  PlaceResult result = {};

  bool Refuse(PlaceStatus status, int failing = 0) {
    result = {status, failing, 0};
    return false;
  }
};

bool IsDuration(TimeValue t) { return t >= 0 && t < kFootstepTimeLimit; }

/// Durations of both ends of the batch.
bool TimeBatch(BatchRun& run) {
  MultFprintParams& params = run.params;
  GaitSettings& settings = run.settings;
  if (!settings.Legal() || settings.ticksPerFrame <= 0) return run.Refuse(PlaceStatus::kBadValue);
  SetActuals(params, run.figure);
  for (float value :
       {params.actualStrideWidth, params.actualStrideLength1, params.actualStrideLength2,
        params.actualStrideHeight1, params.actualStrideHeight2}) {
    if (!IsFinite(value)) return run.Refuse(PlaceStatus::kBadValue);
  }
  if (params.autoTiming) {
    const TimeValue frame = run.track.ticksPerFrame;
    const auto timed = [&](float stride, TimeValue cycle) {
      return AutoTiming(settings.fsGaitMode, run.figure.legLength, stride, cycle, frame);
    };
    for (TimeValue cycle : {params.cycle1, params.interpTiming ? params.cycle2 : frame}) {
      if (cycle < frame || !IsDuration(cycle)) return run.Refuse(PlaceStatus::kBadValue);
    }
    settings.Durations() = timed(params.actualStrideLength1, params.cycle1);
    settings.second = timed(params.actualStrideLength2, params.cycle2);
  }
  run.durations = settings.Durations();
  for (const GaitDurations& durations : {run.durations, settings.second}) {
    if (!IsDuration(durations.ground) || !IsDuration(durations.air)) {
      return run.Refuse(PlaceStatus::kBadValue);
    }
  }
  return true;
}

bool CheckBatch(BatchRun& run) {
  const MultFprintParams& params = run.params;
  const int gait = run.settings.fsGaitMode;
  if (gait == kWalk && (LeavesNoSwing(run.durations) ||
                        (params.interpTiming && LeavesNoSwing(run.settings.second)))) {
    return run.Refuse(PlaceStatus::kDoubleSupportTooLong);
  }
  if (gait == kRun && run.durations.air < run.track.ticksPerFrame &&
      (!params.alternate || run.emptyTrack)) {
    return run.Refuse(PlaceStatus::kNeverInTheAir);
  }
  if (params.multiInsertInTime && run.now < 0) return run.Refuse(PlaceStatus::kNegativeTime);
  return true;
}

/// Puts the batch's next footstep in.
bool Put(BatchRun& run, const NewFootstep& step) {
  const PlaceStatus status = PlaceAt(run.track, run.index, step);
  if (status != PlaceStatus::kPlaced) return run.Refuse(status, run.result.placed + 1);
  SelectFootstep(run.track, run.index, true);
  ++run.index;
  ++run.result.placed;
  run.previousSide = step.side;
  run.position = step.position;
  return true;
}

/// The first footsteps of a track stand under the figure, the one whose side is next first.
bool StandPair(BatchRun& run) {
  const MotionCore& core = run.core;
  run.angle = BodyHeading(core);
  Point3 under = core.body.bodyPosition;
  under.y = GroundUnder(core);
  const Point3 aside = (run.params.actualStrideWidth * 0.5f) * LeftOf(run.angle);

  const TimeValue start = run.insertInTime ? run.now : 0;
  for (int k = 0; k < std::min(2, run.params.numFootsteps); ++k) {
    const int side = k == 0 ? run.settings.nextSide : 1 - run.settings.nextSide;
    const Point3 place = side == kLeft ? under + aside : under - aside;
    if (!Put(run, {side, start, run.durations.ground, place, run.angle})) return false;
  }
  // A single one leaves the other foot to be placed.
  if (run.result.placed == 1) run.settings.nextSide = 1 - run.settings.nextSide;
  run.insertInTime = false;
  return true;
}

/// Finds where in the track the batch goes, and which footstep it sets out from.
bool FindPlace(BatchRun& run) {
  FootstepTrack& track = run.track;
  run.index = run.insertInTime ? InsertPosition(track, run.now) : track.numFootsteps;
  if (run.insertInTime && !NearInactive(track, run.index)) {
    return run.Refuse(PlaceStatus::kOutsideInactive);
  }
  const auto base = static_cast<std::size_t>(std::max(0, run.index - 1));
  run.position = track.position[base];
  run.angle = track.angle[base];
  run.previousSide = track.side[base];
  return true;
}

/// Durations of the k-th stride.
void TimeStride(BatchRun& run, float stride, int k) {
  const MultFprintParams& params = run.params;
  if (!params.interpTiming) return;
  const int n = run.numStrides;
  const TimeValue frame = run.track.ticksPerFrame;
  const auto between = [&](TimeValue first, TimeValue second) {
    return static_cast<TimeValue>(
        Interpolated(static_cast<float>(first), static_cast<float>(second), k, n));
  };
  if (params.autoTiming) {
    run.durations = AutoTiming(run.settings.fsGaitMode, run.figure.legLength, stride,
                               between(params.cycle1, params.cycle2), frame);
    return;
  }
  // Cut to whole frames, as all other durations are.
  const GaitDurations& first = run.settings.Durations();
  const GaitDurations& second = run.settings.second;
  const auto cut = [frame](TimeValue t) { return t - t % frame; };
  run.durations = {cut(between(first.ground, second.ground)), cut(between(first.air, second.air))};
}

/// Moves on by the k-th stride.
void Advance(BatchRun& run, int k) {
  const MultFprintParams& params = run.params;
  const int n = params.interpTiming ? run.numStrides : 0;
  const float stride = Interpolated(params.actualStrideLength1, params.actualStrideLength2, k, n);
  TimeStride(run, stride, k);
  run.position += stride * run.forward;
  run.position.y += Interpolated(params.actualStrideHeight1, params.actualStrideHeight2, k, n);
}

bool LayStep(BatchRun& run, bool first) {
  const int side = run.settings.nextSide;
  if (run.alternates || side != run.previousSide) {
    const float width = run.params.actualStrideWidth;
    run.position += (side == kLeft ? width : -width) * run.left;
  }
  NextStart next = NextFootstepStart(
      run.track, {run.index, side, run.settings.fsGaitMode, run.durations, true, first});
  if (first && run.insertInTime) next = {run.now};
  if (next.lengthened >= 0) SpanOf(run.track, next.lengthened)->duration = next.duration;
  if (!Put(run, {side, next.start, run.durations.ground, run.position, run.angle})) return false;
  if (run.alternates) run.settings.nextSide = 1 - side;
  return true;
}

/// Before the first footstep a batch is laid forward from it, and moved back so that it ends there.
void MoveBack(BatchRun& run) {
  const Point3 travel = run.position - run.from;
  for (int i = run.firstIndex; i < run.index; ++i) {
    run.track.position[static_cast<std::size_t>(i)] -= travel;
  }
}

bool LayBatch(BatchRun& run) {
  if (run.emptyTrack) {
    if (!StandPair(run)) return false;
    const auto last = static_cast<std::size_t>(run.track.numFootsteps - 1);
    run.position = run.track.position[last];
  } else if (!FindPlace(run)) {
    return false;
  }
  run.forward = ForwardOf(run.angle);
  run.left = LeftOf(run.angle);
  run.from = run.position;
  run.firstIndex = run.index;
  bool advances = true;
  const int before = run.result.placed;
  for (int strides = 0; run.result.placed < run.params.numFootsteps;) {
    if (advances) Advance(run, strides++);
    if (!LayStep(run, run.result.placed == before)) return false;
    if (run.pairs) advances = !advances;
  }
  if (!run.emptyTrack && run.insertInTime && run.firstIndex == 0) MoveBack(run);
  return true;
}

BatchRun RunBatch(const MotionCore& core, const GaitSettings& settings,
                  const MultFprintParams& params, TimeValue now) {
  BatchRun run{core, settings, params, now};
  if (!Scratch(core, run.track)) {
    run.Refuse(PlaceStatus::kOutOfMemory);
    return run;
  }
  run.figure = MeasuresOf(core);
  run.emptyTrack = run.track.numFootsteps == 0;
  run.insertInTime = params.multiInsertInTime != 0;
  run.alternates = settings.fsGaitMode == kWalk || params.alternate;
  run.pairs = settings.fsGaitMode == kJump && params.alternate;
  run.numStrides = NumStrides(params, settings.fsGaitMode, run.emptyTrack);
  if (!TimeBatch(run)) return run;
  if (params.numFootsteps <= 0) {
    run.Refuse(PlaceStatus::kNothingAsked);
  } else if (CheckBatch(run)) {
    (void)LayBatch(run);
  }
  return run;
}

}  // namespace

PlaceResult PlaceMultiple(MotionCore& core, GaitSettings& settings, const MultFprintParams& params,
                          TimeValue now) {
  BatchRun run = RunBatch(core, settings, params, now);
  if (run.result.Done()) Commit(core, std::move(run.track));
  // Asking for no footsteps still sets the timing that the panel shows.
  if (run.result.Done() || run.result.status == PlaceStatus::kNothingAsked) {
    settings = run.settings;
  }
  return run.result;
}

PlaceResult DryRunMultiple(const MotionCore& core, const GaitSettings& settings,
                           const MultFprintParams& params, TimeValue now) {
  return RunBatch(core, settings, params, now).result;
}

// --- Plans -------------------------------------------------------------------------------------

PlaceResult PlaceFootsteps(MotionCore& core, std::span<const NewFootstep> plan) {
  if (plan.empty()) return {PlaceStatus::kNothingAsked};
  if (plan.size() > static_cast<std::size_t>(kFootstepTimeLimit)) {
    return {PlaceStatus::kOutOfMemory};
  }
  FootstepTrack track;
  if (!Scratch(core, track) ||
      EnsureCapacity(track, track.numFootsteps + static_cast<int>(plan.size())) == kRefused) {
    return {PlaceStatus::kOutOfMemory};
  }
  PlaceResult result;
  TimeValue before = std::numeric_limits<TimeValue>::min();
  for (const NewFootstep& step : plan) {
    const int index = InsertPosition(track, step.start);
    PlaceStatus status = PlaceAt(track, index, step);
    if (step.start < before) status = PlaceStatus::kOutOfOrder;
    if (status != PlaceStatus::kPlaced) return {status, result.placed + 1, 0};
    SelectFootstep(track, index, true);
    before = step.start;
    ++result.placed;
  }
  Commit(core, std::move(track));
  return result;
}

// --- One footstep ------------------------------------------------------------------------------

namespace {

/// Puts one in, with what that means for the footstep before it.
PlaceStatus PutOne(MotionCore& core, int index, NewFootstep step, const NextStart& next = {}) {
  FootstepTrack& track = core.footsteps;
  if (track.numFootsteps == 0) track.ticksPerFrame = core.ticksPerFrame;
  if (SpanOf(track, index - 1) && IsFinite(step.angle)) {
    step.angle = UnwrapTo(track.angle[static_cast<std::size_t>(index - 1)], step.angle);
  }
  const PlaceStatus status = PlaceAt(track, index, step);
  if (status != PlaceStatus::kPlaced) return status;
  if (next.lengthened >= 0) {
    // It stands before the new one and keeps its number.
    SpanOf(track, next.lengthened)->duration = next.duration;
    if (track.freeFormAfter.Any()) RefreshFreeFormIntervals(track);
  }
  if (index + 1 < track.numFootsteps) NormalizeAngles(track);
  TransformFromPosition(track, index);
  ClearFootstepSelection(track);
  SelectFootstep(track, index, true);
  SayChanged(core);
  return status;
}

/// Puts one in at `index` with the settings' side and duration.
int AddOne(MotionCore& core, GaitSettings& settings, const FootstepPlace& place, int index,
           const NextStart& next) {
  const int side = settings.nextSide;
  const NewFootstep step{side, next.start, settings.Durations().ground, place.position,
                         place.angle};
  if (PutOne(core, index, step, next) != PlaceStatus::kPlaced) return kAddDoesNotFit;
  settings.nextSide = 1 - side;
  return kFootstepAdded;
}

bool NoSwing(const GaitSettings& settings) {
  return settings.fsGaitMode == kWalk && LeavesNoSwing(settings.Durations());
}

}  // namespace

PlaceResult PlaceFootstepAt(MotionCore& core, int index, const NewFootstep& step) {
  const PlaceStatus status = PutOne(core, index, step);
  return status == PlaceStatus::kPlaced ? PlaceResult{status, 0, 1} : PlaceResult{status, 1, 0};
}

int AddFootstepAtTime(MotionCore& core, GaitSettings& settings, const FootstepPlace& place,
                      TimeValue time) {
  if (!settings.Legal()) return kAddDoesNotFit;
  if (NoSwing(settings)) return kAddNoSwing;
  if (time < 0) return kAddNegativeTime;
  const int index = InsertPosition(core.footsteps, time);
  if (!NearInactive(core.footsteps, index)) return kAddOutsideInactive;
  return AddOne(core, settings, place, index, {time});
}

int AddFootprint(MotionCore& core, GaitSettings& settings, const FootstepPlace& place,
                 TimeValue now) {
  if (!settings.Legal()) return kAddDoesNotFit;
  if (settings.fsCreateState) return AddFootstepAtTime(core, settings, place, now);
  if (NoSwing(settings)) return kAddNoSwing;
  const int index = core.footsteps.numFootsteps;
  if (index == 0) return kAddNoFootsteps;
  if (!NearInactive(core.footsteps, index)) return kAddOutsideInactive;
  const NextStart next = NextFootstepStart(
      core.footsteps, {index, settings.nextSide, settings.fsGaitMode, settings.Durations()});
  return AddOne(core, settings, place, index, next);
}

int AddFootstepNow(MotionCore& core, GaitSettings& settings, const Point3& position,
                   TimeValue now) {
  const FootstepTrack& track = core.footsteps;
  const int index = settings.fsCreateState ? InsertPosition(track, now) : track.numFootsteps;
  return AddFootprint(core, settings, {position, HeadingTo(core, index, position)}, now);
}

}  // namespace strider
