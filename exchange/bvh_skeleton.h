// The joints of a figure as a BVH file has them: a tree under the pelvis, in which a joint is
// carried by its parent unless it says otherwise.
#pragma once

#include <string>
#include <vector>

#include "strider/core/evaluate.h"

namespace strider {

struct BvhJoint {
  int id = kNoBodyId, link = 0;
  int parent = -1;  // joint; -1 for the root
  std::string name;
  bool moves = false;  // has a place of its own at each time; else it stays in its parent's space
  Frame rest;          // in the stance at the origin, the core's axes
  bool isLeaf = true;
  Point3 end;  // of a leaf: where its link ends, from its own joint, in the stance
};

/// The frame of a link in a pose: the world's axes X, Y up, Z, the link's own as they are.
inline Frame FrameOf(const MotionCore& posed, int id, int link) {
  const Matrix3 frame = LinkFrame(posed, id, link);
  return {RotationOf(frame), frame.Origin()};
}

/// The joints in the order of a file: each before its children, a child's own before its brother.
/// `onlyKnown` leaves out the links for which the vocabulary of captured motion has no name.
std::vector<BvhJoint> BvhSkeletonOf(const MotionCore& core, bool onlyKnown);

}  // namespace strider
