// The scene of one user: nodes in a tree, the current time and those who want to hear of changes.
// It stands in for an animation program around the engine, so it holds only what a figure asks of
// one. A node belongs to the scene; its controller belongs to whoever made it.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "strider/base/matrix3.h"
#include "strider/base/time_value.h"
#include "strider/host/callbacks.h"
#include "strider/host/control.h"

namespace strider {

/// Names a node of a scene. The handle of a removed node stays dead: no later node gets it.
enum class NodeHandle : int {};
inline constexpr NodeHandle kNoNode{0};
/// The parent of nodes that have no other; it stands still at the world's origin, is no node
/// itself.
inline constexpr NodeHandle kSceneRoot{-1};

class Scene {
 public:
  /// A node's matrix in its parent's space at a time.
  using Mover = std::function<Matrix3(TimeValue)>;
  using TimeCallback = CallbackList<TimeValue>::Function;
  using ChangeCallback = CallbackList<NodeHandle, Interval>::Function;

  Scene() = default;
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;

  // Nodes. A change refused by any of these answers false (or kNoNode) and leaves all as it was.

  /// A new node at its parent's place. A taken name gets the lowest free number behind it, two
  /// digits from 01 on; two digits that it ends on already make way for that. An empty name becomes
  /// "Node".
  NodeHandle AddNode(const std::string& name, NodeHandle parent = kSceneRoot);
  /// Its children pass to its parent; their own matrices stay and count from there.
  bool RemoveNode(NodeHandle node);
  /// The name is made unique as in AddNode. Refused if empty.
  bool Rename(NodeHandle node, const std::string& name);
  /// Refused if `parent` is `node` itself or stands below it. The node's own matrix stays.
  bool SetParent(NodeHandle node, NodeHandle parent);

  bool Exists(NodeHandle node) const { return IndexOf(node) != kNone; }
  /// kNoNode for a node that isn't there.
  NodeHandle Parent(NodeHandle node) const;
  /// Empty for a node that isn't there.
  std::string Name(NodeHandle node) const;
  /// The node of exactly this name, kNoNode if there is none.
  NodeHandle FindByName(const std::string& name) const;
  /// All nodes in the order they were made.
  std::vector<NodeHandle> Nodes() const;

  // What places a node: one of three, the last one set.

  /// A matrix in the parent's space that doesn't change with time. Refused if not finite.
  bool SetMatrix(NodeHandle node, const Matrix3& inParent);
  /// A matrix in the parent's space that does. Refused if `mover` is empty.
  bool SetMover(NodeHandle node, Mover mover);
  /// `control` has to outlive its use here; null takes it away and leaves the node at its parent's.
  bool SetControl(NodeHandle node, Control* control);
  /// The node's controller, null if something else places it.
  Control* ControlOf(NodeHandle node) const;

  /// World transform at `t`, any time, not just the current one. Parents are asked before their
  /// children. The identity for the root and for a node that isn't there.
  Matrix3 NodeTransform(NodeHandle node, TimeValue t) const;

  // Time

  TimeValue Time() const { return time_; }
  /// Tells the time callbacks, unless `t` is the current time already.
  void SetTime(TimeValue t);
  /// Tells them although the time is the same: what shows at it has changed.
  void NotifyTimeChange() const;
  CallbackId RegisterTimeCallback(TimeCallback callback);
  bool UnregisterTimeCallback(CallbackId id) { return timeCallbacks_.Remove(id); }

  int TicksPerFrame() const { return ticksPerFrame_; }
  /// Refused unless positive and a whole part of a second, that is of 4800.
  bool SetTicksPerFrame(int ticks);

  // Changes of nodes. The scene itself tells of a node that is placed otherwise, has another parent
  // or was removed (Exists is false by then); a controller tells of its motion.

  bool NotifyDependents(NodeHandle node, Interval when) const;
  CallbackId RegisterChangeCallback(ChangeCallback callback);
  bool UnregisterChangeCallback(CallbackId id) { return changeCallbacks_.Remove(id); }
  /// No callback of either kind hears of anything from here on.
  void UnregisterAll() {
    timeCallbacks_ = {};
    changeCallbacks_ = {};
  }

 private:
  // The mover is shared, so that one which edits the scene doesn't pull itself from under its feet.
  using Placing = std::variant<Matrix3, std::shared_ptr<const Mover>, Control*>;
  struct Node {
    NodeHandle handle = kNoNode;
    NodeHandle parent = kSceneRoot;
    std::string name;
    Placing placing;
  };
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  std::size_t IndexOf(NodeHandle node) const;
  bool Place(NodeHandle node, Placing placing);
  Matrix3 PlaceBelow(const Matrix3& parentWorld, NodeHandle node, TimeValue t) const;
  void TellChange(NodeHandle node, Interval when) const;
  std::string UniqueName(const std::string& wanted);
  void ReleaseName(const std::string& name);

  std::vector<Node> nodes_;  // handles rise, so this is in the order of making and can be searched
  int lastHandle_ = 0;
  std::unordered_map<std::string, NodeHandle> byName_;  // for look-up only: its order means nothing
  // By name without its number: every number from 1 up to, not including, this one is taken.
  std::unordered_map<std::string, int> lowestFree_;
  TimeValue time_ = 0;
  int ticksPerFrame_ = kDynamicsFrame;  // 30 frames a second
  CallbackList<TimeValue> timeCallbacks_;
  CallbackList<NodeHandle, Interval> changeCallbacks_;
};

}  // namespace strider
