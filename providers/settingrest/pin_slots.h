#pragma once

#include <array>
#include <atomic>
#include <cstddef>

namespace settingrest {

/// A place where a thread says which object it uses. Alone in its cache line, so that threads do
/// not slow each other down.
struct alignas(64) PinSlot {
  std::atomic<const void*> pinned{nullptr};
};

/// Claims a free slot of the process for `object`, which is not null. Takes no lock. The slot is
/// free again once it holds null. In a forked child, the slots of the other threads stay taken.
/// @throws std::bad_alloc  if every slot is taken and there is no memory for more
PinSlot& claimPinSlot(const void* object);

/// Returns whether any slot of the process holds `object`.
bool isPinned(const void* object);

}  // namespace settingrest
