// The token against ACE's: uncontended, and passed among threads that always wait for it.

#include <ace/Token.h>
#include <benchmark/benchmark.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "VexaLocks.h"
#include "support/cells.h"
#include "support/handover.h"

namespace {

constexpr int kHandOvers = 20'000;

struct OurToken {
  void acquire() {
    token.grab();
    token.letgo();
    token.acquire(nullptr, nullptr, nullptr);
  }
  void release() { token.release(); }

  VexaToken token;
};

struct AceToken {
  AceToken() { token.queueing_strategy(ACE_Token::FIFO); }
  void acquire() { token.acquire(); }
  void release() { token.release(); }

  ACE_Token token;
};

template <class Token>
void takeAlone(benchmark::State& state) {
  Token token;
  for ([[maybe_unused]] auto _ : state) {
    token.acquire();
    token.release();
  }
}

/// Two atomic exchanges, the least that a lock needs.
void exchangePair(benchmark::State& state) {
  std::atomic<std::uint32_t> word{0};
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(word.exchange(1, std::memory_order_acquire));
    benchmark::DoNotOptimize(word.exchange(0, std::memory_order_release));
  }
}

/// All threads queue before the first release, so that the queue is never empty.
template <class Token>
void handRound(benchmark::State& state, int threadCount) {
  for ([[maybe_unused]] auto _ : state) {
    Token token;
    token.acquire();
    std::atomic<int> started{0};
    std::vector<int> turns(static_cast<std::size_t>(threadCount));
    std::vector<int> turnsOfFirstEnd;
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(threadCount));
    for (int i = 0; i < threadCount; ++i) {
      threads.emplace_back([&, i] {
        ++started;
        for (int turn = 0; turn < kHandOvers / threadCount; ++turn) {
          token.acquire();
          ++turns[static_cast<std::size_t>(i)];
          const bool isLast = turn + 1 == kHandOvers / threadCount;
          if (isLast && turnsOfFirstEnd.empty()) turnsOfFirstEnd = turns;
          token.release();
        }
      });
    }
    while (started < threadCount) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const auto start = std::chrono::steady_clock::now();
    token.release();
    for (std::thread& thread : threads) thread.join();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(took.count() / kHandOvers);
    state.counters["fairness"] = commutil_bench::fairness(turnsOfFirstEnd);
  }
}

void futexCall(std::atomic<std::uint32_t>& word, int operation, std::uint32_t value) {
  ::syscall(SYS_futex, &word, operation, value, nullptr, nullptr, 0);
}

/// Two threads that wake each other: one wake and one wait per release.
void futexPingPong(benchmark::State& state) {
  const auto play = [](std::atomic<std::uint32_t>& word, std::uint32_t side) {
    for (int turn = 0; turn < kHandOvers / 2; ++turn) {
      while (word.load() != side) futexCall(word, FUTEX_WAIT_PRIVATE, 1 - side);
      word.store(1 - side);
      futexCall(word, FUTEX_WAKE_PRIVATE, 1);
    }
  };
  for ([[maybe_unused]] auto _ : state) {
    std::atomic<std::uint32_t> word{0};
    const auto start = std::chrono::steady_clock::now();
    std::thread other(play, std::ref(word), 1U);
    play(word, 0U);
    other.join();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(took.count() / kHandOvers);
  }
}

const bool kRegistered = [] {
  commutil_bench::add("token_take/alone/ours", takeAlone<OurToken>);
  commutil_bench::add("token_take/alone/ace_token", takeAlone<AceToken>);
  commutil_bench::add("token_take/alone/calls:3_mutex_pairs+entry",
                      takeAlone<commutil_bench::TokenCalls>);
  commutil_bench::add("token_take/alone/limit:exchange_pair", exchangePair);
  for (const int threads : {8, 64}) {
    const std::string group = "token_hand_over/" + std::to_string(threads) + "_threads/";
    const auto add = [&group](const char* who, auto run) {
      commutil_bench::add(group + who, run).UseManualTime().Iterations(1);
    };
    add("ours", [threads](benchmark::State& state) { handRound<OurToken>(state, threads); });
    add("ace_token", [threads](benchmark::State& state) { handRound<AceToken>(state, threads); });
    add("limit:futex_ping_pong", futexPingPong);
  }
  return true;
}();

}  // namespace
