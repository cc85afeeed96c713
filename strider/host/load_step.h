// A load as one undo step: what every way of bringing a motion or a figure in runs through.
#pragma once

#include <new>
#include <utility>

#include "strider/host/strider_master.h"

namespace strider {

/// Locks hold parts against a user's edits; a load brings the motion whole.
class LocksOff {
 public:
  explicit LocksOff(AdaptLocks& locks) : locks_(locks), saved_(std::exchange(locks, {})) {}
  ~LocksOff() { locks_ = saved_; }
  LocksOff(const LocksOff&) = delete;
  LocksOff& operator=(const LocksOff&) = delete;

 private:
  AdaptLocks& locks_;
  AdaptLocks saved_;
};

/// Runs a load that tells its own refusals, as one undo step.
template <class Load>
bool StriderMaster::LoadStep(const char* name, Load load, bool quiet) {
  const LocksOff locks(session_.adaptLocks);
  session_.hold.Begin();
  bool done = false;
  try {
    done = EditState(load);
  } catch (const std::bad_alloc&) {
    if (!quiet) Tell(session_.messages, MessageId::kOutOfMemory);
  }
  if (done) {
    session_.hold.Accept(name);
  } else {
    session_.hold.Cancel();
  }
  return done;
}

}  // namespace strider
