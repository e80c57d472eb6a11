// Replaces all allocation functions by ones that can fail, for this program and every library in
// it.
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "faults/fault.h"

using commutil_faults::callNamed;
using commutil_faults::errorDue;

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
void COMMUTIL_REAL(free)(void* block);
}

namespace {

long held = 0;

bool fails(std::size_t call) {
  const int error = errorDue(call);
  if (error == 0) return false;
  errno = error;
  return true;
}

void* counted(void* block) {
  if (block != nullptr) ++held;
  return block;
}

void* aligned(std::size_t alignment, std::size_t size) {
  return fails(callNamed("aligned_alloc")) ? nullptr
                                           : counted(COMMUTIL_REAL(memalign)(alignment, size));
}

void* allocate(std::size_t size) { return counted(COMMUTIL_REAL(malloc)(size == 0 ? 1 : size)); }

}  // namespace

long commutil_faults::blocksHeld() { return held; }

extern "C" {

void* malloc(std::size_t size) noexcept {
  return fails(callNamed("malloc")) ? nullptr : counted(COMMUTIL_REAL(malloc)(size));
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  return fails(callNamed("calloc")) ? nullptr : counted(COMMUTIL_REAL(calloc)(count, size));
}

void* realloc(void* block, std::size_t size) noexcept {
  if (fails(callNamed("realloc"))) return nullptr;
  void* const grown = COMMUTIL_REAL(realloc)(block, size);
  if (block == nullptr) return counted(grown);
  if (grown == nullptr && size == 0) --held;
  return grown;
}

void free(void* block) noexcept {
  if (block != nullptr) --held;
  COMMUTIL_REAL(free)(block);
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
  void* const block = fails(callNamed("new")) ? nullptr : allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return fails(callNamed("new(nothrow)")) ? nullptr : allocate(size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }

void* operator new[](std::size_t size) { return ::operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return ::operator new(size, tag);
}
void operator delete(void* block, std::size_t) noexcept { ::operator delete(block); }
void operator delete[](void* block) noexcept { ::operator delete(block); }
void operator delete[](void* block, std::size_t) noexcept { ::operator delete(block); }
