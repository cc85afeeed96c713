#include "strider/footsteps/hold_feet.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "strider/core/evaluate.h"
#include "strider/core/key_edit.h"
#include "strider/core/limb_frames.h"
#include "strider/core/limb_keys.h"

namespace strider {
namespace {

// The middles of heel and toe row, as named pivots count.
constexpr int kHeelPivot = 2, kToePivot = 5;
// A foot goes over to its other end once that is lower by this share of its length.
constexpr float kTippedShare = 0.05f;
// Or, both on the ground, once its own end goes this far, in leg lengths, over so many frames.
constexpr float kStraysShare = 0.006f;
constexpr std::size_t kReadsAhead = 5;
// A foot gives back no more than this share of its shift at a key.
constexpr float kBackGain = 0.1f;
// A knee is jerked that changes its speed by more than this multiple of what it does in the take
// within a few frames, and so many radians a frame on top; and a foot is not led further astray
// than this share of the leg.
constexpr float kJerkFactor = 1.4f, kJerkRadians = 0.03f, kMostAstray = 0.05f;
constexpr std::size_t kFramesAround = 2;
// Legs are held to this share of their length, unless they were longer.
constexpr float kMostReach = 0.998f;
constexpr TimeValue kTicksPerSecond = 4800;

/// A leg at one time as the keys have it, and as it is to be.
struct LegRead {
  TimeValue time = 0;
  bool isKey = false;     // a key stands there, or is to
  Point3 hip, ankle;      // the core's space
  Quat foot;              // rotation, the core's space
  Point3 heel, toes;      // the two ends of the sole, from the ankle
  int pivot = kToePivot;  // what the foot stands on from here on
  int span = -1;          // contact that the time belongs to
  Point3 heldAnkle;
  Quat turn;  // from the foot as it was to the held one
  Point3 Shift() const { return heldAnkle - ankle; }
  /// What the leg got longer from hip to ankle.
  float Stretch() const { return Length(heldAnkle - hip) - Length(ankle - hip); }
  const Point3& End(int which) const { return which == kHeelPivot ? heel : toes; }
};

/// How firmly a contact is held. The last is as the foot was.
struct Hold {
  float mostTurn;  // of the foot, radians, to leave the knee its bend; beyond that the knee follows
  float slipAbove;  // what the foot slides in a frame beyond this share of the leg it slides on
  float giveBack;   // what it gives back of its shift in a frame, in leg lengths
};
// Three quarters of the skate that counts as none.
constexpr float kUnseen = 0.0015f;
constexpr Hold kHolds[] = {{0.15f, 1, 0},
                           {0.3f, 1, 0},
                           {0.3f, 1, kUnseen},
                           {0.3f, 0.01f, kUnseen},
                           {0.3f, 0.004f, kUnseen},
                           {0.3f, 0.0015f, kUnseen},
                           {0, 0, 0}};
// A foot on its toes raises its heel up to so many radians further before its leg is too short.
constexpr float kMostTiptoe = 0.25f;
// The heel is too near the ankle to give a leg its length without the foot tilting visibly.
constexpr float kMostOnHeel = 0.05f;
constexpr int kLoosestFirm = 1;  // up to which no foot is seen to slide
constexpr int kAsItWas = static_cast<int>(std::size(kHolds)) - 1;

struct LegRun {
  int side = 0;
  std::vector<LegRead> reads;   // ascending in time
  std::vector<bool> heldSpans;  // contacts that keys hold already
  std::vector<int> holds;       // of each contact, an index of kHolds
  std::vector<bool> loosen;     // those to be held less firmly

  bool HoldsAlready(int span) const { return heldSpans[static_cast<std::size_t>(span)]; }
  bool Slides(int span) const {
    const Hold& hold = kHolds[holds[static_cast<std::size_t>(span)]];
    return hold.slipAbove < 1 || hold.giveBack > 0;
  }
};

/// True for a key that says where the foot is: one of a thigh or of toes alone does not.
bool SaysFoot(const LimbRecord& leg, int key) {
  const KeyTrack& track = leg.table.track;
  if (!track.separate) return true;
  const int end = std::min(NumLimbLinks(leg), track.numSubTracks) - 1;
  return (track.times[static_cast<std::size_t>(key)].linkMask >> end & 1) != 0;
}

/// Keys hold a contact where one stands at its touch and its lift and none between lets go.
bool IsHeld(const LimbRecord& leg, const FootstepSpan& span) {
  const KeyTrack& track = leg.table.track;
  bool first = false, last = false;
  for (int i = InsertionIndex(track, Later(span.start, -1)); i < track.numKeys; ++i) {
    const TimeValue t = leg.table.TimeOf(i);
    if (t > span.Lift()) break;
    if (!SaysFoot(leg, i)) continue;
    if (!HoldsObject(leg.table[i])) return false;
    first = first || t == span.start;
    last = last || t == span.Lift();
  }
  return first && last;
}

/// The times at which a leg is read: its keys, and each frame of a contact that is to be held.
std::vector<LegRead> TimesToRead(const MotionCore& core, const LegRun& run) {
  const LimbRecord& leg = core.leg[run.side];
  const std::vector<FootstepSpan>& spans = core.footsteps.spans[run.side];
  std::vector<LegRead> reads;
  const auto add = [&reads](TimeValue t, bool isKey, int span) {
    LegRead read;
    read.time = t;
    read.isKey = isKey;
    read.span = span;
    reads.push_back(read);
  };
  for (int i = 0; i < leg.table.track.numKeys; ++i) add(leg.table.TimeOf(i), SaysFoot(leg, i), -1);
  for (std::size_t s = 0; s < spans.size(); ++s) {
    if (run.heldSpans[s]) continue;
    const TimeValue lift = spans[s].Lift();
    for (TimeValue t = spans[s].start; t < lift; t = Later(t, core.ticksPerFrame)) {
      add(t, t == spans[s].start, static_cast<int>(s));
    }
    add(lift, true, static_cast<int>(s));
  }
  std::stable_sort(reads.begin(), reads.end(),
                   [](const LegRead& a, const LegRead& b) { return a.time < b.time; });
  // One of each time; a lift that is the next touch belongs to the touch.
  std::vector<LegRead> once;
  for (const LegRead& read : reads) {
    if (once.empty() || once.back().time != read.time) {
      once.push_back(read);
      continue;
    }
    once.back().isKey = once.back().isKey || read.isKey;
    once.back().span = std::max(once.back().span, read.span);
  }
  // A key within a contact belongs to it, also between frames.
  std::size_t s = 0;
  for (LegRead& read : once) {
    while (s < spans.size() && spans[s].Lift() < read.time) ++s;
    const bool within = s < spans.size() && spans[s].start <= read.time;
    if (within && read.span < 0) read.span = static_cast<int>(s);
  }
  return once;
}

void Read(const LimbRecord& leg, LegRead& read) {
  const Matrix3& foot = leg.frame[NumLimbLinks(leg) - 1];
  read.hip = leg.base.origin;
  read.ankle = read.heldAnkle = foot.Origin();
  read.foot = Normalized(LastSegmentInWorld(leg, ForwardLimb(LengthsOf(leg), leg.pose.jointAngles,
                                                             leg.pose.limbRotation)) *
                         leg.pose.endRotation);
  read.heel = TransformVector(PivotPoint(leg, PivotChoice{kNamedPivot, kHeelPivot, 0, 0}), foot);
  read.toes = TransformVector(PivotPoint(leg, PivotChoice{kNamedPivot, kToePivot, 0, 0}), foot);
}

/// Calls `use(side, read)` for all reads in order of time, the core posed there.
template <class Use>
void ForEachRead(MotionCore& posed, LegRun (&runs)[2], const EvalContext& context, const Use& use) {
  std::size_t next[2] = {};
  const auto timeOf = [&](int side) {
    const auto& reads = runs[side].reads;
    return next[side] < reads.size() ? reads[next[side]].time : kTimeMax;
  };
  while (next[0] < runs[0].reads.size() || next[1] < runs[1].reads.size()) {
    const TimeValue t = std::min(timeOf(0), timeOf(1));
    CorePose(posed, t, context);
    for (int side = 0; side < 2; ++side) {
      auto& reads = runs[side].reads;
      if (next[side] >= reads.size() || timeOf(side) != t) continue;
      use(side, reads[next[side]++]);
    }
  }
}

// --- While the foot stands -----------------------------------------------------------------------

/// The way of an end of the foot from one read to the next.
Point3 WayOf(const LegRead& from, const LegRead& to, int end) {
  return (to.ankle + to.End(end)) - (from.ankle + from.End(end));
}

/// What an end of the foot goes from read `k` on, over the next few.
float WayAhead(const std::vector<LegRead>& reads, std::size_t k, std::size_t last, int end) {
  float way = 0;
  for (std::size_t i = k; i < std::min(last, k + kReadsAhead); ++i) {
    way += Length(WayOf(reads[i], reads[i + 1], end));
  }
  return way;
}

/// Which end of the foot it stands on from each read of a contact to the next: the lower one, and
/// of two on the ground the toes, from which a foot tilts least for what the leg asks, unless it
/// turns on its heel. A key is put where that changes.
void ChoosePivots(std::vector<LegRead>& reads, std::size_t first, std::size_t last,
                  const LimbRecord& leg) {
  const float tipped = kTippedShare * (leg.toeLength + leg.heelLength);
  const float strays = kStraysShare * leg.totalLength;
  int pivot = kToePivot;
  for (std::size_t k = first; k <= last; ++k) {
    const bool onHeel = pivot == kHeelPivot;
    const int other = onHeel ? kToePivot : kHeelPivot;
    const float othersHeight = (reads[k].End(other) - reads[k].End(pivot)).y;
    const float own = WayAhead(reads, k, last, pivot), others = WayAhead(reads, k, last, other);
    const bool rests = othersHeight > -tipped && own < 0.5f * others && others > strays;
    const bool tips = othersHeight < (onHeel ? tipped : -1.5f * tipped);
    const bool turns = othersHeight < 1.5f * tipped && others < 0.5f * own && own > strays;
    if ((tips && !rests) || turns) {
      if (k > first) reads[k].isKey = true;
      pivot = other;
    }
    reads[k].pivot = pivot;
  }
}

/// The turn that brings `spoke`, from the pivot to the ankle, to where the ankle is `distance` from
/// the hip at `hip` (from the pivot), or as near to it as a foot turns: `mostNear` radians towards
/// the hip and `mostTurn` away from it.
Quat TurnToDistance(const Point3& spoke, const Point3& hip, float distance, float mostNear,
                    float mostTurn) {
  const double s = Length(spoke), w = Length(hip), d = distance;
  if (!(s > 0) || !(w > 0)) return {};
  const double cosine = std::clamp((s * s + w * w - d * d) / (2 * s * w), -1.0, 1.0);
  const Point3 axis = Cross(spoke, hip);
  const double now = Atan2D(Length(axis), Dot(spoke, hip));
  const float turn = static_cast<float>(now - AcosD(cosine));
  // Towards the hip the angle closes.
  return AngleAxis(std::clamp(turn, -mostTurn, mostNear), axis);
}

/// The part of a foot's way from one read to the next that it is let go.
Point3 SlipOf(const LegRead& from, const LegRead& to, int pivot, float most) {
  const Point3 way = WayOf(from, to, pivot);
  const float length = Length(way);
  return length > most ? (1 - most / length) * way : Point3{};
}

/// How far an end of the foot is to be shifted at the first read of a contact: so that over the
/// first second the shift is as often too far as not far enough, along each axis. A mean would
/// sink a foot that lies flat for what the take lifts it by while its heel leaves the ground.
Point3 FirstShift(const std::vector<LegRead>& reads, std::size_t first, std::size_t last,
                  float most) {
  std::vector<Point3> shifts(1);
  for (std::size_t k = first + 1; k <= last; ++k) {
    if (std::int64_t{reads[k].time} - reads[first].time > kTicksPerSecond) break;
    const int pivot = reads[k - 1].pivot;
    const Point3 shift = shifts.back() + SlipOf(reads[k - 1], reads[k], pivot, most) -
                         WayOf(reads[k - 1], reads[k], pivot);
    if (!IsFinite(shift)) break;
    shifts.push_back(shift);
  }
  Point3 median;
  const auto middle = shifts.begin() + static_cast<std::ptrdiff_t>(shifts.size() / 2);
  for (int axis = 0; axis < 3; ++axis) {
    std::nth_element(shifts.begin(), middle, shifts.end(),
                     [axis](const Point3& a, const Point3& b) { return a[axis] < b[axis]; });
    median[axis] = (*middle)[axis];
  }
  return -median;
}

/// Holds the foot from read `first` to read `last`, keys and frames between alike. What it is
/// shifted by it gives back at its keys, so slowly that nobody sees it slide.
void HoldContact(std::vector<LegRead>& reads, std::size_t first, std::size_t last, int form,
                 const LimbRecord& leg) {
  ChoosePivots(reads, first, last, leg);
  if (form == kAsItWas) return;
  const Hold& hold = kHolds[form];
  const float held = hold.slipAbove * leg.totalLength;
  const float mostBack = hold.giveBack * leg.totalLength;
  const float reach = kMostReach * ReachOf(LengthsOf(leg));
  int pivot = reads[first].pivot;
  Point3 anchor =
      reads[first].ankle + reads[first].End(pivot) + FirstShift(reads, first, last, held);
  for (std::size_t k = first; k <= last; ++k) {
    LegRead& read = reads[k];
    if (k > first) anchor += SlipOf(reads[k - 1], read, pivot, held);
    if (k > first && read.isKey) {
      const Point3 shift = anchor - (read.ankle + read.End(pivot));
      const float length = Length(shift);
      if (length > 0) anchor -= (std::min(kBackGain * length, mostBack) / length) * shift;
    }
    const Point3 spoke = -read.End(pivot);
    const bool onToes = pivot == kToePivot;
    read.turn =
        TurnToDistance(spoke, read.hip - anchor, Length(read.ankle - read.hip),
                       onToes ? kMostTiptoe : kMostOnHeel, onToes ? hold.mostTurn : kMostOnHeel);
    read.heldAnkle = anchor + Rotate(read.turn, spoke);
    // A foot that the leg cannot reach has to come along.
    const Point3 asked = read.heldAnkle - read.hip;
    const float most = std::max(Length(read.ankle - read.hip), reach);
    if (Length(asked) > most) read.heldAnkle = read.hip + (most / Length(asked)) * asked;
    pivot = read.pivot;
    anchor = read.heldAnkle + Rotate(read.turn, read.End(pivot));
  }
}

// --- On the way ----------------------------------------------------------------------------------

/// A foot in the air takes its share of what its contacts were shifted, the leg as long as it was.
void ShiftSwing(LegRead& read, const LegRead* from, const LegRead* to, float reach) {
  if (!from) from = to;
  if (!to) to = from;
  if (!from) return;
  float u = 0;
  if (to->time > from->time) {
    u = static_cast<float>(std::int64_t{read.time} - from->time) /
        static_cast<float>(std::int64_t{to->time} - from->time);
    u = CosineEase(std::clamp(u, 0.0f, 1.0f));
  }
  read.turn = Normalized(Slerp(from->turn, OnSideOf(to->turn, from->turn), u));
  const Point3 wanted = read.ankle + Lerp(from->Shift(), to->Shift(), u) - read.hip;
  // The knee takes its share where it had to give way on the ground.
  const float length =
      Length(read.ankle - read.hip) + from->Stretch() + u * (to->Stretch() - from->Stretch());
  const Point3 direction = Normalized(wanted);
  if (direction == Point3{}) return;
  const float most = std::max(Length(read.ankle - read.hip), kMostReach * reach);
  read.heldAnkle = read.hip + std::min(length, most) * direction;
}

/// All contacts of a leg as their holds say, then what lies between them.
void HoldOnce(const LimbRecord& leg, LegRun& run) {
  std::vector<LegRead>& reads = run.reads;
  const float reach = ReachOf(LengthsOf(leg));
  for (std::size_t k = 0; k < reads.size();) {
    std::size_t last = k;
    while (last + 1 < reads.size() && reads[last + 1].span == reads[k].span) ++last;
    const int span = reads[k].span;
    if (span >= 0 && !run.HoldsAlready(span)) {
      HoldContact(reads, k, last, run.holds[static_cast<std::size_t>(span)], leg);
    }
    k = last + 1;
  }
  const LegRead* from = nullptr;
  for (std::size_t k = 0; k < reads.size();) {
    if (reads[k].span >= 0) {
      from = &reads[k++];
      continue;
    }
    std::size_t end = k;
    while (end < reads.size() && reads[end].span < 0) ++end;
    const LegRead* to = end < reads.size() ? &reads[end] : nullptr;
    for (; k < end; ++k) ShiftSwing(reads[k], from, to, reach);
  }
}

// --- What holding asks of the knee ---------------------------------------------------------------

/// Opening of a knee whose ankle is `distance` from the hip.
float KneeAt(const LimbRecord& leg, float distance) {
  const double a = leg.upperLength, b = leg.lowerLength, d = distance;
  const double product = 2 * a * b;
  if (!(product > 0)) return 0;
  return static_cast<float>(AcosD(std::clamp((a * a + b * b - d * d) / product, -1.0, 1.0)));
}

/// Change of the knee's speed at each key between two that are a frame away; 0 elsewhere: between
/// keys further apart the knee goes its own way.
std::vector<float> KneeJerks(const LimbRecord& leg, const std::vector<LegRead>& reads,
                             TimeValue frame, bool held) {
  std::vector<float> knees, jerks(reads.size());
  for (const LegRead& read : reads) {
    knees.push_back(KneeAt(leg, Length((held ? read.heldAnkle : read.ankle) - read.hip)));
  }
  for (std::size_t k = 1; k + 1 < reads.size(); ++k) {
    if (!reads[k - 1].isKey || !reads[k].isKey || !reads[k + 1].isKey) continue;
    if (reads[k].time - std::int64_t{reads[k - 1].time} != frame) continue;
    if (reads[k + 1].time - std::int64_t{reads[k].time} != frame) continue;
    jerks[k] = std::fabs(knees[k + 1] - 2 * knees[k] + knees[k - 1]);
  }
  return jerks;
}

/// Marks the contact next to a read; false if keys hold that already.
bool Loosen(LegRun& run, std::size_t at) {
  const auto spanOf = [&run](std::size_t k) { return run.reads[k].span; };
  std::size_t before = at, after = at;
  while (before > 0 && spanOf(before) < 0) --before;
  while (after + 1 < run.reads.size() && spanOf(after) < 0) ++after;
  const bool takeAfter = spanOf(before) < 0 || (spanOf(after) >= 0 && after - at < at - before);
  const int span = spanOf(takeAfter ? after : before);
  if (span < 0 || run.HoldsAlready(span)) return false;
  run.loosen[static_cast<std::size_t>(span)] = true;
  return true;
}

/// True where a foot that stands leaps to the next read, as in a first frame that still has the
/// pose in which the take was set up.
bool Leaps(const LimbRecord& leg, const std::vector<LegRead>& reads, std::size_t k) {
  return k + 1 < reads.size() && reads[k + 1].span == reads[k].span &&
         Length(reads[k + 1].ankle - reads[k].ankle) > kMostAstray * leg.totalLength;
}

/// Marks the contacts that are held too firmly; false if none is.
bool FindJerks(const LimbRecord& leg, LegRun& run, TimeValue frame) {
  run.loosen.assign(run.holds.size(), false);
  const std::vector<float> was = KneeJerks(leg, run.reads, frame, false);
  const std::vector<float> is = KneeJerks(leg, run.reads, frame, true);
  bool any = false;
  for (std::size_t k = 0; k < is.size(); ++k) {
    const std::size_t from = k - std::min(k, kFramesAround);
    const std::size_t to = std::min(k + kFramesAround + 1, was.size());
    const float around = *std::max_element(was.begin() + static_cast<std::ptrdiff_t>(from),
                                           was.begin() + static_cast<std::ptrdiff_t>(to));
    const bool jerked = is[k] > kJerkFactor * around + kJerkRadians;
    const bool astray = run.reads[k].span >= 0 && !Leaps(leg, run.reads, k) &&
                        Length(run.reads[k].Shift()) > kMostAstray * leg.totalLength;
    if (jerked || astray) any = Loosen(run, k) || any;
  }
  return any;
}

/// `loosest` is the last of kHolds that a contact may come to.
void HoldLeg(const LimbRecord& leg, LegRun& run, TimeValue frame, int loosest) {
  const std::vector<LegRead> asItWas = run.reads;
  run.holds.assign(run.heldSpans.size(), 0);
  HoldOnce(leg, run);
  while (FindJerks(leg, run, frame)) {
    bool loosened = false;
    for (std::size_t s = 0; s < run.holds.size(); ++s) {
      if (!run.loosen[s] || run.holds[s] == loosest) continue;
      ++run.holds[s];
      loosened = true;
    }
    if (!loosened) return;
    run.reads = asItWas;
    HoldOnce(leg, run);
  }
}

// --- Keys ----------------------------------------------------------------------------------------

/// Brings the leg, posed as it was, to where the read has it.
void PoseHeld(LimbRecord& leg, const LegRead& read, const EvalContext& context) {
  LimbPose& pose = leg.pose;
  const Point3 was = read.ankle - read.hip, is = read.heldAnkle - read.hip;
  const Quat swing = AngleAxis(Atan2(Length(Cross(was, is)), Dot(was, is)), Cross(was, is));
  const Quat& base = leg.base.rotation;
  pose.limbRotation = Normalized(Conjugate(base) * swing * base * pose.limbRotation);
  pose.swivel = UnitFrame(pose.limbRotation, {}).row[2];
  pose.worldTarget = read.heldAnkle;
  pose.localTarget = IntoBase(leg, read.heldAnkle);
  // The same length needs no bend; what rounding leaves must not open a knee that is nearly
  // straight.
  if (std::fabs(Length(was) - Length(is)) > 1e-5f * leg.totalLength) {
    SolveToLocalTarget(leg, context);
  }
  const LimbShape shape = ForwardLimb(LengthsOf(leg), pose.jointAngles, pose.limbRotation);
  pose.endRotation =
      Normalized(Conjugate(LastSegmentInWorld(leg, shape)) * (read.turn * read.foot));
}

bool IsAsItWas(const LegRead& read) { return read.heldAnkle == read.ankle && read.turn == Quat{}; }

/// The key of a read, the leg posed as it was there.
LimbKey KeyOf(MotionCore& posed, int side, const LegRead& read, int state, bool slides,
              const EvalContext& context) {
  LimbRecord& leg = posed.leg[side];
  if (!IsAsItWas(read)) PoseHeld(leg, read, context);
  leg.keyState = static_cast<LegState>(state);
  if (read.span < 0) return CurrentLimbKey(posed, leg);
  leg.pose.pivotKind = kNamedPivot;
  leg.pose.pivotIndex = read.pivot;
  LimbKey key = CurrentLimbKey(posed, leg, kPlantedKey);
  // Each contact starts anew; within it the foot goes on from where it stood, or slides on.
  if (state == kTouch || slides) key.ikJoinedPivot = 0;
  key.objectTarget = read.heldAnkle;
  if (HasObjectFrame(leg)) key.objectTarget = read.heldAnkle * Inverse(leg.objectFrame);
  SetKeyPivot(leg, key, PivotChoice{kNamedPivot, read.pivot, 0, 0});
  return key;
}

int WriteKey(MotionCore& core, MotionCore& posed, const LegRun& run, const LegRead& read,
             const EvalContext& context) {
  LimbRecord& leg = core.leg[run.side];
  const int index = KeyAt(leg.table.track, read.time);
  const int state = InFreeForm(core.footsteps, read.time)
                        ? kMove
                        : FootstepLegState(core.footsteps, run.side, read.time);
  if (index >= 0) {
    leg.table.keys[static_cast<std::size_t>(index)].keyState = state;
    MarkDirty(leg.table.track, index, index);
  }
  const bool stays = read.span < 0 ? IsAsItWas(read) : run.HoldsAlready(read.span);
  if (!read.isKey || stays) return kDone;
  const bool slides = read.span >= 0 && run.Slides(read.span);
  const LimbKey key = KeyOf(posed, run.side, read, state, slides, context);
  const std::uint32_t links =
      index >= 0 ? leg.table.track.times[static_cast<std::size_t>(index)].linkMask : kAllLinks;
  const KeyRefusal refusal = PutKey(core, LimbId(leg), read.time, key, links);
  // What would not be finite stays as it was.
  return refusal == KeyRefusal::kOutOfMemory ? kRefused : kDone;
}

}  // namespace

int HoldFeet(MotionCore& core, const MotionCore& source, const HoldFeetOptions& options,
             const EvalContext& context) {
  MotionCore posed = source;
  posed.inPlace = false;
  SetFreeForm(posed, true);  // its own keys are asked alone
  LegRun runs[2];
  for (int side = 0; side < 2; ++side) {
    runs[side].side = side;
    for (const FootstepSpan& span : core.footsteps.spans[side]) {
      runs[side].heldSpans.push_back(!options.anew && IsHeld(core.leg[side], span));
    }
    runs[side].reads = TimesToRead(core, runs[side]);
  }
  ForEachRead(posed, runs, context, [&](int side, LegRead& read) { Read(posed.leg[side], read); });
  const int loosest = options.firmly ? kLoosestFirm : kAsItWas;
  for (LegRun& run : runs) HoldLeg(core.leg[run.side], run, core.ticksPerFrame, loosest);
  int done = kDone;
  ForEachRead(posed, runs, context, [&](int side, LegRead& read) {
    if (WriteKey(core, posed, runs[side], read, context) == kRefused) done = kRefused;
  });
  return done;
}

}  // namespace strider
