#include "strider/footsteps/contact.h"

#include <algorithm>
#include <cstdint>

namespace strider {
namespace {

using Spans = std::vector<FootstepSpan>;

/// Index of the last span that starts at or before `t`; -1 before the first.
int SpanBefore(const Spans& spans, TimeValue t) {
  const auto after =
      std::upper_bound(spans.begin(), spans.end(), t,
                       [](TimeValue time, const FootstepSpan& span) { return time < span.start; });
  return static_cast<int>(after - spans.begin()) - 1;
}

int FootstepOf(const Spans& spans, int index) {
  const bool exists = index >= 0 && index < static_cast<int>(spans.size());
  return exists ? spans[static_cast<std::size_t>(index)].footstep : -1;
}

/// The footstep that a side stands on at `t`, or else the one nearer in time.
int NearestInTime(const Spans& spans, TimeValue t) {
  const int before = SpanBefore(spans, t);
  const int last = FootstepOf(spans, before), next = FootstepOf(spans, before + 1);
  if (last < 0) return next;
  if (next < 0) return last;
  const std::int64_t sinceLift = std::int64_t{t} - spans[static_cast<std::size_t>(before)].Lift();
  const std::int64_t toTouch = std::int64_t{spans[static_cast<std::size_t>(before) + 1].start} - t;
  return sinceLift <= toTouch ? last : next;
}

}  // namespace

const FootstepSpan* ContactOver(const FootstepTrack& track, int side, TimeValue from,
                                TimeValue to) {
  const Spans& spans = track.spans[side];
  const int index = SpanBefore(spans, from);
  if (index < 0) return nullptr;
  const FootstepSpan& span = spans[static_cast<std::size_t>(index)];
  return to <= span.Lift() ? &span : nullptr;
}

SwingFootsteps FootstepsAbout(const FootstepTrack& track, int side, TimeValue t) {
  const int before = SpanBefore(track.spans[side], t);
  return {FootstepOf(track.spans[side], before), NearestInTime(track.spans[1 - side], t),
          FootstepOf(track.spans[side], before + 1)};
}

float GroundUnder(const FootstepTrack& track, int side, TimeValue t, const Point3& point) {
  if (const FootstepSpan* contact = ContactOver(track, side, t, t)) {
    return track.position[static_cast<std::size_t>(contact->footstep)].y;
  }
  const SwingFootsteps about = FootstepsAbout(track, side, t);
  float height = 0, nearest = std::numeric_limits<float>::infinity();
  for (const int footstep : {about.last, about.opposite, about.next}) {
    if (footstep < 0) continue;
    const Point3& place = track.position[static_cast<std::size_t>(footstep)];
    const float distance = Length({place.x - point.x, 0, place.z - point.z});
    if (distance >= nearest) continue;
    nearest = distance;
    height = place.y;
  }
  return height;
}

std::vector<Swing> Swings(const FootstepTrack& track) {
  std::vector<Swing> swings;
  for (int side = 0; side < 2; ++side) {
    const Spans& spans = track.spans[side];
    for (std::size_t i = 0; i + 1 < spans.size(); ++i) {
      const Swing swing{side, spans[i].footstep, spans[i + 1].footstep, spans[i].Lift(),
                        spans[i + 1].start};
      if (swing.touch <= swing.lift) continue;
      if (InFreeForm(track, swing.lift + (swing.touch - swing.lift) / 2)) continue;
      swings.push_back(swing);
    }
  }
  return swings;
}

std::vector<Interval> AirbornePeriods(const FootstepTrack& track) {
  Spans all = track.spans[0];
  all.insert(all.end(), track.spans[1].begin(), track.spans[1].end());
  std::sort(all.begin(), all.end(),
            [](const FootstepSpan& a, const FootstepSpan& b) { return a.start < b.start; });
  std::vector<Interval> periods;
  TimeValue onGroundUntil = all.empty() ? 0 : all.front().Lift();
  for (const FootstepSpan& span : all) {
    const bool flies = span.start > onGroundUntil;
    if (flies && !InFreeForm(track, onGroundUntil + (span.start - onGroundUntil) / 2)) {
      periods.push_back({onGroundUntil, span.start});
    }
    onGroundUntil = std::max(onGroundUntil, span.Lift());
  }
  return periods;
}

}  // namespace strider
