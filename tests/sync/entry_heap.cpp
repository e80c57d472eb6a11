// The heap of a test program, which counts or refuses reservations of tokens.

#include "sync/entry_heap.h"

#include <cstdlib>
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

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (size == kEntrySize) {
    if (t_heapFails) return nullptr;
    ++t_entries;
  }
  return std::malloc(size);
}

void* operator new(std::size_t size) {
  if (void* block = operator new(size, std::nothrow)) return block;
  throw std::bad_alloc();
}

void operator delete(void* block) noexcept { std::free(block); }

void operator delete(void* block, std::size_t size) noexcept {
  if (size == kEntrySize) --t_entries;
  std::free(block);
}
