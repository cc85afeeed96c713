#include "strider/capture/mocap_parameters.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "strider/base/number_text.h"
#include "strider/storage/wide_text.h"

namespace strider {
namespace {

using P = MocapParameters;
using Kind = MocapParameter::Kind;

constexpr double kMost = 99999999;  // as far as anyone can set a number
constexpr int kModeTag = 711, kFirstLimbTag = 720, kFirstReductionTag = 750;

/// Access to a field of the record, or of a record within it.
template <auto Field, auto... Within>
struct At {
  static auto& In(auto& p) {
    if constexpr (sizeof...(Within) == 0) {
      return p.*Field;
    } else {
      return At<Within...>::In(p.*Field);
    }
  }
  static double Get(const P& p, int) { return static_cast<double>(In(p)); }
  static void Set(P& p, int, double value) {
    In(p) = static_cast<std::remove_cvref_t<decltype(In(p))>>(value);
  }
};

/// The same of a field of one of several rows.
template <auto Rows, auto... Field>
struct AtRow {
  static auto& In(auto& p, int row) {
    auto& at = (p.*Rows)[static_cast<std::size_t>(row)];
    if constexpr (sizeof...(Field) == 0) {
      return at;
    } else {
      return At<Field...>::In(at);
    }
  }
  static double Get(const P& p, int row) { return static_cast<double>(In(p, row)); }
  static void Set(P& p, int row, double value) {
    In(p, row) = static_cast<std::remove_cvref_t<decltype(In(p, row))>>(value);
  }
};

struct ConversionMode {
  static double Get(const P& p, int) { return ConversionModeOf(p); }
  /// A mode that cannot be leaves the one in force.
  static void Set(P& p, int, double mode) { (void)SetConversionMode(p, static_cast<int>(mode)); }
};

template <class Access>
MocapParameter Number(std::string name, Kind kind, double low, double high, int tag,
                      std::string about, int index = 0) {
  MocapParameter parameter{std::move(name), kind, low, high, tag, std::move(about)};
  parameter.get = Access::Get;
  parameter.set = Access::Set;
  parameter.index = index;
  return parameter;
}
template <auto... Field>
MocapParameter Switch(std::string name, int tag, std::string about) {
  return Number<At<Field...>>(std::move(name), Kind::kSwitch, 0, 1, tag, std::move(about));
}
MocapParameter Path(std::string name, int tag, std::string about, std::string P::*path) {
  MocapParameter parameter{std::move(name), Kind::kPath, 0, 0, tag, std::move(about)};
  parameter.path = path;
  return parameter;
}

/// The one setting of its kind.
MocapParameter Ranges(std::string name, int tag, std::string about) {
  return {std::move(name), Kind::kRanges, 0, 0, tag, std::move(about)};
}

using E = ExtractionSettings;

std::vector<MocapParameter> MakeAll() {
  using K = KeyReductionRow;
  constexpr auto kExtraction = &P::extraction;
  std::vector<MocapParameter> all = {
      Number<At<&P::upVector>>("upVector", Kind::kInt, 0, 2, 701,
                               "axis of the take that points up: 0 X, 1 Y, 2 Z"),
      Number<At<&P::scaleFactor>>("scaleFactor", Kind::kFloat, 1e-6, 1e6, 702,
                                  "what the take's lengths are multiplied by"),
      Number<At<&P::startFrame>>("startFrame", Kind::kInt, 0, kMost, 703,
                                 "first frame that is converted"),
      Number<At<&P::endFrame>>("endFrame", Kind::kInt, kWholeFile, kMost, 704,
                               "last frame that is converted; -1 is the take's last"),
      Number<At<&P::loopFrameCount>>("loopFrameCount", Kind::kInt, 0, kMost, 705,
                                     "frames over which a loop is closed"),
      Switch<&P::useLoopFrame>("useLoopFrame", 706, "the motion closes to a loop"),
      Number<At<&P::fsExtractionMode>>("fsExtractionMode", Kind::kInt, 0, 1, 710,
                                       "0 footsteps are looked for, 1 the motion is left free"),
      // Before the mode that it makes possible.
      Ranges("freeFormRanges", 719, "frames in which the motion stays free, as 30-60, 120-150"),
      Number<ConversionMode>(
          "fsConversionMode", Kind::kInt, 0, 2, kModeTag,
          "1 contacts are judged one by one, else all slide; 2 as 0, with ranges"),
      Number<At<kExtraction, &E::fsExtractionTol>>(
          "fsExtractionTol", Kind::kFloat, 0, kMost, 712,
          "way of a standing foot in a frame, thigh lengths"),
      Number<At<kExtraction, &E::fsSlidingDist>>("fsSlidingDist", Kind::kFloat, 0, kMost, 713,
                                                 "way within a footstep that counts as sliding"),
      Number<At<kExtraction, &E::fsSlidingAngle>>(
          "fsSlidingAngle", Kind::kFloat, 0, 360, 714,
          "turn within a footstep that counts as sliding, degrees"),
      Number<At<kExtraction, &E::fsVerticalTol>>(
          "fsVerticalTol", Kind::kFloat, 0, kMost, 715,
          "how far from fsZLevel a foot may stand, thigh lengths"),
      Number<At<kExtraction, &E::fsZLevel>>("fsZLevel", Kind::kFloat, -kMost, kMost, 716,
                                            "height of the floor"),
      Switch<kExtraction, &E::fsUseVerticalTol>("fsUseVerticalTol", 717,
                                                "a foot must also be near the floor"),
      Switch<kExtraction, &E::fsUseFlatten>("fsUseFlatten", 718, "footsteps are put on the floor"),
      Path("talentFigStrucFile", 730, "a figure to use as the talent", &P::talentFigStrucFile),
      Switch<&P::useTalentFigStrucFile>("useTalentFigStrucFile", 731, "it is used"),
      Path("talentPoseAdjFile", 732, "a pose that corrects the take's rest pose",
           &P::talentPoseAdjFile),
      Switch<&P::useTalentPoseAdjFile>("useTalentPoseAdjFile", 733, "it is used"),
      Path("markerNameFile", 734, "the names of a file's markers", &P::markerNameFile),
      Switch<&P::useMarkerNameFile>("useMarkerNameFile", 735, "it is used"),
      Path("jointNameFile", 736, "the names of a file's joints", &P::jointNameFile),
      Switch<&P::useJointNameFile>("useJointNameFile", 737, "it is used"),
      Switch<&P::dispKnownMarkers>("dispKnownMarkers", 740, "known markers are shown"),
      Number<At<&P::dispKnownMarkersType>>("dispKnownMarkersType", Kind::kInt, 0, 2, 741,
                                           "on which frames they are shown"),
      Switch<&P::dispUnKnownMarkers>("dispUnKnownMarkers", 742, "unknown markers are shown"),
      Switch<&P::dispPropMarkers>("dispPropMarkers", 743, "markers of props are shown"),
  };
  for (int limb = 0; limb < kNumOrientedLimbs; ++limb) {
    all.push_back(Number<AtRow<&P::limbOrientation>>(
        kOrientedLimbNames[limb], Kind::kInt, 0, 3, kFirstLimbTag + limb,
        "how the limb's plane is taken: 0 point, 1 angle, 2 auto, 3 as it is", limb));
  }
  for (int row = 0; row < kNumKeyReductionRows; ++row) {
    const std::string name = kKeyReductionNames[row];
    const int tag = kFirstReductionTag + 3 * row;
    all.push_back(Number<AtRow<&P::keyReduction, &K::filter>>(name + "Filter", Kind::kSwitch, 0, 1,
                                                              tag, "the track is thinned", row));
    all.push_back(Number<AtRow<&P::keyReduction, &K::tolerance>>(
        name + "Tol", Kind::kFloat, 0, kMost, tag + 1,
        "how far its curve may leave the take; 0 keeps all keys", row));
    all.push_back(Number<AtRow<&P::keyReduction, &K::spacing>>(
        name + "Spacing", Kind::kInt, 0, kMost, tag + 2, "least frames between its keys", row));
  }
  return all;
}

/// What a setting may be, in words.
std::string Takes(const MocapParameter& parameter) {
  if (parameter.kind == Kind::kPath) return "a path of at most 255 characters on one line";
  if (parameter.kind == Kind::kSwitch) return "0 or 1";
  if (parameter.kind == Kind::kRanges) return "ranges of frames such as 30-60, 120-150";
  std::string text = parameter.kind == Kind::kInt ? "a whole number from " : "a number from ";
  AppendNumber(text, parameter.low);
  text += " to ";
  AppendNumber(text, parameter.high);
  return text;
}

}  // namespace

const std::vector<MocapParameter>& AllMocapParameters() {
  static const std::vector<MocapParameter> all = MakeAll();
  return all;
}

const MocapParameter* FindMocapParameter(std::string_view name) {
  for (const MocapParameter& parameter : AllMocapParameters()) {
    if (parameter.name == name) return &parameter;
  }
  return nullptr;
}

std::string MocapParameterText(const MocapParameters& parameters, const MocapParameter& parameter) {
  if (parameter.kind == Kind::kPath) return parameters.*parameter.path;
  if (parameter.kind == Kind::kRanges) return RangesText(parameters.freeFormRanges);
  std::string text;
  const double value = parameter.get(parameters, parameter.index);
  if (parameter.kind == Kind::kFloat) {
    AppendNumber(text, static_cast<float>(value));
  } else {
    AppendInteger(text, static_cast<std::int64_t>(value));
  }
  return text;
}

bool IsPathText(std::string_view text) {
  constexpr int kMostUnits = static_cast<int>(kLongestCapturePath);
  const bool isLine = std::none_of(text.begin(), text.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < ' '; });
  const bool isBare = text.empty() || (text.front() != ' ' && text.back() != ' ');
  return text.size() <= kLongestCapturePath && isLine && isBare &&
         NarrowText(WideText(text, kMostUnits)) == text;
}

bool AreRanges(const std::vector<FreeFormRange>& ranges) {
  return ranges.size() <= kMostRanges &&
         std::all_of(ranges.begin(), ranges.end(), [](const FreeFormRange& range) {
           return range.first >= 0 && range.last >= range.first &&
                  range.last <= static_cast<int>(kMost);
         });
}

std::string RangesText(const std::vector<FreeFormRange>& ranges) {
  std::string text;
  for (const FreeFormRange& range : ranges) {
    if (!text.empty()) text += ", ";
    AppendInteger(text, range.first);
    text += '-';
    AppendInteger(text, range.last);
  }
  return text;
}

std::optional<std::vector<FreeFormRange>> ReadRanges(std::string_view text) {
  std::vector<FreeFormRange> ranges;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(','));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    const std::size_t dash = std::min(word.find('-'), word.size());
    const std::size_t begin = std::min(word.find_first_not_of(' '), dash);
    const auto first = ReadInteger(word.substr(begin, dash - begin));
    const auto last = dash < word.size() ? ReadInteger(word.substr(dash + 1)) : first;
    if (!first || !last || *first < 0 || *last > static_cast<std::int64_t>(kMost)) return {};
    ranges.push_back(
        {static_cast<int>(*first), static_cast<int>(std::max<std::int64_t>(*last, 0))});
    if (*first > *last || ranges.size() > kMostRanges) return {};
  }
  return ranges;
}

bool IsWithin(const MocapParameter& parameter, double value) {
  // Bounds as a float has them: what was written as the least must be taken back.
  return parameter.kind == Kind::kFloat
             ? value >= static_cast<double>(static_cast<float>(parameter.low)) &&
                   value <= static_cast<double>(static_cast<float>(parameter.high))
             : value >= parameter.low && value <= parameter.high;
}

bool SetMocapParameter(MocapParameters& parameters, std::string_view name, std::string_view value,
                       std::string& cause) {
  const MocapParameter* parameter = FindMocapParameter(name);
  if (parameter == nullptr) {
    cause = "no parameter is called \"" + std::string(name) + "\"";
    return false;
  }
  bool good = false;
  if (parameter->kind == Kind::kPath) {
    good = IsPathText(value);
    if (good) parameters.*parameter->path = value;
  } else if (parameter->kind == Kind::kRanges) {
    auto ranges = ReadRanges(value);
    good = ranges.has_value();
    if (good) parameters.freeFormRanges = std::move(*ranges);
  } else {
    double number = 0;
    if (parameter->kind == Kind::kFloat) {
      const auto read = ReadFloat(value);
      good = read.has_value() && IsWithin(*parameter, number = static_cast<double>(*read));
    } else {
      const auto read = ReadInteger(value);
      good = read.has_value() && IsWithin(*parameter, number = static_cast<double>(*read));
    }
    if (good && parameter->tag == kModeTag && number == int{kFsFreeFormRanges} &&
        parameters.freeFormRanges.empty()) {
      cause = std::string(name) + " 2 needs freeFormRanges, which must be set first";
      return false;
    }
    if (good) parameter->set(parameters, parameter->index, number);
  }
  if (!good) {
    cause = std::string(name) + " must be " + Takes(*parameter) + ", given " + Quoted(value, 80);
  }
  return good;
}

}  // namespace strider
