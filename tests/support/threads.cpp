#include "support/threads.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

namespace commutil_test {
namespace {

/// Reads the start of a small file without a stdio stream: a flush of all streams may wait
/// permanently.
std::string startOf(const std::string& path) {
  std::array<char, 256> text{};
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t count = ::read(fd, text.data(), text.size());
  ::close(fd);
  return {text.data(), count < 0 ? 0 : static_cast<std::size_t>(count)};
}

}  // namespace

void inThreads(int count, const std::function<void(int)>& body) {
  std::atomic<int> waiting{0};
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      for (++waiting; waiting < count;) std::this_thread::yield();
      body(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

void awaitLockWait(pid_t thread) { awaitSystemCall(thread, {SYS_futex}); }

void awaitSystemCall(pid_t thread, std::initializer_list<long> numbers) {
  constexpr int kEnough = 20;  // a short call is over by then
  const std::string path = "/proc/self/task/" + std::to_string(thread) + "/syscall";
  std::string before;
  for (int seen = 0; seen < kEnough;) {
    const std::string now = startOf(path);
    if (now.empty()) return;
    const bool inside = std::any_of(numbers.begin(), numbers.end(), [&now](long number) {
      return now.rfind(std::to_string(number) + " ", 0) == 0;
    });
    seen = inside && now == before ? seen + 1 : 0;
    before = now;
    std::this_thread::yield();
  }
}

WatchedThread::WatchedThread(const std::function<void()>& body)
    : m_thread([this, body] {
        m_id = ::gettid();
        body();
      }) {
  while (m_id == 0) std::this_thread::yield();
}

WatchedThread::~WatchedThread() { join(); }

void WatchedThread::join() {
  if (m_thread.joinable()) m_thread.join();
}

void WatchedThread::signal(int number) { ::pthread_kill(m_thread.native_handle(), number); }

void WatchedThread::cancel() {
  ::pthread_cancel(m_thread.native_handle());
  join();
}

}  // namespace commutil_test
