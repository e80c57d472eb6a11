// What linking the library costs a process: from its start to its exit, and in memory, against a
// program with ACE alone, one with a trivial library and one with none.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "support/cells.h"

namespace {

struct Memory {
  double residentKib = 0;
  double privateKib = 0;
};

/// Returns the memory that the process `pid` holds once its start is over and it waits.
Memory memoryOf(pid_t pid) {
  std::ifstream rollup("/proc/" + std::to_string(pid) + "/smaps_rollup");
  Memory memory;
  double kibibytes = 0;
  for (std::string word; rollup >> word;) {
    if (word == "Rss:" && rollup >> kibibytes) memory.residentKib = kibibytes;
    if (word.starts_with("Private_") && rollup >> kibibytes) memory.privateKib += kibibytes;
  }
  return memory;
}

/// Returns how many libraries the program at `path` loads.
double librariesOf(const char* path) {
  const std::string command = std::string("LD_TRACE_LOADED_OBJECTS=1 ") + path + " | grep -c '=>'";
  std::FILE* const stream = ::popen(command.c_str(), "r");
  std::array<char, 16> text{};
  if (stream == nullptr || std::fgets(text.data(), text.size(), stream) == nullptr) std::abort();
  ::pclose(stream);
  return std::atof(text.data());
}

pid_t start(const char* path, const char* argument, const posix_spawn_file_actions_t* actions) {
  std::string name = path;
  std::string word = argument != nullptr ? argument : "";
  char* words[] = {name.data(), argument != nullptr ? word.data() : nullptr, nullptr};
  pid_t child = -1;
  if (::posix_spawn(&child, path, actions, nullptr, words, environ) != 0) std::abort();
  return child;
}

Memory measureMemory(const char* path) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) std::abort();
  posix_spawn_file_actions_t actions{};
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
  ::posix_spawn_file_actions_addclose(&actions, ends[1]);
  const pid_t child = start(path, "wait", &actions);
  ::close(ends[0]);
  // It sleeps in read(2) once its start is over.
  std::string state;
  while (state != "S") {
    std::ifstream status("/proc/" + std::to_string(child) + "/stat");
    std::string skipped;
    status >> skipped >> skipped >> state;
  }
  const Memory memory = memoryOf(child);
  ::close(ends[1]);
  ::waitpid(child, nullptr, 0);
  ::posix_spawn_file_actions_destroy(&actions);
  return memory;
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/// The iteration's time is the processor time of the child, which other work does not lengthen.
void runToExit(benchmark::State& state, const char* path) {
  rusage usage{};
  for ([[maybe_unused]] auto _ : state) {
    int status = -1;
    const pid_t child = start(path, nullptr, nullptr);
    if (::wait4(child, &status, 0, &usage) != child || status != 0) state.SkipWithError("exit");
    state.SetIterationTime(seconds(usage.ru_utime) + seconds(usage.ru_stime));
  }
  const Memory memory = measureMemory(path);
  state.counters["minor_faults"] = static_cast<double>(usage.ru_minflt);
  state.counters["libraries"] = librariesOf(path);
  state.counters["resident_kib"] = memory.residentKib;
  state.counters["private_kib"] = memory.privateKib;
}

const bool kRegistered = [] {
  const auto add = [](const std::string& who, const char* path) {
    const auto run = [path](benchmark::State& state) { runToExit(state, path); };
    commutil_bench::add("startup/run_to_exit/" + who, run).UseRealTime();
    commutil_bench::add("startup/processor_time/" + who, run).UseManualTime();
  };
  add("ours", START_COMMUTIL);
  add("ace", START_ACE);
  add("trivial_library", START_TRIVIAL_LIBRARY);
  add("limit:trivial_program", START_TRIVIAL);
  return true;
}();

}  // namespace
