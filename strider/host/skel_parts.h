// The kinds of solid that show a figure, and the form of each. What the numbers of kinds stand for
// is fixed here; the builders cut the same forms more or less finely.
#pragma once

#include "strider/host/skel_loft.h"
#include "strider/host/skel_object.h"

namespace strider {

/// Parts with a side come in pairs, the right one first. Kinds without a name show a plain solid.
enum SkelKind : int {
  kSkelPlain = 0,
  kSkelHead = 1,
  kSkelPelvis = 2,
  kSkelChest = 3,  // the last link of the spine
  kSkelUpperArm = 5,
  kSkelForearm = 7,
  kSkelBodyMarker = 9,  // where the centre of mass is
  kSkelNubMarker = 10,  // where a chain ends
  kSkelNeck = 11,
  kSkelThumb = 12,
  kSkelProp = 14,
  kSkelFoot = 15,
  kSkelMitten = 17,  // a hand whose thumb is part of it
  kSkelThigh = 19,
  kSkelCalf = 21,
  kSkelTwist = 23,
  kSkelDigit = 24,  // a link of a finger or toe that others follow
  kSkelTail = 25,
  kSkelClavicle = 26,
  kSkelHorseLink = 28,
  kSkelPonytail = 30,
  kSkelTrianglePelvis = 32,
  kSkelFingerTip = 33,
  kSkelToeTip = 34,
  kSkelPalm = 36,  // a hand whose thumb is a finger
  kSkelXtra = 38,
  kSkelSpine = 41,
};

/// True for kinds that are no part of a body.
constexpr bool IsSkelMarker(int kind) { return kind == kSkelBodyMarker || kind == kSkelNubMarker; }
/// True for the left part of a pair.
bool IsLeftKind(int kind);

/// The form of a kind; of a kind without a name the plain one's. Left and right share it.
const Profile& ProfileOf(int kind);
/// The thumb of a mitten, a solid of its own.
const Profile& MittenThumb();

/// The size of an object as its solids want it.
LoftFrame LoftFrameOf(const SkelObject& object);

/// Two solids that mark a place, crossing each other, the same in all bodies.
void AddBodyMarker(SkelObject& object);
/// A link of a thumb, one block of corners for all bodies but the boxes.
void AddThumb(SkelObject& object);

// One for each body shape. They add to an object's empty mesh the solid of its kind.
void BuildFineSolid(SkelObject& object);     // 0
void BuildSmoothSolid(SkelObject& object);   // 1
void BuildFacetedSolid(SkelObject& object);  // 2
void BuildBoxSolid(SkelObject& object);      // 3

}  // namespace strider
