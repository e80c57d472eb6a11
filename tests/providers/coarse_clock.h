#pragma once

// Stops the coarse monotonic clock, so that a test decides when time passes. A program that links
// coarse_clock.cpp has the C library's clock_gettime(2) replaced.

namespace commutil_test {

/// Lets `milliseconds` pass on the coarse monotonic clock, which else stands still.
void passTime(int milliseconds);

}  // namespace commutil_test
