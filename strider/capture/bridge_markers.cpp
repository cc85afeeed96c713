#include "strider/capture/bridge_markers.h"

#include <algorithm>
#include <cmath>

#include "strider/capture/capture_report.h"

namespace strider {
namespace {

bool IsMissing(const Point3& place) {
  return place.x == kDroppedMarker && place.y == kDroppedMarker && place.z == kDroppedMarker;
}

/// Way of the marker in a frame on the far side of the gap from `from`: towards `beside`, which may
/// lie outside or be missing itself; then the gap's own mean way will do.
Point3 WayBeside(const std::vector<Point3>& places, std::size_t from, std::size_t beside,
                 const Point3& mean) {
  if (beside >= places.size() || IsMissing(places[beside])) return mean;
  return beside < from ? places[from] - places[beside] : places[beside] - places[from];
}

/// Fills the frames between `a` and `b`, which have the marker: a cubic curve with the ways of the
/// frames beside them as its ways at the ends.
void Fill(std::vector<Point3>& places, std::size_t a, std::size_t b) {
  const auto span = static_cast<float>(b - a);
  const Point3 from = places[a], to = places[b];
  const Point3 mean = (to - from) / span;
  const Point3 leaving = span * WayBeside(places, a, a - 1, mean);
  const Point3 arriving = span * WayBeside(places, b, b + 1, mean);
  for (std::size_t i = a + 1; i < b; ++i) {
    const float u = static_cast<float>(i - a) / span, v = 1 - u;
    places[i] = (1 + 2 * u) * v * v * from + u * u * (3 - 2 * u) * to + u * v * v * leaving -
                u * u * v * arriving;
  }
}

void Bridge(MarkerRecord& marker, int maxFrames, BridgeReport& report) {
  std::vector<Point3>& places = marker.positions.samples;
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (!IsMissing(places[i])) continue;
    const std::size_t first = i;
    while (i < places.size() && IsMissing(places[i])) ++i;
    const bool inside = first > 0 && i < places.size();
    if (inside && i - first <= static_cast<std::size_t>(maxFrames < 0 ? 0 : maxFrames)) {
      Fill(places, first - 1, i);
      ++report.bridged;
    } else {
      report.remain.push_back({marker.name, static_cast<int>(first), static_cast<int>(i) - 1});
    }
  }
}

}  // namespace

BridgeReport BridgeDroppedMarkers(CaptureScene& scene, int maxFrames) {
  BridgeReport report;
  for (MarkerRecord& marker : scene.markers) Bridge(marker, maxFrames, report);
  for (MarkerRecord& marker : scene.extraMarkers) Bridge(marker, maxFrames, report);
  return report;
}

void BridgeShortGaps(CaptureScene& scene, std::vector<std::string>& notes) {
  constexpr double kLongest = 0.2, kUsualFrame = 1 / 30.0;  // seconds
  const double frame = scene.frameTime > 0 ? scene.frameTime * scene.thinning : kUsualFrame;
  const BridgeReport report =
      BridgeDroppedMarkers(scene, static_cast<int>(std::lround(std::min(kLongest / frame, 1e6))));
  if (report.bridged > 0) {
    notes.push_back("gaps bridged in markers: " + std::to_string(report.bridged));
  }
  std::vector<std::string> gaps;
  for (const MarkerGap& gap : report.remain) {
    gaps.push_back(gap.name + " " + std::to_string(gap.first) + " to " + std::to_string(gap.last));
  }
  if (!gaps.empty()) notes.push_back("markers missing in frames: " + ListWords(gaps));
}

}  // namespace strider
