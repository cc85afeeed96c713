// The whole of one figure in one record: structure, proportions, key tracks, footsteps, and the
// pose last computed. Copied whole for undo, layers and clips; nothing in it points outside
// itself except to the layers of its own stack.
//
// The core's space: X ahead, Y up, Z to the right, right-handed. The host's: Z up, the figure at
// heading 0 faces +X, its left is +Y. HostFromCore and CoreFromHost stand between the two.
#pragma once

#include <string>
#include <vector>

#include "strider/core/footstep_track.h"
#include "strider/core/key_records.h"
#include "strider/core/key_table.h"
#include "strider/core/structure.h"
#include "strider/core/twist_pose.h"

namespace strider {

/// A place in the core's space as the host's, and back.
inline Point3 HostFromCore(const Point3& p) { return {p.x, -p.z, p.y}; }
inline Point3 CoreFromHost(const Point3& p) { return {p.x, p.z, -p.y}; }
/// A frame: its rows and origin in the other space, the frame's own axes unchanged.
Matrix3 HostFromCore(const Matrix3& m);
Matrix3 CoreFromHost(const Matrix3& m);
/// A frame that lies in the host's space but turns about its own axes as the core names them:
/// used for root transforms, which move the whole core inside the host.
Matrix3 CoreFromHostTransform(const Matrix3& m);

/// A frame as it is composed: rotation and origin, the core's space.
struct Frame {
  Quat rotation;
  Point3 origin;
};
inline Frame ChildFrame(const Frame& parent, const Quat& rotation, const Point3& offset) {
  return {parent.rotation * rotation, parent.origin + Rotate(parent.rotation, offset)};
}

struct DigitRecord {
  int numLinks = 0;
  Point3 dimensions[kMaxDigitLinks];  // length, width, depth
  Point3 baseOffset;                  // where the digit starts in the hand's or foot's frame
  Quat baseRotation;                  // its frame there before any pose
  DigitKey pose;
  Matrix3 frame[kMaxDigitLinks];
};

/// Lengths of a limb's upper, lower and, for four-link legs, third segment.
struct SegmentLengths {
  float upper = 0, lower = 0;
  float third = 0;
  bool hasThird = false;
  friend bool operator==(const SegmentLengths&, const SegmentLengths&) = default;
};

/// Places and rotations that a limb's angles give, all in the limb's base frame.
struct LimbShape {
  Point3 joint;        // elbow or knee
  Point3 hock;         // end of the lower segment: the limb's end but for four-link legs
  Point3 end;          // wrist or ankle
  Point3 swivel;       // normal of the limb's plane
  Quat lowerRotation;  // frame of the lower segment
  Quat lastRotation;   // frame of the last segment before the hand or foot
};

/// The shape last computed with what it was computed from: evaluation leaves it for the frames.
struct ShapeMemo {
  SegmentLengths lengths;
  float jointAngles[kNumJointAngles] = {};
  Quat limbRotation;
  LimbShape shape;
};
/// The turn of a clavicle last computed with its angles.
struct ClavicleMemo {
  float angles[2] = {};
  Quat turn;
};

/// The current pose of a limb: what its keys give at a time, or what the solver made of it.
struct LimbPose {
  float jointAngles[kNumJointAngles] = {};
  Quat limbRotation;  // first link in the limb's base frame
  Quat endRotation;   // hand or foot against the last segment
  float clavicle[2] = {};
  Point3 swivel;       // normal of the limb's plane, base frame
  Point3 localTarget;  // limb end in the base frame
  Point3 worldTarget;  // limb end in the core's space
  float ikBlend = 0, ikAnkleTension = 0;
  int ikSpace = kBodySpace;
  int pivotLink = 0, pivotDigit = 0, pivotIndex = 0, pivotKind = kNamedPivot;
  int ikJoinedPivot = 0;
  Point3 pivotPosition;  // of the pivot in force, object space
  float forwardBend = 0;
  Point3 anklePose;
};

struct LimbRecord {
  Side side = kRight;
  bool isLeg = false;
  bool hasFourLinks = false;

  Point3 dimensions[4];  // length, width, depth of each link; a foot's are in the fields below
  float upperLength = 0, lowerLength = 0, endLength = 0;
  float totalLength = 0;
  // The extremity. A foot: reach ahead of and behind the ankle, height of the ankle over the
  // sole, width. A hand: its length ahead, its heel side, its thickness, its width.
  float toeLength = 0, heelLength = 0, extremityHeight = 0, extremityWidth = 0;
  int numDigits = 0, digitLinks = 0;
  DigitRecord digits[kMaxDigits];

  float baseSize = 0;     // the limb's base offset of the default figure, carried for files
  Point3 baseOffset;      // hip in the pelvis's frame; clavicle's start in the neck's base
  Quat baseRotation;      // limb base in the pelvis's frame, or in the clavicle's
  Quat clavicleRotation;  // arms: clavicle in the neck's base, both angles 0
  LimbKey rest;           // the pose without keys

  Matrix3 objectFrame;     // takes object space to the core's space; identity without an object
  bool hasObject = false;  // an IK object is set
  bool digitsSeparate = false;  // digits have key sub-tracks of their own when the limb has
  TimeValue holdTime = 0;
  bool hold = false;          // evaluate at holdTime whatever is asked
  LegState keyState = kMove;  // contact by the limb's keys at the time last evaluated

  LimbPose pose;
  ShapeMemo shapeMemo;
  ClavicleMemo clavicleMemo;
  Frame base;        // limb base as last computed
  Frame parent;      // pelvis or clavicle as last computed
  Matrix3 frame[4];  // frames of the links, the core's space, unmirrored
  KeyTable<LimbKey> table;
};

/// A chain of links, each starting where the one before ends. Link k shows the frame of slot
/// 3 k + 2 of the chain's 75 angle slots.
struct ChainRecord {
  int numLinks = 0;
  Point3 dimensions[kMaxLinks];
  Point3 baseOffset;  // in the parent's frame
  Quat baseRotation;
  Quat pose[kMaxLinks];
  Matrix3 frame[kMaxLinks];
  ChainKey rest;
  KeyTable<ChainKey> table;
};

struct XtraChain {
  std::string name;
  int parentId = kPelvis;
  int parentLink = 0;
  ChainRecord chain;
};

struct HeadRecord {
  /// Drop of the chin below the head's joint, height of the crown above it, width, depth.
  float sizes[4] = {};
  Quat pose;
  Matrix3 frame;
  float headBlend = 0;
  bool hasTarget = false;
  Point3 targetPosition;  // the core's space; 0 without a target
  HeadKey rest;
  KeyTable<HeadKey> table;  // the neck's keys too
};

struct PelvisRecord {
  float width = 0, depth = 0;
  float hipOffset = 0;  // half the distance of the hips
  Quat pose;
  Matrix3 frame;
  PelvisKey rest;
  KeyTable<PelvisKey> table;
};

/// The current place of a prop, each part in the space that it names.
struct PropPose {
  int posSpace = kWorldProp, rotSpace = kWorldProp;
  Quat rotation;
  Point3 position;
  Point3 scale{1, 1, 1};
};

struct PropRecord {
  bool exists = false;
  Point3 dimensions;
  PropPose pose;
  Matrix3 frame;
  PropKey rest;
  KeyTable<PropKey> table;
};

/// The pose of a prop without keys.
inline PropPose RestPose(const PropRecord& prop) {
  const PropKey& rest = prop.rest;
  return {rest.posSpace, rest.rotSpace, rest.rotation[rest.rotSpace], rest.position[rest.posSpace],
          rest.scale};
}

/// The centre of mass: place, heading, balance and support at the time last evaluated.
struct BodyRecord {
  Point3 bodyPosition;
  Quat bodyRotation;
  Matrix3 bodyMatrix;
  Point3 figurePosition;  // stance: the body without keys
  Quat figureRotation;
  int supportState = -1;
  bool freePeriod = true;  // the time last evaluated lies in free-form
  int legStates[2] = {kMove, kMove};
  int lastLegStates[2] = {kMove, kMove};
  float footReach[2] = {};
  int bordersFlight[2] = {};
  float balance = 0;
  Point3 balanceOffset;
  Point3 fixedBalanceOffset;  // the figure's own, in the body's frame
  Point3 velocity;            // ground travel over the last 160 ticks
  float keyedHeight = 0, ballisticHeight = 0;
  float groundHeight = 0;
  float dynamicsBlend = 1, ballisticTension = 0.5f;
  float defaultBalance = 1;  // balanceFactor of new horizontal keys
  float gravAccel = 0;       // units per frame squared at 30 frames a second
  KeyTable<HorizontalKey> horizontal;
  KeyTable<TurnKey> turn;
  KeyTable<VerticalKey> vertical;
  std::vector<FlightPeriod> flights;  // in time order
};

enum InPlaceKind : int { kInPlaceBoth = 0, kInPlaceX = 1, kInPlaceY = 2 };

/// Sections whose links can have keys of their own, and whether they have.
struct SeparateTracks {
  bool arms = false, fingers = false, legs = false, toes = false;
  bool neck = false, spine = false, tail = true, ponytail1 = false, ponytail2 = false;
};

/// How a layer moves the whole figure: from its origin, by an angle about the host's Z, to its
/// target; places in the host's space.
struct LayerOffset {
  bool active = false;
  Point3 origin, target;
  float angle = 0;
};

/// A record of the body's path, carried for files.
struct BodyPathRecord {
  TimeValue time = 0;
  float values[16] = {};

  friend bool operator==(const BodyPathRecord&, const BodyPathRecord&) = default;
};

struct MotionCore {
  std::string name;
  Structure structure;
  float figureScale = 0;     // height over the nominal 400 + 15 a neck link
  float laidOutLengths = 0;  // sum of lengths when the figure was laid out
  TimeValue ticksPerFrame = kDynamicsFrame;
  bool unitShapeLinks = false;  // frames carry the link's size, for unit meshes
  bool figureMode = false;
  bool inPlace = false;
  InPlaceKind inPlaceKind = kInPlaceBoth;
  SeparateTracks separateTracks;

  bool freeForm = true;           // no footsteps rule; mirrors footsteps.freeForm
  bool footstepsPending = false;  // footsteps wait for their motion to be computed
  bool bodyKeysComputed = false;  // the motion has been computed at least once
  TimeValue endTime = 0;          // last time of a footstep motion
  /// First time of one that begins before its first footstep; kTimeMax for others.
  TimeValue startTime = kTimeMax;

  // Frames that parts hang from, as last computed; not saved.
  Frame pelvisFrame, spineEnd, neckEnd;

  MotionCore* previousLayer = nullptr;
  MotionCore* nextLayer = nullptr;
  LayerOffset layerOffset;
  std::string layerName;
  bool layerActive = true;
  int layerNumber = 0;        // 0 the base
  bool limbRetarget[4] = {};  // right leg, left leg, right arm, left arm
  std::vector<BodyPathRecord> bodyPath;
  Matrix3 base;  // where the strider stands in the host when its root has no parent

  LimbRecord leg[2];
  LimbRecord arm[2];
  PelvisRecord pelvis;
  BodyRecord body;
  ChainRecord spine, tail, pony[2], neck;
  std::vector<XtraChain> xtras;
  HeadRecord head;
  PropRecord props[3];
  // What upper arms and thighs read; at most kMaxTwistPoses each.
  std::vector<TwistPose> armTwistPoses = DefaultArmTwistPoses();
  std::vector<TwistPose> legTwistPoses = DefaultLegTwistPoses();
  FootstepTrack footsteps;
};

/// Both at once, so that they cannot part.
inline void SetFreeForm(MotionCore& core, bool on) {
  core.freeForm = on;
  core.footsteps.freeForm = on ? 1 : 0;
}

/// The limb that an arm, leg, finger or toe id belongs to; null for other ids, and for an arm
/// that the figure lacks.
LimbRecord* FindLimb(MotionCore& core, int id);
const LimbRecord* FindLimb(const MotionCore& core, int id);
/// Id of a limb record: 0, 1, 4 or 5.
int LimbId(const LimbRecord& limb);
/// Links of a limb: 4 for arms and four-link legs, else 3.
inline int NumLimbLinks(const LimbRecord& limb) { return limb.isLeg && !limb.hasFourLinks ? 3 : 4; }
/// The chain of a spine, tail, neck, ponytail or extra chain id; null for other ids.
ChainRecord* FindChain(MotionCore& core, int id);
const ChainRecord* FindChain(const MotionCore& core, int id);

/// As for a structure, with the extra chains of this core.
int NumLinks(const MotionCore& core, int id);

/// True for a link that the figure has. Links of digits count on through all digits of a hand or
/// foot; the one that a shortened thumb lacks is missing in between.
bool HasLink(const MotionCore& core, int id, int link);

/// The key track that an id is keyed on; null for ids without one or parts that do not exist.
KeyTrack* FindTrack(MotionCore& core, int id);
const KeyTrack* FindTrack(const MotionCore& core, int id);

/// Sub-track of a link of an id: which of a separate section's keys are the link's.
int SubTrackOf(const MotionCore& core, int id, int link);
std::uint32_t SubTrackMask(const MotionCore& core, int id, int link);
/// Sub-tracks that the track of an id has when separate, as the section's switches stand.
int NumSubTracks(const MotionCore& core, int id);

/// Gives every track the number of curves, digits and quaternion channels that the structure
/// asks for. Keys stay.
void ConfigureTracks(MotionCore& core);
/// Switches a section between one key for all its links and a key for each. kRefused for an id
/// whose section has no such switch (only arms, legs, fingers, toes, neck, spine, tail and
/// ponytails have) or if memory ran out.
[[nodiscard]] int SetSeparateTracks(MotionCore& core, int id, bool on);
/// Refreshes what is derived from keys in every track that was edited. Allocates nothing.
void RefreshTracks(MotionCore& core);
/// The same for body, pelvis and spine alone.
void RefreshTrunkTracks(MotionCore& core);

}  // namespace strider
