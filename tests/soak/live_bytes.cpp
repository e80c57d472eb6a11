// Counts the bytes of every block: by the sanitizer's hooks, or else by replacing the C library's
// allocation functions for this program and every library in it.
#include "soak/live_bytes.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

std::atomic<std::size_t> g_live = 0;

}  // namespace

std::size_t commutil_soak::liveBytes() { return g_live.load(std::memory_order_relaxed); }

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(const volatile void*, std::size_t),
                                              void (*freed)(const volatile void*));
std::size_t __sanitizer_get_allocated_size(const volatile void* block);
}

void commutil_soak::startCounting() {
  __sanitizer_install_malloc_and_free_hooks(
      [](const volatile void*, std::size_t size) {
        g_live.fetch_add(size, std::memory_order_relaxed);
      },
      [](const volatile void* block) {
        if (block == nullptr) return;
        g_live.fetch_sub(__sanitizer_get_allocated_size(block), std::memory_order_relaxed);
      });
}

void commutil_soak::fillBlockCache(std::barrier<>& everyThread) {
  constexpr std::size_t kLargest = 128 * 1024;
  constexpr std::size_t kMostBlocks = 256;
  std::vector<std::string> blocks;
  for (std::size_t size = 16; size <= kLargest; size += std::max<std::size_t>(16, size / 8)) {
    const std::size_t count = std::clamp<std::size_t>(kLargest / size, 2, kMostBlocks);
    blocks.resize(blocks.size() + count, std::string(size, 'a'));
  }
  everyThread.arrive_and_wait();
}

#else

void commutil_soak::startCounting() {}

void commutil_soak::fillBlockCache(std::barrier<>& /*everyThread*/) {}

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

namespace {

void* counted(void* block) noexcept {
  g_live.fetch_add(::malloc_usable_size(block), std::memory_order_relaxed);
  return block;
}

void uncount(void* block) noexcept {
  g_live.fetch_sub(::malloc_usable_size(block), std::memory_order_relaxed);
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) noexcept { return counted(__libc_malloc(size)); }

void* calloc(std::size_t count, std::size_t size) noexcept {
  return counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) noexcept {
  const std::size_t before = ::malloc_usable_size(block);
  void* const moved = __libc_realloc(block, size);
  if (moved == nullptr && size != 0) return nullptr;
  g_live.fetch_sub(before, std::memory_order_relaxed);
  return counted(moved);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
  return counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return counted(__libc_memalign(alignment, size));
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  void* const made = counted(__libc_memalign(alignment, size));
  if (made == nullptr) return ENOMEM;
  *block = made;
  return 0;
}

void free(void* block) noexcept {
  uncount(block);
  __libc_free(block);
}
}

#endif
