// Sets of joint names that common takes use, and which of them a file goes by.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "strider/capture/name_file.h"

namespace strider {

/// A joint's name in a set: '%' stands for the side's word. Of several names for one joint the
/// first that a file has counts.
struct SetName {
  int joint;  // CaptureJoint, the left one of two
  std::string_view name;
};

struct NameSet {
  std::string_view name, about;
  std::string_view left, right;  // the sides' words
  std::span<const SetName> names;
  /// Of fingers: '*' stands for the finger's word, '#' for the link from 1. Empty for none.
  std::string_view finger;
  std::string_view fingers[5] = {};
};

/// All of them; the first is the vocabulary's own.
std::span<const NameSet> NameSets();
/// Null for a name that no set has.
const NameSet* FindNameSet(std::string_view name);

/// The joints' names of a set as a file has them, with a prefix before each, such as `actor:`.
struct NameGuess {
  const NameSet* set = nullptr;
  std::string prefix;
  NameTable table;
  int matched = 0;                   // joints that the file has
  std::vector<std::string> missing;  // required joints that it has not
};
/// How a set fits a file's names: with the prefix under which it fits best.
NameGuess FitNameSet(const NameSet& set, std::span<const std::string> namesInFile);
/// The best of all sets: the fewest missing, then the most matched, then the first.
NameGuess GuessNameSet(std::span<const std::string> namesInFile);

}  // namespace strider
