#include "pid_view.h"

#include <fcntl.h>
#include <grp.h>
#include <json/reader.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "child_call.h"
#include "os/handles.h"
#include "output.h"
#include "pipe.h"

namespace {

using commutil::Descriptor;
using Clock = std::chrono::steady_clock;

[[noreturn]] void giveUp(const std::string& what) { throw std::runtime_error(what); }

/// The running process, held by descriptors, so that another process that gets its number is not
/// mistaken for it.
struct Process {
  int pid = 0;
  Descriptor directory;
  Descriptor environment;
  Descriptor root;
  Descriptor workingDirectory;
  uid_t user = 0;
  gid_t group = 0;
  std::vector<gid_t> groups;
  std::time_t started = 0;
  bool sameRoot = false;
};

std::string readAll(const Descriptor& file) {
  std::string text;
  std::array<char, std::size_t{64} * 1024> piece;  // NOLINT(*-member-init): filled by read
  while (true) {
    const ssize_t count = ::read(file.get(), piece.data(), piece.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) giveUp(std::string("its environment cannot be read: ") + std::strerror(errno));
    if (count == 0) return text;
    text.append(piece.data(), static_cast<std::size_t>(count));
  }
}

Descriptor openOf(const Process& process, const char* name, int flags) {
  Descriptor file(::openat(process.directory.get(), name, flags | O_CLOEXEC));
  if (file) return file;
  const std::string prefix = "process " + std::to_string(process.pid);
  if (errno == ESRCH || errno == ENOENT)
    giveUp(prefix + " has ended, or is one of the kernel: it has no environment");
  giveUp(prefix + ": " + name + ": " + std::strerror(errno) +
         "; run as root or as the user of the process");
}

/// The fourth field of a "Uid:" line is the file system's identity; the second the effective one.
void readIdentity(Process& process) {
  std::istringstream lines(readAll(openOf(process, "status", O_RDONLY)));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string name;
    long real = 0;
    fields >> name;
    if (name == "Uid:") fields >> real >> process.user;
    if (name == "Gid:") fields >> real >> process.group;
    if (name != "Groups:") continue;
    for (gid_t id = 0; fields >> id;) process.groups.push_back(id);
  }
}

/// Returns when the process was started: field 22 of "stat", in ticks after the system's start.
std::time_t startOf(const Process& process) {
  constexpr int kFieldsBefore = 19;  // after the name, which may hold anything but ends at ')'
  const std::string text = readAll(openOf(process, "stat", O_RDONLY));
  std::istringstream fields(text.substr(std::min(text.rfind(')'), text.size() - 2) + 1));
  std::string skipped;
  for (int i = 0; i < kFieldsBefore; ++i) fields >> skipped;
  long long ticks = 0;
  fields >> ticks;
  std::timespec now{};
  std::timespec up{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  ::clock_gettime(CLOCK_BOOTTIME, &up);
  return now.tv_sec - up.tv_sec + ticks / ::sysconf(_SC_CLK_TCK);
}

std::string namespaceOf(const Descriptor& directory) {
  std::array<char, 64> text{};
  return ::readlinkat(directory.get(), "ns/mnt", text.data(), text.size() - 1) > 0 ? text.data()
                                                                                   : "";
}

bool hasOwnRoot(const Process& process) {
  struct stat theirs {};
  struct stat ours {};
  if (::fstat(process.root.get(), &theirs) != 0 || ::stat("/", &ours) != 0) return false;
  const Descriptor self(::open("/proc/self", O_PATH | O_DIRECTORY | O_CLOEXEC));
  const bool sameMounts = namespaceOf(process.directory) == namespaceOf(self);
  return sameMounts && theirs.st_dev == ours.st_dev && theirs.st_ino == ours.st_ino;
}

Process openProcess(int pid) {
  Process process;
  process.pid = pid;
  const std::string path = "/proc/" + std::to_string(pid);
  process.directory.reset(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!process.directory) giveUp("there is no process " + std::to_string(pid));
  process.environment = openOf(process, "environ", O_RDONLY);
  process.root = openOf(process, "root", O_PATH);
  process.workingDirectory = openOf(process, "cwd", O_PATH);
  process.sameRoot = hasOwnRoot(process);
  readIdentity(process);
  process.started = startOf(process);
  return process;
}

bool hasIdentity(const Process& process) {
  return ::geteuid() == process.user && ::getegid() == process.group;
}

/// Becomes the user of the process permanently.
void becomeUser(const Process& process) {
  if (::geteuid() == 0 && ::setgroups(process.groups.size(), process.groups.data()) != 0)
    giveUp(std::string("its groups cannot be set: ") + std::strerror(errno));
  const bool taken = ::setresgid(process.group, process.group, process.group) == 0 &&
                     ::setresuid(process.user, process.user, process.user) == 0;
  if (!taken || !hasIdentity(process)) {
    giveUp("process " + std::to_string(process.pid) +
           " runs as another user; run as root or as that user");
  }
  if (process.user != 0 && ::setuid(0) == 0) giveUp("root privileges cannot be dropped");
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
}

/// Returns its environment, without variables that would load code into this command.
std::vector<std::string> environmentOf(const Process& process) {
  std::vector<std::string> all;
  std::istringstream entries(readAll(process.environment));
  for (std::string entry; std::getline(entries, entry, '\0');) {
    if (entry.rfind("LD_PRELOAD=", 0) == 0 || entry.rfind("LD_AUDIT=", 0) == 0) continue;
    all.push_back(std::move(entry));
  }
  return all;
}

settings::Environment asMap(const std::vector<std::string>& entries) {
  settings::Environment map;
  for (const std::string& entry : entries) {
    const std::size_t equals = entry.find('=');
    if (equals != std::string::npos) map.emplace(entry.substr(0, equals), entry.substr(equals + 1));
  }
  return map;
}

std::vector<char*> pointersTo(std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  pointers.reserve(strings.size() + 1);
  for (std::string& string : strings) pointers.push_back(string.data());
  pointers.push_back(nullptr);
  return pointers;
}

[[noreturn]] void startAnew(int program, std::vector<std::string> words,
                            std::vector<std::string> environment) {
  ::fexecve(program, pointersTo(words).data(), pointersTo(environment).data());
  giveUp(std::string("this command cannot be started as that user: ") + std::strerror(errno));
}

/// Runs in the child. Reads nothing of the service before it has become the service's user.
int showAsProcess(const ViewOptions& options, const std::function<int(const View&)>& show) {
  const Process process = openProcess(*options.pid);
  const Descriptor program(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
  becomeUser(process);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  const bool entered = ::fchdir(process.workingDirectory.get()) == 0;
  if (!entered && ::chdir("/") != 0) giveUp("no working directory can be entered");
  const std::vector<std::string> environment = environmentOf(process);
  const std::string title = "process " + std::to_string(process.pid) + ", user id " +
                            std::to_string(process.user) +
                            "; its environment is the one that it was started with" +
                            (entered ? "" : "; its working directory cannot be entered");
  if (!process.sameRoot) {
    const View view{asMap(environment), title + "; its root directory is another one",
                    process.root.get(), "other root", process.started};
    return show(view);
  }
  std::vector<std::string> words = options.commandLine;
  words.insert(words.begin() + 2,
               {"--switched-view", title, "--switched-start", std::to_string(process.started)});
  startAnew(program.get(), std::move(words), environment);
}

[[noreturn]] void runChild(const Pipe& out, const Pipe& err, const ViewOptions& options,
                           const std::function<int(const View&)>& show) {
  ::setsid();  // without a terminal that the service's user could write to
  const Descriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  ::dup2(null.get(), STDIN_FILENO);
  ::dup2(out.out.get(), STDOUT_FILENO);
  ::dup2(err.out.get(), STDERR_FILENO);
  const int code = [&] {
    try {
      return showAsProcess(options, show);
    } catch (const std::exception& error) {
      fail(error.what());
      return options.failure;
    }
  }();
  std::fflush(nullptr);
  ::_exit(code);
}

/// The child's output. The child runs as the service's user, who can make it write anything.
class Output {
 public:
  /// Writes each complete line to `stream`, with control characters escaped; keeps everything if
  /// that is null.
  explicit Output(std::FILE* stream) : m_stream(stream) {}

  /// Adds the next piece. Returns false if that is too much.
  bool add(std::string_view piece) {
    m_size += piece.size();
    m_text.append(piece);
    const std::size_t end = m_text.rfind('\n');
    if (m_stream != nullptr && end != std::string::npos) {
      write(std::string_view(m_text).substr(0, end + 1));
      m_text.erase(0, end + 1);
    }
    return m_size <= settings::kLargestText;
  }

  void finish() {
    if (m_stream != nullptr) write(m_text);
  }

  const std::string& text() const { return m_text; }

 private:
  void write(std::string_view lines) {
    const std::string safe = printableLines(lines);
    std::fwrite(safe.data(), 1, safe.size(), m_stream);
  }

  std::FILE* m_stream;
  std::size_t m_size = 0;
  std::string m_text;
};

/// Reads a piece from `end`, which is set to -1 when the child has closed it. Returns false if the
/// output is too long.
bool receive(int& end, Output& output) {
  std::array<char, std::size_t{64} * 1024> piece;  // NOLINT(*-member-init): filled by read
  const ssize_t count = ::read(end, piece.data(), piece.size());
  if (count < 0 && errno == EINTR) return true;
  if (count <= 0) {
    end = -1;
    return true;
  }
  return output.add({piece.data(), static_cast<std::size_t>(count)});
}

/// Reads what the child writes until it closes both ends. Returns "", or why it did not close them.
std::string relay(int out, int err, Clock::time_point deadline, Output& output, Output& errors) {
  std::array<pollfd, 2> ends{{{out, POLLIN, 0}, {err, POLLIN, 0}}};
  while (ends[0].fd >= 0 || ends[1].fd >= 0) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return "no answer in time";
    ::poll(ends.data(), ends.size(), static_cast<int>(std::min<long>(left.count(), INT_MAX)));
    const bool fits = (ends[0].revents == 0 || receive(ends[0].fd, output)) &&
                      (ends[1].revents == 0 || receive(ends[1].fd, errors));
    if (!fits) return "its output is too long";
  }
  output.finish();
  errors.finish();
  return {};
}

/// Runs `show` in a child that has become the service's user. Returns the exit code.
/// @throws std::runtime_error if it does not exit
int showInChild(const ViewOptions& options, const std::function<int(const View&)>& show,
                Output& output) {
  constexpr int kRounds = 2 * (ChildCalls::kExtensions + 1);  // of calls, in sequence
  Pipe out;
  Pipe err;
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) runChild(out, err, options, show);
  if (child < 0) giveUp(std::string("no process: ") + std::strerror(errno));
  out.out.reset();
  err.out.reset();
  const std::chrono::milliseconds patience(static_cast<long>(options.timeout * 1000 * kRounds) +
                                           5000);
  Output errors(stderr);
  const std::string problem =
      relay(out.in.get(), err.in.get(), Clock::now() + patience, output, errors);
  if (!problem.empty()) ::kill(child, SIGKILL);
  int status = 0;
  if (problem.empty()) ::waitpid(child, &status, 0);
  if (problem.empty() && WIFEXITED(status)) return WEXITSTATUS(status);
  giveUp("the view of process " + std::to_string(*options.pid) +
         " cannot be shown: " + (problem.empty() ? "its command was killed" : problem));
}

}  // namespace

ShownView documentOfProcess(const ViewOptions& options,
                            const std::function<int(const View&)>& show) {
  Output output(nullptr);
  ShownView shown;
  shown.code = showInChild(options, show, output);
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  const char* const begin = output.text().data();
  const bool parsed = reader->parse(begin, begin + output.text().size(), &shown.document, nullptr);
  if (!parsed || !shown.document.isObject())
    giveUp("the view of process " + std::to_string(*options.pid) + " is not a JSON document");
  return shown;
}

int inViewOfProcess(const ViewOptions& options, const std::function<int(const View&)>& show) {
  if (!options.json) {
    Output output(stdout);
    return showInChild(options, show, output);
  }
  const ShownView shown = documentOfProcess(options, show);
  printDocument(shown.document, true);
  return shown.code;
}
