// The figure as solid shapes to draw: one rounded convex body for each link, made of the link's
// frame and dimensions. Host space, scene units.
#pragma once

#include <vector>

#include "strider/core/motion_core.h"

namespace strider {

/// All points centre + a * halfAxes[0] + b * halfAxes[1] + c * halfAxes[2] with
/// a^2 + b^2 + c^2 <= 1.
struct Ellipsoid {
  Point3 centre;
  Point3 halfAxes[3];
};

/// A body: the convex hull of its ellipsoids.
struct Solid {
  int id = kNoBodyId, link = 0;
  Side side = kNoSide;
  bool isProp = false;
  std::vector<Ellipsoid> hull;
  Point3 boneStart, boneEnd;  // the direction that the body is long in; equal for round ones
};

/// The pivot of a link, drawn where the body it moves begins.
struct Joint {
  Point3 place;
  float radius = 0;
  int solid = 0, parentSolid = 0;  // indices of the bodies that meet here
};

struct Body {
  std::vector<Solid> solids;  // of those equally near, the later is drawn over the earlier
  std::vector<Joint> joints;
};

/// The bodies of all links of the core as its frames stand.
Body BodySolids(const MotionCore& core);

}  // namespace strider
