// The markers that a marker file can have, by name.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "strider/capture/capture_scene.h"

namespace strider {

/// Markers by their place in the vocabulary, which is the order of CaptureScene::markers.
enum CaptureMarker : int {
  kNoMarker = -1,
  // clang-format off
  kLFHD, kLBHD, kRBHD, kRFHD, kCHN, kT10, kSACR, kCLAV, kSTRN,
  kLSHO, kLELB, kLILB, kLWRE, kLWRI, kLFIN, kLF1, kLF2, kLTH,
  kRSHO, kRELB, kRILB, kRWRE, kRWRI, kRFIN, kRF1, kRF2, kRTH,
  kLFWT, kLBWT, kRBWT, kRFWT, kLHP, kRHP,
  kLKNE, kLKNI, kLANK, kLA2, kLHEL, kLMT5, kLMTI, kLTOE,
  kRKNE, kRKNI, kRANK, kRA2, kRHEL, kRMT5, kRMTI, kRTOE,
  kRWRA, kRWRB, kLWRA, kLWRB,
  kLPRPT, kLPRPM, kLPRPB, kRPRPT, kRPRPM, kRPRPB, kMPRPT, kMPRPM, kMPRPB,
  // clang-format on
};
static_assert(kMPRPB + 1 == kNumMarkers);

/// Whether a take can do without a marker. Of the waist's markers three are enough, or the sacrum's
/// and two of them; those on props are no part of the figure.
enum class MarkerClass { kOptional, kRequired, kWaist, kProp };

std::string_view MarkerNameOf(int marker);
MarkerClass ClassOf(int marker);
/// By exact name; kNoMarker for all others. Finds those of props too.
int FindCaptureMarker(std::string_view name);

/// What a take with these markers lacks, in words for a message; empty if nothing.
std::vector<std::string> MissingMarkers(const std::array<MarkerRecord, kNumMarkers>& markers);

}  // namespace strider
