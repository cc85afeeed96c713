#include "exchange/motion_shots.h"

#include <algorithm>
#include <cmath>

#include "strider/base/trig.h"
#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

// A strip goes this many figure heights, turns this far, or lasts this long, whichever is first.
constexpr double kStripLength = 5.5, kStripTurn = 75 * kPiD / 180, kStripFrames = 300;
// A direction counts as a new one from this turn on: a body that sways does not turn.
constexpr double kNoticedTurn = 25 * kPiD / 180;
// Figures stand this far apart in figure heights, so that trunks do not hide each other.
constexpr double kSpacing = 0.27;
// A figure that moved less than this since the one before would only be drawn over it.
constexpr double kNoticedMove = 0.15;
constexpr std::int64_t kMostShots = 24;  // in a strip
constexpr double kKeepsStep = 0.15;      // so near to whole steps, in steps, shots are all alike
// Where fewer than this many figures find room on their way, they are drawn moved apart instead.
constexpr double kLeastShots = 3, kShotsApart = 8;

/// Where body and ankles are at a frame, and the way from shoulder to shoulder or hip to hip.
struct Sample {
  Point3 centre, ankles[2], breadth;
};

double PlanDistance(const Point3& a, const Point3& b) {
  return std::hypot(static_cast<double>(b.x) - a.x, static_cast<double>(b.y) - a.y);
}
double PlanAngle(const Point3& from, const Point3& to) {
  return Atan2D(static_cast<double>(to.y) - from.y, static_cast<double>(to.x) - from.x);
}
double Moved(const Sample& a, const Sample& b) {
  double moved = Length(b.centre - a.centre);
  for (int i = 0; i < 2; ++i) {
    moved = std::max<double>(moved, Length(b.ankles[i] - a.ankles[i]));
  }
  return moved;
}

Sample SampleOf(const MotionCore& posed) {
  Sample sample;
  sample.centre = UnmirroredLinkTransform(posed, kHorizontal, 0).Origin();
  for (int side = 0; side < 2; ++side) {
    const LimbRecord& leg = posed.leg[side];
    sample.ankles[side] =
        UnmirroredLinkTransform(posed, LimbId(leg), NumLimbLinks(leg) - 1).Origin();
  }
  const bool arms = posed.structure.arms;
  sample.breadth =
      UnmirroredLinkTransform(posed, arms ? kLeftArm : kLeftLeg, arms ? 1 : 0).Origin() -
      UnmirroredLinkTransform(posed, arms ? kRightArm : kRightLeg, arms ? 1 : 0).Origin();
  return sample;
}

/// How much of strips the motion has used up, frame by frame: 1 is a strip's worth.
class StripMeter {
 public:
  explicit StripMeter(double height) : height_(height) {}

  double Add(const Point3& centre) {
    if (frames_++ == 0) {
      last_ = trail_ = centre;
      return 0;
    }
    const double moved = PlanDistance(last_, centre) / (kStripLength * height_);
    double used = std::max(std::isfinite(moved) ? moved : 0, 1 / kStripFrames);
    // The direction over half a height of travel, taken anew each time that much lies behind.
    if (PlanDistance(trail_, centre) > 0.5 * height_) {
      const double angle = PlanAngle(trail_, centre);
      if (!hasDirection_) direction_ = angle;
      hasDirection_ = true;
      const double turn = std::fabs(std::remainder(angle - direction_, 2 * kPiD));
      if (turn > kNoticedTurn) {
        // Whoever turns on the spot or goes back the way begins one new strip, not several.
        used = std::max(used, std::min(1.0, turn / kStripTurn));
        direction_ = angle;
      }
      trail_ = centre;
    }
    last_ = centre;
    return sum_ += used;
  }

 private:
  double height_, sum_ = 0, direction_ = 0;
  std::int64_t frames_ = 0;
  bool hasDirection_ = false;
  Point3 last_, trail_;
};

/// Level direction from one place to another; `fallback` where they are closer than `least`. A body
/// that sways ends a little beside the way that it goes: close to a twenty-fourth of a turn the
/// direction is that one, so that a straight walk lies straight on the page.
Point3 LevelDirection(const Point3& from, const Point3& to, double least, const Point3& fallback) {
  if (!(PlanDistance(from, to) > least)) return fallback;
  constexpr double kEven = kPiD / 12, kClose = 5 * kPiD / 180;
  double angle = PlanAngle(from, to);
  const double even = kEven * std::round(angle / kEven);
  if (std::fabs(angle - even) < kClose) angle = even;
  const SinCosD direction = SinCosOf(angle);
  return {static_cast<float>(direction.cos), static_cast<float>(direction.sin), 0};
}

/// The direction of all: from start to end, unless the path comes back to where it began.
Point3 MainDirection(const std::vector<Sample>& samples, double height) {
  double widest = 0.3 * height;
  const Point3& from = samples.front().centre;
  for (const Sample& sample : samples) widest = std::max(widest, PlanDistance(from, sample.centre));
  return LevelDirection(from, samples.back().centre, 0.3 * widest, {1, 0, 0});
}

/// Frames from one touch to the next, as most of them go; 0 where there are none to tell.
double FramesAStep(const MotionCore& core) {
  const FootstepTrack& track = core.footsteps;
  std::vector<TimeValue> gaps;
  for (int i = 1; i < track.numFootsteps; ++i) {
    const TimeValue gap = SpanOf(track, i)->start - SpanOf(track, i - 1)->start;
    if (gap > 0) gaps.push_back(gap);
  }
  if (gaps.empty()) return 0;
  const auto middle = gaps.begin() + static_cast<std::ptrdiff_t>(gaps.size() / 2);
  std::nth_element(gaps.begin(), middle, gaps.end());
  return static_cast<double>(*middle) / std::max(1, core.ticksPerFrame);
}

/// A spacing that keeps step would show one moment of the step again and again: a quarter of a step
/// more, and the figures go through it.
std::int64_t OutOfStep(std::int64_t spacing, double step) {
  if (step < 4) return spacing;
  const double steps = std::max(1.0, std::round(static_cast<double>(spacing) / step));
  if (std::fabs(static_cast<double>(spacing) - steps * step) > kKeepsStep * step) return spacing;
  return static_cast<std::int64_t>(std::lround((steps + 0.25) * step));
}

/// Frames between shots: as many as it takes to go kSpacing, but a few shots in any case.
std::int64_t ShotSpacing(const std::vector<Sample>& samples, double height) {
  const auto frames = static_cast<std::int64_t>(samples.size());
  double travelled = 0;
  for (std::size_t i = 1; i < samples.size(); ++i) {
    travelled += PlanDistance(samples[i - 1].centre, samples[i].centre);
  }
  const std::int64_t most = std::max<std::int64_t>(1, frames / 8);
  const double spacing = kSpacing * height * static_cast<double>(frames) / travelled;
  if (!(spacing < static_cast<double>(most))) return most;
  return std::max<std::int64_t>(1, static_cast<std::int64_t>(std::ceil(spacing)));
}

/// The motion as far as strips reach, with how much of strips each frame has used up.
struct Samples {
  std::int64_t first = 0;
  std::vector<Sample> at;
  std::vector<double> used;

  const Sample& Of(std::int64_t frame) const { return at[static_cast<std::size_t>(frame - first)]; }
  double UsedBy(std::int64_t frame) const { return used[static_cast<std::size_t>(frame - first)]; }
};

Samples TakeSamples(const MotionCore& core, const EvalContext& context, const FrameRange& range,
                    double height) {
  Samples samples;
  samples.first = range.first;
  MotionCore posed = core;
  StripMeter meter(height);
  for (std::int64_t frame = range.first; frame <= range.last; ++frame) {
    CorePose(posed, TimeOfFrame(core, frame), context);
    const Sample sample = SampleOf(posed);
    const double sum = meter.Add(sample.centre);
    if (sum > kMostStrips && !samples.at.empty()) break;
    samples.at.push_back(sample);
    samples.used.push_back(sum);
  }
  return samples;
}

/// Strips of equal worth; neighbours share the frame at which one ends and the next begins.
void CutStrips(MotionShots& shots, const Samples& samples, double height) {
  const double worth = samples.used.back() / std::max(1.0, std::ceil(samples.used.back()));
  std::int64_t frame = shots.shown.first;
  while (shots.strips.empty() || frame < shots.shown.last) {
    Strip strip;
    strip.first = frame;
    const double end = worth * static_cast<double>(shots.strips.size() + 1) * (1 + 1e-9);
    while (frame < shots.shown.last && (frame == strip.first || samples.UsedBy(frame + 1) <= end)) {
      ++frame;
    }
    strip.last = frame;
    strip.along = LevelDirection(samples.Of(strip.first).centre, samples.Of(strip.last).centre,
                                 0.3 * height, shots.along);
    for (std::int64_t f = strip.first; f <= strip.last; ++f) {
      strip.path.push_back(samples.Of(f).centre);
    }
    shots.strips.push_back(std::move(strip));
  }
}

/// How far a strip's figures come along it, and how far apart they have to be.
double Advance(const Strip& strip) {
  return Dot(strip.path.back() - strip.path.front(), strip.along);
}
double NeededSpacing(const Strip& strip, const Samples& samples, double height) {
  return kSpacing * height + std::fabs(Dot(samples.Of(strip.first).breadth, strip.along));
}

/// True where the figures would hide each other. A path that turns has many short strips, whose
/// figures do stand apart.
bool AreCrowded(const MotionShots& shots, const Samples& samples, double height) {
  double advance = 0, needed = 0;
  for (const Strip& strip : shots.strips) {
    advance += Advance(strip);
    needed += kLeastShots * NeededSpacing(strip, samples, height);
  }
  const auto count = static_cast<double>(shots.strips.size());
  return advance < needed && (count <= 2 || advance < 0.3 * height * count);
}

/// Frames of a strip at which its figure is drawn, none over another: the last one, which is always
/// among them, takes the place of one that it would hide.
std::vector<std::int64_t> ChooseFrames(const Strip& strip, const Samples& samples,
                                       std::int64_t every, double leastMove, double leastApart) {
  std::vector<std::int64_t> frames;
  const auto hides = [&](std::int64_t a, std::int64_t b) {
    const Point3 way = samples.Of(b).centre - samples.Of(a).centre;
    return std::hypot(Dot(way, strip.along), way.z) < leastApart ||
           Moved(samples.Of(a), samples.Of(b)) < leastMove;
  };
  for (std::int64_t f = strip.first; f <= strip.last; ++f) {
    const bool isTurn = (f - strip.first) % every == 0 && strip.last - f >= every / 2;
    if (f != strip.last && !isTurn) continue;
    if (!frames.empty() && hides(frames.back(), f)) {
      if (f != strip.last) continue;
      if (frames.size() > 1) frames.pop_back();
    }
    frames.push_back(f);
  }
  return frames;
}

}  // namespace

MotionShots TakeShots(const MotionCore& core, const EvalContext& context) {
  MotionShots shots;
  shots.all = FrameRangeOf(core);
  const double height = CoreFigureHeight(core);
  const Samples samples = TakeSamples(core, context, shots.all, height);
  shots.shown = {samples.first, samples.first + static_cast<std::int64_t>(samples.at.size()) - 1};
  shots.along = MainDirection(samples.at, height);
  CutStrips(shots, samples, height);

  const std::int64_t spacing = OutOfStep(ShotSpacing(samples.at, height), FramesAStep(core));
  const bool crowded = AreCrowded(shots, samples, height);
  MotionCore posed = core;
  for (Strip& strip : shots.strips) {
    const std::int64_t frames = strip.last - strip.first;
    std::int64_t every = std::max(spacing, frames / kMostShots + 1);
    if (crowded && frames > 0) {
      every = static_cast<std::int64_t>(std::ceil(static_cast<double>(frames) / kShotsApart));
      strip.drift = NeededSpacing(strip, samples, height) / static_cast<double>(every) -
                    Advance(strip) / static_cast<double>(frames);
    }
    const double leastMove = crowded ? 0 : kNoticedMove * height;
    const double leastApart = crowded ? 0 : 0.5 * kSpacing * height;
    for (const std::int64_t frame : ChooseFrames(strip, samples, every, leastMove, leastApart)) {
      CorePose(posed, TimeOfFrame(core, frame), context);
      strip.shots.push_back({frame, samples.Of(frame).centre, BodySolids(posed)});
    }
  }
  return shots;
}

}  // namespace strider
