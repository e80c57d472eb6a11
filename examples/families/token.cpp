// Threads that work side by side and report in the order in which they began.
#include <VexaLocks.h>

#include <cstdio>
#include <functional>
#include <future>
#include <thread>
#include <utility>
#include <vector>

namespace {

/// One job: reserves its place in line, tells so, works, and reports when its turn comes.
void doJob(VexaToken& token, std::promise<void> reserved, int number) {
  token.grab();
  token.letgo();
  reserved.set_value();
  // Work in any order here. Whatever it comes to, the place must be used: others stand behind it.
  if (token.acquire(nullptr, nullptr, nullptr) != 0) return;
  std::printf("job %d\n", number);
  token.release();
}

}  // namespace

int main() {
  VexaToken token;
  std::vector<std::thread> threads;
  for (int number = 1; number <= 4; ++number) {
    // A place belongs to the thread that reserves it: the next job begins when this one has its
    // own.
    std::promise<void> reserved;
    const std::future<void> done = reserved.get_future();
    threads.emplace_back(doJob, std::ref(token), std::move(reserved), number);
    done.wait();
  }
  for (std::thread& thread : threads) thread.join();

  // Without a reservation there is no token, free as it may be.
  std::printf("%d\n", token.acquire(nullptr, nullptr, nullptr));
}
