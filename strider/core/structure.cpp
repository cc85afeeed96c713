#include "strider/core/structure.h"

#include <cmath>
#include <type_traits>

namespace strider {
namespace {

// Beyond this a figure's lengths would leave the range in which floats still tell its parts apart.
constexpr double kMaxHeight = 1e9;

#define STRIDER_FIELD(field)                                                      \
  [](const Structure& s) { return static_cast<double>(s.field); },                \
      [](Structure& s, double value) {                                            \
        s.field = static_cast<std::remove_reference_t<decltype(s.field)>>(value); \
      }

constexpr StructureParameter Flag(const char* name, double (*get)(const Structure&),
                                  void (*set)(Structure&, double), const char* meaning) {
  return {name, ParameterType::kBoolean, 0, 1, get, set, meaning};
}
constexpr StructureParameter Count(const char* name, double low, double high,
                                   double (*get)(const Structure&), void (*set)(Structure&, double),
                                   const char* meaning) {
  return {name, ParameterType::kInteger, low, high, get, set, meaning};
}
constexpr StructureParameter Measure(const char* name, double low, double high,
                                     double (*get)(const Structure&),
                                     void (*set)(Structure&, double), const char* meaning) {
  return {name, ParameterType::kFloat, low, high, get, set, meaning};
}

constexpr StructureParameter kParameters[kNumStructureParameters] = {
    Measure("height", 0, kMaxHeight, STRIDER_FIELD(height), "figure height in scene units"),
    Flag("arms", STRIDER_FIELD(arms), "the figure has arms, hands and fingers"),
    Count("neckLinks", 1, 5, STRIDER_FIELD(neckLinks), "links of the neck"),
    Count("spineLinks", 1, 5, STRIDER_FIELD(spineLinks), "links of the spine"),
    Count("legLinks", 3, 4, STRIDER_FIELD(legLinks), "links of a leg; 4 adds a horse link"),
    Count("tailLinks", 0, 5, STRIDER_FIELD(tailLinks), "links of the tail"),
    Count("ponytail1Links", 0, 5, STRIDER_FIELD(ponytail1Links), "links of the first ponytail"),
    Count("ponytail2Links", 0, 5, STRIDER_FIELD(ponytail2Links), "links of the second ponytail"),
    Count("fingers", 0, 5, STRIDER_FIELD(fingers), "fingers of a hand"),
    Count("fingerLinks", 1, 3, STRIDER_FIELD(fingerLinks), "links of a finger"),
    Count("toes", 1, 5, STRIDER_FIELD(toes), "toes of a foot"),
    Count("toeLinks", 1, 3, STRIDER_FIELD(toeLinks), "links of a toe"),
    Measure("ankleAttach", 0, 1, STRIDER_FIELD(ankleAttach), "heel share of the foot's length"),
    Flag("prop1Exists", STRIDER_FIELD(prop1Exists), "the first prop exists"),
    Flag("prop2Exists", STRIDER_FIELD(prop2Exists), "the second prop exists"),
    Flag("prop3Exists", STRIDER_FIELD(prop3Exists), "the third prop exists"),
    Flag("trianglePelvis", STRIDER_FIELD(trianglePelvis),
         "legs and tail hang from the first spine link"),
    Flag("triangleNeck", STRIDER_FIELD(triangleNeck), "clavicles hang from the last spine link"),
    Flag("foreFeet", STRIDER_FIELD(foreFeet), "hands are laid out as front feet"),
    Flag("knuckles", STRIDER_FIELD(knuckles), "hands have knuckle proportions"),
    Flag("shortThumb", STRIDER_FIELD(shortThumb), "the first finger loses its last link"),
    Flag("Twists", STRIDER_FIELD(twists), "twist links exist"),
    Count("forearmTwistLinks", 0, kMaxTwistLinks, STRIDER_FIELD(twistLinks[kForearmTwistPart]),
          "twist links of a forearm"),
    Count("upperarmTwistLinks", 0, kMaxTwistLinks, STRIDER_FIELD(twistLinks[kUpperArmTwistPart]),
          "twist links of an upper arm"),
    Count("thighTwistLinks", 0, kMaxTwistLinks, STRIDER_FIELD(twistLinks[kThighTwistPart]),
          "twist links of a thigh"),
    Count("calfTwistLinks", 0, kMaxTwistLinks, STRIDER_FIELD(twistLinks[kCalfTwistPart]),
          "twist links of a calf"),
    Count("horseTwistLinks", 0, kMaxTwistLinks, STRIDER_FIELD(twistLinks[kHorseTwistPart]),
          "twist links of a horse link"),
    Measure("forearmTwistBias", 0, 1, STRIDER_FIELD(twistBias[kForearmTwistPart]),
            "how twist spreads along a forearm"),
    Measure("upperarmTwistBias", 0, 1, STRIDER_FIELD(twistBias[kUpperArmTwistPart]),
            "how twist spreads along an upper arm"),
    Measure("thighTwistBias", 0, 1, STRIDER_FIELD(twistBias[kThighTwistPart]),
            "how twist spreads along a thigh"),
    Measure("calfTwistBias", 0, 1, STRIDER_FIELD(twistBias[kCalfTwistPart]),
            "how twist spreads along a calf"),
    Measure("horseTwistBias", 0, 1, STRIDER_FIELD(twistBias[kHorseTwistPart]),
            "how twist spreads along a horse link"),
    Count("bodyType", 0, 3, STRIDER_FIELD(bodyType), "geometry that the links show"),
    Count("dynamicsType", 0, 1, STRIDER_FIELD(dynamicsType),
          "vertical dynamics: 0 strider dynamics, 1 spline dynamics"),
};

#undef STRIDER_FIELD

}  // namespace

const StructureParameter (&StructureParameters())[kNumStructureParameters] { return kParameters; }

const StructureParameter* FindStructureParameter(std::string_view name) {
  for (const StructureParameter& parameter : kParameters) {
    if (name == parameter.name) return &parameter;
  }
  return nullptr;
}

bool SetParameter(Structure& structure, const StructureParameter& parameter, double value) {
  if (!(value >= parameter.low && value <= parameter.high)) return false;
  if (parameter.type != ParameterType::kFloat && value != std::floor(value)) return false;
  Structure trial = structure;
  parameter.set(trial, value);
  // A height so small that it rounds to zero is no height.
  if (!(trial.height > 0)) return false;
  structure = trial;
  return true;
}

const StructureParameter* FindIllegalParameter(const Structure& structure) {
  for (const StructureParameter& parameter : kParameters) {
    Structure trial = structure;
    trial.height = Structure{}.height;
    const double value = parameter.get(structure);
    if (!SetParameter(trial, parameter, value)) return &parameter;
  }
  return nullptr;
}

int NumLinks(const Structure& s, int id) {
  switch (id) {
    case kLeftArm:
    case kRightArm: return s.arms ? 4 : 0;
    case kLeftFingers:
    case kRightFingers: return s.arms && s.fingers > 0 ? s.fingerLinks : 0;
    case kLeftLeg:
    case kRightLeg: return s.legLinks;
    case kLeftToes:
    case kRightToes: return s.toeLinks;
    case kSpine: return s.spineLinks;
    case kTail: return s.tailLinks;
    case kHead:
    case kPelvis:
    case kVertical:
    case kHorizontal:
    case kTurn:
    case kFootprints: return 1;
    case kNeck: return s.neckLinks;
    case kPony1: return s.ponytail1Links;
    case kPony2: return s.ponytail2Links;
    case kProp1: return s.prop1Exists ? 1 : 0;
    case kProp2: return s.prop2Exists ? 1 : 0;
    case kProp3: return s.prop3Exists ? 1 : 0;
    case kRightFingerNubs:
    case kLeftFingerNubs: return NumFingers(s);
    case kLeftToeNubs:
    case kRightToeNubs: return s.toes;
    case kTailNub: return s.tailLinks > 0 ? 1 : 0;
    case kHeadNub: return 1;
    case kPony1Nub: return s.ponytail1Links > 0 ? 1 : 0;
    case kPony2Nub: return s.ponytail2Links > 0 ? 1 : 0;
    default: break;
  }
  if (!IsTwist(id) || !s.twists) return 0;
  const int part = (id - kTwistStartId) / 2;
  const bool segmentExists = part <= kUpperArmTwistPart ? s.arms
                             : part == kHorseTwistPart  ? s.legLinks == 4
                                                        : true;
  return segmentExists ? s.twistLinks[part] : 0;
}

int NumFingers(const Structure& s) { return s.arms ? s.fingers : 0; }

int NumDigitLinks(const Structure& s, int id, int digit) {
  const int links = NumLinks(s, id);
  const bool isHand = id == kLeftFingers || id == kRightFingers;
  const bool shortened = isHand && digit == 0 && s.shortThumb && links > 1;
  return shortened ? links - 1 : links;
}

}  // namespace strider
