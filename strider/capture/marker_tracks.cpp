#include "strider/capture/marker_tracks.h"

#include <algorithm>
#include <cmath>

namespace strider {
namespace {

// Markers farther off than this are none.
constexpr float kFarthest = 1e7f;

bool IsPlace(const Point3& p) {
  if (p.x == kDroppedMarker || p.y == kDroppedMarker || p.z == kDroppedMarker) return false;
  return IsFinite(p) && std::fabs(p.x) < kFarthest && std::fabs(p.y) < kFarthest &&
         std::fabs(p.z) < kFarthest;
}

PointTrack TrackOf(const MarkerRecord& record, const MarkerTracks& tracks) {
  if (!record.present) return PointTrack();
  PointTrack track(static_cast<int>(tracks.numFrames));
  const std::vector<Point3>& samples = record.positions.samples;
  for (std::size_t f = 0; f < tracks.numFrames; ++f) {
    const std::size_t at =
        static_cast<std::size_t>(tracks.first) + f * static_cast<std::size_t>(tracks.step);
    if (at < samples.size() && IsPlace(samples[at])) track.Put(f, samples[at]);
  }
  return track;
}

}  // namespace

Quat AxesOfUp(const Point3& up, const Point3& right) {
  const Point3 y = Normalized(up, {0, 1, 0});
  Point3 z = Normalized(right - Dot(right, y) * y);
  if (z == Point3{}) z = Rotate(ShortestTurn({0, 1, 0}, y), {0, 0, 1});
  return RotationOf(Matrix3{{Cross(y, z), y, z, {}}});
}
Quat AxesOfUpAhead(const Point3& up, const Point3& ahead) { return AxesOfUp(up, Cross(ahead, up)); }

float MedianOf(std::vector<float> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

Point3 MedianOf(const std::vector<Point3>& places) {
  Point3 median;
  for (int i = 0; i < 3; ++i) {
    std::vector<float> values;
    values.reserve(places.size());
    for (const Point3& p : places) values.push_back(p[i]);
    median[i] = MedianOf(std::move(values));
  }
  return median;
}

MarkerTracks TracksOf(const CaptureScene& scene, const FrameChoice& frames) {
  MarkerTracks tracks;
  tracks.first = std::max(frames.first, 0);
  tracks.step = std::max(frames.step, 1);
  const int last = std::min(frames.last, scene.numFrames - 1);
  if (tracks.first > last) return tracks;
  tracks.numFrames = static_cast<std::size_t>((last - tracks.first) / tracks.step + 1);
  for (std::size_t i = 0; i < kNumMarkers; ++i) {
    tracks.markers[i] = TrackOf(scene.markers[i], tracks);
  }
  for (const MarkerRecord& extra : scene.extraMarkers) {
    if (extra.name == kC7Name) tracks.markers[kC7] = TrackOf(extra, tracks);
  }
  return tracks;
}

void ForGaps(const std::vector<unsigned char>& known,
             const std::function<void(std::size_t, std::size_t, std::size_t, float)>& fill) {
  const std::size_t count = known.size();
  std::size_t before = count;
  for (std::size_t f = 0; f < count; ++f) {
    if (known[f]) {
      before = f;
      continue;
    }
    std::size_t after = f;
    while (after < count && !known[after]) ++after;
    if (before == count && after == count) return;
    const std::size_t from = before == count ? after : before;
    const std::size_t to = after == count ? from : after;
    for (std::size_t g = f; g < after; ++g) {
      const float share =
          to > from ? static_cast<float>(g - from) / static_cast<float>(to - from) : 0.0f;
      fill(from, to, g, share);
    }
    f = after - 1;
  }
}

void FillPoint(PointTrack& track, const std::vector<Frame>& parent) {
  ForGaps(track.known, [&](std::size_t from, std::size_t to, std::size_t f, float share) {
    const Point3 a = IntoFrame(parent[from], track.place[from]);
    const Point3 b = IntoFrame(parent[to], track.place[to]);
    track.place[f] = OutOfFrame(parent[f], Lerp(a, b, share));
  });
}

}  // namespace strider
