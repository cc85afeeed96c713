#include "strider/footsteps/retime.h"

#include <new>

#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

/// Whether a footstep that was moved stands well among its neighbours, as they now are.
bool StandsWell(const FootstepTrack& track, int footstep) {
  const FootstepSpan& span = *SpanOf(track, footstep);
  if (span.start < 0 || span.duration < track.ticksPerFrame ||
      std::int64_t{span.start} + span.duration >= kFootstepTimeLimit) {
    return false;
  }
  const FootstepSpan* before = SpanOf(track, footstep - 1);
  const FootstepSpan* after = SpanOf(track, footstep + 1);
  if ((before && before->start > span.start) || (after && after->start < span.start)) return false;

  const auto i = static_cast<std::size_t>(footstep);
  const auto& spans = track.spans[track.side[i]];
  const auto k = static_cast<std::size_t>(track.sideIndex[i]);
  return (k == 0 || spans[k - 1].Lift() < span.start) &&
         (k + 1 == spans.size() || span.Lift() < spans[k + 1].start);
}

}  // namespace

int RetimeFootstep(FootstepTrack& track, int footstep, TimeValue start, TimeValue duration) {
  FootstepSpan* span = SpanOf(track, footstep);
  if (!span) return kRefused;
  if (span->start == start && span->duration == duration) return kDone;
  const FootstepSpan old = *span;
  span->start = start;
  span->duration = duration;
  if (!StandsWell(track, footstep)) {
    *span = old;
    return kRefused;
  }
  if (track.freeFormAfter.Any()) RefreshFreeFormIntervals(track);
  return kDone;
}

int MapFootstepTimes(FootstepTrack& track, const std::function<TimeValue(TimeValue)>& map,
                     bool selectedOnly, int& first, int& last) {
  first = track.numFootsteps;
  last = -1;
  std::vector<FootstepSpan> old[2];
  try {
    for (int side = 0; side < 2; ++side) old[side] = track.spans[side];
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  for (int i = 0; i < track.numFootsteps; ++i) {
    FootstepSpan& span = *SpanOf(track, i);
    const TimeValue start =
        !selectedOnly || track.startEdgeSelected.Get(i) ? map(span.start) : span.start;
    const TimeValue lift =
        !selectedOnly || track.endEdgeSelected.Get(i) ? map(span.Lift()) : span.Lift();
    const TimeValue duration = Later(lift, -std::int64_t{start});
    if (start == span.start && duration == span.duration) continue;
    span.start = start;
    span.duration = duration;
    if (last < 0) first = i;
    last = i;
  }
  for (int i = first; i <= last; ++i) {
    const FootstepSpan& now = *SpanOf(track, i);
    const auto k = static_cast<std::size_t>(i);
    const FootstepSpan& was = old[track.side[k]][static_cast<std::size_t>(track.sideIndex[k])];
    if ((now.start == was.start && now.duration == was.duration) || StandsWell(track, i)) continue;
    for (int side = 0; side < 2; ++side) track.spans[side].swap(old[side]);
    first = track.numFootsteps;
    last = -1;
    return kRefused;
  }
  if (track.freeFormAfter.Any()) RefreshFreeFormIntervals(track);
  return kDone;
}

}  // namespace strider
