#include "strider/footsteps/adapt_plan.h"

#include <algorithm>

#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

// A key of the ground path depends on the three phases on either side of it.
constexpr int kPathMargin = 3;
// A key bends the curves up to its second neighbours.
constexpr int kCurveMargin = 2;

/// Old times between the contacts that enclose the changed footsteps on both sides. Free-form is no
/// border: keys in there go along as it grows, and make room as it shrinks.
TimeRange RangeAround(const FootstepTrack& track, int first, int last) {
  TimeRange range{kTimeMax, kTimeMin};
  for (int i = first; i <= last; ++i) {
    // The two at each end settle the range; what lies between is within.
    if (i > first + 1 && i < last - 1) continue;
    const auto at = static_cast<std::size_t>(i);
    const auto& spans = track.spans[track.side[at]];
    const int index = track.sideIndex[at];
    TimeValue from = FirstFootstepTime(track), to = LastFootstepTime(track);
    if (index > 0) from = spans[static_cast<std::size_t>(index - 1)].Lift();
    if (index + 1 < static_cast<int>(spans.size())) {
      to = spans[static_cast<std::size_t>(index + 1)].start;
    }
    range.from = std::min(range.from, from);
    range.to = std::max(range.to, to);
  }
  return range;
}

TimeValue WholeFrameAfter(TimeValue t, TimeValue frame) {
  const TimeValue rounded = RoundToFrame(t, frame);
  return rounded > t ? rounded : Later(rounded, frame);
}
TimeValue WholeFrameBefore(TimeValue t, TimeValue frame) {
  const TimeValue rounded = RoundToFrame(t, frame);
  return rounded < t ? rounded : Later(rounded, -std::int64_t{frame});
}

/// Spaces the keys from index `from` to before `to` between two times that are taken.
bool SpaceGroup(std::vector<TimeValue>& times, std::size_t from, std::size_t to, TimeValue low,
                TimeValue high, TimeValue frame) {
  TimeValue taken = low;
  for (std::size_t k = from; k < to; ++k) {
    if (times[k] <= taken) times[k] = WholeFrameAfter(taken, frame);
    taken = times[k];
  }
  taken = high;
  for (std::size_t k = to; k > from; --k) {
    if (times[k - 1] >= taken) times[k - 1] = WholeFrameBefore(taken, frame);
    taken = times[k - 1];
  }
  if (from == to || times[from] > low) return low < high;
  // Fewer frames than keys: they share the ticks.
  const std::int64_t room = std::int64_t{high} - low, count = static_cast<std::int64_t>(to - from);
  if (room <= count) return false;
  for (std::size_t k = from; k < to; ++k) {
    times[k] = Later(low, room * static_cast<std::int64_t>(k - from + 1) / (count + 1));
  }
  return true;
}

}  // namespace

BodyReach ReachOfChange(const FootstepTrack& before, const std::vector<int>& bodyPhases, int first,
                        int last) {
  const TimeRange narrow = RangeAround(before, first, last);
  const auto timeOf = [&](int phase) {
    return before.phases[static_cast<std::size_t>(phase)].time;
  };
  const auto firstNotBefore = [&](TimeValue t) {
    const auto found = std::partition_point(bodyPhases.begin(), bodyPhases.end(),
                                            [&](int phase) { return timeOf(phase) < t; });
    return static_cast<int>(found - bodyPhases.begin());
  };
  const int final = static_cast<int>(bodyPhases.size()) - 1;
  const int begin = std::clamp(firstNotBefore(narrow.from) - kPathMargin, 0, final);
  const int end = std::clamp(firstNotBefore(Later(narrow.to, 1)) - 1 + kPathMargin, begin, final);
  BodyReach reach;
  if (begin > 0) reach.times.from = timeOf(bodyPhases[static_cast<std::size_t>(begin)]);
  if (end < final) reach.times.to = timeOf(bodyPhases[static_cast<std::size_t>(end)]);
  // Keys at a cut end of a path are not the whole path's.
  reach.firstPath = std::max(begin - kPathMargin, 0);
  reach.lastPath = std::min(end + kPathMargin, final);
  return reach;
}

TimeRange WidenedBy(const KeyTrack& track, const TimeRange& range) {
  TimeRange wide = range;
  const auto timeOf = [&track](int i) { return track.times[static_cast<std::size_t>(i)].time; };
  int first = InsertionIndex(track, range.from);
  if (first > 0 && timeOf(first - 1) == range.from) --first;
  const int last = InsertionIndex(track, range.to) - 1;
  if (first > last) return range;  // no key in it
  if (range.from != kTimeMin) {
    wide.from =
        first > kCurveMargin ? std::min(range.from, timeOf(first - kCurveMargin)) : kTimeMin;
  }
  if (range.to != kTimeMax) {
    const int after = last + kCurveMargin;
    wide.to = after < track.numKeys ? std::max(range.to, timeOf(after)) : kTimeMax;
  }
  return wide;
}

TrackPlan PlanOf(KeyTrack& track, const TimeRange& range) {
  TrackPlan plan;
  plan.track = &track;
  plan.first = InsertionIndex(track, Later(range.from, -1));
  const int end = InsertionIndex(track, range.to);
  plan.was.reserve(static_cast<std::size_t>(std::max(end - plan.first, 0)));
  for (int i = plan.first; i < end; ++i) {
    plan.was.push_back(track.times[static_cast<std::size_t>(i)].time);
  }
  plan.is = plan.was;
  return plan;
}

bool SpaceOut(TrackPlan& plan, const std::vector<bool>& fixed, TimeValue ticksPerFrame) {
  if (plan.is == plan.was) return true;
  const auto timeOf = [&plan](int i) {
    return plan.track->times[static_cast<std::size_t>(i)].time;
  };
  const int end = plan.first + plan.Count();
  TimeValue low = plan.first > 0 ? timeOf(plan.first - 1) : kTimeMin;
  const TimeValue high = end < plan.track->numKeys ? timeOf(end) : kTimeMax;
  std::size_t from = 0;
  for (std::size_t k = 0; k <= plan.is.size(); ++k) {
    if (k < plan.is.size() && !fixed[k]) continue;
    const TimeValue next = k < plan.is.size() ? plan.is[k] : high;
    if (!SpaceGroup(plan.is, from, k, low, next, ticksPerFrame)) return false;
    low = next;
    from = k + 1;
  }
  return true;
}

void CommitTimes(const TrackPlan& plan) {
  if (plan.is == plan.was) return;
  // Keys that go on move from the last, keys that go back from the first, so that none meets one
  // that still has to make way.
  const int count = plan.Count();
  for (int pass = 0; pass < 2; ++pass) {
    for (int k = 0; k < count; ++k) {
      const int at = pass == 0 ? count - 1 - k : k;
      (void)SetKeyTime(*plan.track, plan.first + at, plan.is[static_cast<std::size_t>(at)]);
    }
  }
}

}  // namespace strider
