#include "strider/core/restructure.h"

#include <algorithm>
#include <new>

#include "strider/base/euler.h"
#include "strider/core/figure_layout.h"
#include "strider/core/limb_solver.h"

namespace strider {
namespace {

/// For each new column the old one that it continues; -1 for one that comes new.
using Columns = std::vector<int>;

Columns KeepFirst(int before, int now) {
  Columns from;
  for (int k = 0; k < now; ++k) from.push_back(k < before ? k : -1);
  return from;
}

/// Sub-tracks that come new have the keys of their lower neighbour.
Columns WithoutNew(Columns from) {
  for (std::size_t k = 0; k < from.size(); ++k) {
    if (from[k] < 0) from[k] = k > 0 ? from[k - 1] : 0;
  }
  return from;
}

/// Passes std::bad_alloc on.
template <class Key>
void RemapTable(KeyTable<Key>& table, const Columns& subTracks, const Columns& curves) {
  KeyTrack& track = table.track;
  if (track.separate) {
    RemapLinks(track, WithoutNew(subTracks));
    std::vector<int> kept;
    for (int i = 0; i < track.numKeys; ++i) {
      if (track.times[static_cast<std::size_t>(i)].linkMask != 0) kept.push_back(i);
    }
    if (static_cast<int>(kept.size()) < track.numKeys) KeepKeys(table, kept);
  }
  RemapCurves(track, curves);
  MarkDirty(track, 0, track.numKeys - 1);
}

Point3 EulerOf(const KeyTrack& track, const Quat& rotation) {
  return EulerKeyFromAngles(QuatToEuler(rotation, track.eulerOrder));
}

// --- Chains ------------------------------------------------------------------------------------

ChainKey RemappedKey(const ChainKey& key, const Columns& links, const ChainKey& rest,
                     const KeyTrack& track) {
  ChainKey result = key;
  for (int k = 0; k < kMaxLinks; ++k) {
    const bool exists = k < static_cast<int>(links.size());
    const int from = exists ? links[static_cast<std::size_t>(k)] : -1;
    result.rotation[k] = from >= 0 ? key.rotation[from] : exists ? rest.rotation[k] : Quat{};
    result.euler[k] =
        from >= 0 ? key.euler[from] : EulerOf(track, exists ? rest.rotation[k] : Quat{});
  }
  return result;
}

/// `chain` is the new figure's; it takes over the keys that the old one had.
void TakeChainKeys(ChainRecord& chain, const ChainRecord& old) {
  if (chain.numLinks == 0 || old.numLinks == 0) {
    chain.table = {};
    return;
  }
  chain.table = old.table;
  if (chain.numLinks == old.numLinks) return;
  const Columns links = KeepFirst(old.numLinks, chain.numLinks);
  RemapTable(chain.table, links, links);
  for (ChainKey& key : chain.table.keys) {
    key = RemappedKey(key, links, chain.rest, chain.table.track);
  }
}

/// The head stays the last of the neck's columns.
void TakeHeadKeys(MotionCore& core, const MotionCore& old) {
  core.head.table = old.head.table;
  const int before = old.neck.numLinks, now = core.neck.numLinks;
  if (before == now) return;
  Columns links = KeepFirst(before, now);
  links.push_back(before);
  RemapTable(core.head.table, links, links);
  for (HeadKey& key : core.head.table.keys) {
    key.chain = RemappedKey(key.chain, links, core.head.rest.chain, core.head.table.track);
  }
}

// --- Limbs -------------------------------------------------------------------------------------

/// The foot stays the last link; a horse link comes and goes between calf and foot.
Columns LinkColumns(const LimbRecord& old, const LimbRecord& limb) {
  if (NumLimbLinks(old) == NumLimbLinks(limb)) {
    return KeepFirst(NumLimbLinks(old), NumLimbLinks(limb));
  }
  return limb.hasFourLinks ? Columns{0, 1, -1, 2} : Columns{0, 1, 3};
}

Columns LimbSubTracks(const LimbRecord& old, const LimbRecord& limb) {
  Columns from = LinkColumns(old, limb);
  const int links = NumLimbLinks(old);
  if (!limb.digitsSeparate) {
    from.push_back(links);  // all digits together
    return from;
  }
  for (int d = 0; d < limb.numDigits; ++d) from.push_back(d < old.numDigits ? links + d : -1);
  return from;
}

Columns LimbCurves(const LimbRecord& old, const LimbRecord& limb) {
  Columns from = LinkColumns(old, limb);
  const int links = NumLimbLinks(old);
  for (int d = 0; d < limb.numDigits; ++d) {
    for (int k = 0; k < limb.digitLinks; ++k) {
      const bool had = d < old.numDigits && k < old.digitLinks;
      from.push_back(had ? links + d * old.digitLinks + k : -1);
    }
  }
  return from;
}

DigitKey RemappedDigit(const LimbRecord& old, const LimbRecord& limb, const LimbKey& key, int d) {
  if (d >= limb.numDigits) return {};
  const KeyTrack& track = limb.table.track;
  DigitKey digit = limb.rest.digits[d];
  digit.baseEuler = EulerOf(track, digit.base);
  for (int k = 0; k < kMaxDigitLinks; ++k) digit.linkEuler[k] = EulerOf(track, digit.link[k]);
  if (d >= old.numDigits) return digit;
  const DigitKey& before = key.digits[d];
  digit.base = before.base;
  digit.baseEuler = before.baseEuler;
  const int links = std::min(old.digits[d].numLinks, limb.digits[d].numLinks);
  for (int k = 0; k < links; ++k) {
    digit.link[k] = before.link[k];
    digit.linkEuler[k] = before.linkEuler[k];
    digit.bend[k] = before.bend[k];
  }
  return digit;
}

bool SameDigits(const LimbRecord& a, const LimbRecord& b) {
  if (a.numDigits != b.numDigits || a.digitLinks != b.digitLinks) return false;
  for (int d = 0; d < a.numDigits; ++d) {
    if (a.digits[d].numLinks != b.digits[d].numLinks) return false;
  }
  return true;
}

/// A target that stood where the angles have the limb's end stands there again; one that stood off
/// it stands off in the ratio of the lengths.
Point3 CarriedTarget(const SegmentLengths& old, const SegmentLengths& now, const LimbKey& before,
                     const LimbKey& key) {
  const Point3 oldEnd = ForwardLimb(old, before.jointAngles, before.limbRotation).end;
  const Point3 end = ForwardLimb(now, key.jointAngles, key.limbRotation).end;
  return end + (ReachOf(now) / ReachOf(old)) * (before.bodyTarget - oldEnd);
}

void TakeLimbKeys(LimbRecord& limb, const LimbRecord& old) {
  limb.objectFrame = old.objectFrame;
  limb.hasObject = old.hasObject;
  limb.digitsSeparate = old.digitsSeparate;
  limb.holdTime = old.holdTime;
  limb.hold = old.hold;
  limb.keyState = old.keyState;
  limb.table = old.table;
  const bool sameLinks = NumLimbLinks(limb) == NumLimbLinks(old);
  const SegmentLengths before = LengthsOf(old), now = LengthsOf(limb);
  const bool sameDigits = SameDigits(limb, old);
  if (!sameLinks || !sameDigits) {
    RemapTable(limb.table, LimbSubTracks(old, limb), LimbCurves(old, limb));
  }
  for (LimbKey& key : limb.table.keys) {
    const LimbKey was = key;
    for (int i = kThirdPitch; i < kNumJointAngles && !sameLinks; ++i) {
      key.jointAngles[i] = limb.hasFourLinks ? limb.rest.jointAngles[i] : 0;
    }
    if (!sameLinks || !(before == now)) key.bodyTarget = CarriedTarget(before, now, was, key);
    for (int d = 0; d < kMaxDigits && !sameDigits; ++d) {
      key.digits[d] = RemappedDigit(old, limb, was, d);
    }
  }
}

// --- The whole figure --------------------------------------------------------------------------

/// The body keeps its keys and its place on the ground; its stance is as high as the figure's.
void TakeBody(MotionCore& core, const MotionCore& old) {
  const BodyRecord figure = core.body;
  core.body = old.body;
  core.body.fixedBalanceOffset = figure.fixedBalanceOffset;
  core.body.defaultBalance = figure.defaultBalance;
  core.body.figurePosition.y += StanceHeight(core) - StanceHeight(old);
}

void TakeModes(MotionCore& core, const MotionCore& old) {
  core.name = old.name;
  core.ticksPerFrame = old.ticksPerFrame;
  core.unitShapeLinks = old.unitShapeLinks;
  core.figureMode = old.figureMode;
  core.inPlace = old.inPlace;
  core.inPlaceKind = old.inPlaceKind;
  core.separateTracks = old.separateTracks;
  core.freeForm = old.freeForm;
  core.footstepsPending = old.footstepsPending;
  core.bodyKeysComputed = old.bodyKeysComputed;
  core.startTime = old.startTime;
  core.endTime = old.endTime;
  core.previousLayer = old.previousLayer;
  core.nextLayer = old.nextLayer;
  core.layerOffset = old.layerOffset;
  core.layerName = old.layerName;
  core.layerActive = old.layerActive;
  core.layerNumber = old.layerNumber;
  std::copy(std::begin(old.limbRetarget), std::end(old.limbRetarget), core.limbRetarget);
  core.bodyPath = old.bodyPath;
  core.base = old.base;
}

void TakeXtraKeys(MotionCore& core, const MotionCore& old) {
  for (XtraChain& xtra : core.xtras) {
    xtra.chain.table = {};
    for (const XtraChain& other : old.xtras) {
      if (other.name == xtra.name) TakeChainKeys(xtra.chain, other.chain);
    }
  }
}

/// Parts that come to the figure have sub-tracks as their sections' switches ask.
void ApplySeparate(MotionCore& core) {
  const auto apply = [&core](int id, auto& table) {
    const int want = NumSubTracks(core, id);
    if (table.Empty()) (void)SetSeparate(table, want > 0, want);
  };
  for (int id : {kLeftArm, kRightArm, kLeftLeg, kRightLeg}) {
    if (LimbRecord* limb = FindLimb(core, id)) apply(id, limb->table);
  }
  for (int id : {kSpine, kTail, kPony1, kPony2}) apply(id, FindChain(core, id)->table);
  apply(kHead, core.head.table);
}

bool Adopt(MotionCore& core, const MotionCore& figure) {
  const MotionCore& old = core;
  const float oldHeight = CoreFigureHeight(old), height = CoreFigureHeight(figure);
  if (!(height > 0) || !IsFinite(height)) return false;
  for (const LimbRecord& leg : figure.leg) {
    const float reach = ReachOf(LengthsOf(leg));
    if (!(reach > 0) || !IsFinite(reach) ||
        !IsFinite(leg.rest.bodyTarget.x + leg.extremityHeight)) {
      return false;
    }
  }
  const float gravity = old.body.gravAccel * (height / oldHeight);
  MotionCore changed = figure;
  TakeModes(changed, old);
  TakeBody(changed, old);
  changed.footsteps = old.footsteps;
  for (int side = 0; side < 2; ++side) {
    TakeLimbKeys(changed.leg[side], old.leg[side]);
    LimbRecord& arm = changed.arm[side];
    if (changed.structure.arms && old.structure.arms) {
      TakeLimbKeys(arm, old.arm[side]);
    } else {
      arm.table = {};
      arm.digitsSeparate = old.arm[side].digitsSeparate;
    }
  }
  TakeChainKeys(changed.spine, old.spine);
  TakeChainKeys(changed.tail, old.tail);
  for (int i = 0; i < 2; ++i) TakeChainKeys(changed.pony[i], old.pony[i]);
  TakeXtraKeys(changed, old);
  TakeHeadKeys(changed, old);
  changed.head.hasTarget = old.head.hasTarget;
  changed.head.targetPosition = old.head.targetPosition;
  changed.pelvis.table = old.pelvis.table;
  for (int i = 0; i < 3; ++i) {
    PropRecord& prop = changed.props[i];
    prop.table = {};
    if (prop.exists && old.props[i].exists) prop.table = old.props[i].table;
  }

  // The copies of the footstep track and the figure's own gravity, then the ratio in its stead.
  RefreshBodyLaws(changed);
  ConfigureTracks(changed);
  changed.body.gravAccel = changed.footsteps.gravity = gravity;
  ApplySeparate(changed);
  TakeStance(changed);
  core = std::move(changed);
  return true;
}

}  // namespace

MotionCore FigureOf(const MotionCore& core) {
  MotionCore figure = core;
  figure.previousLayer = figure.nextLayer = nullptr;
  for (LimbRecord* limb : {&figure.leg[0], &figure.leg[1], &figure.arm[0], &figure.arm[1]}) {
    limb->table = {};
  }
  for (ChainRecord* chain : {&figure.spine, &figure.tail, &figure.pony[0], &figure.pony[1]}) {
    chain->table = {};
  }
  for (XtraChain& xtra : figure.xtras) xtra.chain.table = {};
  for (PropRecord& prop : figure.props) prop.table = {};
  figure.head.table = {};
  figure.pelvis.table = {};
  figure.body.horizontal = {};
  figure.body.turn = {};
  figure.body.vertical = {};
  figure.body.flights.clear();
  figure.footsteps = {};
  figure.footsteps.ticksPerFrame = figure.ticksPerFrame;
  SetFreeForm(figure, true);
  ConfigureTracks(figure);
  return figure;
}

int AdoptFigure(MotionCore& core, const MotionCore& figure) {
  try {
    return Adopt(core, figure) ? kDone : kRefused;
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
}

}  // namespace strider
