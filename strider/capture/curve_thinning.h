// The thinning of one curve: which of its keys stay.
#pragma once

#include <vector>

#include "strider/capture/key_reduction_table.h"
#include "strider/capture/reduction_samples.h"
#include "strider/capture/section_curve.h"

namespace strider {

/// Whether a section turns back at a time so clearly that its key stays within any tolerance.
class TurnsBack {
 public:
  /// `samples` must outlive it.
  TurnsBack(const ReductionSamples& samples, int id, const KeyReductionRow& row);

  bool always = false;  // the heading is thinned by its spacing alone

  /// At `t`, so many ticks after the last key that was kept.
  bool operator()(TimeValue t, std::int64_t since) const;

 private:
  std::vector<Point3> Projected(const Point3& axes) const;
  bool LeadsBack(const SampleWindow<Point3>& window) const;

  const ReductionSamples& samples_;
  int id_;
  const std::vector<Matrix3>* frames_;
  float noise_ = 0;
  std::vector<Point3> path_;
};

struct ThinnedCurve {
  std::vector<char> stays;     // of each key
  float largestDeviation = 0;  // in the unit of the row's tolerance
};

/// Thins a curve between two of its keys, which stay. Passes std::bad_alloc on.
ThinnedCurve ThinCurve(const SectionCurve& curve, int first, int last, const KeyReductionRow& row,
                       TimeValue frame, const TurnsBack& turns);

}  // namespace strider
