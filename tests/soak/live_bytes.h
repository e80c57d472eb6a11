#pragma once

#include <barrier>
#include <cstddef>

namespace commutil_soak {

/// Starts to count where the allocator needs that. Call it first in `main`.
void startCounting();

/// Returns the bytes that this process has allocated and not freed, from any library.
std::size_t liveBytes();

/// Fills the calling thread's cache of free blocks where the allocator keeps a large one, which
/// would go on growing for an hour. `everyThread` meets when all threads hold the most they can.
void fillBlockCache(std::barrier<>& everyThread);

}  // namespace commutil_soak
