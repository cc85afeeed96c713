#include "strider/footsteps/key_phase.h"

#include <algorithm>
#include <cmath>

#include "strider/footsteps/support.h"

namespace strider {
namespace {

using Spans = std::vector<FootstepSpan>;

int LastTouched(const Spans& spans, TimeValue t) {
  const auto after =
      std::upper_bound(spans.begin(), spans.end(), t,
                       [](TimeValue time, const FootstepSpan& s) { return time < s.start; });
  return static_cast<int>(after - spans.begin()) - 1;
}

TimeValue Between(TimeValue from, TimeValue to) { return Later(to, -std::int64_t{from}); }

float FractionOf(TimeValue t, TimeValue start, TimeValue length) {
  if (length == 0) return 0;
  return static_cast<float>(static_cast<double>(std::int64_t{t} - start) / length);
}

/// The footstep whose free-form interval lies around `t`; -1 for none.
int OpenerAround(const FootstepTrack& track, TimeValue t) {
  for (const Spans& spans : track.spans) {
    const int index = LastTouched(spans, t);
    if (index < 0) continue;
    const int footstep = spans[static_cast<std::size_t>(index)].footstep;
    const auto i = static_cast<std::size_t>(footstep);
    if (track.freeFormStart[i] < t && t < track.freeFormEnd[i]) return footstep;
  }
  return -1;
}

struct Stretch {
  TimeValue start = 0, length = 0;
  TimeValue End() const { return Later(start, length); }
};

/// Where a time goes as a stretch around it, or next to it, becomes another one.
TimeValue Mapped(const Stretch& from, const Stretch& to, TimeValue t, TimeValue frame) {
  const auto moved = [t](TimeValue was, TimeValue is) { return Later(t, std::int64_t{is} - was); };
  if (t >= from.End()) return moved(from.End(), to.End());
  if (t <= from.start || from.length == to.length) return moved(from.start, to.start);
  const double share = static_cast<double>(std::int64_t{t} - from.start) / from.length;
  const auto ticks = static_cast<std::int64_t>(std::nearbyint(share * to.length));
  return std::clamp(RoundToFrame(Later(to.start, ticks), frame), to.start, to.End());
}

/// The stretch of time that a kind of phase names in a track.
Stretch StretchOf(const FootstepTrack& track, int side, int phaseType, int spanIndex) {
  const Spans& spans = track.spans[side];
  const TimeValue first = FirstFootstepTime(track), end = LastFootstepTime(track);
  if (phaseType == kInFreeForm) {
    const auto i = static_cast<std::size_t>(std::clamp(spanIndex, 0, track.numFootsteps - 1));
    return {track.freeFormStart[i], Between(track.freeFormStart[i], track.freeFormEnd[i])};
  }
  if (spans.empty() || phaseType == kNoSpans) return {first, Between(first, end)};
  const int last = static_cast<int>(spans.size()) - 1;
  const auto index = static_cast<std::size_t>(std::clamp(spanIndex, 0, last));
  const FootstepSpan& span = spans[index];
  switch (phaseType) {
    case kInSpan: return {span.start, span.duration};
    case kBetweenSpans:
      if (static_cast<int>(index) == last) return {span.Lift(), Between(span.Lift(), end)};
      return {span.Lift(), Between(span.Lift(), spans[index + 1].start)};
    case kPastEnd: return {end, 0};
    case kAfterSpans: return {spans.back().Lift(), Between(spans.back().Lift(), end)};
    default: return {first, Between(first, spans.front().start)};
  }
}

}  // namespace

TransitionPhase TransitionPhaseOf(const FootstepTrack& track, TimeValue t) {
  const auto& list = track.transitions;
  const auto after =
      std::upper_bound(list.begin(), list.end(), t,
                       [](TimeValue time, const SupportTransition& s) { return time < s.time; });
  TransitionPhase phase;
  phase.transition = std::max(static_cast<int>(after - list.begin()) - 1, 0);
  if (list.empty()) return phase;
  const SupportTransition& in = list[static_cast<std::size_t>(phase.transition)];
  phase.fraction = FractionOf(t, in.time, in.length);
  return phase;
}

namespace {

/// From a transition to the next; behind the last one as long as that counts.
Stretch StretchOf(const FootstepTrack& track, std::size_t transition) {
  const auto& list = track.transitions;
  const SupportTransition& in = list[transition];
  if (transition + 1 == list.size()) return {in.time, in.length};
  return {in.time, Between(in.time, list[transition + 1].time)};
}

}  // namespace

namespace {

/// By the contacts of the foot alone.
LegKeyPhase ContactPhaseOf(const FootstepTrack& track, int side, TimeValue t) {
  const Spans& spans = track.spans[side];
  LegKeyPhase phase;
  if (spans.empty()) return phase;
  const int index = LastTouched(spans, t);
  phase.spanIndex = std::max(index, 0);
  const bool isLast = index + 1 == static_cast<int>(spans.size());
  if (index < 0) {
    phase.phaseType = kBeforeSpans;
  } else if (t <= spans[static_cast<std::size_t>(index)].Lift()) {
    phase.phaseType = kInSpan;
  } else if (!isLast) {
    phase.phaseType = kBetweenSpans;
  } else {
    phase.phaseType = t > LastFootstepTime(track) ? kPastEnd : kAfterSpans;
  }
  return phase;
}

}  // namespace

LegKeyPhase LegKeyPhaseOf(const FootstepTrack& track, int side, TimeValue t) {
  LegKeyPhase phase = ContactPhaseOf(track, side, t);
  const int opener = OpenerAround(track, t);
  if (opener >= 0) {
    phase.phaseType = kInFreeForm;
    phase.spanIndex = opener;
  }
  Stretch stretch = StretchOf(track, side, phase.phaseType, phase.spanIndex);
  if (phase.phaseType == kPastEnd) stretch.length = Between(stretch.start, t);
  phase.phaseStart = stretch.start;
  phase.phaseLength = stretch.length;
  phase.fraction = FractionOf(t, stretch.start, stretch.length);
  return phase;
}

TimeValue MovedTime(const FootstepTrack& from, const FootstepTrack& to, TimeValue t) {
  if (from.transitions.empty() || to.transitions.empty()) return t;
  const auto in = static_cast<std::size_t>(TransitionPhaseOf(from, t).transition);
  const std::size_t last = to.transitions.size() - 1;
  return Mapped(StretchOf(from, in), StretchOf(to, std::min(in, last)), t, to.ticksPerFrame);
}

TimeValue MovedLegTime(const FootstepTrack& from, const FootstepTrack& to, int side, TimeValue t) {
  LegKeyPhase phase = LegKeyPhaseOf(from, side, t);
  Stretch wanted = StretchOf(to, side, phase.phaseType, phase.spanIndex);
  if (phase.phaseType == kInFreeForm && wanted.length == 0) {  // the interval has closed
    phase = ContactPhaseOf(from, side, t);
    wanted = StretchOf(to, side, phase.phaseType, phase.spanIndex);
  }
  // Past the end and before the start nothing sets a measure: a key keeps its distance.
  const Stretch own = StretchOf(from, side, phase.phaseType, phase.spanIndex);
  return Mapped(own, wanted, t, to.ticksPerFrame);
}

bool IsAtEvent(const FootstepTrack& track, TimeValue t) {
  if (track.transitions.empty()) return false;
  return track.transitions[static_cast<std::size_t>(TransitionPhaseOf(track, t).transition)].time ==
         t;
}

bool IsAtLegEvent(const FootstepTrack& track, int side, TimeValue t) {
  return IsEventState(FootstepLegState(track, side, t));
}

bool SamePattern(const FootstepTrack& a, const FootstepTrack& b) {
  return a.numFootsteps == b.numFootsteps &&
         std::equal(a.transitions.begin(), a.transitions.end(), b.transitions.begin(),
                    b.transitions.end(),
                    [](const SupportTransition& x, const SupportTransition& y) {
                      return x.rightSpan == y.rightSpan && x.leftSpan == y.leftSpan &&
                             x.support == y.support;
                    });
}

}  // namespace strider
