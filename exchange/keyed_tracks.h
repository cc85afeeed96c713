// The key tracks that a figure has, under the names by which users know them.
#pragma once

#include <string>
#include <vector>

#include "strider/core/motion_core.h"

namespace strider {

struct KeyedTrack {
  int id = kNoBodyId;
  std::string name;  // its script name; extra chains are told apart by their number, from 1
  const KeyTrack* track = nullptr;
};

/// In the order of the ids. Parts that are keyed on another's track are not among them.
std::vector<KeyedTrack> KeyedTracksOf(const MotionCore& core);

}  // namespace strider
