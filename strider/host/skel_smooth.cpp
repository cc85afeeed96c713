// Body shape 1: smooth, of few corners. How many each kind has is fixed, and the rings below add
// up to it.
#include <vector>

#include "strider/host/skel_parts.h"

namespace strider {
namespace {

struct Cut {
  int kind;
  std::vector<int> sides;  // of the rings in turn; each end that rounds off adds a corner
};

const Cut* FindCut(int kind) {
  static const Cut kCuts[] = {
      {kSkelPelvis, {10, 12, 12}},          // 36 corners
      {kSkelChest, {8, 9, 9, 9, 8}},        // 45
      {kSkelSpine, {8, 9, 9, 9, 8}},        // 45
      {kSkelUpperArm, {7, 8, 8, 8, 7}},     // 40
      {kSkelForearm, {7, 8, 8, 7}},         // 32
      {kSkelNeck, {7, 7, 7}},               // 23
      {kSkelFoot, {5, 6, 6, 6, 6}},         // 31
      {kSkelMitten, {6, 8, 8, 8, 6, 6}},    // 44
      {kSkelThigh, {7, 8, 8, 8, 8}},        // 41
      {kSkelCalf, {7, 7, 7, 7, 7}},         // 37
      {kSkelDigit, {8, 8}},                 // 18
      {kSkelTail, {6, 7, 6}},               // 21
      {kSkelClavicle, {8, 10, 8}},          // 28
      {kSkelHorseLink, {5, 6, 5}},          // 18
      {kSkelPonytail, {7, 7}},              // 16
      {kSkelTrianglePelvis, {12, 12, 12}},  // 38
      {kSkelFingerTip, {4, 4}},             // 10
      {kSkelToeTip, {4, 4}},                // 10
      {kSkelPalm, {6, 8, 8, 8, 6, 6}},      // 44
      {kSkelXtra, {7, 7}},                  // 16
  };
  for (const Cut& cut : kCuts) {
    if (cut.kind == kind) return &cut;
  }
  return nullptr;
}

/// Seven rings, the chin, the crown, and a nose put in between: 87 corners.
LoftPlan HeadPlan() {
  LoftPlan plan;
  for (const float along : {0.03f, 0.14f, 0.30f, 0.46f, 0.60f, 0.80f, 0.94f}) {
    plan.rings.push_back({along, 12});
  }
  plan.startPole = plan.endPole = true;
  plan.noseRing = 2;
  plan.nosePush = 0.14f;
  return plan;
}

}  // namespace

void BuildSmoothSolid(SkelObject& object) {
  const int kind = object.kind - (IsLeftKind(object.kind) ? 1 : 0);
  Profile profile = ProfileOf(kind);
  profile.bumps = {};  // too small for so few corners
  const LoftFrame frame = LoftFrameOf(object);
  if (kind == kSkelHead) {
    AddLoft(object.mesh, profile, HeadPlan(), frame);
  } else if (const Cut* cut = FindCut(kind)) {
    AddLoft(object.mesh, profile, EvenPlan(profile, cut->sides), frame);
  } else {
    BuildBoxSolid(object);
  }
}

}  // namespace strider
