// The pose of a figure out of a moment of a take.
#pragma once

#include <span>
#include <vector>

#include "strider/capture/talent.h"

namespace strider {

/// Where the plane of a limb, and with it the side to which its elbow or knee bends, comes from.
enum class PlaneSource : int {
  kPoint = 0,    // from the places of its three joints
  kAngle = 1,    // from the turn of its first joint
  kAuto = 2,     // from the places where it is clearly bent, else from the turn
  kAsStands = 3  // as the figure has it already
};

/// How the planes of limbs are taken.
struct SolveOptions {
  PlaneSource knee = PlaneSource::kAuto, elbow = PlaneSource::kAuto;
  PlaneSource foot = PlaneSource::kAuto, hand = PlaneSource::kAuto;
};

/// How far the planes of the limbs are turned, about their upper segments, from where the turns of
/// their first joints have them; radians, by Side. Only PlaneSource::kAuto asks.
struct PlaneAngles {
  float leg[2] = {}, arm[2] = {};
};

/// The angles for a series of frames: where a limb is clearly bent the places of its joints say
/// them, and between such frames, where it is straight and they say nothing, the plane passes
/// smoothly from one to the next. Passes std::bad_alloc on.
std::vector<PlaneAngles> PlanesOf(const Talent& talent, std::span<const CapturedPose> poses);

/// Poses body, pelvis and spine of the talent's figure, their frames too.
void SolveTrunk(const Talent& talent, const CapturedPose& pose, MotionCore& figure);

/// Poses `figure`, of the talent's structure, as the take has it; all frames are up to date then.
/// What the take says nothing of keeps its pose. Allocates nothing.
void SolvePose(const Talent& talent, const CapturedPose& pose, const SolveOptions& options,
               const PlaneAngles& planes, MotionCore& figure);

}  // namespace strider
