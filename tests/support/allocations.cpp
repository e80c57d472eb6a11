// Replaces operator new by one that counts.
#include "support/allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t g_allocations = 0;

}  // namespace

std::size_t commutil_test::allocations() { return g_allocations; }

// Not inlined: g++ would warn that `free` mismatches the callers' `new`.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++g_allocations;
  if (void* const block = std::malloc(size == 0 ? 1 : size)) return block;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  ++g_allocations;
  return std::malloc(size == 0 ? 1 : size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
