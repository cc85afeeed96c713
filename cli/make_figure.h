// A standing figure out of its structure, as every verb that shows one needs it.
#pragma once

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/core/node_tree.h"

namespace strider {

/// A figure in its stance at the origin, facing +X of the host, with the frames of its links.
inline MotionCore StandingFigure(const Structure& structure) {
  MotionCore core;
  core.name = kFirstFigureName;
  LayOutFigure(core, structure);
  CoreForwardKinematics(core);
  return core;
}

}  // namespace strider
