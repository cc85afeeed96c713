#include "strider/capture/marker_names.h"

#include <algorithm>

namespace strider {
namespace {

struct MarkerRow {
  std::string_view name;
  MarkerClass kind = MarkerClass::kOptional;
};
constexpr auto kNeeded = MarkerClass::kRequired;
constexpr auto kWaist = MarkerClass::kWaist;
constexpr auto kProp = MarkerClass::kProp;

constexpr MarkerRow kMarkers[kNumMarkers] = {
    // clang-format off
    {"LFHD"}, {"LBHD"}, {"RBHD"}, {"RFHD"}, {"CHN"}, {"T10"}, {"SACR", kWaist}, {"CLAV"},
    {"STRN"},
    {"LSHO"}, {"LELB"}, {"LILB"}, {"LWRE"}, {"LWRI"}, {"LFIN"}, {"LF1"}, {"LF2"}, {"LTH"},
    {"RSHO"}, {"RELB"}, {"RILB"}, {"RWRE"}, {"RWRI"}, {"RFIN"}, {"RF1"}, {"RF2"}, {"RTH"},
    {"LFWT", kWaist}, {"LBWT", kWaist}, {"RBWT", kWaist}, {"RFWT", kWaist}, {"LHP"}, {"RHP"},
    {"LKNE", kNeeded}, {"LKNI"}, {"LANK", kNeeded}, {"LA2"}, {"LHEL"}, {"LMT5"}, {"LMTI"},
    {"LTOE"},
    {"RKNE", kNeeded}, {"RKNI"}, {"RANK", kNeeded}, {"RA2"}, {"RHEL"}, {"RMT5"}, {"RMTI"},
    {"RTOE"},
    {"RWRA"}, {"RWRB"}, {"LWRA"}, {"LWRB"},
    {"LPRPT", kProp}, {"LPRPM", kProp}, {"LPRPB", kProp}, {"RPRPT", kProp}, {"RPRPM", kProp},
    {"RPRPB", kProp}, {"MPRPT", kProp}, {"MPRPM", kProp}, {"MPRPB", kProp},
    // clang-format on
};

}  // namespace

std::string_view MarkerNameOf(int marker) { return kMarkers[marker].name; }
MarkerClass ClassOf(int marker) { return kMarkers[marker].kind; }

int FindCaptureMarker(std::string_view name) {
  const auto* found = std::find_if(std::begin(kMarkers), std::end(kMarkers),
                                   [name](const MarkerRow& row) { return row.name == name; });
  return found == std::end(kMarkers) ? kNoMarker : static_cast<int>(found - kMarkers);
}

std::vector<std::string> MissingMarkers(const std::array<MarkerRecord, kNumMarkers>& markers) {
  std::vector<std::string> missing;
  int waist = 0;
  for (int i = 0; i < kNumMarkers; ++i) {
    if (ClassOf(i) == MarkerClass::kRequired && !markers[i].present) {
      missing.emplace_back(MarkerNameOf(i));
    }
    if (ClassOf(i) == MarkerClass::kWaist) waist += markers[i].present;
  }
  if (waist < 3) missing.emplace_back("three of LFWT, RFWT, LBWT, RBWT, SACR");
  return missing;
}

}  // namespace strider
