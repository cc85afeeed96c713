// How feet and body go along with footsteps that move where a motion keeps places of its own, as a
// captured one does: a foot that stands goes with its footstep as it is, one on its way takes an
// even share of both ends, and the body comes down where a leg would get too short. For adapt.cpp.
#pragma once

#include <vector>

#include "strider/footsteps/leg_fit.h"

namespace strider {

/// What carries a foot: where the footsteps have it, on a way that starts and ends gently.
struct FootCarrier {
  Point3 place;
  float angle = 0;
};
FootCarrier CarrierOf(const FootTarget& target);

/// A foot carried from one place of its carrier to another.
FootPlacement CarriedFoot(const FootPlacement& foot, const FootCarrier& from,
                          const FootCarrier& to);

/// A leg that was `before` long from hip to ankle may get this long; beyond its own length only if
/// it was.
float LongestLeg(const LimbRecord& leg, float before);

/// How far the body comes down so that legs reach, with a gentle slope to either side of each need.
class Lowering {
 public:
  explicit Lowering(TimeValue ticksPerFrame) : ticksPerFrame_(ticksPerFrame) {}
  /// Room for so many needs.
  void Reserve(std::size_t count) { needs_.reserve(count); }
  /// At `t` a hip has to come down until its ankle is within `longest`.
  void Need(TimeValue t, const Point3& hip, const Point3& ankle, float longest);
  /// Brings the needs in order of time, once all are known.
  void Sort();
  float At(TimeValue t) const;

 private:
  struct AtTime {
    TimeValue time = 0;
    float depth = 0;
  };
  TimeValue ticksPerFrame_;
  std::vector<AtTime> needs_;
};

}  // namespace strider
