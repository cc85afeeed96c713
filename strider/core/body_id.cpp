#include "strider/core/body_id.h"

#include <cstring>

namespace strider {
namespace {

using K = PartKind;

constexpr BodyPart kBodyParts[] = {
    {kLeftArm, "larm", K::kArm, kLeft, kRightArm, kLeftArm, "Left"},
    {kRightArm, "rarm", K::kArm, kRight, kLeftArm, kRightArm, "Right"},
    {kLeftFingers, "lfingers", K::kFingers, kLeft, kRightFingers, kLeftArm, "LeftFinger"},
    {kRightFingers, "rfingers", K::kFingers, kRight, kLeftFingers, kRightArm, "RightFinger"},
    {kLeftLeg, "lleg", K::kLeg, kLeft, kRightLeg, kLeftLeg, "Left"},
    {kRightLeg, "rleg", K::kLeg, kRight, kLeftLeg, kRightLeg, "Right"},
    {kLeftToes, "ltoes", K::kToes, kLeft, kRightToes, kLeftLeg, "LeftToe"},
    {kRightToes, "rtoes", K::kToes, kRight, kLeftToes, kRightLeg, "RightToe"},
    {kSpine, "spine", K::kChain, kNoSide, kSpine, kSpine, "Spine"},
    {kTail, "tail", K::kChain, kNoSide, kTail, kTail, "Tail"},
    {kHead, "head", K::kHead, kNoSide, kHead, kHead, "Head"},
    {kPelvis, "pelvis", K::kPelvis, kNoSide, kPelvis, kPelvis, "Pelvis"},
    {kVertical, "vertical", K::kBody, kNoSide, kVertical, kVertical, ""},
    {kHorizontal, "horizontal", K::kBody, kNoSide, kHorizontal, kHorizontal, ""},
    {kTurn, "turn", K::kBody, kNoSide, kTurn, kTurn, ""},
    {kFootprints, "footprints", K::kFootprints, kNoSide, kFootprints, kNoBodyId, "Footprints"},
    {kNeck, "neck", K::kChain, kNoSide, kNeck, kHead, "Neck"},
    {kPony1, "pony1", K::kChain, kNoSide, kPony1, kPony1, "PonytailA"},
    {kPony2, "pony2", K::kChain, kNoSide, kPony2, kPony2, "PonytailB"},
    {kProp1, "prop1", K::kProp, kNoSide, kProp1, kProp1, "Prop1"},
    {kProp2, "prop2", K::kProp, kNoSide, kProp2, kProp2, "Prop2"},
    {kProp3, "prop3", K::kProp, kNoSide, kProp3, kProp3, "Prop3"},
    {kRightFingerNubs, "", K::kNub, kRight, kLeftFingerNubs, kNoBodyId, "RightFinger"},
    {kLeftFingerNubs, "", K::kNub, kLeft, kRightFingerNubs, kNoBodyId, "LeftFinger"},
    {kLeftToeNubs, "", K::kNub, kLeft, kRightToeNubs, kNoBodyId, "LeftToe"},
    {kRightToeNubs, "", K::kNub, kRight, kLeftToeNubs, kNoBodyId, "RightToe"},
    {kTailNub, "", K::kNub, kNoSide, kTailNub, kNoBodyId, "Tail"},
    {kHeadNub, "", K::kNub, kNoSide, kHeadNub, kNoBodyId, "Head"},
    {kPony1Nub, "", K::kNub, kNoSide, kPony1Nub, kNoBodyId, "PonytailA"},
    {kPony2Nub, "", K::kNub, kNoSide, kPony2Nub, kNoBodyId, "PonytailB"},
    {kLeftForearmTwist, "lfarmtwist", K::kTwist, kLeft, kRightForearmTwist, kNoBodyId,
     "LeftLowerArmTwist"},
    {kRightForearmTwist, "rfarmtwist", K::kTwist, kRight, kLeftForearmTwist, kNoBodyId,
     "RightLowerArmTwist"},
    {kLeftUpperArmTwist, "luparmtwist", K::kTwist, kLeft, kRightUpperArmTwist, kNoBodyId,
     "LeftUpperArmTwist"},
    {kRightUpperArmTwist, "ruparmtwist", K::kTwist, kRight, kLeftUpperArmTwist, kNoBodyId,
     "RightUpperArmTwist"},
    {kLeftThighTwist, "lthightwist", K::kTwist, kLeft, kRightThighTwist, kNoBodyId,
     "LeftThighTwist"},
    {kRightThighTwist, "rthightwist", K::kTwist, kRight, kLeftThighTwist, kNoBodyId,
     "RightThighTwist"},
    {kLeftCalfTwist, "lcalftwist", K::kTwist, kLeft, kRightCalfTwist, kNoBodyId, "LeftCalfTwist"},
    {kRightCalfTwist, "rcalftwist", K::kTwist, kRight, kLeftCalfTwist, kNoBodyId, "RightCalfTwist"},
    {kLeftHorseTwist, "lhorsetwist", K::kTwist, kLeft, kRightHorseTwist, kNoBodyId,
     "LeftShankTwist"},
    {kRightHorseTwist, "rhorsetwist", K::kTwist, kRight, kLeftHorseTwist, kNoBodyId,
     "RightShankTwist"},
    {kXtraFirst, "xtra", K::kChain, kNoSide, kXtraFirst, kXtraFirst, "Xtra"},
    {kXtraNubFirst, "", K::kNub, kNoSide, kXtraNubFirst, kNoBodyId, "Xtra"},
};

constexpr int kPlainRows = 30;  // ids 0 to 29 stand at their own index
constexpr int kTwistRows = 10;
constexpr int kXtraRow = kPlainRows + kTwistRows;

}  // namespace

const BodyPart* FindBodyPart(int id) {
  if (id >= 0 && id < kPlainRows) return &kBodyParts[id];
  if (IsTwist(id)) return &kBodyParts[kPlainRows + id - kTwistStartId];
  if (IsXtra(id)) return &kBodyParts[kXtraRow];
  if (id >= kXtraNubFirst && id <= kXtraNubLast) return &kBodyParts[kXtraRow + 1];
  return nullptr;
}

int BodyIdOfName(const char* scriptName) {
  if (scriptName == nullptr || *scriptName == '\0') return kNoBodyId;
  for (const BodyPart& part : kBodyParts) {
    if (std::strcmp(part.scriptName, scriptName) == 0) return part.id;
  }
  return kNoBodyId;
}

TwistSegment TwistSegmentOf(int twistId) {
  const int side = (twistId - kTwistStartId) % 2;  // twist ids run left, right
  const int arm = side == 0 ? kLeftArm : kRightArm;
  const int leg = side == 0 ? kLeftLeg : kRightLeg;
  switch ((twistId - kTwistStartId) / 2) {
    case 0: return {arm, 2};
    case 1: return {arm, 1};
    case 2: return {leg, 0};
    case 3: return {leg, 1};
    case 4: return {leg, 2};
    default: return {kNoBodyId, 0};
  }
}

}  // namespace strider
