#pragma once

#include <gtest/gtest-printers.h>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "VexaLocks.h"
#include "soak/lock_oracle.h"
#include "soak/random.h"

// The table of operations: each with random arguments within its preconditions, and a test of its
// result.

namespace commutil_soak {

enum class Outcome {
  answered,  ///< the expected result
  failed,    ///< a documented failure value
  threw,     ///< a documented exception
  wrong,     ///< anything else
};
constexpr std::size_t kOutcomes = 4;

/// What operations read from the process. Changes only between rounds.
struct Surroundings {
  std::string application;  ///< APP_NAME
  std::string instance;     ///< PROCESS_INSTANCE_ID
  bool utf8 = true;         ///< whether the locale is C.UTF-8; else it is "C"
};

constexpr std::size_t kMostThreads = 16;

/// What all processes share.
struct Meeting {
  LockOracle locks[kMostThreads];  ///< for the lock of each thread number
};

/// What the threads of a process share.
struct Common {
  Surroundings surroundings;
  VexaToken token;              ///< taken with time limits
  std::atomic<int> holders{0};  ///< of the token
  std::atomic<int> keepers{0};  ///< calls that leave an interface list allocated
  Meeting* meeting = nullptr;
};

/// A thread that calls operations.
struct Caller {
  Random random;
  int thread = 0;
  std::string directory;  ///< its own
  Common& common;
  std::string detail = {};  ///< of a wrong result

  const Surroundings& surroundings() const { return common.surroundings; }

  Outcome holds(bool condition) const { return condition ? Outcome::answered : Outcome::wrong; }
  template <class Actual, class Expected>
  Outcome equal(const Actual& actual, const Expected& expected) {
    if (actual == expected) return Outcome::answered;
    detail = testing::PrintToString(actual) + " instead of " + testing::PrintToString(expected);
    return Outcome::wrong;
  }
};

/// Returns `worse` unless it is an answer.
inline Outcome both(Outcome one, Outcome other) { return one == Outcome::answered ? other : one; }

enum class Cost {
  memory,   ///< nanoseconds to microseconds
  files,    ///< several system calls
  command,  ///< a process
  keeping,  ///< leaves memory allocated by contract: called once a minute in each process
};

struct Operation {
  /// What it calls, as in abi/symbols.txt, in short (`commutil_test::shortName`).
  std::vector<std::string> names;
  Cost cost;
  std::function<Outcome(Caller&)> call;
};
using Operations = std::vector<Operation>;

void addTextOperations(Operations& all);
void addConfigOperations(Operations& all);
void addNetOperations(Operations& all);
void addProcessOperations(Operations& all);
void addSyncOperations(Operations& all);
void addWideOperations(Operations& all);

/// Returns the operations that threads call at any time.
Operations threadOperations();

/// Returns the operations that change the process; each call is in a child.
Operations childOperations();

}  // namespace commutil_soak
