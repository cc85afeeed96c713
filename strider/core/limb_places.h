// Where hands and feet are at the keys of their limbs, so that they can be brought back there once
// the limbs have changed.
#pragma once

#include <vector>

#include "strider/core/eval_context.h"

namespace strider {

/// Where a hand or foot is at a key, the core's space.
struct LimbPlace {
  TimeValue time = 0;
  bool held = false;  // its pivot stands on the ground or an object; else its sole moves freely
  Quat rotation;
  Point3 swivel;       // normal of the limb's plane
  Point3 pivotInFoot;  // of a held one
  Point3 under;        // the place straight under the ankle on the height of a level sole; a hand's
  Point3 point;        // the pivot, or `under`
};
/// Of every key of the legs and the arms.
struct LimbPlaces {
  std::vector<LimbPlace> leg[2], arm[2];
};
LimbPlaces PlacesAtKeys(const MotionCore& core, const EvalContext& context);

/// Bends the legs at their keys so that their feet are at `places` again, as far as they reach,
/// each knee to the side that it was bent to. What a foot of another shape moves an ankle by where
/// it stands, the swings before and after take over bit by bit. Also turns keys of legs with three
/// links into keys of legs with four and back. Keys that have gone since are passed over.
void ConvertLegKeys(MotionCore& core, const LimbPlaces& places, const EvalContext& context);
/// The same for those keys of arms that hold their hands somewhere.
void RefitHeldArms(MotionCore& core, const LimbPlaces& places, const EvalContext& context);

}  // namespace strider
