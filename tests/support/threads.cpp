#include "support/threads.h"

#include <atomic>
#include <thread>
#include <vector>

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

}  // namespace commutil_test
