// The numbering of body parts. Keys, files, scripts and filters refer to body parts by these
// numbers, so the numbers are a format. Everything that depends on a body part reads the one
// table here.
#pragma once

namespace strider {

/// Body-part ids. The ids of fingers and toes stand for all digits of one hand or foot. Nubs are
/// end markers without keys; those of the hands run right, left and those of the feet left,
/// right, as files hold them.
enum BodyId : int {
  kNoBodyId = -1,
  kLeftArm = 0,
  kRightArm = 1,
  kLeftFingers = 2,
  kRightFingers = 3,
  kLeftLeg = 4,
  kRightLeg = 5,
  kLeftToes = 6,
  kRightToes = 7,
  kSpine = 8,
  kTail = 9,
  kHead = 10,
  kPelvis = 11,
  kVertical = 12,
  kHorizontal = 13,
  kTurn = 14,
  kFootprints = 15,
  kNeck = 16,
  kPony1 = 17,
  kPony2 = 18,
  kProp1 = 19,
  kProp2 = 20,
  kProp3 = 21,
  kRightFingerNubs = 22,
  kLeftFingerNubs = 23,
  kLeftToeNubs = 24,
  kRightToeNubs = 25,
  kTailNub = 26,
  kHeadNub = 27,
  kPony1Nub = 28,
  kPony2Nub = 29,
  kLeftForearmTwist = 100,
  kRightForearmTwist = 101,
  kLeftUpperArmTwist = 102,
  kRightUpperArmTwist = 103,
  kLeftThighTwist = 104,
  kRightThighTwist = 105,
  kLeftCalfTwist = 106,
  kRightCalfTwist = 107,
  kLeftHorseTwist = 108,
  kRightHorseTwist = 109,
  kXtraFirst = 200,
  kXtraLast = 399,
  kXtraNubFirst = 400,
  kXtraNubLast = 599,
};

inline constexpr int kMaxNodes = 22;
inline constexpr int kMaxLinks = 25;
inline constexpr int kMaxTwistNodes = 10;
inline constexpr int kMaxTwistLinks = 10;
inline constexpr int kTwistStartId = kLeftForearmTwist;
inline constexpr int kMaxDigits = 5;
inline constexpr int kMaxDigitLinks = 4;

/// Sides as every pair holds them: the right comes first.
enum Side : int { kNoSide = -1, kRight = 0, kLeft = 1 };

/// What a body part is made of.
enum class PartKind {
  kArm,
  kFingers,
  kLeg,
  kToes,
  kChain,
  kHead,
  kPelvis,
  kBody,  // vertical, horizontal and turn: three tracks of one node, the centre of mass
  kFootprints,
  kProp,
  kNub,
  kTwist,
};

struct BodyPart {
  int id;
  const char* scriptName;  // empty for nubs, which scripts reach by number alone
  PartKind kind;
  Side side;
  int opposite;       // the same part of the other side; its own id in the middle
  int track;          // the id that owns the key track this part is keyed on; kNoBodyId for none
  const char* label;  // what a node's name is made of
};

/// Row of an id; null for ids that stand for no part. Extra chains share one row, their nubs
/// another, under the first id of their range.
const BodyPart* FindBodyPart(int id);

/// The id that a script name stands for; kNoBodyId for an unknown one.
int BodyIdOfName(const char* scriptName);

/// True for the ids of the extra chains, 200 to 399.
constexpr bool IsXtra(int id) { return id >= kXtraFirst && id <= kXtraLast; }
constexpr bool IsTwist(int id) { return id >= kLeftForearmTwist && id <= kRightHorseTwist; }

/// The limb segment that a twist id lies along.
struct TwistSegment {
  int limbId;
  int limbLink;
};
TwistSegment TwistSegmentOf(int twistId);

}  // namespace strider
