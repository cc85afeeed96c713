// Motions of footsteps and of free keys: the conversions as the host asks for them.

#include <algorithm>
#include <string>
#include <utility>

#include "strider/footsteps/convert_motion.h"
#include "strider/host/strider_master.h"

namespace strider {

/// Ends a conversion with a message; answers whether it was done.
bool StriderMaster::TellConversion(bool done, MessageId id,
                                   std::initializer_list<std::string> args) {
  lastConversion_.done = done;
  lastConversion_.messages = {FormatMessage(id, args)};
  Tell(session_.messages, id, args);
  return done;
}

/// Whether a motion that is free-form, or is not, may be converted; if not, it is told why.
bool StriderMaster::CanConvert(bool freeForm) {
  if (const auto why = WhyFootstepsStay()) return TellConversion(false, *why);
  if (mixerMode) return TellConversion(false, MessageId::kNotInMixerMode);
  if (core_->freeForm == freeForm && (freeForm || core_->footsteps.numFootsteps > 0)) return true;
  return TellConversion(false, freeForm ? MessageId::kHasFootsteps : MessageId::kHasNoFootsteps);
}

bool StriderMaster::ConvertToFreeForm(bool bake) {
  if (!CanConvert(false)) return false;
  const bool done =
      EditState([&] { return strider::ConvertToFreeForm(*core_, bake, context_) == kDone; });
  if (!done) return TellConversion(false, MessageId::kOutOfMemory);
  lastConversion_ = {true, {}, {}};
  return true;
}

bool StriderMaster::ConvertToFootSteps(bool bake, bool flat) {
  if (!CanConvert(true)) return false;
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
  if (result == ToFootstepsResult::kRefused) return TellConversion(false, MessageId::kOutOfMemory);
  const std::string count = std::to_string(report.footsteps.size());
  const bool done = result == ToFootstepsResult::kDone;
  if (done) lastConversion_.extraction = std::move(report);
  return TellConversion(done, MessageId::kFootstepsFound, {count});
}

bool StriderMaster::IsFootstepSliding(int index) const {
  const FootstepTrack& track = core_->footsteps;
  if (index < 0 || index >= track.numFootsteps) return false;
  const auto at = static_cast<std::size_t>(index);
  const int side = track.side[at];
  const FootstepSpan& span = track.spans[side][static_cast<std::size_t>(track.sideIndex[at])];
  // By its times: other footsteps may have come or gone before it.
  const std::vector<ExtractedFootstep>& found = lastConversion_.extraction.footsteps;
  return std::any_of(found.begin(), found.end(), [&](const ExtractedFootstep& footstep) {
    return footstep.sliding && footstep.side == side && footstep.start == span.start &&
           footstep.duration == span.duration;
  });
}

}  // namespace strider
