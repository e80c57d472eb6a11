// Threads work concurrently and report in the order in which they began.
#include <VexaLocks.h>

#include <cstdio>
#include <functional>
#include <future>
#include <thread>
#include <utility>
#include <vector>

namespace {

/// Reserves its place, fulfills `reserved`, works, and reports in its turn.
void doJob(VexaToken& token, std::promise<void> reserved, int number) {
  token.grab();
  token.letgo();
  reserved.set_value();
  // Work in any order here. Every reservation must be used, even after a failure: later ones wait.
  if (token.acquire(nullptr, nullptr, nullptr) != 0) return;
  std::printf("job %d\n", number);
  token.release();
}

}  // namespace

int main() {
  VexaToken token;
  std::vector<std::thread> threads;
  for (int number = 1; number <= 4; ++number) {
    // A reservation belongs to its thread: the next job starts when this one has reserved.
    std::promise<void> reserved;
    const std::future<void> done = reserved.get_future();
    threads.emplace_back(doJob, std::ref(token), std::move(reserved), number);
    done.wait();
  }
  for (std::thread& thread : threads) thread.join();

  // Without a reservation, acquire fails even if the token is free.
  std::printf("%d\n", token.acquire(nullptr, nullptr, nullptr));
}
