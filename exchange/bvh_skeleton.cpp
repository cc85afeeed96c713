#include "exchange/bvh_skeleton.h"

#include <map>
#include <set>

#include "exchange/motion_sampler.h"
#include "strider/core/figure_layout.h"

namespace strider {
namespace {

// --- Names ---------------------------------------------------------------------------------------

std::string Sided(int id, const char* part) {
  return (FindBodyPart(id)->side == kLeft ? "Left" : "Right") + std::string(part);
}

std::string LimbName(const LimbRecord& limb, int id, int link) {
  if (!limb.isLeg) {
    static constexpr const char* kArm[] = {"Collar", "Shoulder", "Elbow", "Wrist"};
    return Sided(id, kArm[link]);
  }
  if (link == NumLimbLinks(limb) - 1) return Sided(id, "Ankle");
  if (link == 2) return "";  // the third segment of a four-link leg
  return Sided(id, link == 0 ? "Hip" : "Knee");
}

std::string FingerName(const LimbRecord& limb, int id, int link) {
  const int digit = link / limb.digitLinks, k = link % limb.digitLinks;
  constexpr int kKnownLinks = 3;
  if (k >= kKnownLinks) return "";
  return Sided(id, "Finger") + std::to_string(digit) + (k == 0 ? "" : std::to_string(k));
}

/// A link's name in the vocabulary of captured motion; empty where it has none.
std::string KnownName(const MotionCore& core, int id, int link) {
  constexpr int kKnownSpineLinks = 8;
  switch (id) {
    case kPelvis: return "Hips";
    case kSpine:
      if (link >= kKnownSpineLinks) return "";
      return link == 0 ? "Chest" : "Chest" + std::to_string(link + 1);
    case kNeck: return link == 0 ? "Neck" : "";
    case kHead: return "Head";
    case kLeftArm:
    case kRightArm:
    case kLeftLeg:
    case kRightLeg: return LimbName(*FindLimb(core, id), id, link);
    case kLeftFingers:
    case kRightFingers: return FingerName(*FindLimb(core, id), id, link);
    case kLeftToes:
    case kRightToes: return link == 0 ? Sided(id, "Toe") : "";
    default: return "";
  }
}

/// A node's name as one word, which no other joint has.
std::string OneWord(std::string name, const std::set<std::string>& taken) {
  for (char& c : name) {
    if (static_cast<unsigned char>(c) <= ' ' || c == '{' || c == '}' || c == 0x7f) c = '_';
  }
  if (name.empty()) name = "_";
  std::string unique = name;
  for (int i = 2; taken.count(unique) != 0; ++i) unique = name + "_" + std::to_string(i);
  return unique;
}

// --- What carries what ---------------------------------------------------------------------------

struct Place {
  int id = kNoBodyId, link = 0;
  friend auto operator<=>(const Place&, const Place&) = default;
};

/// The link in whose frame another stays at one place, whatever the pose. It is not always the
/// node's parent: legs hang from the pelvis and arms from the spine, where their nodes may stand
/// under the spine and the neck.
Place CarrierOf(const MotionCore& core, const SkeletonLink& link, const Place& nodeParent) {
  const Place lastOfSpine{kSpine, core.structure.spineLinks - 1};
  switch (link.id) {
    case kHorizontal: return {kPelvis, 0};  // one place, two turns
    case kLeftLeg:
    case kRightLeg: return link.link == 0 ? Place{kPelvis, 0} : nodeParent;
    case kLeftArm:
    case kRightArm: return link.link == 0 ? lastOfSpine : nodeParent;
    case kSpine:
    case kTail: return link.link == 0 ? Place{kPelvis, 0} : nodeParent;
    default: return nodeParent;
  }
}

/// Footprints and props go their own ways.
bool IsCarried(int id) {
  return FindBodyPart(id)->kind != PartKind::kFootprints &&
         FindBodyPart(id)->kind != PartKind::kProp;
}

class Builder {
 public:
  Builder(const MotionCore& core, bool onlyKnown) : standing_(core), onlyKnown_(onlyKnown) {
    PlaceFigure(standing_, {}, 0);
    TakeStance(standing_);
    CoreForwardKinematics(standing_);
    skeleton_ = SkeletonOf(standing_);
  }

  std::vector<BvhJoint> Build() {
    FindParents();
    for (std::size_t i = 0; i < skeleton_.size(); ++i) {
      if (skeleton_[i].id == kPelvis) AddWithChildren(static_cast<int>(i), -1);
    }
    return std::move(joints_);
  }

 private:
  const SkeletonLink& At(int link) const { return skeleton_[static_cast<std::size_t>(link)]; }
  bool IsNub(int link) const { return FindBodyPart(At(link).id)->kind == PartKind::kNub; }
  std::string Known(int link) const { return KnownName(standing_, At(link).id, At(link).link); }
  bool IsJoint(int link) const { return !IsNub(link) && (!onlyKnown_ || !Known(link).empty()); }

  Frame Rest(int link) const { return FrameOf(standing_, At(link).id, At(link).link); }

  /// Children under the nearest link above that becomes a joint.
  void FindParents() {
    std::map<Place, int> places;
    const int count = static_cast<int>(skeleton_.size());
    for (int i = 0; i < count; ++i) places[{At(i).id, At(i).link}] = i;
    std::vector<int> carriers;
    for (int i = 0; i < count; ++i) {
      const int node = At(i).parent;
      const Place nodeParent = node < 0 ? Place{} : Place{At(node).id, At(node).link};
      const auto carrier = places.find(CarrierOf(standing_, At(i), nodeParent));
      carriers.push_back(carrier == places.end() || At(i).id == kPelvis ? -1 : carrier->second);
    }
    children_.resize(skeleton_.size());
    moves_.resize(skeleton_.size());
    for (int i = 0; i < count; ++i) {
      int parent = carriers[static_cast<std::size_t>(i)];
      bool moves = !IsCarried(At(i).id) || parent < 0;
      while (parent >= 0 && !IsJoint(parent)) {
        parent = carriers[static_cast<std::size_t>(parent)];
        moves = true;
      }
      moves_[static_cast<std::size_t>(i)] = moves;
      if (parent >= 0) children_[static_cast<std::size_t>(parent)].push_back(i);
    }
  }

  void AddWithChildren(int link, int parent) {
    BvhJoint joint;
    joint.id = At(link).id;
    joint.link = At(link).link;
    joint.parent = parent;
    joint.moves = moves_[static_cast<std::size_t>(link)];
    joint.rest = Rest(link);
    joint.end = EndOf(link, joint.rest);
    const std::string known = Known(link);
    joint.name = known.empty() ? OneWord(At(link).name, names_) : known;
    names_.insert(joint.name);
    const int own = static_cast<int>(joints_.size());
    joints_.push_back(joint);
    if (parent >= 0) joints_[static_cast<std::size_t>(parent)].isLeaf = false;
    for (const int child : children_[static_cast<std::size_t>(link)]) {
      if (IsJoint(child)) AddWithChildren(child, own);
    }
  }

  /// The nub of a leaf where it has one, else as far as its length reaches along its bone.
  Point3 EndOf(int link, const Frame& rest) const {
    for (const int child : children_[static_cast<std::size_t>(link)]) {
      if (IsNub(child) && !moves_[static_cast<std::size_t>(child)]) {
        return Rest(child).origin - rest.origin;
      }
    }
    const Point3 size = LinkDimensions(standing_, At(link).id, At(link).link);
    return Rotate(rest.rotation, {size.x, 0, 0});
  }

  MotionCore standing_;
  bool onlyKnown_;
  std::vector<SkeletonLink> skeleton_;
  std::vector<std::vector<int>> children_;  // of each link, nubs too
  std::vector<bool> moves_;
  std::set<std::string> names_;
  std::vector<BvhJoint> joints_;
};

}  // namespace

std::vector<BvhJoint> BvhSkeletonOf(const MotionCore& core, bool onlyKnown) {
  return Builder(core, onlyKnown).Build();
}

}  // namespace strider
