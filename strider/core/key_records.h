// The key records: the pose of one body section at one time. Field order is the order of the
// file's slots; the slot numbers stand beside the fields that formats name by number. Angles are
// radians, lengths scene units, spaces those of the core (X ahead, Y up, Z right) unless named.
#pragma once

#include "strider/base/euler.h"
#include "strider/core/body_id.h"

namespace strider {

/// A leg's contact at a key or at a time. Below kMove the foot is on the ground.
enum LegState : int { kTouch = 0, kPlant = 1, kLift = 2, kMove = 3 };

/// Space of a limb's target: 0 moves with the body, 2 stands in the world or on an object.
enum IkSpace : int { kBodySpace = 0, kObjectSpace = 2 };

/// What a limb's pivot is: one of the seven points of the foot or hand, or a digit's joint.
enum PivotKind : int { kNamedPivot = 0, kDigitPivot = 1 };
inline constexpr int kNumNamedPivots = 7;
inline constexpr int kFirstToePivot = 4;  // pivots 4 to 6 are the toe row

/// One digit of a hand or foot. A link k of a finger turns by link[k] within the link before; the
/// first is carried by `base`, the palm's part of it. A toe turns at its base by `base` and
/// link[0], and each of its links bends by bend[k] (positive down).
struct DigitKey {
  Quat base;
  Point3 baseEuler;
  Quat link[kMaxDigitLinks];
  Point3 linkEuler[kMaxDigitLinks];
  float bend[kMaxDigitLinks] = {};

  friend bool operator==(const DigitKey&, const DigitKey&) = default;
};

/// Joint angles of a limb: slot 0 the hinge (elbow or knee: 0 folded, pi straight), slot 1 the
/// pitch of a four-link leg's third segment against the line from hip to ankle, slot 2 that
/// segment's lean out of the limb's plane, slot 3 its turn about its own axis.
enum JointAngle : int { kHinge = 0, kThirdPitch = 1, kThirdLean = 2, kThirdTurn = 3 };
inline constexpr int kNumJointAngles = 4;

struct LimbKey {
  float jointAngles[kNumJointAngles] = {};  // 0 to 3
  Point3 bodyTarget;                        // 4 to 6: limb end in the limb's base frame
  Point3 objectTarget;                      // 8 to 10: limb end in object space
  float forwardBend = 0;                    // 20
  int keyState = kMove;                     // 22: LegState at the key; arms keep kMove
  Quat limbRotation;                        // 23 to 26: first link in the limb's base frame
  Point3 limbEuler;                         // 27 to 29
  float clavicle[2] = {0, 0};               // 30, 31: swing ahead and droop (arms)
  float ikBlend = 0;                        // 32: 0 forward kinematics, 1 target
  float ikAnkleTension = 0;     // 33: 0 the knee keeps its keyed angle, 1 the ankle keeps its own
  int ikSpace = kBodySpace;     // 34
  int pivotLink = 0;            // 35: of a digit's joint
  int pivotDigit = 0;           // 36
  int pivotIndex = 0;           // 37: 0 to 6
  int pivotKind = kNamedPivot;  // 38
  int ikJoinedPivot = 0;        // 39: the pivot continues from the key before
  Point3 pivotPosition;         // 40 to 42: object space
  Point3 joinedPivotPosition;   // 44 to 46: where this key's pivot lies at the key before
  Point3 anklePose;             // 48 to 50: a leg's foot against the body, as the host's X, Y, Z
  Quat endRotation;             // 51 to 54: hand or foot against the last segment
  Point3 endEuler;              // 55 to 57
  Quat spaceRotation;           // 62 to 65: hand or foot in the space that ikSpace names
  DigitKey digits[kMaxDigits];  // 66 on

  friend bool operator==(const LimbKey&, const LimbKey&) = default;
};

/// True for a key whose target stands in object space, and for one whose target rules alone there.
inline bool InObjectSpace(const LimbKey& key) { return key.ikSpace == kObjectSpace; }
inline bool HoldsObject(const LimbKey& key) { return InObjectSpace(key) && key.ikBlend == 1; }

/// Spine, tail, ponytails and extra chains: a turn for every link, in the link before.
struct ChainKey {
  float base[4] = {};  // carried for files
  Point3 euler[kMaxLinks];
  Quat rotation[kMaxLinks];
  float extra = 0;  // carried for files

  friend bool operator==(const ChainKey&, const ChainKey&) = default;
};

/// Neck and head: the neck's links first, the head last in `chain`.
struct HeadKey {
  float extra = 0;        // carried for files
  Point3 position;        // carried for files
  Point3 targetPosition;  // where the head looked when keyed, the core's space
  ChainKey chain;
  float headBlend = 0;  // 0 the keyed rotation, 1 looks at the target

  friend bool operator==(const HeadKey&, const HeadKey&) = default;
};

struct VerticalKey {
  float adaptFraction[2] = {};         // 0, 1
  float footReach[2] = {};             // 2, 3: horizontal distance of the foot from the hip
  float legShape[2][3] = {};           // 4 to 9: tension, continuity, bias per leg
  int legState[2] = {kPlant, kPlant};  // 10, 11
  int bordersFlight[2] = {};           // 12, 13
  float height = 0;                    // 14: body height without the balance lift
  float unused = 0;                    // 15
  float ballisticHeight = 0;           // 16: body height with the balance lift
  float rangeFraction = 1;             // 17: height within the key's allowed range
  float legFraction = 1;               // 18: height over the foot in leg lengths
  float ballisticTension = 0.5f;       // 19
  float dynamicsBlend = 1;             // 20

  friend bool operator==(const VerticalKey&, const VerticalKey&) = default;
};

struct HorizontalKey {
  Point3 position;          // 0 to 2: x, (height, not used), third axis
  float spare[3] = {};      // 3 to 5
  float balanceFactor = 1;  // 6: 0 to 1
  int supportState = 3;     // 7: -1 in free-form
  int type = 0;             // 8: phase at which the key was made
  float spareTail[2] = {};  // 9, 10

  friend bool operator==(const HorizontalKey&, const HorizontalKey&) = default;
};

struct TurnKey {
  Quat rotation;            // 0 to 3
  float spare[4] = {};      // 4 to 7
  Point3 euler;             // 8 to 10
  float spareTail[3] = {};  // 11 to 13

  friend bool operator==(const TurnKey&, const TurnKey&) = default;
};

struct PelvisKey {
  Quat rotation;
  Point3 euler;

  friend bool operator==(const PelvisKey&, const PelvisKey&) = default;
};

/// Spaces that a prop is keyed in; a key holds the prop's place in each of them.
enum PropSpace : int { kWorldProp = 0, kBodyProp = 1, kRightHandProp = 2, kLeftHandProp = 3 };
inline constexpr int kNumPropSpaces = 4;

struct PropKey {
  int posSpace = kWorldProp;
  int rotSpace = kWorldProp;
  Quat rotation[kNumPropSpaces];
  Point3 position[kNumPropSpaces];
  Point3 scale{1, 1, 1};
  Point3 spare[2];  // carried for files

  friend bool operator==(const PropKey&, const PropKey&) = default;
};

}  // namespace strider
