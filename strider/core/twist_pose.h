// Twist poses: for a few directions of an upper arm or a thigh, how the flesh at its root lies when
// the bone points there. Between the poses the nearer ones count more. From them the twist links
// of upper arms and thighs know how far the bone has rolled, since no joint shows it.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "strider/base/matrix3.h"

namespace strider {

/// One stored pose, as the right side has it and seen from the body: X ahead, Y to the left, Z up.
/// The left side reads it mirrored.
struct TwistPose {
  std::string name;        // UTF-8, at most kMaxTwistPoseName bytes
  Point3 direction;        // unit, along the bone towards its end
  Point3 axis;             // the stored twist turns about it
  Point3 referenceVector;  // where the bone's roll axis (its frame's Y) points, before the twist
  float twist = 0;         // degrees about `axis`, right-handed
  float bias = 0.5f;       // 0 to 1: how the twist spreads along the links

  friend bool operator==(const TwistPose&, const TwistPose&) = default;
};

inline constexpr int kMaxTwistPoseName = 80;
/// Poses that one table may have. Each is read for every twist link of a pose.
inline constexpr int kMaxTwistPoses = 256;

/// Six poses of the arm and five of the leg. A bone swung straight from the stance to any of them
/// has no twist there, but for the arm overhead, where the ways up ahead and up aside meet between
/// them.
std::vector<TwistPose> DefaultArmTwistPoses();
std::vector<TwistPose> DefaultLegTwistPoses();

/// The cause why a pose cannot be used; null if it can: values finite, a direction, an axis and a
/// reference with a length, a bias of 0 to 1, a name within its room.
const char* FindFault(const TwistPose& pose);

/// What a table says for a direction.
struct TwistLookUp {
  Point3 reference;  // not of unit length; zero where the poses' references cancel
  float bias = 0;
};
/// Poses weigh 1 / distance - 1 / largest distance. A direction within 1e-9 of a pose's is just
/// that pose. Nothing of an empty table. Allocates nothing.
TwistLookUp LookUpTwist(std::span<const TwistPose> table, const Point3& direction);

/// The rotation by `angle` (radians) about `axis`, right-handed, for row vectors; the identity for
/// a zero axis.
Matrix3 RotAngleAxisMatrix(const Point3& axis, float angle);

/// Angle (radians, -pi to pi) between the part of `a` square to `axis` and `b`, positive where `a`
/// goes to `b` left-handed about the axis. 0 for an `a` along the axis.
float SignedAngle(const Point3& a, const Point3& b, const Point3& axis);

/// A fraction of the twist (0 to 1) as a bias of 0 to 1 shapes it: 0.5 leaves it, 0 draws it to the
/// far end as its fourth power, 1 mirrors that.
float ShapedTwistFraction(float fraction, float bias);

}  // namespace strider
