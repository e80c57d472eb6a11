#pragma once

#include <algorithm>
#include <chrono>

namespace agent {

/// When a snapshot is written: a while after the first change that it lacks, so that changes that
/// belong together come together, and not too often.
class WriteSchedule {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Duration = std::chrono::milliseconds;

  static constexpr Duration kLeastInterval{200};

  explicit WriteSchedule(Duration settle) : m_settle(settle) {}

  /// There is something to write.
  void onChange(Time now) { m_due = std::min(m_due, std::max(now + m_settle, m_earliest)); }

  bool isPending() const { return m_due != Time::max(); }
  bool isDue(Time now) const { return now >= m_due; }
  /// When it is due; `Time::max()` if there is nothing to write.
  Time due() const { return m_due; }

  void onWritten(Time now) {
    m_due = Time::max();
    m_earliest = now + kLeastInterval;
    m_retry = kFirstRetry;
  }

  /// A write has failed: it is due again later, and ever later.
  void onFailed(Time now) {
    m_due = m_earliest = now + m_retry;
    m_retry = std::min(2 * m_retry, kLongestRetry);
  }

 private:
  static constexpr Duration kFirstRetry{500};
  static constexpr Duration kLongestRetry{10'000};

  Duration m_settle;
  Time m_due = Time::max();
  Time m_earliest{};
  Duration m_retry = kFirstRetry;
};

}  // namespace agent
