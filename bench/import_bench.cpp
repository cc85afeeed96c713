// How fast does a take become a motion, beside reading its file alone? And do two threads import
// twice as many takes as one?

#include <atomic>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/timing.h"
#include "bench/two_threads.h"
#include "strider/capture/bvh_reader.h"
#include "strider/capture/import_take.h"

namespace strider::bench {
namespace {

constexpr int kRounds = 15;
constexpr const char* kTakes[] = {
    "examples/takes/walk_cmu_02_01.bvh", "examples/takes/walk_cmu_06_01.bvh",
    "examples/takes/jump_cmu_13_39.bvh", "examples/takes/dance_cmu_05_03.bvh"};
constexpr int kTakesOfABatch = 32;

bool failed = false;

void ImportOne(const char* path, int& frames) {
  ImportResult result;
  std::string cause;
  if (!ImportTake(path, {}, {}, result, cause)) {
    if (!failed) std::printf("%s\n", cause.c_str());
    failed = true;
  }
  frames = result.take.frames;
}

void ReadOne(const char* path) {
  CaptureScene scene;
  CaptureReport report;
  BvhSettings settings;
  settings.ticksPerFrame = 0;
  if (ReadBvh(scene, path, settings, report) != 1) failed = true;
}

/// As a batch does it: each thread takes the next one.
void ImportMany(int threads) {
  std::atomic<int> next = 0;
  const auto work = [&next] {
    for (int i = next++; i < kTakesOfABatch; i = next++) {
      int frames = 0;
      ImportOne(kTakes[static_cast<std::size_t>(i) % std::size(kTakes)], frames);
    }
  };
  if (threads == 2) {
    OnTwoThreads([&](int) { work(); });
  } else {
    work();
  }
}

}  // namespace
}  // namespace strider::bench

int main() {
  using namespace strider::bench;
  for (const char* path : kTakes) {
    int frames = 0;
    const Comparison c = Compare(
        kRounds, [&] { ImportOne(path, frames); }, [&] { ReadOne(path); });
    if (failed) return 1;
    std::printf("%-36s %6.0f frames of the take a second, %.1f times as long as reading it\n", path,
                frames / (c.first.median / 1e9), c.ratio.median);
  }
  SayWhatTwoThreadsGive();
  const Comparison c = Compare(
      kRounds, [] { ImportMany(1); }, [] { ImportMany(2); });
  std::printf("%d takes, two threads against one           %.2f times (%.2f to %.2f)\n",
              kTakesOfABatch, c.ratio.median, c.ratio.low, c.ratio.high);
}
