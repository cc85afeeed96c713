// The figure that a take's own body makes: its proportions, and how the joints of the take carry
// the figure's parts.
#pragma once

#include <vector>

#include "strider/capture/captured_motion.h"

namespace strider {

/// A link of spine or neck and the joint that carries it. It leads from the end of the link before
/// to `target`, or as the joint's own turn says where it has none.
struct ChainLink {
  int joint = kNoJoint;
  int target = kNoJoint;
  Quat turn;  // from the joint's axes to the link's
  float length = 0;
};

/// How the joints of one side's limb carry its parts: turns from the joint's axes to the part's.
struct LimbTurns {
  Quat upper, lower, end;
  Quat digit[kMaxDigits][kMaxDigitLinks];
  int pointsAt = kNoJoint;  // the joint that follows hand or foot, and its way in their axes
  Point3 pointsAlong;
};

struct Talent {
  MotionCore figure;  // free-form, without keys, in its stance at the origin
  Quat pelvis;        // from the axes of the hips' joint to the pelvis's
  std::vector<ChainLink> spine, neck;
  /// Where the figure has another number of links than `spine` or `neck`, its links share the
  /// length evenly.
  Quat head;
  LimbTurns leg[2], arm[2];  // Side
  /// For each finger of the figure the chain of the take that moves it, 0 the thumb; -1 for none.
  int finger[kMaxDigits] = {-1, -1, -1, -1, -1};
  bool movesToes = false;  // the take turns the toes
};

/// What the figure is to be made of; counts of 0 follow the take.
struct TalentStructure {
  Structure structure;  // whatever the take does not decide
  int spineLinks = 0, neckLinks = 0;
  bool digitsOfTake = true;  // fingers and toes as the take has them; else as `structure` has them
};

/// Fits a figure to the take's reference pose. kRefused for a take whose legs, arms or trunk have
/// no length, and for places that are not finite.
[[nodiscard]] int FitTalent(const CapturedMotion& motion, const TalentStructure& wanted,
                            Talent& talent);

}  // namespace strider
