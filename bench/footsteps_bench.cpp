// What does a footstep motion cost? Making it, moving one footstep of it, and posing the figure
// that walks, each in a long motion beside a short one.

#include <cstdio>
#include <memory>

#include "bench/keyed_figure.h"
#include "bench/timing.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/adapt.h"
#include "strider/footsteps/place.h"

namespace strider::bench {
namespace {

constexpr int kRounds = 41;

/// Keeps the compiler from dropping or moving work whose results nobody reads.
void Observe(const void* p) { asm volatile("" : : "g"(p) : "memory"); }

std::unique_ptr<MotionCore> Footsteps(GaitMode gait, int count) {
  auto core = std::make_unique<MotionCore>();
  LayOutFigure(*core, Structure{});
  GaitSettings settings;
  settings.fsGaitMode = gait;
  MultFprintParams params = settings.params[gait - kWalk];
  params.numFootsteps = count;
  if (!PlaceMultiple(*core, settings, params, 0).Done()) std::puts("placing failed");
  return core;
}

std::unique_ptr<MotionCore> Motion(GaitMode gait, int count) {
  auto core = Footsteps(gait, count);
  if (NewFootprintKeys(*core, {}) != ActivationResult::kDone) std::puts("no motion");
  return core;
}

void MakeMotions() {
  const auto many = Footsteps(kWalk, 2000), few = Footsteps(kWalk, 200);
  const auto make = [](const MotionCore& footsteps) {
    MotionCore core = footsteps;
    if (NewFootprintKeys(core, {}) != ActivationResult::kDone) std::puts("no motion");
    Observe(&core);
  };
  const Comparison c = Compare(
      kRounds, [&] { make(*many); }, [&] { make(*few); });
  std::printf("motion for 200 footsteps        %.2f ms\n", c.second.median / 1e6);
  std::printf("2,000 footsteps against 200     %.2f (%.2f to %.2f)\n", c.ratio.median, c.ratio.low,
              c.ratio.high);
}

/// Moves one footstep in the middle to and fro.
struct Mover {
  std::unique_ptr<MotionCore> core;
  float step = 0.5f;

  explicit Mover(int count) : core(Motion(kWalk, count)) {}
  void Move() {
    const FootstepTrack before = core->footsteps;
    const int i = before.numFootsteps / 2;
    core->footsteps.position[static_cast<std::size_t>(i)].x += step;
    step = -step;
    if (AdaptMotion(*core, before, i, i, {}, {}) != AdaptResult::kDone) std::puts("not adapted");
    Observe(core.get());
  }
};

void MoveOne() {
  Mover many(2000), few(20);
  constexpr int kMoves = 10;
  const Comparison c = Compare(
      kRounds,
      [&] {
        for (int i = 0; i < kMoves; ++i) many.Move();
      },
      [&] {
        for (int i = 0; i < kMoves; ++i) few.Move();
      });
  std::printf("moving one footstep of 20       %.3f ms\n", c.second.median / kMoves / 1e6);
  std::printf("one of 2,000 against one of 20  %.2f (%.2f to %.2f)\n", c.ratio.median, c.ratio.low,
              c.ratio.high);
  const Sample copy = Summarise([&] {
    std::vector<double> samples;
    for (int i = 0; i < kRounds; ++i) {
      samples.push_back(TimeOnce([&] {
        const MotionCore kept = *many.core;
        Observe(&kept);
      }));
    }
    return samples;
  }());
  std::printf("keeping 2,000 for undo          %.2f ms\n", copy.median / 1e6);
}

/// Poses frame after frame, or at times all over the motion.
class Player {
 public:
  explicit Player(std::unique_ptr<MotionCore> core) : core_(std::move(core)) {}
  void Forward(int count) {
    for (int i = 0; i < count; ++i) {
      time_ += kDynamicsFrame;
      if (time_ > core_->endTime) time_ = 0;
      Pose(time_);
    }
  }
  void AtRandom(int count) {
    for (int i = 0; i < count; ++i) {
      Pose(static_cast<TimeValue>((dice_() * 0.5f + 0.5f) * static_cast<float>(core_->endTime)));
    }
  }

 private:
  void Pose(TimeValue t) {
    CorePose(*core_, t, {});
    Observe(core_.get());
  }
  std::unique_ptr<MotionCore> core_;
  TimeValue time_ = 0;
  Dice dice_{3};
};

void Play() {
  constexpr int kPoses = 400;
  for (const GaitMode gait : {kWalk, kRun}) {
    const char* name = gait == kWalk ? "walk" : "run";
    Player many(Motion(gait, 2000)), few(Motion(gait, 20));
    const Comparison forward = Compare(
        kRounds, [&] { many.Forward(kPoses); }, [&] { few.Forward(kPoses); });
    const Comparison random = Compare(
        kRounds, [&] { many.AtRandom(kPoses); }, [&] { few.AtRandom(kPoses); });
    std::printf("pose in a %-4s of 20            %.2f us\n", name,
                forward.second.median / kPoses / 1000);
    std::printf("%-4s of 2,000 against 20        %.2f forward, %.2f at random times\n", name,
                forward.ratio.median, random.ratio.median);
  }
  // The figure that stands has keys on all tracks and its limbs on targets, as one that walks.
  auto standing = std::make_unique<MotionCore>();
  KeyFigure(*standing, 100, 1);
  Player walker(Motion(kWalk, 70));
  TimeValue time = 0;
  const Comparison c = Compare(
      kRounds, [&] { walker.Forward(kPoses); },
      [&] {
        for (int i = 0; i < kPoses; ++i) {
          time = (time + kDynamicsFrame) % (99 * kKeyDistance);
          CorePose(*standing, time, {});
          Observe(standing.get());
        }
      });
  std::printf("walking against keyed by hand   %.2f (%.2f to %.2f)\n", c.ratio.median, c.ratio.low,
              c.ratio.high);
}

}  // namespace
}  // namespace strider::bench

int main() {
  strider::bench::MakeMotions();
  strider::bench::MoveOne();
  strider::bench::Play();
}
