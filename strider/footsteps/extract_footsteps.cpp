#include "strider/footsteps/extract_footsteps.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>

#include "strider/core/evaluate.h"
#include "strider/core/limb_pivot.h"
#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

// A key holds its foot where its target rules as good as alone.
constexpr float kHoldingBlend = 0.99f;
// The longest contact that counts as none, and the longest gap that is closed, in frames.
constexpr int kShortContact = 3, kShortGap = 2;
// A foot that goes further in a frame, of its size, stands elsewhere, however keys hold it.
constexpr float kLeap = 0.5f;
// The middles of heel and toe row, as named pivots count.
constexpr int kHeelPivot = 2, kToePivot = 5;
// Cosine of the sole's tilt from where a foot counts as tipped: 30 degrees.
constexpr float kTipped = 0.8660254f;
// A foot that points straight up or down has no heading of its own; its side axis tells.
constexpr float kLeastPlan = 0.05f;

constexpr float kFarBelow = -1000000.0f;

float PlanLength(const Point3& v) { return std::sqrt(v.x * v.x + v.z * v.z); }

/// Heading of a foot whose frame has Y to the toes and Z to the right.
float HeadingOfFoot(const Matrix3& foot) {
  const Point3& ahead = foot.row[1];
  if (PlanLength(ahead) >= kLeastPlan) return Atan2(-ahead.z, ahead.x);
  const Point3& right = foot.row[2];
  return Atan2(right.x, right.z);
}

/// X down to the sole, Y to the toes, Z right, as a flat foot of a heading has them.
Matrix3 FlatFoot(float heading) {
  Matrix3 flat;
  flat.row[0] = {0, -1, 0};
  flat.row[1] = ForwardOf(heading);
  flat.row[2] = -LeftOf(heading);
  return flat;
}

float TurnBetween(float from, float to) { return std::fabs(UnwrapTo(0, to - from)); }

/// The sub-track of the foot, whose keys say where it is.
std::uint32_t EndLinkMask(const LimbRecord& leg) {
  const KeyTrack& track = leg.table.track;
  if (!track.separate) return kAllLinks;
  return std::uint32_t{1} << (std::min(NumLimbLinks(leg), track.numSubTracks) - 1);
}

TimeValue TimeOfFrame(std::int64_t frame, TimeValue ticksPerFrame) {
  return Later(0, frame * ticksPerFrame);
}

}  // namespace

FootSample SampleFoot(const LimbRecord& leg) {
  const Matrix3& foot = leg.frame[NumLimbLinks(leg) - 1];
  FootSample sample;
  sample.ankle = foot.Origin();
  sample.heading = HeadingOfFoot(foot);
  const Point3 heel = PivotPoint(leg, PivotChoice{kNamedPivot, kHeelPivot, 0, 0});
  const Point3 toes = PivotPoint(leg, PivotChoice{kNamedPivot, kToePivot, 0, 0});
  const bool onToes = (toes * foot).y <= (heel * foot).y;
  const Point3& lower = onToes ? toes : heel;
  const Point3 flat = TransformVector(lower, FlatFoot(sample.heading));
  sample.print = lower * foot - flat - Point3{0, leg.extremityHeight, 0};
  return sample;
}

Point3 PlaceOfPrint(const LimbRecord& leg) {
  const Matrix3& foot = leg.frame[NumLimbLinks(leg) - 1];
  if (-foot.row[0].y < kTipped) return SampleFoot(leg).print;
  return Point3{leg.extremityHeight, 0, 0} * foot;
}

namespace {

/// True where the key in force holds the foot on the ground and the next one does not let go.
bool IsHeldByKeys(const LimbRecord& leg, TimeValue t) {
  if (leg.table.Empty()) return false;
  const LimbKey& key = leg.table[FindKey(leg.table.track, t, EndLinkMask(leg))];
  return key.ikBlend > kHoldingBlend && InObjectSpace(key) && leg.pose.ikBlend > kHoldingBlend &&
         leg.pose.ikSpace == kObjectSpace;
}

/// A frame that keys hold by itself, with none held on either side, is a foot in passing.
void ForgetTouches(std::vector<FootSample>& foot) {
  for (std::size_t f = 2; f < foot.size(); ++f) {
    if (!foot[f].planted && !foot[f - 2].planted) foot[f - 1].planted = false;
  }
}

}  // namespace

FootSamples SampleFeet(const MotionCore& core, int firstFrame, int numFrames, bool fromKeys,
                       const EvalContext& context) {
  MotionCore posed = core;
  posed.inPlace = false;
  FootSamples feet;
  for (auto& side : feet.side) side.reserve(static_cast<std::size_t>(std::max(numFrames, 0)));
  for (int f = 0; f < numFrames; ++f) {
    const TimeValue t = TimeOfFrame(std::int64_t{firstFrame} + f, core.ticksPerFrame);
    CorePose(posed, t, context);
    for (int side = 0; side < 2; ++side) {
      FootSample sample = SampleFoot(posed.leg[side]);
      sample.planted = fromKeys && IsHeldByKeys(posed.leg[side], t);
      feet.side[side].push_back(sample);
    }
  }
  for (auto& foot : feet.side) ForgetTouches(foot);
  return feet;
}

void MarkStanding(std::vector<FootSample>& foot, const ExtractionSettings& settings,
                  float legLength) {
  const float most = settings.fsExtractionTol * legLength;
  for (FootSample& sample : foot) sample.planted = false;
  for (std::size_t f = 1; f < foot.size(); ++f) {
    if (Length(foot[f].ankle - foot[f - 1].ankle) <= most) {
      foot[f - 1].planted = foot[f].planted = true;
    }
  }
}

void UnmarkRaised(std::vector<FootSample>& foot, const ExtractionSettings& settings,
                  float legLength) {
  if (!settings.fsUseVerticalTol) return;
  const float around = settings.fsVerticalTol * legLength;
  for (FootSample& sample : foot) {
    const float height = sample.ankle.y;
    // Also where a height is no number.
    if (!(height <= settings.fsZLevel + around && height >= settings.fsZLevel - around)) {
      sample.planted = false;
    }
  }
}

void UnmarkRanges(std::vector<FootSample>& foot, const std::vector<FreeFormRange>& ranges,
                  int firstFrame) {
  for (const FreeFormRange& range : ranges) {
    const std::int64_t end = std::min<std::int64_t>(std::int64_t{range.last} - firstFrame + 1,
                                                    static_cast<std::int64_t>(foot.size()));
    for (std::int64_t f = std::max<std::int64_t>(std::int64_t{range.first} - firstFrame, 0);
         f < end; ++f) {
      foot[static_cast<std::size_t>(f)].planted = false;
    }
  }
}

namespace {

using Foot = std::vector<FootSample>;

/// Frames in the air between two contacts count as standing where there are `length` of them,
/// unless the foot stands elsewhere then: further off than a `leap` above 0.
void CloseGaps(Foot& foot, std::size_t length, float leap) {
  for (std::size_t f = 0; f + length + 1 < foot.size(); ++f) {
    if (!foot[f].planted || !foot[f + length + 1].planted) continue;
    if (leap > 0 && Length(foot[f + length + 1].print - foot[f].print) > leap) continue;
    for (std::size_t k = 1; k <= length; ++k) foot[f + k].planted = true;
  }
}

/// One run after the other from frame `from` on; false if there is none.
bool NextRun(const Foot& foot, std::size_t from, std::size_t& first, std::size_t& last) {
  first = from;
  while (first < foot.size() && !foot[first].planted) ++first;
  if (first >= foot.size()) return false;
  last = first;
  while (last + 1 < foot.size() && foot[last + 1].planted) ++last;
  return true;
}

void DropShortContacts(Foot& foot, int side, std::vector<PlantedRun>& dropped) {
  std::size_t first = 0, last = 0;
  for (std::size_t f = 0; NextRun(foot, f, first, last); f = last + 1) {
    const bool inside = first > 0 && last + 1 < foot.size();
    if (!inside || last - first + 1 > kShortContact) continue;
    dropped.push_back({side, static_cast<int>(first), static_cast<int>(last)});
  }
  for (std::size_t f = 0; f + kShortContact + 1 < foot.size(); ++f) {
    if (foot[f].planted || foot[f + kShortContact + 1].planted) continue;
    for (std::size_t k = 1; k <= kShortContact; ++k) foot[f + k].planted = false;
  }
  std::erase_if(dropped, [&](const PlantedRun& run) {
    return run.side == side && foot[static_cast<std::size_t>(run.first)].planted;
  });
}

void AddRuns(const Foot& foot, int side, float leap, std::vector<PlantedRun>& runs) {
  std::size_t first = 0, last = 0;
  for (std::size_t f = 0; NextRun(foot, f, first, last); f = last + 1) {
    // In its last frame the foot lifts, which may well be with a leap.
    for (std::size_t k = first + 1; leap > 0 && k < last; ++k) {
      if (Length(foot[k].print - foot[k - 1].print) <= leap) continue;
      runs.push_back({side, static_cast<int>(first), static_cast<int>(k) - 1});
      first = k;
    }
    runs.push_back({side, static_cast<int>(first), static_cast<int>(last)});
  }
}

}  // namespace

std::vector<PlantedRun> FindPlantedRuns(FootSamples& feet, float leap,
                                        std::vector<PlantedRun>& dropped) {
  std::vector<PlantedRun> runs;
  dropped.clear();
  for (int side = 0; side < 2; ++side) {
    Foot& foot = feet.side[side];
    for (std::size_t gap = 1; gap <= kShortGap; ++gap) CloseGaps(foot, gap, leap);
    DropShortContacts(foot, side, dropped);
    if (foot.size() > 1 && foot[1].planted) foot[0].planted = true;
    AddRuns(foot, side, leap, runs);
  }
  const auto earlier = [](const PlantedRun& a, const PlantedRun& b) {
    return a.first != b.first ? a.first < b.first : a.side > b.side;
  };
  std::stable_sort(runs.begin(), runs.end(), earlier);
  std::stable_sort(dropped.begin(), dropped.end(), earlier);
  return runs;
}

int ExtractionReport::NumSliding() const {
  return static_cast<int>(std::count_if(footsteps.begin(), footsteps.end(),
                                        [](const ExtractedFootstep& f) { return f.sliding; }));
}

float ExtractionLegLength(const MotionCore& core) { return core.leg[kRight].dimensions[0].x; }
float ExtractionFootSize(const LimbRecord& leg) { return leg.toeLength + leg.heelLength; }

namespace {

/// Where a contact's foot stands, and how far it strays from its middle.
ExtractedFootstep MeasureRun(const Foot& foot, const PlantedRun& run, float& highest) {
  ExtractedFootstep found;
  found.side = run.side;
  const FootSample& middle = foot[static_cast<std::size_t>((run.last - run.first) / 2 + run.first)];
  highest = kFarBelow;
  for (int f = run.first; f <= run.last; ++f) {
    const FootSample& sample = foot[static_cast<std::size_t>(f)];
    highest = std::max(highest, sample.print.y);
    found.moved = std::max(found.moved, PlanLength(sample.print - middle.print));
    found.turned = std::max(found.turned, TurnBetween(middle.heading, sample.heading));
  }
  return found;
}

/// True where the foot of a run leaps to another place without a frame between.
bool IsSetDownAnew(const std::vector<PlantedRun>& runs, std::size_t run) {
  for (std::size_t k = run + 1; k < runs.size() && runs[k].first <= runs[run].last + 1; ++k) {
    if (runs[k].side == runs[run].side) return runs[k].first == runs[run].last + 1;
  }
  return false;
}

/// The motion stays free between the footsteps around each range.
void OpenRanges(FootstepTrack& track, const std::vector<FreeFormRange>& ranges) {
  for (int i = 0; i < track.numFootsteps && !ranges.empty(); ++i) {
    TimeValue start = 0, end = 0;
    if (!FreeFormInterval(track, i, start, end)) continue;
    const bool holdsRange = std::any_of(ranges.begin(), ranges.end(), [&](const FreeFormRange& r) {
      const std::int64_t frame = track.ticksPerFrame;
      return r.first * frame <= end && r.last * frame >= start;
    });
    if (holdsRange) (void)SetFreeFormAfter(track, i, true);
  }
}

}  // namespace

int AppendFootstepsOfRuns(MotionCore& target, const FootSamples& feet,
                          const std::vector<PlantedRun>& runs, const ExtractionSettings& settings,
                          int firstFrame, bool fromKeys, ExtractionReport& report) {
  FootstepTrack& track = target.footsteps;
  const TimeValue frame = target.ticksPerFrame;
  for (std::size_t r = 0; r < runs.size(); ++r) {
    const PlantedRun& run = runs[r];
    const Foot& foot = feet.side[run.side];
    float highest = 0;
    ExtractedFootstep found = MeasureRun(foot, run, highest);
    const float size = ExtractionFootSize(target.leg[run.side]);
    found.sliding = !settings.conversionFlag ||
                    found.moved > size * settings.fsSlidingDist / 50.0f ||
                    found.turned > settings.fsSlidingAngle * 3.1415927f / 180.0f;

    const int middle = (run.last - run.first) / 2 + run.first;
    const FootSample& anchor = foot[static_cast<std::size_t>(fromKeys ? run.first : middle)];
    NewFootstep step;
    step.side = run.side;
    step.position = anchor.print;
    step.position.y = fromKeys ? foot[static_cast<std::size_t>(middle)].print.y : highest;
    step.angle = anchor.heading;
    found.firstFrame = run.first + firstFrame;
    found.lastFrame = run.last + firstFrame;
    const bool goesOn = IsSetDownAnew(runs, r);
    const std::int64_t lift = std::int64_t{found.lastFrame} + (fromKeys && !goesOn ? 0 : 1);
    step.start = std::max(TimeOfFrame(found.firstFrame, frame), 0);
    const TimeValue end = TimeOfFrame(lift, frame);
    step.duration = std::max(end - step.start, frame);
    const bool isOver = found.firstFrame < 0 && end <= 0;
    if (isOver || !IsFinite(step.position) || !IsFinite(step.angle)) continue;
    if (Later(step.start, step.duration) >= kFootstepTimeLimit) return kRefused;
    const int index = track.numFootsteps;
    if (InsertFootstep(track, index, step) == kRefused) return kRefused;
    track.active.Set(index, true);
    found.start = step.start;
    found.duration = step.duration;
    report.footsteps.push_back(found);
  }
  return kDone;
}

int ExtractFootsteps(MotionCore& target, const MotionCore& source,
                     const ExtractionSettings& settings, int firstFrame, int numFrames,
                     bool fromKeys, ExtractionReport& report, const EvalContext& context) {
  report = {};
  ClearFootsteps(target.footsteps);
  SetFreeForm(target, true);
  if (numFrames < 2) return 0;
  try {
    FootstepTrack& track = target.footsteps;
    track.ticksPerFrame = target.ticksPerFrame;
    FootSamples feet = SampleFeet(source, firstFrame, numFrames, fromKeys, context);
    const float legLength = ExtractionLegLength(source);
    for (Foot& foot : feet.side) {
      if (!fromKeys) MarkStanding(foot, settings, legLength);
      UnmarkRaised(foot, settings, legLength);
      UnmarkRanges(foot, settings.freeForm, firstFrame);
    }
    // A foot that is held on the ground all along may still be set down anew.
    const float leap = fromKeys ? std::max(settings.fsExtractionTol * legLength,
                                           kLeap * ExtractionFootSize(source.leg[kRight]))
                                : 0;
    const std::vector<PlantedRun> runs = FindPlantedRuns(feet, leap, report.dropped);
    for (PlantedRun& run : report.dropped) {
      run.first += firstFrame;
      run.last += firstFrame;
    }
    if (AppendFootstepsOfRuns(target, feet, runs, settings, firstFrame, fromKeys, report) ==
        kDone) {
      if (settings.fsUseFlatten) {
        for (int i = 0; i < track.numFootsteps; ++i) {
          track.position[static_cast<std::size_t>(i)].y = settings.fsZLevel;
        }
      }
      NormalizeAngles(track);
      TransformsFromPositions(track);
      OpenRanges(track, settings.freeForm);
      if (track.numFootsteps > 0) return 1;
    }
  } catch (const std::bad_alloc&) {
  }
  ClearFootsteps(target.footsteps);
  report.footsteps.clear();
  return 0;
}

}  // namespace strider
