// The heap of a test program that counts or refuses reservations of tokens.

#include "sync/entry_heap.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

#include "VexaLocks.h"

namespace commutil_test {

thread_local int t_entries = 0;
thread_local bool t_heapFails = false;

}  // namespace commutil_test

namespace {

using commutil_test::t_entries;
using commutil_test::t_heapFails;

constexpr std::size_t kEntrySize = sizeof(VexaToken::ACE_Token_Queue_Entry);

// Each block begins with its size, which not every compiler passes to delete.
constexpr std::size_t kHeader = alignof(std::max_align_t);

}  // namespace

// Not inlined: g++ would warn that `free` mismatches the callers' `new`.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (size == kEntrySize) {
    if (t_heapFails) return nullptr;
    ++t_entries;
  }
  void* const block = std::malloc(kHeader + size);
  if (block == nullptr) return nullptr;
  std::memcpy(block, &size, sizeof(size));
  return static_cast<char*>(block) + kHeader;
}

[[gnu::noinline]] void* operator new(std::size_t size) {
  if (void* block = operator new(size, std::nothrow)) return block;
  throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* data) noexcept {
  if (data == nullptr) return;
  void* const block = static_cast<char*>(data) - kHeader;
  std::size_t size = 0;
  std::memcpy(&size, block, sizeof(size));
  if (size == kEntrySize) --t_entries;
  std::free(block);
}

[[gnu::noinline]] void operator delete(void* data, std::size_t /*size*/) noexcept {
  operator delete(data);
}
