// Twist links: extra bones that lie along a limb segment and share its twist, so that flesh bound
// to them turns gradually from one end of the segment to the other. They have no keys: each is
// placed from the limb's frames when it is asked for.
//
// A forearm, a calf and a horse link take up the turn of the hand or foot ahead of it. An upper arm
// and a thigh give back their own roll towards the root, measured against the twist poses.
#pragma once

#include "strider/core/motion_core.h"

namespace strider {

/// The frame of twist link `link` of `count` along a limb's segment, the core's space, unmirrored.
/// Link k of n stands k / n of the way along the bone. `bias` (0 to 1) shapes how the twist
/// spreads; upper arms and thighs take their poses' own. The limb's frames must be up to date.
/// False, and the identity, for a link, limb or segment that the figure lacks. Allocates nothing.
bool TwistLinkTransform(const MotionCore& core, int link, Matrix3& matrix, int count, float bias,
                        int limbId, int limbLink);

/// The frame of a link of a twist id (100 to 109); the identity for one that the figure lacks.
Matrix3 TwistLinkFrame(const MotionCore& core, int id, int link);

/// The table that a limb reads: of the arms or of the legs, for any id of a limb, its digits or its
/// twist links; null for other ids.
std::vector<TwistPose>* FindTwistPoses(MotionCore& core, int id);
const std::vector<TwistPose>* FindTwistPoses(const MotionCore& core, int id);

/// The limb's first segment as a pose without a twist of its own: the direction and the roll that
/// it has now. `id` as above; an unnamed default pose for ids without a limb.
TwistPose CurrentTwistPose(const MotionCore& core, int id);

}  // namespace strider
