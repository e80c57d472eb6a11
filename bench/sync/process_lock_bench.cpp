// The process lock against its own system calls and against Boost's file lock.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/interprocess/sync/file_lock.hpp>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "VexaLocks.h"
#include "support/scratch.h"

namespace {

/// Creates a share directory with an empty lock directory.
class Share {
 public:
  Share() {
    std::filesystem::create_directory(m_scratch / "lock");
    ::setenv("_APP_SHARE_DIR", m_scratch.path().c_str(), 1);
  }
  std::string directory() const { return m_scratch / "lock/"; }
  std::string file() const { return directory() + "bench_PROCESSMUTEX"; }

 private:
  commutil_bench::Scratch m_scratch;
};

/// Another process that holds the lock for a scope.
class Holder {
 public:
  Holder() {
    int ready[2];
    if (::pipe(ready) != 0) std::abort();
    m_child = ::fork();
    if (m_child == 0) {
      VexaProcessLock lock("bench", "/lock/");
      const char result = lock.EnterProcessMutex() == 0 ? 'y' : 'n';
      if (::write(ready[1], &result, 1) != 1) ::_exit(1);
      for (;;) ::pause();
    }
    char result = 0;
    if (::read(ready[0], &result, 1) != 1 || result != 'y') std::abort();
    ::close(ready[0]);
    ::close(ready[1]);
  }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;
  ~Holder() {
    ::kill(m_child, SIGKILL);
    ::waitpid(m_child, nullptr, 0);
  }

 private:
  pid_t m_child;
};

int setRecordLock(int fd, short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return ::fcntl(fd, F_SETLK, &lock);
}

int openByHand(const std::string& directory, const std::string& file) {
  benchmark::DoNotOptimize(::access(directory.c_str(), F_OK));
  return ::open(file.c_str(), O_RDWR | O_CREAT, 0666);
}

void takeOurs(benchmark::State& state) {
  const Share share;
  VexaProcessLock lock("bench", "/lock/");
  for ([[maybe_unused]] auto _ : state) {
    if (lock.EnterProcessMutex() != 0 || lock.ExitProcessMutex() != 0) state.SkipWithError("lock");
  }
}

void takeByHand(benchmark::State& state) {
  const Share share;
  const std::string directory = share.directory();
  const std::string file = share.file();
  for ([[maybe_unused]] auto _ : state) {
    const int fd = openByHand(directory, file);
    if (setRecordLock(fd, F_WRLCK) != 0 || setRecordLock(fd, F_UNLCK) != 0 || ::close(fd) != 0) {
      state.SkipWithError("lock");
    }
  }
}

/// Boost needs an existing file; opening it is part of the work.
void takeBoost(benchmark::State& state) {
  const Share share;
  const std::string file = share.file();
  ::close(openByHand(share.directory(), file));
  for ([[maybe_unused]] auto _ : state) {
    boost::interprocess::file_lock lock(file.c_str());
    if (!lock.try_lock()) state.SkipWithError("lock");
    lock.unlock();
  }
}

void refusedOurs(benchmark::State& state) {
  const Share share;
  const Holder holder;
  VexaProcessLock lock("bench", "/lock/");
  for ([[maybe_unused]] auto _ : state) {
    if (lock.EnterProcessMutex() != -9) state.SkipWithError("lock");
  }
}

void refusedByHand(benchmark::State& state) {
  const Share share;
  const Holder holder;
  const std::string directory = share.directory();
  const std::string file = share.file();
  for ([[maybe_unused]] auto _ : state) {
    const int fd = openByHand(directory, file);
    if (setRecordLock(fd, F_WRLCK) == 0) state.SkipWithError("lock");
    ::close(fd);
  }
}

void refusedBoost(benchmark::State& state) {
  const Share share;
  const Holder holder;
  const std::string file = share.file();
  for ([[maybe_unused]] auto _ : state) {
    boost::interprocess::file_lock lock(file.c_str());
    if (lock.try_lock()) state.SkipWithError("lock");
  }
}

BENCHMARK(takeOurs)->Name("process_lock/enter_exit/ours");
BENCHMARK(takeOurs)->Name("process_lock/enter_exit/ours-again");
BENCHMARK(takeBoost)->Name("process_lock/enter_exit/boost_file_lock");
BENCHMARK(takeByHand)->Name("process_lock/enter_exit/calls:access+open+fcntl+close");
BENCHMARK(refusedOurs)->Name("process_lock/refused/ours");
BENCHMARK(refusedOurs)->Name("process_lock/refused/ours-again");
BENCHMARK(refusedBoost)->Name("process_lock/refused/boost_file_lock");
BENCHMARK(refusedByHand)->Name("process_lock/refused/calls:access+open+fcntl+close");

}  // namespace
