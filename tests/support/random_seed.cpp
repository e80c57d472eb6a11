#include "support/random_seed.h"

#include <cstdlib>
#include <iostream>
#include <random>

namespace commutil_test {

unsigned randomSeed() {
  static const unsigned seed = [] {
    const char* const given = std::getenv("COMMUTIL_TEST_SEED");
    const unsigned chosen = given == nullptr
                                ? std::random_device{}()
                                : static_cast<unsigned>(std::strtoul(given, nullptr, 10));
    std::cout << "COMMUTIL_TEST_SEED=" << chosen << std::endl;
    return chosen;
  }();
  return seed;
}

}  // namespace commutil_test
