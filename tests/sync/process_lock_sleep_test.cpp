// The sleep of a waiting process lock under signals that arrive faster than nanosleep(2) can count:
// what it reports as left is rounded up. This program replaces the clock.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "VexaLocks.h"
#include "support/c_library.h"
#include "support/fixtures.h"
#include "support/lock_holder.h"

namespace {

using commutil_test::cLibrary;
using commutil_test::LockHolder;
using commutil_test::ScopedEnv;
using commutil_test::TempDir;

constexpr long kSecond = 1'000'000'000;
constexpr long kBetweenSignals = kSecond / 100;
constexpr int kForever = 1000;  // sleeps

bool isFake = false;
long now = 0;  // in nanoseconds
int sleeps = 0;

/// Sleeps until the next signal; what is left comes out as what was requested.
int sleepUntilSignal(const timespec& request, timespec* left) {
  if (++sleeps == kForever) ::_exit(2);
  const long asked = request.tv_sec * kSecond + request.tv_nsec;
  const bool isDone = asked <= kBetweenSignals;
  now += isDone ? asked : kBetweenSignals;
  if (isDone) return 0;
  if (left != nullptr) *left = request;
  errno = EINTR;
  return -1;
}

}  // namespace

extern "C" {

int nanosleep(const timespec* request, timespec* left) {
  if (isFake) return sleepUntilSignal(*request, left);
  return cLibrary<int(const timespec*, timespec*)>("nanosleep")(request, left);
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (!isFake) return cLibrary<int(clockid_t, timespec*)>("clock_gettime")(clock, time);
  *time = {now / kSecond, now % kSecond};
  return 0;
}
}

namespace {

TEST(ProcessLockSleep, TakesASecondWhateverSignalsInterruptIt) {
  const TempDir share;
  const ScopedEnv variable("_APP_SHARE_DIR", share.path().string());
  const LockHolder holder("backup", "/");
  ASSERT_EQ(0, holder.entered());
  commutil_test::runInChild([] {
    VexaProcessLock lock("backup", "/");
    lock.SetOutputType(OUTPUT_TYPE_SILENT);
    isFake = true;
    const int result = lock.WaitMaxTime(2, "wait");
    isFake = false;
    EXPECT_EQ(-1, result);
    EXPECT_EQ(3 * kSecond, now);
  });
}

}  // namespace
