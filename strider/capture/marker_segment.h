// Parts of the body that move as one with several markers.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "strider/capture/marker_tracks.h"

namespace strider {

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

}  // namespace strider
