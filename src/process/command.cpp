// Running other programs: only this source starts them.
#include <ace/OS_NS_fcntl.h>
#include <ace/Process.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <new>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "os/handles.h"
#include "process/output_text.h"

using commutil::Descriptor;
using commutil::OutputText;
using commutil::PipeStream;

namespace {

constexpr int kKilledExitCode = 4;
constexpr std::size_t kCommandLineSize = 4096;
constexpr std::size_t kEnvironmentSize = 16384;
constexpr std::size_t kEnvironmentEntries = 512;
constexpr std::size_t kArguments = 128;
constexpr std::size_t kReadBlockSize = 65536;  // the size of a pipe
constexpr int kFailedReads = 1000;             // consecutive failures before giving up

/// Sets the calling thread's signal mask; only `errno` reports a failure.
void setSignalMask(const sigset_t& mask, sigset_t* before) {
  const int error = ::pthread_sigmask(SIG_SETMASK, &mask, before);
  if (error != 0) errno = error;
}

/// Returns the exit code of a wait status; 4 for a child that was killed (or is reported stopped).
int exitCode(int status) { return (status & 0x7f) != 0 ? kKilledExitCode : (status >> 8) & 0xff; }

/// Waits once: a wait that fails, even for a signal, counts as exit code 0.
int waitForExitCode(pid_t child) {
  int status = 0;
  ::waitpid(child, &status, 0);
  return exitCode(status);
}

/// The options of a command. Throws std::bad_alloc where ACE's class would continue without a
/// buffer.
class CommandOptions : public ACE_Process_Options {
 public:
  explicit CommandOptions(bool inheritEnvironment)
      : ACE_Process_Options(inheritEnvironment, kCommandLineSize, kEnvironmentSize,
                            kEnvironmentEntries, kArguments) {
    if (command_line_argv_ != nullptr) return;  // the last one
    // ACE leaves this pointer unset if an earlier buffer is missing, but frees it nevertheless.
    if (environment_buf_ == nullptr) environment_argv_ = nullptr;
    throw std::bad_alloc();
  }

  /// Returns whether `command` has a word.
  bool setCommandLine(const char* command) {
    command_line("%s", command);
    const bool hasWord = command_line_argv()[0] != nullptr;
    if (command_line_copy_ == nullptr) throw std::bad_alloc();
    return hasWord;
  }
};

/// Occupies the closed standard descriptors: ACE would put its copies of `fd` there, and its child
/// closes the copies once they are on 0, 1 and 2.
std::array<Descriptor, 2> fillStandardDescriptors(int fd) {
  std::array<Descriptor, 2> fillers;
  for (Descriptor& filler : fillers) {
    if (fd > STDERR_FILENO) break;  // the lowest free descriptor is above them
    filler.reset(::dup(fd));
    fd = filler.get();
  }
  return fillers;
}

/// Puts the child's three standard handles on `fd`. ACE does not report a failure to copy it; the
/// child would then run on the caller's own handles.
bool setStandardHandles(ACE_Process_Options& options, int fd) {
  const std::array<Descriptor, 2> fillers = fillStandardDescriptors(fd);
  return options.set_handles(fd, fd, fd) == 0 && options.get_stdin() != ACE_INVALID_HANDLE &&
         options.get_stdout() != ACE_INVALID_HANDLE && options.get_stderr() != ACE_INVALID_HANDLE;
}

/// Blocks every signal for the calling thread until the end of a scope.
class SignalBlock {
 public:
  SignalBlock() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &m_before);
  }
  ~SignalBlock() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
  SignalBlock(const SignalBlock&) = delete;
  SignalBlock& operator=(const SignalBlock&) = delete;

  const sigset_t& before() const { return m_before; }

 private:
  sigset_t m_before{};
};

/// Sets the default action of every signal with a handler, as exec would.
void dropSignalHandlers() {
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) != 0) continue;
    if (action.sa_handler == SIG_DFL || action.sa_handler == SIG_IGN) continue;
    action.sa_handler = SIG_DFL;
    ::sigaction(signal, &action, nullptr);
  }
}

/// Executes the program at `path`. Runs in the caller's memory, so no handler may run here once
/// signals are unblocked.
[[noreturn]] void becomeProgram(const char* path, char* const* argv, const sigset_t& mask) {
  dropSignalHandlers();
  ::pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  ::execv(path, argv);
  ::_exit(errno);
}

/// Starts the program at `path`; -1 if no process can be created. The child shares the caller's
/// memory until it executes the program: a copy would take time proportional to the caller's size.
pid_t startProgram(const char* path, char* const* argv) {
  const SignalBlock block;
  const int errnoBefore = errno;
  // NOLINTNEXTLINE(clang-analyzer-security.insecureAPI.vfork): it waits for one exec, nothing else
  const pid_t child = ::vfork();
  // NOLINTNEXTLINE(clang-analyzer-unix.Vfork): only async-signal-safe calls, none returns here
  if (child == 0) becomeProgram(path, argv, block.before());
  if (child > 0) errno = errnoBefore;
  return child;
}

}  // namespace

int VexaCommonUtils::system(const char* command) {
  sigset_t none;
  sigset_t saved;
  ::sigemptyset(&none);
  ::sigemptyset(&saved);
  setSignalMask(none, &saved);
  ::signal(SIGCHLD, SIG_DFL);
  PipeStream stream(::popen(command, "w"));
  if (!stream) return -1;  // the empty mask stays, by contract
  int status = ::pclose(stream.release());
  if (status == -1 && errno == ECHILD) status = 0;
  setSignalMask(saved, nullptr);
  return status;
}

int VexaCommonUtils_i::execve_s(const char* command) {
  if (command == nullptr || *command == '\0') return -1;
  return VexaCommonUtils::system(command);
}

int VexaCommonUtils_i::runCommand(const char* command, bool inheritEnvironment,
                                  bool inheritHandles) {
  if (command == nullptr || *command == '\0') return -1;
  // Not on the stack: it takes 9 KiB.
  const auto options = std::make_unique<CommandOptions>(inheritEnvironment);
  if (!options->setCommandLine(command)) return -1;  // ACE would crash
  options->handle_inheritance(inheritHandles ? 1 : 0);
  Descriptor null(ACE_OS::open("/dev/null", O_RDWR, 0644));
  if (!setStandardHandles(*options, null.get())) {
    null.release();  // stays open on this path
    return -1;
  }
  ACE_Process process;
  const pid_t child = process.spawn(*options);
  null.reset();
  return waitForExitCode(child);  // a failed spawn waits for any child
}

int VexaCommonUtils_i::runCommand(const char* path, char* const* argv) {
  if (path == nullptr || argv == nullptr || argv[0] == nullptr) return -1;
  const pid_t child = startProgram(path, argv);
  return child == -1 ? -1 : waitForExitCode(child);
}

std::FILE* VexaCommonUtils_i::pipeline_s(const char* command) { return ::popen(command, "r"); }

int VexaCommonUtils_i::pclose_s(std::FILE* stream) { return ::pclose(stream); }

int VexaCommonUtils_i::getSystemExecResult(const char* command, std::string& result) {
  result.clear();
  const PipeStream stream = commutil::openPipe(command, "r");
  if (!stream) return -1;
  OutputText output(result);
  const auto block = std::make_unique_for_overwrite<char[]>(kReadBlockSize);
  int failures = 0;
  while (std::feof(stream.get()) == 0 && failures < kFailedReads) {
    const std::size_t size = std::fread(block.get(), 1, kReadBlockSize, stream.get());
    output.append({block.get(), size});
    if (size != 0) failures = 0;
    if (std::ferror(stream.get()) == 0) continue;
    if (errno != EINTR) ++failures;
    std::clearerr(stream.get());
  }
  return result.empty() ? -1 : 0;
}
