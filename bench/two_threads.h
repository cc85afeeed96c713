// What two threads of this machine give, told by arithmetic that shares nothing: the measure for
// everything that is meant to run side by side.
#pragma once

#include <cstdio>
#include <thread>

#include "bench/timing.h"

namespace strider::bench {

/// Arithmetic that touches no memory, in so many independent sums at once. One sum leaves most of
/// a processor idle; eight fill it, and tell two whole processors from two halves of one.
template <int kSums>
[[gnu::noinline]] inline double Arithmetic(int count) {
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

/// Waits for a machine that gives two threads nearly twice one, for a while, and says what it gave.
inline void SayWhatTwoThreadsGive() {
  constexpr double kMachineGivesTwo = 1.95;
  constexpr int kTriesForAQuietMachine = 10;
  double arithmetic = 0;
  for (int i = 0; i < kTriesForAQuietMachine && arithmetic < kMachineGivesTwo; ++i) {
    arithmetic = ArithmeticGain<1>();
  }
  std::printf("plain arithmetic, two threads against one   %.2f times\n", arithmetic);
  if (arithmetic < kMachineGivesTwo) {
    std::printf("the machine is busy: what follows says little\n");
  }
}

}  // namespace strider::bench
