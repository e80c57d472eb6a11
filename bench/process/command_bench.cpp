// Commands against posix_spawn, popen and ACE used directly, and against the bare system calls. The
// program ends at once, so that only starting it is measured. "0GiB" and "1GiB" are the resident
// memory of the calling process.

#include <ace/OS_NS_fcntl.h>
#include <ace/OS_NS_unistd.h>
#include <ace/Process.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/cells.h"

namespace {

constexpr const char* kProgram = "/bin/true";
constexpr const char* kSmall = "echo a line of text";
constexpr const char* kLarge = "exec head -c 1048576 /usr/lib/x86_64-linux-gnu/libc.a";
constexpr const char* kLargeText = "yes 'a line of text' | head -c 1048576";
constexpr std::size_t kGiB = 1UL << 30;

/// Keeps memory resident for a scope.
class Resident {
 public:
  explicit Resident(std::size_t size) : m_size(size) {
    if (m_size == 0) return;
    m_memory = ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    std::memset(m_memory, 1, m_size);
  }
  ~Resident() {
    if (m_size != 0) ::munmap(m_memory, m_size);
  }
  Resident(const Resident&) = delete;
  Resident& operator=(const Resident&) = delete;

 private:
  std::size_t m_size;
  void* m_memory = nullptr;
};

/// Runs `work` as a benchmark in a process of the given size.
template <class Work>
void measure(benchmark::State& state, std::size_t resident, Work work) {
  const Resident memory(resident);
  for (auto _ : state) {
    if (!work()) state.SkipWithError("the command failed");
  }
}

// A program run by its argument vector

char programName[] = "true";
char* programArguments[] = {programName, nullptr};

bool reap(pid_t child) {
  int status = -1;
  return ::waitpid(child, &status, 0) == child && status == 0;
}

bool runProgram() { return VexaCommonUtils_i::runCommand(kProgram, programArguments) == 0; }

bool spawnProgram() {
  pid_t child = -1;
  return ::posix_spawn(&child, kProgram, nullptr, nullptr, programArguments, environ) == 0 &&
         reap(child);
}

bool vforkProgram() {
  // NOLINTNEXTLINE(clang-analyzer-security.insecureAPI.vfork): the floor
  const pid_t child = ::vfork();
  if (child == 0) {
    ::execv(kProgram, programArguments);
    ::_exit(1);
  }
  return reap(child);
}

// A command line without a shell

bool runLine(bool inheritHandles) {
  return VexaCommonUtils_i::runCommand(kProgram, true, inheritHandles) == 0;
}

bool runLineByAce(bool inheritHandles) {
  ACE_Process_Options options(true, 4096, 16384, 512, 128);
  options.command_line("%s", kProgram);
  options.handle_inheritance(inheritHandles ? 1 : 0);
  const ACE_HANDLE null = ACE_OS::open("/dev/null", O_RDWR, 0644);
  options.set_handles(null, null, null);
  ACE_Process process;
  const pid_t child = process.spawn(options);
  ACE_OS::close(null);
  return reap(child);
}

// A shell command

bool runShell() { return VexaCommonUtils::system("exit 0") == 0; }

bool runShellByPopen() {
  std::FILE* const stream = ::popen("exit 0", "w");
  return stream != nullptr && ::pclose(stream) == 0;
}

// A shell command's output

bool capture(const char* command) {
  std::string text;
  return VexaCommonUtils_i::getSystemExecResult(command, text) == 0;
}

bool captureByFread(const char* command) {
  std::FILE* const stream = ::popen(command, "r");
  std::string text;
  static std::array<char, 65536> block;
  std::size_t count = 0;
  while ((count = std::fread(block.data(), 1, block.size(), stream)) > 0) {
    text.append(block.data(), count);
  }
  ::pclose(stream);
  return !text.empty();
}

bool captureByFgets(const char* command) {
  std::FILE* const stream = ::popen(command, "r");
  std::string text;
  std::array<char, 129> line{};
  while (std::feof(stream) == 0) {
    if (std::fgets(line.data(), 128, stream) != nullptr) text += line.data();
  }
  ::pclose(stream);
  return !text.empty();
}

/// Only the system calls.
bool captureByRead(const char* command) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return false;
  // NOLINTNEXTLINE(clang-analyzer-security.insecureAPI.vfork): the floor
  const pid_t child = ::vfork();
  if (child == 0) {
    ::dup2(ends[1], 1);  // NOLINT(clang-analyzer-unix.Vfork): async-signal-safe
    ::execl("/bin/sh", "sh", "-c", command, nullptr);
    ::_exit(1);
  }
  ::close(ends[1]);
  std::string text;
  static std::array<char, 65536> block;
  ssize_t count = 0;
  while ((count = ::read(ends[0], block.data(), block.size())) > 0) {
    text.append(block.data(), static_cast<std::size_t>(count));
  }
  ::close(ends[0]);
  ::waitpid(child, nullptr, 0);
  return !text.empty();
}

template <class Work>
void add(const std::string& name, Work work, std::size_t resident = 0) {
  commutil_bench::add(name, [work, resident](benchmark::State& state) {
    measure(state, resident, work);
  }).UseRealTime();
}

void addPrograms(const std::string& size, std::size_t resident) {
  add("runProgram/" + size + "/ours", runProgram, resident);
  add("runProgram/" + size + "/posix_spawn", spawnProgram, resident);
  add("runProgram/" + size + "/limit:vfork", vforkProgram, resident);
}

void addLines(const std::string& size, bool inheritHandles, std::size_t resident) {
  const auto ours = [inheritHandles] { return runLine(inheritHandles); };
  const auto ace = [inheritHandles] { return runLineByAce(inheritHandles); };
  add("runCommandLine/" + size + "/ours", ours, resident);
  add("runCommandLine/" + size + "/ACE_Process", ace, resident);
}

void addCaptures(const std::string& size, const char* command) {
  const auto with = [command](bool (*run)(const char*)) { return [=] { return run(command); }; };
  add("getSystemExecResult/" + size + "/ours", with(capture));
  add("getSystemExecResult/" + size + "/fread", with(captureByFread));
  add("getSystemExecResult/" + size + "/limit:read", with(captureByRead));
  add("getSystemExecResultWording/" + size + "/ours", with(capture));
  add("getSystemExecResultWording/" + size + "/fgets", with(captureByFgets));
}

const bool kRegistered = [] {
  addPrograms("0GiB", 0);
  addPrograms("1GiB", kGiB);
  addLines("0GiB-handles", true, 0);
  addLines("0GiB-no-handles", false, 0);
  addLines("1GiB-handles", true, kGiB);
  add("system/0GiB/ours", runShell);
  add("system/0GiB/popen", runShellByPopen);
  addCaptures("20B", kSmall);
  addCaptures("1MiB-text", kLargeText);
  addCaptures("1MiB-bytes", kLarge);
  return true;
}();

}  // namespace
