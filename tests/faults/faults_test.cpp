// Every exported operation with each of its allocations failing: it returns an allowed result or
// throws std::bad_alloc, leaves nothing behind, and works without the fault as before.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>

#include "faults/engine.h"
#include "faults/host.h"
#include "faults/tour.h"
#include "support/fixtures.h"

namespace commutil_faults {
namespace {

class Faults : public testing::TestWithParam<TourPart> {};

TEST_P(Faults, LeaveNothingWrong) {
  const std::vector<Exception> exceptions = readExceptions(FAULT_EXCEPTIONS);
  commutil_test::runInChild([&] {
    const Host host;
    if (!HasFailure()) runTour(GetParam().make(), exceptions);
  });
}

INSTANTIATE_TEST_SUITE_P(Allocations, Faults, testing::ValuesIn(tourParts()),
                         [](const auto& instance) { return instance.param.name; });

/// Returns the name of an operation without its use.
std::string operationOf(const std::string& name) { return name.substr(0, name.find(" [")); }

std::set<std::string> toured() {
  std::set<std::string> names;
  for (const TourPart& part : tourParts()) {
    for (const Operation& operation : part.make()) names.insert(operationOf(operation.name));
  }
  return names;
}

/// Returns the exported functions; of several entry points of one (constructors, destructors) one.
std::set<std::string> exported() {
  std::map<std::string, std::set<std::string>> signatures;  // by the name without parameters
  std::ifstream file(EXPORTED_SYMBOLS);
  EXPECT_TRUE(file) << EXPORTED_SYMBOLS;
  for (std::string line; std::getline(file, line);) {
    const std::string demangled = line.substr(line.find("  ") + 2);
    if (demangled.find('(') == std::string::npos || demangled.find("thunk to") != std::string::npos)
      continue;
    signatures[shortName(demangled, false)].insert(shortName(demangled, true));
  }
  std::set<std::string> names;
  for (const auto& [name, all] : signatures) {
    if (all.size() == 1) names.insert(name);
    if (all.size() > 1) names.insert(all.begin(), all.end());
  }
  return names;
}

TEST(FaultTour, IsOfEveryExportedOperation) { EXPECT_EQ(exported(), toured()); }

TEST(FaultTour, HasEachUseOnce) {
  std::set<std::string> names;
  for (const TourPart& part : tourParts()) {
    for (const Operation& operation : part.make())
      EXPECT_TRUE(names.insert(operation.name).second) << operation.name;
  }
}

TEST(FaultExceptions, NameOperationsOfTheTour) {
  std::set<std::string> names;
  for (const TourPart& part : tourParts()) {
    for (const Operation& operation : part.make()) names.insert(operation.name);
  }
  for (const Exception& exception : readExceptions(FAULT_EXCEPTIONS)) {
    EXPECT_TRUE(std::any_of(names.begin(), names.end(), [&](const std::string& name) {
      return covers(exception, name);
    })) << exception.operation;
  }
}

}  // namespace
}  // namespace commutil_faults
