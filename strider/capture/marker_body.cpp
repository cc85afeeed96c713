#include "strider/capture/marker_body.h"

#include <algorithm>
#include <cmath>

#include "strider/capture/flat_feet.h"

namespace strider {
namespace {

// The middle of a hip joint by a regression over radiographs published in the biomechanics
// literature: shares of the way between the two front waist markers, from midway between them
// back, down and aside in the axes of the pelvis. It needs no unit.
constexpr float kHipBack = 0.19f, kHipDown = 0.30f, kHipAside = 0.36f;
// From the marker on the outer ankle to the joint's middle, of the leg.
constexpr float kHalfAnkle = 0.045f;
// The neck begins this share of the way from the lowest neck vertebra to the collar's notch.
constexpr float kNeckDepth = 0.4f;
// Without a marker there, of the leg: the neck behind the notch, or over the hips.
constexpr float kNotchToNeck = 0.1f, kHipsToNeck = 0.62f;
// From the middle of a head band to the joint under the skull, and from there to the crown, of the
// leg: bands sit at any height between brow and temple, so that their own size says little.
constexpr float kBandBack = 0.022f, kBandDown = 0.11f, kCrown = 0.2f;
// The head over the neck where no marker shows it, of the leg.
constexpr float kNeckToHead = 0.13f;
// Cosine between the upright and the body's own axis of a head or a foot that is held upright.
constexpr float kStands = 0.6f;

using MaybePoint = std::optional<Point3>;

/// What the markers of the waist say at one frame.
struct Waist {
  Frame frame;  // origin midway between the front markers
  float width = 0;
};

std::optional<Waist> WaistAt(const MarkerTracks& tracks, std::size_t f) {
  const auto at = [&](int marker) -> MaybePoint {
    if (!tracks.Has(marker, f)) return std::nullopt;
    return tracks.At(marker, f);
  };
  const MaybePoint lf = at(kLFWT), rf = at(kRFWT), lb = at(kLBWT), rb = at(kRBWT),
                   sacrum = at(kSACR);
  Point3 right;
  if (lf && rf) {
    right = *rf - *lf;
  } else if (lb && rb) {
    right = *rb - *lb;
  } else if (sacrum && rb) {
    right = *rb - *sacrum;
  } else if (sacrum && lb) {
    right = *sacrum - *lb;
  }
  right = Normalized(right);
  if (right == Point3{}) return std::nullopt;
  const auto mirrored = [&right](const Point3& p, const Point3& middle) {
    return p - Dot(p - middle, right) * right;
  };
  MaybePoint front, back;
  if (lf && rf) front = Lerp(*lf, *rf, 0.5f);
  if (lb && rb) back = Lerp(*lb, *rb, 0.5f);
  if (!back) back = sacrum;
  if (!back && front && (lb || rb)) back = mirrored(lb ? *lb : *rb, *front);
  if (!front && back && (lf || rf)) front = mirrored(lf ? *lf : *rf, *back);
  if (!front || !back) return std::nullopt;
  const Point3 up = Normalized(Cross(right, *front - *back));
  if (up == Point3{}) return std::nullopt;
  Waist waist{{AxesOfUp(up, right), *front}, 0};
  waist.width = lf && rf ? Length(*rf - *lf) : 2 * std::fabs(Dot((lf ? *lf : *rf) - *back, right));
  return waist;
}

bool FindPelvis(MarkerTracks& tracks, MarkerBody& body) {
  const auto raw = [&](std::size_t f) -> std::optional<Frame> {
    const std::optional<Waist> waist = WaistAt(tracks, f);
    if (!waist) return std::nullopt;
    return waist->frame;
  };
  const std::vector<int> markers{kLFWT, kRFWT, kLBWT, kRBWT, kSACR};
  BridgeByOthers(tracks, markers, nullptr);
  body.pelvis = FitSegment(tracks, markers, raw, nullptr);
  if (!body.pelvis.known) return false;
  std::vector<float> widths;
  for (std::size_t f = 0; f < tracks.numFrames; ++f) {
    if (const auto waist = WaistAt(tracks, f)) widths.push_back(waist->width);
  }
  const float width = MedianOf(std::move(widths));
  MoveOrigin(body.pelvis, {-kHipBack * width, -kHipDown * width, 0});
  body.hipHalf = kHipAside * width;
  return width > 0;
}

bool FindLegLength(const MarkerTracks& tracks, MarkerBody& body) {
  std::vector<float> lengths;
  for (const Side side : {kRight, kLeft}) {
    const SideMarkers& m = MarkersOf(side);
    for (std::size_t f = 0; f < tracks.numFrames; ++f) {
      if (!tracks.Has(m.knee, f) || !tracks.Has(m.ankle, f)) continue;
      const Point3 hip = OutOfFrame(body.pelvis.frames[f], {0, 0, RightOf(side) * body.hipHalf});
      const Point3& knee = tracks.At(m.knee, f);
      lengths.push_back(Length(knee - hip) + Length(tracks.At(m.ankle, f) - knee));
    }
  }
  body.leg = MedianOf(std::move(lengths));
  return body.leg > 0;
}

Point3 UpAxis(const Frame& frame) { return Rotate(frame.rotation, {0, 1, 0}); }
Point3 RightAxis(const Frame& frame) { return Rotate(frame.rotation, {0, 0, 1}); }

/// The way from the left to the right shoulder, where both are seen.
MaybePoint Shoulders(const MarkerTracks& tracks, std::size_t f) {
  if (!tracks.Has(kLSHO, f) || !tracks.Has(kRSHO, f)) return std::nullopt;
  return tracks.At(kRSHO, f) - tracks.At(kLSHO, f);
}

/// Where the neck begins, by the markers around it.
MaybePoint NeckAt(const MarkerTracks& tracks, const MarkerBody& body, std::size_t f) {
  if (tracks.Shows(kC7) && tracks.Shows(kCLAV)) {
    if (!tracks.Has(kC7, f) || !tracks.Has(kCLAV, f)) return std::nullopt;
    return Lerp(tracks.At(kC7, f), tracks.At(kCLAV, f), kNeckDepth);
  }
  if (tracks.Shows(kLSHO) && tracks.Shows(kRSHO)) {
    if (!Shoulders(tracks, f)) return std::nullopt;
    return Lerp(tracks.At(kLSHO, f), tracks.At(kRSHO, f), 0.5f);
  }
  const Frame& pelvis = body.pelvis.frames[f];
  const Point3 behind{-kNotchToNeck * body.leg, 0, 0};
  if (tracks.Has(kCLAV, f)) return tracks.At(kCLAV, f) + Rotate(pelvis.rotation, behind);
  if (tracks.Shows(kCLAV)) return std::nullopt;
  return OutOfFrame(pelvis, {0, kHipsToNeck * body.leg, 0});
}

/// The thorax is upright when the neck stands over the hips, and so is the pelvis: their axes
/// follow from how the trunk is held most of the time, whatever slant the markers have on it.
void FindTrunk(MarkerTracks& tracks, MarkerBody& body) {
  std::vector<int> markers;
  for (const int marker : {kCLAV, kSTRN, kT10, kC7}) {
    if (tracks.Shows(marker)) markers.push_back(marker);
  }
  // Shoulders move with the arms; they help where the trunk itself shows too little.
  if (markers.size() < 3) markers.insert(markers.end(), {kLSHO, kRSHO});
  MarkerSegment& pelvis = body.pelvis;
  BridgeByOthers(tracks, markers, &pelvis.frames);
  body.thorax = FitSegment(tracks, markers, nullptr, &pelvis.frames);
  PointTrack neck(static_cast<int>(tracks.numFrames));
  for (std::size_t f = 0; f < tracks.numFrames; ++f) {
    if (const MaybePoint at = NeckAt(tracks, body, f)) neck.Put(f, *at);
  }
  if (!body.thorax.known) {
    PointTrack filled = neck;
    FillPoint(filled, pelvis.frames);
    const auto raw = [&](std::size_t f) -> std::optional<Frame> {
      if (!neck.Has(f)) return std::nullopt;
      const Point3 right = Shoulders(tracks, f).value_or(RightAxis(pelvis.frames[f]));
      return Frame{AxesOfUp(neck.place[f] - pelvis.frames[f].origin, right), neck.place[f]};
    };
    body.thorax = FitSegment(tracks, {}, raw, &pelvis.frames);
  }
  const auto trunk = [&](std::size_t f) -> MaybePoint {
    if (!neck.Has(f)) return std::nullopt;
    return neck.place[f] - pelvis.frames[f].origin;
  };
  Point3 upInPelvis = DirectionIn(pelvis, trunk);
  upInPelvis.z = 0;
  const Point3 upInThorax = DirectionIn(body.thorax, trunk);
  const bool shoulders = tracks.Shows(kLSHO) && tracks.Shows(kRSHO);
  const Point3 rightInThorax = DirectionIn(body.thorax, [&](std::size_t f) -> MaybePoint {
    return shoulders ? Shoulders(tracks, f) : RightAxis(pelvis.frames[f]);
  });
  MoveOrigin(body.thorax, PlaceIn(body.thorax, neck));
  TurnAxes(body.thorax, AxesOfUp(upInThorax, rightInThorax));
  TurnAxes(pelvis, AxesOfUp(upInPelvis, {0, 0, 1}));
}

/// `up`, unless the part that it is of doesn't stand: then the axis of the part beside it.
Point3 UprightOr(const Point3& up, const Point3& beside) {
  return Dot(up, beside) < kStands ? beside : up;
}

/// Most of the time a head is held upright, whatever the slant of its band.
void FindHead(MarkerTracks& tracks, MarkerBody& body) {
  MarkerSegment& head = body.head;
  const std::vector<int> markers{kLFHD, kRFHD, kLBHD, kRBHD, kCHN};
  BridgeByOthers(tracks, markers, &body.thorax.frames);
  head = FitSegment(tracks, markers, nullptr, &body.thorax.frames);
  body.crown = kCrown * body.leg;
  if (!head.known) {
    head = body.thorax;
    MoveOrigin(head, {0, kNeckToHead * body.leg, 0});
    return;
  }
  const auto across = [&](int left, int right, std::size_t f) {
    return tracks.Has(left, f) && tracks.Has(right, f) ? tracks.At(right, f) - tracks.At(left, f)
                                                       : Point3{};
  };
  const auto right = [&](std::size_t f) -> MaybePoint {
    const Point3 sum = across(kLFHD, kRFHD, f) + across(kLBHD, kRBHD, f);
    return sum == Point3{} ? RightAxis(body.thorax.frames[f]) : sum;
  };
  const Point3 thorax =
      DirectionIn(head, [&](std::size_t f) -> MaybePoint { return UpAxis(body.thorax.frames[f]); });
  const Point3 up = UprightOr(DirectionIn(head,
                                          [](std::size_t) -> MaybePoint {
                                            return Point3{0, 1, 0};
                                          }),
                              thorax);
  TurnAxes(head, AxesOfUp(up, DirectionIn(head, right)));
  // The middle between left and right, front and back, as far as markers show them.
  const auto middleOf = [&](int a, int b) {
    const bool hasA = tracks.Shows(a), hasB = tracks.Shows(b);
    if (!hasA && !hasB) return MaybePoint();
    const Point3 place = PlaceIn(head, tracks.Of(hasA ? a : b));
    return MaybePoint(Lerp(place, PlaceIn(head, tracks.Of(hasB ? b : a)), 0.5f));
  };
  const MaybePoint brow = middleOf(kLFHD, kRFHD), back = middleOf(kLBHD, kRBHD);
  const Point3 middle = Lerp(brow ? *brow : *back, back ? *back : *brow, 0.5f);
  MoveOrigin(head, middle - body.leg * Point3{kBandBack, kBandDown, 0});
}

/// The front of the foot: its tip's marker, else what stands beside the toes.
MaybePoint BallAt(const MarkerTracks& tracks, const SideMarkers& m, std::size_t f) {
  if (tracks.Shows(m.toe)) {
    return tracks.Has(m.toe, f) ? MaybePoint(tracks.At(m.toe, f)) : std::nullopt;
  }
  const bool outer = tracks.Has(m.outerToe, f), inner = tracks.Has(m.innerToe, f);
  if (outer && inner) return Lerp(tracks.At(m.outerToe, f), tracks.At(m.innerToe, f), 0.5f);
  if (tracks.Shows(m.outerToe) && tracks.Shows(m.innerToe)) return std::nullopt;
  return outer   ? MaybePoint(tracks.At(m.outerToe, f))
         : inner ? MaybePoint(tracks.At(m.innerToe, f))
                 : std::nullopt;
}

void FindFoot(MarkerTracks& tracks, MarkerBody& body, Side side) {
  const SideMarkers& m = MarkersOf(side);
  const std::vector<Frame>& pelvis = body.pelvis.frames;
  MarkerSegment& foot = body.foot[side];
  const std::vector<int> markers{m.ankle, m.innerAnkle, m.heel, m.toe, m.outerToe, m.innerToe};
  BridgeByOthers(tracks, markers, &pelvis);
  foot = FitSegment(tracks, markers, nullptr, &pelvis);
  const auto ball = [&](std::size_t f) { return BallAt(tracks, m, f); };
  const auto ahead = [&](std::size_t f) -> MaybePoint {
    const MaybePoint front = ball(f);
    const bool heel = tracks.Has(m.heel, f), ankle = tracks.Has(m.ankle, f);
    if (front && heel) return *front - tracks.At(m.heel, f);
    // From the middle of the ankle: its marker stands outside, and the foot would seem to toe in.
    const bool both = ankle && tracks.Has(m.innerAnkle, f);
    if (front && both) {
      return *front - Lerp(tracks.At(m.ankle, f), tracks.At(m.innerAnkle, f), 0.5f);
    }
    if (front && ankle) {
      const Point3 out = RightOf(side) * kHalfAnkle * body.leg * RightAxis(pelvis[f]);
      return *front - (tracks.At(m.ankle, f) - out);
    }
    if (heel && ankle) return tracks.At(m.ankle, f) - tracks.At(m.heel, f);
    return std::nullopt;
  };
  if (!foot.known) {  // too few markers for a turn: the shank says the rest
    const auto raw = [&](std::size_t f) -> std::optional<Frame> {
      if (!tracks.Has(m.ankle, f) || !tracks.Has(m.knee, f)) return std::nullopt;
      const Point3& ankle = tracks.At(m.ankle, f);
      const Point3 up = tracks.At(m.knee, f) - ankle;
      if (const MaybePoint way = ahead(f)) {
        const Point3 right = Cross(*way, up);
        return Frame{AxesOfUp(Cross(right, *way), right), ankle};
      }
      return Frame{AxesOfUp(up, RightAxis(pelvis[f])), ankle};
    };
    foot = FitSegment(tracks, {}, raw, &pelvis);
  }
  const std::vector<unsigned char> flat = FlatFrames(tracks.Of(m.ankle));
  const Point3 shank = DirectionIn(foot, [&](std::size_t f) -> MaybePoint {
    if (!tracks.Has(m.knee, f) || !tracks.Has(m.ankle, f)) return std::nullopt;
    return tracks.At(m.knee, f) - tracks.At(m.ankle, f);
  });
  const auto ground = [&](std::size_t f) -> MaybePoint {
    return flat[f] ? MaybePoint(Point3{0, 1, 0}) : std::nullopt;
  };
  const Point3 up = UprightOr(DirectionIn(foot, ground), shank);
  Point3 way = DirectionIn(foot, ahead);
  if (way == Point3{}) {
    way = DirectionIn(foot, [&](std::size_t f) -> MaybePoint {
      return Rotate(pelvis[f].rotation, {1, 0, 0});
    });
  }
  TurnAxes(foot, AxesOfUpAhead(up, way));
  Point3 ankle = PlaceIn(foot, tracks.Of(m.ankle));
  if (tracks.Shows(m.innerAnkle)) {
    ankle = Lerp(ankle, PlaceIn(foot, tracks.Of(m.innerAnkle)), 0.5f);
  } else {
    ankle.z -= RightOf(side) * kHalfAnkle * body.leg;
  }
  MoveOrigin(foot, ankle);
  PointTrack front(static_cast<int>(tracks.numFrames));
  for (std::size_t f = 0; f < tracks.numFrames; ++f) {
    if (const MaybePoint at = ball(f)) front.Put(f, *at);
  }
  if (front.numKnown > 0) body.ball[side] = PlaceIn(foot, front);
}

}  // namespace

const SideMarkers& MarkersOf(Side side) {
  static constexpr SideMarkers kSides[2] = {{kRSHO, kRELB, kRILB, kRWRE, kRWRI, kRFIN, kRKNE, kRKNI,
                                             kRANK, kRA2, kRHEL, kRTOE, kRMT5, kRMTI},
                                            {kLSHO, kLELB, kLILB, kLWRE, kLWRI, kLFIN, kLKNE, kLKNI,
                                             kLANK, kLA2, kLHEL, kLTOE, kLMT5, kLMTI}};
  return kSides[side];
}

bool FindBody(MarkerTracks& tracks, MarkerBody& body) {
  for (const int needed : {kLKNE, kRKNE, kLANK, kRANK}) {
    if (!tracks.Shows(needed)) return false;
  }
  if (!FindPelvis(tracks, body) || !FindLegLength(tracks, body)) return false;
  FindTrunk(tracks, body);
  FindHead(tracks, body);
  for (const Side side : {kRight, kLeft}) {
    FindFoot(tracks, body, side);
    if (!body.foot[side].known) return false;
  }
  return true;
}

}  // namespace strider
