#pragma once

#include <sys/types.h>

#include <functional>

namespace commutil_test {

/// Runs `body` in `count` threads that start together, each with its number from 0 on, and waits
/// for them.
void inThreads(int count, const std::function<void(int)>& body);

/// Waits until `thread` of this process sleeps for a lock and goes on sleeping.
void awaitLockWait(pid_t thread);

}  // namespace commutil_test
