// What a motion's measures read off one pose: places of feet and body, turns of joints, and the
// few numbers that a person watching would judge by.
#pragma once

#include <vector>

#include "strider/core/limb.h"

namespace strider {

/// Points of a sole that are held against the ground: the named pivots but for the ankle.
inline constexpr int kNumSolePoints = kNumNamedPivots - 1;

struct LegSample {
  Point3 hip, knee, ankle;
  Point3 print;                 // where a footstep under it would lie
  Point3 sole[kNumSolePoints];  // heel row, toe row
  Matrix3 thigh, calf, foot;
  float flexion = 0;     // radians, 0 straight; negative for a knee that bends backwards
  float thighSwing = 0;  // radians ahead of straight down, in the body's plane of walking
  float footPitch = 0;   // radians, toe up positive
  PivotChoice pivot;     // in force
  Point3 pivotPlace;     // where it stands
  Point3 earlierPivot;   // where the point that was the pivot in the sample before stands now
  /// Distance from the hip to the ankle that the pivot asks for, over the leg's segments together;
  /// 0 while no place outside the body rules the leg.
  float reach = 0;
};

struct JointSample {
  const char* name = "";
  Quat turn;
};

struct PoseSample {
  TimeValue time = 0;
  Point3 body;
  float liftedHeight = 0;  // of the body with the lift of balance: what flies on a parabola
  Matrix3 bodyFrame, pelvis;
  LegSample leg[2];
  float armSwing[2] = {};  // as thighSwing
  float headTilt = 0;      // radians from where the head's axis stands upright
  std::vector<JointSample> joints;
};

/// Poses the core at `t` and reads the sample off. `before` is the sample whose pivots are
/// followed on; none at the first.
PoseSample TakePoseSample(MotionCore& core, TimeValue t, const EvalContext& context,
                          const PoseSample* before = nullptr);

}  // namespace strider
