#include "strider/footsteps/adapt.h"

namespace strider {

void AdaptMotion(MotionCore& /*core*/, int /*firstFootstep*/, int /*lastFootstep*/,
                 const AdaptLocks& /*locks*/, const EvalContext& /*context*/) {}

}  // namespace strider
