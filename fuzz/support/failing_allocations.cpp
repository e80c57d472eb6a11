#include "support/failing_allocations.h"

#include <cerrno>
#include <cstdlib>
#include <new>

namespace commutil_fuzz {
namespace {

struct State {
  bool armed;
  bool happened;
  std::uint64_t random;
};

thread_local constinit State state{};

/// Returns the hash of an input (FNV-1a).
std::uint64_t hashOf(const std::uint8_t* data, std::size_t size) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (std::size_t i = 0; i < size; ++i) hash = (hash ^ data[i]) * 0x100000001B3;
  return hash;
}

/// Returns whether the current allocation fails.
bool fails() {
  if (!state.armed) return false;
  state.random = state.random * 6364136223846793005 + 1442695040888963407;
  if ((state.random >> 33) % 100 != 0) return false;
  state.happened = true;
  errno = ENOMEM;
  return true;
}

void* allocate(std::size_t size) { return fails() ? nullptr : std::malloc(size == 0 ? 1 : size); }

}  // namespace

FailingAllocations::FailingAllocations(const std::uint8_t* data, std::size_t size) {
  state = {true, false, hashOf(data, size)};
}

FailingAllocations::~FailingAllocations() { state = {}; }

bool FailingAllocations::happened() { return state.happened; }

SparedAllocations::SparedAllocations() : m_armed(state.armed) { state.armed = false; }

SparedAllocations::~SparedAllocations() { state.armed = m_armed; }

}  // namespace commutil_fuzz

using commutil_fuzz::allocate;

[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const block = allocate(size);
  return block != nullptr ? block : throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
