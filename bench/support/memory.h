#pragma once

#include <malloc.h>

namespace commutil_bench {

/// Keeps results of up to 32 MiB on the heap. Otherwise earlier benchmarks would decide whether the
/// kernel maps and clears new pages for a result.
inline void keepMemory() {
  ::mallopt(M_MMAP_THRESHOLD, 32 << 20);
  ::mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

}  // namespace commutil_bench
