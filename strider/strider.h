// The calls that most users need: make a figure, place footsteps and make their motion, set keys,
// ask for the transform of any link at any time. Rooms' own headers stay open to those who need
// more.
//
//   strider::Session session;
//   strider::Structure structure;
//   structure.height = 1.8f;
//   auto* figure = strider::CreateNewStrider(session, structure);
//   const strider::Matrix3 hand = strider::LinkTransform(*figure, strider::kRightArm, 3, 4800);
//
// Times are ticks, 4800 a second; angles radians; lengths scene units. Z is up; at heading 0 a
// figure faces +X and its left is +Y.
#pragma once

#include "strider/core/figure_layout.h"
#include "strider/core/key_edit.h"
#include "strider/core/limb.h"
#include "strider/core/node_tree.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/adapt.h"
#include "strider/footsteps/place.h"
#include "strider/host/session.h"
#include "strider/host/strider_master.h"

namespace strider {

/// World transform of a link at `t`, right-handed, rows the link's own axes (X along the bone).
/// The identity for a link that the figure lacks.
inline Matrix3 LinkTransform(IStriderMaster12& figure, int id, int link, TimeValue t) {
  return figure.UnmirroredTransform(id, link, t);
}

}  // namespace strider
