// Replaces all allocation functions by ones that can fail, for this program and every library in
// it.
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "faults/fault.h"

using commutil_faults::Function;
using commutil_faults::mustFail;

// The replaced allocator: the sanitizer's or the C library's.
#if defined(__SANITIZE_ADDRESS__)
#define COMMUTIL_REAL(name) __interceptor_##name
#else
#define COMMUTIL_REAL(name) __libc_##name
#endif

extern "C" {
void* COMMUTIL_REAL(malloc)(std::size_t size);
void* COMMUTIL_REAL(calloc)(std::size_t count, std::size_t size);
void* COMMUTIL_REAL(realloc)(void* block, std::size_t size);
void* COMMUTIL_REAL(memalign)(std::size_t alignment, std::size_t size);
}

namespace {

bool fails(Function function) {
  if (!mustFail(function)) return false;
  errno = ENOMEM;
  return true;
}

void* aligned(std::size_t alignment, std::size_t size) {
  return fails(Function::alignedAlloc) ? nullptr : COMMUTIL_REAL(memalign)(alignment, size);
}

void* allocate(std::size_t size) { return COMMUTIL_REAL(malloc)(size == 0 ? 1 : size); }

}  // namespace

extern "C" {

void* malloc(std::size_t size) noexcept {
  return fails(Function::malloc) ? nullptr : COMMUTIL_REAL(malloc)(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  return fails(Function::calloc) ? nullptr : COMMUTIL_REAL(calloc)(count, size);
}

void* realloc(void* block, std::size_t size) noexcept {
  return fails(Function::realloc) ? nullptr : COMMUTIL_REAL(realloc)(block, size);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
  return aligned(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return aligned(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  void* const made = aligned(alignment, size);
  if (made == nullptr) return ENOMEM;
  *block = made;
  return 0;
}
}

// Not inlined: g++ would warn that `free` mismatches the callers' `new`.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const block = fails(Function::throwingNew) ? nullptr : allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return fails(Function::nothrowNew) ? nullptr : allocate(size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }

void* operator new[](std::size_t size) { return ::operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return ::operator new(size, tag);
}
void operator delete(void* block, std::size_t) noexcept { ::operator delete(block); }
void operator delete[](void* block) noexcept { ::operator delete(block); }
void operator delete[](void* block, std::size_t) noexcept { ::operator delete(block); }
