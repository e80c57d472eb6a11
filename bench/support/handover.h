#pragma once

#include <ace/Condition_Attributes.h>
#include <ace/Condition_Thread_Mutex.h>
#include <ace/Thread_Mutex.h>
#include <pthread.h>

#include <memory>
#include <vector>

// Helpers to measure tokens that are handed over.

namespace commutil_bench {

/// How evenly turns are spread over threads: 1 if all had as many, 1/n if one had all.
inline double fairness(const std::vector<int>& turns) {
  double sum = 0;
  double squares = 0;
  for (const int each : turns) {
    sum += each;
    squares += static_cast<double>(each) * each;
  }
  return squares == 0 ? 1 : sum * sum / (static_cast<double>(turns.size()) * squares);
}

/// The calls that a turn of the token must make: a mutex locked and released in grab and letgo, in
/// acquire and in release, and an entry with a condition, allocated and freed.
class TokenCalls {
 public:
  void acquire() {
    auto entry = std::make_unique<Entry>(m_mutex, m_attributes);
    turn();
    turn();
  }
  void release() { turn(); }

 private:
  struct Entry {
    Entry(ACE_Thread_Mutex& mutex, const ACE_Condition_Attributes& attributes)
        : condition(mutex, attributes) {}

    void* next = nullptr;
    unsigned long thread = 0;
    ACE_Condition_Thread_Mutex condition;
    int state = 0;
  };

  void turn() {
    ::pthread_mutex_lock(&m_mutex.lock());
    ::pthread_mutex_unlock(&m_mutex.lock());
  }

  ACE_Thread_Mutex m_mutex;
  ACE_Condition_Attributes m_attributes;
};

}  // namespace commutil_bench
