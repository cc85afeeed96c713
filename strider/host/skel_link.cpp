#include "strider/host/skel_link.h"

#include <algorithm>
#include <utility>

#include "strider/core/evaluate.h"
#include "strider/host/skel_parts.h"

namespace strider {
namespace {

// Where the unit foot has its ankle, as a share of its length from the heel.
constexpr float kUnitAnkle = 0.2f;
// A twist link lies inside the limb that it turns.
constexpr float kTwistShare = 0.3f;

int Sided(int kind, Side side) { return side == kLeft ? kind + 1 : kind; }

bool IsDigit(const BodyPart& part) {
  return part.kind == PartKind::kFingers || part.kind == PartKind::kToes;
}

int ArmKind(const MotionCore& core, int link, Side side) {
  if (link == 0) return Sided(kSkelClavicle, side);
  if (link == 1) return Sided(kSkelUpperArm, side);
  if (link == 2) return Sided(kSkelForearm, side);
  // Where the fingers are several, the first is the thumb, but for fore feet.
  const bool palm = core.structure.fingers > 1 || core.structure.foreFeet;
  return Sided(palm ? kSkelPalm : kSkelMitten, side);
}

int LegKind(const LimbRecord& leg, int link) {
  if (link == NumLimbLinks(leg) - 1) return Sided(kSkelFoot, leg.side);
  static constexpr int kKinds[] = {kSkelThigh, kSkelCalf, kSkelHorseLink};
  return Sided(kKinds[link], leg.side);
}

int DigitKind(const MotionCore& core, const BodyPart& part, int link) {
  const LimbRecord& limb = *FindLimb(core, part.id);
  const int digit = link / limb.digitLinks;
  const bool fingers = part.kind == PartKind::kFingers;
  if (fingers && digit == 0 && limb.numDigits > 1 && !core.structure.foreFeet) {
    return Sided(kSkelThumb, limb.side);
  }
  if (link % limb.digitLinks + 1 < limb.digits[digit].numLinks) return kSkelDigit;
  return fingers ? kSkelFingerTip : kSkelToeTip;
}

int ChainKind(const MotionCore& core, int id, int link) {
  switch (id) {
    case kSpine: return link + 1 == core.spine.numLinks ? kSkelChest : kSkelSpine;
    case kNeck: return kSkelNeck;
    case kTail: return kSkelTail;
    case kPony1:
    case kPony2: return kSkelPonytail;
    default: return kSkelXtra;
  }
}

// --- How the solids sit ------------------------------------------------------------------------

void FitHead(SkelFit& fit, const MotionCore& core) {
  const float chin = core.head.sizes[0];
  fit.object.length = core.head.sizes[1] + chin;
  fit.offset.x = -chin;
  fit.object.width = 0.5f * core.head.sizes[3];
  fit.object.depth = 0.5f * core.head.sizes[2];
}

/// From under the hips up over the spine's start, and as broad as the thighs. X ahead, Y up.
void FitPelvis(SkelFit& fit, const MotionCore& core) {
  const PelvisRecord& pelvis = core.pelvis;
  const float low = -0.31f * pelvis.width;
  const float high = std::max(core.spine.baseOffset.y, 0.0f) + 0.06f * pelvis.width;
  fit.object.length = pelvis.depth;
  fit.object.width = 0.5f * (high - low);
  fit.object.depth = pelvis.hipOffset + 0.5f * core.leg[kRight].dimensions[0].z;
  fit.offset = {-0.5f * pelvis.depth, 0.5f * (low + high), 0};
}

/// X down to the sole, Y ahead.
void FitFoot(SkelFit& fit, const LimbRecord& leg) {
  const float length = leg.toeLength + leg.heelLength;
  fit.object.length = leg.extremityHeight;
  fit.object.width = 0.5f * length;
  fit.object.depth = 0.5f * leg.extremityWidth;
  fit.offset.y = 0.5f * (leg.toeLength - leg.heelLength);
  // The sole stays where it is; what is above leans to where the ankle stands.
  fit.lean = (0.5f - kUnitAnkle) * length - fit.offset.y;
}

/// The outline of the trunk from waist to shoulders, in halves of the pelvis's width and depth.
struct TrunkSection {
  float along, width, depth;
};
TrunkSection TrunkAt(float along) {
  static constexpr TrunkSection kTrunk[] = {
      {0, 0.94f, 0.61f}, {0.28f, 0.96f, 0.64f}, {0.74f, 1.34f, 0.82f}, {1, 1.20f, 0.70f}};
  int i = 0;
  while (i < 2 && along > kTrunk[i + 1].along) ++i;
  const TrunkSection &a = kTrunk[i], &b = kTrunk[i + 1];
  const float u = (along - a.along) / (b.along - a.along);
  return {along, a.width + u * (b.width - a.width), a.depth + u * (b.depth - a.depth)};
}

/// The links carry the breadth of a trunk, whatever their number. X up, Y back, Z right.
void FitSpine(SkelFit& fit, const MotionCore& core, int link) {
  const auto links = static_cast<float>(core.spine.numLinks);
  const auto k = static_cast<float>(link);
  const TrunkSection from = TrunkAt(k / links), to = TrunkAt((k + 1) / links);
  fit.object.width = 0.5f * core.pelvis.depth;
  fit.object.depth = 0.5f * core.pelvis.width;
  fit.startWidth = from.depth;
  fit.endWidth = to.depth;
  fit.startDepth = from.width;
  fit.endDepth = to.width;
}

/// A chain grows thinner from its first link to its end.
void Taper(SkelFit& fit, int links, int link, float from, float to) {
  const float step = (to - from) / static_cast<float>(links);
  fit.startWidth = fit.startDepth = from + step * static_cast<float>(link);
  fit.endWidth = fit.endDepth = fit.startWidth + step;
}

void FitChain(SkelFit& fit, const MotionCore& core, int id, int link) {
  switch (id) {
    case kSpine: return FitSpine(fit, core, link);
    case kNeck: return;
    case kTail: return Taper(fit, core.tail.numLinks, link, 0.75f, 0.2f);
    case kPony1:
    case kPony2: return Taper(fit, core.pony[id - kPony1].numLinks, link, 0.6f, 0.15f);
    default: return Taper(fit, NumLinks(core, id), link, 0.6f, 0.2f);
  }
}

/// A finger or toe that is alone stands for all: it is as broad as its hand or foot.
void FitDigit(SkelFit& fit, const MotionCore& core, const BodyPart& part, int link) {
  const LimbRecord& limb = *FindLimb(core, part.id);
  const bool alone = limb.numDigits == 1;
  if (alone) {
    const bool acrossZ = limb.isLeg || core.structure.foreFeet;
    float& across = acrossZ ? fit.object.depth : fit.object.width;
    across = std::max(across, (limb.isLeg ? 0.42f : 0.33f) * limb.extremityWidth);
  }
  if (limb.isLeg || core.structure.foreFeet || link % limb.digitLinks != 0) return;
  // It comes out of the hand and not from its rounded edge.
  fit.offset.x = (alone ? -0.8f : -0.45f) * fit.object.length;
  fit.object.length -= fit.offset.x;
}

}  // namespace

int SkelKindOf(const MotionCore& core, int id, int link) {
  const BodyPart* part = FindBodyPart(id);
  if (part == nullptr || !HasLink(core, id, link)) return kNoSkelKind;
  switch (part->kind) {
    case PartKind::kArm: return ArmKind(core, link, part->side);
    case PartKind::kLeg: return LegKind(*FindLimb(core, id), link);
    case PartKind::kFingers:
    case PartKind::kToes: return DigitKind(core, *part, link);
    case PartKind::kChain: return ChainKind(core, id, link);
    case PartKind::kHead: return kSkelHead;
    case PartKind::kPelvis:
      return core.structure.trianglePelvis ? kSkelTrianglePelvis : kSkelPelvis;
    case PartKind::kBody: return kSkelBodyMarker;
    case PartKind::kFootprints: return kNoSkelKind;
    case PartKind::kProp: return kSkelProp;
    case PartKind::kNub: return kSkelNubMarker;
    case PartKind::kTwist: return kSkelTwist;
  }
  return kNoSkelKind;
}

SkelFit FitOf(const MotionCore& core, int id, int link, int bodyShape) {
  SkelFit fit;
  SkelObject& object = fit.object;
  object.kind = SkelKindOf(core, id, link);
  object.bodyShape = bodyShape;
  if (object.kind == kNoSkelKind) return fit;
  const BodyPart& part = *FindBodyPart(id);
  if (IsSkelMarker(object.kind)) {
    object.length = object.width = object.depth = core.figureScale;
    return fit;
  }
  const Point3 size = LinkDimensions(core, id, link);
  object.length = size.x;
  object.width = 0.5f * size.y;
  object.depth = 0.5f * size.z;
  if (id == kHead) FitHead(fit, core);
  if (id == kPelvis) FitPelvis(fit, core);
  if (part.kind == PartKind::kChain) FitChain(fit, core, id, link);
  if (IsDigit(part)) FitDigit(fit, core, part, link);
  if (part.kind == PartKind::kTwist) {
    object.width *= kTwistShare;
    object.depth *= kTwistShare;
  }
  if (part.kind == PartKind::kLeg && link + 1 == NumLimbLinks(*FindLimb(core, id))) {
    FitFoot(fit, *FindLimb(core, id));
  }
  return fit;
}

SkelMesh LinkMesh(const MotionCore& core, int id, int link, int bodyShape) {
  SkelFit fit = FitOf(core, id, link, bodyShape);
  if (IsSkelMarker(fit.object.kind)) return {};
  UpdateMesh(fit.object, 0);
  SkelMesh mesh = std::move(fit.object.mesh);
  for (Point3& p : mesh.vertices) {
    const float width = fit.startWidth + p.x * (fit.endWidth - fit.startWidth);
    const float depth = fit.startDepth + p.x * (fit.endDepth - fit.startDepth);
    p = fit.offset +
        Point3{fit.object.length * p.x, width * p.y + fit.lean * (1 - p.x), depth * p.z};
  }
  return mesh;
}

}  // namespace strider
