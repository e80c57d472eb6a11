#pragma once

#include <functional>

namespace commutil_test {

/// Runs `body` in `count` threads that start together, each with its number from 0 on, and waits
/// for them.
void inThreads(int count, const std::function<void(int)>& body);

}  // namespace commutil_test
