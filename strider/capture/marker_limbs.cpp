#include "strider/capture/marker_limbs.h"

#include <algorithm>
#include <cmath>

namespace strider {
namespace {

// From the marker on the outside of a joint to its middle, of the leg.
constexpr float kHalfKnee = 0.06f, kHalfElbow = 0.045f;
// The shoulder's joint under its marker: of the way between both shoulders, or of the leg.
constexpr float kShoulderDrop = 0.17f, kShoulderDropOfLeg = 0.06f;
// Arms of which no marker tells, of the leg: shoulder aside of and under the neck, both segments.
constexpr Point3 kBareShoulder{0, -0.06f, 0.21f};
constexpr float kUpperArm = 0.37f, kForearm = 0.30f;
// The finger's marker lies on the back of the hand, this much of the leg over its middle.
constexpr float kHandDepth = 0.018f;
// Sines of a bend below which the joints' places say nothing of its axis, and above which all.
constexpr float kStraight = 0.1f, kBent = 0.35f;
// A joint that bends the wrong way by less than this, sine, is overstretched and not turned about.
constexpr float kOverstretch = 0.5f;
// Radians by which a bend may differ from the one that the markers show.
constexpr float kBendFreedom = 0.06f;

Point3 Square(const Point3& v, const Point3& to) { return Normalized(v - Dot(v, to) * to); }

/// The axis to the right that a limb along `way` turns about as long as it doesn't twist: carried
/// along from where it hangs down in `parent`.
Point3 UntwistedAxis(const Quat& parent, const Point3& way) {
  const Quat carry = ShortestTurn(Rotate(parent, {0, -1, 0}), way);
  return Rotate(carry * parent, {0, 0, 1});
}

/// `axis` where the limb is straight, the one that its places show where it is bent.
Point3 BendAxis(const Point3& root, const Point3& mid, const Point3& end, bool isLeg,
                const Point3& axis) {
  const Point3 upper = Normalized(mid - root), lower = Normalized(end - mid);
  const Point3 across = isLeg ? Cross(lower, upper) : Cross(upper, lower);
  const float bend = Length(across);
  if (Dot(across, axis) < 0 && bend < kOverstretch) return axis;
  const float u = std::clamp((bend - kStraight) / (kBent - kStraight), 0.0f, 1.0f);
  return Normalized(Lerp(axis, Normalized(across), u * u * (3 - 2 * u)), axis);
}

/// Middle joint and axis of a limb at a frame, from its outer marker and, if there is one, its
/// inner marker. `outward` leads from the middle to the outer marker along the axis: 1 or -1.
struct MidJoint {
  Point3 place, axis;
};
MidJoint MidOf(const Point3& root, const Point3& outer, const Point3* inner, const Point3& end,
               bool isLeg, float outward, float half, const Point3& untwisted) {
  if (inner != nullptr) {
    const Point3 axis = Normalized(outward * (outer - *inner), untwisted);
    return {Lerp(outer, *inner, 0.5f), axis};
  }
  const Point3 way = Normalized(end - root);
  MidJoint joint{outer, Square(untwisted, way)};
  for (int round = 0; round < 2; ++round) {
    joint.place = outer - outward * half * joint.axis;
    joint.axis = BendAxis(root, joint.place, end, isLeg, Square(untwisted, way));
  }
  return joint;
}

void Measure(MarkerLimb& limb) {
  std::vector<float> upper, lower;
  for (std::size_t f = 0; f < limb.mid.size(); ++f) {
    if (!limb.midSeen[f]) continue;
    if (limb.rootSeen[f]) upper.push_back(Length(limb.mid[f] - limb.root[f]));
    if (limb.endSeen[f]) lower.push_back(Length(limb.end[f] - limb.mid[f]));
  }
  limb.upper = MedianOf(std::move(upper));
  limb.lower = MedianOf(std::move(lower));
}

void Resize(MarkerLimb& limb, std::size_t frames) {
  for (auto* places : {&limb.root, &limb.mid, &limb.end, &limb.axis}) places->resize(frames);
  for (auto* seen : {&limb.rootSeen, &limb.midSeen, &limb.endSeen}) seen->resize(frames);
}

/// The middle of two markers; where the take lacks one of them, the other.
PointTrack MiddleOf(const MarkerTracks& tracks, int a, int b) {
  if (!tracks.Shows(a) || !tracks.Shows(b)) return tracks.Of(tracks.Shows(a) ? a : b);
  PointTrack middle(static_cast<int>(tracks.numFrames));
  for (std::size_t f = 0; f < tracks.numFrames; ++f) {
    if (!tracks.Has(a, f) || !tracks.Has(b, f)) continue;
    middle.Put(f, Lerp(tracks.At(a, f), tracks.At(b, f), 0.5f));
  }
  return middle;
}

/// The middles of the shoulder joints under their markers.
PointTrack ShoulderOf(const MarkerTracks& tracks, const MarkerBody& body, Side side) {
  const int marker = MarkersOf(side).shoulder;
  float drop = kShoulderDropOfLeg * body.leg;
  if (tracks.Shows(kLSHO) && tracks.Shows(kRSHO)) {
    drop = kShoulderDrop *
           Length(PlaceIn(body.thorax, tracks.Of(kRSHO)) - PlaceIn(body.thorax, tracks.Of(kLSHO)));
  }
  PointTrack shoulder(static_cast<int>(tracks.numFrames));
  for (std::size_t f = 0; f < tracks.numFrames; ++f) {
    const Frame& thorax = body.thorax.frames[f];
    if (tracks.Has(marker, f)) {
      shoulder.Put(f, tracks.At(marker, f) + Rotate(thorax.rotation, {0, -drop, 0}));
    } else if (!tracks.Shows(marker)) {
      Point3 place = body.leg * kBareShoulder;
      place.z *= RightOf(side);
      shoulder.Put(f, OutOfFrame(thorax, place));
    }
  }
  FillPoint(shoulder, body.thorax.frames);
  return shoulder;
}

/// Wrists by their own markers, else behind the finger's, else hanging from the shoulder.
PointTrack WristOf(const MarkerTracks& tracks, const MarkerBody& body, Side side,
                   const PointTrack& shoulder) {
  const SideMarkers& m = MarkersOf(side);
  PointTrack wrist = MiddleOf(tracks, m.wrist, m.innerWrist);
  if (wrist.numKnown == 0) {
    wrist = PointTrack(static_cast<int>(tracks.numFrames));
    for (std::size_t f = 0; f < tracks.numFrames; ++f) {
      if (tracks.Has(m.finger, f) && tracks.Has(m.elbow, f)) {
        wrist.Put(f, Lerp(tracks.At(m.elbow, f), tracks.At(m.finger, f), 0.75f));
      } else if (!tracks.Shows(m.finger) || !tracks.Shows(m.elbow)) {
        const float hangs = (kUpperArm + kForearm) * body.leg;
        wrist.Put(f, shoulder.place[f] + Rotate(body.thorax.frames[f].rotation, {0, -hangs, 0}));
      }
    }
  }
  FillPoint(wrist, body.thorax.frames);
  return wrist;
}

/// Hands by wrist and finger; what no marker says, the forearm does.
void FindHand(const MarkerTracks& tracks, const MarkerBody& body, Side side, MarkerLimb& arm) {
  const SideMarkers& m = MarkersOf(side);
  const bool hasPair = tracks.Shows(m.wrist) && tracks.Shows(m.innerWrist);
  const bool hasFinger = tracks.Shows(m.finger);
  arm.hand.resize(tracks.numFrames);
  // Hands turned against the forearm, known where all markers are seen.
  MarkerSegment hand;
  hand.frames.resize(tracks.numFrames);
  std::vector<Frame> forearm(tracks.numFrames);
  std::vector<float> lengths;
  const auto raw = [&](std::size_t f) -> std::optional<Frame> {
    if (!arm.endSeen[f] || (hasFinger && !tracks.Has(m.finger, f))) return std::nullopt;
    if (!hasFinger && !hasPair) return std::nullopt;
    Point3 thumb = Rotate(forearm[f].rotation, {1, 0, 0});
    if (hasPair) thumb = tracks.At(m.wrist, f) - tracks.At(m.innerWrist, f);
    Point3 up = Rotate(forearm[f].rotation, {0, 1, 0});
    if (hasFinger) {
      up = arm.end[f] - tracks.At(m.finger, f);
      // The palm faces the body's middle when the arm hangs down.
      const Point3 outward = RightOf(side) * Normalized(Cross(thumb, up));
      up += kHandDepth * body.leg * outward;
      lengths.push_back(Length(up));
    }
    const Quat turn = AxesOfUpAhead(up, thumb);
    return Frame{turn, arm.end[f]};
  };
  for (std::size_t f = 0; f < tracks.numFrames; ++f) {
    const LimbBend bend = BendOf(arm, f, false, arm.upper, arm.lower);
    forearm[f] = {bend.lower, arm.end[f]};
  }
  hand = FitSegment(tracks, {}, raw, &forearm);
  if (!hand.known) hand.frames = forearm;
  for (std::size_t f = 0; f < tracks.numFrames; ++f) arm.hand[f] = hand.frames[f].rotation;
  arm.handLength = MedianOf(std::move(lengths));
}

}  // namespace

MarkerLimb LegOf(const MarkerTracks& tracks, const MarkerBody& body, Side side) {
  const SideMarkers& m = MarkersOf(side);
  MarkerLimb leg;
  Resize(leg, tracks.numFrames);
  PointTrack knee = tracks.Of(m.knee), inner = tracks.Of(m.innerKnee);
  FillPoint(knee, body.pelvis.frames);
  const bool hasInner = inner.numKnown > 0;
  if (hasInner) FillPoint(inner, body.pelvis.frames);
  for (std::size_t f = 0; f < tracks.numFrames; ++f) {
    const Frame& pelvis = body.pelvis.frames[f];
    const Frame& foot = body.foot[side].frames[f];
    leg.root[f] = OutOfFrame(pelvis, {0, 0, RightOf(side) * body.hipHalf});
    leg.end[f] = foot.origin;
    const Point3 way = Normalized(leg.end[f] - leg.root[f]);
    // The leg turns with the hips above and with the foot below.
    const Point3 untwisted = Normalized(
        UntwistedAxis(pelvis.rotation, way) + UntwistedAxis(foot.rotation, way), {0, 0, 1});
    const MidJoint joint = MidOf(leg.root[f], knee.place[f], hasInner ? &inner.place[f] : nullptr,
                                 leg.end[f], true, RightOf(side), kHalfKnee * body.leg, untwisted);
    leg.mid[f] = joint.place;
    leg.axis[f] = joint.axis;
    leg.rootSeen[f] = body.pelvis.seen[f];
    leg.midSeen[f] = tracks.Has(m.knee, f) && (!hasInner || tracks.Has(m.innerKnee, f));
    leg.endSeen[f] = body.foot[side].seen[f];
  }
  Measure(leg);
  return leg;
}

MarkerLimb ArmOf(const MarkerTracks& tracks, const MarkerBody& body, Side side) {
  const SideMarkers& m = MarkersOf(side);
  MarkerLimb arm;
  Resize(arm, tracks.numFrames);
  const PointTrack shoulder = ShoulderOf(tracks, body, side);
  const PointTrack wrist = WristOf(tracks, body, side, shoulder);
  PointTrack elbow = tracks.Of(m.elbow), inner = tracks.Of(m.innerElbow);
  if (elbow.numKnown == 0) std::swap(elbow, inner);
  const bool hasElbow = elbow.numKnown > 0, hasInner = inner.numKnown > 0;
  if (hasElbow) FillPoint(elbow, body.thorax.frames);
  if (hasInner) FillPoint(inner, body.thorax.frames);
  for (std::size_t f = 0; f < tracks.numFrames; ++f) {
    arm.root[f] = shoulder.place[f];
    arm.end[f] = wrist.place[f];
    const Point3 untwisted =
        UntwistedAxis(body.thorax.frames[f].rotation, arm.end[f] - arm.root[f]);
    MidJoint joint{Lerp(arm.root[f], arm.end[f], kUpperArm / (kUpperArm + kForearm)), untwisted};
    if (hasElbow) {
      // An inner marker alone stands on the other side of the joint.
      const float outward = RightOf(side) * (tracks.Shows(m.elbow) ? 1.0f : -1.0f);
      joint = MidOf(arm.root[f], elbow.place[f], hasInner ? &inner.place[f] : nullptr, arm.end[f],
                    false, outward, kHalfElbow * body.leg, untwisted);
    }
    arm.mid[f] = joint.place;
    arm.axis[f] = joint.axis;
    arm.rootSeen[f] = shoulder.Has(f);
    arm.midSeen[f] = !hasElbow || elbow.Has(f);
    arm.endSeen[f] = wrist.Has(f);
  }
  Measure(arm);
  if (!hasElbow) {
    arm.upper = std::max(arm.upper, kUpperArm * body.leg);
    arm.lower = std::max(arm.lower, kForearm * body.leg);
    std::fill(arm.midSeen.begin(), arm.midSeen.end(), static_cast<unsigned char>(0));
  }
  FindHand(tracks, body, side, arm);
  return arm;
}

LimbBend BendOf(const MarkerLimb& limb, std::size_t f, bool isLeg, float upper, float lower) {
  const Point3& root = limb.root[f];
  const Point3 way = Normalized(limb.end[f] - root, {0, -1, 0});
  const Point3 axis = Square(limb.axis[f], way);
  const float forward = isLeg ? -1.0f : 1.0f;  // the sense in which the lower segment turns
  const auto span = [&](float bend) {
    return Sqrt(upper * upper + lower * lower + 2 * upper * lower * Cos(bend));
  };
  float distance = Length(limb.end[f] - root);
  float least = std::fabs(upper - lower), most = upper + lower;
  if (limb.midSeen[f]) {
    const Point3 above = Normalized(limb.mid[f] - root, way);
    const Point3 below = Normalized(limb.end[f] - limb.mid[f], way);
    const float bend =
        std::max(Atan2(forward * Dot(Cross(above, below), axis), Dot(above, below)), 0.0f);
    least = span(std::min(bend + kBendFreedom, kPi));
    most = span(std::max(bend - kBendFreedom, 0.0f));
  }
  distance = std::max(std::clamp(distance, least, most), 1e-6f);
  const float cosine = (upper * upper + distance * distance - lower * lower) /
                       (2 * std::max(upper, 1e-6f) * distance);
  const float lead = Acos(std::clamp(cosine, -1.0f, 1.0f));
  const Point3 above = Rotate(AngleAxis(-forward * lead, axis), way);
  const Point3 below = Normalized(distance * way - upper * above, way);
  return {AxesOfUp(-above, axis), AxesOfUp(-below, axis)};
}

}  // namespace strider
