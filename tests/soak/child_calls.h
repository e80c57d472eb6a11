#pragma once

#include <string>

#include "soak/operations.h"
#include "soak/plan.h"
#include "soak/tally.h"

namespace commutil_soak {

/// Calls operations in children, one at a time. Belongs to a process without threads.
class ChildCalls {
 public:
  /// `tallies` has an element for each of `operations`; `directory` exists.
  ChildCalls(const Plan& plan, const Operations& operations, std::string directory, Tally* tallies)
      : m_plan(plan),
        m_operations(operations),
        m_directory(std::move(directory)),
        m_tallies(tallies),
        m_random(plan.seed) {}

  /// The first round calls each operation.
  void round(int index);

 private:
  void call(std::size_t index);
  [[noreturn]] void runChild(const Operation& operation);

  const Plan& m_plan;
  const Operations& m_operations;
  const std::string m_directory;
  Tally* const m_tallies;
  Random m_random;
};

}  // namespace commutil_soak
