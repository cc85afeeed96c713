#include "strider/storage/layer_block.h"

#include <string>

#include "strider/core/key_edit.h"
#include "strider/storage/key_walks.h"
#include "strider/storage/versions.h"

namespace strider {
namespace {

constexpr int kNameLimit = 256;
constexpr int kMostXtras = kXtraLast - kXtraFirst + 1;

// --- Tables and their times --------------------------------------------------------------------

// Which table of a core a tag speaks of.
auto& HorizontalOf(MotionCore& c) { return c.body.horizontal; }
auto& TurnOf(MotionCore& c) { return c.body.turn; }
auto& VerticalOf(MotionCore& c) { return c.body.vertical; }
auto& PelvisOf(MotionCore& c) { return c.pelvis.table; }
auto& SpineOf(MotionCore& c) { return c.spine.table; }
auto& TailOf(MotionCore& c) { return c.tail.table; }
auto& HeadOf(MotionCore& c) { return c.head.table; }
template <int kSide>
auto& ArmOf(MotionCore& c) {
  return c.arm[kSide].table;
}
template <int kSide>
auto& LegOf(MotionCore& c) {
  return c.leg[kSide].table;
}
template <int kIndex>
auto& PonyOf(MotionCore& c) {
  return c.pony[kIndex].table;
}
template <int kIndex>
auto& PropOf(MotionCore& c) {
  return c.props[kIndex].table;
}

template <auto& kTableOf>
void WalkRecords(Stream& s, MotionCore& core, int) {
  WalkKeys(s, kTableOf(core).keys);
}
template <auto& kTableOf>
void WalkTimes(Stream& s, MotionCore& core, int) {
  WalkTiming(s, kTableOf(core).track);
}

/// The first table of a motion: what a motion before it left is gone.
void WalkHorizontal(Stream& s, MotionCore& core, int) {
  if (s.Reading()) {
    const auto clear = [](auto& table) { table = {}; };
    clear(core.body.turn);
    clear(core.body.vertical);
    clear(core.tail.table);
    for (PropRecord& prop : core.props) clear(prop.table);
  }
  WalkKeys(s, core.body.horizontal.keys);
}
void WalkVertical(Stream& s, MotionCore& core, int) {
  WalkVerticalKeys(s, core.body.vertical.keys);
}

void WalkXtraTables(Stream& s, MotionCore& core, bool times) {
  int count = static_cast<int>(core.xtras.size());
  s.Int(count);
  if (!s.Good()) return;
  if (count < 0 || count > kMostXtras) {
    return s.Fail(std::to_string(count) + " extra chains");
  }
  if (s.Reading()) core.xtras.resize(static_cast<std::size_t>(count));
  for (XtraChain& xtra : core.xtras) {
    if (!s.Good()) return;
    if (times) {
      WalkTiming(s, xtra.chain.table.track);
    } else {
      WalkKeys(s, xtra.chain.table.keys);
    }
  }
}
void WalkXtraRecords(Stream& s, MotionCore& core, int) { WalkXtraTables(s, core, false); }
void WalkXtraTimes(Stream& s, MotionCore& core, int) { WalkXtraTables(s, core, true); }

// --- What else a motion holds ------------------------------------------------------------------

/// Which sections have keys of their own for each link.
void WalkTrackFlags(Stream& s, MotionCore& core, int) {
  SeparateTracks& t = core.separateTracks;
  for (bool* flag : {&t.arms, &t.fingers, &t.legs, &t.toes, &t.neck, &t.spine, &t.tail,
                     &t.ponytail1, &t.ponytail2}) {
    int on = *flag;
    s.Int(on);
    if (s.Reading()) *flag = on != 0;
  }
}

/// The legs' stance, carried along; a figure block says it again and rules.
void WalkLegRecords(Stream& s, MotionCore& core, int) {
  for (LimbRecord& leg : core.leg) {
    LimbKey rest = leg.rest;
    WalkKey(s, rest);
  }
}

/// Where the last edit of a run of footsteps started: the footsteps as they are. Read and dropped,
/// since an edit takes its own.
void WalkReference(Stream& s, MotionCore& core, int) {
  int count = core.footsteps.numFootsteps;
  if (!s.Count(count, 9)) return;
  for (int i = 0; i < count && s.Good(); ++i) {
    if (s.Reading()) {
      s.SkipFour();
      s.SkipFour();
      s.SkipFloat();
      continue;
    }
    const Point3& p = core.footsteps.position[static_cast<std::size_t>(i)];
    s.Four(p.x, p.y, p.z, 1);
    s.Four(p.x, p.y, p.z, 1);
    s.SkipFloat(core.footsteps.angle[static_cast<std::size_t>(i)]);
  }
}

void WalkName(Stream& s, MotionCore& core, int tag) {
  s.Text(core.layerName, kNameLimit, tag == 360);
}

void WalkLayerState(Stream& s, MotionCore& core, int) {
  int active = core.layerActive;
  s.Int(active);
  if (s.Reading()) core.layerActive = active != 0;
  if (s.Version() == kVersionWithIdleFlag) s.Skip();
  if (s.Version() < kFirstWithLimbFlags) return;
  for (bool& flag : core.limbRetarget) {
    int on = flag;
    s.Int(on);
    if (s.Reading()) flag = on != 0;
  }
}

/// Whether the figure walks on the spot, and along which axes.
void WalkInPlace(Stream& s, MotionCore& core, int) {
  int on = core.inPlace, kind = core.inPlaceKind;
  s.Int(on);
  s.Int(kind);
  if (!s.Reading()) return;
  core.inPlace = on != 0;
  core.inPlaceKind =
      kind == kInPlaceX || kind == kInPlaceY ? static_cast<InPlaceKind>(kind) : kInPlaceBoth;
}

/// A list that no motion has any more.
void WalkOldList(Stream& s, MotionCore&, int) {
  int count = 0;
  if (!s.Count(count, 4)) return;
  for (int i = 0; i < count && s.Good(); ++i) {
    s.Skip();
    for (int k = 0; k < 3; ++k) s.SkipFloat();
  }
}

void WalkBodyPath(Stream& s, MotionCore& core, int) {
  int count = static_cast<int>(core.bodyPath.size());
  if (!s.Count(count, 17)) return;
  if (s.Reading()) core.bodyPath.assign(static_cast<std::size_t>(count), {});
  for (BodyPathRecord& record : core.bodyPath) {
    if (!s.Good()) return;
    s.Int(record.time);
    for (int k = 0; k < 2; ++k) s.Four(record.values + 4 * k);
    s.Floats(record.values + 8, 8);
  }
}

void WalkIdle(Stream& s, MotionCore&, int) { s.Skip(); }

/// A body track without keys cannot carry the others; a fault here is one of the file's.
void CompleteBlock(Stream& s, MotionCore& core, int) {
  if (!s.Reading() || !s.Good()) return;
  const auto check = [&s](const auto& table, const char* name) {
    if (!KeysMatch(table)) {
      s.Fail("the " + std::string(name) + " has " + std::to_string(table.keys.size()) +
             " keys and " + std::to_string(table.track.numKeys) + " times");
    }
  };
  check(core.body.horizontal, "horizontal track");
  check(core.body.turn, "turn track");
  check(core.body.vertical, "vertical track");
  check(core.pelvis.table, "pelvis");
  check(core.spine.table, "spine");
  check(core.tail.table, "tail");
  check(core.head.table, "head");
  for (int i = 0; i < 2; ++i) {
    check(core.arm[i].table, "arm");
    check(core.leg[i].table, "leg");
    check(core.pony[i].table, "ponytail");
  }
  for (const PropRecord& prop : core.props) check(prop.table, "prop");
  for (const XtraChain& xtra : core.xtras) check(xtra.chain.table, "extra chain");
  if (s.Version() >= kFirstWithTrackFlags) return;
  // Each track said for itself whether its links have keys of their own.
  SeparateTracks& t = core.separateTracks;
  const auto separate = [](const auto& table) { return table.track.separate != 0; };
  const auto limbs = [&](const LimbRecord& limb, int links, bool& whole, bool& digits) {
    whole = separate(limb.table);
    digits = whole && limb.table.track.numSubTracks > links;
  };
  limbs(core.arm[kRight], 5, t.arms, t.fingers);
  limbs(core.leg[kRight], core.leg[kRight].hasFourLinks ? 5 : 4, t.legs, t.toes);
  t.neck = separate(core.head.table);
  t.spine = separate(core.spine.table);
  t.tail = core.tail.table.track.numKeys == 0 || separate(core.tail.table);
  t.ponytail1 = separate(core.pony[0].table);
  t.ponytail2 = separate(core.pony[1].table);
}

bool HasArms(const MotionCore& core, const Stream&) { return core.structure.arms; }
bool HasTail(const MotionCore& core, const Stream&) { return core.structure.tailLinks > 0; }
bool Never(const MotionCore&, const Stream&) { return false; }

constexpr BlockTag<MotionCore> kTags[] = {
    {350, 0, WalkTrackFlags},
    {300, 0, WalkHorizontal},
    {301, 0, WalkTimes<HorizontalOf>},
    {302, 0, WalkRecords<TurnOf>},
    {303, 0, WalkTimes<TurnOf>},
    {304, 0, WalkVertical},
    {305, 0, WalkTimes<VerticalOf>},
    {306, 0, WalkRecords<PelvisOf>},
    {307, 0, WalkTimes<PelvisOf>},
    {308, 0, WalkRecords<ArmOf<kRight>>, HasArms},
    {309, 0, WalkTimes<ArmOf<kRight>>, HasArms},
    {310, 0, WalkRecords<ArmOf<kLeft>>, HasArms},
    {311, 0, WalkTimes<ArmOf<kLeft>>, HasArms},
    {312, 0, WalkRecords<LegOf<kRight>>},
    {313, 0, WalkTimes<LegOf<kRight>>},
    {314, 0, WalkRecords<LegOf<kLeft>>},
    {315, 0, WalkTimes<LegOf<kLeft>>},
    {354, 316, WalkRecords<SpineOf>},
    {317, 0, WalkTimes<SpineOf>},
    {355, 322, WalkRecords<TailOf>, HasTail},
    {323, 0, WalkTimes<TailOf>, HasTail},
    {353, 318, WalkRecords<HeadOf>},
    {319, 0, WalkTimes<HeadOf>},
    {356, 327, WalkRecords<PonyOf<0>>},
    {328, 0, WalkTimes<PonyOf<0>>},
    {357, 329, WalkRecords<PonyOf<1>>},
    {330, 0, WalkTimes<PonyOf<1>>},
    {358, 351, WalkXtraRecords},
    {352, 0, WalkXtraTimes},
    {294, 0, WalkRecords<PropOf<0>>},
    {295, 0, WalkTimes<PropOf<0>>},
    {296, 0, WalkRecords<PropOf<1>>},
    {297, 0, WalkTimes<PropOf<1>>},
    {298, 0, WalkRecords<PropOf<2>>},
    {299, 0, WalkTimes<PropOf<2>>},
    {320, 0, WalkLegRecords},
    {324, 0, WalkReference},
    {360, 326, WalkName},
    {325, 0, WalkLayerState},
    {331, 0, WalkInPlace},
    {332, 0, WalkOldList, Never},
    {333, 0, WalkBodyPath},
    {345, 0, WalkIdle, Never},
    {321, 0, CompleteBlock},
};

// --- Adoption ----------------------------------------------------------------------------------

template <class Key>
void Adopt(MotionCore& figure, int id, KeyTable<Key>& to, KeyTable<Key>& from) {
  const KeyTrack form = to.track;
  std::swap(to.keys, from.keys);
  std::swap(to.track, from.track);
  to.near = 0;
  AdoptTrack(to.track, form);
  const int subTracks = NumSubTracks(figure, id);
  if (SetSeparate(to, subTracks > 0, subTracks) == kRefused) throw std::bad_alloc();
  AlignKeys(figure, id);
}

}  // namespace

void WriteLayerBlock(Stream& s, const MotionCore& core) {
  MotionCore copy = core;
  WriteBlock<MotionCore>(s, copy, kTags);
}

void ReadLayerBlock(Stream& s, MotionCore& core, StreamHeader& header, int tag) {
  ReadBlock<MotionCore>(s, core, kTags, header, tag);
}

void AdoptKeys(MotionCore& figure, MotionCore& keys) {
  figure.separateTracks = keys.separateTracks;
  for (LimbRecord& arm : figure.arm) arm.digitsSeparate = keys.separateTracks.fingers;
  for (LimbRecord& leg : figure.leg) leg.digitsSeparate = keys.separateTracks.toes;
  Adopt(figure, kHorizontal, figure.body.horizontal, keys.body.horizontal);
  Adopt(figure, kTurn, figure.body.turn, keys.body.turn);
  Adopt(figure, kVertical, figure.body.vertical, keys.body.vertical);
  Adopt(figure, kPelvis, figure.pelvis.table, keys.pelvis.table);
  Adopt(figure, kSpine, figure.spine.table, keys.spine.table);
  Adopt(figure, kTail, figure.tail.table, keys.tail.table);
  Adopt(figure, kHead, figure.head.table, keys.head.table);
  for (int i = 0; i < 2; ++i) {
    Adopt(figure, i == kRight ? kRightArm : kLeftArm, figure.arm[i].table, keys.arm[i].table);
    Adopt(figure, i == kRight ? kRightLeg : kLeftLeg, figure.leg[i].table, keys.leg[i].table);
    Adopt(figure, kPony1 + i, figure.pony[i].table, keys.pony[i].table);
  }
  for (int i = 0; i < 3; ++i) Adopt(figure, kProp1 + i, figure.props[i].table, keys.props[i].table);
  const std::size_t xtras = std::min(figure.xtras.size(), keys.xtras.size());
  for (std::size_t i = 0; i < xtras; ++i) {
    KeyTable<ChainKey>& table = figure.xtras[i].chain.table;
    Adopt(figure, kXtraFirst + static_cast<int>(i), table, keys.xtras[i].chain.table);
  }
  figure.layerName = keys.layerName;
  figure.layerActive = keys.layerActive;
  std::copy_n(keys.limbRetarget, 4, figure.limbRetarget);
  figure.inPlace = keys.inPlace;
  figure.inPlaceKind = keys.inPlaceKind;
  figure.bodyPath = keys.bodyPath;
}

}  // namespace strider
