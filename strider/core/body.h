// The centre of mass: its ground path, heading and height at a time, its balance and support, and
// the arcs that it flies along between contacts.
#pragma once

#include "strider/core/eval_context.h"

namespace strider {

/// Whether `t` lies in free-form: asked once for each evaluation, kept in the body's record.
void EvaluateFreePeriod(MotionCore& core, TimeValue t);

/// Heights and support of the body at `t` from the vertical keys.
void EvaluateVertical(MotionCore& core, TimeValue t);

/// Ground position, heading, velocity, balance and support state at `t`. The spine's turns at `t`
/// must stand already: balance follows the spine's centre.
void EvaluateHorizontalAndTurn(MotionCore& core, TimeValue t);

/// Height that the flights give at `t`, with the balance lift, and how far it rules.
struct FlightHeight {
  float height = 0;
  float weight = 0;  // 1 where a flight or its curves rule, 0 where none does
  int state = 2;     // 0 takeoff, 1 in the air, 2 on a curve or the keyed path, 3 landing
};
/// `keyed` is the value that the vertical keys themselves give at `t`; it stands where no flight
/// rules, in free-form, and past the motion's end. The flight is found by a binary search.
FlightHeight BallisticHeight(const MotionCore& core, TimeValue t, float keyed);

/// The height that evaluation shows: keyed, or blended with the flights by dynamicsBlend.
float CombinedHeight(const MotionCore& core, TimeValue t);

/// Support of the body by its horizontal keys at the time last evaluated, `t`: -1 in free-form,
/// else 0 airborne, 1 right, 2 left, 3 both.
int BodySupportState(const MotionCore& core, TimeValue t);

/// Heading, lean and roll of the body as angles about the core's axes (radians).
Point3 BodyAngles(const MotionCore& core);

}  // namespace strider
