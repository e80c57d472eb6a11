#include "faults/run.h"

#include <ace/Log_Msg.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <new>
#include <optional>
#include <set>

#include "faults/tracer.h"
#include "support/host.h"

namespace commutil_faults {
namespace {

constexpr unsigned kTimeLimit = 120;     // seconds per child, far more than needed
constexpr suseconds_t kPause = 250'000;  // microseconds between checks for a hanging child
constexpr std::size_t kMostRelated = 8;

/// A child's report, in shared memory: the child may crash at any point.
struct Report {
  struct Text {
    std::array<char, 2048> text;

    void keep(const std::string& from) {
      const std::size_t length = std::min(from.size(), text.size() - 1);
      std::memcpy(text.data(), from.data(), length);
      text[length] = '\0';
    }
    std::string get() const { return text.data(); }
  };

  bool complete;
  bool badAlloc;
  long blocks;
  Text answer;
  Text left;
  Text again;
  std::array<Text, kMostRelated> related;
};

Report* report = nullptr;
int printed = -1;  // a file in memory

using Names = std::set<std::string>;
Names writtenFiles;  // by operations in which nothing fails

/// Returns the open descriptors with their targets.
Names descriptors() {
  Names open;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;  // for the descriptor that lists the directory
    const std::filesystem::path target = std::filesystem::read_symlink(entry.path(), gone);
    if (!gone && target.filename() != "fd")
      open.insert("descriptor " + entry.path().filename().string() + " " + target.string());
  }
  return open;
}

Names files() {
  Names all;
  std::error_code denied;  // to a process that has given up its rights
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator(commutil_test::Host::path(""), denied))
    all.insert("file " + entry.path().string());
  return all;
}

/// Returns what is left that was not there before; empty if nothing is.
std::string leftBehind(const Names& descriptorsBefore, const Names& filesBefore) {
  for (const std::string& descriptor : descriptors()) {
    if (descriptorsBefore.count(descriptor) == 0) return descriptor;
  }
  for (const std::string& file : files()) {
    if (filesBefore.count(file) == 0 && writtenFiles.count(file) == 0) return file;
  }
  if (::waitpid(-1, nullptr, WNOHANG) != -1) return "a child";
  return {};
}

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

/// The same sequence in each child, so that what it allocates can be compared.
void observe(const Operation& operation, const std::vector<const Operation*>& related,
             const Fault& fault) {
  const long blocks = blocksHeld();
  {
    const Names descriptorsBefore = descriptors();
    const Names filesBefore = files();
    const Answer answer = answerOf(operation, fault);
    report->answer.keep(answer.text);
    report->badAlloc = answer.badAlloc;
    report->left.keep(leftBehind(descriptorsBefore, filesBefore));
  }
  report->again.keep(answerOf(operation, std::nullopt).text);
  for (std::size_t i = 0; i < related.size(); ++i)
    report->related[i].keep(answerOf(*related[i], std::nullopt).text);
  report->blocks = blocksHeld() - blocks;
}

/// Sets a child's standard handles: no input, and output to a file in memory.
void replaceStandardHandles() {
  const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  ::dup2(null, STDIN_FILENO);
  ::dup2(printed, STDOUT_FILENO);
  ::dup2(printed, STDERR_FILENO);
  ::close(null);
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

/// Interrupts the process's waiting now and then, for a scope.
class Interruptions {
 public:
  Interruptions() { set(kPause); }
  ~Interruptions() { set(0); }
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;

 private:
  static void set(suseconds_t pause) {
    const itimerval interval{{0, pause}, {0, pause}};
    ::setitimer(ITIMER_REAL, &interval, nullptr);
  }
};

/// Waits for a child to end, and kills one that hangs. Returns its wait status; none if it hung.
std::optional<int> supervise(pid_t child, Tracer& tracer) {
  const Interruptions interruptions;
  bool hangs = false;
  int status = 0;
  while (true) {
    if (::waitpid(child, &status, __WALL) == child) {
      if (!WIFSTOPPED(status)) break;
      tracer.onStop(status);
    } else if (errno != EINTR) {
      std::abort();
    } else if (!hangs && waitsForItself(child)) {
      hangs = true;
      ::kill(child, SIGKILL);
    }
  }
  if (hangs || (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)) return std::nullopt;
  return status;
}

}  // namespace

void prepareRuns() {
  void* const shared =
      ::mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) std::abort();
  report = static_cast<Report*>(shared);
  printed = ::memfd_create("printed", MFD_CLOEXEC);
  ::fcntl(printed, F_SETFL, O_APPEND);
  ACE_Log_Msg::instance();  // else the first error that ACE reports allocates it
  struct sigaction action {};
  action.sa_handler = [](int) {};
  ::sigaction(SIGALRM, &action, nullptr);
}

Run runWithFault(const Operation& operation, const std::vector<const Operation*>& related,
                 const Fault& fault) {
  if (related.size() > kMostRelated) std::abort();
  report->complete = false;
  for (Report::Text* text : {&report->answer, &report->left, &report->again}) text->keep("");
  std::fflush(nullptr);
  [[maybe_unused]] const int emptied = ::ftruncate(printed, 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::signal(SIGALRM, SIG_DFL);
    ::alarm(kTimeLimit);
    replaceStandardHandles();
    observe(operation, related, fault);
    report->complete = true;
    ::_exit(0);
  }
  if (child < 0) std::abort();
  Tracer tracer(child, fault);
  const std::optional<int> status = supervise(child, tracer);
  Run run;
  run.struck = struck();
  run.answer = {report->answer.get(), report->badAlloc};
  run.left = report->left.get();
  if (fault.occurrence == 0) {
    Names written = files();
    writtenFiles.merge(written);
    if (writtenFiles.count(run.left) != 0) run.left.clear();
  }
  run.again = report->again.get();
  for (std::size_t i = 0; i < related.size(); ++i) run.related.push_back(report->related[i].get());
  run.blocks = report->blocks;
  run.unknownCall = tracer.unknownCall().value_or(-1);
  if (!status) {
    run.end = Run::End::hung;
  } else if (WIFSIGNALED(*status) || !report->complete) {
    run.end = Run::End::crashed;
    run.howCrashed =
        WIFSIGNALED(*status) ? ::strsignal(WTERMSIG(*status)) : "the process ended itself";
  }
  return run;
}

std::string printedText() {
  std::string text(static_cast<std::size_t>(::lseek(printed, 0, SEEK_END)), '\0');
  const ssize_t count = ::pread(printed, text.data(), text.size(), 0);
  text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return text.substr(0, 3000);
}

}  // namespace commutil_faults
