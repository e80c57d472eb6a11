#include "VexaLocks.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <future>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/fixtures.h"
#include "sync/entry_heap.h"
#include "sync/lock_fields.h"
#include "sync/token_probe.h"

namespace {

using commutil_test::awaitFutexWait;
using commutil_test::awaitSleepOf;
using commutil_test::deadline;
using commutil_test::expectFree;
using commutil_test::fieldsOf;
using commutil_test::reserve;
using commutil_test::t_entries;
using commutil_test::t_heapFails;
using commutil_test::useCheckedMutex;
using Entry = VexaToken::ACE_Token_Queue_Entry;
using commutil_test::runableOfHead;
using commutil_test::runInChild;

static_assert(!std::is_polymorphic_v<VexaToken>);

void countCall(void* calls) { ++*static_cast<int*>(calls); }

/// A thread that reserves, and acquires on request.
class Worker {
 public:
  explicit Worker(VexaToken& token, bool hooked = true) : m_token(token), m_hooked(hooked) {
    m_thread = std::thread([this] { run(); });
    m_reserved.get_future().wait();
  }
  ~Worker() {
    if (m_thread.joinable()) m_thread.join();
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  /// Lets the thread call acquire, and returns when it is under the token's mutex.
  void start(ACE_Time_Value* timeout = nullptr) {
    m_timeout = timeout;
    m_go.set_value();
    if (m_hooked) m_hook.get_future().wait();
  }
  /// The same, and returns when it sleeps.
  void startAndSleep(ACE_Time_Value* timeout = nullptr) {
    start(timeout);
    awaitSleepOf(m_token);
  }
  bool isDone() const { return m_done; }
  /// Waits for acquire; returns its result.
  int result() {
    if (m_thread.joinable()) m_thread.join();
    return m_result;
  }
  int error() const { return m_error; }
  pid_t kernelId() const { return m_kernelId; }
  ACE_thread_t id() const { return m_id; }
  int leftEntries() const { return m_entries; }

 private:
  void run() {
    m_kernelId = ::gettid();
    m_id = ACE_OS::thr_self();
    t_entries = 0;
    reserve(m_token);
    m_reserved.set_value();
    m_go.get_future().wait();
    t_entries = 1;
    const auto hook = [](void* self) { static_cast<Worker*>(self)->m_hook.set_value(); };
    errno = 0;
    m_result = m_token.acquire(m_hooked ? +hook : nullptr, this, m_timeout);
    m_error = errno;
    m_entries = t_entries;
    m_done = true;
  }

  VexaToken& m_token;
  const bool m_hooked;
  ACE_Time_Value* m_timeout = nullptr;
  std::promise<void> m_reserved, m_go, m_hook;
  pid_t m_kernelId = 0;
  ACE_thread_t m_id{};
  std::atomic<bool> m_done{false};
  int m_result = -100;
  int m_error = 0;
  int m_entries = 0;
  std::thread m_thread;
};

/// The queue through entries that all have one thread id: the first is found and removed.
std::vector<Entry*> drain(VexaToken::ACE_Token_Queue& queue) {
  std::vector<Entry*> order;
  while (Entry* entry = queue.find(7)) {
    order.push_back(entry);
    queue.remove_entry(entry);
  }
  return order;
}

TEST(TokenQueue, InsertsAtTheGivenPosition) {
  struct Case {
    int present;
    int position;
    int expected;  // the new entry's index
  };
  const Case cases[] = {
      {0, -1, 0}, {0, 0, 0},          {0, 1, 0}, {0, 5, 0},             // an empty queue
      {1, -1, 1}, {1, 0, 0},          {1, 1, 1}, {1, 2, 1},             // one
      {3, -1, 3}, {3, 0, 0},          {3, 1, 1}, {3, 2, 2}, {3, 3, 3},  // several
      {3, 4, 3},  {3, 2147483647, 3},                                   // a shorter queue
  };
  ACE_Thread_Mutex mutex;
  for (const Case& row : cases) {
    SCOPED_TRACE(std::to_string(row.position) + " into " + std::to_string(row.present));
    std::array<Entry, 3> present{Entry(mutex, 7), Entry(mutex, 7), Entry(mutex, 7)};
    Entry added(mutex, 7);
    Entry last(mutex, 7);
    VexaToken::ACE_Token_Queue queue;
    std::vector<Entry*> expected;
    for (int i = 0; i < row.present; ++i) {
      queue.insert_entry(present[static_cast<std::size_t>(i)], -1);
      expected.push_back(&present[static_cast<std::size_t>(i)]);
    }
    queue.insert_entry(added, row.position);
    expected.insert(expected.begin() + row.expected, &added);
    queue.insert_entry(last, -1);  // shows whether the tail is right
    expected.push_back(&last);
    EXPECT_EQ(expected, drain(queue));
  }
}

TEST(TokenQueue, RemovesFromAnyPlace) {
  ACE_Thread_Mutex mutex;
  for (std::size_t removed = 0; removed < 4; ++removed) {
    SCOPED_TRACE(removed);
    std::array<Entry, 4> entries{Entry(mutex, 7), Entry(mutex, 7), Entry(mutex, 7),
                                 Entry(mutex, 7)};
    VexaToken::ACE_Token_Queue queue;
    std::vector<Entry*> expected;
    for (Entry& entry : entries) {
      queue.insert_entry(entry, -1);
      if (&entry != &entries[removed]) expected.push_back(&entry);
    }
    queue.remove_entry(&entries[removed]);
    queue.remove_entry(&entries[removed]);  // no longer there: ignored
    queue.remove_entry(nullptr);
    queue.insert_entry(entries[removed], -1);
    expected.push_back(&entries[removed]);
    EXPECT_EQ(expected, drain(queue));
  }
}

TEST(TokenQueue, UnknownEntryInAnEmptyQueueIsIgnored) {
  ACE_Thread_Mutex mutex;
  Entry stranger(mutex, 7);
  Entry entry(mutex, 7);
  VexaToken::ACE_Token_Queue queue;
  queue.remove_entry(&stranger);
  queue.insert_entry(entry, -1);
  queue.remove_entry(&stranger);
  EXPECT_EQ(std::vector<Entry*>{&entry}, drain(queue));
  EXPECT_EQ(nullptr, queue.find(7));
}

TEST(TokenQueue, FindsTheFirstEntryOfAThread) {
  ACE_Thread_Mutex mutex;
  Entry one(mutex, 1);
  Entry two(mutex, 2);
  Entry twoAgain(mutex, 2);
  VexaToken::ACE_Token_Queue queue;
  for (Entry* entry : {&one, &two, &twoAgain}) queue.insert_entry(*entry, -1);
  EXPECT_EQ(&one, queue.find(1));
  EXPECT_EQ(&two, queue.find(2));
  EXPECT_EQ(nullptr, queue.find(3));
  queue.remove_entry(&two);
  EXPECT_EQ(&twoAgain, queue.find(2));
}

TEST(TokenEntry, StartsReservedAndUnlinked) {
  ACE_Thread_Mutex mutex;
  ACE_Condition_Attributes attributes;
  Entry plain(mutex, 7);
  Entry withAttributes(mutex, 7, attributes);
  for (Entry* entry : {&plain, &withAttributes}) {
    EXPECT_EQ(nullptr, fieldsOf(*entry).next);
    EXPECT_EQ(7UL, fieldsOf(*entry).thread);
    EXPECT_EQ(0, fieldsOf(*entry).runable);
  }
}

TEST(TokenEntry, WaitsUntilSignaledOrTheDeadline) {
  ACE_Thread_Mutex mutex;
  ACE_Condition_Attributes attributes;
  Entry plain(mutex, 1);
  Entry withAttributes(mutex, 1, attributes);
  for (Entry* entry : {&plain, &withAttributes}) {
    const ACE_Time_Value past = deadline(-1);
    mutex.acquire();
    EXPECT_EQ(-1, entry->wait(&past, mutex));
    EXPECT_EQ(ETIME, errno);
    std::thread other([&] {
      mutex.acquire();
      EXPECT_EQ(0, entry->signal());
      mutex.release();
    });
    EXPECT_EQ(0, entry->wait(nullptr, mutex));
    EXPECT_EQ(-1, mutex.tryacquire());  // taken again
    mutex.release();
    other.join();
  }
}

TEST(Token, IsFreeAtFirst) {
  VexaToken token;
  EXPECT_EQ(ACE_OS::NULL_thread, fieldsOf(token).owner);
  EXPECT_EQ(nullptr, fieldsOf(token).waiters.head);
  EXPECT_EQ(nullptr, fieldsOf(token).waiters.tail);
  EXPECT_EQ(0, fieldsOf(token).waiterCount);
  EXPECT_EQ(0, fieldsOf(token).inUse);
  token.dump();
  expectFree(token);
}

TEST(Token, CannotBeAcquiredWithoutAReservation) {
  VexaToken token;
  errno = EDOM;
  EXPECT_EQ(-1, token.acquire(nullptr, nullptr, nullptr));
  reserve(token);
  ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  EXPECT_EQ(-1, token.acquire(nullptr, nullptr, nullptr));  // held, and the reservation is used up
  int calls = 0;
  EXPECT_EQ(-1, token.acquire(countCall, &calls, nullptr));
  EXPECT_EQ(1, calls);  // before the search for the reservation
  EXPECT_EQ(EDOM, errno);
  EXPECT_EQ(0, token.release());
  expectFree(token);
}

TEST(Token, GrabLeavesTheMutexLocked) {
  VexaToken token;
  EXPECT_EQ(0, token.grab());
  EXPECT_EQ(-1, fieldsOf(token).lock.tryacquire());
  EXPECT_EQ(1, fieldsOf(token).waiterCount);
  ASSERT_NE(nullptr, fieldsOf(token).waiters.head);
  EXPECT_EQ(pthread_self(), fieldsOf(*fieldsOf(token).waiters.head).thread);
  EXPECT_EQ(0, token.letgo());
  EXPECT_EQ(0, fieldsOf(token).lock.tryacquire());
  fieldsOf(token).lock.release();
  EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  token.release();
}

TEST(Token, FreeTokenIsTakenAtOnce) {
  VexaToken token;
  reserve(token);
  EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  EXPECT_EQ(ACE_OS::thr_self(), fieldsOf(token).owner);
  EXPECT_EQ(1, fieldsOf(token).inUse);
  EXPECT_EQ(0, fieldsOf(token).waiterCount);
  EXPECT_EQ(nullptr, fieldsOf(token).waiters.head);
  EXPECT_EQ(0, token.release());
  expectFree(token);
}

TEST(Token, HookIsCalledUnderTheMutexThoughNothingWaits) {
  struct Seen {
    VexaToken token;
    int calls = 0;
    int tried = 0;
  } seen;
  reserve(seen.token);
  const auto hook = [](void* argument) {
    Seen& call = *static_cast<Seen*>(argument);
    ++call.calls;
    call.tried = fieldsOf(call.token).lock.tryacquire();
  };
  EXPECT_EQ(0, seen.token.acquire(hook, &seen, nullptr));
  EXPECT_EQ(1, seen.calls);
  EXPECT_EQ(-1, seen.tried);
  seen.token.release();
}

TEST(Token, HookThatThrowsKeepsTheReservationAndReleasesTheMutex) {
  const auto hook = [](void*) { throw std::runtime_error("the caller's"); };
  VexaToken token;
  EXPECT_THROW(token.acquire(hook, nullptr, nullptr), std::runtime_error) << "nothing reserved";
  ASSERT_EQ(0, fieldsOf(token).lock.tryacquire());
  fieldsOf(token).lock.release();
  reserve(token);
  EXPECT_THROW(token.acquire(hook, nullptr, nullptr), std::runtime_error);
  ASSERT_EQ(0, fieldsOf(token).lock.tryacquire());
  fieldsOf(token).lock.release();
  EXPECT_EQ(1, fieldsOf(token).waiterCount);
  EXPECT_EQ(0, fieldsOf(token).inUse);
  EXPECT_EQ(ACE_OS::NULL_thread, fieldsOf(token).owner);
  EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  token.release();
  expectFree(token);
}

TEST(Token, HookThatThrowsAfterAHolderKeepsItsPlace) {
  const auto hook = [](void*) { throw std::runtime_error("the caller's"); };
  VexaToken token;
  reserve(token);
  ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  std::promise<void> thrown;
  std::thread first([&] {
    reserve(token);
    EXPECT_THROW(token.acquire(hook, nullptr, nullptr), std::runtime_error);
    thrown.set_value();
    EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
    token.release();
  });
  thrown.get_future().wait();
  token.release();
  first.join();
  expectFree(token);
}

TEST(Token, PassedDeadlineDoesNotMatterWhenNothingWaits) {
  VexaToken token;
  reserve(token);
  ACE_Time_Value past = deadline(-1000);
  EXPECT_EQ(0, token.acquire(nullptr, nullptr, &past));
  token.release();
}

TEST(Token, WaiterReturnsOneOnlyWithAHook) {
  for (const bool hooked : {true, false}) {
    SCOPED_TRACE(hooked);
    VexaToken token;
    reserve(token);
    ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
    Worker worker(token, hooked);
    worker.start();
    while (runableOfHead(token) != 2) std::this_thread::yield();
    EXPECT_FALSE(worker.isDone());
    EXPECT_EQ(1, fieldsOf(token).waiterCount);
    EXPECT_EQ(0, token.release());
    EXPECT_EQ(hooked ? 1 : 0, worker.result());
    EXPECT_EQ(worker.id(), fieldsOf(token).owner);
    EXPECT_EQ(1, fieldsOf(token).inUse);
    EXPECT_EQ(0, fieldsOf(token).waiterCount);
    EXPECT_EQ(0, worker.leftEntries());
    EXPECT_EQ(0, token.release());  // nobody checks who releases
    expectFree(token);
  }
}

TEST(Token, IsGrantedInTheOrderOfReservation) {
  std::array<std::size_t, 3> order{0, 1, 2};
  do {
    SCOPED_TRACE(std::to_string(order[0]) + std::to_string(order[1]) + std::to_string(order[2]));
    VexaToken token;
    reserve(token);
    ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
    std::array<std::unique_ptr<Worker>, 3> workers;
    for (auto& worker : workers) worker = std::make_unique<Worker>(token);
    for (const std::size_t index : order) workers[index]->startAndSleep();
    for (auto& worker : workers) {
      EXPECT_FALSE(worker->isDone());
      token.release();
      EXPECT_EQ(1, worker->result());
      EXPECT_EQ(worker->id(), fieldsOf(token).owner);
    }
    token.release();
    expectFree(token);
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST(Token, FreeTokenWaitsOnlyForTheHead) {
  VexaToken token;
  Worker head(token);
  Worker second(token);
  second.startAndSleep();  // nobody holds the token, but it is not this thread's turn
  EXPECT_EQ(0, fieldsOf(token).inUse);
  EXPECT_FALSE(second.isDone());
  head.start();
  EXPECT_EQ(0, head.result());
  EXPECT_FALSE(second.isDone());
  token.release();
  EXPECT_EQ(1, second.result());
  token.release();
  expectFree(token);
}

TEST(Token, HeadThatOnlyReservedIsHandedTheTokenFree) {
  VexaToken token;
  reserve(token);
  ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  Worker head(token);
  Worker second(token);
  second.startAndSleep();
  token.release();
  EXPECT_EQ(0, fieldsOf(token).inUse);
  EXPECT_EQ(head.id(), fieldsOf(token).owner);
  EXPECT_EQ(1, runableOfHead(token));
  awaitSleepOf(token);
  EXPECT_FALSE(second.isDone());
  head.start();
  EXPECT_EQ(0, head.result());  // without waiting
  EXPECT_EQ(1, fieldsOf(token).inUse);
  token.release();
  EXPECT_EQ(1, second.result());
  token.release();
  expectFree(token);
}

TEST(Token, HeadThatWaitsIsHandedTheTokenInUse) {
  VexaToken token;
  reserve(token);
  ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  Worker head(token);
  head.startAndSleep();
  EXPECT_EQ(0, token.grab());  // keeps the woken thread from continuing
  token.wakeup_next_waiter();
  EXPECT_EQ(1, fieldsOf(token).inUse);
  EXPECT_EQ(head.id(), fieldsOf(token).owner);
  EXPECT_EQ(2, fieldsOf(token).waiterCount);
  token.letgo();
  EXPECT_EQ(1, head.result());
  token.release();
  EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  token.release();
  expectFree(token);
}

TEST(Token, SpuriousWakeUpGoesBackToSleep) {
  VexaToken token;
  reserve(token);
  ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  Worker worker(token);
  worker.startAndSleep();
  for (int i = 0; i < 10; ++i) {
    fieldsOf(token).lock.acquire();
    Entry* const head = fieldsOf(token).waiters.head;
    ASSERT_NE(nullptr, head);
    fieldsOf(*head).runable = 0;  // waiting again sets it
    head->signal();
    fieldsOf(token).lock.release();
    while (runableOfHead(token) != 2) ASSERT_FALSE(worker.isDone());
  }
  EXPECT_FALSE(worker.isDone());
  EXPECT_EQ(ACE_OS::thr_self(), fieldsOf(token).owner);
  token.release();
  EXPECT_EQ(1, worker.result());
  token.release();
  expectFree(token);
}

TEST(Token, DeadlineEndsTheWaitAndTheReservation) {
  VexaToken token;
  reserve(token);
  ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  for (const long wait : {-1'000'000L, 0L, 20'000L}) {
    SCOPED_TRACE(wait);
    ACE_Time_Value until = deadline(wait);
    Worker worker(token);
    Worker behind(token);
    behind.startAndSleep();
    worker.start(&until);
    EXPECT_EQ(-1, worker.result());
    EXPECT_EQ(ETIME, worker.error());
    EXPECT_GE(ACE_OS::gettimeofday(), until);
    EXPECT_EQ(0, worker.leftEntries());
    EXPECT_EQ(1, fieldsOf(token).waiterCount);
    EXPECT_EQ(ACE_OS::thr_self(), fieldsOf(token).owner);
    EXPECT_FALSE(behind.isDone());
    token.release();
    EXPECT_EQ(1, behind.result());
    reserve(token);
    token.release();
    ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  }
  token.release();
  expectFree(token);
}

TEST(Token, ReservationIsGoneAfterTheDeadline) {
  VexaToken token;
  reserve(token);
  ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  ACE_Time_Value past = deadline(-1);
  reserve(token);  // the holder again: it may queue after itself
  EXPECT_EQ(-1, token.acquire(nullptr, nullptr, &past));
  EXPECT_EQ(ETIME, errno);
  errno = 0;
  EXPECT_EQ(-1, token.acquire(nullptr, nullptr, nullptr));
  EXPECT_EQ(0, errno);
  token.release();
  expectFree(token);
}

TEST(Token, DeadlineAtTheTailMovesTheTailBack) {
  VexaToken token;
  reserve(token);
  ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  Worker head(token);
  Worker tail(token);
  ACE_Time_Value past = deadline(-1);
  tail.start(&past);
  EXPECT_EQ(-1, tail.result());
  EXPECT_EQ(fieldsOf(token).waiters.head, fieldsOf(token).waiters.tail);
  Worker next(token);
  head.startAndSleep();
  next.startAndSleep();
  token.release();
  EXPECT_EQ(1, head.result());
  token.release();
  EXPECT_EQ(1, next.result());
  token.release();
  expectFree(token);
}

/// Makes `worker`, which waits at the head, reach its deadline and get the token at the same
/// moment: holds the mutex from before the deadline until the worker, timed out, sleeps on it.
/// Returns false if the deadline was missed. The caller has reserved a place after it.
bool handOverAtTheDeadline(VexaToken& token, const Worker& worker, const ACE_Time_Value& until) {
  EXPECT_EQ(0, token.grab());
  const bool inTime = ACE_OS::gettimeofday() < until;
  if (inTime) {
    awaitFutexWait(worker.kernelId(), &fieldsOf(token).lock.lock());
    token.wakeup_next_waiter();
    EXPECT_EQ(worker.id(), fieldsOf(token).owner);
  }
  EXPECT_EQ(0, token.letgo());
  return inTime;
}

TEST(Token, TokenHandedOverAtTheDeadlineGoesToTheNext) {
  for (const bool nextWaits : {false, true}) {
    SCOPED_TRACE(nextWaits);
    bool met = false;
    for (long wait = 20'000; !met; wait *= 2) {
      VexaToken token;
      reserve(token);
      ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
      ACE_Time_Value until = deadline(wait);
      Worker late(token);
      Worker next(token);
      if (nextWaits) next.startAndSleep();
      late.start(&until);
      met = handOverAtTheDeadline(token, late, until);
      EXPECT_EQ(-1, late.result());
      EXPECT_EQ(ETIME, late.error());
      EXPECT_EQ(0, late.leftEntries());
      if (!met) token.release();
      if (!nextWaits) {
        EXPECT_EQ(next.id(), fieldsOf(token).owner);
        next.start();
      }
      EXPECT_EQ(nextWaits ? 1 : 0, next.result());
      token.release();
      EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
      token.release();
      expectFree(token);
    }
  }
}

TEST(Token, FailedWaitEndsTheReservation) {
  VexaToken token;
  reserve(token);
  ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  ACE_Time_Value invalid = deadline(1'000'000);
  invalid.usec(2'000'000);
  Worker worker(token);
  worker.start(&invalid);
  EXPECT_EQ(-1, worker.result());
  EXPECT_EQ(EINVAL, worker.error());
  EXPECT_EQ(0, worker.leftEntries());
  EXPECT_EQ(0, fieldsOf(token).waiterCount);
  EXPECT_EQ(1, fieldsOf(token).inUse);
  token.release();
  expectFree(token);
}

TEST(Token, SecondReservationOfAThreadComesAfterItsFirst) {
  VexaToken token;
  reserve(token);
  reserve(token);
  EXPECT_EQ(2, fieldsOf(token).waiterCount);
  Worker other(token);
  EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  token.release();
  EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  other.startAndSleep();
  EXPECT_EQ(-1, token.acquire(nullptr, nullptr, nullptr));
  token.release();
  EXPECT_EQ(1, other.result());
  token.release();
  expectFree(token);
}

TEST(Token, EntriesAreFreedOnlyByAcquire) {
  VexaToken token;
  t_entries = 0;
  reserve(token);
  EXPECT_EQ(1, t_entries);
  token.release();
  token.grab();
  token.wakeup_next_waiter();
  token.letgo();
  EXPECT_EQ(2, t_entries);
  EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  EXPECT_EQ(1, t_entries);
  ACE_Time_Value past = deadline(-1);
  EXPECT_EQ(-1, token.acquire(nullptr, nullptr, &past));
  EXPECT_EQ(0, t_entries);
  EXPECT_EQ(-1, token.acquire(nullptr, nullptr, nullptr));
  EXPECT_EQ(0, t_entries);
  token.release();
}

TEST(Token, DestructionFreesNoEntry) {
  runInChild([] {  // the entry leaks, as it should
    t_entries = 0;
    {
      VexaToken token;
      reserve(token);
    }
    EXPECT_EQ(1, t_entries);
  });
}

TEST(Token, GrabWithoutMemoryLeavesNothingBehind) {
  VexaToken token;
  t_heapFails = true;
  EXPECT_THROW(token.grab(), std::bad_alloc);
  t_heapFails = false;
  EXPECT_EQ(0, fieldsOf(token).lock.tryacquire());
  fieldsOf(token).lock.release();
  EXPECT_EQ(0, fieldsOf(token).waiterCount);
  expectFree(token);
}

TEST(Token, AcquireContinuesWhenLockingFails) {
  VexaToken token;
  reserve(token);
  ACE_Thread_Mutex& mutex = fieldsOf(token).lock;
  useCheckedMutex(mutex);
  ASSERT_EQ(0, mutex.acquire());  // locking it again fails
  int calls = 0;
  EXPECT_EQ(0, token.acquire(countCall, &calls, nullptr));
  EXPECT_EQ(1, calls);
  EXPECT_EQ(1, fieldsOf(token).inUse);
  EXPECT_EQ(-1, token.acquire(countCall, &calls, nullptr));
  EXPECT_EQ(2, calls);
  EXPECT_EQ(0, mutex.release());  // nobody unlocked what it had not locked
}

// Crowds

constexpr int kThreads = 64;

/// A critical section that knows who may be in it, and in which order.
class Section {
 public:
  /// Called under the token's mutex, which grab leaves locked.
  int takeTicket() { return m_nextTicket++; }

  void run(int ticket) {
    if (m_inside.fetch_add(1) != 0) ++m_wrong;
    if (ticket <= m_lastTicket) ++m_wrong;
    if (m_gapless && ticket != m_lastTicket + 1) ++m_wrong;
    m_lastTicket = ticket;  // not atomic: the token must make this safe
    ++m_turns;
    m_inside.fetch_sub(1);
  }
  void allowGaps() { m_gapless = false; }
  int wrong() const { return m_wrong; }
  int turns() const { return m_turns; }

 private:
  bool m_gapless = true;
  int m_nextTicket = 0;
  int m_lastTicket = -1;
  int m_turns = 0;
  std::atomic<int> m_inside{0};
  std::atomic<int> m_wrong{0};
};

int waiterCount(VexaToken& token) {
  fieldsOf(token).lock.acquire();
  const int count = fieldsOf(token).waiterCount;
  fieldsOf(token).lock.release();
  return count;
}

/// Runs `body` in many threads, and holds the token until so many of them queue for it.
template <class Body>
void crowd(VexaToken& token, int queued, Body body) {
  reserve(token);
  ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(body, i);
  while (waiterCount(token) < queued) std::this_thread::yield();
  token.release();
  for (std::thread& thread : threads) thread.join();
}

TEST(TokenCrowd, OrderOfReservationIsTheOrderOfAcquisition) {
  constexpr int kRounds = 100'000 / kThreads + 1;
  VexaToken token;
  Section section;
  crowd(token, kThreads, [&](int) {
    for (int round = 0; round < kRounds; ++round) {
      token.grab();
      const int ticket = section.takeTicket();
      token.letgo();
      ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
      section.run(ticket);
      token.release();
    }
  });
  EXPECT_EQ(0, section.wrong());
  EXPECT_EQ(kRounds * kThreads, section.turns());
  expectFree(token);
}

TEST(TokenCrowd, DeadlinesRacingWithHandOverLoseNothing) {
  constexpr int kRounds = 20'000 / kThreads + 1;
  VexaToken token;
  Section section;
  section.allowGaps();
  std::atomic<int> taken{0};
  std::atomic<int> late{0};
  crowd(token, kThreads / 8, [&](int index) {
    for (int round = 0; round < kRounds; ++round) {
      token.grab();
      const int ticket = section.takeTicket();
      token.letgo();
      // Deadlines around the time that the queue takes; some threads wait as long as it takes.
      ACE_Time_Value until = deadline((index * 37 + round * 11) % 600);
      const int result = token.acquire(nullptr, nullptr, index % 8 == 0 ? nullptr : &until);
      if (result == -1) {
        EXPECT_EQ(ETIME, errno);
        ++late;
        continue;
      }
      ++taken;
      section.run(ticket);
      token.release();
    }
  });
  EXPECT_EQ(0, section.wrong());
  EXPECT_EQ(taken, section.turns());
  EXPECT_EQ(kRounds * kThreads, taken + late);
  EXPECT_GE(taken, kRounds * kThreads / 8);
  expectFree(token);
}

}  // namespace
