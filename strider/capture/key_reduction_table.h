// The twelve rows of key reduction: which keys of a track may go.
#pragma once

#include <array>

namespace strider {

/// One track's row. Tolerances are scene units for the body's place, degrees for rotations.
struct KeyReductionRow {
  int filter = 0;       // whether keys of the track are thinned at all
  float tolerance = 0;  // how far the curve may leave the samples; 0 keeps all keys
  int spacing = 3;      // frames between keys at least

  friend bool operator==(const KeyReductionRow&, const KeyReductionRow&) = default;
};

enum KeyReductionTrack : int {
  kReduceAll,  // in place of all other rows where its filter is on
  kReduceHorizontal,
  kReduceVertical,
  kReduceTurn,
  kReducePelvis,
  kReduceSpine,
  kReduceNeck,
  kReduceLeftArm,
  kReduceRightArm,
  kReduceLeftLeg,
  kReduceRightLeg,
  kReduceTail,
  kNumKeyReductionRows,
};

using KeyReductionTable = std::array<KeyReductionRow, kNumKeyReductionRows>;

inline constexpr KeyReductionTable kDefaultKeyReduction = {{
    {0, 0.0f, 3},
    {1, 1.0f, 3},
    {1, 1.0f, 4},
    {1, 1.0f, 3},
    {1, 6.0f, 3},
    {1, 6.0f, 3},
    {1, 6.0f, 3},
    {1, 6.0f, 3},
    {1, 6.0f, 3},
    {1, 6.0f, 3},
    {1, 6.0f, 3},
    {1, 6.0f, 3},
}};

/// What the names of the rows' values begin with: horzFilter, horzTol, horzSpacing.
inline constexpr const char* kKeyReductionNames[kNumKeyReductionRows] = {
    "all",  "horz",    "vert",     "rot",     "pelvis",   "spine",
    "neck", "leftArm", "rightArm", "leftLeg", "rightLeg", "tail"};

}  // namespace strider
