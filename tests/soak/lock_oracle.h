#pragma once

#include <pthread.h>

#include <cerrno>

namespace commutil_soak {

/// Detects that two processes hold one lock at the same time. Lives in shared memory.
///
/// A holder locks a robust mutex after it gets the lock, and unlocks it before it gives the lock
/// up. When a process dies, the kernel marks its mutexes before it releases its record locks: the
/// next holder finds the mutex free or marked, never locked.
class LockOracle {
 public:
  enum class Entry { alone, afterDeath, second };

  LockOracle() {
    pthread_mutexattr_t attributes;
    ::pthread_mutexattr_init(&attributes);
    ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    ::pthread_mutex_init(&m_holder, &attributes);
    ::pthread_mutexattr_destroy(&attributes);
  }

  /// Returns what the caller, which has just got the lock, finds; after `second` it must not leave.
  Entry enter() {
    switch (::pthread_mutex_trylock(&m_holder)) {
      case 0:
        return Entry::alone;
      case EOWNERDEAD:
        ::pthread_mutex_consistent(&m_holder);
        return Entry::afterDeath;
      default:
        return Entry::second;
    }
  }
  void leave() { ::pthread_mutex_unlock(&m_holder); }

 private:
  pthread_mutex_t m_holder{};
};

}  // namespace commutil_soak
