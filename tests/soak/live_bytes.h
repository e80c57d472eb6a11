#pragma once

#include <cstddef>

namespace commutil_soak {

/// Starts to count where the allocator needs that. Call it first in `main`.
void startCounting();

/// Returns the bytes that this process has allocated and not freed, from any library.
std::size_t liveBytes();

}  // namespace commutil_soak
