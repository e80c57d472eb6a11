// Values that threads read while others replace them: pinned ones stay, others are freed.
#include "settingrest/published.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

using settingrest::OwnedPublished;

/// Counts its objects that are alive.
class Counted {
 public:
  Counted(int number, std::atomic<int>& alive) : m_number(number), m_alive(&alive) { ++alive; }
  Counted(Counted&& other) noexcept : m_number(other.m_number), m_alive(other.m_alive) {
    ++*m_alive;
  }
  Counted& operator=(Counted&&) = delete;
  ~Counted() {
    m_number = -1;
    --*m_alive;
  }

  int number() const { return m_number; }

 private:
  int m_number;
  std::atomic<int>* m_alive;
};

using Values = OwnedPublished<Counted>;

TEST(Published, IsEmptyAtFirst) {
  const Values values;
  EXPECT_FALSE(values.pin());
}

TEST(Published, KeepsWhatIsPinnedAndFreesTheRest) {
  std::atomic<int> alive{0};
  {
    Values values;
    ASSERT_TRUE(values.replace(Values::Pin(), Counted(1, alive)));
    Values::Pin first = values.pin();
    ASSERT_TRUE(values.replace(values.pin(), Counted(2, alive)));
    values.reap();
    EXPECT_EQ(1, first->number());
    EXPECT_EQ(2, values.pin()->number());
    EXPECT_EQ(2, alive);
    first = Values::Pin();
    values.reap();
    EXPECT_EQ(1, alive);
    EXPECT_EQ(2, values.pin()->number());
  }
  EXPECT_EQ(0, alive);
}

TEST(Published, LosesToAnEarlierReplacement) {
  std::atomic<int> alive{0};
  Values values;
  EXPECT_TRUE(values.replace(Values::Pin(), Counted(1, alive)));
  EXPECT_FALSE(values.replace(Values::Pin(), Counted(2, alive)));
  const Values::Pin seen = values.pin();
  EXPECT_TRUE(values.replace(seen, Counted(3, alive)));
  EXPECT_FALSE(values.replace(seen, Counted(4, alive)));
  EXPECT_EQ(3, values.pin()->number());
  EXPECT_EQ(2, alive) << "the pinned one and the current one";
}

TEST(Published, HoldsMorePinsThanItHasRoomForAtFirst) {
  constexpr int kPins = 600;
  std::atomic<int> alive{0};
  Values values;
  values.replace(Values::Pin(), Counted(0, alive));
  std::vector<Values::Pin> pins;
  for (int i = 1; i <= kPins; ++i) {
    pins.push_back(values.pin());
    values.replace(pins.back(), Counted(i, alive));
  }
  values.reap();
  EXPECT_EQ(kPins + 1, alive);
  for (int i = 0; i < kPins; ++i) ASSERT_EQ(i, pins[static_cast<std::size_t>(i)]->number());
  pins.clear();
  values.reap();
  EXPECT_EQ(1, alive);
}

TEST(Published, ReadersNeverSeeAFreedValue) {
  std::atomic<int> alive{0};
  std::atomic<bool> done{false};
  std::atomic<int> failures{0};
  Values values;
  values.replace(Values::Pin(), Counted(0, alive));
  std::vector<std::thread> readers(3);
  for (std::thread& reader : readers) {
    reader = std::thread([&] {
      for (int last = 0; !done;) {
        const Values::Pin pin = values.pin();
        if (pin->number() < last) ++failures;
        last = pin->number();
      }
    });
  }
  for (int i = 1; i <= 5000; ++i) {
    values.replace(values.pin(), Counted(i, alive));
    values.reap();
  }
  done = true;
  for (std::thread& reader : readers) reader.join();
  values.reap();
  EXPECT_EQ(0, failures);
  EXPECT_EQ(1, alive);
}

TEST(Published, OneOfManyWritersWinsEachTime) {
  constexpr int kWriters = 4;
  constexpr int kEach = 2000;
  std::atomic<int> alive{0};
  Values values;
  values.replace(Values::Pin(), Counted(0, alive));
  std::vector<std::thread> writers(kWriters);
  for (std::thread& writer : writers) {
    writer = std::thread([&] {
      for (int won = 0; won < kEach;) {
        const Values::Pin seen = values.pin();
        won += values.replace(seen, Counted(seen->number() + 1, alive)) ? 1 : 0;
        values.reap();
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  values.reap();
  EXPECT_EQ(kWriters * kEach, values.pin()->number());
  EXPECT_EQ(1, alive);
}

}  // namespace
