// The small parametric solid that shows one link of a figure. Motion does not depend on it: it
// only gives the rig a body to look at.
//
// A solid is built along its link: X runs from 0 to 1 and is scaled by the link's length, so that
// a change of length needs no new mesh; Y and Z are scene units, half the object's sizes being
// `width` and `depth`. Axes are those of the link's own frame, right-handed and unmirrored.
#pragma once

#include "strider/base/time_value.h"
#include "strider/core/motion_core.h"
#include "strider/host/skel_mesh.h"

namespace strider {

inline constexpr int kNumSkelKinds = 42;
/// What shows nothing; any kind past the last does.
inline constexpr int kNoSkelKind = kNumSkelKinds;
/// 0 the finest body, 1 and 2 coarser ones, 3 plain boxes: the figure's `bodyType`.
inline constexpr int kNumBodyShapes = 4;

struct SkelObject {
  int kind = 0;                            // the body part that it shows
  int bodyShape = 0;                       // 0 to 3
  int smoothed = 1;                        // 0: every face flat
  int edged = 1;                           // 0: no edge is drawn
  int sided = 1;                           // 0: parts of the left are shaped as those of the right
  float length = 1, width = 1, depth = 1;  // the link's length; half its size along Y and along Z

  Interval valid = Interval::Never();  // while `mesh` is what the fields above ask for
  SkelMesh mesh;
  int geometryVersion = 0, topologyVersion = 0;  // a host's caches are stale where these moved on
};

/// Sees to it that the mesh is right at `t`. Within the object's interval nothing changes;
/// outside, the interval becomes forever and the mesh is built anew.
void UpdateMesh(SkelObject& object, TimeValue t);
/// Has the mesh built anew when it is next asked for, after a field was changed.
inline void Invalidate(SkelObject& object) { object.valid = Interval::Never(); }

/// The same kind, shape, flags and dimensions, its mesh still to be built.
SkelObject Clone(const SkelObject& object);

/// What an object can be turned into for others.
enum class SkelType { kSkelObject, kTriangleMesh };
bool CanConvertToType(const SkelObject& object, SkelType type);
/// The plain mesh at `t`, still along a length of 1.
SkelMesh ConvertToMesh(const SkelObject& object, TimeValue t);

}  // namespace strider
