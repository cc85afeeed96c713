#include "strider/capture/marker_columns.h"

#include <cmath>

#include "strider/base/number_text.h"
#include "strider/capture/bvh_file.h"
#include "strider/capture/marker_names.h"
#include "strider/capture/marker_text.h"
#include "strider/storage/wide_text.h"

namespace strider {
namespace {

constexpr int kLongestMarkerName = 63;

}  // namespace

bool MarkerColumns::Add(std::string_view name) {
  if (Count() == kMostMarkerColumns) return false;
  const int marker = FindNamed(NameKind::kMarkers, settings_.names, name);
  if (marker >= 0 && ClassOf(marker) != MarkerClass::kProp) {
    MarkerRecord& record = scene_.markers[static_cast<std::size_t>(marker)];
    record.name = MarkerNameOf(marker);
    record.present = true;
    columns_.push_back(marker);
    return true;
  }
  MarkerRecord extra;
  extra.name = NarrowText(WideText(name, kLongestMarkerName));
  extra.present = true;
  columns_.push_back(-1 - static_cast<int>(scene_.extraMarkers.size()));
  report_.unknownNames.push_back(extra.name);
  scene_.extraMarkers.push_back(std::move(extra));
  return true;
}

bool MarkerColumns::ReadValue(std::string_view word, float& value, bool& dropped) {
  if (word.empty()) return true;
  dropped = BeginsWith(word, "D");
  if (dropped) return true;
  const auto number = ReadFloat(word);
  if (!number || (IsFinite(*number) && std::abs(*number) > kLargestCaptureValue)) return false;
  value = *number;
  return true;
}

CaptureSamples& MarkerColumns::SamplesOf(int column) {
  const int at = columns_[static_cast<std::size_t>(column)];
  if (at >= 0) return scene_.markers[static_cast<std::size_t>(at)].positions;
  return scene_.extraMarkers[static_cast<std::size_t>(-1 - at)].positions;
}

void MarkerColumns::Put(int column, const Point3& file, bool dropped) {
  // What a file writes for a marker it has not is passed on as it is, not moved to other axes.
  const auto isGone = [](float a) { return !IsFinite(a) || a == kDroppedMarker; };
  Point3 place = {kDroppedMarker, kDroppedMarker, kDroppedMarker};
  if (!dropped && !isGone(file.x) && !isGone(file.y) && !isGone(file.z)) {
    place = settings_.scaleFactor * FromMarkerAxes(file, settings_.upVector);
  }
  CaptureSamples& samples = SamplesOf(column);
  for (int i = 0; i < 3; ++i) samples.Write(scene_.numFrames, i, place[i]);
}

void MarkerColumns::Finish() {
  const auto frames = static_cast<std::size_t>(scene_.numFrames);
  for (int column = 0; column < Count(); ++column) SamplesOf(column).samples.resize(frames);
  // Markers of a wrist band stand for those of the wrist.
  constexpr int kBands[][4] = {{kRWRA, kRWRB, kRWRE, kRWRI}, {kLWRA, kLWRB, kLWRE, kLWRI}};
  const auto marker = [this](int i) -> MarkerRecord& {
    return scene_.markers[static_cast<std::size_t>(i)];
  };
  for (const auto& band : kBands) {
    if (!marker(band[0]).present || !marker(band[1]).present) continue;
    for (int i = 0; i < 2; ++i) {
      marker(band[2 + i]) = marker(band[i]);
      marker(band[2 + i]).name = MarkerNameOf(band[2 + i]);
    }
  }
}

}  // namespace strider
