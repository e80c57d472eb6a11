// The durations that the command line and the agent's configuration take.
#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

#include "commutil/duration.h"

namespace {

using namespace std::chrono_literals;

TEST(Duration, IsANumberWithAUnit) {
  EXPECT_EQ(0ms, parseDuration("0"));
  EXPECT_EQ(100ms, parseDuration("100ms"));
  EXPECT_EQ(2s, parseDuration("2s"));
  EXPECT_EQ(15min, parseDuration("15m"));
  EXPECT_EQ(277h, parseDuration("277h"));
  EXPECT_EQ(1'000'000'000ms, parseDuration("1000000000ms"));
}

TEST(Duration, IsRefusedOtherwise) {
  for (const char* const text : {"", "ms", "-1s", "1", "1.5s", "1 s", "1d", "01h2", "1000000001ms",
                                 "9999999999999999999s", "278h"}) {
    EXPECT_THROW(parseDuration(text), std::runtime_error) << text;
  }
}

TEST(Duration, HasAProblemIfItIsRefused) {
  EXPECT_EQ("", durationProblem("2s"));
  EXPECT_EQ("\"2d\": takes a duration such as 100ms, 2s, 15m or 24h", durationProblem("2d"));
}

}  // namespace
