// Footsteps of a figure: what the host and its scripts ask for, with undo and messages.

#include <algorithm>
#include <new>
#include <string>
#include <utility>

#include "strider/core/motion_range.h"
#include "strider/footsteps/activate.h"
#include "strider/footsteps/adapt.h"
#include "strider/footsteps/footstep_edit.h"
#include "strider/host/footprint_control.h"
#include "strider/host/strider_master.h"

namespace strider {
namespace {

/// What a refusal of one footstep is called, as its message ends.
const char* CauseOf(PlaceStatus status) {
  switch (status) {
    case PlaceStatus::kNegativeTime: return "it would start before time 0";
    case PlaceStatus::kTooLate: return "it ends later than any footstep may";
    case PlaceStatus::kOutOfOrder: return "it starts before the one ahead of it";
    default: return "its side, place, heading or duration is not one that a footstep can have";
  }
}

void TellDoesNotFit(const Session& session, int number) {
  Tell(session.messages, MessageId::kFootstepDoesNotFit,
       {"The foot is on the ground already when it is to come down for footstep",
        std::to_string(number)});
}

}  // namespace

/// The session's settings, in this figure's frames.
GaitSettings& StriderMaster::Gaits() {
  RetimeSettings(session_.gaits, core_->ticksPerFrame);
  return session_.gaits;
}

std::optional<MessageId> StriderMaster::WhyFootstepsStay() const {
  if (core_->figureMode) return MessageId::kNotInFigureMode;
  if (InFlow()) return MessageId::kNotInMotionMode;
  return std::nullopt;
}

bool StriderMaster::FootstepsCanChange() {
  const std::optional<MessageId> why = WhyFootstepsStay();
  if (why) Tell(session_.messages, *why);
  return !why;
}

PlaceResult StriderMaster::TellPlacing(const PlaceResult& result) {
  const MessageSink& sink = session_.messages;
  switch (result.status) {
    case PlaceStatus::kPlaced:
    case PlaceStatus::kNothingAsked: break;
    case PlaceStatus::kDoubleSupportTooLong: Tell(sink, MessageId::kDoubleSupportTooLong); break;
    case PlaceStatus::kOutsideInactive: Tell(sink, MessageId::kOutsideInactiveFootsteps); break;
    case PlaceStatus::kDoesNotFit: TellDoesNotFit(session_, result.failing); break;
    case PlaceStatus::kNeverInTheAir: Tell(sink, MessageId::kBatchCannotBePlaced); break;
    case PlaceStatus::kOutOfMemory: Tell(sink, MessageId::kOutOfMemory); break;
    default:
      if (result.failing > 0) {
        Tell(sink, MessageId::kFootstepRefused,
             {std::to_string(result.failing), CauseOf(result.status)});
      } else {
        Tell(sink, result.status == PlaceStatus::kNegativeTime
                       ? MessageId::kNegativeTimeWithFootsteps
                       : MessageId::kBadFootstepValues);
      }
  }
  return result;
}

int StriderMaster::TellAdding(int code) {
  const MessageSink& sink = session_.messages;
  switch (code) {
    case kAddNoSwing: Tell(sink, MessageId::kDoubleSupportTooLong); break;
    case kAddNoFootsteps: Tell(sink, MessageId::kBatchCannotBePlaced); break;
    case kAddOutsideInactive: Tell(sink, MessageId::kOutsideInactiveFootsteps); break;
    case kAddDoesNotFit: TellDoesNotFit(session_, core_->footsteps.numFootsteps + 1); break;
    case kAddNegativeTime: Tell(sink, MessageId::kNegativeTimeWithFootsteps); break;
    default: break;
  }
  return code;
}

// --- Placing -----------------------------------------------------------------------------------

int StriderMaster::AddFootprint(const Point3& position, float angle) {
  if (!FootstepsCanChange()) return 0;
  const TimeValue now = session_.scene.Time();
  const Matrix3 root = RootAt(now);
  const FootstepPlace place{CoreFromHost(IntoFrame(position, root)), angle - HeadingOf(root)};
  int code = 0;
  EditState([&] {
    code = strider::AddFootprint(*core_, Gaits(), place, now);
    return code > 0;
  });
  return TellAdding(code);
}

int StriderMaster::AddFootstepNow(const Point3& position) {
  if (!FootstepsCanChange()) return 0;
  const TimeValue now = session_.scene.Time();
  const Point3 place = CoreFromHost(IntoFrame(position, RootAt(now)));
  int code = 0;
  EditState([&] {
    code = strider::AddFootstepNow(*core_, Gaits(), place, now);
    return code > 0;
  });
  return TellAdding(code);
}

PlaceResult StriderMaster::AddMultipleFootprints(const MultFprintParams& params) {
  PlaceResult result{PlaceStatus::kNothingAsked};
  if (!FootstepsCanChange()) return result;
  const TimeValue now = session_.scene.Time();
  EditState([&] {
    result = PlaceMultiple(*core_, Gaits(), params, now);
    return result.Done();
  });
  // The session's own parameters show what they came to for this figure.
  for (MultFprintParams& own : session_.gaits.params) {
    if (result.Done() && &own == &params) SetActuals(own, MeasuresOf(*core_));
  }
  return TellPlacing(result);
}

PlaceResult StriderMaster::DryRunMultipleFootprints(const MultFprintParams& params) {
  return DryRunMultiple(*core_, Gaits(), params, session_.scene.Time());
}

PlaceResult StriderMaster::AddFootsteps(std::span<const NewFootstep> plan) {
  PlaceResult result{PlaceStatus::kNothingAsked};
  if (!FootstepsCanChange()) return result;
  EditState([&] {
    result = PlaceFootsteps(*core_, plan);
    return result.Done();
  });
  return TellPlacing(result);
}

PlaceResult StriderMaster::InsertFootstep(int index, const NewFootstep& footstep) {
  PlaceResult result{PlaceStatus::kNothingAsked};
  if (!FootstepsCanChange()) return result;
  EditState([&] {
    result = PlaceFootstepAt(*core_, index, footstep);
    return result.Done();
  });
  return TellPlacing(result);
}

MultFprintParams* StriderMaster::GetMultFprintParams(int gait) {
  return gait >= kWalk && gait <= kJump ? &Gaits().params[gait - kWalk] : nullptr;
}
int StriderMaster::GetFSAddSide() const { return session_.gaits.nextSide; }
bool StriderMaster::SetFSAddSide(int side) {
  if (side != kRight && side != kLeft) return false;
  session_.gaits.nextSide = side;
  return true;
}

// --- Changing ----------------------------------------------------------------------------------

bool StriderMaster::EditFootsteps(const FootstepEdit& edit) {
  if (!FootstepsCanChange()) return false;
  bool outOfMemory = false;
  const bool done = EditState([&] {
    int first = 0, last = -1;
    SaveTransitions(core_->footsteps);
    FootstepTrack before;
    try {
      before = core_->footsteps;
    } catch (const std::bad_alloc&) {
      outOfMemory = true;
      return false;
    }
    if (!edit(*core_, first, last)) return false;
    const FootstepTrack& track = core_->footsteps;
    AdaptResult result = AdaptResult::kNothing;
    if (track.numFootsteps == 0) {
      result = RebuildMotion(*core_, context_);
    } else if (first <= last) {
      result = AdaptMotion(*core_, std::move(before), first, last, session_.adaptLocks, context_);
    }
    outOfMemory = result == AdaptResult::kOutOfMemory;
    core_->footstepsPending = AnyInactive(track);
    RefreshMotionSpan(*core_);
    return !outOfMemory;
  });
  if (outOfMemory) Tell(session_.messages, MessageId::kOutOfMemory);
  return done;
}

bool StriderMaster::DeleteFootstep(int index) {
  return EditFootsteps([index](MotionCore& core, int& first, int& last) {
    FootstepTrack& track = core.footsteps;
    if (strider::DeleteFootstep(track, index) == kRefused) return false;
    // Its neighbours now follow each other.
    first = std::max(0, index - 1);
    last = std::min(index, track.numFootsteps - 1);
    return true;
  });
}

bool StriderMaster::DeleteSelectedFootsteps() {
  return EditFootsteps([](MotionCore& core, int& first, int& last) {
    FootstepTrack& track = core.footsteps;
    BitArray which(track.numFootsteps);
    for (int i = 0; i < track.numFootsteps; ++i) {
      if (!IsSelected(track, i)) continue;
      which.Set(i);
      if (last < 0) first = std::max(0, i - 1);
      last = i;
    }
    const int deleted = DeleteFootsteps(track, which);
    last = std::min(last - deleted + 1, track.numFootsteps - 1);
    first = std::min(first, last);
    return deleted > 0;
  });
}

bool StriderMaster::SelectFootstep(int index, int edges, bool clearOthers) {
  FootstepTrack& track = core_->footsteps;
  if (!SpanOf(track, index) || edges < 0 || edges > kBothEdges) return false;
  if (session_.hold.Holding()) session_.hold.Put(std::make_unique<FootSelSave>(*this));
  if (clearOthers) ClearFootstepSelection(track);
  track.startEdgeSelected.Set(index, (edges & kStartEdge) != 0);
  track.endEdgeSelected.Set(index, (edges & kEndEdge) != 0);
  Changed();
  return true;
}

bool StriderMaster::SetFootstepTransform(int index, const Matrix3& transform) {
  if (!IsFinite(transform)) Tell(session_.messages, MessageId::kNotFinite, {"transform"});
  return footprints_->SetTransform(index, transform);
}

bool StriderMaster::SetFootstepTimes(int index, TimeValue start, TimeValue duration) {
  const bool done = footprints_->SetTimes(index, start, duration);
  if (!done && SpanOf(core_->footsteps, index) && !core_->figureMode && !InFlow()) {
    Tell(session_.messages, MessageId::kFootstepTimesRefused);
  }
  return done;
}

bool StriderMaster::SetFreeFormAfter(int index, bool on) {
  // No footstep moves, and so no key: evaluation alone takes the interval for another.
  return EditFootsteps([index, on](MotionCore& core, int&, int&) {
    return strider::SetFreeFormAfter(core.footsteps, index, on) == kDone;
  });
}

// --- Motion --------------------------------------------------------------------------------------

bool StriderMaster::NewFootprintKeys() {
  if (!FootstepsCanChange()) return false;
  ActivationResult result = ActivationResult::kNoFootsteps;
  EditState([&] {
    result = strider::NewFootprintKeys(*core_, context_);
    return result == ActivationResult::kDone;
  });
  if (result == ActivationResult::kOutOfMemory) {
    Tell(session_.messages, MessageId::kOutOfMemory);
  }
  return result == ActivationResult::kDone;
}

bool StriderMaster::BendFootprints(float angle) {
  return EditFootsteps([angle](MotionCore& core, int& first, int& last) {
    SelectionRange(core.footsteps, first, last);
    last = core.footsteps.numFootsteps - 1;  // what follows a run moves with it
    return strider::BendFootprints(core, angle) == kDone;
  });
}

bool StriderMaster::ScaleFootprints(const FootstepScale& scale) {
  return EditFootsteps([&scale](MotionCore& core, int& first, int& last) {
    SelectionRange(core.footsteps, first, last);
    last = core.footsteps.numFootsteps - 1;
    return strider::ScaleFootprints(core, scale) == kDone;
  });
}

MultFprintParams* GetMultFprintParams(int gait) {
  Session& session = DefaultSession();
  RetimeSettings(session.gaits, StriderGetTicksPerFrame(session));
  return gait >= kWalk && gait <= kJump ? &session.gaits.params[gait - kWalk] : nullptr;
}

}  // namespace strider
