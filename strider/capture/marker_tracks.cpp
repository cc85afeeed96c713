#include "strider/capture/marker_tracks.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace strider {
namespace {

// Markers farther off than this are none.
constexpr float kFarthest = 1e7f;
// The fit of a turn ends where a step is less than this, radians.
constexpr float kSmallStep = 1e-6f;
constexpr int kMostSteps = 40;

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
        if (shape > 0.05f && count * shape > bestScore) {
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

/// Calls `fill(before, after, frame, share)` for every frame that is not known; at the ends the
/// nearest known frame stands for both.
template <class Fill>
void FillGaps(const std::vector<unsigned char>& known, const Fill& fill) {
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

void FillFrames(MarkerSegment& segment, const std::vector<Frame>* parent) {
  std::vector<Frame>& frames = segment.frames;
  const auto above = [parent](std::size_t f) { return parent ? (*parent)[f] : Frame{}; };
  FillGaps(segment.seen, [&](std::size_t from, std::size_t to, std::size_t f, float share) {
    const Frame a = Relative(above(from), frames[from]), b = Relative(above(to), frames[to]);
    const Frame local{Normalized(Slerp(a.rotation, OnSideOf(b.rotation, a.rotation), share)),
                      Lerp(a.origin, b.origin, share)};
    frames[f] = ChildFrame(above(f), local.rotation, local.origin);
  });
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
    if (extra.name == "C7") tracks.markers[kC7] = TrackOf(extra, tracks);
  }
  return tracks;
}

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

MarkerSegment FitSegment(const MarkerTracks& tracks, const std::vector<int>& wanted,
                         const std::function<std::optional<Frame>(std::size_t)>& raw,
                         const std::vector<Frame>* parent) {
  MarkerSegment segment;
  segment.frames.resize(tracks.numFrames);
  segment.seen.resize(tracks.numFrames);
  std::vector<int> markers;
  for (const int marker : wanted) {
    if (tracks.Shows(marker)) markers.push_back(marker);
  }
  const std::array<int, 3> triad = raw ? std::array<int, 3>{} : BestTriad(tracks, markers);
  const auto rawAt = [&](std::size_t f) -> std::optional<Frame> {
    if (raw) return raw(f);
    if (triad[0] == kNoMarker) return std::nullopt;
    for (const int marker : triad) {
      if (!tracks.Has(marker, f)) return std::nullopt;
    }
    const Point3& a = tracks.At(triad[0], f);
    const auto turn = TriadOf(a, tracks.At(triad[1], f), tracks.At(triad[2], f));
    if (!turn) return std::nullopt;
    return Frame{*turn, a};
  };

  std::vector<std::vector<Point3>> samples(markers.size());
  for (std::size_t f = 0; f < tracks.numFrames; ++f) {
    const std::optional<Frame> frame = rawAt(f);
    if (!frame) continue;
    segment.frames[f] = *frame;
    segment.seen[f] = 1;
    segment.known = true;
    for (std::size_t i = 0; i < markers.size(); ++i) {
      if (!tracks.Has(markers[i], f)) continue;
      samples[i].push_back(IntoFrame(*frame, tracks.At(markers[i], f)));
    }
  }
  if (markers.size() >= 3 && segment.known) {
    std::vector<Point3> template_;
    for (const auto& places : samples) template_.push_back(MedianOf(places));
    std::vector<Point3> local, world;
    bool any = false;
    Quat turn;
    Quat above;
    for (std::size_t f = 0; f < tracks.numFrames; ++f) {
      local.clear();
      world.clear();
      Point3 localMiddle, worldMiddle;
      for (std::size_t i = 0; i < markers.size(); ++i) {
        if (samples[i].empty() || !tracks.Has(markers[i], f)) continue;
        local.push_back(template_[i]);
        world.push_back(tracks.At(markers[i], f));
        localMiddle += local.back();
        worldMiddle += world.back();
      }
      const bool hadRaw = segment.seen[f] != 0;
      // Two markers leave a turn about their line open: it goes on with the parent's.
      segment.seen[f] = local.size() >= 3 || (local.size() == 2 && any);
      if (!segment.seen[f]) continue;
      const float count = static_cast<float>(local.size());
      localMiddle = localMiddle / count;
      worldMiddle = worldMiddle / count;
      for (std::size_t i = 0; i < local.size(); ++i) {
        local[i] -= localMiddle;
        world[i] -= worldMiddle;
      }
      if (hadRaw) {
        turn = segment.frames[f].rotation;
      } else if (any && parent != nullptr) {
        turn = (*parent)[f].rotation * Conjugate(above) * turn;
      }
      turn = FitTurn(local, world, turn);
      if (parent != nullptr) above = (*parent)[f].rotation;
      any = true;
      segment.frames[f] = {turn, worldMiddle - Rotate(turn, localMiddle)};
    }
  }
  FillFrames(segment, parent);
  return segment;
}

void TurnAxes(MarkerSegment& segment, const Quat& axes) {
  for (Frame& frame : segment.frames) frame.rotation = Normalized(frame.rotation * axes);
}
void MoveOrigin(MarkerSegment& segment, const Point3& local) {
  for (Frame& frame : segment.frames) frame.origin = OutOfFrame(frame, local);
}

void FillPoint(PointTrack& track, const std::vector<Frame>& parent) {
  FillGaps(track.known, [&](std::size_t from, std::size_t to, std::size_t f, float share) {
    const Point3 a = IntoFrame(parent[from], track.place[from]);
    const Point3 b = IntoFrame(parent[to], track.place[to]);
    track.place[f] = OutOfFrame(parent[f], Lerp(a, b, share));
  });
}

}  // namespace strider
