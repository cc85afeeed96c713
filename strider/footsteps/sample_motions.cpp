#include "strider/footsteps/sample_motions.h"
#include "strider/core/node_tree.h"

#include "strider/core/figure_layout.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/place.h"

namespace strider {
namespace {

// Footsteps, the standing pair included.
constexpr int kWalkFootsteps = 12, kRunFootsteps = 8, kJumpFootsteps = 8;
constexpr int kStairs = 10;
// In leg lengths.
constexpr float kStairHeight = 0.2f, kCircleRadius = 2;
// Seventeen default strides go a little more than once around.
constexpr int kCircleFootsteps = 2 + 17;
// The turn's footsteps, half of it each.
constexpr int kFirstTurned = 6, kTurnedFootsteps = 2;

struct Batch {
  int gait = kWalk;
  int footsteps = kWalkFootsteps;
  bool alternate = true;
  float stairHeight = 0;  // leg lengths
};

void PlaceBatch(MotionCore& core, const Batch& batch) {
  GaitSettings settings(core.ticksPerFrame);
  settings.fsGaitMode = batch.gait;
  MultFprintParams params = settings.params[batch.gait - 1];
  params.numFootsteps = batch.footsteps;
  params.alternate = batch.alternate ? 1 : 0;
  params.actualStrideHeight1 = batch.stairHeight * MeasuresOf(core).legLength;
  params.actualStrideHeight2 = params.actualStrideHeight1;
  if (!PlaceMultiple(core, settings, params, 0).Done()) ClearFootsteps(core.footsteps);
}

/// Lays a straight walk's footsteps along a path that turns: by `turns[i]` (radians, to the left)
/// between footstep i - 1 and i, the chord between two lying half way between their headings.
/// Strides keep their length, feet their distance from the path.
void LayAlong(FootstepTrack& track, const std::vector<float>& turns) {
  if (track.numFootsteps < 2) return;
  const Point3 ahead = ForwardOf(track.angle[0]), left = LeftOf(track.angle[0]);
  const Point3 start = Lerp(track.position[0], track.position[1], 0.5f);
  const float firstAngle = track.angle[0];
  Point3 onPath = start;
  float angle = firstAngle, travelled = 0;
  for (std::size_t i = 0; i < turns.size() && i < track.position.size(); ++i) {
    const Point3 straight = track.position[i] - start;
    const float along = Dot(straight, ahead), aside = Dot(straight, left);
    onPath += (along - travelled) * ForwardOf(angle + turns[i] / 2);
    travelled = along;
    angle += turns[i];
    track.position[i] = onPath + aside * LeftOf(angle) + Point3{0, straight.y, 0};
    track.angle[i] = angle;
  }
  NormalizeAngles(track);
  TransformsFromPositions(track);
}

/// Chords of one stride between points of a circle turn by the angle that each spans.
std::vector<float> CircleTurns(float stride) {
  std::vector<float> turns(kCircleFootsteps, 2 * Asin(stride / (2 * kCircleRadius)));
  turns[0] = turns[1] = 0;  // the standing pair
  return turns;
}

std::vector<float> QuarterTurns() {
  std::vector<float> turns(kWalkFootsteps, 0);
  for (int i = 0; i < kTurnedFootsteps; ++i) {
    turns[static_cast<std::size_t>(kFirstTurned + i)] = kHalfPi / kTurnedFootsteps;
  }
  return turns;
}

}  // namespace

const std::vector<SampleMotionInfo>& SampleMotions() {
  static const std::vector<SampleMotionInfo> samples = {
      {SampleMotion::kWalk, "walk", "walk of 12 footsteps", MotionKind::kWalk},
      {SampleMotion::kRun, "run", "run of 8 footsteps", MotionKind::kRun},
      {SampleMotion::kJump, "jump", "jump of 8 footsteps, feet in pairs", MotionKind::kJump},
      {SampleMotion::kJumpOnOneSide, "hop", "jump of 8 footsteps, without alternate",
       MotionKind::kJump},
      {SampleMotion::kCircle, "circle", "walk around a circle of two leg lengths' radius",
       MotionKind::kCircleWalk},
      {SampleMotion::kStairs, "stairs", "walk up ten stairs of a fifth of a leg length",
       MotionKind::kStairWalk},
      {SampleMotion::kTurn, "turn", "walk that turns 90 degrees in two steps",
       MotionKind::kTurnWalk},
  };
  return samples;
}

MotionCore MakeSampleFootsteps(SampleMotion sample, float height) {
  MotionCore core;
  core.name = kFirstFigureName;
  Structure structure;
  structure.height = height;
  LayOutFigure(core, structure);
  switch (sample) {
    case SampleMotion::kWalk: PlaceBatch(core, {}); break;
    case SampleMotion::kRun: PlaceBatch(core, {kRun, kRunFootsteps}); break;
    case SampleMotion::kJump: PlaceBatch(core, {kJump, kJumpFootsteps}); break;
    case SampleMotion::kJumpOnOneSide: PlaceBatch(core, {kJump, kJumpFootsteps, false}); break;
    case SampleMotion::kCircle: {
      PlaceBatch(core, {kWalk, kCircleFootsteps});
      const float stride = GaitSettings(core.ticksPerFrame).params[kWalk - 1].paramStrideLength1;
      LayAlong(core.footsteps, CircleTurns(stride));
      break;
    }
    case SampleMotion::kStairs: PlaceBatch(core, {kWalk, 2 + kStairs, true, kStairHeight}); break;
    case SampleMotion::kTurn:
      PlaceBatch(core, {});
      LayAlong(core.footsteps, QuarterTurns());
      break;
  }
  return core;
}

MotionCore MakeSample(SampleMotion sample, float height) {
  MotionCore core = MakeSampleFootsteps(sample, height);
  if (NewFootprintKeys(core, {}) != ActivationResult::kDone) {
    ClearFootsteps(core.footsteps);
    SetFreeForm(core, true);
  }
  return core;
}

}  // namespace strider
