// The nodes that a figure shows in a scene: which links there are, what each hangs from and what
// it is called, in the order in which they are made.
#pragma once

#include <string>
#include <vector>

#include "strider/core/motion_core.h"

namespace strider {

/// What a figure is called where nobody says otherwise.
inline constexpr const char* kFirstFigureName = "Strider01";

struct NodeInfo {
  int id = kNoBodyId, link = 0;
  int parentId = kNoBodyId, parentLink = 0;  // kNoBodyId for the root
  std::string name;                          // root name, underscore, part name
};

/// All nodes of a figure, the root first. Within a pair the right side comes first. Vertical and
/// turn have no nodes: their tracks belong to the root. The head comes before the neck that
/// carries it, so a parent may stand after its child.
std::vector<NodeInfo> BuildNodeTree(const MotionCore& core);

/// True if the figure has a node for the link: vertical and turn have none.
bool HasNode(const MotionCore& core, int id, int link);

}  // namespace strider
