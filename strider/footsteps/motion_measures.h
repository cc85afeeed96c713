// How good a footstep motion is, in numbers: whether feet stand where the footsteps lie and stay
// there, whether legs reach, joints move evenly and flights fall, and the figures by which people's
// own gait is described. Lengths are per cent of the leg's length, angles degrees, and "a frame" is
// one of the figure's.
#pragma once

#include <limits>

#include "strider/core/eval_context.h"

namespace strider {

/// Where a value was met.
struct MotionSpot {
  TimeValue time = 0;
  int side = -1;          // 0 right, 1 left, -1 where no side is meant
  int footstep = -1;      // -1 where none is meant
  const char* part = "";  // of the body, where the measure covers several
};

/// The least and the greatest of all values that a measure met.
struct MeasuredRange {
  float low = std::numeric_limits<float>::infinity();
  float high = -std::numeric_limits<float>::infinity();
  MotionSpot lowAt, highAt;
  int count = 0;  // of values; 0: the motion gave no occasion

  void Add(float value, const MotionSpot& at);
};

/// A motion is regular when its footsteps alternate at even times and places on a straight, level
/// path once it has settled; the measures marked so are taken on such motions only, away from
/// the ends.
struct MotionMeasures {
  float legLength = 0;  // the unit of lengths, in scene units
  bool regular = false;

  // Feet and ground.
  MeasuredRange footprintDistance;  // sole under the ankle from its footstep at mid-stance
  MeasuredRange footprintHeading;   // foot's forward axis against the footstep's, in plan
  MeasuredRange skate;              // of the point that is the pivot, from a frame to the next
  MeasuredRange groundDepth;        // of each sole point below its ground; positive is below
  MeasuredRange soleClearance;      // lowest sole point over its ground, middle half of swings
  MeasuredRange ankleClearance;     // ankle over its standing height, middle half of swings
  MeasuredRange treadClearance;     // sole points over the edges of treads as they pass them

  // Legs.
  MeasuredRange reachExcess;    // hip to the ankle asked for, over the leg's length
  MeasuredRange kneeChange;     // from a frame to the next
  MeasuredRange kneeBackwards;  // greatest bend the wrong way

  // Evenness: second differences a frame squared.
  MeasuredRange bodyAcceleration;
  MeasuredRange ankleAcceleration;
  MeasuredRange jointAcceleration;
  MeasuredRange flightError;  // of the body's fall in flights, per cent of gravity

  // Regular motions: mirrored half a cycle later.
  MeasuredRange mirrorPlace;  // feet, legs and body, without keys on spine and arms
  MeasuredRange mirrorAngle;  // feet, legs and pelvis, without keys on spine and arms
  MeasuredRange mirrorBody;   // body with all keys
  MeasuredRange meanSpeed;    // against the footsteps' stride over cycle, per cent off
  MeasuredRange groundSpeed;  // frame by frame against its mean, per cent off

  MeasuredRange headTilt;
  MeasuredRange armOppose;  // correlation of upper arm and thigh of a side: -1 exactly opposed

  // Regular motions: how people's gait is described.
  MeasuredRange pelvisRise;       // highest less lowest in a cycle
  MeasuredRange lowestInSupport;  // per cent of steps with the pelvis lowest in double support
  MeasuredRange kneeAtLift;
  MeasuredRange kneeInSwing;  // greatest of each swing
  MeasuredRange toeUpAtTouch;
  MeasuredRange toeDownAtLift;
  MeasuredRange ankleRise;  // greatest of each swing, over its standing height
  MeasuredRange armSwing;   // from the foremost to the rearmost of a cycle
};

/// Measures the motion of a core whose footsteps have their keys. The core itself is left alone.
MotionMeasures MeasureMotion(const MotionCore& core, const EvalContext& context);

}  // namespace strider
