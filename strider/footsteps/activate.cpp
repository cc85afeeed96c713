#include "strider/footsteps/activate.h"

#include <algorithm>
#include <new>

#include "strider/core/key_edit.h"
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

MergeRange RangeOfNew(const FootstepTrack& track) {
  int first = 0, last = 0;
  RangeOfInactive(track, first, last);
  MergeRange range{SwingStart(track, first), kTimeMax};
  if (last + 1 < track.numFootsteps) range.to = NextTouch(track, last);
  return range;
}

template <class Key>
bool MergeKeys(KeyTable<Key>& into, const KeyTable<Key>& from, const MergeRange& range) {
  KeyTrack& track = into.track;
  std::vector<int> kept;
  for (int i = 0; i < track.numKeys; ++i) {
    const TimeValue t = into.TimeOf(i);
    if (t <= range.from || t > range.to) kept.push_back(i);
  }
  if (static_cast<int>(kept.size()) < track.numKeys) KeepKeys(into, kept);
  for (int i = 0; i < from.track.numKeys; ++i) {
    const TimeValue t = from.TimeOf(i);
    if (t <= range.from || t > range.to) continue;
    if (PutKeyRecord(into, t, from[i]) == kRefused) return false;
    const int index = KeyAt(track, t);
    const KeyTcb tcb = GetTcb(from.track, i, 0);
    for (int sub = 0; sub < ShapesPerKey(track); ++sub) (void)SetTcb(track, index, sub, tcb);
  }
  MarkDirty(track, 0, track.numKeys - 1);
  return true;
}

bool MergeMotion(MotionCore& core, const MotionCore& made, const MergeRange& range) {
  bool good = MergeKeys(core.body.horizontal, made.body.horizontal, range) &&
              MergeKeys(core.body.turn, made.body.turn, range) &&
              MergeKeys(core.body.vertical, made.body.vertical, range) &&
              MergeKeys(core.pelvis.table, made.pelvis.table, range) &&
              MergeKeys(core.spine.table, made.spine.table, range);
  for (int side = 0; side < 2; ++side) {
    good = good && MergeKeys(core.leg[side].table, made.leg[side].table, range) &&
           MergeKeys(core.arm[side].table, made.arm[side].table, range);
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
    const MergeRange range = RangeOfNew(core.footsteps);
    ResetDefaults(made);
    if (GenerateMotion(made, context, options) == kRefused) return ActivationResult::kOutOfMemory;
    if (core.footsteps.active.Any()) {
      MotionCore merged = core;
      if (!MergeMotion(merged, made, range)) return ActivationResult::kOutOfMemory;
      merged.footsteps = made.footsteps;
      merged.endTime = made.endTime;
      SetFreeForm(merged, false);
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
