// Prints one number for many poses and many trigonometric values. Every compiler, optimisation
// level and platform has to print the same one: tools/check_same_bits compares them.

#include <cinttypes>
#include <cstdio>
#include <memory>

#include "bench/keyed_figure.h"
#include "strider/core/motion_range.h"
#include "strider/footsteps/sample_motions.h"

namespace strider::bench {
namespace {

constexpr std::uint64_t kHashStart = 14695981039346656037ull;

std::uint64_t Mix(std::uint64_t hash, float value) {
  std::uint32_t bits;
  __builtin_memcpy(&bits, &value, sizeof bits);
  return (hash ^ bits) * 1099511628211ull;
}

std::uint64_t TrigHash() {
  Dice dice(3);
  std::uint64_t hash = kHashStart;
  for (int i = 0; i < 100000; ++i) {
    const float x = dice() * 20;
    const float y = dice();
    for (float value : {Sin(x), Cos(x), Acos(y), Asin(y), Atan2(x, y), EaseCurve(y, 0.3f, 0.4f)}) {
      hash = Mix(hash, value);
    }
    const Quat from = dice.Turn(3), to = dice.Turn(3);
    hash = Mix(hash, Slerp(from, to, 0.5f + 0.5f * y).w);
  }
  return hash;
}

/// A keyed figure posed between its keys, also with Euler angles and with links keyed apart.
std::uint64_t PoseHashes() {
  std::uint64_t hash = kHashStart;
  for (std::uint32_t seed = 1; seed <= 5; ++seed) {
    auto core = std::make_unique<MotionCore>();
    KeyFigure(*core, 20, seed);
    if (seed == 2 && !SetEulerActive(*core, kSpine, 3)) return 0;
    if (seed == 3 && SetSeparateTracks(*core, kRightArm, true) == kRefused) return 0;
    const EvalContext context{.tiltFourLinkSwivel = false, .disableIk = seed == 4};
    for (TimeValue t = -500; t < 20 * kKeyDistance; t += 37) {
      CorePose(*core, t, context);
      hash = PoseHash(*core, hash);
    }
  }
  return hash;
}

/// Motions out of footsteps, with all that their making decides on.
std::uint64_t FootstepHashes() {
  std::uint64_t hash = kHashStart;
  for (const SampleMotion sample :
       {SampleMotion::kWalk, SampleMotion::kRun, SampleMotion::kStairs}) {
    auto core = std::make_unique<MotionCore>(MakeSample(sample, 80));
    const Interval range = MotionRange(*core);
    for (TimeValue t = range.start; t <= range.end; t += 97) {
      CorePose(*core, t, {});
      hash = PoseHash(*core, hash);
    }
  }
  return hash;
}

std::uint64_t StanceHashes() {
  std::uint64_t hash = kHashStart;
  for (int legLinks : {3, 4}) {
    for (float height : {1.8f, 80.0f, 180.0f}) {
      Structure structure;
      structure.legLinks = legLinks;
      structure.height = height;
      auto core = std::make_unique<MotionCore>();
      LayOutFigure(*core, structure);
      CoreForwardKinematics(*core);
      hash = PoseHash(*core, hash);
    }
  }
  return hash;
}

}  // namespace
}  // namespace strider::bench

int main() {
  using namespace strider::bench;
  std::printf("trigonometry %016" PRIx64 "\nstances %016" PRIx64 "\nposes %016" PRIx64
              "\nfootsteps %016" PRIx64 "\n",
              TrigHash(), StanceHashes(), PoseHashes(), FootstepHashes());
  return 0;
}
