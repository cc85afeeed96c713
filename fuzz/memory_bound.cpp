#include "fuzz/memory_bound.h"

#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "strider/core/motion_core.h"

namespace {

std::atomic<std::size_t> heapNow{0}, heapPeak{0};

void* Counted(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  const std::size_t now = heapNow += malloc_usable_size(memory);
  std::size_t peak = heapPeak;
  while (now > peak && !heapPeak.compare_exchange_weak(peak, now)) {
  }
  return memory;
}
void* Allocate(std::size_t size) { return Counted(std::malloc(size ? size : 1)); }
void* AllocateAligned(std::size_t size, std::align_val_t alignment) {
  const auto to = static_cast<std::size_t>(alignment);
  return Counted(std::aligned_alloc(to, (size + to - 1) / to * to));
}
void Release(void* memory) {
  if (memory != nullptr) heapNow -= malloc_usable_size(memory);
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, std::align_val_t a) { return AllocateAligned(size, a); }
void* operator new[](std::size_t size, std::align_val_t a) { return AllocateAligned(size, a); }
void operator delete(void* memory) noexcept { Release(memory); }
void operator delete[](void* memory) noexcept { Release(memory); }
void operator delete(void* memory, std::size_t) noexcept { Release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Release(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { Release(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { Release(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { Release(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { Release(memory); }

namespace strider::fuzz {

std::size_t HeapBytes() { return heapNow; }
std::size_t HeapPeak() { return heapPeak; }
void ForgetPeak() { heapPeak = heapNow.load(); }

void Stop(const char* what) {
  std::fprintf(stderr, "FOUND: %s\n", what);
  std::abort();
}

void CheckPeak(std::size_t before, std::string_view input, std::size_t cores) {
  // Users are promised 64 MiB. Inputs here are small, and so less will do.
  constexpr std::size_t kSlack = 2u << 20;
  const std::size_t bound = kSlack + 20 * input.size() + cores * sizeof(MotionCore);
  const std::size_t taken = HeapPeak() - before;
  if (taken <= bound) return;
  std::fprintf(stderr, "%zu bytes taken for an input of %zu and %zu motions; the bound is %zu\n",
               taken, input.size(), cores, bound);
  Stop("an input that takes too much memory");
}

}  // namespace strider::fuzz
