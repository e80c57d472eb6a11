// Every exported operation with each of its calls failing: allocations, functions of the C library
// and of PAM, system calls. It returns an allowed result or throws std::bad_alloc, leaves nothing
// behind, and works without the fault as before.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <tuple>

#include "faults/engine.h"
#include "faults/tour.h"
#include "support/exported.h"
#include "support/fixtures.h"
#include "support/host.h"

namespace commutil_faults {

inline void PrintTo(const Mechanism& mechanism, std::ostream* out) { *out << mechanism.name; }

namespace {

constexpr Mechanism kAllocationFaults{"Allocations", Level::function, 0, kAllocations};
constexpr Mechanism kFunctionFaults{"Functions", Level::function, kAllocations, kCalls.size()};
constexpr Mechanism kSystemCallFaults{"SystemCalls", Level::system, 0, kCalls.size()};

/// Returns the recorded number of sites of a mechanism in a part of the tour.
unsigned recordedSites(const char* mechanism, const char* part) {
  std::ifstream file(FAULT_SITES);
  EXPECT_TRUE(file) << FAULT_SITES;
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string ofMechanism;
    std::string ofPart;
    unsigned sites = 0;
    if (words >> ofMechanism >> ofPart >> sites && ofMechanism == mechanism && ofPart == part)
      return sites;
  }
  ADD_FAILURE() << FAULT_SITES << " lacks " << mechanism << " " << part;
  return 0;
}

/// Other compilers and build options lead to other calls.
void expectAllSites(const char* mechanism, const char* part, const Extent& extent) {
  std::printf("%s %s %u sites %u runs\n", mechanism, part, extent.sites, extent.runs);
  constexpr bool kSitesCount = FAULT_SITES_COUNT;
  if (!kSitesCount) return;
  EXPECT_GE(extent.sites, recordedSites(mechanism, part))
      << "fewer calls are made to fail than before: if that is intended, record the number in "
      << FAULT_SITES << " and say why in the commit";
}

class Faults : public testing::TestWithParam<std::tuple<Mechanism, TourPart>> {};

TEST_P(Faults, LeaveNothingWrong) {
  const std::vector<Exception> exceptions = readExceptions(FAULT_EXCEPTIONS);
  const auto& [mechanism, part] = GetParam();
  commutil_test::runInChild([&, mechanism = mechanism, part = part] {
    const commutil_test::Host host;
    if (HasFailure()) return;
    expectAllSites(mechanism.name, part.name, runTour(part.make(), mechanism, exceptions));
  });
}

std::string partName(const testing::TestParamInfo<Faults::ParamType>& instance) {
  return std::get<TourPart>(instance.param).name;
}

INSTANTIATE_TEST_SUITE_P(Allocations, Faults,
                         testing::Combine(testing::Values(kAllocationFaults),
                                          testing::ValuesIn(tourParts())),
                         partName);

// The sanitizers have their own versions of the functions, and cost too much time for more.
#if !defined(__SANITIZE_ADDRESS__)
INSTANTIATE_TEST_SUITE_P(Functions, Faults,
                         testing::Combine(testing::Values(kFunctionFaults),
                                          testing::ValuesIn(tourParts())),
                         partName);
INSTANTIATE_TEST_SUITE_P(SystemCalls, Faults,
                         testing::Combine(testing::Values(kSystemCallFaults),
                                          testing::ValuesIn(tourParts())),
                         partName);
#endif

/// Returns the name of an operation without its use.
std::string operationOf(const std::string& name) { return name.substr(0, name.find(" [")); }

std::set<std::string> toured() {
  std::set<std::string> names;
  for (const TourPart& part : tourParts()) {
    for (const Operation& operation : part.make()) names.insert(operationOf(operation.name));
  }
  return names;
}

TEST(FaultTour, IsOfEveryExportedOperation) {
  EXPECT_EQ(commutil_test::exportedOperations(EXPORTED_SYMBOLS), toured());
}

TEST(FaultTour, HasEachUseOnce) {
  std::set<std::string> names;
  for (const TourPart& part : tourParts()) {
    for (const Operation& operation : part.make())
      EXPECT_TRUE(names.insert(operation.name).second) << operation.name;
  }
}

TEST(FaultTable, HasEachCallOnceWithAnError) {
  std::set<std::string_view> names;
  for (const Call& call : kCalls) {
    EXPECT_TRUE(names.insert(call.name).second) << call.name;
    EXPECT_FALSE(call.errorList().empty()) << call.name;
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
