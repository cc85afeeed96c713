// What a take doesn't say of itself and its numbers tell: the unit, which way is up, whether its
// first frame is a pose of its own, and the rate at which it is best played.
#pragma once

#include <string_view>

#include "strider/base/time_value.h"
#include "strider/capture/capture_scene.h"

namespace strider {

/// Metres of one unit of a take.
struct UnitGuess {
  double metresPerUnit = 0.01;
  std::string_view name = "cm";
  double height = 0;       // of the person, metres; 0 where the take shows no legs
  bool plausible = false;  // the height is a person's
};
/// Of the units in use the one that makes the person one to 2.2 metres tall: centimetres if they
/// do, else the one that comes nearest to 1.7 metres. `scene` unscaled.
UnitGuess GuessUnit(const CaptureScene& scene);

struct UpGuess {
  int axis = 1;            // 0 X, 1 Y, 2 Z, of the take
  bool downwards = false;  // the axis points down
  float certainty = 0;     // share of the way from feet to head that lies along it
};
/// From where head and feet are in the first second; where that leaves it open, from the rest pose.
/// Of markers that were read with an `upVector`, whose axes are then the core's.
UpGuess GuessUpAxis(const CaptureScene& scene, int upVector = 2);

/// Whether frame 0 is a T pose or the pose of all angles 0 and frame 1 doesn't continue it. Asked
/// of a take with all its frames.
bool FirstFrameStandsAlone(const CaptureScene& scene);

/// How a take is played at a scene's rate.
struct SceneRate {
  double rate = 30;                          // frames a second
  TimeValue ticksPerFrame = kDynamicsFrame;  // of the scene
  int thinning = 1;                          // frames of the take for one of the scene
  double speedChange = 0;                    // per cent; positive plays faster than it was
};
/// At `rate` frames a second, rounded to whole ticks a frame.
SceneRate SceneRateAt(double frameTime, double rate);
/// At the rate nearest 30 that divides 4800 and a whole multiple of which is the take's; where
/// there is none, at the one that changes the speed least.
SceneRate GuessSceneRate(double frameTime);

}  // namespace strider
