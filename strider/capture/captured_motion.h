// A take as a moving body: where every joint is and how it is turned at each frame, whatever the
// file had to say it with. What follows, the fitting of a figure and the solving of its pose,
// reads this alone.
#pragma once

#include <array>
#include <vector>

#include "strider/capture/capture_scene.h"
#include "strider/core/motion_core.h"

namespace strider {

/// One moment of a body, the core's axes (X at will, Y up). A joint that the take lacks stays at
/// the origin without a turn.
using CapturedPose = std::array<Frame, kNumCaptureJoints>;

/// Frames of the scene, from `first` to `last`, in which nothing showed a joint: it was carried on.
struct HeldJoint {
  int joint = kNoJoint;
  int first = 0, last = 0;
};

struct CapturedMotion {
  std::array<bool, kNumCaptureJoints> present{};
  std::array<int, kNumCaptureJoints> parent{};  // nearest joint of the take above; kNoJoint
  /// Ends that no joint follows, in the joint's own axes: crown, finger tips, toes. Zero for none.
  std::array<Point3, kNumCaptureJoints> end{};
  /// The body standing upright with its feet flat: what turns are counted from.
  CapturedPose reference;
  std::vector<CapturedPose> poses;
  std::vector<HeldJoint> held;  // of a take of markers
};

/// How the take's axes lie: which of them points up, from where the core's axes follow by a turn.
enum class UpAxis : int { kX = 0, kY = 1, kZ = 2 };

/// Takes places with an up axis of their own, which may point down, to the core's, whose Y is up.
Quat TurnToYUp(UpAxis up, bool downwards = false);

/// Frames of a scene: from `first` on every `step`th up to `last`, which may be one of them.
struct FrameChoice {
  int first = 0, last = 1'000'000'000, step = 1;
};

/// Poses of the scene's joints, turned upright by `toYUp`, at the chosen frames, as far as the
/// scene has them, and the reference: the pose of no turns if it stands upright, else the take's
/// pose that stands best, its first frame among them whether it is chosen or not. kRefused where
/// there are none, and if memory ran out.
[[nodiscard]] int PosesOfJoints(const CaptureScene& scene, const Quat& toYUp,
                                const FrameChoice& frames, CapturedMotion& motion);

/// How nearly a pose stands upright with straight legs and level hips: 1 at best, below 0.5 it
/// does not stand.
float StandingScore(const CapturedPose& pose);

/// The chest joints that the take has, from the hips up.
std::vector<int> ChestJoints(const CapturedMotion& motion);

/// How high the lower ankle stands: exceeded in 19 of 20 poses, so that a bad frame says nothing.
/// 0 without poses.
float StandingAnkleHeight(const CapturedMotion& motion);

/// The middle of the two hips.
Point3 HipsMiddle(const CapturedPose& pose);
/// Axes of a body by its hips: X ahead, Y up, Z to its right, upright.
Matrix3 HeadingFrame(const CapturedPose& pose);

}  // namespace strider
