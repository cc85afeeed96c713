// How the host reads and writes the keys of a controller, and tells it of the user's commands.
#pragma once

#include <cstdint>

#include "strider/base/time_value.h"

namespace strider {

/// What every key begins with; each controller's own key goes on from here.
struct IKey {
  TimeValue time = 0;
  std::uint32_t flags = 0;  // the host's own
};

class IKeyControl {
 public:
  virtual ~IKeyControl() = default;
  virtual int GetNumKeys() const = 0;
  /// Fills the controller's own kind of key; a default one for an index outside.
  virtual void GetKey(int index, IKey& key) const = 0;
  /// Writes it back. False, nothing changed, for an index outside or values that cannot stand.
  virtual bool SetKey(int index, const IKey& key) = 0;
  /// Bytes of the controller's own kind of key.
  virtual int GetKeySize() const = 0;
};

/// Commands of the user while a controller's row has their attention.
class EventUser {
 public:
  virtual ~EventUser() = default;
  /// Delete what is selected. False if nothing is.
  virtual bool DeleteSelected() = 0;
};

}  // namespace strider
