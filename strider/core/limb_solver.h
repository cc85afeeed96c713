// The geometry of one limb in its own base frame: where joint and end lie for given angles, and
// which angles bring the end to a target.
//
// In the frame of the limb's rotation the upper segment runs along X, the limb bends towards Y,
// and Z is the swivel: the normal of the limb's plane. A hinge of pi is straight, 0 is folded.
#pragma once

#include "strider/core/motion_core.h"

namespace strider {

SegmentLengths LengthsOf(const LimbRecord& limb);
/// The shape of the limb as it is posed now; computed only where pose or lengths have changed.
const LimbShape& ShapeOfPose(LimbRecord& limb);
/// How far the end can be from the base.
float ReachOf(const SegmentLengths& lengths);

/// A two-segment limb: joint, end and swivel for a hinge angle and the first segment's rotation.
LimbShape ForwardTwoLink(const SegmentLengths& lengths, float hingeAngle, const Quat& rotation);

/// What the solver finds: the angles that reach, and the places that they give.
struct LimbSolution {
  float hingeAngle = kPi;
  Quat rotation;
};

/// Angles that bring the end of a two-segment limb to `target`. The plane keeps to `swivel` as
/// nearly as the target allows. A target out of reach pulls the limb straight, 1.5e-5 short of
/// its length; a target at the base, or one that is not finite, is taken at half the reach less
/// 0.075, but never under a quarter of the reach. A segment without length leaves hinge pi and
/// the rotation `current`.
LimbSolution SolveTwoLink(const SegmentLengths& lengths, const Point3& target, const Point3& swivel,
                          const Quat& current);

/// Any limb from its joint angles. The third segment of a four-link leg keeps the angle
/// kThirdPitch to the line from hip to ankle, towards the front, and leans by kThirdLean out of
/// the limb's plane; knee and hock therefore bend and stretch together.
LimbShape ForwardLimb(const SegmentLengths& lengths, const float (&jointAngles)[kNumJointAngles],
                      const Quat& rotation);

/// Any limb from its target: sets the hinge (and nothing else) in `jointAngles` and answers the
/// first segment's rotation. `tiltSwivel` is the four-link option that leans the limb's plane
/// towards the hock before solving; the third segment then takes up the turn in its pitch.
Quat SolveLimb(const SegmentLengths& lengths, const Point3& target, const Point3& swivel,
               const Quat& current, bool tiltSwivel, float (&jointAngles)[kNumJointAngles]);

/// `swivel` made perpendicular to `along` and of unit length; kept where that is impossible, which
/// `squared` (may be null) tells.
Point3 SquareSwivel(const Point3& swivel, const Point3& along, bool* squared = nullptr);

/// Puts the limb's current pose to its stance.
void TakeLimbRest(LimbRecord& limb);

}  // namespace strider
