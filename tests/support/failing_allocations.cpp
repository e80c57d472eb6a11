#include "support/failing_allocations.h"

#include <cerrno>
#include <cstdlib>
#include <new>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define COMMUTIL_SANITIZED
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define COMMUTIL_SANITIZED
#endif

namespace {

using commutil_test::Failing;

struct State {
  bool armed;
  bool happened;
  std::size_t passing;
  Failing failing;
};

thread_local constinit State state{};

/// Returns whether the current allocation fails.
bool fails() {
  if (!state.armed) return false;
  if (state.passing > 0) {
    --state.passing;
    return false;
  }
  if (state.happened && state.failing == Failing::once) return false;
  state.happened = true;
  errno = ENOMEM;
  return true;
}

}  // namespace

namespace commutil_test {

FailingAllocations::FailingAllocations(std::size_t passing, Failing failing) {
  state = {true, false, passing, failing};
}

FailingAllocations::~FailingAllocations() { state.armed = false; }

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): the state is the thread's
bool FailingAllocations::happened() const { return state.happened; }

}  // namespace commutil_test

#ifdef COMMUTIL_SANITIZED

[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const block = fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
  return block != nullptr ? block : throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
}
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

#else

extern "C" {

// The C library's malloc, under the name that stays when malloc is replaced.
void* __libc_malloc(std::size_t size);  // NOLINT(bugprone-reserved-identifier)

void* malloc(std::size_t size) noexcept { return fails() ? nullptr : __libc_malloc(size); }
}

#endif
