#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

// Stops an operation before and after each of its file calls, so that a test can act as another
// process. In a program that links watched_calls.cpp, stopping functions replace the C library's
// file calls; outside `watchCalls` they pass through.

namespace commutil_test {

/// A stop of an operation.
struct Stop {
  std::size_t call;         ///< counted from 0
  const std::string& name;  ///< the call and the last component of its path: "open target"
  bool after;               ///< false before the call
};

/// Calls that fail instead of taking effect, and their `errno`; close(2) closes nevertheless.
using FailingCalls = std::map<std::string, int>;

/// Runs `operation`, stopped before and after each file call to run `atStop`. A call on a
/// descriptor has the name of the path with which the descriptor was opened. Not for several
/// threads. Returns the names of the calls, in order.
std::vector<std::string> watchCalls(const std::function<void()>& operation,
                                    const std::function<void(const Stop&)>& atStop,
                                    const FailingCalls& failing = {});

}  // namespace commutil_test
