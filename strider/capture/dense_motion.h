// A figure fitted to a take, with a key of every part on every frame: what footsteps are found in
// and what keys are then taken out of.
#pragma once

#include <string>

#include "strider/capture/solve_pose.h"

namespace strider {

struct DenseSettings {
  UpAxis up = UpAxis::kY;                    // of a take of joints; markers come with Y up
  FrameChoice frames;                        // of the scene, in time one frame of the motion apart
  TimeValue ticksPerFrame = kDynamicsFrame;  // of the motion
  float gravity = 0;  // units per frame squared at 30 frames a second; 0 by the figure's height
  TalentStructure talent;
  const MotionCore* pose = nullptr;  // in what pose the figure stands when the take stands in its
                                     // reference; null for the pose that fits the take
  SolveOptions orientation;
  int loopFrames = 0;  // the last so many frames lead back to the first
};

struct DenseMotion {
  CapturedMotion captured;
  Talent talent;
  MotionCore motion;                          // free-form; time 0 is the first of the chosen frames
  float legLength = 0;                        // hip to ankle
  double fitErrorMean = 0, fitErrorMost = 0;  // of all JointPlaces, in leg lengths
};

/// kRefused and why in `cause`, for a take that gives no figure, and if memory ran out.
[[nodiscard]] int MakeDenseMotion(const CaptureScene& scene, const DenseSettings& settings,
                                  DenseMotion& dense, std::string& cause);

/// The joints by whose places a conversion is judged: of both sides hips, knees, ankles, shoulders,
/// elbows and wrists, the right first, then the head.
struct JointPlaces {
  static constexpr int kCount = 13;
  Point3 place[kCount];
};
/// Of a figure whose frames are up to date.
JointPlaces PlacesOfFigure(const MotionCore& figure);
JointPlaces PlacesOfTake(const CapturedPose& pose);

}  // namespace strider
