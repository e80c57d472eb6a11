// The message queue with its token against ACE's queue with ACE's token around the ordered work.

#include <ace/Message_Block.h>
#include <ace/Message_Queue.h>
#include <ace/Token.h>
#include <benchmark/benchmark.h>

#include <cstddef>
#include <ctime>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "VexaLocks.h"
#include "support/cells.h"
#include "support/handover.h"

namespace {

constexpr std::size_t kWaterMark = std::size_t{1} << 30;
constexpr int kMessages = 50'000;

struct OurPool {
  OurPool() : queue(kWaterMark, kWaterMark) { queue.setToken(&token); }

  /// Takes a message and the token; returns whether there was a message.
  bool take() {
    ACE_Message_Block* message = nullptr;
    ACE_Time_Value now = ACE_Time_Value::zero;
    if (queue.dequeue_head(message, &now) < 0) return false;
    token.acquire(nullptr, nullptr, nullptr);
    message->release();
    return true;
  }

  VexaToken token;
  VexaToken_Message_Queue queue;
};

struct AcePool {
  AcePool() : queue(kWaterMark, kWaterMark) { token.queueing_strategy(ACE_Token::FIFO); }

  bool take() {
    ACE_Message_Block* message = nullptr;
    ACE_Time_Value now = ACE_Time_Value::zero;
    if (queue.dequeue_head(message, &now) < 0) return false;
    token.acquire();
    message->release();
    return true;
  }

  ACE_Token token;
  ACE_Message_Queue<ACE_MT_SYNCH> queue;
};

/// The calls that ours must make, with one thread.
struct CallsPool {
  CallsPool() : queue(kWaterMark, kWaterMark) {}

  bool take() {
    ACE_Message_Block* message = nullptr;
    ACE_Time_Value now = ACE_Time_Value::zero;
    if (queue.dequeue_head(message, &now) < 0) return false;
    token.acquire();
    message->release();
    return true;
  }

  commutil_bench::TokenCalls token;
  ACE_Message_Queue<ACE_MT_SYNCH> queue;
};

/// Returns how many messages this thread took.
template <class Pool>
int work(Pool& pool) {
  int taken = 0;
  for (; pool.take(); ++taken) pool.token.release();
  return taken;
}

/// Returns the seconds of a clock: of the thread's processor time if it is the only one, because
/// other work does not lengthen that.
double secondsNow(int threadCount) {
  timespec time{};
  ::clock_gettime(threadCount == 1 ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

template <class Pool>
void drain(benchmark::State& state, int threadCount) {
  for ([[maybe_unused]] auto _ : state) {
    Pool pool;
    for (int i = 0; i < kMessages; ++i) pool.queue.enqueue_tail(new ACE_Message_Block(64));
    std::latch ready(threadCount);  // a thread that starts late would get fewer messages
    std::vector<std::thread> threads;
    std::vector<int> taken(static_cast<std::size_t>(threadCount));
    for (std::size_t i = 1; i < taken.size(); ++i) {
      threads.emplace_back([&, i] {
        ready.arrive_and_wait();
        taken[i] = work(pool);
      });
    }
    ready.arrive_and_wait();
    const double start = secondsNow(threadCount);
    taken[0] = work(pool);
    for (std::thread& thread : threads) thread.join();
    state.SetIterationTime((secondsNow(threadCount) - start) / kMessages);
    if (threadCount > 1) state.counters["fairness"] = commutil_bench::fairness(taken);
  }
}

const bool kRegistered = [] {
  for (const int threads : {1, 2, 8}) {
    const std::string group = "token_queue_drain/" + std::to_string(threads) + "_threads/";
    const auto add = [&group](const char* who, auto run) {
      commutil_bench::add(group + who, run).UseManualTime().Iterations(1);
    };
    add("ours", [threads](benchmark::State& state) { drain<OurPool>(state, threads); });
    add("ace_queue_ace_token",
        [threads](benchmark::State& state) { drain<AcePool>(state, threads); });
    if (threads == 1) {
      add("calls:queue+token", [](benchmark::State& state) { drain<CallsPool>(state, 1); });
    }
  }
  return true;
}();

}  // namespace
