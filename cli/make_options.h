// The options of `strider make`: one table of the numbers with their bounds, and what a command
// line set of them.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace strider {

enum MakeNumber : int {
  kMakeFootsteps,
  kMakeStrideLength,
  kMakeStrideWidth,
  kMakeStrideHeight,
  kMakeCycle,
  kMakeGround,
  kMakeAir,
  kMakeMetresPerUnit,
  kMakeGravity,
  kMakeBend,
  kMakeScaleLength,
  kMakeScaleWidth,
  kNumMakeNumbers
};

/// What a batch moves towards.
struct InterpolationTarget {
  double length = 0, cycle = 0;
  std::optional<double> height;
};

/// The options as they were written; ReadMakeOptions turns them into values.
struct MakeWords {
  std::string motion;  // walk, run, jump or plan
  std::optional<std::string> numbers[kNumMakeNumbers];
  std::optional<std::string> interpolateTo, startSide, plan;
  bool noAutoTiming = false, noAlternate = false;
};

struct MakeOptions {
  std::optional<double> numbers[kNumMakeNumbers];
  std::optional<InterpolationTarget> interpolateTo;
  std::optional<int> startSide;  // 0 right, 1 left

  bool Has(MakeNumber number) const { return numbers[number].has_value(); }
  double Get(MakeNumber number) const { return *numbers[number]; }
};

/// Adds the options; parsing fills `words`, which has to outlive `verb`. An option that has no
/// say in the motion asked for is an error of the command line.
void AddMakeOptions(CLI::App& verb, MakeWords& words);

/// False at the first value that cannot be; `refusal` names the option and what it takes.
[[nodiscard]] bool ReadMakeOptions(const MakeWords& words, MakeOptions& options,
                                   std::string& refusal);

}  // namespace strider
