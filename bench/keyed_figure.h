// The figure that the benchmarks evaluate: default structure, every track keyed every ten frames,
// all four limbs held in object space, moving ahead at a walk's speed. The same numbers each run.
#pragma once

#include <cstdint>

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/core/key_edit.h"
#include "strider/core/limb.h"

namespace strider::bench {

inline constexpr TimeValue kKeyDistance = 10 * kDynamicsFrame;

/// Numbers from -1 to 1, the same on every machine.
class Dice {
 public:
  explicit Dice(std::uint32_t seed) : state_(seed) {}
  float operator()() {
    state_ = state_ * 1664525u + 1013904223u;
    return static_cast<float>(state_ >> 8) / 8388608.0f - 1.0f;
  }
  /// One number after the other: in which order a call takes its arguments is the compiler's own.
  Quat Turn(float size) {
    const float angle = size * (*this)();
    const float x = (*this)(), y = (*this)(), z = (*this)();  // declarators run in order
    return AngleAxis(angle, {x, y, z});
  }

 private:
  std::uint32_t state_;
};

inline void KeyTrunk(MotionCore& core, TimeValue t, float stride, Dice& dice) {
  HorizontalKey ground;
  ground.position = {stride, 0, 0.3f * dice()};
  (void)PutKey(core, t, ground);
  VerticalKey height;
  height.height = core.body.figurePosition.y * (0.97f + 0.01f * dice());
  height.ballisticHeight = height.height;
  (void)PutKey(core, t, height);
  TurnKey turn;
  turn.rotation = AboutY(0.2f * dice());
  (void)PutKey(core, t, turn);
  PelvisKey pelvis;
  pelvis.rotation = dice.Turn(0.1f);
  (void)PutKey(core, t, pelvis);
  ChainKey spine;
  for (int k = 0; k < core.spine.numLinks; ++k) spine.rotation[k] = dice.Turn(0.2f);
  (void)PutKey(core, kSpine, t, spine);
  HeadKey head;
  for (int k = 0; k <= core.neck.numLinks; ++k) head.chain.rotation[k] = dice.Turn(0.3f);
  (void)PutKey(core, t, head);
}

/// A key that holds the limb near its stance place above the ground position `stride`.
inline void KeyLimb(MotionCore& core, LimbRecord& limb, TimeValue t, float stride, Dice& dice) {
  LimbKey key = CurrentLimbKey(core, limb, kSlidingKey);
  const float reach = 0.1f * limb.totalLength;
  key.limbRotation = key.limbRotation * dice.Turn(0.4f);
  key.jointAngles[kHinge] -= 0.2f + 0.2f * dice();
  key.endRotation = key.endRotation * dice.Turn(0.3f);
  key.objectTarget += Point3{stride + reach * dice(), reach * (1 + dice()), reach * dice()};
  key.spaceRotation = key.spaceRotation * dice.Turn(0.4f);
  key.ikAnkleTension = 0.5f;
  for (int d = 0; d < limb.numDigits; ++d) key.digits[d].base = dice.Turn(0.2f);
  SetKeyPivot(limb, key, {kNamedPivot, limb.isLeg ? 5 : 0, 0, 0});
  (void)PutKey(core, LimbId(limb), t, key);
}

/// Keys on all tracks at whole multiples of ten frames.
inline void KeyFigure(MotionCore& core, int numKeys, std::uint32_t seed) {
  Dice dice(seed);
  core.name = "Strider01";
  LayOutFigure(core, Structure{});
  CoreForwardKinematics(core);
  for (int i = 0; i < numKeys; ++i) {
    const TimeValue t = i * kKeyDistance;
    const float stride = 0.25f * core.leg[kRight].totalLength * static_cast<float>(i);
    KeyTrunk(core, t, stride, dice);
    for (LimbRecord* limb : {&core.leg[0], &core.leg[1], &core.arm[0], &core.arm[1]}) {
      KeyLimb(core, *limb, t, stride, dice);
    }
  }
  RefreshTracks(core);
}

/// A number that changes when any frame of the figure does.
inline std::uint64_t PoseHash(const MotionCore& core, std::uint64_t hash) {
  const auto add = [&hash](const Matrix3& m) {
    for (const Point3& row : m.row) {
      for (int i = 0; i < 3; ++i) {
        const float value = row[i];
        std::uint32_t bits;
        __builtin_memcpy(&bits, &value, sizeof bits);
        hash = (hash ^ bits) * 1099511628211ull;
      }
    }
  };
  for (int id : {kPelvis, kHead, kHorizontal}) add(LinkFrame(core, id, 0));
  for (int id : {kLeftArm, kRightArm, kLeftLeg, kRightLeg, kSpine}) {
    for (int k = 0; k < 4; ++k) add(LinkFrame(core, id, k));
  }
  return hash;
}

}  // namespace strider::bench
