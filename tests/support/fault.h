#pragma once

#include <utility>

namespace commutil_test {

/// Counts the calls of a replaced function while armed, and selects the one that fails.
class Fault {
 public:
  static constexpr int kNever = -1;

  /// From now on the call `failing` fails, counted from 0.
  void arm(int failing) {
    m_failing = failing;
    m_calls = 0;
    m_armed = true;
  }

  /// Returns how many calls there were.
  int disarm() {
    m_armed = false;
    return m_calls;
  }

  bool isArmed() const { return m_armed; }

  /// Counts a call. Returns whether it must fail.
  bool isDue() { return m_armed && m_calls++ == m_failing; }

  /// Counts nothing while `call` runs.
  template <class Call>
  auto paused(const Call& call) {
    const bool armed = std::exchange(m_armed, false);
    auto result = call();
    m_armed = armed;
    return result;
  }

 private:
  bool m_armed = false;
  int m_failing = kNever;
  int m_calls = 0;
};

}  // namespace commutil_test
