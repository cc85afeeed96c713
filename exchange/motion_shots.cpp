#include "exchange/motion_shots.h"

#include <algorithm>
#include <cmath>

#include "strider/base/trig.h"
#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"

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

/// Where body and ankles are at a frame.
struct Sample {
  Point3 centre, ankles[2];
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
        used = std::max(used, turn / kStripTurn);
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

/// Level direction from one place to another; `fallback` where they are closer than `least`.
Point3 LevelDirection(const Point3& from, const Point3& to, double least, const Point3& fallback) {
  if (!(PlanDistance(from, to) > least)) return fallback;
  return Normalized({to.x - from.x, to.y - from.y, 0}, fallback);
}

/// The direction of all: from start to end, unless the path comes back to where it began.
Point3 MainDirection(const std::vector<Sample>& samples, double height) {
  double widest = 0.3 * height;
  const Point3& from = samples.front().centre;
  for (const Sample& sample : samples) widest = std::max(widest, PlanDistance(from, sample.centre));
  return LevelDirection(from, samples.back().centre, 0.3 * widest, {1, 0, 0});
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

}  // namespace

MotionShots TakeShots(const MotionCore& core, const EvalContext& context) {
  MotionShots shots;
  shots.all = FrameRangeOf(core);
  const double height = CoreFigureHeight(core);
  MotionCore posed = core;
  std::vector<Sample> samples;
  std::vector<double> used;
  StripMeter meter(height);
  for (std::int64_t frame = shots.all.first; frame <= shots.all.last; ++frame) {
    CorePose(posed, TimeOfFrame(core, frame), context);
    const Sample sample = SampleOf(posed);
    const double sum = meter.Add(sample.centre);
    // One strip beyond the last that is shown tells that there is more.
    if (sum > kMostStrips && !samples.empty()) break;
    samples.push_back(sample);
    used.push_back(sum);
  }
  const auto sampleAt = [&](std::int64_t frame) -> const Sample& {
    return samples[static_cast<std::size_t>(frame - shots.all.first)];
  };
  shots.shown = {shots.all.first, shots.all.first + static_cast<std::int64_t>(samples.size()) - 1};
  shots.along = MainDirection(samples, height);
  shots.every = ShotSpacing(samples, height);

  // Strips of equal worth; neighbours share the frame at which one ends and the next begins.
  const double worth = used.back() / std::max(1.0, std::ceil(used.back()));
  std::int64_t frame = shots.shown.first;
  while (shots.strips.empty() || frame < shots.shown.last) {
    Strip strip;
    strip.first = frame;
    const double end = worth * static_cast<double>(shots.strips.size() + 1) * (1 + 1e-9);
    while (frame < shots.shown.last &&
           used[static_cast<std::size_t>(frame + 1 - shots.shown.first)] <= end) {
      ++frame;
    }
    if (frame == strip.first && frame < shots.shown.last) ++frame;
    strip.last = frame;
    shots.strips.push_back(std::move(strip));
  }

  for (Strip& strip : shots.strips) {
    strip.along = LevelDirection(sampleAt(strip.first).centre, sampleAt(strip.last).centre,
                                 0.3 * height, shots.along);
    const std::int64_t least = (strip.last - strip.first) / kMostShots + 1;
    const std::int64_t every = std::max(shots.every, least);
    const Sample* before = nullptr;
    for (std::int64_t f = strip.first; f <= strip.last; ++f) {
      const Sample& here = sampleAt(f);
      strip.path.push_back(here.centre);
      const bool isTurn = (f - strip.first) % every == 0 && strip.last - f >= every / 2;
      if (f != strip.last && !isTurn) continue;
      if (before != nullptr && Moved(*before, here) < kNoticedMove * height) continue;
      CorePose(posed, TimeOfFrame(core, f), context);
      strip.shots.push_back({f, here.centre, BodySolids(posed)});
      before = &here;
    }
  }
  return shots;
}

}  // namespace strider
