// Places of markers at the chosen frames of a take, with what is missing told apart.
#pragma once

#include <array>
#include <functional>
#include <vector>

#include "strider/capture/captured_motion.h"
#include "strider/capture/marker_names.h"

namespace strider {

/// A point that is not seen in every frame.
struct PointTrack {
  std::vector<Point3> place;
  std::vector<unsigned char> known;  // one for each frame
  int numKnown = 0;

  explicit PointTrack(int numFrames = 0)
      : place(static_cast<std::size_t>(numFrames)), known(static_cast<std::size_t>(numFrames)) {}
  bool Has(std::size_t frame) const { return known[frame] != 0; }
  void Put(std::size_t frame, const Point3& p) {
    numKnown += known[frame] == 0;
    place[frame] = p;
    known[frame] = 1;
  }
};

/// A marker at the lowest vertebra of the neck, which many sets have and the vocabulary lacks.
inline constexpr auto kC7 = static_cast<CaptureMarker>(kNumMarkers);
inline constexpr char kC7Name[] = "C7";

struct MarkerTracks {
  std::size_t numFrames = 0;
  int first = 0, step = 1;                          // frames of the scene
  std::array<PointTrack, kNumMarkers + 1> markers;  // without frames where the take lacks one

  const PointTrack& Of(int marker) const { return markers[static_cast<std::size_t>(marker)]; }
  bool Shows(int marker) const { return Of(marker).numKnown > 0; }
  bool Has(int marker, std::size_t frame) const { return Shows(marker) && Of(marker).Has(frame); }
  const Point3& At(int marker, std::size_t frame) const { return Of(marker).place[frame]; }
};

MarkerTracks TracksOf(const CaptureScene& scene, const FrameChoice& frames);

/// The frame whose Y is `up` and whose Z leans to `right`; and whose X leans to `ahead`.
Quat AxesOfUp(const Point3& up, const Point3& right);
Quat AxesOfUpAhead(const Point3& up, const Point3& ahead);

float MedianOf(std::vector<float> values);           // 0 of none
Point3 MedianOf(const std::vector<Point3>& places);  // of each component

inline Point3 IntoFrame(const Frame& frame, const Point3& p) {
  return Rotate(Conjugate(frame.rotation), p - frame.origin);
}
inline Point3 OutOfFrame(const Frame& frame, const Point3& p) {
  return frame.origin + Rotate(frame.rotation, p);
}

/// Calls `fill(before, after, frame, share)` for every frame that is not known, between the known
/// ones around it; at the ends the nearest one stands for both. Nothing is called if none is known.
void ForGaps(const std::vector<unsigned char>& known,
             const std::function<void(std::size_t, std::size_t, std::size_t, float)>& fill);

/// Places for the frames that have none, on a straight way within `parent`.
void FillPoint(PointTrack& track, const std::vector<Frame>& parent);

}  // namespace strider
