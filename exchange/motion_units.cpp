#include "exchange/motion_units.h"

#include <cmath>

namespace strider {
namespace {

constexpr double kEarthGravity = 9.81;  // m/s^2
// The core counts its gravity in frames, of which a second has 30.
constexpr double kFramesSquared = 900;

}  // namespace

double MetresPerUnit(const MotionCore& core, std::optional<double> given) {
  if (given) return *given;
  const double scale = kEarthGravity / (kFramesSquared * static_cast<double>(core.body.gravAccel));
  return std::isfinite(scale) && scale > 0 ? scale : 1;
}

}  // namespace strider
