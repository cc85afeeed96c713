#include "strider/footsteps/ground_path.h"

#include <algorithm>
#include <cmath>

#include "strider/core/track_reader.h"
#include "strider/footsteps/foot_target.h"

namespace strider {
namespace {

// A key that is relaxed moves at most this share of the leg, or of the way to a neighbour.
constexpr float kFlightRelaxation = 0.5f, kStanceRelaxation = 0.25f;
constexpr float kSegmentShare = 0.48f;
// The body is this many ticks ahead of the middle of its feet, the more so as it starts.
constexpr TimeValue kLead = 160, kStartLead = 480;

/// Mean of the feet's places, a foot on its way taken half way.
Point3 BetweenFeet(const FootstepTrack& track, const SupportPhase& phase) {
  Point3 sum;
  for (int side = 0; side < 2; ++side) {
    sum += FootTargetAs(track, side, phase.time, StateOf(phase, side), GroundLevel::kFlat,
                        SwingPlace::kHalfWay)
               .position;
  }
  return 0.5f * sum;
}

/// How far a key moves towards the middle of its neighbours, in the ground plane.
Point3 Relaxation(const Point3& before, const Point3& here, const Point3& after, float limit) {
  const Point3 toMiddle = Lerp(before, after, 0.5f) - here;
  const float distance = Length(toMiddle);
  if (!(distance > 0)) return {};
  const float a = kSegmentShare * Length(here - before), b = kSegmentShare * Length(after - here);
  // Never past the middle itself: a path that is even already stays.
  return (std::min({limit, a, b, distance}) / distance) * toMiddle;
}

/// True where a free-form interval starts or ends at `t` or lies around it.
bool TouchesFreeForm(const FootstepTrack& track, TimeValue t) {
  const TimeValue frame = track.ticksPerFrame;
  return InFreeForm(track, t) || InFreeForm(track, Later(t, frame)) ||
         InFreeForm(track, Later(t, -std::int64_t{frame}));
}

struct NoRotations {
  static Quat At(const HorizontalKey&, int) { return {}; }
  static KeyTcb Rule(const HorizontalKey&, int, const KeyTcb& tcb) { return tcb; }
  static int SubTrack(int channel) { return channel; }
  static bool Comparable(const HorizontalKey&, const HorizontalKey&, int) { return true; }
};

}  // namespace

std::vector<int> BodyPhases(const FootstepTrack& track) {
  std::vector<int> list;
  const int count = static_cast<int>(track.phases.size());
  list.reserve(track.phases.size() / 2 + 2);
  for (int i = 0; i < count; ++i) {
    const bool atEnd = i == 0 || i + 1 == count;
    if (atEnd || IsMiddle(track.phases[static_cast<std::size_t>(i)])) list.push_back(i);
  }
  return list;
}

Point3 PlaceOn(const KeyTable<HorizontalKey>& path, TimeValue t) {
  return TrackReader<HorizontalKey>(path, t).Tcb(
      [](const HorizontalKey& key) { return key.position; });
}

KeyTable<HorizontalKey> GroundPath(const FootstepTrack& track, const std::vector<int>& bodyPhases,
                                   int first, int last, float legLength) {
  const int whole = static_cast<int>(bodyPhases.size());
  const auto phaseOf = [&](int i) -> const SupportPhase& {
    return track.phases[static_cast<std::size_t>(bodyPhases[static_cast<std::size_t>(i)])];
  };

  // Between the feet, at the phases' own times.
  std::vector<Point3> places;
  for (int i = first; i <= last; ++i) places.push_back(BetweenFeet(track, phaseOf(i)));

  // Smoothed: all keys from the path as it was.
  KeyTable<HorizontalKey> smooth;
  smooth.track.numCurves = 1;
  for (int i = first; i <= last; ++i) {
    const auto k = static_cast<std::size_t>(i - first);
    const SupportPhase& phase = phaseOf(i);
    HorizontalKey key;
    key.position = places[k];
    if (i > first && i < last && i > 0 && i <= whole - 3) {
      const float limit = (phase.nearAir ? kFlightRelaxation : kStanceRelaxation) * legLength;
      key.position += Relaxation(places[k - 1], places[k], places[k + 1], limit);
    }
    key.supportState = BodyKeyState(phase.rightLegState, phase.leftLegState);
    key.type = IsMidStance(phase) ? kMidStanceKey : kOrdinaryKey;
    (void)PutKeyRecord(smooth, phase.time, key);
  }
  RefreshDerived(smooth, NoRotations{});

  // Ahead by a frame, and on whole frames; the middle of a stance on one foot needs no key.
  KeyTable<HorizontalKey> path;
  path.track.numCurves = 1;
  for (int k = 0; k < smooth.track.numKeys; ++k) {
    const int i = first + k;
    const bool atEnd = i == 0 || i + 1 == whole;
    const TimeValue t = RoundToFrame(smooth.TimeOf(k), track.ticksPerFrame);
    if (!atEnd && smooth[k].type == kMidStanceKey && !TouchesFreeForm(track, t)) continue;
    HorizontalKey key = smooth[k];
    key.position = PlaceOn(smooth, Later(t, i == 0 ? kStartLead : kLead));
    (void)PutKeyRecord(path, t, key);
  }
  RefreshDerived(path, NoRotations{});
  return path;
}

}  // namespace strider
