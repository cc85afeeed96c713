#include "fuzz/memory_bound.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define STRIDER_COUNTS_HEAP 1
#endif
#endif
#ifdef __SANITIZE_ADDRESS__
#define STRIDER_COUNTS_HEAP 1
#endif
#ifdef STRIDER_COUNTS_HEAP
// g++ has the functions but no header for them.
extern "C" std::size_t __sanitizer_get_allocated_size(const volatile void*);
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void*,
                                                                  std::size_t),
                                                         void (*)(const volatile void*));
#endif

namespace {

std::atomic<std::size_t> heapNow{0}, heapPeak{0};

#ifdef STRIDER_COUNTS_HEAP
void CountAllocated(const volatile void*, std::size_t size) {
  const std::size_t now = heapNow += size;
  std::size_t peak = heapPeak;
  while (now > peak && !heapPeak.compare_exchange_weak(peak, now)) {
  }
}
void CountFreed(const volatile void* memory) {
  if (memory != nullptr) heapNow -= __sanitizer_get_allocated_size(memory);
}
[[maybe_unused]] const int hooks =
    __sanitizer_install_malloc_and_free_hooks(CountAllocated, CountFreed);
#endif

}  // namespace

namespace strider::fuzz {

std::size_t HeapBytes() { return heapNow; }
std::size_t HeapPeak() { return heapPeak; }
void ForgetPeak() { heapPeak = heapNow.load(); }

void Stop(const char* what) {
  std::fprintf(stderr, "FOUND: %s\n", what);
  std::abort();
}

void CheckPeak(std::size_t before, std::string_view input, std::size_t records) {
  // Users are promised 64 MiB. Inputs here are small, and so less will do.
  constexpr std::size_t kSlack = 2u << 20;
  const std::size_t bound = kSlack + 20 * input.size() + records;
  const std::size_t taken = HeapPeak() > before ? HeapPeak() - before : 0;
  if (taken <= bound) return;
  std::fprintf(stderr, "%zu bytes taken for an input of %zu and %zu of motions; the bound is %zu\n",
               taken, input.size(), records, bound);
  Stop("an input that takes too much memory");
}

}  // namespace strider::fuzz
