// The capture settings by the names that scripts and the command line have for them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "strider/capture/mocap_manager.h"

namespace strider {

/// One setting: how it is called, what it may be, and where it lies.
struct MocapParameter {
  enum Kind { kSwitch, kInt, kFloat, kPath, kRanges };

  std::string name;
  Kind kind = kInt;
  double low = 0, high = 0;  // of numbers, both included
  int tag = 0;               // in a parameter file
  std::string about;         // for people, a few words
  // Of numbers; `index` is what the two are asked for.
  double (*get)(const MocapParameters&, int) = nullptr;
  void (*set)(MocapParameters&, int, double) = nullptr;
  int index = 0;
  std::string MocapParameters::*path = nullptr;  // of paths
};

/// All of them, in the order of a parameter file.
const std::vector<MocapParameter>& AllMocapParameters();
/// By exact name; null for a name that there is not.
const MocapParameter* FindMocapParameter(std::string_view name);

/// Whether text can be a path that is saved and read again: a line of UTF-8 as long as one may be,
/// without blanks at its ends.
bool IsPathText(std::string_view text);
/// Whether ranges are as a setting may have them: see MocapManager::SetFreeFormRanges.
bool AreRanges(const std::vector<FreeFormRange>& ranges);
/// Ranges as text, "30-60, 120-150", and back; nothing where it is no such text.
std::string RangesText(const std::vector<FreeFormRange>& ranges);
std::optional<std::vector<FreeFormRange>> ReadRanges(std::string_view text);
/// Longer is no text of ranges.
inline constexpr std::size_t kLongestRangesText = 20 * kMostRanges;

/// Whether a number is within the bounds of a setting.
bool IsWithin(const MocapParameter& parameter, double value);
/// A setting as text.
std::string MocapParameterText(const MocapParameters& parameters, const MocapParameter& parameter);
/// Sets one by name. False, with the cause in words, where there is no such setting or the text is
/// nothing that it may be.
[[nodiscard]] bool SetMocapParameter(MocapParameters& parameters, std::string_view name,
                                     std::string_view value, std::string& cause);

}  // namespace strider
