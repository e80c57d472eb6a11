#pragma once

namespace commutil_test {

/// The seed of this run: random, or COMMUTIL_TEST_SEED to repeat one. Prints it once.
unsigned randomSeed();

}  // namespace commutil_test
