#include "support/threads.h"

#include <sys/syscall.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/fixtures.h"

namespace commutil_test {

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

void awaitLockWait(pid_t thread) {
  constexpr int kEnough = 20;  // a lock that is held for a moment is over by then
  const std::string path = "/proc/self/task/" + std::to_string(thread) + "/syscall";
  std::string before;
  for (int seen = 0; seen < kEnough;) {
    const std::string now = readFile(path);
    const bool waits = now.rfind(std::to_string(SYS_futex) + " ", 0) == 0;
    seen = waits && now == before ? seen + 1 : 0;
    before = now;
    std::this_thread::yield();
  }
}

}  // namespace commutil_test
