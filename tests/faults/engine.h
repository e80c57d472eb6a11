#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "faults/exceptions.h"
#include "faults/fault.h"

// Runs operations with one call after the other failing, each time in a child of its own.

namespace commutil_faults {

/// One call of an operation. A fault strikes only inside of what the operation passes to it, not
/// where arguments are made and answers compared.
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
  /// As abi/symbols.txt has it, in short (`shortName`); " [...]" after it tells uses apart.
  std::string name;
  /// Calls it through the attempt and returns what it answered, out-parameters included, the same
  /// each time. Leaves nothing open.
  std::function<std::string(Attempt&)> call;
  /// What it may answer when a call that it makes fails. `std::bad_alloc` is always allowed.
  std::vector<std::string> failures = {};
  /// Operations that share a lock or a cache with it: they have to answer afterwards, too.
  std::vector<std::string> related = {};
};

using Tour = std::vector<Operation>;

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
  leak,           ///< a descriptor or a child left
  notRepeatable,  ///< the same call without the fault gave another answer
  relatedBroken,  ///< an operation of `related` gave another answer
};

const char* nameOf(Problem problem);

/// Whether the exception is one of the operation: its name is a pattern, as a shell's.
bool covers(const Exception& exception, const std::string& operation);

/// Makes every call of every operation fail in turn. Adds a failure to the running test for each
/// outcome that is not allowed, for each exception that no longer happens, and prints a table.
void runTour(const Tour& tour, const std::vector<Exception>& exceptions);

}  // namespace commutil_faults
