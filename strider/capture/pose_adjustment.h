// What a pose file says of how the figure's parts stand against the take's.
#pragma once

#include "strider/capture/solve_pose.h"

namespace strider {

/// A turn for each part, from where the take has it in the reference to where the adjusted pose has
/// it; composed with every frame.
class PoseAdjustment {
 public:
  /// `pose`: a motion of one frame on a figure of the talent's structure; parts that it lacks stay
  /// as the take has them.
  PoseAdjustment(const Talent& talent, const CapturedPose& reference, const SolveOptions& options,
                 const MotionCore& pose);
  /// Turns the parts of a solved pose; the frames are up to date then.
  void Apply(MotionCore& figure) const;

 private:
  struct LimbOffset {
    float jointAngles[kNumJointAngles] = {};
    float clavicle[2] = {};
    Quat limb, end;
    DigitKey digits[kMaxDigits];
  };
  Quat body_, pelvis_, head_;
  Quat spine_[kMaxLinks], neck_[kMaxLinks];
  LimbOffset leg_[2], arm_[2];
};

}  // namespace strider
