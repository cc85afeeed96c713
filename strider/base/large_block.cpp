#include "strider/base/large_block.h"

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace strider {

void ExpectUse(void* block, std::size_t size) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  // Below a few large pages the heap hands out memory that was used before.
  constexpr std::size_t kLargePage = std::size_t{1} << 21, kLeast = 4 * kLargePage;
  if (size < kLeast) return;
  const auto start = reinterpret_cast<std::uintptr_t>(block);
  const std::uintptr_t first = (start + kLargePage - 1) / kLargePage * kLargePage;
  const std::uintptr_t last = (start + size) / kLargePage * kLargePage;
  // An advice: whether it is taken changes no result.
  if (first < last) (void)madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#else
  (void)block;
  (void)size;
#endif
}

}  // namespace strider
