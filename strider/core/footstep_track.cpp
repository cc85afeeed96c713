#include "strider/core/footstep_track.h"

#include <algorithm>
#include <limits>

namespace strider {
namespace {

using Spans = std::vector<FootstepSpan>;

/// Index of the last span that touches at or before `t`; -1 before the first.
int LastTouch(const Spans& spans, TimeValue t) {
  const auto after =
      std::upper_bound(spans.begin(), spans.end(), t,
                       [](TimeValue time, const FootstepSpan& s) { return time < s.start; });
  return static_cast<int>(after - spans.begin()) - 1;
}

float HeightOf(const FootstepTrack& track, const FootstepSpan& span) {
  return track.position[static_cast<std::size_t>(span.footstep)].y;
}

}  // namespace

LegState FootstepLegState(const FootstepTrack& track, int side, TimeValue t) {
  const Spans& spans = track.spans[side];
  const int index = LastTouch(spans, t);
  if (index < 0) return kMove;
  const FootstepSpan& span = spans[static_cast<std::size_t>(index)];
  if (t == span.start) return kTouch;
  if (t < span.Lift()) return kPlant;
  return t == span.Lift() ? kLift : kMove;
}

bool InFreeForm(const FootstepTrack& track, TimeValue t) {
  if (track.freeForm) return true;
  // Interval tables stand in footstep order and so ascend; only entries that open an interval
  // hold times. The interval around t was opened by a footstep that touched before t.
  const auto opensAround = [&](int footstep) {
    const auto i = static_cast<std::size_t>(footstep);
    return track.freeFormStart[i] < t && t < track.freeFormEnd[i];
  };
  for (const Spans& spans : track.spans) {
    const int index = LastTouch(spans, t);
    if (index >= 0 && opensAround(spans[static_cast<std::size_t>(index)].footstep)) return true;
  }
  return false;
}

TimeValue FirstFootstepTime(const FootstepTrack& track) {
  TimeValue first = kTimeMax;
  for (const Spans& spans : track.spans) {
    if (!spans.empty()) first = std::min(first, spans.front().start);
  }
  return first == kTimeMax ? 0 : first;
}

TimeValue LastFootstepTime(const FootstepTrack& track) {
  TimeValue last = 0;
  for (const Spans& spans : track.spans) {
    if (!spans.empty()) last = std::max(last, spans.back().Lift());
  }
  return last;
}

float FootstepHeight(const FootstepTrack& track, TimeValue t) {
  float grounded = std::numeric_limits<float>::max();
  const FootstepSpan* before = nullptr;
  const FootstepSpan* after = nullptr;
  for (const Spans& spans : track.spans) {
    const int index = LastTouch(spans, t);
    if (index >= 0) {
      const FootstepSpan& span = spans[static_cast<std::size_t>(index)];
      if (t <= span.Lift()) grounded = std::min(grounded, HeightOf(track, span));
      if (!before || span.Lift() > before->Lift()) before = &span;
    }
    const auto next = static_cast<std::size_t>(index + 1);
    if (next < spans.size() && (!after || spans[next].start < after->start)) after = &spans[next];
  }
  if (grounded != std::numeric_limits<float>::max()) return grounded;
  if (!before && !after) return 0;
  if (!before) return HeightOf(track, *after);
  if (!after) return HeightOf(track, *before);
  const float gap = static_cast<float>(std::int64_t{after->start} - before->Lift());
  const float u = static_cast<float>(std::int64_t{t} - before->Lift()) / gap;
  return HeightOf(track, *before) + u * (HeightOf(track, *after) - HeightOf(track, *before));
}

}  // namespace strider
