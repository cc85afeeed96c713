// The pose of a figure at a time: from keys to pose values, from those to frames, from frames to
// what a host or an exporter is handed. Allocates nothing.
#pragma once

#include "strider/core/eval_context.h"

namespace strider {

/// How deep in a layer stack an evaluation is; at or past it a core stands for itself.
inline constexpr int kLayerDepth = 100;

/// Brings all keys' values at `t` into the pose of the core. With layers the context's source
/// does that for the stack.
void CoreEvaluate(MotionCore& core, TimeValue t, const EvalContext& context, int depth = 1);

/// Body, pelvis and spine alone at `t`, with their frames: for those who fit limbs to a trunk.
/// Limbs and head keep their last pose; layers are not asked.
void EvaluateTrunk(MotionCore& core, TimeValue t);

/// Frames of all links from the pose.
void CoreForwardKinematics(MotionCore& core);

/// Both in turn, for less than the two apart: what evaluation has placed already is not placed
/// again.
void CorePose(MotionCore& core, TimeValue t, const EvalContext& context);
/// Frames of pelvis and spine alone, which limbs hang from.
void ComputeTrunkFrames(MotionCore& core);

/// The frame of a link in the core's space, unmirrored: exporters and tables read this one. The
/// identity for a link that does not exist. Nubs: the end of the digit or chain.
Matrix3 LinkFrame(const MotionCore& core, int id, int link);
/// The same in the host's space.
Matrix3 UnmirroredLinkTransform(const MotionCore& core, int id, int link);

/// What a link's node is handed: the host's space, with the third row negated on mirrored links
/// (left clavicle; right arm, forearm and hand; right fingers; right leg links before the foot;
/// right toes), and scaled by the link's size with unitShapeLinks.
void CoreLinkTransform(const MotionCore& core, int id, int link, Matrix3& matrix);

/// True where CoreLinkTransform negates the third row.
bool IsMirroredLink(const MotionCore& core, int id, int link);

/// Length, width and depth of a link; 0 for what has no size of its own. A foot: toe and heel side
/// together, width, height. The head: its height over the joint, width, depth.
Point3 LinkDimensions(const MotionCore& core, int id, int link);

}  // namespace strider
