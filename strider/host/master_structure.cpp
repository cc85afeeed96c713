// The structure of a figure as its scene has it: a node for every link, also after the links have
// changed.

#include <algorithm>
#include <string>

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/core/link_counts.h"
#include "strider/core/restructure.h"
#include "strider/footsteps/change_figure.h"
#include "strider/host/footprint_control.h"
#include "strider/host/link_controls.h"
#include "strider/host/strider_master.h"

namespace strider {

void StriderMaster::AddLinkNode(const NodeInfo& info) {
  Scene& scene = session_.scene;
  const NodeHandle node = scene.AddNode(info.name);
  if (IsTwist(info.id)) {
    twistNodes_[info.id - kTwistStartId][info.link] = node;
  } else if (info.id < kMaxNodes) {
    linkNodes_[info.id][info.link] = node;
  } else {
    otherNodes_.push_back({info.id, info.link, node});
  }
  if (info.id == kFootprints) {
    scene.SetControl(node, footprints_.get());
  } else {
    slaves_.push_back(std::make_unique<StriderSlaveControl>(*this, info.id, info.link));
    scene.SetControl(node, slaves_.back().get());
  }
}

void StriderMaster::RemoveLinkNode(NodeHandle& node) {
  Scene& scene = session_.scene;
  const Control* control = scene.ControlOf(node);
  const NodeHandle gone = node;
  node = kNoNode;
  scene.SetControl(gone, nullptr);
  scene.RemoveNode(gone);
  std::erase_if(slaves_, [control](const auto& slave) { return slave.get() == control; });
}

/// Gives every link its node, each under its parent, and takes away those of links that have gone.
void StriderMaster::RefreshNodes() {
  Scene& scene = session_.scene;
  const std::vector<NodeInfo> tree = BuildNodeTree(*core_);
  // All nodes first: a parent may come after its child.
  for (const NodeInfo& info : tree) {
    if (GetNode(info.id, info.link) == kNoNode) AddLinkNode(info);
  }
  for (const NodeInfo& info : tree) {
    if (info.parentId == kNoBodyId) continue;
    const NodeHandle node = GetNode(info.id, info.link);
    const NodeHandle parent = GetNode(info.parentId, info.parentLink);
    if (scene.Parent(node) != parent) scene.SetParent(node, parent);
  }
  for (int id = 0; id < kMaxNodes; ++id) {
    for (int link = 0; link < kMaxLinks; ++link) {
      NodeHandle& node = linkNodes_[id][link];
      if (node != kNoNode && !HasNode(*core_, id, link)) RemoveLinkNode(node);
    }
  }
  for (int i = 0; i < kMaxTwistNodes; ++i) {
    for (int link = 0; link < kMaxTwistLinks; ++link) {
      NodeHandle& node = twistNodes_[i][link];
      if (node != kNoNode && !HasNode(*core_, kTwistStartId + i, link)) RemoveLinkNode(node);
    }
  }
  for (LinkNode& other : otherNodes_) {
    if (!HasNode(*core_, other.id, other.link)) RemoveLinkNode(other.node);
  }
  std::erase_if(otherNodes_, [](const LinkNode& other) { return other.node == kNoNode; });
}

/// Layers stand on the figure of their base and so change with it.
bool StriderMaster::ApplyFigure(const MotionCore& figure) {
  const bool scaleStrides = session_.modes.scaleStrideMode;
  LayerList layers;
  const auto change = [&](MotionCore& core) {
    return SetFigureOfMotion(core, figure, scaleStrides, context_);
  };
  if (!ChangeLayers(change, layers) || change(*core_) == kRefused) return false;
  layers_.swap(layers);
  if (core_->figureMode) TakeStance(*core_);
  CoreForwardKinematics(*core_);
  RefreshNodes();
  return true;
}

bool StriderMaster::TakeFigure(const MotionCore& figure) {
  const bool done = EditState([&] { return ApplyFigure(figure); });
  if (!done) Tell(session_.messages, MessageId::kFigureRefused);
  return done;
}

bool StriderMaster::SetFigure(const MotionCore& figure) { return TakeFigure(figure); }

bool StriderMaster::SetNumLinks(int id, int numLinks) {
  if (!core_->figureMode) {
    Tell(session_.messages, MessageId::kStructureNeedsFigureMode);
    return false;
  }
  MotionCore figure = FigureOf(*core_);
  if (ChangeNumLinks(figure, id, numLinks) == kRefused) {
    Tell(session_.messages, MessageId::kLinkCountRefused,
         {std::to_string(id), std::to_string(numLinks)});
    return false;
  }
  if (figure.structure == core_->structure) return true;
  return TakeFigure(figure);
}

}  // namespace strider
