// Undo of one user's sitting. A change that can be undone runs between Begin and Accept and puts,
// for each thing it is about to change, an object that can bring the old state back.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace strider {

class RestoreObj {
 public:
  virtual ~RestoreObj() = default;
  /// Brings the state from before the change back. `isUndo` tells that Redo may be asked later, so
  /// that the present state has to be kept; it is false when a change is called off half way.
  virtual void Restore(bool isUndo) = 0;
  /// Brings the state back that the last Restore(true) left.
  virtual void Redo() = 0;
  /// Memory it keeps, in bytes.
  virtual std::size_t Size() const { return 0; }
};

class Hold {
 public:
  Hold() = default;
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

  // Recording. Begin and its Accept or Cancel may stand inside another such pair: an inner Accept
  // hands what was put to the outer pair, whose name stays; an inner Cancel takes back only its
  // own.

  void Begin();
  /// Keeps `object` for undo. False, and `object` is dropped, unless Holding() and no undo, redo or
  /// cancel is at work: what a restore changes is part of the step that it restores.
  bool Put(std::unique_ptr<RestoreObj> object);
  /// The outermost Accept makes an undo step of what was put and ends all redo; with nothing put it
  /// does neither. False without a Begin.
  bool Accept(const std::string& name);
  /// Restores what was put since the Begin, newest first. False without a Begin.
  bool Cancel();
  /// Between Begin and its end, and not suspended.
  bool Holding() const { return !begins_.empty() && suspended_ == 0; }

  // Changes between these two are not recorded. They nest; a Resume too many does nothing.

  void Suspend() { ++suspended_; }
  void Resume() {
    if (suspended_ > 0) --suspended_;
  }

  // Steps. Refused between Begin and its end, and from within a restore.

  /// False if there is nothing to undo (to redo), or refused.
  bool Undo();
  bool Redo();
  /// Name of the step that Undo (Redo) would take; empty if there is none.
  std::string UndoName() const { return numDone_ > 0 ? steps_[numDone_ - 1].name : ""; }
  std::string RedoName() const { return numDone_ < steps_.size() ? steps_[numDone_].name : ""; }
  /// Forgets all steps, as a new scene does. False if refused.
  bool Clear();

  /// Steps kept, undone ones included; the oldest go first. 0 keeps none. False if negative or
  /// refused.
  bool SetLimit(int limit);
  int Limit() const { return limit_; }
  /// Memory of all steps as their objects tell it, in bytes.
  std::size_t Size() const;

 private:
  using Objects = std::vector<std::unique_ptr<RestoreObj>>;
  struct Step {
    std::string name;
    Objects objects;
  };

  bool Busy() const { return restoring_ || !begins_.empty(); }
  void RestoreAll(const Objects& objects, bool isUndo);
  void DropBeyondLimit();

  std::deque<Step> steps_;           // done ones first, oldest in front; then the undone ones
  std::size_t numDone_ = 0;          // of steps_
  Objects put_;                      // since the outermost Begin
  std::vector<std::size_t> begins_;  // for each open Begin, how many of put_ came before it
  bool restoring_ = false;
  int suspended_ = 0;
  int limit_ = 100;
};

}  // namespace strider
