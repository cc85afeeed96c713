// A figure fitted to a take, with a key of every part on every frame: what footsteps are found in
// and what keys are then taken out of.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "strider/capture/solve_pose.h"
#include "strider/core/eval_context.h"

namespace strider {

/// More frames than this are no take of a person.
inline constexpr std::int64_t kMostTakeFrames = 1 << 20;

struct DenseSettings {
  Quat toYUp;          // turns a take of joints upright; markers come with Y up
  FrameChoice frames;  // of the scene, in time one frame of the motion apart
  TimeValue ticksPerFrame = kDynamicsFrame;  // of the motion
  float gravity = 0;  // units per frame squared at 30 frames a second; 0 by the figure's height
  TalentStructure talent;
  const MotionCore* pose = nullptr;  // in what pose the figure stands when the take stands in its
                                     // reference; null for the pose that fits the take
  SolveOptions orientation;
  int loopFrames = 0;  // over the last so many frames the motion closes on its first
};

/// The joints by whose places a conversion is judged: of both sides hips, knees, ankles, shoulders,
/// elbows and wrists, the right first, then the head.
struct JointPlaces {
  static constexpr int kCount = 13;
  Point3 place[kCount];
};
/// How far the figure's joints are from where the take has them, in leg lengths: of all
/// JointPlaces.
struct FitError {
  double mean = 0, most = 0;
};

/// What judges the figure is the take as it was asked for: a pose adjustment moves its joints as it
/// moves the figure's, and the frames over which a loop is closed are left out.
struct DenseMotion {
  CapturedMotion captured;
  Talent talent;
  MotionCore motion;                // free-form; time 0 is the first of the chosen frames
  float legLength = 0;              // hip to ankle
  std::vector<JointPlaces> judged;  // of the first frames, up to a loop
  FitError fit;                     // of the poses as they were solved
};

/// kRefused and why in `cause`, for a take that gives no figure, and if memory ran out.
[[nodiscard]] int MakeDenseMotion(const CaptureScene& scene, const DenseSettings& settings,
                                  DenseMotion& dense, std::string& cause);

/// A motion that is no take's, with a key on each of its first `numFrames` frames, as one: the
/// places of its own joints are what it is judged by, before a loop over the last `loopFrames`.
/// Memory permitting; throws std::bad_alloc.
DenseMotion DenseMotionOf(MotionCore motion, int numFrames, int loopFrames,
                          const EvalContext& context);

/// The talent's figure as it stands in the reference, with a key of every part at time 0.
MotionCore PoseInReference(const DenseMotion& dense, const DenseSettings& settings);

/// How well a motion on the talent's figure fits the take on all frames that are judged.
FitError MeasureFit(const DenseMotion& dense, const MotionCore& motion, const EvalContext& context);

/// Of a figure whose frames are up to date.
JointPlaces PlacesOfFigure(const MotionCore& figure);
JointPlaces PlacesOfTake(const CapturedPose& pose);

}  // namespace strider
