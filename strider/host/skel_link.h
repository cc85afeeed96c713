// Which solid shows which link of a figure, and how it sits there.
#pragma once

#include "strider/host/skel_object.h"

namespace strider {

/// A solid on its link. A vertex (x, y, z) of the object's mesh stands in the link's frame at
///   X = offset.x + length * x
///   Y = offset.y + y * (the size at x) + lean * (1 - x)
///   Z = offset.z + z * (the size at x)
/// where sizes run evenly from `startSize` at x = 0 to `endSize` at x = 1.
struct SkelFit {
  SkelObject object;
  Point3 offset;
  float startWidth = 1, endWidth = 1;  // along Y
  float startDepth = 1, endDepth = 1;  // along Z
  float lean = 0;
};

/// The kind that shows a link; kNoSkelKind for a link that the figure lacks and for the node of
/// the footprints. The root shows a marker, and so do nubs.
int SkelKindOf(const MotionCore& core, int id, int link);

/// The solid of a link, its mesh still to be built.
SkelFit FitOf(const MotionCore& core, int id, int link, int bodyShape);

/// The mesh of a link's body at its real size, scene units, in the link's own frame (X along the
/// bone, right-handed, unmirrored: that of UnmirroredLinkTransform). Empty for links without a
/// body of their own: root, footprints and nubs, whose markers an export leaves out.
SkelMesh LinkMesh(const MotionCore& core, int id, int link, int bodyShape);

}  // namespace strider
