// Motions of footsteps and of free keys: the conversions as the host asks for them.

#include <string>

#include "strider/footsteps/convert_motion.h"
#include "strider/host/strider_master.h"

namespace strider {

bool StriderMaster::CanConvert() {
  if (!FootstepsCanChange()) return false;
  if (mixerMode) Tell(session_.messages, MessageId::kNotInMixerMode);
  return !mixerMode;
}

bool StriderMaster::ConvertToFreeForm(bool bake) {
  if (!CanConvert() || core_->freeForm) return false;
  const bool done =
      EditState([&] { return strider::ConvertToFreeForm(*core_, bake, context_) == kDone; });
  if (!done) Tell(session_.messages, MessageId::kOutOfMemory);
  return done;
}

bool StriderMaster::ConvertToFootSteps(bool bake, bool flat) {
  if (!CanConvert() || !core_->freeForm) return false;
  ExtractionSettings settings;
  settings.conversionFlag = 1;
  settings.fsSlidingAngle = static_cast<float>(session_.preferences.slidingAngle);
  settings.fsSlidingDist = static_cast<float>(session_.preferences.slidingDist);
  ExtractionReport report;
  ToFootstepsResult result = ToFootstepsResult::kRefused;
  EditState([&] {
    result = ConvertToFootsteps(*core_, settings, {bake, flat}, report, context_);
    const bool changed =
        result == ToFootstepsResult::kDone || (bake && result == ToFootstepsResult::kNoFootsteps);
    return changed;
  });
  if (result == ToFootstepsResult::kRefused) {
    Tell(session_.messages, MessageId::kOutOfMemory);
    return false;
  }
  Tell(session_.messages, MessageId::kFootstepsFound, {std::to_string(report.footsteps.size())});
  return result == ToFootstepsResult::kDone;
}

}  // namespace strider
