// What a click or a drawn box meets in a row of footsteps over time. The host draws; this room
// only knows how frames lie on pixels and in which band each foot has its row.
#pragma once

#include <vector>

#include "strider/core/footstep_track.h"

namespace strider {

/// Pixels, y downward, both ends inside.
struct PixelBox {
  int left = 0, top = 0, right = 0, bottom = 0;
};

/// Frames on pixels: frame f lies at column origin + f * pixelsPerFrame.
struct TrackView {
  double pixelsPerFrame = 1;
  double origin = 0;
  int rightEdge = 0;   // column of the view's right edge: nothing past it is met
  PixelBox row;        // of the whole track; the bands lie inside it
  int rowHeight = 20;  // from the row's top to where the band of the right foot begins

  double ColumnOf(TimeValue t, TimeValue ticksPerFrame) const;
};

/// Band of a foot's footsteps: left above right.
PixelBox BandOf(const TrackView& view, int side);
/// Where a footstep is drawn.
PixelBox BoxOf(const TrackView& view, const FootstepTrack& track, int footstep);

/// What of a footstep was met. The numbers are those of a key's selected edges.
enum class TrackHitPart { kStartEdge = 1, kEndEdge = 2, kWhole = 3 };

struct TrackHit {
  int footstep = 0;
  TrackHitPart part = TrackHitPart::kWhole;
  friend bool operator==(const TrackHit&, const TrackHit&) = default;
};

struct PickOptions {
  bool firstOnly = false;
  bool selectedOnly = false, unselectedOnly = false;  // by either edge
};

/// True for a box so small that it is a click.
bool IsPointPick(const PixelBox& pick);

/// Footsteps that a click's point lies on, with the part nearest to it; or those whole inside a
/// larger box.
std::vector<TrackHit> HitFootsteps(const TrackView& view, const FootstepTrack& track,
                                   const PixelBox& pick, const PickOptions& options = {});
/// The same for free-form intervals, by the footstep that opens or could open each. An interval is
/// met a frame beyond both of its ends. They take the row's whole height.
std::vector<TrackHit> HitFreeForm(const TrackView& view, const FootstepTrack& track,
                                  const PixelBox& pick, const PickOptions& options = {});

}  // namespace strider
