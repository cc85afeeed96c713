// What a figure is made of: the parameters that a user may set, their limits and defaults, and
// how many links and digits follow from them.
#pragma once

#include <string_view>

#include "strider/core/body_id.h"

namespace strider {

/// Segments that may carry twist links, in the order of the twist ids.
enum TwistPart : int {
  kForearmTwistPart,
  kUpperArmTwistPart,
  kThighTwistPart,
  kCalfTwistPart,
  kHorseTwistPart,
  kNumTwistParts
};

/// The structure parameters. Lengths are in scene units.
struct Structure {
  float height = 80;
  bool arms = true;
  int neckLinks = 1;
  int spineLinks = 4;
  int legLinks = 3;  // 3: thigh, calf, foot; 4: thigh, calf, horse link, foot
  int tailLinks = 0;
  int ponytail1Links = 0;
  int ponytail2Links = 0;
  int fingers = 1;
  int fingerLinks = 1;
  int toes = 1;
  int toeLinks = 3;
  float ankleAttach = 0.2f;  // heel share of the foot's length
  bool prop1Exists = false;
  bool prop2Exists = false;
  bool prop3Exists = false;
  bool trianglePelvis = true;
  bool triangleNeck = false;
  bool foreFeet = false;
  bool knuckles = false;
  bool shortThumb = false;
  bool twists = false;
  int twistLinks[kNumTwistParts] = {};
  float twistBias[kNumTwistParts] = {0.5f, 0.5f, 0.5f, 0.5f, 0.5f};
  int bodyType = 0;
  int dynamicsType = 0;  // 0 strider dynamics, 1 spline dynamics

  friend bool operator==(const Structure&, const Structure&) = default;
};

enum class ParameterType { kBoolean, kInteger, kFloat };

/// One structure parameter: its script name, what it may hold, and where it stands in the record.
struct StructureParameter {
  const char* name;
  ParameterType type;
  double low, high;  // both allowed; for `height` the low bound itself is not
  double (*get)(const Structure&);
  void (*set)(Structure&, double);
  const char* meaning;  // one line for a user's help
};

inline constexpr int kNumStructureParameters = 34;
/// All parameters in the order in which users meet them.
const StructureParameter (&StructureParameters())[kNumStructureParameters];
/// Row of a script name; null for an unknown one.
const StructureParameter* FindStructureParameter(std::string_view name);

/// Sets one parameter. False, and nothing changed, for a value outside its limits, a fraction
/// where a whole number is asked, or a value that is not finite.
[[nodiscard]] bool SetParameter(Structure& structure, const StructureParameter& parameter,
                                double value);
/// The first parameter outside its limits; null if the whole record is legal.
const StructureParameter* FindIllegalParameter(const Structure& structure);

/// Links of a body part. Fingers and toes: of one digit. 0 for what the figure lacks, for extra
/// chains (the core knows those) and for unknown ids.
int NumLinks(const Structure& structure, int id);
/// Digits of a hand: 0 without arms.
int NumFingers(const Structure& structure);
inline int NumToes(const Structure& structure) { return structure.toes; }
/// Links of one digit of a hand or foot; a shortened thumb of more than one link lacks its last.
int NumDigitLinks(const Structure& structure, int id, int digit);

}  // namespace strider
