// What the tests of poses share: seeded random values that are the same with every standard
// library, figures, keys on all of their tracks, and measures of frames.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/core/key_edit.h"
#include "strider/core/limb.h"
#include "strider/core/node_tree.h"

namespace strider::test {

/// std::mt19937 gives the same numbers everywhere; the standard distributions do not. Compilers
/// evaluate the arguments of a call in orders of their own, so a call holds one draw at most.
class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  float Between(float low, float high) {
    return low + (high - low) * (static_cast<float>(engine_() >> 8) / 16777216.0f);
  }
  int Int(int low, int high) {
    return low + static_cast<int>(engine_() % static_cast<unsigned>(high - low + 1));
  }
  Point3 Inside(float size) {
    return {Between(-size, size), Between(-size, size), Between(-size, size)};
  }
  Point3 Direction() {
    while (true) {
      const Point3 p = Inside(1);
      const float length = Length(p);
      if (length > 0.1f && length < 1) return p / length;
    }
  }
  /// Of a length between the two.
  Point3 Vector(float low, float high) {
    const float length = Between(low, high);
    return length * Direction();
  }
  Quat Rotation() {
    while (true) {
      const Quat q{Between(-1, 1), Between(-1, 1), Between(-1, 1), Between(-1, 1)};
      const float squared = Dot(q, q);
      if (squared > 0.01f && squared < 1) return Normalized(q);
    }
  }
  /// A turn of at most `angle`.
  Quat SmallTurn(float angle) {
    const float turn = Between(-angle, angle);
    return AngleAxis(turn, Direction());
  }

 private:
  std::mt19937 engine_;
};

/// Any legal structure.
inline Structure RandomStructure(Random& random) {
  Structure s;
  for (const StructureParameter& parameter : StructureParameters()) {
    double value = parameter.get(s);
    if (std::string(parameter.name) == "height") {
      value = random.Between(5, 400);
    } else if (std::string(parameter.name) == "ankleAttach") {
      value = random.Between(0, 1);
    } else if (parameter.type == ParameterType::kFloat) {
      value = random.Between(static_cast<float>(parameter.low), static_cast<float>(parameter.high));
    } else {
      value = random.Int(static_cast<int>(parameter.low), static_cast<int>(parameter.high));
    }
    if (!SetParameter(s, parameter, value)) ADD_FAILURE() << parameter.name << " " << value;
  }
  return s;
}

/// Every part that a figure can have, in its largest number.
inline Structure FullStructure() {
  Structure s;
  s.legLinks = 4;
  s.neckLinks = s.spineLinks = s.tailLinks = s.ponytail1Links = s.ponytail2Links = 5;
  s.fingers = s.toes = 5;
  s.fingerLinks = s.toeLinks = 3;
  s.prop1Exists = s.prop2Exists = s.prop3Exists = true;
  s.twists = true;
  for (int& links : s.twistLinks) links = 3;
  return s;
}

inline void Evaluate(MotionCore& core, TimeValue t, const EvalContext& context = {}) {
  CoreEvaluate(core, t, context);
  CoreForwardKinematics(core);
}

inline MotionCore MakeFigure(const Structure& structure = {}) {
  MotionCore core;
  core.name = "Strider01";
  LayOutFigure(core, structure);
  Evaluate(core, 0);
  return core;
}

inline MotionCore NominalFigure() {
  Structure s;
  s.height = 415;  // lengths in nominal units
  return MakeFigure(s);
}

/// A contact of both feet over the whole time and an end: the motion is not free-form.
inline void AddFootsteps(MotionCore& core, TimeValue first, TimeValue end) {
  FootstepTrack& track = core.footsteps;
  track.numFootsteps = 2;
  track.position.assign(2, Point3{});
  track.freeFormStart.assign(2, 0);
  track.freeFormEnd.assign(2, 0);
  for (int side = 0; side < 2; ++side) track.spans[side] = {{first, end - first, side}};
  core.endTime = end;
  SetFreeForm(core, false);
}

/// What is handed out for every node, in the order of the nodes.
inline std::vector<Matrix3> AllTransforms(const MotionCore& core) {
  std::vector<Matrix3> all;
  for (const NodeInfo& node : BuildNodeTree(core)) {
    CoreLinkTransform(core, node.id, node.link, all.emplace_back());
  }
  return all;
}

inline bool AllFinite(const std::vector<Matrix3>& frames) {
  for (const Matrix3& frame : frames) {
    if (!IsFinite(frame)) return false;
  }
  return true;
}

inline float Distance(const Point3& a, const Point3& b) { return Length(a - b); }

/// Angle between two rotations, whatever their signs.
inline float AngleBetween(const Quat& a, const Quat& b) {
  return 2 * Length(LnDif(a, OnSideOf(b, a)));
}

/// How far the axes are from unit and square.
inline float OffSquare(const Matrix3& m) {
  float worst = 0;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      worst = std::fmax(worst, std::fabs(Dot(m.row[i], m.row[j]) - (i == j ? 1.0f : 0.0f)));
    }
  }
  return worst;
}
inline bool RightHanded(const Matrix3& m) { return Dot(Cross(m.row[0], m.row[1]), m.row[2]) > 0; }

/// Frames of a limb with its digits.
inline std::vector<Matrix3> LimbFrames(const LimbRecord& limb) {
  std::vector<Matrix3> frames(limb.frame, limb.frame + NumLimbLinks(limb));
  for (int d = 0; d < limb.numDigits; ++d) {
    const DigitRecord& digit = limb.digits[d];
    frames.insert(frames.end(), digit.frame, digit.frame + digit.numLinks);
  }
  return frames;
}

/// The lowest of a foot's six sole points, the core's space.
inline float LowestSolePoint(const LimbRecord& leg) {
  const Matrix3& foot = leg.frame[NumLimbLinks(leg) - 1];
  float lowest = 1e30f;
  for (int i = 1; i < kNumNamedPivots; ++i) {
    lowest = std::fmin(lowest, (PivotPoint(leg, PivotChoice{kNamedPivot, i, 0, 0}) * foot).y);
  }
  return lowest;
}

/// A random bent pose of every part within what a body does, put into the core as its pose.
inline void BendFigure(MotionCore& core, Random& random) {
  TakeStance(core);
  core.body.bodyPosition += random.Inside(0.2f * core.structure.height);
  core.body.bodyRotation = AboutY(random.Between(-3, 3));
  core.body.bodyRotation = core.body.bodyRotation * random.SmallTurn(0.3f);
  core.pelvis.pose = random.SmallTurn(0.2f);
  for (ChainRecord* chain : {&core.spine, &core.tail, &core.neck, &core.pony[0], &core.pony[1]}) {
    for (int k = 0; k < chain->numLinks; ++k) chain->pose[k] = random.SmallTurn(0.3f);
  }
  core.head.pose = random.SmallTurn(0.3f);
  for (LimbRecord* limb : {&core.leg[0], &core.leg[1], &core.arm[0], &core.arm[1]}) {
    limb->pose.jointAngles[kHinge] = random.Between(1.2f, 3.0f);
    limb->pose.limbRotation = limb->pose.limbRotation * random.SmallTurn(0.6f);
    limb->pose.endRotation = limb->pose.endRotation * random.SmallTurn(0.4f);
    if (!limb->isLeg) {
      limb->pose.clavicle[0] = random.Between(-0.2f, 0.2f);
      limb->pose.clavicle[1] = random.Between(0, 0.4f);
    }
    for (int d = 0; d < limb->numDigits; ++d) {
      DigitKey& digit = limb->digits[d].pose;
      digit.base = digit.base * random.SmallTurn(0.2f);
      for (Quat& link : digit.link) link = link * random.SmallTurn(0.3f);
      for (float& bend : digit.bend) bend += random.Between(-0.2f, 0.2f);
    }
  }
  CoreForwardKinematics(core);
}

/// Keys every track of the figure at `times`, a random pose at each. Limb keys come planted,
/// sliding and free in turn, with pivots of all kinds.
inline void KeyAllTracks(MotionCore& core, Random& random, const std::vector<TimeValue>& times) {
  MotionCore posed = core;
  for (const TimeValue t : times) {
    BendFigure(posed, random);
    const auto put = [&](KeyRefusal refusal) { EXPECT_EQ(refusal, KeyRefusal::kNone); };
    put(PutKey(core, t, CurrentHorizontalKey(posed)));
    put(PutKey(core, t, CurrentTurnKey(posed)));
    put(PutKey(core, t, CurrentVerticalKey(posed)));
    put(PutKey(core, t, CurrentPelvisKey(posed)));
    HeadKey head = CurrentHeadKey(posed);
    head.headBlend = random.Between(0, 1);
    put(PutKey(core, t, head));
    for (int id : {kSpine, kTail, kPony1, kPony2}) {
      const ChainRecord* chain = FindChain(posed, id);
      if (chain->numLinks > 0) put(PutKey(core, id, t, CurrentChainKey(*chain)));
    }
    for (int id : {kLeftArm, kRightArm, kLeftLeg, kRightLeg}) {
      LimbRecord* limb = FindLimb(posed, id);
      if (!limb) continue;
      LimbPose& pose = limb->pose;
      const PivotChoice pivot = PivotOfNumber(*limb, random.Int(0, NumPivots(*limb) - 1));
      pose.pivotKind = pivot.kind;
      pose.pivotIndex = pivot.index;
      pose.pivotDigit = pivot.digit;
      pose.pivotLink = pivot.link;
      pose.ikAnkleTension = random.Between(0, 1);
      LimbKey key = CurrentLimbKey(posed, *limb, static_cast<LimbKeyKind>(random.Int(0, 2)));
      key.keyState = limb->isLeg ? random.Int(0, 3) : kMove;
      put(PutKey(core, id, t, key));
    }
    for (int i = 0; i < 3; ++i) {
      if (!core.props[i].exists) continue;
      PropKey key = core.props[i].rest;
      key.posSpace = random.Int(0, 3);
      key.rotSpace = random.Int(0, 3);
      for (Point3& place : key.position) place = random.Inside(50);
      for (Quat& rotation : key.rotation) rotation = random.Rotation();
      put(PutKey(core, kProp1 + i, t, key));
    }
  }
}

}  // namespace strider::test
