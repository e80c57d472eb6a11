// A pool of workers that process messages concurrently and publish the results in message order.
// Usage: worker_pool [WORKERS [MESSAGES]]

#include <VexaLocks.h>
#include <ace/Message_Block.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

namespace {

/// Counts the primes below `number`, as work that takes longer for larger numbers.
int countPrimesBelow(int number) {
  int count = 0;
  for (int candidate = 2; candidate < number; ++candidate) {
    int divisor = 2;
    while (divisor * divisor <= candidate && candidate % divisor != 0) ++divisor;
    if (divisor * divisor > candidate) ++count;
  }
  return count;
}

int numberOf(const ACE_Message_Block& message) {
  int number = 0;
  std::memcpy(&number, message.rd_ptr(), sizeof number);
  return number;
}

void work(VexaToken_Message_Queue& queue, VexaToken& token) {
  for (bool stopped = false; !stopped;) {
    ACE_Message_Block* message = nullptr;
    // Dequeuing also reserves the worker's place in the token.
    if (queue.dequeue_head(message, nullptr) < 0) return;
    stopped = message->msg_type() == ACE_Message_Block::MB_STOP;
    const int number = stopped ? 0 : numberOf(*message);
    message->release();
    const int primes = countPrimesBelow(number % 100 * 100);  // concurrently with other workers

    // Every reservation must be used, even for an empty message: later ones wait for it.
    token.acquire(nullptr, nullptr, nullptr);
    if (!stopped) std::printf("message %d: %d primes\n", number, primes);
    token.release();
  }
}

void put(VexaToken_Message_Queue& queue, int number) {
  auto* message = new ACE_Message_Block(sizeof number);
  message->copy(reinterpret_cast<const char*>(&number), sizeof number);
  queue.enqueue_tail(message);
}

void putEnd(VexaToken_Message_Queue& queue) {
  auto* message = new ACE_Message_Block(sizeof(int), ACE_Message_Block::MB_STOP);
  queue.enqueue_tail(message);
}  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): the queue owns it

}  // namespace

int main(int argc, char** argv) {
  const int workers = argc > 1 ? std::max(1, std::atoi(argv[1])) : 4;
  const int messages = argc > 2 ? std::atoi(argv[2]) : 20;

  VexaToken token;
  VexaToken_Message_Queue queue;
  queue.setToken(&token);  // before any worker dequeues

  std::vector<std::thread> pool;
  pool.reserve(static_cast<std::size_t>(workers));
  for (int i = 0; i < workers; ++i) pool.emplace_back([&] { work(queue, token); });
  for (int number = 1; number <= messages; ++number) put(queue, number);
  // One stop message per worker, after all the work.
  for (int i = 0; i < workers; ++i) putEnd(queue);
  for (std::thread& worker : pool) worker.join();
  return 0;
}
