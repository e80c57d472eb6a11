#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"
#include "support/threads.h"

using commutil_test::allBytes;
using commutil_test::CapturedOutput;
using commutil_test::inThreads;
using commutil_test::openDescriptors;
using commutil_test::readFile;
using commutil_test::runInChild;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;
using commutil_test::writeFile;

namespace {

using Arguments = std::vector<const char*>;

/// Calls `runCommand` with an argument vector; `path` is `arguments[0]` by default.
int runProgram(Arguments arguments, const char* path = nullptr) {
  if (path == nullptr) path = arguments.front();
  arguments.push_back(nullptr);
  return VexaCommonUtils_i::runCommand(path, const_cast<char* const*>(arguments.data()));
}

int runShell(const std::string& script) { return runProgram({"/bin/sh", "-c", script.c_str()}); }

std::string output(const std::string& command) {
  std::string text = "junk";
  VexaCommonUtils_i::getSystemExecResult(command.c_str(), text);
  return text;
}

int lowestFreeDescriptor() {
  const int fd = ::fcntl(0, F_DUPFD, 0);
  ::close(fd);
  return fd;
}

/// Limits the descriptors to `count` more.
void leaveDescriptors(rlim_t count) {
  rlimit limit{};
  ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &limit));
  limit.rlim_cur = limit.rlim_max;
  ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit)) << std::strerror(errno);
  limit.rlim_cur = static_cast<rlim_t>(lowestFreeDescriptor()) + count;
  ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit)) << std::strerror(errno);
}

/// Makes every later creation of a process fail.
void refuseProcesses() {
  if (::geteuid() == 0) {
    ASSERT_EQ(0, ::setuid(65534)) << std::strerror(errno);  // the limit does not apply to root
  }
  const rlimit none{0, 0};
  ASSERT_EQ(0, ::setrlimit(RLIMIT_NPROC, &none));
}

bool isBlocked(int signal) {
  sigset_t mask;
  ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  return ::sigismember(&mask, signal) == 1;
}

void block(std::initializer_list<int> signals) {
  sigset_t mask;
  ::sigemptyset(&mask);
  for (const int signal : signals) ::sigaddset(&mask, signal);
  ::pthread_sigmask(SIG_BLOCK, &mask, nullptr);
}

using Handler = void (*)(int);

void handle(int signal, Handler handler, int flags = 0) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  ASSERT_EQ(0, ::sigaction(signal, &action, nullptr));
}

Handler handlerOf(int signal) {
  struct sigaction action {};
  ::sigaction(signal, nullptr, &action);
  return action.sa_handler;
}

/// Returns the hexadecimal mask after `name` in a "/proc/.../status" file.
unsigned long long maskIn(const std::string& status, const std::string& name) {
  const std::size_t at = status.find(name + ":");
  return at == std::string::npos ? ~0ULL
                                 : std::stoull(status.substr(at + name.size() + 1), nullptr, 16);
}

unsigned long long bit(int signal) { return 1ULL << (signal - 1); }

pid_t numberIn(const std::string& path) { return std::atoi(readFile(path).c_str()); }

std::string makeFifo(const TempDir& directory, const std::string& name) {
  std::string path = directory / name;
  EXPECT_EQ(0, ::mkfifo(path.c_str(), 0600)) << std::strerror(errno);
  return path;
}

/// A program that writes each of its arguments as a line to the file "arguments" beside it.
std::string makeArgumentWriter(const TempDir& directory) {
  std::string path =
      directory.write("program", "#!/bin/sh\nfor a in \"$@\"; do printf '<%s>\\n' \"$a\"; done >" +
                                     (directory / "arguments") + "\n");
  EXPECT_EQ(0, ::chmod(path.c_str(), 0755));
  return path;
}

volatile sig_atomic_t handledSignals = 0;
void countSignal(int) { handledSignals = handledSignals + 1; }
void reapChildren(int) {
  const int before = errno;
  while (::waitpid(-1, nullptr, WNOHANG) > 0) {
  }
  errno = before;
}

pid_t callersId = 0;
volatile sig_atomic_t handledElsewhere = 0;
void watchProcess(int) {
  if (::getpid() != callersId) handledElsewhere = 1;
}

struct ShellCase {
  const char* script;
  int rawStatus;
};

const ShellCase kShellCases[] = {
    {"", 0},
    {"exit 0", 0},
    {"exit 1", 256},
    {"exit 3", 768},
    {"exit 4", 1024},
    {"exit 255", 65280},
    {"kill -KILL $$", SIGKILL},
    {"kill -TERM $$", SIGTERM},
    {"exec 2>/dev/null; /nonexistent/program", 127 << 8},
    {"exec 2>/dev/null; /dev/null", 126 << 8},
};

}  // namespace

// system and execve_s

TEST(System, ReturnsTheRawWaitStatus) {
  runInChild([] {
    for (const ShellCase& row : kShellCases) {
      SCOPED_TRACE(row.script);
      EXPECT_EQ(row.rawStatus, VexaCommonUtils::system(row.script));
    }
  });
}

TEST(System, TheCommandsInputIsAtItsEnd) {
  runInChild([] { EXPECT_EQ(7 << 8, VexaCommonUtils::system("read line && exit 1; exit 7")); });
}

TEST(System, LeavesTheCommandTheCallersOutputAndError) {
  runInChild([] {
    CapturedOutput standardOutput(1);
    CapturedOutput standardError(2);
    EXPECT_EQ(0, VexaCommonUtils::system("echo out; echo err >&2"));
    EXPECT_EQ("err\n", standardError.stop());
    EXPECT_EQ("out\n", standardOutput.stop());
  });
}

TEST(System, EmptiesTheSignalMaskMeanwhileAndRestoresIt) {
  runInChild([] {
    const TempDir directory;
    block({SIGUSR1, SIGTERM});
    handle(SIGUSR1, countSignal);
    ::raise(SIGUSR1);
    const std::string status = directory / "status";
    EXPECT_EQ(0, VexaCommonUtils::system(("cat /proc/self/status >" + status).c_str()));
    EXPECT_EQ(0U, maskIn(readFile(status), "SigBlk"));
    EXPECT_EQ(1, handledSignals);  // the pending signal was delivered
    EXPECT_TRUE(isBlocked(SIGUSR1));
    EXPECT_TRUE(isBlocked(SIGTERM));
    EXPECT_FALSE(isBlocked(SIGHUP));
  });
}

TEST(System, ResetsTheDispositionOfSigchldPermanently) {
  for (const Handler before : {reapChildren, Handler{SIG_IGN}, Handler{SIG_DFL}}) {
    runInChild([before] {
      handle(SIGCHLD, before);
      EXPECT_EQ(768, VexaCommonUtils::system("exit 3"));
      EXPECT_EQ(SIG_DFL, handlerOf(SIGCHLD));
    });
  }
}

TEST(System, KeepsTheEmptyMaskWithoutAPipe) {
  runInChild([] {
    block({SIGUSR1, SIGTERM});
    handle(SIGCHLD, countSignal);
    leaveDescriptors(1);
    EXPECT_EQ(-1, VexaCommonUtils::system("exit 0"));
    EXPECT_FALSE(isBlocked(SIGUSR1));
    EXPECT_FALSE(isBlocked(SIGTERM));
    EXPECT_EQ(SIG_DFL, handlerOf(SIGCHLD));
  });
}

TEST(System, IsZeroWhenTheChildWasReapedElsewhere) {
  runInChild([] {
    const TempDir directory;
    const std::string started = makeFifo(directory, "started");
    const std::string goOn = makeFifo(directory, "go-on");
    std::thread reaper([&] {
      readFile(started);
      handle(SIGCHLD, SIG_IGN);  // from now on the kernel reaps children itself
      writeFile(goOn, "\n");
    });
    block({SIGUSR1});
    const std::string command = "echo >" + started + "; read x <" + goOn + "; exit 3";
    EXPECT_EQ(0, VexaCommonUtils::system(command.c_str()));
    EXPECT_TRUE(isBlocked(SIGUSR1));
    reaper.join();
  });
}

TEST(System, ChangesNoOtherThreadsMask) {
  runInChild([] {
    const TempDir directory;
    const std::string started = makeFifo(directory, "started");
    const std::string goOn = makeFifo(directory, "go-on");
    std::thread other([&] {
      block({SIGUSR2});
      readFile(started);
      EXPECT_TRUE(isBlocked(SIGUSR2));
      writeFile(goOn, "\n");
    });
    const std::string command = "echo >" + started + "; read x <" + goOn;
    EXPECT_EQ(0, VexaCommonUtils::system(command.c_str()));
    other.join();
  });
}

TEST(System, DoesNotWaitForWhatTheShellLeavesBehind) {
  runInChild([] {
    const TempDir directory;
    const std::string command =
        "exec >/dev/null; sleep 1000 & echo $! >" + (directory / "pid") + "; exit 5";
    EXPECT_EQ(5 << 8, VexaCommonUtils::system(command.c_str()));
    EXPECT_EQ(0, ::kill(numberIn(directory / "pid"), SIGKILL)) << "still running";
  });
}

TEST(System, FailsOnNull) {
  runInChild([] {
    const CapturedOutput quiet(2);
    EXPECT_GT(VexaCommonUtils::system(nullptr), 0);  // the shell lacks its argument
  });
}

TEST(System, RunsTheCommandWithoutStandardDescriptors) {
  runInChild([] {
    const std::array<int, 3> saved{::dup(0), ::dup(1), ::dup(2)};
    for (int fd = 0; fd < 3; ++fd) ::close(fd);
    const int status = VexaCommonUtils::system("exit 3");
    for (int fd = 0; fd < 3; ++fd) ::dup2(saved[static_cast<std::size_t>(fd)], fd);
    EXPECT_EQ(768, status);
  });
}

TEST(Execve, StartsNothingForAMissingCommand) {
  runInChild([] {
    block({SIGUSR1});
    handle(SIGCHLD, countSignal);
    EXPECT_EQ(-1, VexaCommonUtils_i::execve_s(nullptr));
    EXPECT_EQ(-1, VexaCommonUtils_i::execve_s(""));
    EXPECT_EQ(0, handledSignals);
    EXPECT_EQ(countSignal, handlerOf(SIGCHLD));
    EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
  });
}

TEST(Execve, ReturnsWhatSystemReturns) {
  runInChild([] {
    for (const ShellCase& row : kShellCases) {
      if (*row.script == '\0') continue;
      SCOPED_TRACE(row.script);
      EXPECT_EQ(row.rawStatus, VexaCommonUtils_i::execve_s(row.script));
    }
    EXPECT_EQ(0, VexaCommonUtils_i::execve_s(" "));
    handle(SIGCHLD, countSignal);
    leaveDescriptors(1);
    EXPECT_EQ(-1, VexaCommonUtils_i::execve_s("exit 0"));
    EXPECT_EQ(SIG_DFL, handlerOf(SIGCHLD));
  });
}

// runCommand with a command line

TEST(RunCommandLine, FailsForALineWithoutWords) {
  for (const bool flag : {false, true}) {
    EXPECT_EQ(-1, VexaCommonUtils_i::runCommand(static_cast<const char*>(nullptr), flag, flag));
    EXPECT_EQ(-1, VexaCommonUtils_i::runCommand("", flag, flag));
    EXPECT_EQ(-1, VexaCommonUtils_i::runCommand(" ", flag, flag));
    EXPECT_EQ(-1, VexaCommonUtils_i::runCommand(std::string(5000, ' ').c_str(), flag, flag));
  }
}

struct CommandLineCase {
  const char* command;
  int exitCode;
};

TEST(RunCommandLine, ReturnsTheDecodedExitCode) {
  const CommandLineCase cases[] = {
      {"true", 0},
      {"false", 1},
      {"sh -c 'exit 3'", 3},
      {"sh -c 'exit 4'", 4},
      {"sh -c 'exit 255'", 255},
      {"sh -c 'kill -KILL $$'", 4},
      {"sh -c 'kill -TERM $$'", 4},
      {"sh -c 'ulimit -c 0; kill -ABRT $$'", 4},
      {"/nonexistent/program", ENOENT},
      {"commutil-no-such-program", ENOENT},
      {"\"\" argument", ENOENT},
      {"\ttrue", ENOENT},  // only spaces separate words
      {"/dev/null", EACCES},
      {"/tmp", EACCES},
      {"/dev/null/program", ENOTDIR},
  };
  for (const CommandLineCase& row : cases) {
    SCOPED_TRACE(row.command);
    EXPECT_EQ(row.exitCode, VexaCommonUtils_i::runCommand(row.command, true, true));
    EXPECT_EQ(row.exitCode, VexaCommonUtils_i::runCommand(row.command, true, false));
  }
}

struct WordCase {
  const char* words;
  const char* arguments;
};

TEST(RunCommandLine, SplitsTheLineIntoWordsWithoutAShell) {
  const TempDir directory;
  const std::string program = makeArgumentWriter(directory);
  const WordCase cases[] = {
      {"", ""},
      {"a b", "<a>\n<b>\n"},
      {"  a   b  ", "<a>\n<b>\n"},
      {"'a b' \"c d\"", "<a b>\n<c d>\n"},
      {"'a\"b' \"c'd\"", "<a\"b>\n<c'd>\n"},
      {"\"\" ''", "<>\n<>\n"},
      {"a\tb", "<a\tb>\n"},
      {"a\nb", "<a\nb>\n"},
      {"x'a b'", "<x'a b'>\n"},
      {"\"unfinished word", "<\"unfinished word>\n"},
      {"a\\ b", "<a\\>\n<b>\n"},
      {"$HOME ~ * `id` $(id)", "<$HOME>\n<~>\n<*>\n<`id`>\n<$(id)>\n"},
      {"a | b ; c && d > e", "<a>\n<|>\n<b>\n<;>\n<c>\n<&&>\n<d>\n<>>\n<e>\n"},
      {"%s %n %d %%", "<%s>\n<%n>\n<%d>\n<%%>\n"},
      {"\x01\x7f\xff", "<\x01\x7f\xff>\n"},
  };
  for (const WordCase& row : cases) {
    SCOPED_TRACE(row.words);
    EXPECT_EQ(0, VexaCommonUtils_i::runCommand((program + " " + row.words).c_str(), true, true));
    EXPECT_EQ(row.arguments, readFile(directory / "arguments"));
  }
}

TEST(RunCommandLine, SeesTheFirst4095Bytes) {
  const TempDir directory;
  const std::string program = makeArgumentWriter(directory) + " ";
  for (const std::size_t size : {4094U, 4095U, 4096U, 5000U, 1U << 20}) {
    SCOPED_TRACE(size);
    const std::string argument(size - program.size(), 'x');
    EXPECT_EQ(0, VexaCommonUtils_i::runCommand((program + argument).c_str(), true, true));
    const std::string seen = argument.substr(0, 4095 - program.size());
    EXPECT_EQ("<" + seen + ">\n", readFile(directory / "arguments"));
  }
}

TEST(RunCommandLine, ReadsTheFirst127Words) {
  const TempDir directory;
  const std::string program = makeArgumentWriter(directory);
  for (const int arguments : {125, 126, 127, 500}) {
    SCOPED_TRACE(arguments);
    std::string command = program;
    for (int i = 0; i < arguments; ++i) command += " a";
    EXPECT_EQ(0, VexaCommonUtils_i::runCommand(command.c_str(), true, true));
    EXPECT_EQ(4U * static_cast<std::size_t>(std::min(arguments, 126)),
              readFile(directory / "arguments").size());
  }
}

TEST(RunCommandLine, PassesTheEnvironmentByItsFlag) {
  const TempDir directory;
  const ScopedEnv variable("COMMUTIL_TEST", "value");
  const std::string copy = "/bin/cp --no-preserve=all /proc/self/environ " + (directory / "env");
  EXPECT_EQ(0, VexaCommonUtils_i::runCommand(copy.c_str(), true, true));
  EXPECT_NE(std::string::npos, readFile(directory / "env").find("COMMUTIL_TEST=value"));
  EXPECT_EQ(0, VexaCommonUtils_i::runCommand(copy.c_str(), false, true));
  EXPECT_EQ("", readFile(directory / "env"));
}

TEST(RunCommandLine, SearchesThePathOnlyWithTheEnvironment) {
  EXPECT_EQ(0, VexaCommonUtils_i::runCommand("true", true, true));
  EXPECT_EQ(ENOENT, VexaCommonUtils_i::runCommand("true", false, true));
  EXPECT_EQ(0, VexaCommonUtils_i::runCommand("/bin/true", false, true));
}

TEST(RunCommandLine, PassesTheOpenDescriptorsByItsFlag) {
  const int fd = ::open("/etc/passwd", O_RDONLY);
  ASSERT_GE(fd, 3);
  const std::string test = "/usr/bin/test -e /proc/self/fd/" + std::to_string(fd);
  EXPECT_EQ(0, VexaCommonUtils_i::runCommand(test.c_str(), true, true));
  EXPECT_EQ(1, VexaCommonUtils_i::runCommand(test.c_str(), true, false));
  EXPECT_EQ(0, ::fcntl(fd, F_GETFD)) << "the caller's own descriptor changed";
  ::close(fd);
}

TEST(RunCommandLine, PutsTheStandardHandlesOnTheNullDevice) {
  const TempDir directory;
  const std::string script = directory.write("script",
                                             "for fd in 0 1 2; do\n"
                                             "  test /proc/self/fd/$fd -ef /dev/null || exit 9$fd\n"
                                             "  cp --no-preserve=all /proc/$$/fdinfo/$fd " +
                                                 directory.path().string() +
                                                 "\n"
                                                 "done\n"
                                                 "echo out; echo err >&2\n");
  for (const bool inheritHandles : {false, true}) {
    SCOPED_TRACE(inheritHandles);
    CapturedOutput standardOutput(1);
    CapturedOutput standardError(2);
    const int code =
        VexaCommonUtils_i::runCommand(("/bin/sh " + script).c_str(), true, inheritHandles);
    EXPECT_EQ("", standardError.stop());
    EXPECT_EQ("", standardOutput.stop());
    EXPECT_EQ(0, code);
    EXPECT_NE(std::string::npos, readFile(directory / "0").find("flags:\t0100002"));
    EXPECT_EQ(readFile(directory / "0"), readFile(directory / "1"));
    EXPECT_EQ(readFile(directory / "0"), readFile(directory / "2"));
  }
}

TEST(RunCommandLine, ClosesTheNullDeviceBeforeItWaits) {
  runInChild([] {
    ::alarm(60);
    const TempDir directory;
    const std::string fd = std::to_string(lowestFreeDescriptor());
    const std::string script =
        directory.write("script", "while test -e /proc/$PPID/fd/" + fd + "; do :; done; exit 3\n");
    EXPECT_EQ(3, VexaCommonUtils_i::runCommand(("/bin/sh " + script).c_str(), true, true));
  });
}

TEST(RunCommandLine, LeaksNoDescriptor) {
  const std::size_t before = openDescriptors();
  for (const char* command : {"true", "false", "/nonexistent/program", " ", ""}) {
    VexaCommonUtils_i::runCommand(command, true, true);
    VexaCommonUtils_i::runCommand(command, false, false);
  }
  EXPECT_EQ(before, openDescriptors());
}

TEST(RunCommandLine, FailsWhenTheHandlesCannotBeSet) {
  const TempDir directory;
  const std::string command = "/usr/bin/touch " + (directory / "started");
  for (const rlim_t free : {0U, 1U, 2U, 3U}) {
    SCOPED_TRACE(free);
    runInChild([free, &command] {
      // The undefined-behavior sanitizer takes descriptors when it first meets an object's type.
      EXPECT_EQ(0, VexaCommonUtils_i::runCommand("/bin/true", true, true));
      const int next = lowestFreeDescriptor();
      leaveDescriptors(free);
      EXPECT_EQ(-1, VexaCommonUtils_i::runCommand(command.c_str(), true, true));
      EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG)) << "a child was started";
      leaveDescriptors(10);
      const std::string name = "/proc/self/fd/" + std::to_string(next);
      // On this path the null device stays open, and nothing else.
      EXPECT_EQ(free > 0, std::filesystem::exists(name));
      std::error_code ignored;
      EXPECT_EQ(free == 0 ? "" : "/dev/null", std::filesystem::read_symlink(name, ignored));
      EXPECT_EQ(free == 0 ? next : next + 1, lowestFreeDescriptor());
    });
  }
  EXPECT_FALSE(std::filesystem::exists(directory / "started"));
  runInChild([&command] {
    EXPECT_EQ(0, VexaCommonUtils_i::runCommand("/bin/true", true, true));
    leaveDescriptors(4);
    EXPECT_EQ(0, VexaCommonUtils_i::runCommand(command.c_str(), true, true));
  });
}

TEST(RunCommandLine, WaitsForAnyChildAfterAFailedSpawn) {
  runInChild([] {
    const pid_t other = ::fork();
    if (other == 0) ::_exit(7);
    refuseProcesses();
    EXPECT_EQ(7, VexaCommonUtils_i::runCommand("true", true, true));
    EXPECT_EQ(0, VexaCommonUtils_i::runCommand("false", true, true)) << "no child is left";
  });
}

TEST(RunCommandLine, SetsTheHandlesEvenIfStandardDescriptorsAreClosed) {
  const TempDir directory;
  const std::string script =
      directory.write("script",
                      "for fd in 0 1 2; do test /proc/$$/fd/$fd -ef /dev/null || exit 9$fd; done\n"
                      "for fd in 3 4 5 6; do test -e /proc/$$/fd/$fd && exit 8$fd; done\n"
                      "exit 7\n");
  for (int closed = 0; closed < 8; ++closed) {
    SCOPED_TRACE(closed);
    runInChild([closed, &script] {
      ::closefrom(3);
      std::array<int, 3> saved{};
      for (int fd = 0; fd < 3; ++fd) {
        saved[static_cast<std::size_t>(fd)] = ::fcntl(fd, F_DUPFD_CLOEXEC, 100);
        if ((closed >> fd & 1) != 0) ::close(fd);
      }
      const std::size_t before = openDescriptors();
      const int code = VexaCommonUtils_i::runCommand(("/bin/sh " + script).c_str(), true, false);
      const std::size_t after = openDescriptors();
      for (int fd = 0; fd < 3; ++fd) ::dup2(saved[static_cast<std::size_t>(fd)], fd);
      EXPECT_EQ(7, code);
      EXPECT_EQ(before, after);
    });
  }
}

// runCommand with an argument vector

TEST(RunProgram, RefusesMissingArguments) {
  char name[] = "true";
  char* const none[] = {nullptr};
  char* const arguments[] = {name, nullptr};
  EXPECT_EQ(-1, VexaCommonUtils_i::runCommand(nullptr, arguments));
  EXPECT_EQ(-1, VexaCommonUtils_i::runCommand("/bin/true", nullptr));
  EXPECT_EQ(-1, VexaCommonUtils_i::runCommand("/bin/true", none));
}

TEST(RunProgram, ReturnsTheDecodedExitCode) {
  const ShellCase cases[] = {
      {"exit 0", 0},        {"exit 1", 1},
      {"exit 3", 3},        {"exit 4", 4},
      {"exit 255", 255},    {"kill -KILL $$", 4},
      {"kill -TERM $$", 4}, {"ulimit -c 0; kill -SEGV $$", 4},
  };
  for (const ShellCase& row : cases) {
    SCOPED_TRACE(row.script);
    EXPECT_EQ(row.rawStatus, runShell(row.script));
  }
}

struct ExecErrorCase {
  std::string path;
  int error;
};

TEST(RunProgram, ReturnsTheErrorNumberOfAFailedExec) {
  const TempDir directory;
  const std::string plain = directory.write("plain", "#!/bin/sh\nexit 0\n");
  const std::string text = directory.write("text", "exit 0\n");
  ::chmod(text.c_str(), 0755);
  std::filesystem::create_symlink("loop", directory / "loop");
  const ExecErrorCase cases[] = {
      {"/nonexistent/program", ENOENT},
      {"", ENOENT},
      {"true", ENOENT},  // no search on PATH
      {plain, EACCES},
      {directory.path().string(), EACCES},
      {plain + "/below", ENOTDIR},
      {text, ENOEXEC},
      {directory / "loop", ELOOP},
      {"/" + std::string(300, 'x'), ENAMETOOLONG},
  };
  for (const ExecErrorCase& row : cases) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(row.error, runProgram({"name"}, row.path.c_str()));
  }
  const std::string huge(1 << 20, 'x');
  EXPECT_EQ(E2BIG, runProgram({"name", huge.c_str()}, "/bin/true"));
}

TEST(RunProgram, PassesTheArgumentsUnchanged) {
  const TempDir directory;
  const std::string program = makeArgumentWriter(directory);
  EXPECT_EQ(0, runProgram({"other name", "a b", "", "$HOME", "'", "\xff\n"}, program.c_str()));
  EXPECT_EQ("<a b>\n<>\n<$HOME>\n<'>\n<\xff\n>\n", readFile(directory / "arguments"));
  const std::string name = "test \"$0\" = 'other name'";
  EXPECT_EQ(0, runProgram({"sh", "-c", name.c_str(), "other name"}, "/bin/sh"));
}

TEST(RunProgram, InheritsEnvironmentDescriptorsAndDirectory) {
  const ScopedEnv variable("COMMUTIL_TEST", "value");
  EXPECT_EQ(0, runShell("test \"$COMMUTIL_TEST\" = value"));
  const std::string directory = std::filesystem::current_path();
  EXPECT_EQ(0, runShell("test \"$(pwd -P)\" = '" + directory + "'"));
  CapturedOutput standardOutput(1);
  EXPECT_EQ(0, runShell("echo out"));
  EXPECT_EQ("out\n", standardOutput.stop());
  const int kept = ::open("/etc/passwd", O_RDONLY);
  const int closed = ::open("/etc/passwd", O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(0, runShell("test -e /proc/self/fd/" + std::to_string(kept)));
  EXPECT_EQ(1, runShell("test -e /proc/self/fd/" + std::to_string(closed)));
  ::close(kept);
  ::close(closed);
}

TEST(RunProgram, PassesTheCallersSignalsToTheChild) {
  runInChild([] {
    const TempDir directory;
    block({SIGUSR1});
    handle(SIGTERM, countSignal);
    handle(SIGCHLD, countSignal, SA_RESTART);
    handle(SIGPIPE, SIG_IGN);
    const std::string file = directory / "status";
    EXPECT_EQ(0, runProgram({"/bin/cp", "--no-preserve=all", "/proc/self/status", file.c_str()}));
    const std::string status = readFile(file);
    EXPECT_EQ(bit(SIGUSR1), maskIn(status, "SigBlk"));
    EXPECT_EQ(bit(SIGPIPE), maskIn(status, "SigIgn"));
    EXPECT_EQ(0U, maskIn(status, "SigCgt"));
    EXPECT_TRUE(isBlocked(SIGUSR1));
    EXPECT_FALSE(isBlocked(SIGTERM));
    EXPECT_FALSE(isBlocked(SIGCHLD));
    EXPECT_EQ(countSignal, handlerOf(SIGTERM));
    EXPECT_EQ(countSignal, handlerOf(SIGCHLD));
    EXPECT_EQ(SIG_IGN, handlerOf(SIGPIPE));
    EXPECT_EQ(1, handledSignals);
  });
}

TEST(RunProgram, KeepsTheCallersPendingSignalPending) {
  runInChild([] {
    block({SIGUSR1});
    handle(SIGUSR1, countSignal);
    ::raise(SIGUSR1);
    EXPECT_EQ(0, runProgram({"/bin/true"}));
    EXPECT_EQ(0, handledSignals);
    sigset_t pending;
    ASSERT_EQ(0, ::sigpending(&pending));
    EXPECT_EQ(1, sigismember(&pending, SIGUSR1));
  });
}

TEST(RunProgram, RunsNoHandlerOfTheCallersInTheChild) {
  runInChild([] {
    ASSERT_EQ(0, ::setpgid(0, 0));
    callersId = ::getpid();
    handle(SIGUSR1, watchProcess, SA_RESTART);
    std::atomic<bool> done{false};
    std::thread sender([&done] {
      while (!done) ::kill(0, SIGUSR1);  // the whole group: the child has it pending as it starts
    });
    for (int i = 0; i < 100; ++i) {
      const int code = runProgram({"/bin/true"});
      EXPECT_TRUE(code == 0 || code == 4) << code;
    }
    done = true;
    sender.join();
    EXPECT_EQ(0, handledElsewhere);
  });
}

TEST(RunProgram, LeavesErrnoUnchanged) {
  for (const char* path : {"/bin/true", "/nonexistent/program"}) {
    errno = E2BIG;
    runProgram({"name"}, path);
    EXPECT_EQ(E2BIG, errno) << path;
  }
}

TEST(RunProgram, FailsIfNoProcessCanBeCreated) {
  runInChild([] {
    const pid_t other = ::fork();
    if (other == 0) ::_exit(7);
    block({SIGUSR1});
    refuseProcesses();
    EXPECT_EQ(-1, runProgram({"/bin/true"}));
    EXPECT_TRUE(isBlocked(SIGUSR1));
    EXPECT_FALSE(isBlocked(SIGTERM));
    EXPECT_EQ(other, ::waitpid(other, nullptr, 0)) << "the other child was waited for";
  });
}

TEST(RunProgram, LeaksNoDescriptor) {
  const std::size_t before = openDescriptors();
  runProgram({"/bin/true"});
  runProgram({"/nonexistent/program"});
  EXPECT_EQ(before, openDescriptors());
}

// Lost statuses, with either runCommand

TEST(RunCommand, IsZeroWhenTheKernelReapsChildrenItself) {
  runInChild([] {
    handle(SIGCHLD, SIG_IGN);
    EXPECT_EQ(0, runShell("exit 3"));
    EXPECT_EQ(0, runProgram({"/nonexistent/program"}));
    EXPECT_EQ(0, VexaCommonUtils_i::runCommand("false", true, true));
  });
}

TEST(RunCommand, IsTheCodeOrZeroWhenAHandlerReaps) {
  runInChild([] {
    handle(SIGCHLD, reapChildren, SA_RESTART);
    for (int i = 0; i < 20; ++i) {
      const int program = runShell("exit 3");
      EXPECT_TRUE(program == 3 || program == 0) << program;
      const int line = VexaCommonUtils_i::runCommand("false", true, true);
      EXPECT_TRUE(line == 1 || line == 0) << line;
    }
    EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG)) << "a child was left";
  });
}

TEST(RunCommand, IsZeroWhenASignalInterruptsTheWait) {
  const auto check = [](const std::function<int(const std::string&)>& run) {
    runInChild([&run] {
      const TempDir directory;
      handle(SIGUSR1, countSignal);
      const std::string script = directory.write(
          "script", "echo $$ >" + (directory / "pid") + "; while kill -USR1 $PPID; do :; done\n");
      EXPECT_EQ(0, run(script));
      const pid_t child = numberIn(directory / "pid");
      EXPECT_EQ(0, ::kill(child, SIGKILL)) << "the wait was not cut short";
      int status = 0;
      while (::waitpid(child, &status, 0) == -1 && errno == EINTR) {
      }
      EXPECT_EQ(SIGKILL, status);
    });
  };
  check([](const std::string& script) { return runProgram({"/bin/sh", script.c_str()}); });
  check([](const std::string& script) {
    return VexaCommonUtils_i::runCommand(("/bin/sh " + script).c_str(), true, true);
  });
}

// pipeline_s and pclose_s

TEST(Pipeline, ReturnsTheOutputAndTheRawStatus) {
  for (const ShellCase& row : kShellCases) {
    SCOPED_TRACE(row.script);
    std::FILE* const stream = VexaCommonUtils_i::pipeline_s(
        ("echo first; printf second; " + std::string(row.script)).c_str());
    ASSERT_NE(nullptr, stream);
    std::array<char, 64> text{};
    EXPECT_EQ(12U, std::fread(text.data(), 1, text.size(), stream));
    EXPECT_STREQ("first\nsecond", text.data());
    EXPECT_EQ(row.rawStatus, VexaCommonUtils_i::pclose_s(stream));
  }
}

TEST(Pipeline, ServesTwoStreamsAtOnce) {
  std::FILE* const one = VexaCommonUtils_i::pipeline_s("echo one; exit 1");
  std::FILE* const two = VexaCommonUtils_i::pipeline_s("echo two; exit 2");
  ASSERT_NE(nullptr, one);
  ASSERT_NE(nullptr, two);
  std::array<char, 8> text{};
  EXPECT_STREQ("two\n", std::fgets(text.data(), text.size(), two));
  EXPECT_STREQ("one\n", std::fgets(text.data(), text.size(), one));
  EXPECT_EQ(256, VexaCommonUtils_i::pclose_s(one));
  EXPECT_EQ(512, VexaCommonUtils_i::pclose_s(two));
}

TEST(Pipeline, PassesOnThePcloseFailure) {
  runInChild([] {
    handle(SIGCHLD, SIG_IGN);
    std::FILE* const stream = VexaCommonUtils_i::pipeline_s("exit 3");
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ(-1, VexaCommonUtils_i::pclose_s(stream));
    EXPECT_EQ(ECHILD, errno);
  });
}

TEST(Pipeline, IsNullWithoutAPipe) {
  runInChild([] {
    leaveDescriptors(1);
    EXPECT_EQ(nullptr, VexaCommonUtils_i::pipeline_s("exit 0"));
  });
}

// getSystemExecResult

TEST(ExecResult, ReturnsTheWholeOutputUnchanged) {
  const TempDir directory;
  std::vector<std::string> texts = {"x",           "\n",     "\n\n\n", " \t text \r\n ",
                                    "no line end", "a\nb\nc"};
  for (const std::size_t size : {126U, 127U, 128U, 129U, 253U, 254U, 255U, 1024U, 4096U, 16383U,
                                 16384U, 16385U, 65536U, 1U << 20}) {
    texts.emplace_back(size, 'x');
    texts.push_back(std::string(size, 'x') + "\n");
    texts.push_back(std::string(size, 'x') + "\nlast");
  }
  const std::string bytes = allBytes().substr(1);
  texts.push_back(bytes);
  for (const std::string& text : texts) {
    SCOPED_TRACE(text.size());
    const std::string file = directory.write("file", text);
    std::string result = "junk";
    EXPECT_EQ(0, VexaCommonUtils_i::getSystemExecResult(("cat " + file).c_str(), result));
    EXPECT_TRUE(text == result) << result.size();
  }
}

TEST(ExecResult, FailsOnACommandWithoutOutput) {
  for (const char* command : {"true", "false", "", "exit 3", "kill -KILL $$", ": | cat"}) {
    SCOPED_TRACE(command);
    std::string result = "junk";
    EXPECT_EQ(-1, VexaCommonUtils_i::getSystemExecResult(command, result));
    EXPECT_EQ("", result);
  }
}

TEST(ExecResult, SucceedsOnAFailingCommandWithOutput) {
  std::string result = "junk";
  EXPECT_EQ(0, VexaCommonUtils_i::getSystemExecResult("printf text; exit 3", result));
  EXPECT_EQ("text", result);
  EXPECT_EQ(0, VexaCommonUtils_i::getSystemExecResult("printf text; kill -KILL $$", result));
  EXPECT_EQ("text", result);
}

TEST(ExecResult, ClearsTheResultBeforeTheCommandIsRead) {
  std::string text = "echo x";
  EXPECT_EQ(-1, VexaCommonUtils_i::getSystemExecResult(text.c_str(), text));
  EXPECT_EQ("", text);
}

TEST(ExecResult, LeavesTheStandardErrorAndInputToTheCommand) {
  runInChild([] {
    const TempDir directory;
    const int input = ::open(directory.write("input", "line\n").c_str(), O_RDONLY);
    ::dup2(input, 0);
    CapturedOutput standardError(2);
    EXPECT_EQ("line\n", output("cat; echo err >&2"));
    EXPECT_EQ("err\n", standardError.stop());
  });
}

TEST(ExecResult, FailsWithoutAPipe) {
  runInChild([] {
    leaveDescriptors(1);
    std::string result = "junk";
    EXPECT_EQ(-1, VexaCommonUtils_i::getSystemExecResult("echo x", result));
    EXPECT_EQ("", result);
  });
}

TEST(ExecResult, FailsOnNull) {
  const CapturedOutput quiet(2);
  std::string result = "junk";
  EXPECT_EQ(-1, VexaCommonUtils_i::getSystemExecResult(nullptr, result));
  EXPECT_EQ("", result);
}

/// Returns what a line reader with a buffer of 128 bytes keeps of a file if it treats pieces as C
/// strings.
std::string readPieces(const std::string& path) {
  std::string text;
  std::FILE* const file = std::fopen(path.c_str(), "r");
  std::array<char, 129> piece{};
  while (std::fgets(piece.data(), 128, file) != nullptr) text += piece.data();
  std::fclose(file);
  return text;
}

struct NulCase {
  std::string output;
  std::string result;
};

TEST(ExecResult, LosesWhatFollowsANulInItsPiece) {
  using namespace std::string_literals;
  const TempDir directory;
  const std::string x127(127, 'x');
  const NulCase cases[] = {
      {"\0"s, ""},
      {"\0\0\n\0"s, ""},
      {"a\0b"s, "a"},
      {"a\0b\nc"s, "ac"},
      {"a\n\0b\nc\n"s, "a\nc\n"},
      {"\0lost\0lost\nkept\n"s, "kept\n"},
      {"a\n\n\0\nb"s, "a\n\nb"},
      {x127.substr(1) + "\0kept"s, x127.substr(1) + "kept"},     // the piece's last byte
      {x127 + "\0lost"s, x127},                                  // the next piece's first
      {"a\0"s + x127.substr(2) + "kept", "akept"},               // a piece of 127 ends the cut
      {"a\0"s + x127.substr(2) + "\n\0lost\nkept"s, "a\nkept"},  // its line end is a piece
      {x127.substr(1) + "\n\0lost\nkept"s, x127.substr(1) + "\nkept"},
      {x127 + "\n\0lost\nkept"s, x127 + "\nkept"},
      {x127 + x127 + "a\0lost\nb"s, x127 + x127 + "ab"},
  };
  for (const NulCase& row : cases) {
    const std::string file = directory.write("file", row.output);
    std::string result = "junk";
    EXPECT_EQ(row.result.empty() ? -1 : 0,
              VexaCommonUtils_i::getSystemExecResult(("cat " + file).c_str(), result));
    EXPECT_EQ(row.result, result);
    EXPECT_EQ(readPieces(file), result);
  }
}

TEST(ExecResult, FollowsThePiecesAcrossLongOutput) {
  const TempDir directory;
  std::mt19937 random(1);
  for (const unsigned nulOneIn : {20U, 1000U, 30000U}) {
    for (const unsigned newlineOneIn : {10U, 128U, 5000U, 1000000U}) {
      SCOPED_TRACE(std::to_string(nulOneIn) + "/" + std::to_string(newlineOneIn));
      std::string text(200000, 'x');
      for (char& byte : text) {
        if (random() % newlineOneIn == 0) byte = '\n';
        if (random() % nulOneIn == 0) byte = '\0';
      }
      const std::string file = directory.write("file", text);
      EXPECT_TRUE(readPieces(file) == output("cat " + file));
    }
  }
}

TEST(ExecResult, FollowsThePiecesAcrossReads) {
  const TempDir directory;
  std::string text(200000, 'x');
  for (std::size_t i = 1; i < 12; ++i) text[i * 16384 - 1] = '\0';
  const std::string boundaries = directory.write("boundaries", text);
  EXPECT_TRUE(readPieces(boundaries) == output("cat " + boundaries));
  text.resize(20000, 'x');
  for (std::size_t i = 0; i < text.size(); i += 59) text[i] = '\0';
  for (std::size_t i = 0; i < text.size(); i += 401) text[i] = '\n';
  const std::string small = directory.write("small", text);
  EXPECT_TRUE(readPieces(small) == output("dd bs=7 status=none if=" + small));
}

TEST(ExecResult, WaitsForAGrandchildThatKeepsThePipe) {
  const TempDir directory;
  const std::string goOn = makeFifo(directory, "go-on");
  std::thread other([&] { writeFile(goOn, "\n"); });
  EXPECT_EQ("early\nlate\n", output("echo early; (read x <" + goOn + "; echo late) &"));
  other.join();
}

TEST(ExecResult, IsCompleteAlthoughSignalsInterruptTheReading) {
  runInChild([] {
    handle(SIGUSR1, countSignal);
    std::string expected;
    for (int i = 0; i < 20; ++i) expected += "line\n";
    // Between signal and output the program leaves the reader without either for a while.
    EXPECT_EQ(expected,
              output("i=0; while [ $i -lt 20 ]; do kill -USR1 $PPID; /bin/true; "
                     "printf li; kill -USR1 $PPID; /bin/true; echo ne; i=$((i+1)); done"));
    EXPECT_GT(handledSignals, 0);
  });
}

TEST(ExecResult, IsCompleteWhateverHappensToChildren) {
  for (const Handler handler : {reapChildren, Handler{SIG_IGN}}) {
    runInChild([handler] {
      handle(SIGCHLD, handler);
      EXPECT_EQ("text\n", output("true; echo text"));
      EXPECT_EQ(handler, handlerOf(SIGCHLD));
    });
  }
}

TEST(ExecResult, EndsOnAStreamError) {
  runInChild([] {
    ::alarm(60);
    const TempDir directory;
    const std::string started = makeFifo(directory, "started");
    const std::string goOn = makeFifo(directory, "go-on");
    const int unreadable = ::open("/", O_RDONLY | O_CLOEXEC);
    const int pipe = lowestFreeDescriptor();  // the stream will have this descriptor
    std::thread other([&] {
      readFile(started);
      ::dup2(unreadable, pipe);
      writeFile(goOn, "\n");
    });
    const std::string text = output("echo >" + started + "; read x <" + goOn + "; echo text");
    EXPECT_TRUE(text.empty() || text == "text\n") << text;
    other.join();
  });
}

TEST(ExecResult, KeepsItsPipeFromOtherChildren) {
  const TempDir directory;
  const std::string started = makeFifo(directory, "started");
  const std::string goOn = makeFifo(directory, "go-on");
  const int pipe = lowestFreeDescriptor();
  std::thread other([&] {
    readFile(started);
    EXPECT_EQ(1, runShell("test -e /proc/self/fd/" + std::to_string(pipe)));
    writeFile(goOn, "\n");
  });
  EXPECT_EQ("", output("echo >" + started + "; read x <" + goOn));
  other.join();
}

TEST(ExecResult, LeaksNoDescriptorAndNoChild) {
  runInChild([] {
    const std::size_t before = openDescriptors();
    output("echo x");
    output("exit 3");
    EXPECT_EQ(before, openDescriptors());
    EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
  });
}

TEST(Commands, FailOnACommandThatIsTooLongForTheShell) {
  runInChild([] {
    const std::string command = "exit 0 " + std::string(1 << 20, 'x');
    EXPECT_EQ(-1, VexaCommonUtils::system(command.c_str()));
    EXPECT_EQ(nullptr, VexaCommonUtils_i::pipeline_s(command.c_str()));
    EXPECT_EQ("", output(command));
  });
}

TEST(Commands, RunFromManyThreadsAtOnce) {
  inThreads(8, [](int thread) {
    const std::string code = std::to_string(10 + thread);
    for (int i = 0; i < 10; ++i) {
      EXPECT_EQ(10 + thread, runShell("exit " + code));
      EXPECT_EQ(code, output("printf " + code));
      const std::string line = "sh -c 'exit " + code + "'";
      EXPECT_EQ(10 + thread, VexaCommonUtils_i::runCommand(line.c_str(), true, false));
      EXPECT_EQ((10 + thread) << 8, VexaCommonUtils::system(("exit " + code).c_str()));
    }
  });
}
