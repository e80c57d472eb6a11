#pragma once

#include <sys/single_threaded.h>

#include <cstdio>

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace commutil {

/// Holds a stdio handle's own lock for a scope, so that a loop of unlocked calls locks only once,
/// and not at all while the process has a single thread.
class HandleLock {
 public:
  explicit HandleLock(std::FILE* file) : m_file(__libc_single_threaded != 0 ? nullptr : file) {
    if (m_file == nullptr) return;
    ::flockfile(m_file);
#ifdef __SANITIZE_THREAD__  // it does not know this lock
    ::__tsan_acquire(m_file);
#endif
  }
  ~HandleLock() {
    if (m_file == nullptr) return;
#ifdef __SANITIZE_THREAD__
    ::__tsan_release(m_file);
#endif
    ::funlockfile(m_file);
  }
  HandleLock(const HandleLock&) = delete;
  HandleLock& operator=(const HandleLock&) = delete;

 private:
  std::FILE* const m_file;
};

}  // namespace commutil
