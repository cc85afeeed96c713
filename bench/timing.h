// Time of small pieces of work, measured in turn so that what else the machine does falls on all
// of them alike: medians and spreads over rounds, in nanoseconds for one call.
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace strider::bench {

struct Sample {
  double median = 0;
  double low = 0, high = 0;  // the middle half of the rounds lies between these
};

inline Sample Summarise(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const auto at = [&](double share) {
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
  };
  return {at(0.5), at(0.25), at(0.75)};
}

/// Nanoseconds of one round of `work`.
template <class Work>
double TimeOnce(const Work& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  const auto end = std::chrono::steady_clock::now();
  return std::chrono::duration<double, std::nano>(end - start).count();
}

/// Two pieces of work in turn, `rounds` times each; the ratio is taken round by round.
struct Comparison {
  Sample first, second, ratio;  // nanoseconds of one round; first over second
};
template <class First, class Second>
Comparison Compare(int rounds, const First& first, const Second& second) {
  std::vector<double> a, b, ratio;
  first();
  second();
  for (int i = 0; i < rounds; ++i) {
    a.push_back(TimeOnce(first));
    b.push_back(TimeOnce(second));
    ratio.push_back(a.back() / b.back());
  }
  return {Summarise(a), Summarise(b), Summarise(ratio)};
}

}  // namespace strider::bench
