#include "os/lazy_value.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>

#include "support/threads.h"

namespace {

using commutil::Answer;
using commutil::LazyValue;
using commutil_test::inThreads;
using Text = Answer<std::string>;

TEST(LazyValue, CachesTheFirstResultThatMayBeCached) {
  LazyValue<std::string> value;
  EXPECT_EQ("first", value.get([] { return Text{"first", true}; }));
  EXPECT_EQ("first", value.get([]() -> Text { throw std::logic_error("computed again"); }));
}

TEST(LazyValue, ComputesAgainAfterAResultThatMayNotBeCached) {
  LazyValue<std::string> value;
  EXPECT_EQ("default", value.get([] { return Text{"default", false}; }));
  EXPECT_EQ("other default", value.get([] { return Text{"other default", false}; }));
  EXPECT_EQ("found", value.get([] { return Text{"found", true}; }));
  EXPECT_EQ("found", value.get([] { return Text{"late", true}; }));
}

TEST(LazyValue, AThrowingComputationFillsNothingAndHoldsNoLock) {
  LazyValue<std::string> value;
  EXPECT_THROW(value.get([]() -> Text { throw std::runtime_error("no"); }), std::runtime_error);
  EXPECT_EQ("found", value.get([] { return Text{"found", true}; }));
}

TEST(LazyValue, ReturnsCopies) {
  LazyValue<std::string> value;
  value.get([] { return Text{"kept", true}; }).append("changed");
  EXPECT_EQ("kept", value.get([] { return Text{"late", true}; }));
}

TEST(LazyValue, ComputesOnceForThreadsThatComeTogether) {
  LazyValue<std::string> value;
  std::atomic<int> computed{0};
  inThreads(10, [&](int) {
    EXPECT_EQ("found", value.get([&] {
      ++computed;
      for (int n = 0; n < 10'000; ++n) std::this_thread::yield();  // lets others queue up
      return Text{"found", true};
    }));
  });
  EXPECT_EQ(1, computed);
}

TEST(LazyValue, SerializesComputationsThatFail) {
  LazyValue<std::string> value;
  int computed = 0;  // guarded by the value's own lock
  inThreads(10, [&](int) {
    value.get([&] {
      ++computed;
      return Text{"default", false};
    });
  });
  EXPECT_EQ(10, computed);
}

}  // namespace
