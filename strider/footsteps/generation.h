// The steps of making a motion, in their order, for generate.cpp; nothing else calls them.
#pragma once

#include <vector>

#include "strider/core/key_edit.h"
#include "strider/footsteps/generate.h"
#include "strider/footsteps/support.h"

namespace strider {

/// What the steps hand along.
struct Generation {
  MotionCore& core;
  const EvalContext& context;
  const GenerateOptions& options;
  std::vector<float> turns;  // heading of the body at each phase
  bool failed = false;       // memory ran out

  const std::vector<SupportPhase>& Phases() const { return core.footsteps.phases; }
  void Check(KeyRefusal refusal) { failed = failed || refusal != KeyRefusal::kNone; }
};

// Body (generate_body.cpp).
void MakeBodyKeys(Generation& g);
void ShapeTurns(Generation& g);

// Contacts (generate_contacts.cpp).
void MakeContactKeys(Generation& g);
void ThinVerticalKeys(Generation& g);
/// At its ends the body's height comes to rest without swinging past what the legs reach.
void StandStill(Generation& g);
void SnapKeysToFrames(Generation& g);
/// A foot that comes down again as it lifts changes no support, and yet stands elsewhere from
/// there.
void TouchAnew(Generation& g);
void FillStances(Generation& g);

// Arms and spine (generate_upper.cpp).
void MakeArmKeys(Generation& g);
void MakeSpineKeys(Generation& g);

}  // namespace strider
