#include "strider/footsteps/body_height.h"

#include <algorithm>
#include <cmath>

#include "strider/core/evaluate.h"
#include "strider/core/limb_frames.h"

namespace strider {
namespace {

// A four-link leg never stands quite straight.
constexpr float kFourLinkReach = 0.95f;
// The body never sinks below this share of the leg over the lower ground.
constexpr float kLeastStance = 0.5f;
// A double lift raises the body by half of a foot's height in the other rows' manner; no measure
// of the figure belongs there, so that both feet leave the ground with the legs just straight.
constexpr float kDoubleLiftRise = 0;

float LegReach(const LimbRecord& leg) {
  const float reach = leg.totalLength + leg.extremityHeight;
  return leg.hasFourLinks ? reach * kFourLinkReach : reach;
}

struct LegLimit {
  float limit = 0;  // height of the hip over which the leg cannot reach its target
  float ratio = 0;  // horizontal distance in reaches, at most 1
};

LegLimit LimitOf(const LimbRecord& leg, const Point3& hip, const Point3& target) {
  const float reach = LegReach(leg);
  const Point3 offset = target - hip;
  const float square = offset.x * offset.x + offset.z * offset.z;
  LegLimit result;
  if (reach * reach > square) result.limit = std::sqrt(reach * reach - square) + target.y;
  result.ratio = std::min(std::sqrt(square) / reach, 1.0f);
  return result;
}

}  // namespace

BodyStance StanceAt(const MotionCore& core, TimeValue t, const int (&states)[2],
                    GroundLevel level) {
  BodyStance stance;
  for (int side = 0; side < 2; ++side) {
    const LimbRecord& leg = core.leg[side];
    stance.hip[side] = core.pelvisFrame.origin + Rotate(core.pelvisFrame.rotation, leg.baseOffset);
    stance.foot[side] =
        FootTargetAs(core.footsteps, side, t, states[side], level, SwingPlace::kHalfWay);
  }
  return stance;
}

BodyHeight BodyHeightOf(const MotionCore& core, const BodyStance& stance) {
  const LimbRecord& rightLeg = core.leg[kRight];
  const LegLimit right = LimitOf(rightLeg, stance.hip[0], stance.foot[0].position);
  const LegLimit left = LimitOf(core.leg[kLeft], stance.hip[1], stance.foot[1].position);
  const float leg = rightLeg.totalLength;
  // One ground serves both legs, the lower foot's: on a step the body goes by the lower leg.
  const float ground = std::min(stance.foot[0].position.y, stance.foot[1].position.y);
  const float low = std::min(right.limit, left.limit);
  const float top = std::max(right.limit, left.limit);
  const float a = core.leg[kLeft].extremityHeight;

  const auto share = [&](float part) { return ground + part * (low - ground); };
  const auto onOne = [&](const LegLimit& limit) { return ground + 0.99f * (limit.limit - ground); };
  const int r = stance.foot[0].state, l = stance.foot[1].state;
  BodyHeight result;
  result.base = ground;
  if (r == kMove && l == kMove) {
    result.height = ground + leg;
  } else if (r == kMove) {
    result.height = onOne(left);
  } else if (l == kMove) {
    result.height = onOne(right);
  } else if (r == l) {
    result.height = r == kTouch   ? share(0.99f)
                    : r == kPlant ? low
                                  : std::min(low + 0.5f * kDoubleLiftRise, top);
  } else if (r != kPlant && l != kPlant) {  // one touches as the other lifts
    result.height = std::min(low + 0.25f * a, top);
    result.namedLeg = r == kTouch ? kLeft : kRight;
    result.weight = 0.93f;
  } else if (r == kTouch || l == kTouch) {
    const LegLimit& touching = r == kTouch ? right : left;
    result.height = std::min(share(0.996f) + 0.25f * a * touching.ratio, top);
    result.namedLeg = r == kTouch ? kLeft : kRight;
    result.weight = 0.99f;
  } else {
    const LegLimit& lifting = r == kLift ? right : left;
    result.height = std::min(share(0.992f) + a * lifting.ratio, top);
    result.namedLeg = r == kLift ? kRight : kLeft;
    result.weight = 0.93f;
  }
  result.height = std::max(result.height, ground + kLeastStance * leg);
  return result;
}

float StandingReach(const MotionCore& core) {
  return core.leg[kRight].totalLength + core.leg[kRight].extremityHeight;
}

void RefreshHeights(MotionCore& core, int first, int last, HeightMode mode, GroundLevel level) {
  KeyTable<VerticalKey>& table = core.body.vertical;
  for (int i = first; i <= last; ++i) {
    const TimeValue t = table.TimeOf(i);
    EvaluateTrunk(core, t);
    VerticalKey& key = table.keys[static_cast<std::size_t>(i)];
    const BodyHeight now = BodyHeightOf(core, StanceAt(core, t, key.legState, level));
    const float range = now.height - now.base;
    const float reach = StandingReach(core);
    if (mode == HeightMode::kKeepRange) {
      key.height = now.base + key.rangeFraction * range;
    } else if (mode == HeightMode::kKeepLegs) {
      key.height = now.base + key.legFraction * reach;
    }
    key.ballisticHeight = key.height + core.body.balanceOffset.y;
    key.rangeFraction = range > 0 ? (key.height - now.base) / range : 1;
    key.legFraction = (key.height - now.base) / reach;
    for (int side = 0; side < 2; ++side) {
      const Point3 offset =
          FootTargetAs(core.footsteps, side, t, key.legState[side], level, SwingPlace::kHalfWay)
              .position -
          (core.pelvisFrame.origin + Rotate(core.pelvisFrame.rotation, core.leg[side].baseOffset));
      key.footReach[side] = std::sqrt(offset.x * offset.x + offset.z * offset.z);
    }
    MarkDirty(table.track, i, i);
  }
}

}  // namespace strider
