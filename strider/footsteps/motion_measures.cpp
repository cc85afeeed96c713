#include "strider/footsteps/motion_measures.h"

#include <algorithm>
#include <cmath>

#include "strider/footsteps/contact.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/footsteps/gait_measures.h"

namespace strider {
namespace {

// The foot passes an edge between two frames; over a quarter of a frame its path is as good as
// straight.
constexpr int kTreadSamplesPerFrame = 4;

float Degrees(float radians) { return RadiansToDegrees(radians); }

// --- Feet and ground ---------------------------------------------------------------------------

/// The foot's heading less its footstep's, within half a turn.
float HeadingError(const Matrix3& foot, float angle) {
  const Point3 ahead = foot.row[1];
  return Atan2(Dot(ahead, LeftOf(angle)), Dot(ahead, ForwardOf(angle)));
}

void MeasureFootprints(MeasureRun& run) {
  const FootstepTrack& track = run.core.footsteps;
  for (int side = 0; side < 2; ++side) {
    for (const FootstepSpan& span : track.spans[side]) {
      const PoseSample pose = run.At(span.start + span.duration / 2);
      const auto i = static_cast<std::size_t>(span.footstep);
      const LegSample& leg = pose.leg[side];
      const MotionSpot spot{pose.time, side, span.footstep};
      run.out.footprintDistance.Add(run.Percent(Length(leg.print - track.position[i])), spot);
      const float error = std::fabs(HeadingError(leg.foot, track.angle[i]));
      run.out.footprintHeading.Add(Degrees(error), spot);
    }
  }
}

void MeasureSkate(MeasureRun& run) {
  for (std::size_t f = 1; f < run.frames.size(); ++f) {
    const PoseSample& before = run.frames[f - 1];
    const PoseSample& now = run.frames[f];
    for (int side = 0; side < 2; ++side) {
      const FootstepSpan* span = ContactOver(run.core.footsteps, side, before.time, now.time);
      if (!span) continue;
      const Point3 moved = now.leg[side].earlierPivot - before.leg[side].pivotPlace;
      run.out.skate.Add(run.Percent(Length(moved)), {before.time, side, span->footstep});
    }
  }
}

void MeasureGround(MeasureRun& run) {
  const FootstepTrack& track = run.core.footsteps;
  for (const PoseSample& pose : run.frames) {
    for (int side = 0; side < 2; ++side) {
      const FootstepSpan* span = ContactOver(track, side, pose.time, pose.time);
      for (const Point3& point : pose.leg[side].sole) {
        const float depth = GroundUnder(track, side, pose.time, point) - point.y;
        run.out.groundDepth.Add(run.Percent(depth), {pose.time, side, span ? span->footstep : -1});
      }
    }
  }
}

void MeasureClearance(MeasureRun& run, const Swing& swing) {
  const FootstepTrack& track = run.core.footsteps;
  const TimeValue quarter = (swing.touch - swing.lift) / 4;
  for (const PoseSample& pose : run.FramesWithin(swing.lift + quarter, swing.touch - quarter)) {
    const LegSample& leg = pose.leg[swing.side];
    const MotionSpot spot{pose.time, swing.side, swing.to};
    for (const Point3& point : leg.sole) {
      const float ground = GroundUnder(track, swing.side, pose.time, point);
      run.out.soleClearance.Add(run.Percent(point.y - ground), spot);
    }
    run.out.ankleClearance.Add(run.Percent(run.AnkleRise(pose, swing.side)), spot);
  }
}

/// The line half way between two footsteps of differing heights, where one tread ends.
struct TreadEdge {
  Point3 middle;  // its height is the upper tread's
  Point3 across;  // unit, in plan, the way that the stairs are walked
};

/// False where the two lie at one height.
bool EdgeBetween(const FootstepTrack& track, int from, int to, float leg, TreadEdge& edge) {
  if (from < 0 || to < 0) return false;
  const auto a = static_cast<std::size_t>(from), b = static_cast<std::size_t>(to);
  const Point3 way = track.position[b] - track.position[a];
  // A thousandth of the leg is rounding, not a step.
  if (std::fabs(way.y) < 0.001f * leg) return false;
  edge.middle = Lerp(track.position[a], track.position[b], 0.5f);
  edge.middle.y = std::max(track.position[a].y, track.position[b].y);
  // Edges lie square to the way people face on the stairs; who steps sideways faces along them.
  const Point3 flat{way.x, 0, way.z};
  const Point3 facing = Normalized(ForwardOf(track.angle[a]) + ForwardOf(track.angle[b]));
  const bool sideways = std::fabs(Dot(flat, facing)) < 0.25f * Length(flat);
  edge.across = sideways ? Normalized(flat, facing) : facing;
  return true;
}

void MeasureTreads(MeasureRun& run, const Swing& swing) {
  const FootstepTrack& track = run.core.footsteps;
  const int between = FootstepsAbout(track, swing.side, swing.lift + 1).opposite;
  TreadEdge edges[2];
  int numEdges = 0;
  numEdges += EdgeBetween(track, swing.from, between, run.leg, edges[numEdges]);
  numEdges += EdgeBetween(track, between, swing.to, run.leg, edges[numEdges]);
  if (numEdges == 0) return;
  const TimeValue step = std::max(run.core.ticksPerFrame / kTreadSamplesPerFrame, 1);
  PoseSample before = run.At(swing.lift);
  for (TimeValue t = swing.lift; t < swing.touch;) {
    t = std::min(Later(t, step), swing.touch);
    PoseSample now = run.At(t);
    for (int e = 0; e < numEdges; ++e) {
      for (int i = 0; i < kNumSolePoints; ++i) {
        const Point3 from = before.leg[swing.side].sole[i] - edges[e].middle;
        const Point3 to = now.leg[swing.side].sole[i] - edges[e].middle;
        const float s0 = Dot(from, edges[e].across), s1 = Dot(to, edges[e].across);
        if (s0 == s1 || (s0 < 0) == (s1 < 0)) continue;
        const float height = Lerp(from, to, s0 / (s0 - s1)).y;
        run.out.treadClearance.Add(run.Percent(height), {t, swing.side, swing.to});
      }
    }
    before = std::move(now);
  }
}

// --- Legs --------------------------------------------------------------------------------------

void MeasureLegs(MeasureRun& run) {
  for (std::size_t f = 0; f < run.frames.size(); ++f) {
    const PoseSample& now = run.frames[f];
    for (int side = 0; side < 2; ++side) {
      const LegSample& leg = now.leg[side];
      const MotionSpot spot{now.time, side};
      if (leg.reach > 0) run.out.reachExcess.Add(100 * (leg.reach - 1), spot);
      run.out.kneeBackwards.Add(Degrees(-leg.flexion), spot);
      if (f == 0) continue;
      const float change = leg.flexion - run.frames[f - 1].leg[side].flexion;
      run.out.kneeChange.Add(Degrees(std::fabs(change)), spot);
    }
  }
}

// --- Evenness ----------------------------------------------------------------------------------

/// Change of the turn from one frame to the next, radians.
float TurnAcceleration(const Quat& a, const Quat& b, const Quat& c) {
  const Quat onB = OnSideOf(b, a), onC = OnSideOf(c, onB);
  return 2 * Length(LnDif(onB, onC) - LnDif(a, onB));
}

void MeasureEvenness(MeasureRun& run) {
  for (std::size_t f = 2; f < run.frames.size(); ++f) {
    const PoseSample &a = run.frames[f - 2], &b = run.frames[f - 1], &c = run.frames[f];
    const auto second = [&run](const Point3& p0, const Point3& p1, const Point3& p2) {
      return run.Percent(Length((p2 - p1) - (p1 - p0)));
    };
    run.out.bodyAcceleration.Add(second(a.body, b.body, c.body), {b.time, -1, -1, "body"});
    for (int side = 0; side < 2; ++side) {
      run.out.ankleAcceleration.Add(second(a.leg[side].ankle, b.leg[side].ankle, c.leg[side].ankle),
                                    {b.time, side, -1, "ankle"});
    }
    for (std::size_t j = 0; j < b.joints.size(); ++j) {
      const float turn = TurnAcceleration(a.joints[j].turn, b.joints[j].turn, c.joints[j].turn);
      run.out.jointAcceleration.Add(Degrees(turn), {b.time, -1, -1, b.joints[j].name});
    }
  }
}

/// Sampled at 160 ticks whatever the frame rate, as gravity is written.
void MeasureFlights(MeasureRun& run) {
  const double gravity = run.core.body.gravAccel;
  for (const Interval& air : AirbornePeriods(run.core.footsteps)) {
    for (TimeValue t = Later(air.start, kDynamicsFrame); t <= Later(air.end, -kDynamicsFrame);
         t = Later(t, kDynamicsFrame)) {
      const double before = run.At(t - kDynamicsFrame).liftedHeight;
      const double now = run.At(t).liftedHeight;
      const double after = run.At(t + kDynamicsFrame).liftedHeight;
      const double fall = -(after - 2 * now + before);
      run.out.flightError.Add(static_cast<float>(100 * std::fabs(fall / gravity - 1)), {t});
    }
  }
}

void MeasureHead(MeasureRun& run) {
  for (const PoseSample& pose : run.frames) {
    run.out.headTilt.Add(Degrees(pose.headTilt), {pose.time, -1, -1, "head"});
  }
}

}  // namespace

void MeasuredRange::Add(float value, const MotionSpot& at) {
  // A value that is no number is as bad as can be, both ways.
  if (!IsFinite(value)) {
    low = -std::numeric_limits<float>::infinity();
    high = std::numeric_limits<float>::infinity();
    lowAt = highAt = at;
  }
  if (value < low) {
    low = value;
    lowAt = at;
  }
  if (value > high) {
    high = value;
    highAt = at;
  }
  ++count;
}

MotionMeasures MeasureMotion(const MotionCore& core, const EvalContext& context) {
  MeasureRun run(core, context);
  run.out.legLength = run.leg;
  if (core.freeForm || core.footsteps.numFootsteps == 0 || !(run.leg > 0)) return run.out;
  run.TakeFrames();
  MeasureFootprints(run);
  MeasureSkate(run);
  MeasureGround(run);
  for (const Swing& swing : Swings(core.footsteps)) {
    MeasureClearance(run, swing);
    MeasureTreads(run, swing);
  }
  MeasureLegs(run);
  MeasureEvenness(run);
  MeasureFlights(run);
  MeasureHead(run);
  MeasureGait(run);
  return run.out;
}

}  // namespace strider
