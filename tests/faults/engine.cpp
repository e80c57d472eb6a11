#include "faults/engine.h"

#include <fnmatch.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>

#include "faults/run.h"

namespace commutil_faults {
namespace {

constexpr std::size_t kErrorsPerSite = 3;
constexpr const char* kSometimes = "sometimes";  // the outcome depends on uninitialized memory

// The fate of memory that the C library corrupts depends on the allocator: with the sanitizer's,
// some exceptions never happen.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

struct Finding {
  Problem problem;
  std::string detail;
};

/// An operation's results without a failure, and how often it makes each call.
struct Reference {
  std::string answer;
  long blocks = 0;
  CallCounts calls{};
};

std::string instead(const std::string& answer, const std::string& right) {
  return answer + "\n    instead of " + right;
}

/// Returns the errors with which a site fails: some of the call's, others at the next site, or all
/// if the environment asks for them.
std::vector<int> errorsAt(std::size_t site, const Call& call) {
  static const bool all = std::getenv("FAULTS_WITH_EVERY_ERROR") != nullptr;
  const std::span<const int> list = call.errorList();
  if (all || list.size() <= kErrorsPerSite) return {list.begin(), list.end()};
  std::vector<int> errors;
  for (std::size_t i = 0; i < kErrorsPerSite; ++i)
    errors.push_back(list[(site * kErrorsPerSite + i) % list.size()]);
  return errors;
}

class Harness {
 public:
  Harness(const Tour& tour, const Mechanism& mechanism, const std::vector<Exception>& exceptions)
      : m_tour(tour), m_mechanism(mechanism), m_exceptions(exceptions) {
    prepareFaults();
    prepareRuns();
  }

  Extent run() {
    std::printf("%-78s %-16s %5s %5s %5s %7s %9s %6s\n", "operation", "fails", "sites", "runs",
                "right", "failure", "bad_alloc", "except");
    for (const Operation& operation : m_tour) run(operation);
    printRow("all", "", m_total);
    if (!kSanitized) expectNoStaleException();
    return {m_total.sites, m_total.runs};
  }

 private:
  struct Row {
    unsigned sites = 0;
    unsigned runs = 0;
    unsigned right = 0;
    unsigned failures = 0;
    unsigned badAllocs = 0;
    unsigned excepted = 0;

    void count(Outcome outcome) {
      ++runs;
      right += outcome == Outcome::right ? 1 : 0;
      failures += outcome == Outcome::failureValue ? 1 : 0;
      badAllocs += outcome == Outcome::badAlloc ? 1 : 0;
    }
    void add(const Row& other) {
      sites += other.sites;
      runs += other.runs;
      right += other.right;
      failures += other.failures;
      badAllocs += other.badAllocs;
      excepted += other.excepted;
    }
  };

  static void printRow(const std::string& operation, std::string_view call, const Row& row) {
    std::printf("%-78s %-16s %5u %5u %5u %7u %9u %6u\n", operation.c_str(),
                std::string(call).c_str(), row.sites, row.runs, row.right, row.failures,
                row.badAllocs, row.excepted);
  }

  void run(const Operation& operation) {
    const Reference reference = referenceOf(operation);
    bool any = false;
    for (std::size_t call = m_mechanism.begin; call < m_mechanism.end; ++call) {
      if (reference.calls[call] == 0) continue;
      any = true;
      const Row row = failEach(operation, reference, call);
      printRow(operation.name, kCalls[call].name, row);
      m_total.add(row);
    }
    if (!any) printRow(operation.name, "nothing", {});
  }

  Row failEach(const Operation& operation, const Reference& reference, std::size_t call) {
    Row row;
    for (unsigned occurrence = 1; occurrence <= reference.calls[call]; ++occurrence) {
      bool struck = true;
      for (const int error : errorsAt(m_site++, kCalls[call])) {
        const Fault fault{m_mechanism.level, call, occurrence, error};
        const Run result = runWithFault(operation, relatedOf(operation), fault);
        const std::vector<Finding> findings = judge(operation, reference, result);
        row.count(findings.empty() ? outcomeOf(result, reference) : Outcome::problem);
        if (!findings.empty() && areExcepted(operation, fault, findings)) ++row.excepted;
        struck = struck && result.struck;
      }
      row.sites += struck ? 1 : 0;  // not if the operation does not make the call each time
    }
    return row;
  }

  static Outcome outcomeOf(const Run& run, const Reference& reference) {
    if (run.answer.badAlloc) return Outcome::badAlloc;
    return run.answer.text == reference.answer ? Outcome::right : Outcome::failureValue;
  }

  /// Returns everything that a child did wrong.
  std::vector<Finding> judge(const Operation& operation, const Reference& reference,
                             const Run& run) const {
    if (run.end == Run::End::hung) return {{Problem::hang, "killed"}};
    if (run.end == Run::End::crashed) return {{Problem::crash, run.howCrashed}};
    std::vector<Finding> findings;
    if (!isAllowed(operation, reference, run.answer))
      findings.push_back({Problem::wrong, instead(run.answer.text, reference.answer)});
    if (!run.left.empty()) findings.push_back({Problem::leak, run.left});
    if (run.blocks > reference.blocks && !kSanitized) {
      findings.push_back(
          {Problem::memory, std::to_string(run.blocks - reference.blocks) + " blocks"});
    }
    if (run.again != reference.answer)
      findings.push_back({Problem::notRepeatable, instead(run.again, reference.answer)});
    for (std::size_t i = 0; i < run.related.size(); ++i) {
      const std::string& name = relatedOf(operation)[i]->name;
      const std::string& expected = m_references.at(name).answer;
      if (run.related[i] != expected) {
        findings.push_back(
            {Problem::relatedBroken, name + ": " + instead(run.related[i], expected)});
      }
    }
    return findings;
  }

  static bool isAllowed(const Operation& operation, const Reference& reference,
                        const Answer& answer) {
    const auto& failures = operation.failures;
    return answer.badAlloc || answer.text == reference.answer ||
           std::find(failures.begin(), failures.end(), answer.text) != failures.end();
  }

  const Operation& find(const std::string& name) const {
    const auto found = std::find_if(m_tour.begin(), m_tour.end(),
                                    [&](const Operation& one) { return one.name == name; });
    if (found == m_tour.end()) std::abort();
    return *found;
  }

  std::vector<const Operation*> relatedOf(const Operation& operation) const {
    std::vector<const Operation*> related;
    for (const std::string& name : operation.related) {
      if (name != operation.name) related.push_back(&find(name));
    }
    return related;
  }

  /// Runs it without a fault: the result is not a failure, repeats, and leaves nothing behind.
  Reference referenceOf(const Operation& operation) {
    if (const auto known = m_references.find(operation.name); known != m_references.end())
      return known->second;
    Fault none;
    none.level = m_mechanism.level;
    const Run first = runWithFault(operation, relatedOf(operation), none);
    Reference reference{first.answer.text, first.blocks, counts()};
    m_references[operation.name] = reference;
    const std::string printed = printedText();
    for (const Operation* related : relatedOf(operation)) referenceOf(*related);
    for (const Finding& finding : judge(operation, reference, first)) {
      ADD_FAILURE() << operation.name << " without a fault: " << nameOf(finding.problem) << ": "
                    << finding.detail << "\n"
                    << printed;
    }
    const auto& failures = operation.failures;
    EXPECT_EQ(failures.end(), std::find(failures.begin(), failures.end(), reference.answer))
        << operation.name << " fails without a fault";
    EXPECT_FALSE(first.answer.badAlloc) << operation.name;
    EXPECT_EQ(-1, first.unknownCall) << operation.name << ": a system call without errors";
    return reference;
  }

  /// Adds a failure for each finding without an exception; returns whether all have one.
  bool areExcepted(const Operation& operation, const Fault& fault,
                   const std::vector<Finding>& findings) {
    const std::vector<std::string> stack = stackOfFault();
    bool all = true;
    for (const Finding& finding : findings) {
      if (isExcepted(operation, finding, stack)) continue;
      complain(operation, fault, finding, stack);
      all = false;
    }
    return all;
  }

  bool isExcepted(const Operation& operation, const Finding& finding,
                  const std::vector<std::string>& stack) {
    for (const Exception& exception : m_exceptions) {
      if (!concerns(exception, operation) || exception.outcome != nameOf(finding.problem)) continue;
      const bool below = std::any_of(stack.begin(), stack.end(), [&](const std::string& frame) {
        return frame.find(exception.function) != std::string::npos;
      });
      if (!below) continue;
      m_used.insert(&exception);
      return true;
    }
    return false;
  }

  bool concerns(const Exception& exception, const Operation& operation) const {
    return covers(exception, operation.name) &&
           ::fnmatch(exception.mechanism.c_str(), m_mechanism.name, 0) == 0;
  }

  static void complain(const Operation& operation, const Fault& fault, const Finding& finding,
                       const std::vector<std::string>& stack) {
    std::ostringstream frames;
    for (std::size_t i = 0; i < std::min<std::size_t>(stack.size(), 12); ++i)
      frames << "\n    " << stack[i];
    ADD_FAILURE() << operation.name << ", call " << fault.occurrence << " of "
                  << kCalls[fault.call].name << " fails with error " << fault.error << ": "
                  << nameOf(finding.problem) << ": " << finding.detail << "\n"
                  << printedText() << "  failed in" << frames.str();
  }

  /// An exception whose outcome no longer occurs must be removed.
  void expectNoStaleException() const {
    for (const Exception& exception : m_exceptions) {
      const bool concerned = std::any_of(m_tour.begin(), m_tour.end(), [&](const Operation& one) {
        return concerns(exception, one);
      });
      const bool happens =
          m_used.count(&exception) != 0 || exception.reason.rfind(kSometimes, 0) == 0;
      if (!concerned || happens) continue;
      ADD_FAILURE() << "stale exception: " << exception.operation << " | " << exception.mechanism
                    << " | " << exception.function << " | " << exception.outcome;
    }
  }

  const Tour& m_tour;
  const Mechanism& m_mechanism;
  const std::vector<Exception>& m_exceptions;
  std::map<std::string, Reference> m_references;
  std::set<const Exception*> m_used;
  std::size_t m_site = 0;
  Row m_total;
};

}  // namespace

bool covers(const Exception& exception, const std::string& operation) {
  return exception.operation == operation ||
         ::fnmatch(exception.operation.c_str(), operation.c_str(), 0) == 0;
}

const char* nameOf(Problem problem) {
  constexpr std::array<const char*, 7> kNames{"wrong answer",
                                              "crash",
                                              "hang",
                                              "leak",
                                              "memory kept",
                                              "wrong answer afterwards",
                                              "related operation broken"};
  return kNames[static_cast<std::size_t>(problem)];
}

Extent runTour(const Tour& tour, const Mechanism& mechanism,
               const std::vector<Exception>& exceptions) {
  return Harness(tour, mechanism, exceptions).run();
}

}  // namespace commutil_faults
