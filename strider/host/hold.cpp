#include "strider/host/hold.h"

#include <iterator>
#include <utility>

namespace strider {

void Hold::Begin() { begins_.push_back(put_.size()); }

bool Hold::Put(std::unique_ptr<RestoreObj> object) {
  if (!object || !Holding() || restoring_) return false;
  put_.push_back(std::move(object));
  return true;
}

bool Hold::Accept(const std::string& name) {
  if (begins_.empty()) return false;
  begins_.pop_back();
  if (!begins_.empty() || put_.empty()) return true;

  steps_.resize(numDone_);  // what was undone can't be redone over a new change
  steps_.push_back({name, std::exchange(put_, {})});
  ++numDone_;
  DropBeyondLimit();
  return true;
}

bool Hold::Cancel() {
  if (begins_.empty()) return false;
  const auto first = put_.begin() + static_cast<std::ptrdiff_t>(begins_.back());
  // Taken out first: a restore may run operations that begin and accept on their own.
  const Objects own(std::make_move_iterator(first), std::make_move_iterator(put_.end()));
  put_.erase(first, put_.end());
  begins_.pop_back();
  RestoreAll(own, false);
  return true;
}

void Hold::RestoreAll(const Objects& objects, bool isUndo) {
  // An operation that a restore runs may cancel a Begin of its own, which comes through here.
  const bool outer = std::exchange(restoring_, true);
  for (auto object = objects.rbegin(); object != objects.rend(); ++object) {
    (*object)->Restore(isUndo);
  }
  restoring_ = outer;
}

bool Hold::Undo() {
  if (Busy() || numDone_ == 0) return false;
  RestoreAll(steps_[--numDone_].objects, true);
  return true;
}

bool Hold::Redo() {
  if (Busy() || numDone_ == steps_.size()) return false;
  restoring_ = true;
  for (const auto& object : steps_[numDone_].objects) object->Redo();
  restoring_ = false;
  ++numDone_;
  return true;
}

bool Hold::Clear() {
  if (Busy()) return false;
  steps_.clear();
  numDone_ = 0;
  return true;
}

bool Hold::SetLimit(int limit) {
  if (limit < 0 || Busy()) return false;
  limit_ = limit;
  DropBeyondLimit();
  return true;
}

void Hold::DropBeyondLimit() {
  while (steps_.size() > static_cast<std::size_t>(limit_)) {
    // With all steps undone, the front is the next to redo; the far end goes instead.
    if (numDone_ == 0) {
      steps_.pop_back();
    } else {
      steps_.pop_front();
      --numDone_;
    }
  }
}

std::size_t Hold::Size() const {
  std::size_t size = 0;
  for (const Step& step : steps_) {
    for (const auto& object : step.objects) size += object->Size();
  }
  return size;
}

}  // namespace strider
