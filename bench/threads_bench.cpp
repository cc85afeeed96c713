// Do figures evaluate side by side? A thousand figures on two threads against one, after two
// threads of plain arithmetic have shown what the machine gives.

#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "bench/keyed_figure.h"
#include "bench/timing.h"

namespace strider::bench {
namespace {

constexpr int kFigures = 1000;
constexpr int kRounds = 15;
constexpr int kFramesPerRound = 20;
constexpr double kMachineGivesTwo = 1.95;
constexpr int kTriesForAQuietMachine = 10;

/// Arithmetic that touches no memory, in so many independent sums at once. One sum leaves most of
/// a processor idle; eight fill it, and tell two whole processors from two halves of one.
template <int kSums>
[[gnu::noinline]] double Arithmetic(int count) {
  double sums[kSums];
  for (int k = 0; k < kSums; ++k) sums[k] = 1 + k;
  for (int i = 0; i < count; ++i) {
    for (double& sum : sums) sum = sum * 0.999999 + 0.5;
  }
  double all = 0;
  for (double sum : sums) all += sum;
  return all;
}

/// Runs `half(0)` and `half(1)` on two threads.
template <class Half>
void OnTwoThreads(const Half& half) {
  std::thread other([&half] { half(1); });
  half(0);
  other.join();
}

template <int kSums>
double ArithmeticGain() {
  volatile int steps = 10'000'000;  // read each time, so that no round is taken from another
  [[maybe_unused]] volatile double sink = 0;
  const Comparison c = Compare(
      5, [&] { sink = Arithmetic<kSums>(2 * steps); },
      [&] {
        double results[2];
        OnTwoThreads([&](int i) { results[i] = Arithmetic<kSums>(steps); });
        sink = results[0] + results[1];
      });
  return c.ratio.median;
}

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
  double arithmetic = 0;
  for (int i = 0; i < kTriesForAQuietMachine && arithmetic < kMachineGivesTwo; ++i) {
    arithmetic = ArithmeticGain<1>();
  }
  std::printf("plain arithmetic, two threads against one   %.2f times\n", arithmetic);
  if (arithmetic < kMachineGivesTwo) {
    std::printf("the machine is busy: what follows says little\n");
  }
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
