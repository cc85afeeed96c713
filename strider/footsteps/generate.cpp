#include "strider/footsteps/generate.h"

#include <new>

#include "strider/footsteps/body_height.h"
#include "strider/footsteps/flights.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/generation.h"

namespace strider {
namespace {

/// Step 1: an empty figure whose motion spans the footsteps.
void PrepareCore(MotionCore& core) {
  SetFreeForm(core, false);
  core.footsteps.ticksPerFrame = core.ticksPerFrame;
  core.endTime = LastFootstepTime(core.footsteps);
  core.footstepsPending = false;
  core.bodyKeysComputed = true;
  core.body.flights.clear();
  ClearKeys(core.body.horizontal);
  ClearKeys(core.body.turn);
  ClearKeys(core.body.vertical);
  ClearKeys(core.pelvis.table);
  ClearKeys(core.spine.table);
  for (LimbRecord& limb : core.leg) ClearKeys(limb.table);
  for (LimbRecord& limb : core.arm) ClearKeys(limb.table);
}

/// Step 12: the heights as shares of what the legs allow on flat ground, the same shares over the
/// true ground, the flights between them, and the legs that reach the ground from there.
int FitToGround(Generation& g) {
  MotionCore& core = g.core;
  RefreshTracks(core);
  for (int i = 0; i < core.body.vertical.track.numKeys; ++i) {
    RefreshHeights(core, i, i, HeightMode::kReadFractions, GroundLevel::kFlat);
    RefreshHeights(core, i, i, HeightMode::kKeepRange, GroundLevel::kTrue);
  }
  if (BuildFlights(core) == kRefused) return kRefused;
  return FitLegKeys(core, g.context);
}

void MarkAllActive(FootstepTrack& track) {
  for (int i = 0; i < track.numFootsteps; ++i) {
    track.active.Set(i, true);
    track.keyMismatch.Set(i, false);
  }
}

}  // namespace

int GenerateMotion(MotionCore& core, const EvalContext& context, const GenerateOptions& options) {
  if (core.footsteps.numFootsteps == 0) return kDone;
  try {
    PrepareCore(core);
    NormalizeAngles(core.footsteps);
    if (RefreshSupport(core.footsteps) == kRefused) return kRefused;
    Generation g{core, context, options, PhaseTurns(core.footsteps)};
    MakeBodyKeys(g);
    if (g.failed) return kRefused;  // the other steps go by the body's path
    ShapeTurns(g);
    MakeSpineKeys(g);  // before the heights: balance moves the hips by the spine's centre
    MakeContactKeys(g);
    ThinVerticalKeys(g);
    StandStill(g);
    SnapKeysToFrames(g);
    TouchAnew(g);  // before the stances: each touch begins one
    FillStances(g);
    MakeArmKeys(g);
    if (g.failed || FitToGround(g) == kRefused) return kRefused;
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  MarkAllActive(core.footsteps);
  return kDone;
}

}  // namespace strider
