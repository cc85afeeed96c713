#include "strider/host/session.h"

#include <algorithm>

#include "strider/host/strider_master.h"

namespace strider {

Session::Session() = default;
// Its striders leave the scene one by one; who listened may be gone already.
Session::~Session() { scene.UnregisterAll(); }

int Session::LoadPreferences() {
  return strider::LoadPreferences(preferences, PreferencesPath(preferencesFolder));
}

int Session::SavePreferences() const {
  std::string cause;
  if (preferencesFolder.empty()) return 0;
  return strider::SavePreferences(preferences, PreferencesPath(preferencesFolder), cause) ? 1 : 0;
}

StriderMaster* Session::Adopt(std::unique_ptr<StriderMaster> master) {
  striders_.push_back(std::move(master));
  return striders_.back().get();
}

bool Session::Remove(const StriderMaster* master) {
  const auto found = std::find_if(striders_.begin(), striders_.end(),
                                  [master](const auto& own) { return own.get() == master; });
  if (found == striders_.end() || !hold.Clear()) return false;
  striders_.erase(found);
  return true;
}

Session& DefaultSession() {
  static Session session;
  return session;
}

MocapManager& TheMocapManager() { return DefaultSession().mocap; }

}  // namespace strider
