#include "faults/engine.h"

#include <fcntl.h>
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <sstream>

#include "os/handles.h"

namespace commutil_faults {
namespace {

constexpr unsigned kTimeLimit = 120;         // seconds per child, far more than needed
constexpr int kPause = 250;                  // milliseconds between checks for a hanging child
constexpr unsigned kMostOccurrences = 5000;  // of one function in one operation

struct Finding {
  Problem problem;
  std::string detail;
};

/// One run of an operation in a child.
struct Run {
  Outcome outcome;
  bool struck;
  std::string answer;
  std::vector<Finding> findings;
};

// The fate of memory that the C library corrupts depends on the allocator: with the sanitizer's,
// some exceptions never happen.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

/// A child's report, in shared memory: the child may crash at any point.
struct Report {
  struct Text {
    char text[2048];

    void keep(const std::string& from) {
      const std::size_t length = std::min(from.size(), sizeof text - 1);
      std::memcpy(text, from.data(), length);
      text[length] = '\0';
    }
  };
  struct Entry {
    Problem problem;
    Text detail;
  };

  bool complete;
  Outcome outcome;
  Text answer;
  std::size_t count;
  std::array<Entry, 8> entries;

  void add(Problem problem, const std::string& detail) {
    if (count == entries.size()) return;
    entries[count].problem = problem;
    entries[count++].detail.keep(detail);
  }
};

Report* report = nullptr;

void prepareReport() {
  if (report != nullptr) return;
  void* const shared =
      ::mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) std::abort();
  report = static_cast<Report*>(shared);
}

/// Returns the open descriptors with their targets.
std::set<std::string> descriptors() {
  std::set<std::string> open;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;  // for the descriptor that lists the directory
    const std::filesystem::path target = std::filesystem::read_symlink(entry.path(), gone);
    if (!gone && target.filename() != "fd")
      open.insert(entry.path().filename().string() + " " + target.string());
  }
  return open;
}

/// Returns what is left that was not there before; empty if nothing is.
std::string leftBehind(const std::set<std::string>& before) {
  for (const std::string& descriptor : descriptors()) {
    if (before.count(descriptor) == 0) return "descriptor " + descriptor;
  }
  if (::waitpid(-1, nullptr, WNOHANG) != -1) return "a child";
  return {};
}

struct Answer {
  std::string text;
  bool badAlloc = false;
};

Answer answerOf(const Operation& operation, const std::optional<Fault>& fault) {
  Attempt attempt(fault);
  try {
    return {operation.call(attempt)};
  } catch (const std::bad_alloc&) {
    return {"std::bad_alloc", true};
  } catch (const std::exception& e) {
    return {std::string("exception: ") + e.what()};
  }
}

Outcome judge(const Operation& operation, const Answer& answer, const std::string& right) {
  if (answer.badAlloc) return Outcome::badAlloc;
  if (answer.text == right) return Outcome::right;
  const auto& failures = operation.failures;
  const bool allowed = std::find(failures.begin(), failures.end(), answer.text) != failures.end();
  return allowed ? Outcome::failureValue : Outcome::problem;
}

/// Sets a child's standard handles: no input, and output to a file in memory.
int printed = -1;

void replaceStandardHandles() {
  const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  ::dup2(null, STDIN_FILENO);
  ::dup2(printed, STDOUT_FILENO);
  ::dup2(printed, STDERR_FILENO);
  ::close(null);
}

std::string printedText() {
  std::string text(static_cast<std::size_t>(::lseek(printed, 0, SEEK_END)), '\0');
  const ssize_t count = ::pread(printed, text.data(), text.size(), 0);
  text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return text.substr(0, 3000);
}

/// Returns whether the process waits for a lock without a time limit, which only its one thread can
/// hold.
bool waitsForItself(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/syscall");
  long number = -1;
  std::array<unsigned long, 4> arguments{};  // of futex(2): the fourth is the time limit
  file >> number >> std::hex;
  for (unsigned long& argument : arguments) file >> std::setbase(16) >> argument;
  return file && number == SYS_futex && arguments[3] == 0;
}

/// Waits for a child to end, and kills one that hangs. Returns its wait status; none if it hung.
std::optional<int> statusOf(pid_t child) {
  const commutil::Descriptor handle(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
  pollfd end{handle.get(), POLLIN, 0};
  bool hangs = false;
  while (!hangs && ::poll(&end, 1, kPause) == 0) hangs = waitsForItself(child);
  if (hangs) ::kill(child, SIGKILL);
  int status = -1;
  if (::waitpid(child, &status, 0) != child) std::abort();
  if (hangs || (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)) return std::nullopt;
  return status;
}

/// Runs `body`, which fills the report, in a child.
template <class Body>
Run inChild(const Body& body) {
  report->complete = false;
  report->outcome = Outcome::problem;
  report->answer.keep("");
  report->count = 0;
  std::fflush(nullptr);
  [[maybe_unused]] const int emptied = ::ftruncate(printed, 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(kTimeLimit);
    replaceStandardHandles();
    body();
    report->complete = true;
    ::_exit(0);
  }
  if (child < 0) std::abort();
  const std::optional<int> status = statusOf(child);
  Run run{report->outcome, struck(), report->answer.text, {}};
  for (std::size_t i = 0; i < report->count; ++i)
    run.findings.push_back({report->entries[i].problem, report->entries[i].detail.text});
  if (!status) {
    run.findings.push_back({Problem::hang, "killed"});
  } else if (WIFSIGNALED(*status)) {
    run.findings.push_back({Problem::crash, ::strsignal(WTERMSIG(*status))});
  } else if (!report->complete) {
    run.findings.push_back({Problem::crash, "the process ended itself"});
  }
  if (!run.findings.empty()) run.outcome = Outcome::problem;
  return run;
}

/// An operation's result without a failure, and how often it calls each function that can fail.
struct Reference {
  std::string answer;
  CallCounts calls{};
};

class Harness {
 public:
  Harness(const Tour& tour, const std::vector<Exception>& exceptions)
      : m_tour(tour), m_exceptions(exceptions) {
    std::fflush(nullptr);
    prepareFaults();
    prepareReport();
    printed = ::memfd_create("printed", MFD_CLOEXEC);
    ::fcntl(printed, F_SETFL, O_APPEND);
  }
  ~Harness() { ::close(printed); }
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;

  void run() {
    std::printf("%-78s %-13s %5s %5s %7s %9s %6s\n", "operation", "fails", "sites", "right",
                "failure", "bad_alloc", "except");
    for (const Operation& operation : m_tour) run(operation);
    printRow("all", "", m_total);
    if (!kSanitized) expectNoStaleException();
  }

 private:
  struct Row {
    unsigned sites = 0;
    unsigned right = 0;
    unsigned failures = 0;
    unsigned badAllocs = 0;
    unsigned excepted = 0;
  };

  static void printRow(const std::string& operation, const char* function, const Row& row) {
    std::printf("%-78s %-13s %5u %5u %7u %9u %6u\n", operation.c_str(), function, row.sites,
                row.right, row.failures, row.badAllocs, row.excepted);
  }

  void run(const Operation& operation) {
    const Reference& reference = referenceOf(operation);
    bool any = false;
    for (const FunctionName& function : kFunctions) {
      if (reference.calls[static_cast<std::size_t>(function.function)] == 0) continue;
      any = true;
      const Row row = failEach(operation, reference.answer, function);
      printRow(operation.name, function.name, row);
      m_total.sites += row.sites;
      m_total.right += row.right;
      m_total.failures += row.failures;
      m_total.badAllocs += row.badAllocs;
      m_total.excepted += row.excepted;
    }
    if (!any) printRow(operation.name, "nothing", {});
  }

  Row failEach(const Operation& operation, const std::string& right, const FunctionName& function) {
    Row row;
    for (Fault fault{function.function, 1}; fault.occurrence < kMostOccurrences;
         ++fault.occurrence) {
      const Run result = inChild([&] { runWithFault(operation, right, fault); });
      if (!result.struck && result.outcome == Outcome::right) return row;
      ++row.sites;
      row.right += result.outcome == Outcome::right ? 1 : 0;
      row.failures += result.outcome == Outcome::failureValue ? 1 : 0;
      row.badAllocs += result.outcome == Outcome::badAlloc ? 1 : 0;
      row.excepted +=
          result.outcome == Outcome::problem && check(operation, function, fault, result) ? 1 : 0;
      if (!result.struck) return row;
    }
    ADD_FAILURE() << operation.name << " calls " << function.name << " without end";
    return row;
  }

  /// In the child: the operation with the fault, then without it, then the related ones.
  void runWithFault(const Operation& operation, const std::string& right,
                    const Fault& fault) const {
    const std::set<std::string> before = descriptors();
    const Answer answer = answerOf(operation, fault);
    const Outcome outcome = judge(operation, answer, right);
    report->answer.keep(answer.text);
    if (outcome == Outcome::problem) report->add(Problem::wrong, instead(answer.text, right));
    if (const std::string left = leftBehind(before); !left.empty())
      report->add(Problem::leak, left);
    const std::string again = answerWithoutFault(operation);
    if (again != right) report->add(Problem::notRepeatable, instead(again, right));
    for (const std::string& name : operation.related) {
      if (name == operation.name) continue;
      const std::string other = answerWithoutFault(find(name));
      const std::string& expected = m_references.at(name).answer;
      if (other != expected)
        report->add(Problem::relatedBroken, name + ": " + instead(other, expected));
    }
    report->outcome = outcome;
  }

  static std::string instead(const std::string& answer, const std::string& right) {
    return answer + "\n    instead of " + right;
  }

  static std::string answerWithoutFault(const Operation& operation) {
    return answerOf(operation, std::nullopt).text;
  }

  const Operation& find(const std::string& name) const {
    const auto found = std::find_if(m_tour.begin(), m_tour.end(),
                                    [&](const Operation& one) { return one.name == name; });
    EXPECT_NE(m_tour.end(), found) << "the tour has no operation " << name;
    return found == m_tour.end() ? m_tour.front() : *found;
  }

  /// Runs it without a fault: the result is not a failure, repeats, and leaves nothing behind.
  const Reference& referenceOf(const Operation& operation) {
    if (const auto known = m_references.find(operation.name); known != m_references.end())
      return known->second;
    const Run first = inChild([&] {
      const std::set<std::string> before = descriptors();
      const Answer answer = answerOf(operation, Fault{});
      report->answer.keep(answer.text);
      const auto& failures = operation.failures;
      if (answer.badAlloc ||
          std::find(failures.begin(), failures.end(), answer.text) != failures.end())
        report->add(Problem::wrong, answer.text);
      const std::string left = leftBehind(before);
      if (!left.empty()) report->add(Problem::leak, left);
      const std::string again = answerWithoutFault(operation);
      if (again != answer.text) report->add(Problem::notRepeatable, instead(again, answer.text));
      report->outcome = Outcome::right;
    });
    for (const Finding& finding : first.findings) {
      ADD_FAILURE() << operation.name << " without a fault: " << nameOf(finding.problem) << ": "
                    << finding.detail << "\n"
                    << printedText();
    }
    Reference& reference = m_references[operation.name];
    reference = {first.answer, counts()};
    for (const std::string& name : operation.related) referenceOf(find(name));
    return reference;
  }

  /// Adds a failure for each finding without an exception; returns whether all have one.
  bool check(const Operation& operation, const FunctionName& function, const Fault& fault,
             const Run& run) {
    const std::vector<std::string> stack = stackOfFault();
    bool all = true;
    for (const Finding& finding : run.findings) {
      if (isExcepted(operation, finding, stack)) continue;
      complain(operation, function, fault, finding, stack);
      all = false;
    }
    return all;
  }

  bool isExcepted(const Operation& operation, const Finding& finding,
                  const std::vector<std::string>& stack) {
    for (const Exception& exception : m_exceptions) {
      if (!covers(exception, operation.name) || exception.outcome != nameOf(finding.problem))
        continue;
      const bool below = std::any_of(stack.begin(), stack.end(), [&](const std::string& frame) {
        return frame.find(exception.function) != std::string::npos;
      });
      if (!below) continue;
      m_used.insert(&exception);
      return true;
    }
    return false;
  }

  static void complain(const Operation& operation, const FunctionName& function, const Fault& fault,
                       const Finding& finding, const std::vector<std::string>& stack) {
    std::ostringstream frames;
    for (std::size_t i = 0; i < std::min<std::size_t>(stack.size(), 12); ++i)
      frames << "\n    " << stack[i];
    ADD_FAILURE() << operation.name << ", call " << fault.occurrence << " of " << function.name
                  << " fails: " << nameOf(finding.problem) << ": " << finding.detail << "\n"
                  << printedText() << "  failed in" << frames.str();
  }

  /// An exception whose outcome no longer occurs must be removed.
  void expectNoStaleException() const {
    for (const Exception& exception : m_exceptions) {
      const bool concerned = std::any_of(m_tour.begin(), m_tour.end(), [&](const Operation& one) {
        return covers(exception, one.name);
      });
      if (!concerned || m_used.count(&exception) != 0) continue;
      ADD_FAILURE() << "stale exception: " << exception.operation << " | " << exception.function
                    << " | " << exception.outcome;
    }
  }

  const Tour& m_tour;
  const std::vector<Exception>& m_exceptions;
  std::map<std::string, Reference> m_references;
  std::set<const Exception*> m_used;
  Row m_total;
};

}  // namespace

bool covers(const Exception& exception, const std::string& operation) {
  return exception.operation == operation ||
         ::fnmatch(exception.operation.c_str(), operation.c_str(), 0) == 0;
}

const char* nameOf(Problem problem) {
  constexpr std::array<const char*, 6> kNames{"wrong answer",
                                              "crash",
                                              "hang",
                                              "leak",
                                              "wrong answer afterwards",
                                              "related operation broken"};
  return kNames[static_cast<std::size_t>(problem)];
}

void runTour(const Tour& tour, const std::vector<Exception>& exceptions) {
  Harness(tour, exceptions).run();
}

}  // namespace commutil_faults
