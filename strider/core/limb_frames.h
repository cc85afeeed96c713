// Where a limb stands: its base on pelvis or clavicle, the frames of its links and digits, and the
// ways between its base frame, the core's space and the space of an IK object.
#pragma once

#include "strider/core/limb_solver.h"

namespace strider {

/// Where the limb starts from, by pelvis or spine and its clavicle's angles.
void PlaceLimbBase(const MotionCore& core, LimbRecord& limb);
/// Frames of the limb's links and digits from its pose, on the base as it was last placed.
void ComputeLimbTransforms(LimbRecord& limb);

/// The last segment before hand or foot, in the core's space.
Quat LastSegmentInWorld(const LimbRecord& limb, const LimbShape& shape);
/// Places of the core's space in the limb's base frame, and back.
Point3 IntoBase(const LimbRecord& limb, const Point3& world);
Point3 OutOfBase(const LimbRecord& limb, const Point3& local);

/// True where an IK object's frame is set, by exact comparison: only a frame that nobody set is
/// passed over.
bool HasObjectFrame(const LimbRecord& limb);
/// A place in object space as the core's.
Point3 ThroughObject(const LimbRecord& limb, const Point3& point);
/// The turn of the IK object; none without one.
Quat ObjectRotation(const LimbRecord& limb);

}  // namespace strider
