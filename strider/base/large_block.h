// Memory of many megabytes that is about to be filled. A fresh block comes in pages of a few
// kilobytes, and fetching each costs more than filling it; where the system has larger ones, this
// asks for them.
#pragma once

#include <cstddef>

namespace strider {

/// Says that the `size` bytes at `block` will all be used soon. Changes nothing of what they hold;
/// does nothing for small blocks and where the system knows no such thing.
void ExpectUse(void* block, std::size_t size);

/// Room for as many items in a vector or string that is about to be filled.
template <class Items>
void ReserveForUse(Items& items, std::size_t count) {
  if (count <= items.capacity()) return;
  items.reserve(count);
  ExpectUse(items.data(), items.capacity() * sizeof(typename Items::value_type));
}

}  // namespace strider
