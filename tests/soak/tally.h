#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>

#include "soak/operations.h"

namespace commutil_soak {

/// How often an operation had each outcome in one process. Lives in shared memory.
struct Tally {
  std::atomic<std::uint64_t> counts[kOutcomes];

  void add(Outcome outcome) {
    counts[static_cast<std::size_t>(outcome)].fetch_add(1, std::memory_order_relaxed);
  }
};

/// What a process reports between rounds. Lives in shared memory.
struct Sample {
  std::atomic<std::uint64_t> handOvers;
  std::atomic<std::uint64_t> outOfOrder;
  std::atomic<std::uint64_t> liveBytes;  ///< less what the contract keeps
  std::atomic<std::uint64_t> residentBytes;
  std::atomic<std::uint64_t> descriptors;
  std::atomic<std::uint64_t> children;  ///< left behind
};

/// Calls an operation; an exception that passes through is a wrong result.
inline Outcome outcomeOf(const Operation& operation, Caller& caller) {
  caller.detail.clear();
  try {
    return operation.call(caller);
  } catch (const std::exception& e) {
    caller.detail = e.what();
    return Outcome::wrong;
  }
}

}  // namespace commutil_soak
