// The structure block as one record: what a file says of a figure's form, whichever figure it is
// for. The writer fills it from a figure, the reader gives it to one.
#pragma once

#include <string>
#include <vector>

#include "strider/core/motion_core.h"

namespace strider {

/// Where a chain or a digit starts and how it is turned there: four rows of four floats. The first
/// three of a row are a matrix; the fourth column is the same rotation as a quaternion, so that no
/// bit is lost on the way.
struct RestRows {
  float row[4][4] = {};
};
RestRows RowsOf(const Quat& rotation, const Point3& offset);
/// The quaternion where it agrees with the matrix, else the matrix's.
Quat RotationOf(const RestRows& rows);
inline Point3 OffsetOf(const RestRows& rows) {
  return {rows.row[3][0], rows.row[3][1], rows.row[3][2]};
}

struct ChainDraft {
  std::vector<float> lengths;  // one a link
  RestRows rest;
  bool hasRest = true;
};

struct DigitDraft {
  RestRows rest;
  std::vector<float> lengths;
};

struct LegDraft {
  bool fourLinks = false;
  float hipWidth = 0;
  float lengths[3] = {};  // thigh, calf, third segment
  float toeLength = 0;
  Point3 offset;
  float ankleHeight = 0;
  std::vector<DigitDraft> toes;
};

struct ArmDraft {
  int links = 4;
  float lengths[3] = {};   // upper arm, forearm, hand segment
  float clavicle[2] = {};  // length, width
  float hand[2] = {};      // length, thickness
  float base[4] = {};      // where the clavicle starts, and the limb's base size
  float sizes[4] = {};     // hand: width, heel side; clavicle: depth; nothing
  std::vector<DigitDraft> fingers;
};

struct XtraDraft {
  ChainDraft chain;
  int numbers[4] = {};  // parent id, parent link, whether its links have keys of their own, nothing
  std::string name;
};

struct FigureDraft {
  Structure structure;  // flags and counts that stand in the block as themselves
  bool hasTail = false;
  ChainDraft spine, neck, tail, pony[2];
  float pelvisWidth = 0;
  LegDraft leg[2];
  ArmDraft arm[2];
  float prop[3][3] = {};
  std::vector<XtraDraft> xtras;
  bool unitShapeLinks = false;
  float defaultBalance = 1;
  // The user's own numbers, which the lengths give back only nearly; 0 where a file lacks them.
  float height = 0, laidOutLengths = 0, ankleAttach = 0;
};

FigureDraft DraftOf(const MotionCore& core);

/// As high as all links but the head make a figure, the head in default proportion. False where
/// that is no height that a figure may have.
[[nodiscard]] bool HeightOfLengths(const MotionCore& core, float& height);

/// Lays out the figure of a draft, standing in its stance, without keys. An answer that is not
/// empty says why there can be none.
std::string BuildFigure(const FigureDraft& draft, MotionCore& core);

}  // namespace strider
