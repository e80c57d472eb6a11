#pragma once

#include <ace/Guard_T.h>
#include <ace/Thread_Mutex.h>

#include <atomic>
#include <utility>

namespace commutil {

/// A result, and whether it may be cached until the process ends.
template <class T>
struct Answer {
  T value;
  bool keep;
};

/// A value that is computed on first successful use and then never changes: check, lock, check. A
/// computation that fails (or throws) caches nothing, so the next call tries again. If locking
/// fails, the computation runs unlocked.
template <class T>
class LazyValue {
 public:
  /// Returns a copy of the cached value, or the result of `compute`, a function that returns an
  /// `Answer<T>`.
  template <class Compute>
  T get(Compute compute) {
    if (m_ready.load(std::memory_order_acquire)) return m_value;
    const ACE_Guard<ACE_Thread_Mutex> guard(m_mutex);
    if (m_ready.load(std::memory_order_relaxed)) return m_value;
    Answer<T> answer = compute();
    if (!answer.keep) return std::move(answer.value);
    m_value = std::move(answer.value);
    m_ready.store(true, std::memory_order_release);
    return m_value;
  }

 private:
  std::atomic<bool> m_ready{false};
  T m_value{};
  ACE_Thread_Mutex m_mutex;
};

/// Returns the value of `compute`, a function that returns an `Answer`, from a `LazyValue` that is
/// destroyed at process exit. A call from a later exit handler finds the destructor's mark and
/// computes the value without cache or lock.
template <auto compute>
auto lazyUntilExit() {
  using Value = decltype(compute().value);
  static constinit std::atomic<bool> released{false};  // never destroyed
  struct Releasing : LazyValue<Value> {
    Releasing() = default;
    ~Releasing() { released.store(true, std::memory_order_release); }
    Releasing(const Releasing&) = delete;
    Releasing& operator=(const Releasing&) = delete;
  };
  if (released.load(std::memory_order_acquire)) return compute().value;
  static Releasing value;
  return value.get(compute);
}

}  // namespace commutil
