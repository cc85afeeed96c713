#include "strider/footsteps/key_phase.h"

#include <algorithm>
#include <cmath>

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

TimeValue AtFraction(TimeValue start, TimeValue length, float fraction, TimeValue frame) {
  const double ticks = std::nearbyint(static_cast<double>(fraction) * length);
  return RoundToFrame(Later(start, static_cast<std::int64_t>(ticks)), frame);
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
};

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

TimeValue TimeOfPhase(const FootstepTrack& track, const TransitionPhase& phase) {
  const auto& list = track.transitions;
  if (list.empty()) return 0;
  const int last = static_cast<int>(list.size()) - 1;
  const auto index = static_cast<std::size_t>(std::clamp(phase.transition, 0, last));
  return AtFraction(list[index].time, list[index].length, phase.fraction, track.ticksPerFrame);
}

LegKeyPhase LegKeyPhaseOf(const FootstepTrack& track, int side, TimeValue t) {
  const Spans& spans = track.spans[side];
  LegKeyPhase phase;
  const int opener = OpenerAround(track, t);
  if (opener >= 0) {
    phase.phaseType = kInFreeForm;
    phase.spanIndex = opener;
  } else if (!spans.empty()) {
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
  }
  Stretch stretch = StretchOf(track, side, phase.phaseType, phase.spanIndex);
  // Past the end nothing sets a measure: a key keeps its distance.
  if (phase.phaseType == kPastEnd) stretch.length = Between(stretch.start, t);
  phase.phaseStart = stretch.start;
  phase.phaseLength = stretch.length;
  phase.fraction = FractionOf(t, stretch.start, stretch.length);
  return phase;
}

TimeValue TimeOfPhase(const FootstepTrack& track, int side, const LegKeyPhase& phase) {
  Stretch stretch = StretchOf(track, side, phase.phaseType, phase.spanIndex);
  if (phase.phaseType == kPastEnd) stretch.length = phase.phaseLength;
  return AtFraction(stretch.start, stretch.length, phase.fraction, track.ticksPerFrame);
}

bool SamePattern(const FootstepTrack& a, const FootstepTrack& b) {
  return a.numFootsteps == b.numFootsteps &&
         std::equal(a.transitions.begin(), a.transitions.end(), b.transitions.begin(),
                    b.transitions.end(), [](const SupportTransition& x, const SupportTransition& y) {
                      return x.rightSpan == y.rightSpan && x.leftSpan == y.leftSpan &&
                             x.support == y.support;
                    });
}

}  // namespace strider
