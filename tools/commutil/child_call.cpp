#include "child_call.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <sstream>
#include <utility>

#include "os/handles.h"
#include "output.h"
#include "pipe.h"

using Clock = std::chrono::steady_clock;

struct ChildCalls::Call {
  std::string name;
  std::function<void(CallResult)> done;
  pid_t child = -1;
  commutil::Descriptor pipe;  // empty once the call is over
  Clock::time_point deadline;
  std::string bytes;
  int extensions = 0;
};

namespace {

/// Ends a complete result; a child that dies does not write it.
constexpr char kWhole = '.';

constexpr std::chrono::seconds kProgressAfter{1};
constexpr std::chrono::milliseconds kProgressStep{200};

std::string secondsText(std::chrono::milliseconds time) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%g s", static_cast<double>(time.count()) / 1000);
  return text.data();
}

void discardOutput() {
  const commutil::Descriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (null) ::dup2(null.get(), fd);
}

void writeAll(int fd, const std::string& bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const ssize_t count = ::write(fd, bytes.data() + at, bytes.size() - at);
    if (count < 0 && errno != EINTR) return;
    if (count > 0) at += static_cast<std::size_t>(count);
  }
}

/// Runs a call in a process group, so that the programs that it starts end with it.
[[noreturn]] void runChild(int fd, const std::function<std::string()>& body) {
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::signal(SIGPIPE, SIG_DFL);
  discardOutput();
  std::string result;
  try {
    result = body() + kWhole;
  } catch (const std::exception& error) {
    result = std::string(error.what()) + "!";
  }
  writeAll(fd, result);
  ::_exit(0);
}

/// Ends the child's group, which holds the programs that the call started, and reaps the child.
/// Gives up on one that is stuck inside the kernel, where no signal reaches it. Returns its wait
/// status.
int reap(pid_t child) {
  constexpr int kTries = 50;
  for (int i = 0; i < kTries; ++i) {
    siginfo_t ended{};
    ::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT);
    if (ended.si_pid != child) {
      ::poll(nullptr, 0, 1);
      continue;
    }
    ::kill(-child, SIGKILL);  // the group's number is not reused before the child is reaped
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
  }
  return 0;
}

/// Returns the state and the group of a process in /proc, 0 if it has ended: 'R' for one that runs
/// or waits for a processor.
std::pair<char, pid_t> stateOf(const std::string& pid) {
  std::ifstream file("/proc/" + pid + "/stat");
  std::string text;
  std::getline(file, text);
  const std::size_t name = text.rfind(')');
  if (name == std::string::npos) return {0, 0};
  std::istringstream fields(text.substr(name + 1));
  char state = 0;
  pid_t parent = 0;
  pid_t group = 0;
  fields >> state >> parent >> group;
  return {state, group};
}

/// Returns whether a process of `group` could run if a processor were free: then it does not hang.
bool isRunnable(pid_t group) {
  const commutil::DirectoryHandle all(::opendir("/proc"));
  if (!all) return false;
  while (const dirent* const entry = ::readdir(all.get())) {
    const std::string name = entry->d_name;
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    const auto [state, itsGroup] = stateOf(name);
    if (state == 'R' && itsGroup == group) return true;
  }
  return false;
}

CallResult resultOf(std::string bytes, int status) {
  if (!bytes.empty() && bytes.back() == kWhole) {
    bytes.pop_back();
    return {std::move(bytes), {}};
  }
  if (!bytes.empty() && bytes.back() == '!') {
    bytes.pop_back();
    return {{}, "the library threw an exception: " + bytes};
  }
  if (WIFSIGNALED(status))
    return {{}, std::string("killed by a signal: ") + ::strsignal(WTERMSIG(status))};
  return {{}, "the process ended without an answer"};
}

}  // namespace

ChildCalls::ChildCalls(std::chrono::milliseconds deadline)
    : m_deadline(deadline), m_begin(Clock::now()) {}

ChildCalls::~ChildCalls() {
  for (Call& call : m_calls)
    if (call.pipe) expire(call);
}

void ChildCalls::start(std::string name, const std::function<std::string()>& body,
                       std::function<void(CallResult)> done) {
  Pipe pipe;
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) runChild(pipe.out.get(), body);
  if (child < 0) return done({{}, std::string("no process: ") + std::strerror(errno)});
  ::setpgid(child, child);
  m_calls.push_back({std::move(name),
                     std::move(done),
                     child,
                     std::move(pipe.in),
                     Clock::now() + m_deadline,
                     {},
                     0});
}

void ChildCalls::close(Call& call, CallResult result) {
  call.pipe.reset();
  call.done(std::move(result));
}

void ChildCalls::receive(Call& call) {
  std::array<char, std::size_t{64} * 1024> piece;  // NOLINT(*-member-init): filled by read
  const ssize_t count = ::read(call.pipe.get(), piece.data(), piece.size());
  if (count < 0 && errno == EINTR) return;
  if (count > 0) {
    call.bytes.append(piece.data(), static_cast<std::size_t>(count));
    return;
  }
  const int status = reap(call.child);
  close(call, resultOf(std::move(call.bytes), status));
}

void ChildCalls::expire(Call& call) {
  ::kill(-call.child, SIGKILL);
  ::kill(call.child, SIGKILL);
  reap(call.child);
  close(call, {{}, "no answer within " + secondsText(m_deadline)});
}

bool ChildCalls::extend(Call& call) const {
  if (call.extensions == kExtensions || !isRunnable(call.child)) return false;
  ++call.extensions;
  call.deadline += m_deadline;
  return true;
}

int ChildCalls::untilNextDeadline() const {
  Clock::time_point next = Clock::now() + kProgressStep;
  for (const Call& call : m_calls)
    if (call.pipe) next = std::min(next, call.deadline);
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(next - Clock::now());
  return std::max(0, static_cast<int>(left.count()) + 1);
}

void ChildCalls::showProgress() {
  if (Clock::now() - m_begin < kProgressAfter || ::isatty(STDERR_FILENO) == 0) return;
  std::size_t left = 0;
  std::string first;
  for (const Call& call : m_calls) {
    if (!call.pipe) continue;
    if (left++ == 0) first = call.name;
  }
  if (left == 0) return;
  std::fprintf(stderr, "\r\033[Kcommutil: %zu of %zu calls left, waiting for %s", left,
               m_calls.size(), printable(first).c_str());
  m_progress = true;
}

void ChildCalls::clearProgress() {
  if (m_progress) std::fputs("\r\033[K", stderr);
  m_progress = false;
}

void ChildCalls::finish() {
  while (true) {
    std::vector<pollfd> waiting;
    std::vector<Call*> calls;
    for (Call& call : m_calls) {
      if (!call.pipe) continue;
      waiting.push_back({call.pipe.get(), POLLIN, 0});
      calls.push_back(&call);
    }
    if (waiting.empty()) break;
    ::poll(waiting.data(), waiting.size(), untilNextDeadline());
    const Clock::time_point now = Clock::now();
    for (std::size_t i = 0; i < waiting.size(); ++i) {
      if (waiting[i].revents != 0) {
        receive(*calls[i]);
      } else if (now >= calls[i]->deadline && !extend(*calls[i])) {
        expire(*calls[i]);
      }
    }
    showProgress();
  }
  m_calls.clear();
  clearProgress();
}
