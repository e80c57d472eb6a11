#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

// Stops an operation before and after each file call that it makes, so that a test can do there
// what another process could. A program that links watched_calls.cpp has the C library's file calls
// replaced by ones that stop; outside `watchCalls` they pass through.

namespace commutil_test {

/// Where an operation is stopped.
struct Stop {
  std::size_t call;         ///< counted from 0
  const std::string& name;  ///< the call and the last component of its path: "open target"
  bool after;               ///< false before the call
};

/// Calls that fail instead of taking effect, and their `errno`; close(2) closes all the same.
using FailingCalls = std::map<std::string, int>;

/// Runs `operation`, which is stopped before and after each file call to run `atStop`. A call on a
/// descriptor is named for the path that the descriptor was opened with. Not for several threads.
/// @return the names of the calls, in order
std::vector<std::string> watchCalls(const std::function<void()>& operation,
                                    const std::function<void(const Stop&)>& atStop,
                                    const FailingCalls& failing = {});

}  // namespace commutil_test
