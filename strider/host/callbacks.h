// Functions that wait for a piece of news. Any of them may add or remove functions, itself too,
// while the news goes round.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace strider {

/// Names a registered function; never given out twice by one list.
enum class CallbackId : int {};
inline constexpr CallbackId kNoCallback{0};

template <class... News>
class CallbackList {
 public:
  using Function = std::function<void(News...)>;

  /// Functions are called in the order they came. kNoCallback if `function` is empty.
  CallbackId Add(Function function) {
    if (!function) return kNoCallback;
    const CallbackId id{++lastId_};
    entries_.push_back({id, std::make_shared<const Function>(std::move(function))});
    return id;
  }

  /// False if nothing is registered under `id`.
  bool Remove(CallbackId id) { return std::erase_if(entries_, Names(id)) > 0; }

  /// Hands each function that is registered now to `call`, but for those removed on the way.
  template <class Call>
  void ForEach(const Call& call) const {
    // The copy shares the functions, so that one which removes itself lives until it has returned.
    const std::vector<Entry> round = entries_;
    for (const Entry& entry : round) {
      if (std::any_of(entries_.begin(), entries_.end(), Names(entry.id))) call(*entry.function);
    }
  }

 private:
  struct Entry {
    CallbackId id = kNoCallback;
    std::shared_ptr<const Function> function;
  };
  static auto Names(CallbackId id) {
    return [id](const Entry& entry) { return entry.id == id; };
  }

  std::vector<Entry> entries_;
  int lastId_ = 0;
};

}  // namespace strider
