#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "faults/exceptions.h"
#include "faults/fault.h"

// Runs operations with each call failing, each time in its own child.

namespace commutil_faults {

/// One call of an operation. Faults apply only to what the operation passes to it, not to creating
/// arguments and comparing results.
class Attempt {
 public:
  /// Without a `fault` nothing is counted and nothing fails.
  explicit Attempt(const std::optional<Fault>& fault) : m_fault(fault) {}

  template <class Body>
  decltype(auto) operator()(const Body& body) {
    const Armed armed(m_fault);
    return body();
  }

 private:
  struct Armed {
    explicit Armed(const std::optional<Fault>& fault) {
      if (fault) arm(*fault);
    }
    ~Armed() { disarm(); }
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
  };

  std::optional<Fault> m_fault;
};

/// An exported operation in one use.
struct Operation {
  /// As in abi/symbols.txt, in short (`commutil_test::shortName`); " [...]" after it distinguishes
  /// uses.
  std::string name;
  /// Calls it through the attempt and returns the result, out-parameters included, the same each
  /// time. Leaves nothing open.
  std::function<std::string(Attempt&)> call;
  /// The allowed results if a call that it makes fails. `std::bad_alloc` is always allowed.
  std::vector<std::string> failures = {};
  /// Operations that share a lock or a cache with it: they must work afterwards, too.
  std::vector<std::string> related = {};
};

using Tour = std::vector<Operation>;

/// A group of calls that fail: those of `kCalls` from `begin` to before `end`, at one level.
struct Mechanism {
  const char* name;
  Level level;
  std::size_t begin;
  std::size_t end;
};

/// What an operation did while a call failed.
enum class Outcome {
  right,         ///< the answer of a call in which nothing fails
  failureValue,  ///< one of `failures`
  badAlloc,      ///< std::bad_alloc
  problem,       ///< at least one of the problems
};

enum class Problem {
  wrong,          ///< another answer or another exception
  crash,          ///< a signal, or an end of the process
  hang,           ///< it waits for itself, or too long
  leak,           ///< a descriptor, a child or a file left
  memory,         ///< more memory left than after a call in which nothing fails
  notRepeatable,  ///< the same call without the fault gave another answer
  relatedBroken,  ///< an operation of `related` gave another answer
};

const char* nameOf(Problem problem);

/// Returns whether the exception is one of the operation: its name is a shell pattern.
bool covers(const Exception& exception, const std::string& operation);

/// How many sites a tour has, each a call of an operation with its occurrence, and how often an
/// operation ran with one of them failing.
struct Extent {
  unsigned sites = 0;
  unsigned runs = 0;
};

/// Fails every call of every operation in turn, with some of its errors or all of them. Adds a
/// failure to the running test for each forbidden outcome and each exception that no longer occurs,
/// and prints a table.
Extent runTour(const Tour& tour, const Mechanism& mechanism,
               const std::vector<Exception>& exceptions);

}  // namespace commutil_faults
