#include "strider/capture/talent_measures.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "strider/base/point3.h"

namespace strider {
namespace {

constexpr float kPlausible = 1.5f;
// Scene units of one unit of the measures: the same, inches in centimetres, millimetres or metres,
// and powers of ten.
constexpr float kUnits[] = {1, 2.54f, 25.4f, 0.0254f, 0.1f, 10, 0.01f, 100, 0.001f, 1000};

/// How far the measures in a unit are from the lengths, as a factor over 1, in the middle.
float Misfit(const TalentLengths& talent, const TalentLengths& lengths, float unit) {
  std::vector<float> factors;
  for (std::size_t i = 0; i < talent.size(); ++i) {
    if (!(talent[i] > 0) || !(lengths[i] > 0)) continue;
    const float ratio = unit * talent[i] / lengths[i];
    factors.push_back(std::max(ratio, 1 / ratio));
  }
  if (factors.empty()) return 0;
  std::sort(factors.begin(), factors.end());
  return factors[factors.size() / 2];
}

}  // namespace

TalentLengths MeasuredLengths(const CaptureScene& scene, const TalentLengths& lengths) {
  TalentLengths talent = scene.talent;
  for (std::size_t i = 0; i < talent.size(); ++i) {
    if (!scene.measured[i] || !IsFinite(talent[i])) talent[i] = 0;
  }
  float unit = 1, least = Misfit(talent, lengths, 1);
  for (const float candidate : kUnits) {
    const float misfit = Misfit(talent, lengths, candidate);
    if (!(misfit < least)) continue;
    least = misfit;
    unit = candidate;
  }
  TalentLengths measured{};
  for (std::size_t i = 0; i < talent.size(); ++i) {
    const float length = unit * talent[i];
    if (length <= kPlausible * lengths[i] && kPlausible * length >= lengths[i]) {
      measured[i] = length;
    }
  }
  return measured;
}

}  // namespace strider
