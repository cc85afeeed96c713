#include "strider/footsteps/bake.h"

#include <algorithm>
#include <new>
#include <vector>

#include "strider/core/evaluate.h"
#include "strider/core/key_edit.h"
#include "strider/core/limb_keys.h"
#include "strider/core/motion_range.h"
#include "strider/footsteps/body_height.h"
#include "strider/footsteps/flights.h"

namespace strider {
namespace {

void ClearAllKeys(MotionCore& core) {
  ForEachTable(core, [](int, auto& table) { KeepKeys(table, {}); });
}

/// The vertical key of the pose, whose height is the body's whatever the flight around it.
VerticalKey BakedVerticalKey(const MotionCore& posed) {
  VerticalKey key = CurrentVerticalKey(posed);
  key.dynamicsBlend = 0;
  for (int leg = 0; leg < 2; ++leg) {
    key.legState[leg] = posed.body.legStates[leg];
    key.footReach[leg] = posed.body.footReach[leg];
    key.bordersFlight[leg] = posed.body.bordersFlight[leg];
  }
  return key;
}

HorizontalKey BakedHorizontalKey(const MotionCore& posed) {
  HorizontalKey key = CurrentHorizontalKey(posed);
  key.balanceFactor = posed.body.balance;  // with the offset that the pose has it gives the pose
  key.supportState = posed.body.supportState;
  return key;
}

LimbKey BakedLimbKey(const MotionCore& posed, const LimbRecord& limb, TimeValue t) {
  LimbKey key = CurrentLimbKey(posed, limb);
  key.keyState = kMove;
  if (limb.isLeg) {
    key.keyState = posed.freeForm ? limb.keyState : FootstepLegState(posed.footsteps, limb.side, t);
  }
  return key;
}

PropKey BakedPropKey(const MotionCore& posed, int index) {
  // The frame in each space comes from where the prop stands: only the space in force is known
  // here, so that the others keep what the stance says.
  const PropRecord& prop = posed.props[index];
  PropKey key = prop.rest;
  key.posSpace = prop.pose.posSpace;
  key.rotSpace = prop.pose.rotSpace;
  key.position[key.posSpace] = prop.pose.position;
  key.rotation[key.rotSpace] = prop.pose.rotation;
  key.scale = prop.pose.scale;
  return key;
}

}  // namespace

bool PutPose(MotionCore& core, const MotionCore& posed, TimeValue t) {
  const auto good = [](KeyRefusal refusal) {
    return refusal == KeyRefusal::kNone || refusal == KeyRefusal::kNoTrack;
  };
  bool done = good(PutKey(core, t, BakedHorizontalKey(posed))) &&
              good(PutKey(core, t, CurrentTurnKey(posed))) &&
              good(PutKey(core, t, BakedVerticalKey(posed))) &&
              good(PutKey(core, t, CurrentPelvisKey(posed))) &&
              good(PutKey(core, t, CurrentHeadKey(posed)));
  for (const int id : {kSpine, kTail, kPony1, kPony2}) {
    const ChainRecord* chain = FindChain(posed, id);
    if (chain != nullptr) done = done && good(PutKey(core, id, t, CurrentChainKey(*chain)));
  }
  for (std::size_t i = 0; i < posed.xtras.size(); ++i) {
    done = done && good(PutKey(core, kXtraFirst + static_cast<int>(i), t,
                               CurrentChainKey(posed.xtras[i].chain)));
  }
  for (const int id : {kRightLeg, kLeftLeg, kRightArm, kLeftArm}) {
    const LimbRecord* limb = FindLimb(posed, id);
    if (limb != nullptr) done = done && good(PutKey(core, id, t, BakedLimbKey(posed, *limb, t)));
  }
  for (int i = 0; i < 3; ++i) {
    if (posed.props[i].exists) {
      done = done && good(PutKey(core, kProp1 + i, t, BakedPropKey(posed, i)));
    }
  }
  return done;
}

std::vector<TimeValue> FramesBetween(const MotionCore& core, TimeValue first, TimeValue last) {
  std::vector<TimeValue> times;
  const TimeValue frame = std::max<TimeValue>(core.ticksPerFrame, 1);
  for (TimeValue t = first; t <= last; t = Later(t, frame)) {
    times.push_back(t);
    if (t == kTimeMax) break;
  }
  return times;
}

int BakeKeys(MotionCore& core, std::span<const TimeValue> times, bool replace,
             const EvalContext& context) {
  try {
    MotionCore posed = core, baked = core;
    posed.inPlace = false;
    if (replace) ClearAllKeys(baked);
    for (const TimeValue t : times) {
      CorePose(posed, t, context);
      if (!PutPose(baked, posed, t)) return kRefused;
    }
    if (!baked.freeForm) {
      RefreshHeights(baked, 0, baked.body.vertical.track.numKeys - 1, HeightMode::kReadFractions,
                     GroundLevel::kTrue);
    }
    if (BuildFlights(baked) == kRefused) return kRefused;
    core = std::move(baked);
    RefreshTracks(core);
  } catch (const std::bad_alloc&) {
    return kRefused;
  }
  return kDone;
}

}  // namespace strider
