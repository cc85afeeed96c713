// Body shape 0: the finest, all smooth.
#include "strider/host/skel_parts.h"

namespace strider {
namespace {

struct Cut {
  int kind, rings, sides;
};
// Kinds that need more than the usual rings and sides, or less; the right of a pair stands for
// both.
constexpr Cut kUsual{-1, 13, 20};
constexpr Cut kCuts[] = {
    {kSkelPlain, 8, 12},  {kSkelHead, 32, 36},  {kSkelPelvis, 15, 30},
    {kSkelChest, 14, 30}, {kSkelSpine, 11, 30}, {kSkelTrianglePelvis, 15, 30},
    {kSkelNeck, 9, 20},   {kSkelFoot, 22, 24},  {kSkelMitten, 14, 20},
    {kSkelPalm, 14, 20},  {kSkelDigit, 9, 12},  {kSkelFingerTip, 9, 12},
    {kSkelToeTip, 9, 12}, {kSkelTail, 11, 18},  {kSkelPonytail, 9, 14},
    {kSkelXtra, 11, 18},  {kSkelTwist, 2, 4},   {kSkelProp, 6, 16},
};

const Cut& CutOf(int kind) {
  for (const Cut& cut : kCuts) {
    if (cut.kind == kind) return cut;
  }
  return kUsual;
}

}  // namespace

void BuildFineSolid(SkelObject& object) {
  const int kind = object.kind - (IsLeftKind(object.kind) ? 1 : 0);
  const Cut& cut = CutOf(kind);
  const Profile& profile = ProfileOf(kind);
  LoftPlan plan = EvenPlan(profile, cut.rings, cut.sides);
  const LoftFrame frame = LoftFrameOf(object);
  if (kind == kSkelTwist) plan.shading = Shading::kFacets;
  AddLoft(object.mesh, profile, plan, frame);
  if (kind == kSkelMitten) {
    AddLoft(object.mesh, MittenThumb(), EvenPlan(MittenThumb(), 11, 14), frame);
  }
}

}  // namespace strider
