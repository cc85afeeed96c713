#include "strider/footsteps/gait_measures.h"

#include <algorithm>
#include <cmath>

#include "strider/footsteps/contact.h"
#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

// Footsteps from the start, the standing pair included, and from the end, in which a motion still
// gathers way and comes to rest. A short motion has fewer to spare at its start.
constexpr int kGatherFootsteps = 4;
constexpr int kRestFootsteps = 2;
// Footsteps count as regular within this share of the leg's length and angle (radians).
constexpr float kRegularShare = 0.005f;
constexpr float kRegularAngle = 0.005f;

float Degrees(float radians) { return RadiansToDegrees(radians); }

// --- What repeats -------------------------------------------------------------------------------

/// The settled middle of a motion, footsteps `first` to `last`, and how it repeats.
struct Middle {
  int first = 0, last = 0;
  TimeValue step = 0;    // ticks from one touch to the next
  float stepLength = 0;  // along the path
  float angle = 0;       // heading of the path
  Point3 onPath;         // a point half way between the two feet's lines
};

TimeValue TouchOf(const FootstepTrack& track, int footstep) {
  return SpanOf(track, footstep)->start;
}

/// False where footsteps do not alternate evenly on a straight, level path.
bool FindMiddle(const MeasureRun& run, Middle& middle) {
  const FootstepTrack& track = run.core.footsteps;
  middle.first = std::min(kGatherFootsteps, (track.numFootsteps - 2) / 2);
  middle.last = track.numFootsteps - 1 - kRestFootsteps;
  if (middle.last - middle.first < 2) return false;
  const auto first = static_cast<std::size_t>(middle.first);
  middle.angle = track.angle[first];
  middle.step = TouchOf(track, middle.first + 1) - TouchOf(track, middle.first);
  const Point3 ahead = ForwardOf(middle.angle), left = LeftOf(middle.angle);
  const Point3 firstStep = track.position[first + 1] - track.position[first];
  middle.stepLength = Dot(firstStep, ahead);
  middle.onPath = Lerp(track.position[first], track.position[first + 1], 0.5f);
  const float slack = kRegularShare * run.leg;
  for (std::size_t i = first; i < static_cast<std::size_t>(middle.last); ++i) {
    const Point3 way = track.position[i + 1] - track.position[i];
    const int footstep = static_cast<int>(i);
    const bool even =
        track.side[i] != track.side[i + 1] &&
        TouchOf(track, footstep + 1) - TouchOf(track, footstep) == middle.step &&
        std::fabs(Dot(way, ahead) - middle.stepLength) < slack && std::fabs(way.y) < slack &&
        std::fabs(std::fabs(Dot(way, left)) - std::fabs(Dot(firstStep, left))) < slack &&
        std::fabs(track.angle[i + 1] - middle.angle) < kRegularAngle;
    if (!even) return false;
  }
  return middle.step > 0;
}

// --- Symmetry -----------------------------------------------------------------------------------

/// The motion as a mirror along its path shows it half a cycle, one step, later.
class Mirror {
 public:
  explicit Mirror(const Middle& middle)
      : left_(LeftOf(middle.angle)),
        onPath_(middle.onPath),
        travel_(middle.stepLength * ForwardOf(middle.angle)) {}

  Point3 Direction(const Point3& v) const { return v - 2 * Dot(v, left_) * left_; }
  Point3 Place(const Point3& p) const { return Direction(p - onPath_) + onPath_ + travel_; }

 private:
  Point3 left_, onPath_, travel_;
};

/// The greatest angle between two axes of a mirrored frame and the other's. The third, which lies
/// across the body, turns about under a mirror and follows from these two.
float MirroredAngle(const Mirror& mirror, const Matrix3& frame, const Matrix3& other) {
  float worst = 0;
  for (int i = 0; i < 2; ++i) {
    const Point3 there = mirror.Direction(frame.row[i]);
    worst = std::max(worst, Atan2(Length(Cross(there, other.row[i])), Dot(there, other.row[i])));
  }
  return worst;
}

void CompareMirrored(MeasureRun& run, const Mirror& mirror, const PoseSample& now,
                     const PoseSample& later) {
  MotionMeasures& out = run.out;
  const auto place = [&](const Point3& here, const Point3& there, const MotionSpot& spot) {
    out.mirrorPlace.Add(run.Percent(Length(mirror.Place(here) - there)), spot);
  };
  const auto angle = [&](const Matrix3& here, const Matrix3& there, const MotionSpot& spot) {
    out.mirrorAngle.Add(Degrees(MirroredAngle(mirror, here, there)), spot);
  };
  place(now.body, later.body, {now.time, -1, -1, "body"});
  angle(now.pelvis, later.pelvis, {now.time, -1, -1, "pelvis"});
  for (int side = 0; side < 2; ++side) {
    const LegSample &here = now.leg[side], &there = later.leg[1 - side];
    place(here.ankle, there.ankle, {now.time, side, -1, "ankle"});
    place(here.knee, there.knee, {now.time, side, -1, "knee"});
    angle(here.thigh, there.thigh, {now.time, side, -1, "thigh"});
    angle(here.calf, there.calf, {now.time, side, -1, "calf"});
    angle(here.foot, there.foot, {now.time, side, -1, "foot"});
  }
}

/// Spine and arms vary from key to key so that no two steps look alike; without their keys what
/// remains has to repeat.
MotionCore WithoutVariations(const MotionCore& core) {
  MotionCore quiet = core;
  ClearKeys(quiet.spine.table);
  for (LimbRecord& arm : quiet.arm) ClearKeys(arm.table);
  return quiet;
}

void MeasureSymmetry(MeasureRun& run, const Middle& middle) {
  const Mirror mirror(middle);
  MotionCore quiet = WithoutVariations(run.core);
  const FootstepTrack& track = run.core.footsteps;
  const TimeValue end = TouchOf(track, middle.last) - middle.step;
  for (const PoseSample& now : run.FramesWithin(TouchOf(track, middle.first), end)) {
    const PoseSample later = run.At(now.time + middle.step);
    const float body = Length(mirror.Place(now.body) - later.body);
    run.out.mirrorBody.Add(run.Percent(body), {now.time, -1, -1, "body"});
    const PoseSample quietNow = TakePoseSample(quiet, now.time, run.context);
    const PoseSample quietLater = TakePoseSample(quiet, later.time, run.context);
    CompareMirrored(run, mirror, quietNow, quietLater);
  }
}

// --- Speed --------------------------------------------------------------------------------------

float PercentOff(double value, double wanted) {
  return static_cast<float>(100 * std::fabs(value / wanted - 1));
}

void MeasureSpeed(MeasureRun& run, const Middle& middle) {
  const FootstepTrack& track = run.core.footsteps;
  const Point3 ahead = ForwardOf(middle.angle);
  const TimeValue start = TouchOf(track, middle.first), end = TouchOf(track, middle.last);
  // Whole cycles: the body sways within one.
  const int cycles = (middle.last - middle.first) / 2;
  const TimeValue cycle = 2 * middle.step;
  const PoseSample first = run.At(start), last = run.At(start + cycles * cycle);
  const double mean = static_cast<double>(Dot(last.body - first.body, ahead)) / (cycles * cycle);
  run.out.meanSpeed.Add(PercentOff(mean, static_cast<double>(middle.stepLength) / middle.step),
                        {start});
  const auto frames = run.FramesWithin(start, end);
  for (std::size_t f = 1; f < frames.size(); ++f) {
    const Point3 moved = frames[f].body - frames[f - 1].body;
    const double speed =
        static_cast<double>(Length({moved.x, 0, moved.z})) / (frames[f].time - frames[f - 1].time);
    run.out.groundSpeed.Add(PercentOff(speed, mean), {frames[f - 1].time});
  }
}

// --- The figures of people's gait ---------------------------------------------------------------

bool BothOnGround(const FootstepTrack& track, TimeValue t) {
  return ContactOver(track, kRight, t, t) && ContactOver(track, kLeft, t, t);
}

bool IsLower(const PoseSample& a, const PoseSample& b) { return a.body.y < b.body.y; }

void MeasurePelvis(MeasureRun& run, const Middle& middle) {
  const FootstepTrack& track = run.core.footsteps;
  int steps = 0, lowestInSupport = 0;
  MotionSpot lastAmiss{TouchOf(track, middle.first)};
  for (int i = middle.first; i < middle.last; ++i) {
    const TimeValue touch = TouchOf(track, i);
    const auto step = run.FramesWithin(touch, touch + middle.step - 1);
    if (step.empty()) continue;
    const PoseSample& lowest = *std::min_element(step.begin(), step.end(), IsLower);
    ++steps;
    if (BothOnGround(track, lowest.time)) {
      ++lowestInSupport;
    } else {
      lastAmiss = {lowest.time, -1, i};
    }
    if (i + 2 > middle.last) continue;
    const auto cycle = run.FramesWithin(touch, touch + 2 * middle.step);
    const auto ends = std::minmax_element(cycle.begin(), cycle.end(), IsLower);
    run.out.pelvisRise.Add(run.Percent(ends.second->body.y - ends.first->body.y), {touch, -1, i});
  }
  if (steps > 0) {
    const float share = static_cast<float>(lowestInSupport) / static_cast<float>(steps);
    run.out.lowestInSupport.Add(100 * share, lastAmiss);
  }
}

void MeasureSwingLeg(MeasureRun& run, const Swing& swing) {
  const PoseSample lift = run.At(swing.lift), touch = run.At(swing.touch);
  const LegSample& atLift = lift.leg[swing.side];
  run.out.kneeAtLift.Add(Degrees(atLift.flexion), {swing.lift, swing.side, swing.from});
  run.out.toeDownAtLift.Add(Degrees(-atLift.footPitch), {swing.lift, swing.side, swing.from});
  run.out.toeUpAtTouch.Add(Degrees(touch.leg[swing.side].footPitch),
                           {swing.touch, swing.side, swing.to});
  MeasuredRange knee, rise;
  for (const PoseSample& pose : run.FramesWithin(swing.lift, swing.touch)) {
    const MotionSpot spot{pose.time, swing.side, swing.to};
    knee.Add(Degrees(pose.leg[swing.side].flexion), spot);
    rise.Add(run.Percent(run.AnkleRise(pose, swing.side)), spot);
  }
  if (knee.count == 0) return;
  run.out.kneeInSwing.Add(knee.high, knee.highAt);
  run.out.ankleRise.Add(rise.high, rise.highAt);
}

void MeasureArmSwing(MeasureRun& run, const Middle& middle) {
  const FootstepTrack& track = run.core.footsteps;
  for (int i = middle.first; i + 2 <= middle.last; ++i) {
    const TimeValue touch = TouchOf(track, i);
    for (int side = 0; side < 2; ++side) {
      MeasuredRange swing;
      for (const PoseSample& pose : run.FramesWithin(touch, touch + 2 * middle.step)) {
        swing.Add(Degrees(pose.armSwing[side]), {pose.time, side, i});
      }
      if (swing.count > 0) run.out.armSwing.Add(swing.high - swing.low, {touch, side, i});
    }
  }
}

/// Pearson's correlation of upper arm and thigh while the figure is under way: from the first
/// touch after the standing pair's to the last.
void MeasureArmsAgainstLegs(MeasureRun& run) {
  const FootstepTrack& track = run.core.footsteps;
  if (!run.core.structure.arms || track.numFootsteps < 4) return;
  const TimeValue start = TouchOf(track, 2), end = TouchOf(track, track.numFootsteps - 1);
  const auto frames = run.FramesWithin(start, end);
  if (frames.size() < 2) return;
  const auto n = static_cast<double>(frames.size());
  for (int side = 0; side < 2; ++side) {
    double arm = 0, leg = 0, armArm = 0, legLeg = 0, armLeg = 0;
    for (const PoseSample& pose : frames) {
      const double a = pose.armSwing[side], l = pose.leg[side].thighSwing;
      arm += a / n;
      leg += l / n;
      armArm += a * a / n;
      legLeg += l * l / n;
      armLeg += a * l / n;
    }
    const double spread = (armArm - arm * arm) * (legLeg - leg * leg);
    // Arms that hang still do not swing against anything.
    const double correlation = spread > 1e-12 ? (armLeg - arm * leg) / std::sqrt(spread) : 0;
    run.out.armOppose.Add(static_cast<float>(correlation), {start, side});
  }
}

}  // namespace

void MeasureGait(MeasureRun& run) {
  MeasureArmsAgainstLegs(run);
  Middle middle;
  run.out.regular = FindMiddle(run, middle);
  if (!run.out.regular) return;
  MeasureSymmetry(run, middle);
  MeasureSpeed(run, middle);
  MeasurePelvis(run, middle);
  if (run.core.structure.arms) MeasureArmSwing(run, middle);
  const FootstepTrack& track = run.core.footsteps;
  for (const Swing& swing : Swings(track)) {
    if (swing.lift < TouchOf(track, middle.first)) continue;
    if (swing.touch > TouchOf(track, middle.last)) continue;
    MeasureSwingLeg(run, swing);
  }
}

}  // namespace strider
