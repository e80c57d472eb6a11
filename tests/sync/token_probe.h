#pragma once

#include <ace/OS_NS_sys_time.h>
#include <ace/Thread_Mutex.h>
#include <ace/Time_Value.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>
#include <string>
#include <thread>

#include "VexaLocks.h"
#include "sync/lock_fields.h"

// Access for the tests of the token and of its queue: the token's fields, and whether a thread
// sleeps.

namespace commutil_test {

/// Returns the head's runable, 0 without a head: 0 reserved, 2 inside its wait, 1 handed the token.
inline int runableOfHead(VexaToken& token) {
  TokenFields& fields = fieldsOf(token);
  fields.lock.acquire();
  const int runable = fields.waiters.head == nullptr ? 0 : fieldsOf(*fields.waiters.head).runable;
  fields.lock.release();
  return runable;
}

/// Expects the token to be free, without reservations.
inline void expectFree(VexaToken& token) {
  token.grab();
  token.letgo();
  EXPECT_EQ(1, fieldsOf(token).waiterCount);
  ASSERT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  token.release();
  EXPECT_EQ(ACE_OS::NULL_thread, fieldsOf(token).owner);
  EXPECT_EQ(0, fieldsOf(token).inUse);
  EXPECT_EQ(0, fieldsOf(token).waiterCount);
  EXPECT_EQ(nullptr, fieldsOf(token).waiters.head);
  EXPECT_EQ(nullptr, fieldsOf(token).waiters.tail);
}

inline void reserve(VexaToken& token) {
  EXPECT_EQ(0, token.grab());
  EXPECT_EQ(0, token.letgo());
}

/// Returns once no thread is between the token's mutex and its wait: a thread seen under the mutex,
/// in its hook, now sleeps. A caller without a reservation only passes through.
inline void awaitSleepOf(VexaToken& token) {
  EXPECT_EQ(-1, token.acquire(nullptr, nullptr, nullptr));
}

/// Makes a second locking by the same thread fail, which otherwise sleeps forever.
inline void useCheckedMutex(ACE_Thread_Mutex& mutex) {
  pthread_mutexattr_t attributes;
  ASSERT_EQ(0, pthread_mutexattr_init(&attributes));
  ASSERT_EQ(0, pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK));
  ASSERT_EQ(0, pthread_mutex_destroy(&mutex.lock()));
  ASSERT_EQ(0, pthread_mutex_init(&mutex.lock(), &attributes));
  ASSERT_EQ(0, pthread_mutexattr_destroy(&attributes));
}

/// Returns a deadline `microseconds` from now, in the past if negative.
inline ACE_Time_Value deadline(long microseconds) {
  return ACE_OS::gettimeofday() + ACE_Time_Value(0, microseconds);
}

/// Waits until the thread sleeps in the kernel on the futex at `address`.
inline void awaitFutexWait(pid_t thread, const void* address) {
  const std::string path = "/proc/self/task/" + std::to_string(thread) + "/syscall";
  for (;;) {
    std::ifstream file(path);
    std::string number;
    std::string argument;
    if (file >> number >> argument && number == std::to_string(SYS_futex) &&
        std::stoull(argument, nullptr, 16) == reinterpret_cast<std::size_t>(address)) {
      return;
    }
    std::this_thread::yield();
  }
}

}  // namespace commutil_test
