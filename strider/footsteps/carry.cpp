#include "strider/footsteps/carry.h"

#include <algorithm>
#include <cmath>

#include "strider/core/limb_solver.h"
#include "strider/footsteps/footstep_edit.h"

namespace strider {
namespace {

// A leg that was well bent stays a little so: near straight a small step turns the knee fast.
constexpr float kMostStretch = 0.985f;
// A foot climbs within this share of its way.
constexpr float kClimbShare = 0.6f;
// The body is on its way down and up again for so many frames.
constexpr int kSlopeFrames = 9;

}  // namespace

FootCarrier CarrierOf(const FootTarget& target) {
  const float u = CosineEase(std::clamp(target.u, 0.0f, 1.0f));
  FootCarrier carrier{Lerp(target.from, target.to, u),
                      target.fromAngle + u * (target.toAngle - target.fromAngle)};
  // Up soon and down late, so that it is over what it steps onto, or off.
  const float early = target.to.y > target.from.y ? 0 : 1 - kClimbShare;
  const float climb = CosineEase(std::clamp((target.u - early) / kClimbShare, 0.0f, 1.0f));
  carrier.place.y = target.from.y + climb * (target.to.y - target.from.y);
  return carrier;
}

FootPlacement CarriedFoot(const FootPlacement& foot, const FootCarrier& from,
                          const FootCarrier& to) {
  FootPlacement placement = foot;
  const float turned = UnwrapTo(0, to.angle - from.angle);
  if (turned == 0) {
    placement.ankle = foot.ankle + (to.place - from.place);
    return placement;
  }
  const Quat turn = AboutY(turned);
  placement.ankle = to.place + Rotate(turn, foot.ankle - from.place);
  placement.rotation = Normalized(turn * foot.rotation);
  return placement;
}

float LongestLeg(const LimbRecord& leg, float before) {
  return std::max(before, kMostStretch * ReachOf(LengthsOf(leg)));
}

void Lowering::Need(TimeValue t, const Point3& hip, const Point3& ankle, float longest) {
  const Point3 way = hip - ankle;
  if (!(Length(way) > longest)) return;
  const float across = way.x * way.x + way.z * way.z;
  // A leg that cannot reach however low the hip is has to do with half of its length.
  const float up = std::sqrt(std::max(longest * longest - across, 0.25f * longest * longest));
  if (way.y > up) needs_.push_back({t, way.y - up});
}

void Lowering::Sort() {
  std::sort(needs_.begin(), needs_.end(),
            [](const AtTime& a, const AtTime& b) { return a.time < b.time; });
}

float Lowering::At(TimeValue t) const {
  const std::int64_t slope = std::int64_t{kSlopeFrames} * ticksPerFrame_;
  auto need = std::lower_bound(needs_.begin(), needs_.end(), Later(t, -slope),
                               [](const AtTime& a, TimeValue time) { return a.time < time; });
  float depth = 0;
  for (; need != needs_.end() && need->time <= Later(t, slope); ++need) {
    const auto away = static_cast<float>(std::abs(std::int64_t{t} - need->time));
    depth = std::max(depth, need->depth * CosineEase(1 - away / static_cast<float>(slope)));
  }
  return depth;
}

}  // namespace strider
