#include "strider/footsteps/gait.h"

#include <algorithm>
#include <cmath>

#include "strider/core/motion_core.h"

namespace strider {
namespace {

/// A gait's defaults: strides in leg lengths and in units for a figure 75 high, times in frames.
struct GaitRow {
  float paramStride, actualStride;
  int cycle;
  int ground, air;
};
constexpr GaitRow kGaitRows[kNumGaits] = {
    {0.75f, 27.108f, 15, 18, 3},
    {1.5f, 54.217f, 15, 6, 9},
    {2.4f, 86.747f, 20, 5, 15},
};

bool IsGait(int gait) { return gait >= kWalk && gait <= kJump; }

TimeValue ToFrames(TimeValue t, TimeValue from, TimeValue to) {
  return Later(0, std::int64_t{t} * to / std::max(1, from));
}

/// Ticks of a duration worked out as a float; what no time can hold becomes the longest.
TimeValue Truncated(float ticks) {
  if (!(ticks < 1e9f)) return 1'000'000'000;
  return static_cast<TimeValue>(std::max(ticks, -1e9f));
}

/// Whole frames; half a frame and more rounds up.
TimeValue WholeFrames(TimeValue ticks, TimeValue frame) {
  const TimeValue rest = ticks % frame;
  return Later(ticks, std::int64_t{2} * rest < frame ? -std::int64_t{rest} : frame - rest);
}

}  // namespace

void InitParams(MultFprintParams& params, int gait, TimeValue ticksPerFrame) {
  params.numFootsteps = 4;
  params.actualStrideWidth = 7.229f;
  params.paramStrideWidth = 1;
  params.actualStrideHeight1 = params.actualStrideHeight2 = 0;
  params.autoTiming = params.alternate = 1;
  params.interpTiming = params.multiInsertInTime = 0;
  if (!IsGait(gait)) return;
  const GaitRow& row = kGaitRows[gait - 1];
  params.paramStrideLength1 = params.paramStrideLength2 = row.paramStride;
  params.actualStrideLength1 = params.actualStrideLength2 = row.actualStride;
  params.cycle1 = params.cycle2 = row.cycle * ticksPerFrame;
}

GaitSettings::GaitSettings(TimeValue frame) : ticksPerFrame(frame), second{frame, frame} {
  for (int i = 0; i < kNumGaits; ++i) {
    durations[i] = {kGaitRows[i].ground * frame, kGaitRows[i].air * frame};
    InitParams(params[i], kWalk + i, frame);
  }
}

void RetimeSettings(GaitSettings& settings, TimeValue ticksPerFrame) {
  const TimeValue old = settings.ticksPerFrame;
  if (ticksPerFrame <= 0 || old == ticksPerFrame) return;
  const auto retime = [&](TimeValue& t) { t = ToFrames(t, old, ticksPerFrame); };
  for (GaitDurations* durations :
       {&settings.durations[0], &settings.durations[1], &settings.durations[2], &settings.second}) {
    retime(durations->ground);
    retime(durations->air);
  }
  for (MultFprintParams& params : settings.params) {
    retime(params.cycle1);
    retime(params.cycle2);
  }
  settings.ticksPerFrame = ticksPerFrame;
}

void SetActuals(MultFprintParams& params, const StepMeasures& figure) {
  params.actualStrideWidth = params.paramStrideWidth * 2 * figure.hipWidth;
  params.actualStrideLength1 = figure.legLength * params.paramStrideLength1;
  params.actualStrideLength2 = figure.legLength * params.paramStrideLength2;
}

// --- Automatic timing --------------------------------------------------------------------------

namespace {

// A walk's legs reach this share of their length from one footprint to the next before the rear
// foot has to leave; what is left of it over the stride is walked in double support.
constexpr float kWalkReach = 0.93f, kLeastWalkReach = 0.05f;
// A runner's foot stays down while the body passes this share of the leg's length over it, and for
// this share of the cycle at most.
constexpr float kRunReach = 0.6f, kMostRunContact = 0.7f;
constexpr int kMostDoubleFrames = 5, kLeastFrames = 2;

GaitDurations WalkTiming(float legLength, float stride, TimeValue cycle, TimeValue frame) {
  const float speed = std::fabs(stride) / static_cast<float>(cycle);
  const float reach =
      std::max(legLength * kWalkReach - std::fabs(stride), legLength * kLeastWalkReach);
  TimeValue doubleSupport = kMostDoubleFrames * frame;
  if (speed > 0) {
    doubleSupport = std::min(doubleSupport, Truncated(reach / speed - static_cast<float>(frame)));
  }
  doubleSupport = std::min(doubleSupport, cycle / (kMostDoubleFrames * frame) * frame);
  doubleSupport = std::max(WholeFrames(doubleSupport, frame), kLeastFrames * frame);
  GaitDurations result{WholeFrames(Later(cycle, doubleSupport), frame), doubleSupport};
  if (LeavesNoSwing(result)) result.ground = 2 * doubleSupport + frame;
  return result;
}

GaitDurations RunTiming(float legLength, float stride, TimeValue cycle, TimeValue frame) {
  const float speed = std::fabs(stride) / static_cast<float>(cycle);
  const float most = kMostRunContact * static_cast<float>(cycle);
  const float contact = speed > 0 ? std::min(legLength * kRunReach / speed, most) : most;
  const TimeValue ground = std::max(WholeFrames(Truncated(contact), frame), kLeastFrames * frame);
  // A cycle shorter than the shortest contact leaves no time in the air, but never less than none.
  return {ground, std::max(0, WholeFrames(cycle, frame) - ground)};
}

}  // namespace

GaitDurations AutoTiming(int gait, float legLength, float stride, TimeValue cycle,
                         TimeValue ticksPerFrame) {
  const TimeValue frame = std::max(1, ticksPerFrame);
  cycle = std::clamp(cycle, 1, kFootstepTimeLimit);
  return gait == kWalk ? WalkTiming(legLength, stride, cycle, frame)
                       : RunTiming(legLength, stride, cycle, frame);
}

// --- The next start ----------------------------------------------------------------------------

namespace {

/// The last spans of both feet before a place in the track; null where a foot has none.
struct SpansBefore {
  const FootstepSpan* own = nullptr;    // of the side to be placed
  const FootstepSpan* other = nullptr;  // of the other one
  const FootstepSpan* last = nullptr;   // of the two, the one that lifts later; the left on a tie
};

const FootstepSpan* LastBefore(const std::vector<FootstepSpan>& spans, int index) {
  const auto next = std::partition_point(
      spans.begin(), spans.end(), [index](const FootstepSpan& s) { return s.footstep < index; });
  return next == spans.begin() ? nullptr : &*(next - 1);
}

SpansBefore FindSpansBefore(const FootstepTrack& track, int index, int side) {
  const FootstepSpan* right = LastBefore(track.spans[kRight], index);
  const FootstepSpan* left = LastBefore(track.spans[kLeft], index);
  SpansBefore before;
  before.own = side == kRight ? right : left;
  before.other = side == kRight ? left : right;
  before.last = !right || (left && right->Lift() <= left->Lift()) ? left : right;
  return before;
}

/// The other foot may stay longer only up to its own next touch, if it has one already.
bool HasRoom(const FootstepTrack& track, const FootstepSpan& span, TimeValue duration) {
  const auto& spans = track.spans[track.side[static_cast<std::size_t>(span.footstep)]];
  const FootstepSpan* next = &span + 1;
  return next == spans.data() + spans.size() || next->start > Later(span.start, duration);
}

NextStart WalkStart(const FootstepTrack& track, const NextStep& step, const SpansBefore& before) {
  const GaitDurations& d = step.durations;
  const FootstepSpan* own = before.own;
  const FootstepSpan* other = before.other;
  if (before.last == other) {
    const TimeValue candidate = Later(other->Lift(), -d.air);
    if (!own || candidate > own->Lift()) return {candidate};
  }
  // The foot lifts, swings while the other one stands alone, and touches again.
  NextStart next{Later(own->Lift(), std::int64_t{d.ground} - 2 * std::int64_t{d.air})};
  if (!step.stretch || !other || track.active.Get(other->footstep)) return next;
  if (before.last == own && other->start < own->start) return next;
  // Up to a frame into the double support with the new footstep, the other foot carries the figure.
  const std::int64_t duration = std::int64_t{track.ticksPerFrame} - other->start - d.air +
                                own->start + own->duration + d.ground;
  next.duration = Later(0, duration);
  if (HasRoom(track, *other, next.duration)) next.lengthened = other->footstep;
  return next;
}

TimeValue JumpStart(const FootstepTrack& track, const NextStep& step, const SpansBefore& before) {
  const TimeValue air = step.durations.air;
  const FootstepSpan* own = before.own;
  const FootstepSpan* other = before.other;
  const auto after = [air](const FootstepSpan& span) { return Later(span.Lift(), air); };
  if (own) {
    if (!other || before.last == own) return after(*own);
    // Where the other foot has jumped on already, this one lands beside it.
    const bool jumpedOn = Later(own->Lift(), -track.ticksPerFrame) < other->start;
    if (!jumpedOn || other->duration != step.durations.ground) return after(*other);
  }
  return step.first ? after(*other) : other->start;
}

}  // namespace

NextStart NextFootstepStart(const FootstepTrack& track, const NextStep& step) {
  const SpansBefore before = FindSpansBefore(track, step.index, step.side);
  if (!before.last) return {};
  switch (step.gait) {
    case kRun: return {Later(before.last->Lift(), step.durations.air)};
    case kJump: return {JumpStart(track, step, before)};
    default: return WalkStart(track, step, before);
  }
}

// --- Read-outs ---------------------------------------------------------------------------------

float Interpolated(float first, float second, int k, int n) {
  if (n <= 0) return first;
  return first + (second - first) * (static_cast<float>(k) / static_cast<float>(n));
}

int NumStrides(const MultFprintParams& params, int gait, bool emptyTrack) {
  const bool pairs = gait == kJump && params.alternate;
  // Half of an odd number rounds up: a single last footstep is a stride too.
  const int strides =
      pairs ? params.numFootsteps / 2 + params.numFootsteps % 2 : params.numFootsteps;
  return std::max(0, strides - (!emptyTrack ? 0 : pairs ? 1 : 2));
}

BatchReadouts ReadoutsOf(const MultFprintParams& params, int gait, const GaitDurations& durations,
                         TimeValue ticksPerFrame, bool emptyTrack) {
  BatchReadouts out;
  const float frame = static_cast<float>(std::max(1, ticksPerFrame));
  const TimeValue cycle =
      Later(durations.ground, gait == kWalk ? -std::int64_t{durations.air} : durations.air);
  out.strides = NumStrides(params, gait, emptyTrack);
  out.cycle = static_cast<float>(cycle) / frame;
  if (cycle != 0) out.speed = params.actualStrideLength1 / out.cycle;
  if (params.interpTiming && out.strides > 0) {
    // The k-th of n strides is k / n of the way: the mean is (n - 1) / (2 n) of it.
    const int n = out.strides;
    const float mean =
        Interpolated(params.actualStrideLength1, params.actualStrideLength2, n - 1, n) +
        params.actualStrideLength1;
    out.totalDistance = static_cast<float>(n) * mean / 2;
  } else {
    out.totalDistance = static_cast<float>(out.strides) * params.actualStrideLength1;
  }
  return out;
}

}  // namespace strider
