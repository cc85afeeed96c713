// Body shape 2: cut from flat facets, between the smooth bodies and the boxes.
#include <vector>

#include "strider/host/skel_parts.h"

namespace strider {
namespace {

struct Cut {
  int kind;
  std::vector<int> sides;  // of the rings in turn
};

const Cut* FindCut(int kind) {
  static const Cut kCuts[] = {
      {kSkelPelvis, {8, 8, 8}},         {kSkelChest, {8, 8, 8}},     {kSkelSpine, {8, 8, 8}},
      {kSkelUpperArm, {6, 6, 6, 6}},    {kSkelForearm, {6, 6, 6}},   {kSkelNeck, {6, 6}},
      {kSkelFoot, {4, 6, 6, 6, 4}},     {kSkelMitten, {6, 6, 6, 6}}, {kSkelThigh, {6, 6, 6, 6}},
      {kSkelCalf, {6, 6, 6, 6}},        {kSkelDigit, {6, 6}},        {kSkelTail, {6, 6}},
      {kSkelClavicle, {6, 6, 6}},       {kSkelHorseLink, {4, 6, 4}}, {kSkelPonytail, {6, 6}},
      {kSkelTrianglePelvis, {8, 8, 8}}, {kSkelFingerTip, {4, 4}},    {kSkelToeTip, {4, 4}},
      {kSkelPalm, {6, 6, 6, 6}},        {kSkelXtra, {6, 6}},
  };
  for (const Cut& cut : kCuts) {
    if (cut.kind == kind) return &cut;
  }
  return nullptr;
}

LoftPlan HeadPlan() {
  LoftPlan plan;
  for (const float along : {0.03f, 0.18f, 0.34f, 0.50f, 0.72f, 0.92f}) {
    plan.rings.push_back({along, 10});
  }
  plan.startPole = plan.endPole = true;
  plan.noseRing = 2;
  plan.nosePush = 0.17f;
  return plan;
}

}  // namespace

void BuildFacetedSolid(SkelObject& object) {
  const int kind = object.kind - (IsLeftKind(object.kind) ? 1 : 0);
  Profile profile = ProfileOf(kind);
  profile.bumps = {};  // too small for so few corners
  LoftPlan plan;
  if (kind == kSkelHead) {
    plan = HeadPlan();
  } else if (const Cut* cut = FindCut(kind)) {
    plan = EvenPlan(profile, cut->sides);
  } else {
    BuildBoxSolid(object);
    return;
  }
  plan.shading = Shading::kFacets;
  AddLoft(object.mesh, profile, plan, LoftFrameOf(object));
}

}  // namespace strider
