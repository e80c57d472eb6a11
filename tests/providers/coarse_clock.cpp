#include "providers/coarse_clock.h"

#include <ctime>

#include <atomic>

#include "support/c_library.h"

namespace {

std::atomic<long> now{1'000'000};  // milliseconds

}  // namespace

namespace commutil_test {

void passTime(int milliseconds) { now += milliseconds; }

}  // namespace commutil_test

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (clock != CLOCK_MONOTONIC_COARSE)
    return commutil_test::cLibrary<int(clockid_t, timespec*)>("clock_gettime")(clock, time);
  *time = {now / 1000, now % 1000 * 1'000'000};
  return 0;
}
