#include "strider/footsteps/activate.h"

#include <algorithm>
#include <new>
#include <utility>

#include "strider/core/key_edit.h"
#include "strider/core/motion_range.h"
#include "strider/footsteps/flights.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/support.h"

namespace strider {
namespace {

/// Keys after `from` and up to `to` that the new footsteps bring.
struct MergeRange {
  TimeValue from = kTimeMin, to = kTimeMax;
};

/// A step begins where its foot leaves the ground before it: the swing that leads to it is its own.
TimeValue SwingStart(const FootstepTrack& track, int footstep) {
  const auto i = static_cast<std::size_t>(footstep);
  const int before = track.sideIndex[i] - 1;
  if (before < 0) return footstep == 0 ? kTimeMin : SpanOf(track, footstep)->start - 1;
  return track.spans[track.side[i]][static_cast<std::size_t>(before)].Lift();
}

/// Where the foot that stood on the footstep comes down again.
TimeValue NextTouch(const FootstepTrack& track, int footstep) {
  const auto i = static_cast<std::size_t>(footstep);
  const auto after = static_cast<std::size_t>(track.sideIndex[i] + 1);
  const auto& spans = track.spans[track.side[i]];
  return after < spans.size() ? spans[after].start : kTimeMax;
}

using MergeRanges = std::vector<MergeRange>;  // in time order, apart from each other

/// One for each run of new footsteps: what lies between two runs stays as it was edited.
MergeRanges RangesOfNew(const FootstepTrack& track) {
  MergeRanges ranges;
  for (int first = 0; first < track.numFootsteps; ++first) {
    if (track.active.Get(first)) continue;
    int last = first;
    while (last + 1 < track.numFootsteps && !track.active.Get(last + 1)) ++last;
    MergeRange range{SwingStart(track, first), kTimeMax};
    if (last + 1 < track.numFootsteps) range.to = NextTouch(track, last);
    // A foot's swing may begin within the run before.
    while (!ranges.empty() && range.from <= ranges.back().to) {
      range = {std::min(range.from, ranges.back().from), std::max(range.to, ranges.back().to)};
      ranges.pop_back();
    }
    ranges.push_back(range);
    first = last;
  }
  return ranges;
}

bool AreIn(const MergeRanges& ranges, TimeValue t) {
  const auto at = std::partition_point(ranges.begin(), ranges.end(),
                                       [t](const MergeRange& range) { return range.to < t; });
  return at != ranges.end() && t > at->from;
}

/// Puts one table together from two in one pass: a key put in among thousands would move them all.
template <class Key>
bool MergeKeys(KeyTable<Key>& into, const KeyTable<Key>& from, const MergeRanges& ranges) {
  KeyTable<Key> merged = into;
  KeepKeys(merged, {});
  if (ReserveKeys(merged.track, into.track.numKeys + from.track.numKeys) == kRefused) return false;
  int kept = 0, made = 0;
  while (true) {
    while (kept < into.track.numKeys && AreIn(ranges, into.TimeOf(kept))) ++kept;
    while (made < from.track.numKeys && !AreIn(ranges, from.TimeOf(made))) ++made;
    const bool more = kept < into.track.numKeys, moreMade = made < from.track.numKeys;
    if (!more && !moreMade) break;
    const bool takeMade = !more || (moreMade && from.TimeOf(made) < into.TimeOf(kept));
    const KeyTable<Key>& source = takeMade ? from : into;
    const int index = takeMade ? made++ : kept++;
    if (PutKeyRecord(merged, source.TimeOf(index), source[index]) == kRefused) return false;
    CopyKeyRow(merged.track, merged.track.numKeys - 1, source.track, index);
  }
  std::swap(into, merged);
  MarkDirty(into.track, 0, into.track.numKeys - 1);
  return true;
}

bool MergeMotion(MotionCore& core, const MotionCore& made, const MergeRanges& ranges) {
  bool good = MergeKeys(core.body.horizontal, made.body.horizontal, ranges) &&
              MergeKeys(core.body.turn, made.body.turn, ranges) &&
              MergeKeys(core.body.vertical, made.body.vertical, ranges) &&
              MergeKeys(core.pelvis.table, made.pelvis.table, ranges) &&
              MergeKeys(core.spine.table, made.spine.table, ranges);
  for (int side = 0; side < 2; ++side) {
    good = good && MergeKeys(core.leg[side].table, made.leg[side].table, ranges) &&
           MergeKeys(core.arm[side].table, made.arm[side].table, ranges);
  }
  for (int id : {kTurn, kPelvis, kSpine, kRightLeg, kLeftLeg, kRightArm, kLeftArm}) {
    AlignKeys(core, id);
  }
  return good;
}

/// What later edits start from: balance by the kind of dynamics, limbs on the ground alone.
void ResetDefaults(MotionCore& core) {
  core.body.defaultBalance = core.structure.dynamicsType == 0 ? 1.0f : 0.0f;
  for (LimbRecord& leg : core.leg) leg.hold = false;
  for (LimbRecord& arm : core.arm) arm.hold = false;
}

}  // namespace

ActivationResult NewFootprintKeys(MotionCore& core, const EvalContext& context,
                                  const GenerateOptions& options) {
  if (core.footsteps.numFootsteps == 0) return ActivationResult::kNoFootsteps;
  if (!AnyInactive(core.footsteps)) return ActivationResult::kNothingPending;
  try {
    MotionCore made = core;
    const MergeRanges ranges = RangesOfNew(core.footsteps);
    ResetDefaults(made);
    if (GenerateMotion(made, context, options) == kRefused) return ActivationResult::kOutOfMemory;
    if (core.footsteps.active.Any()) {
      MotionCore merged = core;
      if (!MergeMotion(merged, made, ranges)) return ActivationResult::kOutOfMemory;
      merged.footsteps = made.footsteps;
      SetFreeForm(merged, false);
      RefreshMotionSpan(merged);
      merged.footstepsPending = false;
      merged.bodyKeysComputed = true;
      ResetDefaults(merged);
      if (BuildFlights(merged) == kRefused) return ActivationResult::kOutOfMemory;
      made = std::move(merged);
    }
    core = std::move(made);
  } catch (const std::bad_alloc&) {
    return ActivationResult::kOutOfMemory;
  }
  return ActivationResult::kDone;
}

}  // namespace strider
