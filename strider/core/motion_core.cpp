#include "strider/core/motion_core.h"

#include "strider/core/key_edit.h"

namespace strider {
namespace {

template <class Core>
auto LimbOf(Core& core, int id) -> decltype(&core.leg[0]) {
  switch (id) {
    case kLeftArm:
    case kLeftFingers: return core.structure.arms ? &core.arm[kLeft] : nullptr;
    case kRightArm:
    case kRightFingers: return core.structure.arms ? &core.arm[kRight] : nullptr;
    case kLeftLeg:
    case kLeftToes: return &core.leg[kLeft];
    case kRightLeg:
    case kRightToes: return &core.leg[kRight];
    default: return nullptr;
  }
}

template <class Core>
auto ChainOf(Core& core, int id) -> decltype(&core.spine) {
  switch (id) {
    case kSpine: return &core.spine;
    case kTail: return &core.tail;
    case kNeck: return &core.neck;
    case kPony1: return &core.pony[0];
    case kPony2: return &core.pony[1];
    default: break;
  }
  const auto xtra = static_cast<std::size_t>(id - kXtraFirst);
  return IsXtra(id) && xtra < core.xtras.size() ? &core.xtras[xtra].chain : nullptr;
}

template <class Core>
auto TrackOf(Core& core, int id) -> decltype(&core.body.turn.track) {
  if (auto* limb = LimbOf(core, id)) return &limb->table.track;
  switch (id) {
    case kHead:
    case kNeck: return &core.head.table.track;
    case kPelvis: return &core.pelvis.table.track;
    case kVertical: return &core.body.vertical.track;
    case kHorizontal: return &core.body.horizontal.track;
    case kTurn: return &core.body.turn.track;
    case kProp1:
    case kProp2:
    case kProp3: {
      auto& prop = core.props[id - kProp1];
      return prop.exists ? &prop.table.track : nullptr;
    }
    default: break;
  }
  auto* chain = ChainOf(core, id);
  return chain && chain->numLinks > 0 ? &chain->table.track : nullptr;
}

/// Quaternion channels of a limb key: its two rotations, the one in object space, then each
/// digit's base and links.
struct LimbChannels {
  const LimbRecord& limb;

  static constexpr int kDigits = 3;
  int PerDigit() const { return 1 + limb.digitLinks; }
  const Quat& At(const LimbKey& key, int channel) const {
    if (channel == 0) return key.limbRotation;
    if (channel == 1) return key.endRotation;
    if (channel == 2) return key.spaceRotation;
    const DigitKey& digit = key.digits[(channel - kDigits) / PerDigit()];
    const int link = (channel - kDigits) % PerDigit();
    return link == 0 ? digit.base : digit.link[link - 1];
  }
  int SubTrack(int channel) const {
    const KeyTrack& track = limb.table.track;
    const int links = NumLimbLinks(limb);
    int sub = channel == 0 ? (limb.isLeg ? 0 : 1) : links - 1;
    if (channel >= kDigits) sub = links + (channel - kDigits) / PerDigit();
    return sub < track.numSubTracks ? sub : track.numSubTracks - 1;
  }
  static bool Comparable(const LimbKey& a, const LimbKey& b, int channel) {
    return channel != 2 || a.ikSpace == b.ikSpace;
  }
  // A leg comes to rest at a contact without overshoot, and leaves a lift along its way.
  KeyTcb Rule(const LimbKey& key, int channel, KeyTcb tcb) const {
    if (!limb.isLeg || channel >= kDigits) return tcb;
    if (key.keyState == kTouch || key.keyState == kPlant) tcb.continuity = 0;
    if (key.keyState == kLift) tcb.bias = 50;
    return tcb;
  }
};

template <class Key>
struct PlainChannels {
  static KeyTcb Rule(const Key&, int, const KeyTcb& tcb) { return tcb; }
  static int SubTrack(int channel) { return channel; }
  static bool Comparable(const Key&, const Key&, int) { return true; }
};
struct ChainChannels : PlainChannels<ChainKey> {
  static const Quat& At(const ChainKey& key, int channel) { return key.rotation[channel]; }
};
struct HeadChannels : PlainChannels<HeadKey> {
  static const Quat& At(const HeadKey& key, int channel) { return key.chain.rotation[channel]; }
};
struct TurnChannels : PlainChannels<TurnKey> {
  static const Quat& At(const TurnKey& key, int) { return key.rotation; }
};
struct PelvisChannels : PlainChannels<PelvisKey> {
  static const Quat& At(const PelvisKey& key, int) { return key.rotation; }
};
struct PropChannels : PlainChannels<PropKey> {
  static const Quat& At(const PropKey& key, int channel) { return key.rotation[channel]; }
};
template <class Key>
struct NoChannels : PlainChannels<Key> {
  static Quat At(const Key&, int) { return {}; }
};

template <class Key>
void Configure(KeyTable<Key>& table, int numCurves, int numQuats, int trackCurves = 0) {
  table.track.numCurves = numCurves;
  table.track.trackCurves = trackCurves;
  if (table.track.numQuats != numQuats) SetNumQuats(table, numQuats);
}

void ConfigureLimb(LimbRecord& limb) {
  KeyTrack& track = limb.table.track;
  track.numDigits = limb.numDigits;
  track.clampSubTrack = 1;
  track.digitLinks = limb.digitLinks;
  const int digitCurves = limb.numDigits * limb.digitLinks;
  Configure(limb.table, NumLimbLinks(limb) + digitCurves,
            LimbChannels::kDigits + limb.numDigits * (1 + limb.digitLinks), 1);
}

int LimbSubTracks(const LimbRecord& limb, bool limbSeparate) {
  if (limb.digitsSeparate) return NumLimbLinks(limb) + limb.numDigits;
  return limbSeparate ? NumLimbLinks(limb) + 1 : 0;
}

}  // namespace

Matrix3 HostFromCore(const Matrix3& m) {
  return {{HostFromCore(m.row[0]), HostFromCore(m.row[1]), HostFromCore(m.row[2]),
           HostFromCore(m.row[3])}};
}
Matrix3 CoreFromHost(const Matrix3& m) {
  return {{CoreFromHost(m.row[0]), CoreFromHost(m.row[1]), CoreFromHost(m.row[2]),
           CoreFromHost(m.row[3])}};
}
Matrix3 CoreFromHostTransform(const Matrix3& m) {
  // The core's axes X, Y, Z are the host's X, Z, -Y.
  const Matrix3 rows{{m.row[0], m.row[2], -m.row[1], m.row[3]}};
  return CoreFromHost(rows);
}

LimbRecord* FindLimb(MotionCore& core, int id) { return LimbOf(core, id); }
const LimbRecord* FindLimb(const MotionCore& core, int id) { return LimbOf(core, id); }
ChainRecord* FindChain(MotionCore& core, int id) { return ChainOf(core, id); }
const ChainRecord* FindChain(const MotionCore& core, int id) { return ChainOf(core, id); }
KeyTrack* FindTrack(MotionCore& core, int id) { return TrackOf(core, id); }
const KeyTrack* FindTrack(const MotionCore& core, int id) { return TrackOf(core, id); }

int LimbId(const LimbRecord& limb) {
  if (limb.isLeg) return limb.side == kRight ? kRightLeg : kLeftLeg;
  return limb.side == kRight ? kRightArm : kLeftArm;
}

int NumLinks(const MotionCore& core, int id) {
  if (IsXtra(id)) {
    const ChainRecord* chain = FindChain(core, id);
    return chain ? chain->numLinks : 0;
  }
  if (id >= kXtraNubFirst && id <= kXtraNubLast) {
    return NumLinks(core, id - kXtraNubFirst + kXtraFirst) > 0 ? 1 : 0;
  }
  return NumLinks(core.structure, id);
}

bool HasLink(const MotionCore& core, int id, int link) {
  const BodyPart* part = FindBodyPart(id);
  if (!part || link < 0) return false;
  if (part->kind == PartKind::kFingers || part->kind == PartKind::kToes) {
    const LimbRecord* limb = FindLimb(core, id);
    if (!limb || limb->digitLinks == 0) return false;
    const int digit = link / limb->digitLinks;
    return digit < limb->numDigits && link % limb->digitLinks < limb->digits[digit].numLinks;
  }
  return link < NumLinks(core, id);
}

int SubTrackOf(const MotionCore& core, int id, int link) {
  const LimbRecord* limb = FindLimb(core, id);
  const BodyPart* part = FindBodyPart(id);
  if (!part) return 0;
  if (limb) {
    const bool limbSeparate = limb->isLeg ? core.separateTracks.legs : core.separateTracks.arms;
    if (part->kind == PartKind::kArm || part->kind == PartKind::kLeg) {
      return limbSeparate || limb->digitsSeparate ? link : 0;
    }
    const int links = NumLimbLinks(*limb);
    if (!limb->digitsSeparate) return links;
    return links + (limb->digitLinks > 0 ? link / limb->digitLinks : 0);
  }
  if (id == kHead) return core.structure.neckLinks;
  return link;
}

std::uint32_t SubTrackMask(const MotionCore& core, int id, int link) {
  const KeyTrack* track = FindTrack(core, id);
  if (!track || !track->separate) return kAllLinks;
  int sub = SubTrackOf(core, id, link);
  if (sub >= track->numSubTracks) sub = track->numSubTracks - 1;
  return sub >= 0 ? std::uint32_t{1} << sub : kAllLinks;
}

int NumSubTracks(const MotionCore& core, int id) {
  const SeparateTracks& s = core.separateTracks;
  if (const LimbRecord* limb = FindLimb(core, id)) {
    return LimbSubTracks(*limb, limb->isLeg ? s.legs : s.arms);
  }
  if (id == kHead || id == kNeck) return s.neck ? core.structure.neckLinks + 1 : 0;
  const ChainRecord* chain = FindChain(core, id);
  if (!chain) return 0;
  const bool on = id == kSpine   ? s.spine
                  : id == kTail  ? s.tail
                  : id == kPony1 ? s.ponytail1
                  : id == kPony2 ? s.ponytail2
                                 : chain->table.track.separate != 0;
  return on ? chain->numLinks : 0;
}

void ConfigureTracks(MotionCore& core) {
  for (LimbRecord& limb : core.leg) ConfigureLimb(limb);
  for (LimbRecord& limb : core.arm) ConfigureLimb(limb);
  for (ChainRecord* chain : {&core.spine, &core.tail, &core.pony[0], &core.pony[1]}) {
    Configure(chain->table, chain->numLinks, chain->numLinks);
  }
  for (XtraChain& xtra : core.xtras) {
    Configure(xtra.chain.table, xtra.chain.numLinks, xtra.chain.numLinks, 1);
  }
  Configure(core.head.table, core.neck.numLinks + 1, core.neck.numLinks + 1);
  Configure(core.pelvis.table, 1, 1);
  Configure(core.body.turn, 1, 1);
  Configure(core.body.horizontal, 1, 0);
  Configure(core.body.vertical, 1, 0);
  for (PropRecord& prop : core.props) Configure(prop.table, 1, kNumPropSpaces);
  if (core.tail.numLinks > 0 && core.separateTracks.tail) {
    (void)SetSeparate(core.tail.table, 1, core.tail.numLinks);
  }
}

int SetSeparateTracks(MotionCore& core, int id, bool on) {
  SeparateTracks& s = core.separateTracks;
  const auto setLimbs = [&](LimbRecord(&limbs)[2], bool& flag, bool& digitFlag, bool digits) {
    const bool limbOn = digits ? flag : on;
    const bool digitsOn = digits ? on : digitFlag;
    LimbRecord changed[2] = {limbs[0], limbs[1]};
    for (LimbRecord& limb : changed) {
      limb.digitsSeparate = digitsOn;
      const int subTracks = LimbSubTracks(limb, limbOn);
      if (SetSeparate(limb.table, subTracks > 0, subTracks) == kRefused) return int{kRefused};
    }
    for (int side = 0; side < 2; ++side) std::swap(limbs[side], changed[side]);
    flag = limbOn;
    digitFlag = digitsOn;
    // Keys that now follow each other may lie on opposite sides.
    for (const LimbRecord& limb : limbs) AlignKeys(core, LimbId(limb));
    return int{kDone};
  };
  const auto setTable = [&](auto& table, int links, bool& flag) {
    const int status = SetSeparate(table, on, links);
    if (status == kRefused) return status;
    flag = on;
    AlignKeys(core, id);
    return status;
  };
  switch (id) {
    case kLeftArm:
    case kRightArm: return setLimbs(core.arm, s.arms, s.fingers, false);
    case kLeftFingers:
    case kRightFingers: return setLimbs(core.arm, s.arms, s.fingers, true);
    case kLeftLeg:
    case kRightLeg: return setLimbs(core.leg, s.legs, s.toes, false);
    case kLeftToes:
    case kRightToes: return setLimbs(core.leg, s.legs, s.toes, true);
    case kNeck:
    case kHead: return setTable(core.head.table, core.neck.numLinks + 1, s.neck);
    case kSpine: return setTable(core.spine.table, core.spine.numLinks, s.spine);
    case kTail: return setTable(core.tail.table, core.tail.numLinks, s.tail);
    case kPony1: return setTable(core.pony[0].table, core.pony[0].numLinks, s.ponytail1);
    case kPony2: return setTable(core.pony[1].table, core.pony[1].numLinks, s.ponytail2);
    default: return kRefused;
  }
}

void RefreshTrunkTracks(MotionCore& core) {
  RefreshDerived(core.spine.table, ChainChannels{});
  RefreshDerived(core.pelvis.table, PelvisChannels{});
  RefreshDerived(core.body.turn, TurnChannels{});
  RefreshDerived(core.body.horizontal, NoChannels<HorizontalKey>{});
  RefreshDerived(core.body.vertical, NoChannels<VerticalKey>{});
}

void RefreshTracks(MotionCore& core) {
  RefreshTrunkTracks(core);
  for (LimbRecord& limb : core.leg) RefreshDerived(limb.table, LimbChannels{limb});
  for (LimbRecord& limb : core.arm) RefreshDerived(limb.table, LimbChannels{limb});
  RefreshDerived(core.tail.table, ChainChannels{});
  RefreshDerived(core.pony[0].table, ChainChannels{});
  RefreshDerived(core.pony[1].table, ChainChannels{});
  for (XtraChain& xtra : core.xtras) RefreshDerived(xtra.chain.table, ChainChannels{});
  RefreshDerived(core.head.table, HeadChannels{});
  for (PropRecord& prop : core.props) RefreshDerived(prop.table, PropChannels{});
}

}  // namespace strider
