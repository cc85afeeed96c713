#include "strider/host/scene.h"

#include <algorithm>
#include <array>
#include <limits>

namespace strider {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The name without the two digits it may end on; a single digit belongs to the name.
std::string WithoutNumber(const std::string& name) {
  const std::size_t size = name.size();
  const bool numbered = size > 2 && IsDigit(name[size - 1]) && IsDigit(name[size - 2]);
  return numbered ? name.substr(0, size - 2) : name;
}

std::string WithNumber(const std::string& base, int number) {
  return base + (number < 10 ? "0" : "") + std::to_string(number);
}

}  // namespace

std::size_t Scene::IndexOf(NodeHandle node) const {
  const auto at = std::lower_bound(nodes_.begin(), nodes_.end(), node,
                                   [](const Node& a, NodeHandle b) { return a.handle < b; });
  if (at == nodes_.end() || at->handle != node) return kNone;
  return static_cast<std::size_t>(at - nodes_.begin());
}

// Names

std::string Scene::UniqueName(const std::string& wanted) {
  if (byName_.find(wanted) == byName_.end()) return wanted;
  const std::string base = WithoutNumber(wanted);
  // Kept from call to call: a crowd of figures names thousands of nodes alike.
  int& number = lowestFree_.try_emplace(base, 1).first->second;
  while (byName_.find(WithNumber(base, number)) != byName_.end()) ++number;
  return WithNumber(base, number);
}

void Scene::ReleaseName(const std::string& name) {
  byName_.erase(name);
  // "Arm201" may be number 1 of "Arm2" or number 201 of "Arm"; nine digits still fit an int.
  for (std::size_t digits = 1; digits <= 9 && digits < name.size(); ++digits) {
    const std::size_t cut = name.size() - digits;
    if (!IsDigit(name[cut])) return;
    const auto lowest = lowestFree_.find(name.substr(0, cut));
    const int number = std::stoi(name.substr(cut));
    if (lowest != lowestFree_.end() && number > 0) {
      lowest->second = std::min(lowest->second, number);
    }
  }
}

bool Scene::Rename(NodeHandle node, const std::string& name) {
  const std::size_t at = IndexOf(node);
  if (at == kNone || name.empty()) return false;
  ReleaseName(nodes_[at].name);  // first, so that a node may take its own name again
  nodes_[at].name = UniqueName(name);
  byName_[nodes_[at].name] = node;
  return true;
}

std::string Scene::Name(NodeHandle node) const {
  const std::size_t at = IndexOf(node);
  return at == kNone ? std::string() : nodes_[at].name;
}

NodeHandle Scene::FindByName(const std::string& name) const {
  const auto found = byName_.find(name);
  return found == byName_.end() ? kNoNode : found->second;
}

// The tree

NodeHandle Scene::AddNode(const std::string& name, NodeHandle parent) {
  if (parent != kSceneRoot && !Exists(parent)) return kNoNode;
  if (lastHandle_ == std::numeric_limits<int>::max()) return kNoNode;
  const NodeHandle node{++lastHandle_};
  nodes_.push_back({node, parent, UniqueName(name.empty() ? "Node" : name), Matrix3::Identity()});
  byName_[nodes_.back().name] = node;
  return node;
}

bool Scene::RemoveNode(NodeHandle node) {
  const std::size_t at = IndexOf(node);
  if (at == kNone) return false;
  const NodeHandle parent = nodes_[at].parent;
  ReleaseName(nodes_[at].name);
  nodes_.erase(nodes_.begin() + static_cast<std::ptrdiff_t>(at));
  std::vector<NodeHandle> moved;
  for (Node& other : nodes_) {
    if (other.parent != node) continue;
    other.parent = parent;
    moved.push_back(other.handle);
  }
  // Told when all is done, so that no listener sees the tree half changed.
  TellChange(node, Interval::Forever());
  for (const NodeHandle child : moved) TellChange(child, Interval::Forever());
  return true;
}

bool Scene::SetParent(NodeHandle node, NodeHandle parent) {
  const std::size_t at = IndexOf(node);
  if (at == kNone || (parent != kSceneRoot && !Exists(parent))) return false;
  for (NodeHandle above = parent; above != kSceneRoot; above = Parent(above)) {
    if (above == node) return false;
  }
  nodes_[at].parent = parent;
  TellChange(node, Interval::Forever());
  return true;
}

NodeHandle Scene::Parent(NodeHandle node) const {
  const std::size_t at = IndexOf(node);
  return at == kNone ? kNoNode : nodes_[at].parent;
}

std::vector<NodeHandle> Scene::Nodes() const {
  std::vector<NodeHandle> handles;
  handles.reserve(nodes_.size());
  for (const Node& node : nodes_) handles.push_back(node.handle);
  return handles;
}

// Placing

bool Scene::Place(NodeHandle node, Placing placing) {
  const std::size_t at = IndexOf(node);
  if (at == kNone) return false;
  nodes_[at].placing = std::move(placing);
  TellChange(node, Interval::Forever());
  return true;
}

bool Scene::SetMatrix(NodeHandle node, const Matrix3& inParent) {
  return IsFinite(inParent) && Place(node, inParent);
}

bool Scene::SetMover(NodeHandle node, Mover mover) {
  return mover && Place(node, std::make_shared<const Mover>(std::move(mover)));
}

bool Scene::SetControl(NodeHandle node, Control* control) { return Place(node, control); }

Control* Scene::ControlOf(NodeHandle node) const {
  const std::size_t at = IndexOf(node);
  if (at == kNone) return nullptr;
  Control* const* const control = std::get_if<Control*>(&nodes_[at].placing);
  return control ? *control : nullptr;
}

Matrix3 Scene::PlaceBelow(const Matrix3& parentWorld, NodeHandle node, TimeValue t) const {
  const std::size_t at = IndexOf(node);
  if (at == kNone) return parentWorld;
  const Placing placing = nodes_[at].placing;
  if (const auto* const inParent = std::get_if<Matrix3>(&placing)) return *inParent * parentWorld;
  if (const auto* const mover = std::get_if<std::shared_ptr<const Mover>>(&placing)) {
    return (**mover)(t)*parentWorld;
  }
  Matrix3 world = parentWorld;
  Interval valid;
  Control* const control = std::get<Control*>(placing);
  if (control) control->GetValue(t, &world, &valid, GetMethod::kAbsolute);
  return world;
}

Matrix3 Scene::NodeTransform(NodeHandle node, TimeValue t) const {
  // Collected on the stack, since a pose costs no allocation. Deeper trees go on in a second call.
  std::array<NodeHandle, 64> path;
  std::size_t length = 0;
  NodeHandle above = node;
  for (; length < path.size() && Exists(above); above = Parent(above)) path[length++] = above;

  Matrix3 world = Exists(above) ? NodeTransform(above, t) : Matrix3::Identity();
  while (length > 0) world = PlaceBelow(world, path[--length], t);
  return world;
}

// Time and news

void Scene::SetTime(TimeValue t) {
  if (t == time_) return;
  time_ = t;
  NotifyTimeChange();
}

void Scene::NotifyTimeChange() const {
  // time_ is read anew for each: after a callback that sets the time, the rest hear the newest.
  timeCallbacks_.ForEach([this](const TimeCallback& callback) { callback(time_); });
}

CallbackId Scene::RegisterTimeCallback(TimeCallback callback) {
  return timeCallbacks_.Add(std::move(callback));
}

bool Scene::SetTicksPerFrame(int ticks) {
  if (ticks <= 0 || kTicksPerSecond % ticks != 0) return false;
  ticksPerFrame_ = ticks;
  return true;
}

void Scene::TellChange(NodeHandle node, Interval when) const {
  changeCallbacks_.ForEach([&](const ChangeCallback& callback) { callback(node, when); });
}

bool Scene::NotifyDependents(NodeHandle node, Interval when) const {
  if (!Exists(node)) return false;
  TellChange(node, when);
  return true;
}

CallbackId Scene::RegisterChangeCallback(ChangeCallback callback) {
  return changeCallbacks_.Add(std::move(callback));
}

}  // namespace strider
