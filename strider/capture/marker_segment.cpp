#include "strider/capture/marker_segment.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace strider {
namespace {

// The fit of a turn ends where a step is less than this, radians.
constexpr float kSmallStep = 1e-6f;
constexpr int kMostSteps = 40;
// A triangle of markers flatter than this, twice its area by its longest side squared, has no turn.
constexpr float kFlatTriad = 0.05f;

std::optional<Quat> TriadOf(const Point3& a, const Point3& b, const Point3& c) {
  const Point3 along = Normalized(b - a), across = Normalized(Cross(b - a, c - a));
  if (along == Point3{} || across == Point3{}) return std::nullopt;
  return AxesOfUp(along, across);
}

/// Of the threes of markers the one that is seen together most often and spans the widest triangle.
std::array<int, 3> BestTriad(const MarkerTracks& tracks, const std::vector<int>& markers) {
  std::array<int, 3> best{kNoMarker, kNoMarker, kNoMarker};
  float bestScore = 0;
  const std::size_t n = markers.size();
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = i + 1; j < n; ++j) {
      for (std::size_t k = j + 1; k < n; ++k) {
        const int a = markers[i], b = markers[j], c = markers[k];
        float count = 0, shape = 0;
        for (std::size_t f = 0; f < tracks.numFrames; ++f) {
          if (!tracks.Has(a, f) || !tracks.Has(b, f) || !tracks.Has(c, f)) continue;
          count += 1;
          if (shape > 0) continue;
          const Point3 ab = tracks.At(b, f) - tracks.At(a, f);
          const Point3 ac = tracks.At(c, f) - tracks.At(a, f);
          const float longest = std::max({Length(ab), Length(ac), Length(ac - ab)});
          if (longest > 0) shape = Length(Cross(ab, ac)) / (longest * longest);
        }
        if (shape > kFlatTriad && count * shape > bestScore) {
          bestScore = count * shape;
          best = {a, b, c};
        }
      }
    }
  }
  return best;
}

/// The turn that brings `local` onto `world`, both about their middles, in the sense of least
/// squares, from a turn near it. Where the places leave it open, it stays as near as they allow.
Quat FitTurn(const std::vector<Point3>& local, const std::vector<Point3>& world, Quat turn) {
  for (int step = 0; step < kMostSteps; ++step) {
    Point3 moment;
    float along = 0;
    for (std::size_t i = 0; i < local.size(); ++i) {
      const Point3 turned = Rotate(turn, local[i]);
      moment += Cross(turned, world[i]);
      along += Dot(turned, world[i]);
    }
    const Point3 by = moment / (std::fabs(along) + 1e-9f);
    const float angle = Length(by);
    if (!(angle > kSmallStep)) break;
    turn = Normalized(AngleAxis(std::min(angle, 1.0f), by) * turn);
  }
  return turn;
}

/// Moves with some markers from one frame of the take to others.
class Carrier {
 public:
  Carrier(const MarkerTracks& tracks, std::vector<int> markers, const std::vector<Frame>* parent,
          std::size_t from)
      : tracks_(tracks), markers_(std::move(markers)), parent_(parent), from_(from) {
    middle_ = Middle(from);
    for (const int marker : markers_) local_.push_back(tracks.At(marker, from) - middle_);
  }
  /// Where `place`, of the frame that this starts from, goes to.
  Point3 At(std::size_t frame, const Point3& place) {
    const Point3 middle = Middle(frame);
    world_.clear();
    for (const int marker : markers_) world_.push_back(tracks_.At(marker, frame) - middle);
    Quat turn;
    if (parent_ != nullptr) {
      turn = Normalized((*parent_)[frame].rotation * Conjugate((*parent_)[from_].rotation));
    }
    return middle + Rotate(FitTurn(local_, world_, turn), place - middle_);
  }

 private:
  Point3 Middle(std::size_t frame) const {
    Point3 sum;
    for (const int marker : markers_) sum += tracks_.At(marker, frame);
    return sum / static_cast<float>(markers_.size());
  }
  const MarkerTracks& tracks_;
  std::vector<int> markers_;
  const std::vector<Frame>* parent_;
  std::size_t from_;
  Point3 middle_;
  std::vector<Point3> local_, world_;
};

/// A stretch of frames, the ends too, in which some markers are seen throughout.
std::vector<int> SeenThrough(const MarkerTracks& tracks, const std::vector<int>& markers,
                             std::size_t first, std::size_t last) {
  std::vector<int> seen;
  for (const int marker : markers) {
    bool all = tracks.Shows(marker);
    for (std::size_t f = first; all && f <= last; ++f) all = tracks.Has(marker, f);
    if (all) seen.push_back(marker);
  }
  return seen;
}

Frame Relative(const Frame& parent, const Frame& frame) {
  return {Conjugate(parent.rotation) * frame.rotation, IntoFrame(parent, frame.origin)};
}

void FillFrames(MarkerSegment& segment, const std::vector<Frame>* parent) {
  std::vector<Frame>& frames = segment.frames;
  const auto above = [parent](std::size_t f) { return parent ? (*parent)[f] : Frame{}; };
  ForGaps(segment.seen, [&](std::size_t from, std::size_t to, std::size_t f, float share) {
    const Frame a = Relative(above(from), frames[from]), b = Relative(above(to), frames[to]);
    const Frame local{Normalized(Slerp(a.rotation, OnSideOf(b.rotation, a.rotation), share)),
                      Lerp(a.origin, b.origin, share)};
    frames[f] = ChildFrame(above(f), local.rotation, local.origin);
  });
}

/// The fitting of one segment.
class SegmentFit {
 public:
  SegmentFit(const MarkerTracks& tracks, const std::vector<int>& markers,
             const std::vector<Frame>* parent)
      : tracks_(tracks), parent_(parent) {
    for (const int marker : markers) {
      if (tracks.Shows(marker)) markers_.push_back(marker);
    }
    segment.frames.resize(tracks.numFrames);
    segment.seen.resize(tracks.numFrames);
  }

  void PutRaw(const std::function<std::optional<Frame>(std::size_t)>& raw) {
    const std::array<int, 3> triad = raw ? std::array<int, 3>{} : BestTriad(tracks_, markers_);
    for (std::size_t f = 0; f < tracks_.numFrames; ++f) {
      const std::optional<Frame> frame = raw ? raw(f) : FrameOfTriad(triad, f);
      if (!frame) continue;
      segment.frames[f] = *frame;
      segment.seen[f] = 1;
      segment.known = true;
    }
  }

  /// Where each marker stands in the segment, and with it the frames that fit all markers best.
  void FitAll() {
    if (markers_.size() < 3 || !segment.known) return;
    LearnStands();
    Quat turn;
    bool any = false;
    for (std::size_t f = 0; f < tracks_.numFrames; ++f) {
      Collect(f);
      const bool hadRaw = segment.seen[f] != 0;
      // Two markers leave a turn about their line open: it goes on with the parent's.
      segment.seen[f] = local_.size() >= 3 || (local_.size() == 2 && any);
      if (hadRaw) {
        turn = segment.frames[f].rotation;
      } else if (any && parent_ != nullptr) {
        turn = (*parent_)[f].rotation * Conjugate((*parent_)[f - 1].rotation) * turn;
      }
      if (!segment.seen[f]) continue;
      turn = FitTurn(local_, world_, turn);
      any = true;
      segment.frames[f] = {turn, worldMiddle_ - Rotate(turn, localMiddle_)};
    }
  }

  MarkerSegment segment;

 private:
  std::optional<Frame> FrameOfTriad(const std::array<int, 3>& triad, std::size_t f) const {
    if (triad[0] == kNoMarker) return std::nullopt;
    for (const int marker : triad) {
      if (!tracks_.Has(marker, f)) return std::nullopt;
    }
    const Point3& a = tracks_.At(triad[0], f);
    const auto turn = TriadOf(a, tracks_.At(triad[1], f), tracks_.At(triad[2], f));
    if (!turn) return std::nullopt;
    return Frame{*turn, a};
  }

  /// A marker that never is seen together with the segment's frame says nothing.
  void LearnStands() {
    std::vector<int> useful;
    for (const int marker : markers_) {
      for (std::size_t f = 0; f < tracks_.numFrames; ++f) {
        if (!segment.seen[f] || !tracks_.Has(marker, f)) continue;
        useful.push_back(marker);
        stand_.push_back(PlaceIn(segment, tracks_.Of(marker)));
        break;
      }
    }
    markers_ = useful;
  }

  /// The markers of a frame, as they stand in the segment and as they are, about their middles.
  void Collect(std::size_t f) {
    local_.clear();
    world_.clear();
    localMiddle_ = worldMiddle_ = {};
    for (std::size_t i = 0; i < markers_.size(); ++i) {
      if (!tracks_.Has(markers_[i], f)) continue;
      localMiddle_ += local_.emplace_back(stand_[i]);
      worldMiddle_ += world_.emplace_back(tracks_.At(markers_[i], f));
    }
    const float count = std::max(static_cast<float>(local_.size()), 1.0f);
    localMiddle_ = localMiddle_ / count;
    worldMiddle_ = worldMiddle_ / count;
    for (Point3& p : local_) p -= localMiddle_;
    for (Point3& p : world_) p -= worldMiddle_;
  }

  const MarkerTracks& tracks_;
  const std::vector<Frame>* parent_;
  std::vector<int> markers_;
  std::vector<Point3> stand_, local_, world_;
  Point3 localMiddle_, worldMiddle_;
};

}  // namespace

Point3 PlaceIn(const MarkerSegment& segment, const PointTrack& track) {
  std::vector<Point3> places;
  for (std::size_t f = 0; f < track.known.size(); ++f) {
    if (segment.seen[f] && track.Has(f)) {
      places.push_back(IntoFrame(segment.frames[f], track.place[f]));
    }
  }
  return MedianOf(places);
}

Point3 DirectionIn(const MarkerSegment& segment,
                   const std::function<std::optional<Point3>(std::size_t)>& of) {
  std::vector<Point3> directions;
  for (std::size_t f = 0; f < segment.frames.size(); ++f) {
    if (!segment.seen[f]) continue;
    const std::optional<Point3> direction = of(f);
    if (!direction) continue;
    const Point3 unit = Normalized(*direction);
    if (unit == Point3{}) continue;
    directions.push_back(Rotate(Conjugate(segment.frames[f].rotation), unit));
  }
  return Normalized(MedianOf(directions));
}

void BridgeByOthers(MarkerTracks& tracks, const std::vector<int>& markers,
                    const std::vector<Frame>* parent) {
  std::vector<std::pair<int, PointTrack>> bridged;
  for (const int marker : markers) {
    if (!tracks.Shows(marker)) continue;
    const PointTrack& track = tracks.Of(marker);
    PointTrack full = track;
    for (std::size_t f = 0; f < tracks.numFrames; ++f) {
      if (track.Has(f)) continue;
      std::size_t end = f;
      while (end < tracks.numFrames && !track.Has(end)) ++end;
      const bool before = f > 0, after = end < tracks.numFrames;
      const std::size_t from = before ? f - 1 : end, to = after ? end : f - 1;
      const std::vector<int> others =
          SeenThrough(tracks, markers, before ? from : f, after ? to : end - 1);
      if (others.size() >= 2) {
        Carrier carrier(tracks, others, parent, from);
        const Point3& start = track.place[from];
        const Point3 miss = track.place[to] - carrier.At(to, start);
        for (std::size_t g = f; g < end; ++g) {
          const float share =
              from < to ? static_cast<float>(g - from) / static_cast<float>(to - from) : 0.0f;
          full.Put(g, carrier.At(g, start) + share * miss);
        }
      }
      f = end;
    }
    bridged.emplace_back(marker, std::move(full));
  }
  for (auto& [marker, track] : bridged) {
    tracks.markers[static_cast<std::size_t>(marker)] = std::move(track);
  }
}

MarkerSegment FitSegment(const MarkerTracks& tracks, const std::vector<int>& markers,
                         const std::function<std::optional<Frame>(std::size_t)>& raw,
                         const std::vector<Frame>* parent) {
  SegmentFit fit(tracks, markers, parent);
  fit.PutRaw(raw);
  fit.FitAll();
  FillFrames(fit.segment, parent);
  return std::move(fit.segment);
}

void TurnAxes(MarkerSegment& segment, const Quat& axes) {
  for (Frame& frame : segment.frames) frame.rotation = Normalized(frame.rotation * axes);
}
void MoveOrigin(MarkerSegment& segment, const Point3& local) {
  for (Frame& frame : segment.frames) frame.origin = OutOfFrame(frame, local);
}

}  // namespace strider
