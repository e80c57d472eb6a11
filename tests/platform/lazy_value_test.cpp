#include "platform/lazy_value.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using commutil::Answer;
using commutil::LazyValue;
using Text = Answer<std::string>;

TEST(LazyValue, KeepsTheFirstAnswerThatMayBeKept) {
  LazyValue<std::string> value;
  EXPECT_EQ("first", value.get([] { return Text{"first", true}; }));
  EXPECT_EQ("first", value.get([]() -> Text { throw std::logic_error("computed again"); }));
}

TEST(LazyValue, ComputesAgainAfterAnAnswerThatMayNotBeKept) {
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
  std::atomic<int> waiting{0};
  std::vector<std::thread> threads;
  threads.reserve(10);
  for (int i = 0; i < 10; ++i) {
    threads.emplace_back([&] {
      for (++waiting; waiting < 10;) std::this_thread::yield();
      EXPECT_EQ("found", value.get([&] {
        ++computed;
        for (int n = 0; n < 10'000; ++n) std::this_thread::yield();  // lets the others queue up
        return Text{"found", true};
      }));
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(1, computed);
}

TEST(LazyValue, SerialisesComputationsThatFail) {
  LazyValue<std::string> value;
  int computed = 0;  // guarded by the value's own lock
  std::vector<std::thread> threads;
  threads.reserve(10);
  for (int i = 0; i < 10; ++i) {
    threads.emplace_back([&] {
      value.get([&] {
        ++computed;
        return Text{"default", false};
      });
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(10, computed);
}

}  // namespace
