// Do figures evaluate side by side? A thousand figures on two threads against one, after two
// threads of plain arithmetic have shown what the machine gives.

#include <cstdio>
#include <memory>
#include <vector>

#include "bench/keyed_figure.h"
#include "bench/timing.h"
#include "bench/two_threads.h"

namespace strider::bench {
namespace {

constexpr int kFigures = 1000;
constexpr int kRounds = 15;
constexpr int kFramesPerRound = 20;

class Crowd {
 public:
  Crowd() {
    for (int i = 0; i < kFigures; ++i) {
      figures_.push_back(std::make_unique<MotionCore>());
      KeyFigure(*figures_.back(), 10, static_cast<std::uint32_t>(i));
    }
  }
  void PoseRange(std::size_t first, std::size_t last) {
    const EvalContext context;
    for (int frame = 0; frame < kFramesPerRound; ++frame) {
      const TimeValue t = frame * 3 * kDynamicsFrame + 40;
      for (std::size_t i = first; i < last; ++i) CorePose(*figures_[i], t, context);
    }
  }

 private:
  std::vector<std::unique_ptr<MotionCore>> figures_;
};

}  // namespace
}  // namespace strider::bench

int main() {
  using namespace strider::bench;
  SayWhatTwoThreadsGive();
  std::printf("eight sums at once, two threads against one %.2f times\n", ArithmeticGain<8>());
  Crowd crowd;
  const std::size_t all = kFigures, half = all / 2;
  const Comparison c = Compare(
      kRounds, [&] { crowd.PoseRange(0, all); },
      [&] {
        OnTwoThreads([&](int i) { crowd.PoseRange(i == 0 ? 0 : half, i == 0 ? half : all); });
      });
  std::printf("1,000 figures, two threads against one      %.2f times (%.2f to %.2f)\n",
              c.ratio.median, c.ratio.low, c.ratio.high);
  std::printf("one thread, a pose                          %.2f us\n",
              c.first.median / kFigures / kFramesPerRound / 1000);
  std::printf("memory of a figure without keys             %.1f KiB\n",
              static_cast<double>(sizeof(strider::MotionCore)) / 1024);
}
