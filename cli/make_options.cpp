#include "cli/make_options.h"
#include "cli/text_option.h"

#include <cmath>
#include <vector>

#include "strider/base/number_text.h"

namespace strider {
namespace {

enum class For { kGait, kPlan, kBoth };

struct NumberRow {
  MakeNumber number;
  const char* option;
  const char* typeName;
  For used;
  double low, high;
  bool whole, lowIncluded;
  const char* takes;  // in words, for a refusal
  const char* help;
};

constexpr double kFar = 1e9;      // scene units
constexpr double kLong = 100000;  // frames, footsteps

constexpr NumberRow kNumbers[] = {
    {kMakeFootsteps, "--footsteps", "N", For::kGait, 1, kLong, true, true,
     "a whole number from 1 to 100000",
     "footsteps to place, the standing pair included; default 4"},
    {kMakeStrideLength, "--stride-length", "F", For::kGait, -100, 100, false, true,
     "a number from -100 to 100",
     "length of a stride in leg lengths, backwards where negative; default 0.75, run 1.5, jump "
     "2.4"},
    {kMakeStrideWidth, "--stride-width", "F", For::kGait, 0, 100, false, true,
     "a number from 0 to 100", "distance of the feet in hip distances; default 1"},
    {kMakeStrideHeight, "--stride-height", "UNITS", For::kGait, -kFar, kFar, false, true,
     "a number from -1000000000 to 1000000000",
     "how much higher each stride ends, scene units; default 0"},
    {kMakeCycle, "--cycle", "FRAMES", For::kGait, 1, kLong, true, true,
     "a whole number of frames from 1 to 100000",
     "from one touch to the other foot's; default 15, jump 20"},
    {kMakeGround, "--ground", "FRAMES", For::kGait, 1, kLong, true, true,
     "a whole number of frames from 1 to 100000",
     "time of a foot on the ground; default 18, run 6, jump 5"},
    {kMakeAir, "--air", "FRAMES", For::kGait, 0, kLong, true, true,
     "a whole number of frames from 0 to 100000",
     "time in the air, of a walk the time on both feet; default 3, run 9, jump 15"},
    {kMakeMetresPerUnit, "--metres-per-unit", "F", For::kBoth, 0, kFar, false, false,
     "a number above 0 and up to 1000000000",
     "metres in a scene unit: for the places of a plan, which are metres then, and for .bvh, .glb, "
     ".html and .npz"},
    {kMakeGravity, "--gravity", "UNITS_PER_S2", For::kBoth, 0, 1e12, false, false,
     "a number above 0 and up to 1000000000000",
     "gravity in scene units per second squared; default fits the figure's height"},
    {kMakeBend, "--bend", "DEGREES", For::kBoth, -360, 360, false, true,
     "a number of degrees from -360 to 360",
     "turns the path at every footstep, to the left where positive"},
    {kMakeScaleLength, "--scale-length", "F", For::kBoth, 0, 100, false, false,
     "a number above 0 and up to 100", "scales the strides along the headings"},
    {kMakeScaleWidth, "--scale-width", "F", For::kBoth, 0, 100, false, false,
     "a number above 0 and up to 100", "scales the rest of the strides, their rise too"},
};

std::string Refusal(const char* option, const std::string& takes, const std::string& given) {
  return std::string(option) + " must be " + takes + ", given \"" + given + "\"";
}

/// A value within its row's bounds.
std::optional<double> Read(const NumberRow& row, std::string_view text) {
  const std::optional<double> value = ReadNumber(text);
  if (!value || !(*value >= row.low && *value <= row.high)) return std::nullopt;
  if (!row.lowIncluded && *value == row.low) return std::nullopt;
  if (row.whole && std::floor(*value) != *value) return std::nullopt;
  return value;
}

const NumberRow& RowOf(MakeNumber number) {
  for (const NumberRow& row : kNumbers) {
    if (row.number == number) return row;
  }
  return kNumbers[0];
}

std::optional<InterpolationTarget> ReadTarget(std::string_view text) {
  constexpr MakeNumber kParts[] = {kMakeStrideLength, kMakeCycle, kMakeStrideHeight};
  std::vector<double> parts;
  while (true) {
    const std::size_t comma = text.find(',');
    if (parts.size() == std::size(kParts)) return std::nullopt;
    const std::optional<double> part = Read(RowOf(kParts[parts.size()]), text.substr(0, comma));
    if (!part) return std::nullopt;
    parts.push_back(*part);
    if (comma == std::string_view::npos) break;
    text.remove_prefix(comma + 1);
  }
  if (parts.size() < 2) return std::nullopt;
  InterpolationTarget target{parts[0], parts[1], std::nullopt};
  if (parts.size() == 3) target.height = parts[2];
  return target;
}

/// What was given for a motion that it says nothing of; empty if nothing was.
std::string OutOfPlace(const MakeWords& words) {
  const bool isPlan = words.motion == "plan";
  for (const NumberRow& row : kNumbers) {
    if (words.numbers[row.number] && row.used == (isPlan ? For::kGait : For::kPlan)) {
      return row.option;
    }
  }
  if (!isPlan) return words.plan ? "--plan" : "";
  if (words.interpolateTo) return "--interpolate-to";
  if (words.startSide) return "--start-side";
  if (words.noAutoTiming) return "--no-auto-timing";
  return words.noAlternate ? "--no-alternate" : "";
}

void CheckWords(const MakeWords& words) {
  const std::string option = OutOfPlace(words);
  if (!option.empty()) {
    throw CLI::ValidationError(option, "has no meaning for " + words.motion);
  }
  if (words.motion == "plan" && !words.plan) {
    throw CLI::RequiredError("--plan");
  }
  if (!words.noAutoTiming && (words.numbers[kMakeGround] || words.numbers[kMakeAir])) {
    throw CLI::ValidationError(words.numbers[kMakeGround] ? "--ground" : "--air",
                               "requires --no-auto-timing");
  }
}

}  // namespace

void AddMakeOptions(CLI::App& verb, MakeWords& words) {
  verb.add_option("motion", words.motion, "walk, run, jump, or plan for your own footsteps")
      ->required()
      ->type_name("")
      ->check(CLI::IsMember({"walk", "run", "jump", "plan"}));
  const auto addText = [&verb](const char* option, std::optional<std::string>& word,
                               const char* typeName, const std::string& help, const char* group) {
    AddTextOption(verb, option, word, typeName, help)->group(group);
  };
  constexpr const char* kGaitGroup = "Footsteps of a gait";
  constexpr const char* kPlanGroup = "Footsteps of a plan";
  for (const NumberRow& row : kNumbers) {
    addText(row.option, words.numbers[row.number], row.typeName, row.help,
            row.used == For::kGait   ? kGaitGroup
            : row.used == For::kPlan ? kPlanGroup
                                     : "All footsteps");
  }
  verb.add_flag("--no-auto-timing", words.noAutoTiming,
                "durations as --ground and --air say, not from stride and cycle")
      ->group(kGaitGroup);
  addText("--interpolate-to", words.interpolateTo, "LENGTH,CYCLE[,HEIGHT]",
          "changes stride length, cycle and stride height evenly towards these", kGaitGroup);
  verb.add_flag("--no-alternate", words.noAlternate, "runs and jumps on one foot alone")
      ->group(kGaitGroup);
  addText("--start-side", words.startSide, "SIDE",
          "left or right: the first footstep; default left", kGaitGroup);
  addText("--plan", words.plan, "FILE", "table of footsteps, side,x,y,z,heading,start,duration",
          kPlanGroup);
  verb.parse_complete_callback([&words] { CheckWords(words); });
}

bool ReadMakeOptions(const MakeWords& words, MakeOptions& options, std::string& refusal) {
  MakeOptions read;
  for (const NumberRow& row : kNumbers) {
    const std::optional<std::string>& word = words.numbers[row.number];
    if (!word) continue;
    read.numbers[row.number] = Read(row, *word);
    if (read.Has(row.number)) continue;
    refusal = Refusal(row.option, row.takes, *word);
    return false;
  }
  if (words.interpolateTo) {
    read.interpolateTo = ReadTarget(*words.interpolateTo);
    if (!read.interpolateTo) {
      refusal = Refusal("--interpolate-to",
                        "a stride length, a whole number of frames from 1 and, if you like, a "
                        "height, with commas between them",
                        *words.interpolateTo);
      return false;
    }
  }
  if (words.startSide) {
    if (*words.startSide != "left" && *words.startSide != "right") {
      refusal = Refusal("--start-side", "left or right", *words.startSide);
      return false;
    }
    read.startSide = *words.startSide == "left" ? 1 : 0;
  }
  options = read;
  return true;
}

}  // namespace strider
