#include "strider/footsteps/foot_target.h"

#include <algorithm>

#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

/// Index of the last span that touches at or before `t`; -1 before the first.
int LastTouched(const std::vector<FootstepSpan>& spans, TimeValue t) {
  const auto after =
      std::upper_bound(spans.begin(), spans.end(), t,
                       [](TimeValue time, const FootstepSpan& s) { return time < s.start; });
  return static_cast<int>(after - spans.begin()) - 1;
}

/// A place that a foot can have on the ground, with its heading.
struct Stand {
  Point3 place;
  float angle = 0;
};

Stand StandOn(const FootstepTrack& track, int footstep, GroundLevel level) {
  const auto i = static_cast<std::size_t>(footstep);
  Stand stand{track.position[i], track.angle[i]};
  if (level == GroundLevel::kFlat) stand.place.y = 0;
  return stand;
}

/// Beside a foot of the other side, as wide as the hips.
Stand Beside(const FootstepTrack& track, const Stand& other, int side) {
  const float out = 2 * track.scaleHipWidth;
  return {other.place + (side == 0 ? -out : out) * LeftOf(other.angle), other.angle};
}

FootTarget OnTheWay(const Stand& from, const Stand& to, float u) {
  FootTarget target;
  target.u = u;
  target.from = from.place;
  target.to = to.place;
  target.position = Lerp(from.place, to.place, u);
  target.angle = from.angle + u * (to.angle - from.angle);
  target.fromAngle = from.angle;
  target.toAngle = to.angle;
  return target;
}

float ShareOf(TimeValue t, TimeValue from, TimeValue to) {
  const auto whole = static_cast<float>(std::int64_t{to} - from);
  const auto gone = static_cast<float>(std::int64_t{t} - from);
  return whole > 0 ? std::clamp(gone / whole, 0.0f, 1.0f) : 1;
}

/// Index of the span that a foot in contact at `t` stands on, where `index` touched last; -1 for
/// none. Keys stand on whole frames, contacts need not: one that is about to touch, or has just
/// lifted, counts by the key's state.
int StoodOn(const FootstepTrack& track, int side, int index, TimeValue t, int state) {
  const std::vector<FootstepSpan>& spans = track.spans[side];
  const std::int64_t near = track.ticksPerFrame / 2;
  const auto at = static_cast<std::size_t>(index);
  if (state == kLift) {
    // One step's end may also be the next one's start.
    const bool justTouched = index > 0 && t - std::int64_t{spans[at].start} <= near;
    return justTouched && t - std::int64_t{spans[at - 1].Lift()} <= near ? index - 1 : index;
  }
  const bool soon = at + 1 < spans.size() && spans[at + 1].start - std::int64_t{t} <= near;
  const bool stands = index >= 0 && t < spans[at].Lift();
  return soon && (state == kTouch || !stands) ? index + 1 : index;
}

/// A foot that goes along beside the other one.
FootTarget Carried(const FootstepTrack& track, int side, TimeValue t, GroundLevel level,
                   SwingPlace place) {
  FootTarget target = FootTargetAt(track, 1 - side, t, level, place);
  const Stand beside = Beside(track, {target.position, target.angle}, side);
  target.state = kMove;
  target.from = target.to = target.position = beside.place;
  target.fromAngle = target.toAngle = target.angle;
  target.u = 0.5f;
  target.idle = true;
  return target;
}

}  // namespace

FootTarget FootTargetAt(const FootstepTrack& track, int side, TimeValue t, GroundLevel level,
                        SwingPlace place) {
  return FootTargetAs(track, side, t, FootstepLegState(track, side, t), level, place);
}

FootTarget FootTargetAs(const FootstepTrack& track, int side, TimeValue t, int state,
                        GroundLevel level, SwingPlace place) {
  const std::vector<FootstepSpan>& spans = track.spans[side];
  const std::vector<FootstepSpan>& others = track.spans[1 - side];
  const auto standOf = [&](const FootstepSpan& span) {
    return StandOn(track, span.footstep, level);
  };
  const int index = LastTouched(spans, t);
  const int stood = state < kMove ? StoodOn(track, side, index, t, state) : -1;
  if (stood >= 0) {
    const Stand stand = standOf(spans[static_cast<std::size_t>(stood)]);
    FootTarget target;
    target.state = state;
    target.position = target.from = target.to = stand.place;
    target.angle = target.fromAngle = target.toAngle = stand.angle;
    return target;
  }

  const FootstepSpan* from = index >= 0 ? &spans[static_cast<std::size_t>(index)] : nullptr;
  const FootstepSpan* to = index + 1 < static_cast<int>(spans.size())
                               ? &spans[static_cast<std::size_t>(index + 1)]
                               : nullptr;
  const bool byTime = place == SwingPlace::kByTime;
  if (from && to) {
    return OnTheWay(standOf(*from), standOf(*to),
                    byTime ? ShareOf(t, from->Lift(), to->start) : 0.5f);
  }
  if (from) {
    // To the first footstep of the other side that still stands after the lift.
    auto next = static_cast<std::size_t>(std::max(LastTouched(others, from->Lift()), 0));
    if (next < others.size() && others[next].Lift() <= from->Lift()) ++next;
    if (next >= others.size()) return OnTheWay(standOf(*from), standOf(*from), 1);
    if (t > others[next].Lift()) return Carried(track, side, t, level, place);
    // A foot at its end counts as arrived: taken half way it would hold the body back.
    const float half = next + 1 == others.size() ? 1.0f : 0.5f;
    return OnTheWay(standOf(*from), Beside(track, standOf(others[next]), side),
                    byTime ? ShareOf(t, from->Lift(), others[next].Lift()) : half);
  }
  if (to) {
    // Before feet that come down together each waits at its own place.
    const int previous = LastTouched(others, Later(to->start, -1));
    if (previous < 0) return OnTheWay(standOf(*to), standOf(*to), 0);
    const FootstepSpan& other = others[static_cast<std::size_t>(previous)];
    if (t < other.start) return Carried(track, side, t, level, place);
    return OnTheWay(Beside(track, standOf(other), side), standOf(*to),
                    byTime          ? ShareOf(t, other.start, to->start)
                    : previous == 0 ? 0.0f
                                    : 0.5f);
  }
  return Carried(track, side, t, level, place);
}

}  // namespace strider
