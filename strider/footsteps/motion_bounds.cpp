#include "strider/footsteps/motion_bounds.h"

#include <cstdio>

namespace strider {
namespace {

constexpr float kNone = std::numeric_limits<float>::infinity();

constexpr unsigned Bit(MotionKind kind) { return 1u << static_cast<unsigned>(kind); }
constexpr unsigned kWalkOnly = Bit(MotionKind::kWalk);
constexpr unsigned kWalks = kWalkOnly | Bit(MotionKind::kCircleWalk) | Bit(MotionKind::kStairWalk) |
                            Bit(MotionKind::kTurnWalk);
constexpr unsigned kFlying = Bit(MotionKind::kRun) | Bit(MotionKind::kJump);
constexpr unsigned kAlternating = kWalks | Bit(MotionKind::kRun);
constexpr unsigned kAll = kWalks | kFlying;

constexpr const char* kLeg = "% leg";
constexpr const char* kDeg = "deg";
constexpr const char* kPercent = "%";

std::string Number(float value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.4g", static_cast<double>(value));
  return text;
}

}  // namespace

const std::vector<MotionBound>& MotionBounds() {
  using M = MotionMeasures;
  static const std::vector<MotionBound> bounds = {
      {"footprint distance", kLeg, "a planted foot covers its footprint", &M::footprintDistance,
       -kNone, 1, kAll, false},
      {"footprint heading", kDeg, "and points along it", &M::footprintHeading, -kNone, 1, kAll,
       false},
      {"skate", kLeg, "a foot on the ground does not slide", &M::skate, -kNone, 0.2f, kAll, false},
      {"depth in the ground", kLeg, "feet do not sink in", &M::groundDepth, -kNone, 1, kAll, false},
      {"sole clearance", kLeg, "a swinging foot does not scuff", &M::soleClearance, 1, kNone,
       kWalks, false},
      {"ankle clearance", kLeg, "and is lifted, not only tilted", &M::ankleClearance, 4, kNone,
       kWalks, false},
      {"tread clearance", kLeg, "nor does it cut through the edge of a stair", &M::treadClearance,
       0, kNone, Bit(MotionKind::kStairWalk), false},
      {"reach", kLeg, "the ankle stays where the leg gets to", &M::reachExcess, -kNone, 1, kAll,
       false},
      {"knee change a frame", kDeg, "knees do not pop", &M::kneeChange, -kNone, 30, kWalks, false},
      // A straight knee's sign is noise; what noise can turn over is far below a degree.
      {"knee bent backwards", kDeg, "knees bend one way", &M::kneeBackwards, -kNone, 0.1f, kAll,
       false},
      {"body acceleration", kLeg, "the body moves on evenly", &M::bodyAcceleration, -kNone, 8, kAll,
       false},
      {"ankle acceleration", kLeg, "so do the feet", &M::ankleAcceleration, -kNone, 25, kAll,
       false},
      {"joint acceleration", kDeg, "and all joints turn so", &M::jointAcceleration, -kNone, 30,
       kAll, false},
      {"flight against gravity", kPercent, "what flies falls freely", &M::flightError, -kNone, 1,
       kFlying, false},
      {"mirrored place", kLeg, "left steps are as right ones", &M::mirrorPlace, -kNone, 1,
       kWalkOnly, false},
      {"mirrored angle", kDeg, "in their angles too", &M::mirrorAngle, -kNone, 2, kWalkOnly, false},
      {"mirrored body", kLeg, "the trunk's variety moves the body little", &M::mirrorBody, -kNone,
       2, kWalkOnly, false},
      {"mean speed off", kPercent, "the body keeps up with its feet", &M::meanSpeed, -kNone, 2,
       kWalkOnly, false},
      {"ground speed off its mean", kPercent, "without halting at each step", &M::groundSpeed,
       -kNone, 10, kWalkOnly, false},
      {"head tilt", kDeg, "people keep their head level", &M::headTilt, -kNone, 5, kAll, false},
      {"arm and thigh, correlation", "", "arms swing against the legs, if not to the frame",
       &M::armOppose, -kNone, -0.5f, kAlternating, false},
      // People's is 2 to 6; a default walk's legs are nearly straight at its lowest and its
      // highest, which alone makes it 6.5.
      {"pelvis rise and fall", kLeg, "people: over the straight standing leg, down in between",
       &M::pelvisRise, 2, 6.5f, kWalkOnly, true},
      {"steps lowest in double support", kPercent, "people: the legs are furthest apart then",
       &M::lowestInSupport, 100, kNone, kWalkOnly, true},
      {"knee bend at the lift", kDeg, "people: the heel is up and the knee gives way",
       &M::kneeAtLift, 35, 50, kWalkOnly, true},
      {"knee bend in swing", kDeg, "people: the foot is carried through", &M::kneeInSwing, 55, 75,
       kWalkOnly, true},
      {"toe up at the touch", kDeg, "people: the heel lands first", &M::toeUpAtTouch, 12, 37,
       kWalkOnly, true},
      {"toe down at the lift", kDeg, "people: they push off over the ball", &M::toeDownAtLift, 40,
       70, kWalkOnly, true},
      {"ankle rise in swing", kLeg, "people: highest soon after the lift", &M::ankleRise, 14, 23,
       kWalkOnly, true},
      {"arm swing", kDeg, "people: from front to back", &M::armSwing, 10, 55, kWalkOnly, true},
  };
  return bounds;
}

bool AsksOf(const MotionBound& bound, MotionKind kind) { return (bound.kinds & Bit(kind)) != 0; }

std::vector<BoundCheck> CheckBounds(const MotionMeasures& measures, MotionKind kind) {
  std::vector<BoundCheck> checks;
  for (const MotionBound& bound : MotionBounds()) {
    if (!AsksOf(bound, kind)) continue;
    BoundCheck check{&bound, measures.*bound.measure, false, {}};
    const MeasuredRange& m = check.measured;
    check.ok = m.count > 0 && m.low >= bound.low && m.high <= bound.high;
    check.worst = m.high - bound.high > bound.low - m.low ? m.highAt : m.lowAt;
    checks.push_back(check);
  }
  return checks;
}

std::string DescribeLimits(const MotionBound& bound) {
  const std::string unit = *bound.unit ? std::string(" ") + bound.unit : "";
  if (bound.low == -kNone) return "at most " + Number(bound.high) + unit;
  if (bound.high == kNone) return "at least " + Number(bound.low) + unit;
  return Number(bound.low) + " to " + Number(bound.high) + unit;
}

std::string Describe(const BoundCheck& check) {
  const MeasuredRange& m = check.measured;
  std::string text = std::string(check.bound->name) + ": ";
  if (m.count == 0) return text + "not measured, asked " + DescribeLimits(*check.bound);
  text += Number(m.low) + " to " + Number(m.high) + ", asked " + DescribeLimits(*check.bound);
  text += ", at tick " + std::to_string(check.worst.time);
  if (check.worst.side >= 0) text += check.worst.side == 0 ? ", right" : ", left";
  if (check.worst.footstep >= 0) text += ", footstep " + std::to_string(check.worst.footstep);
  if (*check.worst.part) text += std::string(", ") + check.worst.part;
  return text;
}

}  // namespace strider
