// The skeleton of a glTF scene as its nodes stand, and the body that is bound to it.
#pragma once

#include <string>
#include <vector>

#include "exchange/glb_file.h"
#include "exchange/motion_sampler.h"

namespace strider {

/// A joint; its index is that of its node.
struct GlbJoint {
  int link = -1;    // in the skeleton of the figure; -1 for the node of the root's motion
  int parent = -1;  // index of another joint
  std::string name;
};

/// The joints of a figure, parents first: all its links but the footprints, which are no part of
/// it, and above them the node of the root's motion where one is wanted.
std::vector<GlbJoint> JointsOf(const std::vector<SkeletonLink>& skeleton, bool rootMotion);

/// The frames in which the body is bound to the skeleton: the figure in its stance at the origin,
/// facing +X. For each link of the skeleton, Y up, scene units.
std::vector<Frame> StanceFrames(const MotionCore& core, const std::vector<SkeletonLink>& skeleton);
/// The frame of a link in that of its parent.
Frame LocalFrame(const std::vector<Frame>& frames, const SkeletonLink& link, int index);

/// What a body is made from.
struct GlbFigure {
  const std::vector<GlbJoint>& joints;
  const std::vector<SkeletonLink>& skeleton;
  const std::vector<Frame>& stance;
  float metres = 1;  // in a scene unit
};

/// Adds the meshes of all links as one, each corner bound to the joint of its link, and answers
/// the node that shows it.
int AddGlbBody(GlbFile& file, const MotionCore& core, const GlbFigure& figure, int bodyType);

}  // namespace strider
