// What the thinning of keys is told, a row for each kind of track.
#pragma once

namespace strider {

enum KeyReductionRows : int {
  kAllRow,  // where its filter is on it stands for every other
  kHorizontalRow,
  kVerticalRow,
  kTurnRow,
  kPelvisRow,
  kSpineRow,
  kNeckRow,
  kLeftArmRow,
  kRightArmRow,
  kLeftLegRow,
  kRightLegRow,
  kTailRow,
  kNumReductionRows,
};

struct KeyReductionRow {
  int filter = 1;
  float tolerance = 6;  // degrees; of the body's places scene units. 0 keeps all keys
  int spacing = 3;      // frames between two keys at least
};

}  // namespace strider
