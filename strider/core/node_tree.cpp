#include "strider/core/node_tree.h"

namespace strider {
namespace {

class TreeBuilder {
 public:
  explicit TreeBuilder(const MotionCore& core) : core_(core), s_(core.structure) {}

  std::vector<NodeInfo> Build() {
    nodes_.push_back({kHorizontal, 0, kNoBodyId, 0, core_.name});
    Add(kPelvis, 0, kHorizontal, 0, "Pelvis");
    AddChain(kSpine, kPelvis, 0);
    AddLegs();
    if (s_.arms) AddArms();
    Add(kHead, 0, kNeck, s_.neckLinks - 1, "Head");
    AddChain(kNeck, kSpine, s_.spineLinks - 1);
    AddChain(kTail, s_.trianglePelvis ? kSpine : kPelvis, 0);
    AddChain(kPony1, kHead, 0);
    AddChain(kPony2, kHead, 0);
    for (int i = 0; i < static_cast<int>(core_.xtras.size()); ++i) {
      const XtraChain& xtra = core_.xtras[static_cast<std::size_t>(i)];
      AddChain(kXtraFirst + i, xtra.parentId, xtra.parentLink);
    }
    AddTwists();
    for (int id : {kProp1, kProp2, kProp3}) {
      if (NumLinks(core_, id) > 0) Add(id, 0, kHorizontal, 0, FindBodyPart(id)->label);
    }
    for (int id : {kRightFingers, kLeftFingers, kRightToes, kLeftToes}) AddDigits(id);
    Add(kFootprints, 0, kHorizontal, 0, FindBodyPart(kFootprints)->label);
    AddNubs();
    return std::move(nodes_);
  }

 private:
  void Add(int id, int link, int parentId, int parentLink, const std::string& part) {
    nodes_.push_back({id, link, parentId, parentLink, core_.name + "_" + part});
  }

  std::string ChainLabel(int id) const {
    if (!IsXtra(id)) return FindBodyPart(id)->label;
    const std::string& own = core_.xtras[static_cast<std::size_t>(id - kXtraFirst)].name;
    return own.empty() ? "Xtra" + std::to_string(id - kXtraFirst + 1) + "Link" : own;
  }

  void AddChain(int id, int parentId, int parentLink) {
    const int links = NumLinks(core_, id);
    for (int k = 0; k < links; ++k) {
      const std::string name = ChainLabel(id) + std::to_string(k + 1);
      if (k == 0) {
        Add(id, k, parentId, parentLink, name);
      } else {
        Add(id, k, id, k - 1, name);
      }
    }
  }

  void AddLimb(int id, int parentId, int parentLink, const char* const (&links)[4]) {
    const std::string side = FindBodyPart(id)->label;
    const int count = NumLinks(core_, id);
    for (int k = 0; k < count; ++k) {
      // A three-link leg goes from calf to foot; the last name is always the extremity's.
      const char* label = k == count - 1 ? links[3] : links[k];
      if (k == 0) {
        Add(id, k, parentId, parentLink, side + label);
      } else {
        Add(id, k, id, k - 1, side + label);
      }
    }
  }

  void AddLegs() {
    static constexpr const char* kLinks[4] = {"Thigh", "Calf", "HorseLink", "Foot"};
    const int parent = s_.trianglePelvis ? kSpine : kPelvis;
    for (int id : {kRightLeg, kLeftLeg}) AddLimb(id, parent, 0, kLinks);
  }

  void AddArms() {
    static constexpr const char* kLinks[4] = {"Clavicle", "UpperArm", "Forearm", "Hand"};
    for (int id : {kRightArm, kLeftArm}) {
      if (s_.triangleNeck) {
        AddLimb(id, kSpine, s_.spineLinks - 1, kLinks);
      } else {
        AddLimb(id, kNeck, 0, kLinks);
      }
    }
  }

  void AddTwists() {
    for (int part = 0; part < kNumTwistParts; ++part) {
      for (int side : {1, 0}) {  // twist ids run left, right; nodes right, left
        const int id = kTwistStartId + 2 * part + side;
        const TwistSegment segment = TwistSegmentOf(id);
        for (int k = 0; k < NumLinks(core_, id); ++k) {
          Add(id, k, segment.limbId, segment.limbLink,
              FindBodyPart(id)->label + std::to_string(k + 1));
        }
      }
    }
  }

  static std::string DigitName(int id, int digit) {
    return FindBodyPart(id)->label + std::to_string(digit + 1);
  }

  void AddDigits(int id) {
    const LimbRecord* limb = FindLimb(core_, id);
    if (!limb || NumLinks(core_, id) == 0) return;
    const int limbId = LimbId(*limb), extremity = NumLimbLinks(*limb) - 1;
    for (int d = 0; d < limb->numDigits; ++d) {
      for (int k = 0; k < limb->digits[d].numLinks; ++k) {
        const int link = d * limb->digitLinks + k;
        const std::string name = DigitName(id, d) + "Link" + std::to_string(k + 1);
        if (k == 0) {
          Add(id, link, limbId, extremity, name);
        } else {
          Add(id, link, id, link - 1, name);
        }
      }
    }
  }

  void AddDigitNubs(int nubId, int digitId) {
    const LimbRecord* limb = FindLimb(core_, digitId);
    if (!limb || NumLinks(core_, digitId) == 0) return;
    for (int d = 0; d < limb->numDigits; ++d) {
      const int last = d * limb->digitLinks + limb->digits[d].numLinks - 1;
      Add(nubId, d, digitId, last, DigitName(digitId, d) + "End");
    }
  }

  void AddChainNub(int nubId, int chainId) {
    const int links = NumLinks(core_, chainId);
    if (links > 0) Add(nubId, 0, chainId, links - 1, ChainLabel(chainId) + "End");
  }

  void AddNubs() {
    AddDigitNubs(kRightFingerNubs, kRightFingers);
    AddDigitNubs(kLeftFingerNubs, kLeftFingers);
    AddDigitNubs(kRightToeNubs, kRightToes);
    AddDigitNubs(kLeftToeNubs, kLeftToes);
    AddChainNub(kTailNub, kTail);
    Add(kHeadNub, 0, kHead, 0, "HeadEnd");
    AddChainNub(kPony1Nub, kPony1);
    AddChainNub(kPony2Nub, kPony2);
    for (int i = 0; i < static_cast<int>(core_.xtras.size()); ++i) {
      AddChainNub(kXtraNubFirst + i, kXtraFirst + i);
    }
  }

  const MotionCore& core_;
  const Structure& s_;
  std::vector<NodeInfo> nodes_;
};

}  // namespace

std::vector<NodeInfo> BuildNodeTree(const MotionCore& core) { return TreeBuilder(core).Build(); }

bool HasNode(const MotionCore& core, int id, int link) {
  return id != kVertical && id != kTurn && HasLink(core, id, link);
}

}  // namespace strider
