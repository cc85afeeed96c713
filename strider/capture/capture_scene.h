// A take as the readers leave it: samples of every joint or marker by frame, how the joints hang
// together, and what the file says of itself.
//
// Places of joints are in the take's own axes and units (times the scale factor), those of markers
// already in the core's axes. Rotations are degrees about the axes of the joint's parent.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "strider/base/point3.h"

namespace strider {

/// The joints that a take can have. The fingers are five chains of three on each side, counted
/// chain by chain from the thumb.
enum CaptureJoint : int {
  kNoJoint = -1,
  kHipsJoint,
  kLeftHipJoint,
  kRightHipJoint,
  kLeftKneeJoint,
  kRightKneeJoint,
  kLeftAnkleJoint,
  kRightAnkleJoint,
  kLeftToeJoint,
  kRightToeJoint,
  kLeftCollarJoint,
  kRightCollarJoint,
  kLeftShoulderJoint,
  kRightShoulderJoint,
  kLeftElbowJoint,
  kRightElbowJoint,
  kLeftWristJoint,
  kRightWristJoint,
  kChestJoint,  // Chest, then Chest2 to Chest8
  kNeckJoint = kChestJoint + 8,
  kHeadJoint,
  kLeftFingerJoint,
  kRightFingerJoint = kLeftFingerJoint + 15,
  kNumCaptureJoints = kRightFingerJoint + 15,
};
inline constexpr int kNumChestJoints = 8;

/// Samples of three numbers, one for each frame. Frames never written are zero.
struct CaptureSamples {
  std::vector<Point3> samples;
  int capacity = 0;  // for how many frames callers see room: it grows to 16 past one it lacks

  int Count() const { return static_cast<int>(samples.size()); }
  /// One number of a frame; the frame is the last one from then on if none behind it was written.
  void Write(int frame, int component, float value) {
    if (frame >= capacity) capacity = frame + 16;
    if (frame >= Count()) samples.resize(static_cast<std::size_t>(frame) + 1);
    samples[static_cast<std::size_t>(frame)][component] = value;
  }
};

/// One column of a joint's numbers: what it moves and along or about which axis.
struct CaptureChannel {
  enum Kind : unsigned char { kPosition = 0, kRotation = 1 };
  unsigned char kind = kPosition;
  unsigned char component = 0;  // X 0, Y 1, Z 2

  friend bool operator==(const CaptureChannel&, const CaptureChannel&) = default;
};

struct JointRecord {
  bool present = false;   // the file defines the joint
  int parent = kNoJoint;  // the nearest joint above it that is known; kNoJoint for the root
  Point3 offset;          // from the parent's joint
  bool hasEnd = false;    // an end site follows the joint, at endOffset from it
  Point3 endOffset;
  std::vector<CaptureChannel> channels;  // in the file's order: rotations apply first to last,
                                         // each about the axes that those before it have turned
  CaptureSamples positions, rotations;   // by component
  /// Position channels are written in two ways: as the way from the parent, offset and all, or as
  /// what comes on top of the offset. True for the first.
  bool positionsHoldOffset = false;
};

/// A marker at -800000 in all components is missing in that frame.
inline constexpr float kDroppedMarker = -800000.0f;

struct MarkerRecord {
  std::string name;  // at most 63 characters
  bool present = false;
  CaptureSamples positions;
};
inline constexpr int kNumMarkers = 62;

/// What the talent measures, scene units once read; the order of the file's keys.
enum TalentMeasure : int {
  kTalentHead,
  kTalentNeck,
  kTalentClavicle,
  kTalentUpperArm,
  kTalentForearm,
  kTalentThigh,
  kTalentCalf,
  kTalentSpine,
  kTalentPelvisHeight,
  kTalentPelvisLength,
  kTalentFootHeight,
  kTalentFootLength,
  kNumTalentMeasures,
};

enum class CaptureKind { kNone, kJoints, kMarkers };

struct CaptureScene {
  CaptureKind kind = CaptureKind::kNone;
  std::string path;
  int numFrames = 0;     // as kept, after thinning
  double frameTime = 0;  // seconds a frame as the file has it, before thinning
  int thinning = 1;      // every so many frames of the file one was kept

  std::array<JointRecord, kNumCaptureJoints> joints;
  std::vector<int> jointOrder;  // CaptureJoint, as the file defines them

  std::array<MarkerRecord, kNumMarkers> markers;  // in the vocabulary's order
  std::vector<MarkerRecord> extraMarkers;         // columns with other names
  bool hasTalent = false;                         // the file measures the talent
  std::array<float, kNumTalentMeasures> talent{};
  std::array<bool, kNumTalentMeasures> measured{};  // which of them; the others stand at a default

  std::vector<std::string> unknownNames;  // of joints or markers, as the file has them
};

}  // namespace strider
