// Replaces operator new by one that counts.
#include "support/allocations.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t g_allocations = 0;
std::atomic<std::size_t> g_held = 0;
std::atomic<std::size_t> g_peak = 0;

void* allocate(std::size_t size) noexcept {
  ++g_allocations;
  void* const block = std::malloc(size == 0 ? 1 : size);
  const std::size_t held = g_held += ::malloc_usable_size(block);
  std::size_t peak = g_peak;
  while (held > peak && !g_peak.compare_exchange_weak(peak, held)) {
  }
  return block;
}

void release(void* block) noexcept {
  g_held -= ::malloc_usable_size(block);
  std::free(block);
}

}  // namespace

std::size_t commutil_test::allocations() { return g_allocations; }
std::size_t commutil_test::bytesHeld() { return g_held; }
std::size_t commutil_test::peakBytesHeld() { return g_peak; }
void commutil_test::restartPeak() { g_peak = g_held.load(); }

// Not inlined: g++ would warn that `free` mismatches the callers' `new`.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (void* const block = allocate(size)) return block;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { release(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { release(block); }
