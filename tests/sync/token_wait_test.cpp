// The token with each outcome of a wait. This program replaces pthread_cond_wait(3), and
// pthread_cond_destroy(3), which may change errno.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <deque>
#include <future>
#include <thread>

#include "VexaLocks.h"
#include "support/c_library.h"
#include "sync/token_probe.h"

namespace {

using commutil_test::cLibrary;

/// The outcome of a wait: after a sleep or at once, and its error number.
struct WaitEnd {
  bool sleeps;
  int error;
};

/// The outcomes of this thread's next waits; later waits are real.
thread_local std::deque<WaitEnd> t_ends;

}  // namespace

extern "C" {

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  static auto* const wait = cLibrary<int(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
  if (t_ends.empty()) return wait(condition, mutex);
  const WaitEnd end = t_ends.front();
  t_ends.pop_front();
  if (end.sleeps) wait(condition, mutex);
  return end.error;
}

int pthread_cond_destroy(pthread_cond_t* condition) noexcept {
  static auto* const destroy = cLibrary<int(pthread_cond_t*)>("pthread_cond_destroy");
  const int result = destroy(condition);
  errno = EDOM;
  return result;
}
}

namespace {

using commutil_test::expectFree;
using commutil_test::fieldsOf;
using commutil_test::reserve;

struct Acquired {
  int result;
  int error;
};

/// A thread that waits, with the given outcomes, for a token which this one holds. The token is
/// released once the thread waits.
Acquired acquireBehind(VexaToken& token, const std::deque<WaitEnd>& ends, bool hooked) {
  reserve(token);
  EXPECT_EQ(0, token.acquire(nullptr, nullptr, nullptr));
  std::promise<void> atWork;
  auto acquired = std::async(std::launch::async, [&] {
    t_ends = ends;
    reserve(token);
    atWork.set_value();
    errno = 0;
    const auto hook = [](void*) {};
    const int result = token.acquire(hooked ? +hook : nullptr, nullptr, nullptr);
    const Acquired answer{result, errno};
    EXPECT_TRUE(t_ends.empty());
    if (result >= 0) token.release();
    return answer;
  });
  atWork.get_future().wait();
  while (commutil_test::runableOfHead(token) != 2) std::this_thread::yield();
  token.release();
  return acquired.get();
}

TEST(TokenWait, ContinuesAfterAnInterruptionBeforeTheHandOver) {
  for (const bool hooked : {true, false}) {
    VexaToken token;
    EXPECT_EQ(hooked ? 1 : 0,
              acquireBehind(token, {{false, EINTR}, {false, EINTR}, {false, 0}}, hooked).result);
    expectFree(token);
  }
}

TEST(TokenWait, IsOverWhenAnInterruptedThreadIsTheOwner) {
  for (const bool hooked : {true, false}) {
    VexaToken token;
    EXPECT_EQ(hooked ? 1 : 0, acquireBehind(token, {{true, EINTR}}, hooked).result);
    expectFree(token);
  }
}

TEST(TokenWait, PassesTheTokenOnOnlyAfterATimeout) {
  for (const int error : {ETIME, EINVAL}) {
    SCOPED_TRACE(error);
    VexaToken token;
    const Acquired acquired = acquireBehind(token, {{true, error}}, false);
    EXPECT_EQ(-1, acquired.result);
    EXPECT_EQ(error, acquired.error);
    EXPECT_EQ(nullptr, fieldsOf(token).waiters.head);
    EXPECT_EQ(0, fieldsOf(token).waiterCount);
    EXPECT_EQ(error == ETIME ? 0 : 1, fieldsOf(token).inUse) << "handed over, and not changed back";
  }
}

}  // namespace
