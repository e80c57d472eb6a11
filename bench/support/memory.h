#pragma once

#include <malloc.h>

namespace commutil_bench {

/// Keeps results of up to 32 MiB on the heap: whether the kernel maps and clears fresh pages for
/// one would otherwise hang on what ran before.
inline void keepMemory() {
  ::mallopt(M_MMAP_THRESHOLD, 32 << 20);
  ::mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

}  // namespace commutil_bench
