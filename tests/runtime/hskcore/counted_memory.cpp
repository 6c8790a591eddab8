#include "tests/runtime/hskcore/counted_memory.h"

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::size_t liveBytes = 0;
std::size_t bytesAtStart = 0;
std::size_t peakBytes = 0;
std::size_t allocations = 0;

void* Allocate(std::size_t size, std::size_t alignment) {
  const std::size_t whole = (size + alignment - 1) / alignment * alignment;
  void* block = std::aligned_alloc(alignment, whole);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  ++allocations;
  liveBytes += malloc_usable_size(block);
  peakBytes = std::max(peakBytes, liveBytes);
  return block;
}

void Free(void* block) {
  liveBytes -= block == nullptr ? 0 : malloc_usable_size(block);
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size, alignof(std::max_align_t)); }
void* operator new[](std::size_t size) { return Allocate(size, alignof(std::max_align_t)); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return Allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete[](void* block, std::size_t) noexcept { Free(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { Free(block); }
void operator delete(void* block, std::align_val_t) noexcept { Free(block); }

namespace svc::testing {

void StartCounting() {
  bytesAtStart = peakBytes = liveBytes;
  allocations = 0;
}

TCountedMemory Counted() { return {peakBytes - bytesAtStart, allocations}; }

}  // namespace svc::testing
