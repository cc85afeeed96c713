// Places of markers at the chosen frames of a take, with what is missing told apart, and segments
// of the body that move as one with several markers.
#pragma once

#include <array>
#include <functional>
#include <optional>
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

/// A part of the body that markers show: a frame at each moment, in which they stand still.
struct MarkerSegment {
  std::vector<Frame> frames;
  std::vector<unsigned char> seen;  // its markers give the frame; else it keeps to its parent's
  bool known = false;               // seen in at least one frame
};

/// Where a point stands in a segment: the median over the frames that show both; the origin if
/// none does.
Point3 PlaceIn(const MarkerSegment& segment, const PointTrack& track);
/// The same of a direction that `of` gives, unit; frames for which it gives none do not count.
Point3 DirectionIn(const MarkerSegment& segment,
                   const std::function<std::optional<Point3>(std::size_t)>& of);

/// Puts markers of a segment where they must be while at least two others are seen: moved along
/// with those from where they were before, and led to where they are after. So nothing jumps when a
/// marker goes or comes.
void BridgeByOthers(MarkerTracks& tracks, const std::vector<int>& markers,
                    const std::vector<Frame>* parent);

/// The segment that `markers` move as one with. `raw` gives its frame where the markers seen allow
/// it; null for any frame of three of them. With fewer than three markers `raw` is all there is.
/// Frames that show fewer than two keep the relation to `parent` (null for the ground) that they
/// have before and after.
MarkerSegment FitSegment(const MarkerTracks& tracks, const std::vector<int>& markers,
                         const std::function<std::optional<Frame>(std::size_t)>& raw,
                         const std::vector<Frame>* parent);

/// Turns a segment's axes about its origin.
void TurnAxes(MarkerSegment& segment, const Quat& axes);
/// Moves its origin to a place in its axes.
void MoveOrigin(MarkerSegment& segment, const Point3& local);

/// Places for the frames that have none, on a straight way within `parent`.
void FillPoint(PointTrack& track, const std::vector<Frame>& parent);

}  // namespace strider
