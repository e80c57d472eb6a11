#include "pin_slots.h"

#include <pthread.h>

#include <cstdint>
#include <memory>

namespace settingrest {
namespace {

constexpr std::size_t kSlots = 256;  // a power of two

struct Block {
  std::array<PinSlot, kSlots> slots;
  std::atomic<Block*> next{nullptr};
};

constinit Block firstBlock;  // further ones are never freed

/// Returns the slot that the calling thread tries first: rarely the one of another thread.
std::size_t homeSlot() {
  constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;
  const std::uint64_t mixed = std::uint64_t{::pthread_self()} * kGoldenRatio;
  // Even: a lookup pins two objects.
  return static_cast<std::size_t>(mixed >> 32) % kSlots & ~std::size_t{1};
}

PinSlot* claimIn(Block& block, std::size_t home, const void* object) {
  for (std::size_t i = 0; i < kSlots; ++i) {
    PinSlot& slot = block.slots[(home + i) % kSlots];
    const void* expected = nullptr;
    if (slot.pinned.load(std::memory_order_relaxed) == nullptr &&
        slot.pinned.compare_exchange_strong(expected, object))
      return &slot;
  }
  return nullptr;
}

/// Returns the block after `block`, a new one after the last.
Block& blockAfter(Block& block) {
  Block* next = block.next.load();
  if (next != nullptr) return *next;
  auto added = std::make_unique<Block>();
  if (block.next.compare_exchange_strong(next, added.get())) return *added.release();
  return *next;
}

}  // namespace

PinSlot& claimPinSlot(const void* object) {
  const std::size_t home = homeSlot();
  for (Block* block = &firstBlock;; block = &blockAfter(*block)) {
    PinSlot* const slot = claimIn(*block, home, object);
    if (slot != nullptr) return *slot;
  }
}

bool isPinned(const void* object) {
  for (const Block* block = &firstBlock; block != nullptr; block = block->next.load()) {
    for (const PinSlot& slot : block->slots)
      if (slot.pinned.load() == object) return true;
  }
  return false;
}

}  // namespace settingrest
