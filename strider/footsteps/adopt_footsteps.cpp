#include "strider/footsteps/adopt_footsteps.h"

#include <algorithm>
#include <new>
#include <utility>

#include "strider/core/evaluate.h"
#include "strider/core/motion_range.h"
#include "strider/footsteps/body_height.h"
#include "strider/footsteps/extract_footsteps.h"
#include "strider/footsteps/flights.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/hold_feet.h"
#include "strider/footsteps/support.h"

namespace strider {
namespace {

// Nobody flies for longer: a second in the air is a jump of 1.2 metres.
constexpr TimeValue kLongestFlight = 4800;
// A footstep turned by a radian is as far off as one moved by so many leg lengths.
constexpr float kTurnShare = 0.2f;

void OpenFreeForm(FootstepTrack& track) {
  for (int i = 0; i < track.numFootsteps; ++i) {
    TimeValue start = 0, end = 0;
    if (!FreeFormInterval(track, i, start, end)) continue;
    if (std::int64_t{end} - start > kLongestFlight) (void)SetFreeFormAfter(track, i, true);
  }
}

int LetFootstepsRule(MotionCore& core) {
  FootstepTrack& track = core.footsteps;
  SetFreeForm(core, false);
  track.ticksPerFrame = core.ticksPerFrame;
  core.footstepsPending = false;
  core.bodyKeysComputed = true;
  RefreshMotionSpan(core);
  for (int i = 0; i < track.numFootsteps; ++i) {
    track.active.Set(i, true);
    track.keyMismatch.Set(i, false);
  }
  NormalizeAngles(track);
  OpenFreeForm(track);
  return RefreshSupport(track);
}

/// What the body's keys say of the contacts around them; heights stay the keys' own.
int RefreshBodyKeys(MotionCore& core) {
  FootstepTrack& track = core.footsteps;
  KeyTable<VerticalKey>& heights = core.body.vertical;
  for (int i = 0; i < heights.track.numKeys; ++i) {
    VerticalKey& key = heights.keys[static_cast<std::size_t>(i)];
    key.dynamicsBlend = 0;
    for (int side = 0; side < 2; ++side) {
      key.legState[side] = FootstepLegState(track, side, heights.TimeOf(i));
    }
    MarkDirty(heights.track, i, i);
  }
  KeyTable<HorizontalKey>& path = core.body.horizontal;
  for (int i = 0; i < path.track.numKeys; ++i) {
    const TimeValue t = path.TimeOf(i);
    path.keys[static_cast<std::size_t>(i)].supportState =
        InFreeForm(track, t)
            ? -1
            : BodyKeyState(FootstepLegState(track, 0, t), FootstepLegState(track, 1, t));
    MarkDirty(path.track, i, i);
  }
  FreeTheEnds(core);
  RefreshTracks(core);
  RefreshHeights(core, 0, heights.track.numKeys - 1, HeightMode::kReadFractions,
                 GroundLevel::kTrue);
  return BuildFlights(core);
}

/// Footsteps go where their feet stand in the middle of each contact, unless they are near that.
void Settle(MotionCore& core, float near, const EvalContext& context) {
  FootstepTrack& track = core.footsteps;
  MotionCore posed = core;
  for (const auto& spans : track.spans) {
    for (const FootstepSpan& span : spans) {
      CorePose(posed, Later(span.start, span.duration / 2), context);
      const auto i = static_cast<std::size_t>(span.footstep);
      const LimbRecord& leg = posed.leg[track.side[i]];
      const Point3 place = PlaceOfPrint(leg);
      const float heading = SampleFoot(leg).heading;
      if (!IsFinite(place) || !IsFinite(heading)) continue;
      const float off = Length(place - track.position[i]) / leg.totalLength;
      const float turn = std::fabs(UnwrapTo(0, heading - track.angle[i]));
      if (off < near && kTurnShare * turn < near) continue;
      track.position[i] = place;
      track.angle[i] = heading;
    }
  }
}

}  // namespace

void FreeTheEnds(MotionCore& core) {
  FootstepTrack& track = core.footsteps;
  KeyTable<HorizontalKey>& path = core.body.horizontal;
  if (track.numFootsteps == 0 || path.Empty()) return;
  const TimeValue first = FirstFootstepTime(track), last = LastFootstepTime(track);
  const bool beyond = path.TimeOf(0) < first || path.TimeOf(path.track.numKeys - 1) > last;
  track.freeFormAfter.Set(track.numFootsteps - 1, beyond);
  for (int i = 0; i < path.track.numKeys; ++i) {
    const TimeValue t = path.TimeOf(i);
    if (t >= first && t <= last) continue;
    path.keys[static_cast<std::size_t>(i)].supportState = -1;
    MarkDirty(path.track, i, i);
  }
  RefreshMotionSpan(core);
}

int AdoptFootsteps(MotionCore& core, float near, const EvalContext& context) {
  if (core.footsteps.numFootsteps == 0) return kRefused;
  try {
    MotionCore adopted = core;
    if (LetFootstepsRule(adopted) == kRefused || HoldFeet(adopted, core, {}, context) == kRefused) {
      return kRefused;
    }
    Settle(adopted, near, context);
    NormalizeAngles(adopted.footsteps);
    TransformsFromPositions(adopted.footsteps);
    if (RefreshBodyKeys(adopted) == kRefused) return kRefused;
    core = std::move(adopted);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  return kDone;
}

int HoldFeetAnew(MotionCore& core, bool firmly, const EvalContext& context) {
  if (core.freeForm || core.footsteps.numFootsteps == 0) return kRefused;
  try {
    MotionCore held = core;
    if (HoldFeet(held, core, {true, firmly}, context) == kRefused) return kRefused;
    Settle(held, 0, context);
    NormalizeAngles(held.footsteps);
    TransformsFromPositions(held.footsteps);
    core = std::move(held);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  return kDone;
}

}  // namespace strider
