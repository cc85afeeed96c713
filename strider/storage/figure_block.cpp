#include "strider/storage/figure_block.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/core/limb_keys.h"
#include "strider/storage/figure_draft.h"
#include "strider/storage/key_walks.h"
#include "strider/storage/versions.h"

namespace strider {
namespace {

constexpr int kOldDigits = 5, kOldDigitLinks = 3;
constexpr int kXtraNameLimit = 80;
constexpr int kMostXtras = kXtraLast - kXtraFirst + 1;

// --- Structure ---------------------------------------------------------------------------------

/// A flag in a list of whole numbers.
void WalkFlag(Stream& s, bool& flag) {
  int on = flag;
  s.Int(on);
  if (s.Reading()) flag = on != 0;
}

/// A float as a whole number of the same bits, so that text loses nothing of it.
void WalkBits(Stream& s, float& value) {
  int bits = 0;
  static_assert(sizeof bits == sizeof value);
  std::memcpy(&bits, &value, sizeof bits);
  s.Int(bits);
  if (s.Reading()) std::memcpy(&value, &bits, sizeof value);
  if (s.Reading() && !(std::fabs(value) <= kLargestFloat)) value = 0;
}

void WalkRows(Stream& s, RestRows& rows) {
  for (auto& row : rows.row) s.Four(row);
}

/// Three entries for each link, of which every third has a length.
void WalkChain(Stream& s, ChainDraft& chain, bool rows = true) {
  int entries = 3 * static_cast<int>(chain.lengths.size());
  s.Int(entries);
  if (!s.Good()) return;
  if (s.Reading()) {
    if (entries < 0 || entries / 3 > kMaxLinks) {
      return s.Fail("a chain of " + std::to_string(entries) + " entries");
    }
    chain.lengths.assign(static_cast<std::size_t>(entries / 3), 0);
  }
  for (float& length : chain.lengths) s.Float(length);
  chain.hasRest = rows;
  if (rows) WalkRows(s, chain.rest);
}

void WalkDigits(Stream& s, std::vector<DigitDraft>& digits) {
  int count = static_cast<int>(digits.size());
  s.Int(count);
  if (!s.Good()) return;
  const bool counted = s.Version() >= kFirstWithDigitCounts;
  if (count < 0 || count > kMaxDigits) return s.Fail(std::to_string(count) + " digits");
  digits.resize(static_cast<std::size_t>(counted ? count : kOldDigits));
  for (DigitDraft& digit : digits) {
    int links = static_cast<int>(digit.lengths.size());
    if (counted) s.Int(links);
    if (!s.Good()) return;
    if (links < 0 || links > kMaxDigitLinks) return s.Fail(std::to_string(links) + " digit links");
    digit.lengths.resize(static_cast<std::size_t>(counted ? links : kOldDigitLinks));
    WalkRows(s, digit.rest);
    for (float& length : digit.lengths) s.Float(length);
  }
  digits.resize(static_cast<std::size_t>(count));
}

void WalkParts(Stream& s, FigureDraft& d, int) {
  int tail = d.hasTail, arms = d.structure.arms ? 2 : 0;
  s.Int(tail);
  s.Int(arms);
  if (!s.Reading()) return;
  d.hasTail = tail != 0;
  d.structure.arms = arms != 0;
  for (ChainDraft& pony : d.pony) pony = {};
  d.structure.prop1Exists = d.structure.prop2Exists = d.structure.prop3Exists = false;
}
void WalkSpine(Stream& s, FigureDraft& d, int) { WalkChain(s, d.spine); }
void WalkPelvisWidth(Stream& s, FigureDraft& d, int) { s.Float(d.pelvisWidth); }
void WalkNeck(Stream& s, FigureDraft& d, int) {
  // What the count of links decides is known only in the middle of the chain.
  if (s.Version() >= kFirstWithNeckRows) return WalkChain(s, d.neck);
  WalkChain(s, d.neck, false);
  if (d.neck.lengths.empty() || !s.Good()) return;
  WalkRows(s, d.neck.rest);
  d.neck.hasRest = true;
}
void WalkTail(Stream& s, FigureDraft& d, int) { WalkChain(s, d.tail); }

void WalkLegs(Stream& s, FigureDraft& d, int) {
  for (LegDraft& leg : d.leg) {
    int mode = leg.fourLinks;
    s.Int(mode);
    leg.fourLinks = mode == 1;
    s.Float(leg.hipWidth);
    s.Floats(leg.lengths, 3);
    s.Float(leg.toeLength);
    float offset[3] = {leg.offset.y, leg.offset.x, leg.offset.z};
    s.Floats(offset, 3);
    leg.offset = {offset[1], offset[0], offset[2]};
    s.Float(leg.ankleHeight);
    WalkDigits(s, leg.toes);
    if (!s.Good()) return;
  }
}

void WalkArms(Stream& s, FigureDraft& d, int) {
  for (ArmDraft& arm : d.arm) {
    s.Int(arm.links);
    s.Floats(arm.lengths, 3);
    s.Floats(arm.clavicle, 2);
    s.Floats(arm.hand, 2);
    s.Four(arm.base);
    s.Floats(arm.sizes, 4);
    WalkDigits(s, arm.fingers);
    if (!s.Good()) return;
  }
}

template <int kIndex>
void WalkPony(Stream& s, FigureDraft& d, int) {
  ChainDraft& pony = d.pony[kIndex];
  int count = static_cast<int>(pony.lengths.size());
  s.Int(count);
  if (count > 0) WalkChain(s, pony);
}

template <int kIndex>
void WalkProp(Stream& s, FigureDraft& d, int) {
  Structure& t = d.structure;
  bool& exists = kIndex == 0 ? t.prop1Exists : kIndex == 1 ? t.prop2Exists : t.prop3Exists;
  WalkFlag(s, exists);
  if (exists) s.Floats(d.prop[kIndex], 3);
}

void WalkTwistCounts(Stream& s, FigureDraft& d, int) {
  int* counts = d.structure.twistLinks;
  s.Int(counts[kForearmTwistPart]);
  s.Int(counts[kUpperArmTwistPart]);
  if (s.Reading()) d.structure.twists = counts[0] > 0 || counts[1] > 0;
}

/// Counts and biases stand for each id, both sides of a segment alike.
void WalkTwists(Stream& s, FigureDraft& d, int) {
  Structure& t = d.structure;
  WalkFlag(s, t.twists);
  for (int part = 0; part < kNumTwistParts; ++part) {
    int right = t.twistLinks[part];
    s.Int(t.twistLinks[part]);
    s.Int(right);
  }
  for (int part = 0; part < kNumTwistParts; ++part) {
    float right = t.twistBias[part];
    s.Float(t.twistBias[part]);
    s.Float(right);
  }
}

void WalkFlags(Stream& s, FigureDraft& d, int) {
  Structure& t = d.structure;
  for (bool* flag : {&t.trianglePelvis, &t.triangleNeck, &t.foreFeet, &t.knuckles, &t.shortThumb,
                     &d.unitShapeLinks}) {
    WalkFlag(s, *flag);
  }
  s.Skip();
  s.Skip();
  // Digits of hands that a figure without arms does not have.
  int fingers = t.fingers + 8 * t.fingerLinks;
  s.Int(fingers);
  if (!s.Reading() || fingers <= 0) return;
  t.fingers = fingers % 8;
  t.fingerLinks = fingers / 8;
}

void WalkXtras(Stream& s, FigureDraft& d, int tag) {
  int count = static_cast<int>(d.xtras.size());
  s.Int(count);
  if (!s.Good()) return;
  if (count < 0 || count > kMostXtras) return s.Fail(std::to_string(count) + " extra chains");
  d.xtras.resize(static_cast<std::size_t>(count));
  for (XtraDraft& xtra : d.xtras) {
    WalkChain(s, xtra.chain);
    for (int& number : xtra.numbers) s.Int(number);
    s.Text(xtra.name, kXtraNameLimit, tag == 34);
    if (s.Version() >= kFirstWithXtraNumbers) {
      s.Skip();
      s.Skip();
    }
    if (!s.Good()) return;
  }
}

void WalkKinds(Stream& s, FigureDraft& d, int) {
  s.Int(d.structure.bodyType);
  s.Int(d.structure.dynamicsType);
  if (!s.Reading()) return;
  d.structure.bodyType = std::clamp(d.structure.bodyType, 0, 3);
  d.structure.dynamicsType = std::clamp(d.structure.dynamicsType, 0, 1);
}
void WalkAnkleAttach(Stream& s, FigureDraft& d, int) { WalkBits(s, d.ankleAttach); }
void WalkHeight(Stream& s, FigureDraft& d, int) {
  WalkBits(s, d.height);
  WalkBits(s, d.laidOutLengths);
}
void WalkBalance(Stream& s, FigureDraft& d, int) { s.Float(d.defaultBalance); }
void CompleteStructure(Stream&, FigureDraft&, int) {}

bool DraftHasTail(const FigureDraft& d, const Stream&) { return d.hasTail; }
bool DraftHasArms(const FigureDraft& d, const Stream&) { return d.structure.arms; }
template <int kIndex>
bool DraftHasPony(const FigureDraft& d, const Stream&) {
  return !d.pony[kIndex].lengths.empty();
}

constexpr BlockTag<FigureDraft> kStructureTags[] = {
    {10, 0, WalkParts},
    {11, 0, WalkSpine},
    {12, 0, WalkPelvisWidth},
    {13, 0, WalkNeck},
    {14, 0, WalkTail, DraftHasTail},
    {15, 0, WalkLegs},
    {16, 0, WalkArms, DraftHasArms},
    {19, 0, WalkPony<0>, DraftHasPony<0>},
    {20, 0, WalkPony<1>, DraftHasPony<1>},
    {21, 0, WalkProp<0>},
    {22, 0, WalkProp<1>},
    {23, 0, WalkProp<2>},
    {24, 0, WalkTwistCounts},
    {25, 0, WalkTwists},
    {26, 0, WalkFlags},
    {34, 30, WalkXtras},
    {31, 0, WalkKinds},
    {32, 0, WalkAnkleAttach},
    {33, 0, WalkHeight},
    {18, 0, WalkBalance},
    {17, 0, CompleteStructure},
};

// --- Sizes of the links ------------------------------------------------------------------------

void WalkSizes(Stream& s, Point3* sizes, int count) {
  for (int k = 0; k < count; ++k) s.Vector(sizes[k]);
}
void WalkChainSizes(Stream& s, ChainRecord& chain) {
  WalkSizes(s, chain.dimensions, chain.numLinks);
}

void WalkPelvisSizes(Stream& s, MotionCore& core, int) {
  float values[7] = {core.pelvis.width, core.pelvis.depth, core.pelvis.hipOffset};
  s.Floats(values, 7);
  if (!s.Reading()) return;
  core.pelvis.width = values[0];
  core.pelvis.depth = values[1];
  if (values[2] > 0) core.pelvis.hipOffset = values[2];
}

/// The neck's links, then the head: height over its joint, width, depth; then the chin's drop.
void WalkNeckSizes(Stream& s, MotionCore& core, int) {
  WalkChainSizes(s, core.neck);
  s.Floats(core.head.sizes + 1, 3);
  float chin[3] = {core.head.sizes[0]};
  s.Floats(chin, 3);
  if (s.Reading()) core.head.sizes[0] = chin[0];
}
void WalkSpineSizes(Stream& s, MotionCore& core, int) { WalkChainSizes(s, core.spine); }
void WalkTailSizes(Stream& s, MotionCore& core, int) { WalkChainSizes(s, core.tail); }
template <int kIndex>
void WalkPonySizes(Stream& s, MotionCore& core, int) {
  WalkChainSizes(s, core.pony[kIndex]);
}
void WalkXtraSizes(Stream& s, MotionCore& core, int) {
  for (XtraChain& xtra : core.xtras) WalkChainSizes(s, xtra.chain);
}

/// Links, then every link of every digit, then the extremity's heel side, its width, and the
/// limb's base size.
void WalkLimbSizes(Stream& s, LimbRecord& limb) {
  WalkSizes(s, limb.dimensions, NumLimbLinks(limb));
  for (int d = 0; d < limb.numDigits; ++d) {
    WalkSizes(s, limb.digits[d].dimensions, limb.digits[d].numLinks);
  }
  s.Float(limb.heelLength);
  s.Float(limb.extremityWidth);
  s.Float(limb.baseSize);
}
void WalkArmSizes(Stream& s, MotionCore& core, int) {
  for (LimbRecord& arm : core.arm) WalkLimbSizes(s, arm);
}
void WalkLegSizes(Stream& s, MotionCore& core, int) {
  for (LimbRecord& leg : core.leg) WalkLimbSizes(s, leg);
}
template <int kIndex>
void WalkPropSizes(Stream& s, MotionCore& core, int) {
  s.Vector(core.props[kIndex].dimensions);
}
void CompleteSizes(Stream& s, MotionCore& core, int) {
  if (!s.Reading() || !s.Good()) return;
  // The sizes say the links' lengths again, and theirs are the ones that the next save writes.
  float spine = 0;
  for (int k = 0; k < core.spine.numLinks; ++k) spine += core.spine.dimensions[k].x;
  if (!(spine > 0)) return s.Fail("a spine without a length");
  float height = 0;
  if (!HeightOfLengths(core, height)) return s.Fail("lengths that make no height");
  RefreshBodyLaws(core);
}

bool HasArms(const MotionCore& core, const Stream&) { return core.structure.arms; }
bool HasTail(const MotionCore& core, const Stream&) { return core.tail.numLinks > 0; }
template <int kIndex>
bool HasPony(const MotionCore& core, const Stream&) {
  return core.pony[kIndex].numLinks > 0;
}
bool HasXtras(const MotionCore& core, const Stream&) { return !core.xtras.empty(); }
template <int kIndex>
bool HasProp(const MotionCore& core, const Stream&) {
  return core.props[kIndex].exists;
}

constexpr BlockTag<MotionCore> kSizeTags[] = {
    {500, 0, WalkPelvisSizes},
    {501, 0, WalkNeckSizes},
    {503, 0, WalkSpineSizes},
    {504, 0, WalkTailSizes, HasTail},
    {508, 0, WalkPonySizes<0>, HasPony<0>},
    {509, 0, WalkPonySizes<1>, HasPony<1>},
    {401, 0, WalkXtraSizes, HasXtras},
    {506, 0, WalkArmSizes, HasArms},
    {505, 0, WalkLegSizes},
    {510, 0, WalkPropSizes<0>, HasProp<0>},
    {511, 0, WalkPropSizes<1>, HasProp<1>},
    {512, 0, WalkPropSizes<2>, HasProp<2>},
    {507, 0, CompleteSizes},
};

// --- Stance ------------------------------------------------------------------------------------

void WalkHeadRest(Stream& s, MotionCore& core, int) {
  WalkKey(s, core.head.rest);
  if (s.Version() >= kFirstWithHeadPivot) s.SkipFour();
}
void WalkNeckRest(Stream& s, MotionCore& core, int) { WalkKey(s, core.neck.rest); }
void WalkPelvisRest(Stream& s, MotionCore& core, int) { WalkKey(s, core.pelvis.rest); }
void WalkBodyRest(Stream& s, MotionCore& core, int) {
  BodyRecord& body = core.body;
  s.Rotation(body.figureRotation);
  float place[4] = {body.figurePosition.x, body.figurePosition.y, body.figurePosition.z};
  s.Four(place);
  float balance[4] = {body.fixedBalanceOffset.x, body.fixedBalanceOffset.y,
                      body.fixedBalanceOffset.z};
  s.Floats(balance, 4);
  if (!s.Reading()) return;
  body.figurePosition = {place[0], place[1], place[2]};
  body.fixedBalanceOffset = {balance[0], balance[1], balance[2]};
}
void WalkSpineRest(Stream& s, MotionCore& core, int) { WalkKey(s, core.spine.rest); }
void WalkTailRest(Stream& s, MotionCore& core, int) { WalkKey(s, core.tail.rest); }
template <int kIndex>
void WalkPonyRest(Stream& s, MotionCore& core, int) {
  WalkKey(s, core.pony[kIndex].rest);
}
void WalkLegRests(Stream& s, MotionCore& core, int) {
  for (LimbRecord& leg : core.leg) WalkKey(s, leg.rest);
}
void WalkArmRests(Stream& s, MotionCore& core, int) {
  for (LimbRecord& arm : core.arm) WalkKey(s, arm.rest);
}
template <int kIndex>
void WalkPropRest(Stream& s, MotionCore& core, int) {
  WalkKey(s, core.props[kIndex].rest);
}
void WalkXtraRests(Stream& s, MotionCore& core, int) {
  for (XtraChain& xtra : core.xtras) WalkKey(s, xtra.chain.rest);
}
void WalkIdle(Stream& s, MotionCore&, int) { s.Skip(); }
void CompleteStance(Stream& s, MotionCore& core, int) {
  if (!s.Reading() || !s.Good()) return;
  // The digits' own pose is what a limb without keys shows.
  for (LimbRecord* limb : {&core.leg[0], &core.leg[1], &core.arm[0], &core.arm[1]}) {
    for (int d = 0; d < limb->numDigits; ++d) limb->digits[d].pose = limb->rest.digits[d];
  }
  TakeStance(core);
}
bool NeverCore(const MotionCore&, const Stream&) { return false; }

constexpr BlockTag<MotionCore> kStanceTags[] = {
    {116, 100, WalkHeadRest},
    {117, 101, WalkNeckRest},
    {102, 0, WalkPelvisRest},
    {108, 0, WalkBodyRest},
    {118, 103, WalkSpineRest},
    {119, 104, WalkTailRest, HasTail},
    {120, 109, WalkPonyRest<0>, HasPony<0>},
    {121, 110, WalkPonyRest<1>, HasPony<1>},
    {105, 0, WalkLegRests},
    {106, 0, WalkArmRests, HasArms},
    {111, 0, WalkPropRest<0>, HasProp<0>},
    {112, 0, WalkPropRest<1>, HasProp<1>},
    {113, 0, WalkPropRest<2>, HasProp<2>},
    {122, 115, WalkXtraRests, HasXtras},
    {114, 0, WalkIdle, NeverCore},
    {107, 0, CompleteStance},
};

// --- Twist poses -------------------------------------------------------------------------------

/// Three pairs that the twist record of the structure rules over: forearms, upper arms, thighs.
void WalkTwistValues(Stream& s, MotionCore& core, int) {
  const float* bias = core.structure.twistBias;
  float values[6] = {bias[0], bias[0], bias[1], bias[1], bias[2], bias[2]};
  s.Floats(values, 6);
}

/// A direction so short that the decimals of a text would lose it is brought to a unit.
void WalkDirection(Stream& s, Point3& direction) {
  constexpr float kShort = 1e-2f;
  s.Vector(direction);
  if (s.Reading() && Length(direction) < kShort) direction = Normalized(direction);
}

void WalkTwistPoses(Stream& s, std::vector<TwistPose>& poses, bool wide) {
  constexpr int kFields = 12;
  int count = static_cast<int>(poses.size());
  if (!s.Count(count, kFields)) return;
  if (count > kMaxTwistPoses) return s.Fail(std::to_string(count) + " twist poses");
  if (s.Reading()) poses.assign(static_cast<std::size_t>(count), {});
  for (TwistPose& pose : poses) {
    s.Text(pose.name, kMaxTwistPoseName, wide);
    WalkDirection(s, pose.direction);
    WalkDirection(s, pose.axis);
    WalkDirection(s, pose.referenceVector);
    s.Float(pose.twist);
    s.Float(pose.bias);
    if (!s.Good()) return;
    if (const char* fault = s.Reading() ? FindFault(pose) : nullptr) {
      return s.Fail("a twist pose: " + std::string(fault));
    }
  }
}
void WalkArmPoses(Stream& s, MotionCore& core, int tag) {
  WalkTwistPoses(s, core.armTwistPoses, tag == 35);
}
void WalkLegPoses(Stream& s, MotionCore& core, int tag) {
  WalkTwistPoses(s, core.legTwistPoses, tag == 36);
}

constexpr BlockTag<MotionCore> kLinkTags[] = {
    {27, 0, WalkTwistValues},
    {35, 28, WalkArmPoses},
    {36, 29, WalkLegPoses},
};

// --- The pose it stands in ---------------------------------------------------------------------

void WalkHeadPose(Stream& s, MotionCore& core, int) {
  HeadKey key = core.head.rest;
  key.headBlend = core.head.headBlend;
  Quat& head = key.chain.rotation[std::clamp(core.neck.numLinks, 0, kMaxLinks - 1)];
  head = core.head.pose;
  WalkKey(s, key);
  if (!s.Reading()) return;
  core.head.pose = head;
  core.head.headBlend = key.headBlend;
}
void WalkChainPose(Stream& s, ChainRecord& chain) {
  ChainKey key = chain.rest;
  std::copy_n(chain.pose, kMaxLinks, key.rotation);
  WalkKey(s, key);
  if (s.Reading()) std::copy_n(key.rotation, kMaxLinks, chain.pose);
}
void WalkNeckPose(Stream& s, MotionCore& core, int) { WalkChainPose(s, core.neck); }
void WalkPelvisPose(Stream& s, MotionCore& core, int) {
  PelvisKey key = core.pelvis.rest;
  key.rotation = core.pelvis.pose;
  WalkKey(s, key);
  if (s.Reading()) core.pelvis.pose = key.rotation;
}
void WalkBodyPose(Stream& s, MotionCore& core, int) {
  BodyRecord& body = core.body;
  s.Rotation(body.bodyRotation);
  float place[4] = {body.bodyPosition.x, body.bodyPosition.y, body.bodyPosition.z};
  s.Four(place);
  for (int k = 0; k < 4; ++k) s.SkipFloat();
  if (s.Reading()) body.bodyPosition = {place[0], place[1], place[2]};
}
void WalkSpinePose(Stream& s, MotionCore& core, int) { WalkChainPose(s, core.spine); }
void WalkTailPose(Stream& s, MotionCore& core, int) { WalkChainPose(s, core.tail); }
template <int kIndex>
void WalkPonyPose(Stream& s, MotionCore& core, int) {
  WalkChainPose(s, core.pony[kIndex]);
}
void WalkLimbPose(Stream& s, MotionCore& core, LimbRecord& limb) {
  LimbKey key = CurrentLimbKey(core, limb);
  WalkKey(s, key);
  if (!s.Reading() || !s.Good()) return;
  LimbPose& pose = limb.pose;
  std::copy_n(key.jointAngles, kNumJointAngles, pose.jointAngles);
  pose.limbRotation = key.limbRotation;
  pose.endRotation = key.endRotation;
  std::copy_n(key.clavicle, 2, pose.clavicle);
  for (int d = 0; d < limb.numDigits; ++d) limb.digits[d].pose = key.digits[d];
}
void WalkLegPosesNow(Stream& s, MotionCore& core, int) {
  for (LimbRecord& leg : core.leg) WalkLimbPose(s, core, leg);
}
void WalkArmPosesNow(Stream& s, MotionCore& core, int) {
  for (LimbRecord& arm : core.arm) WalkLimbPose(s, core, arm);
}
template <int kIndex>
void WalkPropPose(Stream& s, MotionCore& core, int) {
  PropPose& pose = core.props[kIndex].pose;
  PropKey key = core.props[kIndex].rest;
  key.posSpace = pose.posSpace;
  key.rotSpace = pose.rotSpace;
  key.position[pose.posSpace] = pose.position;
  key.rotation[pose.rotSpace] = pose.rotation;
  key.scale = pose.scale;
  WalkKey(s, key);
  if (!s.Reading()) return;
  pose = {key.posSpace, key.rotSpace, key.rotation[key.rotSpace], key.position[key.posSpace],
          key.scale};
}
void WalkXtraPoses(Stream& s, MotionCore& core, int) {
  for (XtraChain& xtra : core.xtras) WalkChainPose(s, xtra.chain);
}
void CompletePose(Stream& s, MotionCore& core, int) {
  if (s.Reading() && s.Good()) CoreForwardKinematics(core);
}

constexpr BlockTag<MotionCore> kPoseTags[] = {
    {615, 600, WalkHeadPose},
    {616, 601, WalkNeckPose},
    {602, 0, WalkPelvisPose},
    {608, 0, WalkBodyPose},
    {617, 603, WalkSpinePose},
    {618, 604, WalkTailPose, HasTail},
    {619, 609, WalkPonyPose<0>, HasPony<0>},
    {620, 610, WalkPonyPose<1>, HasPony<1>},
    {605, 0, WalkLegPosesNow},
    {606, 0, WalkArmPosesNow, HasArms},
    {611, 0, WalkPropPose<0>, HasProp<0>},
    {612, 0, WalkPropPose<1>, HasProp<1>},
    {613, 0, WalkPropPose<2>, HasProp<2>},
    {621, 614, WalkXtraPoses, HasXtras},
    {607, 0, CompletePose},
};

/// The tag that opens the next block.
int NextTag(Stream& s) {
  const int tag = s.ReadTag();
  if (tag == Stream::kNoTag) s.EndedInBlock();
  return tag;
}

}  // namespace

void WriteFigureBlocks(Stream& s, const MotionCore& core) {
  FigureDraft draft = DraftOf(core);
  WriteBlock<FigureDraft>(s, draft, kStructureTags);
  auto& walked = const_cast<MotionCore&>(core);  // a writing walk changes nothing
  WriteBlock<MotionCore>(s, walked, kSizeTags);
  WriteBlock<MotionCore>(s, walked, kStanceTags);
  if (s.Version() >= kFirstWithLinkBlock) WriteBlock<MotionCore>(s, walked, kLinkTags);
}

void WritePoseBlock(Stream& s, const MotionCore& core) {
  MotionCore copy = core;
  WriteBlock<MotionCore>(s, copy, kPoseTags);
}

void ReadFigureBlocksNoTwists(Stream& s, MotionCore& core, StreamHeader& header, int tag) {
  FigureDraft draft;
  ReadBlock<FigureDraft>(s, draft, kStructureTags, header, tag);
  if (!s.Good()) return;
  const std::string fault = BuildFigure(draft, core);
  if (!fault.empty()) return s.Fail(fault);
  ReadBlock<MotionCore>(s, core, kSizeTags, header, NextTag(s));
  if (s.Good()) ReadBlock<MotionCore>(s, core, kStanceTags, header, NextTag(s));
}

void ReadFigureBlocks(Stream& s, MotionCore& core, StreamHeader& header, int tag) {
  ReadFigureBlocksNoTwists(s, core, header, tag);
  if (!s.Good() || s.Version() < kFirstWithLinkBlock) return;
  ReadBlock<MotionCore>(s, core, kLinkTags, header, NextTag(s));
}

void ReadPoseBlock(Stream& s, MotionCore& core, StreamHeader& header, int tag) {
  ReadBlock<MotionCore>(s, core, kPoseTags, header, tag);
}

}  // namespace strider
