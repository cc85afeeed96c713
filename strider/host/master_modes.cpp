// The modes of a figure: which may be switched when, and where each is kept.

#include "strider/core/evaluate.h"
#include "strider/core/figure_layout.h"
#include "strider/host/strider_master.h"

namespace strider {
namespace {

constexpr unsigned kAllModeBits[] = {
    kFigureMode,     kFootstepMode,    kMotionMode,     kBufferMode,   kBendLinksMode,
    kRubberBandMode, kScaleStrideMode, kInPlaceMode,    kInPlaceXMode, kInPlaceYMode,
    kMixerMode,      kMoveAllMode,     kTwistLinksMode, kTwistIndMode, kSmoothTwistMode,
};

/// One value holds the four ways of bending links.
TwistMode TwistModeOf(unsigned bit) {
  switch (bit) {
    case kBendLinksMode: return kBendLinks;
    case kTwistLinksMode: return kTwistLinks;
    case kTwistIndMode: return kTwistIndividual;
    case kSmoothTwistMode: return kSmoothTwist;
    default: return kNoTwistMode;
  }
}

InPlaceKind InPlaceKindOf(unsigned bit) {
  return bit == kInPlaceXMode ? kInPlaceX : bit == kInPlaceYMode ? kInPlaceY : kInPlaceBoth;
}

}  // namespace

bool StriderMaster::ModeIsOn(unsigned bit) const {
  const SharedModes& shared = session_.modes;
  switch (bit) {
    case kFigureMode: return core_->figureMode;
    case kFootstepMode: return footstepMode;
    case kMotionMode: return motionFlowMode;
    case kMixerMode: return mixerMode;
    case kBufferMode: return shared.bufferMode;
    case kRubberBandMode: return shared.rubberBandMode;
    case kScaleStrideMode: return shared.scaleStrideMode;
    case kMoveAllMode: return shared.moveAllMode;
    case kInPlaceMode:
    case kInPlaceXMode:
    case kInPlaceYMode: return core_->inPlace && core_->inPlaceKind == InPlaceKindOf(bit);
    default: break;
  }
  const TwistMode twist = TwistModeOf(bit);
  return twist != kNoTwistMode && shared.twistMode == twist;
}

void StriderMaster::SetMode(unsigned bit, bool on) {
  SharedModes& shared = session_.modes;
  switch (bit) {
    case kFigureMode:
      core_->figureMode = on;
      if (on) {
        TakeStance(*core_);
        CoreForwardKinematics(*core_);
      }
      return;
    case kFootstepMode: footstepMode = on; return;
    case kMotionMode: motionFlowMode = on; return;
    case kMixerMode: mixerMode = on; return;
    case kBufferMode: shared.bufferMode = on; return;
    case kRubberBandMode: shared.rubberBandMode = on; return;
    case kScaleStrideMode: shared.scaleStrideMode = on; return;
    case kMoveAllMode: shared.moveAllMode = on; return;
    case kInPlaceMode:
    case kInPlaceXMode:
    case kInPlaceYMode:
      core_->inPlace = on;
      if (on) core_->inPlaceKind = InPlaceKindOf(bit);
      return;
    default: break;
  }
  if (TwistModeOf(bit) != kNoTwistMode) shared.twistMode = on ? TwistModeOf(bit) : kNoTwistMode;
}

bool StriderMaster::CanSwitchMode(unsigned bit) const {
  const SharedModes& shared = session_.modes;
  const bool base = !HasLayerAbove();
  const bool buffer = shared.bufferMode, talent = shared.talentFigMode;
  switch (bit) {
    case kFigureMode: return !buffer && !talent && base;
    case kFootstepMode: return !InFlow() && !core_->freeForm && base;
    case kMotionMode: return !buffer && !talent && (base || motionFlowMode);
    case kBufferMode:
      return shared.bufferExists && !InFlow() && !bufferLocked && !core_->figureMode;
    case kRubberBandMode: return core_->figureMode || talent;
    case kInPlaceMode:
    case kInPlaceXMode:
    case kInPlaceYMode: return !core_->figureMode && !talent;
    case kMixerMode:
    case kMoveAllMode: return !buffer && !talent;
    default: return true;
  }
}

unsigned StriderMaster::GetActiveModes() const {
  unsigned active = 0;
  for (unsigned bit : kAllModeBits) {
    if (ModeIsOn(bit)) active |= bit;
  }
  return active;
}

unsigned StriderMaster::SwitchModes(unsigned bits, bool on, bool redraw) {
  unsigned switched = 0;
  for (unsigned bit : kAllModeBits) {
    if (!(bits & bit) || ModeIsOn(bit) == on || !CanSwitchMode(bit)) continue;
    SetMode(bit, on);
    switched |= bit;
  }
  if (switched == 0) return 0;
  Changed();
  if (redraw) session_.scene.NotifyTimeChange();
  return switched;
}

unsigned StriderMaster::BeginModes(unsigned bits, bool redraw) {
  return SwitchModes(bits, true, redraw);
}
unsigned StriderMaster::EndModes(unsigned bits, bool redraw) {
  return SwitchModes(bits, false, redraw);
}

}  // namespace strider
