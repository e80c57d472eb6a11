#include <ace/Message_Block.h>
#include <ace/Notification_Strategy.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <future>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "VexaLocks.h"
#include "sync/entry_heap.h"
#include "sync/lock_fields.h"
#include "sync/token_probe.h"

namespace {

using commutil_test::awaitFutexWait;
using commutil_test::deadline;
using commutil_test::expectFree;
using commutil_test::fieldsOf;
using commutil_test::t_heapFails;
using commutil_test::useCheckedMutex;

using Base = ACE_Message_Queue<ACE_MT_SYNCH>;
static_assert(std::is_base_of_v<Base, VexaToken_Message_Queue>);
static_assert(sizeof(VexaToken_Message_Queue) == sizeof(Base) + sizeof(void*));

std::unique_ptr<ACE_Message_Block, void (*)(ACE_Message_Block*)> owned(ACE_Message_Block* message) {
  return {message, [](ACE_Message_Block* block) { block->release(); }};
}

/// A message that carries a number.
ACE_Message_Block* makeMessage(int number, std::size_t size = 64) {
  auto* message = new ACE_Message_Block(size);
  message->copy(reinterpret_cast<const char*>(&number), sizeof number);
  return message;
}

/// Returns the number, and releases the message.
int consume(ACE_Message_Block* message) {
  int number = -1;
  if (message == nullptr) return number;
  std::memcpy(&number, message->rd_ptr(), sizeof number);
  message->release();
  return number;
}

class TokenMessageQueue : public ::testing::Test {
 protected:
  TokenMessageQueue() { m_queue.setToken(&m_token); }

  void put(std::initializer_list<int> numbers) {
    for (const int number : numbers) ASSERT_NE(-1, m_queue.enqueue_tail(makeMessage(number)));
  }
  /// Expects no reservation.
  void expectNoReservation() {
    EXPECT_EQ(0, fieldsOf(m_token).waiterCount);
    EXPECT_EQ(-1, m_token.acquire(nullptr, nullptr, nullptr));
  }

  VexaToken m_token;
  VexaToken_Message_Queue m_queue;
  ACE_Message_Block* m_message = nullptr;
};

TEST_F(TokenMessageQueue, IsConstructedLikeItsBase) {
  VexaToken_Message_Queue plain;
  EXPECT_EQ(16U * 1024, plain.high_water_mark());
  EXPECT_EQ(16U * 1024, plain.low_water_mark());
  EXPECT_EQ(nullptr, plain.notification_strategy());
  EXPECT_EQ(ACE_Message_Queue_Base::ACTIVATED, plain.state());
  EXPECT_TRUE(plain.is_empty());
  VexaToken_Message_Queue marked(100, 50, nullptr);
  EXPECT_EQ(100U, marked.high_water_mark());
  EXPECT_EQ(50U, marked.low_water_mark());
}

TEST_F(TokenMessageQueue, DequeueCountsTheRestAndReserves) {
  put({1, 2, 3});
  for (const int left : {2, 1, 0}) {
    EXPECT_EQ(left, m_queue.dequeue_head(m_message, nullptr));
    EXPECT_EQ(3 - left, consume(m_message));
    EXPECT_EQ(1, fieldsOf(m_token).waiterCount);
    EXPECT_EQ(0, m_token.acquire(nullptr, nullptr, nullptr));
    EXPECT_EQ(0, m_token.release());
    expectNoReservation();
  }
}

TEST_F(TokenMessageQueue, DequeueThroughTheBaseReservesToo) {
  put({1, 2});
  Base& base = m_queue;
  EXPECT_EQ(1, base.dequeue_head(m_message, nullptr));
  EXPECT_EQ(1, consume(m_message));
  EXPECT_EQ(0, m_token.acquire(nullptr, nullptr, nullptr));
  m_token.release();
  EXPECT_EQ(0, base.dequeue(m_message, nullptr));  // the base's other name
  EXPECT_EQ(2, consume(m_message));
  EXPECT_EQ(0, m_token.acquire(nullptr, nullptr, nullptr));
  m_token.release();
  expectNoReservation();
}

TEST_F(TokenMessageQueue, ReservesUnderTheQueuesMutex) {
  put({1});
  ASSERT_EQ(0, m_token.grab());  // holds the token's mutex
  std::promise<pid_t> thread;
  auto dequeued = std::async(std::launch::async, [this, &thread] {
    thread.set_value(::gettid());
    const int left = m_queue.dequeue_head(m_message, nullptr);
    const int taken = m_token.acquire(nullptr, nullptr, nullptr);
    if (taken == 0) m_token.release();
    return std::pair(left, taken);
  });
  awaitFutexWait(thread.get_future().get(), &fieldsOf(m_token).lock.lock());
  EXPECT_EQ(-1, m_queue.lock().tryacquire());
  EXPECT_EQ(0, m_token.letgo());
  EXPECT_EQ(0, m_token.acquire(nullptr, nullptr, nullptr)) << "reserved first";
  m_token.release();
  EXPECT_EQ(std::pair(0, 0), dequeued.get());
  EXPECT_EQ(1, consume(m_message));
}

TEST_F(TokenMessageQueue, OnlyTheHeadReserves) {
  put({1, 2, 3});
  EXPECT_EQ(3, m_queue.peek_dequeue_head(m_message, nullptr));
  EXPECT_EQ(2, m_queue.dequeue_tail(m_message, nullptr));
  EXPECT_EQ(3, consume(m_message));
  EXPECT_EQ(1, m_queue.dequeue_prio(m_message, nullptr));
  EXPECT_EQ(1, consume(m_message));
  expectNoReservation();
}

TEST_F(TokenMessageQueue, PassedDeadlineMakesNoReservation) {
  for (const long wait : {-1'000'000L, 0L, 20'000L}) {
    SCOPED_TRACE(wait);
    ACE_Time_Value until = deadline(wait);
    ACE_Message_Block* const junk = reinterpret_cast<ACE_Message_Block*>(8);
    m_message = junk;
    errno = 0;
    EXPECT_EQ(-1, m_queue.dequeue_head(m_message, &until));
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(junk, m_message);
    EXPECT_GE(ACE_OS::gettimeofday(), until);
    expectNoReservation();
  }
}

TEST_F(TokenMessageQueue, PassedDeadlineDoesNotMatterWithAMessage) {
  put({1});
  ACE_Time_Value past = deadline(-1);
  EXPECT_EQ(0, m_queue.dequeue_head(m_message, &past));
  EXPECT_EQ(1, consume(m_message));
  EXPECT_EQ(0, m_token.acquire(nullptr, nullptr, nullptr));
  m_token.release();
}

TEST_F(TokenMessageQueue, FailedWaitKeepsItsError) {
  ACE_Time_Value invalid = deadline(1'000'000);
  invalid.usec(2'000'000);
  EXPECT_EQ(-1, m_queue.dequeue_head(m_message, &invalid));
  EXPECT_EQ(EINVAL, errno);
  expectNoReservation();
  EXPECT_EQ(0, m_queue.lock().tryacquire());
  m_queue.lock().release();
}

TEST_F(TokenMessageQueue, DeactivatedQueueRefusesEvenItsMessages) {
  put({1});
  m_queue.deactivate();
  errno = 0;
  EXPECT_EQ(-1, m_queue.dequeue_head(m_message, nullptr));
  EXPECT_EQ(ESHUTDOWN, errno);
  EXPECT_EQ(nullptr, m_message);
  expectNoReservation();
  m_queue.activate();
  EXPECT_EQ(0, m_queue.dequeue_head(m_message, nullptr));
  EXPECT_EQ(1, consume(m_message));
  EXPECT_EQ(0, m_token.acquire(nullptr, nullptr, nullptr));
  m_token.release();
}

TEST_F(TokenMessageQueue, PulsedQueueReturnsItsMessages) {
  put({1});
  m_queue.pulse();
  EXPECT_EQ(0, m_queue.dequeue_head(m_message, nullptr));
  EXPECT_EQ(1, consume(m_message));
  EXPECT_EQ(0, m_token.acquire(nullptr, nullptr, nullptr));
  m_token.release();
}

/// A queue that signals when a thread is about to wait in it, with its mutex locked.
class WatchedQueue : public VexaToken_Message_Queue {
 public:
  std::promise<void> waits;
  int mutexTried = 0;

 protected:
  int wait_not_empty_cond(ACE_Time_Value* timeout) override {
    mutexTried = lock_.tryacquire();
    waits.set_value();
    return VexaToken_Message_Queue::wait_not_empty_cond(timeout);
  }
};

TEST_F(TokenMessageQueue, WaiterIsWokenByDeactivationAndPulse) {
  for (const bool pulses : {false, true}) {
    SCOPED_TRACE(pulses);
    WatchedQueue queue;
    queue.setToken(&m_token);
    auto waiter = std::async(std::launch::async, [&] {
      ACE_Message_Block* message = nullptr;
      errno = 0;
      EXPECT_EQ(-1, queue.dequeue_head(message, nullptr));
      EXPECT_EQ(nullptr, message);
      return errno;
    });
    queue.waits.get_future().wait();
    pulses ? queue.pulse() : queue.deactivate();  // locks: the waiter sleeps by then
    EXPECT_EQ(ESHUTDOWN, waiter.get());
    EXPECT_EQ(-1, queue.mutexTried);
    expectNoReservation();
  }
}

TEST_F(TokenMessageQueue, WaiterIsWokenByAMessage) {
  WatchedQueue queue;
  queue.setToken(&m_token);
  auto waiter = std::async(std::launch::async, [&] {
    ACE_Message_Block* message = nullptr;
    EXPECT_EQ(0, queue.dequeue_head(message, nullptr));
    EXPECT_EQ(0, m_token.acquire(nullptr, nullptr, nullptr));
    m_token.release();
    return consume(message);
  });
  queue.waits.get_future().wait();
  queue.enqueue_tail(makeMessage(7));
  EXPECT_EQ(7, waiter.get());
  expectNoReservation();
}

/// A queue with its own wait for a message.
class OwnWaitQueue : public VexaToken_Message_Queue {
 public:
  int result = 0;

 protected:
  int wait_not_empty_cond(ACE_Time_Value*) override {
    errno = EDOM;
    return result;
  }
};

TEST_F(TokenMessageQueue, WaitOfASubclassIsCalled) {
  OwnWaitQueue queue;
  queue.setToken(&m_token);
  queue.enqueue_tail(makeMessage(1));
  queue.result = -1;
  EXPECT_EQ(-1, queue.dequeue_head(m_message, nullptr));
  EXPECT_EQ(EDOM, errno);
  expectNoReservation();
  queue.result = 0;
  EXPECT_EQ(0, queue.dequeue_head(m_message, nullptr));
  EXPECT_EQ(1, consume(m_message));
  EXPECT_EQ(0, m_token.acquire(nullptr, nullptr, nullptr));
  m_token.release();
}

/// A queue whose dequeue step fails after it has taken the message.
class FailingStepQueue : public VexaToken_Message_Queue {
 protected:
  int dequeue_head_i(ACE_Message_Block*& first_item) override {
    VexaToken_Message_Queue::dequeue_head_i(first_item);
    return -1;
  }
};

TEST_F(TokenMessageQueue, FailedDequeueStepMakesNoReservation) {
  FailingStepQueue queue;
  queue.setToken(&m_token);
  queue.enqueue_tail(makeMessage(1));
  EXPECT_EQ(-1, queue.dequeue_head(m_message, nullptr));
  EXPECT_EQ(1, consume(m_message));
  expectNoReservation();
}

TEST_F(TokenMessageQueue, WithoutATokenTheMessageIsHandedOutWithAFailure) {
  VexaToken_Message_Queue queue;
  for (const bool unset : {false, true}) {
    SCOPED_TRACE(unset);
    if (unset) {
      EXPECT_EQ(0, queue.setToken(&m_token));
      EXPECT_EQ(0, queue.setToken(nullptr));
    }
    queue.enqueue_tail(makeMessage(5));
    EXPECT_EQ(-1, queue.dequeue_head(m_message, nullptr));
    EXPECT_EQ(5, consume(m_message));
    EXPECT_TRUE(queue.is_empty());
    expectNoReservation();
  }
}

TEST_F(TokenMessageQueue, FailedLockingFails) {
  put({1});
  useCheckedMutex(m_queue.lock());
  ASSERT_EQ(0, m_queue.lock().acquire());  // locking it again fails
  EXPECT_EQ(-1, m_queue.dequeue_head(m_message, nullptr));
  EXPECT_EQ(0, m_queue.lock().release());
  EXPECT_EQ(nullptr, m_message);
  EXPECT_EQ(1U, m_queue.message_count());
  expectNoReservation();
}

TEST_F(TokenMessageQueue, WithoutMemoryTheMessageIsTheCallersAndTheMutexFree) {
  put({3});
  t_heapFails = true;
  EXPECT_THROW(m_queue.dequeue_head(m_message, nullptr), std::bad_alloc);
  t_heapFails = false;
  EXPECT_EQ(3, consume(m_message));
  EXPECT_TRUE(m_queue.is_empty());
  expectFree(m_token);
}

/// A queue that signals when a producer finds it full.
class FullQueue : public VexaToken_Message_Queue {
 public:
  FullQueue() : VexaToken_Message_Queue(300, 100) {}

  std::promise<void> waits;

 protected:
  int wait_not_full_cond(ACE_Time_Value* timeout) override {
    if (is_full_i() && timeout == nullptr) waits.set_value();
    return VexaToken_Message_Queue::wait_not_full_cond(timeout);
  }
};

TEST_F(TokenMessageQueue, ProducerWaitsFromTheHighWaterMarkToTheLowOne) {
  FullQueue queue;
  queue.setToken(&m_token);
  for (const int number : {1, 2, 3}) {
    EXPECT_EQ(number, queue.enqueue_tail(makeMessage(number, 100)));
  }
  ACE_Time_Value past = deadline(-1);
  const auto refused = owned(makeMessage(4, 100));
  EXPECT_EQ(-1, queue.enqueue_tail(refused.get(), &past));
  EXPECT_EQ(EWOULDBLOCK, errno);
  std::thread producer([&] { EXPECT_EQ(2, queue.enqueue_tail(makeMessage(5, 100))); });
  queue.waits.get_future().wait();
  for (const int left : {2, 1}) {
    EXPECT_EQ(left, queue.dequeue_head(m_message, nullptr));
    EXPECT_EQ(3 - left, consume(m_message));
    EXPECT_EQ(0, m_token.acquire(nullptr, nullptr, nullptr));
    m_token.release();
  }
  producer.join();
  EXPECT_EQ(200U, queue.message_bytes());
}

/// Counts the notifications of enqueuing.
class Counter : public ACE_Notification_Strategy {
 public:
  Counter() : ACE_Notification_Strategy(nullptr, 0) {}
  int notify() override { return ++calls; }
  int notify(ACE_Event_Handler*, ACE_Reactor_Mask) override { return ++calls; }

  int calls = 0;
};

TEST_F(TokenMessageQueue, NotifiesItsStrategyOfEveryMessage) {
  Counter counter;
  VexaToken_Message_Queue queue(1024, 1024, &counter);
  queue.setToken(&m_token);
  EXPECT_EQ(&counter, queue.notification_strategy());
  queue.enqueue_tail(makeMessage(1));
  queue.enqueue_tail(makeMessage(2));
  EXPECT_EQ(2, counter.calls);
}

/// A message that signals when it is released.
class CountedMessage : public ACE_Message_Block {
 public:
  explicit CountedMessage(int& released) : ACE_Message_Block(16), m_released(released) {}
  ~CountedMessage() override { ++m_released; }

 private:
  int& m_released;
};

TEST_F(TokenMessageQueue, DestructionReleasesMessagesAndLeavesTheToken) {
  int released = 0;
  std::unique_ptr<Base> queue = std::make_unique<VexaToken_Message_Queue>();
  static_cast<VexaToken_Message_Queue&>(*queue).setToken(&m_token);
  for (int i = 0; i < 3; ++i) queue->enqueue_tail(new CountedMessage(released));
  EXPECT_EQ(2, queue->dequeue_head(m_message, nullptr));
  queue.reset();
  EXPECT_EQ(2, released);
  m_message->release();
  EXPECT_EQ(1, fieldsOf(m_token).waiterCount);
  EXPECT_EQ(0, m_token.acquire(nullptr, nullptr, nullptr));
  m_token.release();
  expectFree(m_token);
}

TEST_F(TokenMessageQueue, WorkersGetTheTokenInTheOrderOfTheirMessages) {
  std::array<std::size_t, 3> order{0, 1, 2};
  do {
    SCOPED_TRACE(std::to_string(order[0]) + std::to_string(order[1]) + std::to_string(order[2]));
    put({0, 1, 2});
    std::array<std::promise<void>, 3> taken;
    std::array<std::promise<void>, 3> go;
    std::vector<int> done;
    std::vector<std::thread> workers;
    for (std::size_t i = 0; i < 3; ++i) {
      workers.emplace_back([&, i] {
        ACE_Message_Block* message = nullptr;
        EXPECT_LE(0, m_queue.dequeue_head(message, nullptr));
        taken[i].set_value();
        go[i].get_future().wait();
        EXPECT_EQ(0, m_token.acquire(nullptr, nullptr, nullptr));
        done.push_back(consume(message));
        m_token.release();
      });
      taken[i].get_future().wait();
    }
    for (const std::size_t index : order) go[index].set_value();
    for (std::thread& worker : workers) worker.join();
    EXPECT_EQ((std::vector<int>{0, 1, 2}), done);
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(TokenMessageQueue, CrowdWorksInTheOrderOfTheQueue) {
  constexpr int kWorkers = 64;
  constexpr int kMessages = 20'000;
  VexaToken_Message_Queue queue(64 * 100, 64 * 50);  // the producer sometimes waits
  queue.setToken(&m_token);
  std::vector<int> done;
  std::vector<std::thread> workers;
  workers.reserve(kWorkers);
  for (int i = 0; i < kWorkers; ++i) {
    workers.emplace_back([&] {
      ACE_Message_Block* message = nullptr;
      while (queue.dequeue_head(message, nullptr) >= 0) {
        EXPECT_LE(0, m_token.acquire(nullptr, nullptr, nullptr));
        done.push_back(consume(message));  // no lock but the token
        m_token.release();
      }
      EXPECT_EQ(ESHUTDOWN, errno);
    });
  }
  for (int number = 0; number < kMessages; ++number) queue.enqueue_tail(makeMessage(number));
  while (!queue.is_empty()) std::this_thread::yield();
  queue.deactivate();
  for (std::thread& worker : workers) worker.join();
  ASSERT_EQ(static_cast<std::size_t>(kMessages), done.size());
  EXPECT_TRUE(std::is_sorted(done.begin(), done.end()));
  expectFree(m_token);
}

}  // namespace
