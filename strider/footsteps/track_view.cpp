#include "strider/footsteps/track_view.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

constexpr int kBandInset = 5;
constexpr int kPointPickSize = 11;  // a box smaller than this both ways is a click

int Pixel(double column) {
  return static_cast<int>(std::floor(std::clamp(column, -1e9, 1e9) + 0.5));
}

PixelBox Ordered(PixelBox box) {
  if (box.left > box.right) std::swap(box.left, box.right);
  if (box.top > box.bottom) std::swap(box.top, box.bottom);
  return box;
}

PixelBox BoxOver(const TrackView& view, TimeValue ticksPerFrame, TimeValue start, TimeValue end,
                 const PixelBox& band) {
  return {Pixel(view.ColumnOf(start, ticksPerFrame)), band.top,
          Pixel(view.ColumnOf(end, ticksPerFrame)), band.bottom};
}

/// The part of a drawn span that lies nearest to a column inside it.
TrackHitPart PartAt(const PixelBox& box, int column) {
  // Twice the distances, so that a centre between two pixels counts as it lies.
  const int toStart = 2 * std::abs(column - box.left);
  const int toEnd = 2 * std::abs(column - box.right);
  const int toMiddle = std::abs(2 * column - box.left - box.right);
  if (toMiddle < toStart) return toMiddle < toEnd ? TrackHitPart::kWhole : TrackHitPart::kEndEdge;
  return toStart >= toEnd ? TrackHitPart::kEndEdge : TrackHitPart::kStartEdge;
}

bool Wanted(const FootstepTrack& track, int footstep, const PickOptions& options) {
  const bool selected = IsSelected(track, footstep);
  return (!options.selectedOnly || selected) && (!options.unselectedOnly || !selected);
}

/// What a pick meets among boxes in the order of footsteps. `boxOf` answers false where a footstep
/// has none.
template <class BoxOfFootstep>
std::vector<TrackHit> Hit(const TrackView& view, const FootstepTrack& track, PixelBox pick,
                          const PickOptions& options, const BoxOfFootstep& boxOf) {
  pick = Ordered(pick);
  const bool point = IsPointPick(pick);
  const int x = pick.left + (pick.right - pick.left) / 2;
  const int y = pick.top + (pick.bottom - pick.top) / 2;
  std::vector<TrackHit> hits;
  for (int i = 0; i < track.numFootsteps; ++i) {
    const TimeValue start = SpanOf(track, i)->start;
    if (view.ColumnOf(start, track.ticksPerFrame) > view.rightEdge) break;
    PixelBox box;
    if (!Wanted(track, i, options) || !boxOf(i, box)) continue;
    TrackHit hit{i, TrackHitPart::kWhole};
    if (point) {
      if (x < box.left || x > box.right || y < box.top || y > box.bottom) continue;
      hit.part = PartAt(box, x);
    } else if (box.left < pick.left || box.right > pick.right || box.top < pick.top ||
               box.bottom > pick.bottom) {
      continue;
    }
    hits.push_back(hit);
    if (options.firstOnly) break;
  }
  return hits;
}

}  // namespace

double TrackView::ColumnOf(TimeValue t, TimeValue ticksPerFrame) const {
  return origin + static_cast<double>(t) / std::max(1, ticksPerFrame) * pixelsPerFrame;
}

PixelBox BandOf(const TrackView& view, int side) {
  const PixelBox& row = view.row;
  const int middle = row.top + view.rowHeight;
  if (side == kLeft) return {row.left, row.top + kBandInset, row.right, middle - 1};
  return {row.left, middle, row.right, row.bottom - kBandInset};
}

PixelBox BoxOf(const TrackView& view, const FootstepTrack& track, int footstep) {
  const FootstepSpan* span = SpanOf(track, footstep);
  if (!span) return {};
  const PixelBox band = BandOf(view, track.side[static_cast<std::size_t>(footstep)]);
  return BoxOver(view, track.ticksPerFrame, span->start, span->Lift(), band);
}

bool IsPointPick(const PixelBox& pick) {
  const auto small = [](int from, int to) {
    return std::abs(static_cast<long long>(to) - from) < kPointPickSize;
  };
  return small(pick.left, pick.right) && small(pick.top, pick.bottom);
}

std::vector<TrackHit> HitFootsteps(const TrackView& view, const FootstepTrack& track,
                                   const PixelBox& pick, const PickOptions& options) {
  return Hit(view, track, pick, options, [&](int i, PixelBox& box) {
    box = BoxOf(view, track, i);
    return true;
  });
}

std::vector<TrackHit> HitFreeForm(const TrackView& view, const FootstepTrack& track,
                                  const PixelBox& pick, const PickOptions& options) {
  const PixelBox band{view.row.left, view.row.top + kBandInset, view.row.right,
                      view.row.bottom - kBandInset};
  return Hit(view, track, pick, options, [&](int i, PixelBox& box) {
    TimeValue start = 0, end = 0;
    if (!FreeFormInterval(track, i, start, end)) return false;
    const TimeValue frame = track.ticksPerFrame;
    box = BoxOver(view, frame, Later(start, -frame), Later(end, frame), band);
    return true;
  });
}

}  // namespace strider
