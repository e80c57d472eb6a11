#pragma once

#include <sys/single_threaded.h>

#include <cstdio>

namespace commutil {

/// Holds a stdio handle's own lock for a scope, so that a loop of unlocked calls costs one locking:
/// none while the process has a single thread.
class HandleLock {
 public:
  explicit HandleLock(std::FILE* file) : m_file(__libc_single_threaded != 0 ? nullptr : file) {
    if (m_file != nullptr) ::flockfile(m_file);
  }
  ~HandleLock() {
    if (m_file != nullptr) ::funlockfile(m_file);
  }
  HandleLock(const HandleLock&) = delete;
  HandleLock& operator=(const HandleLock&) = delete;

 private:
  std::FILE* const m_file;
};

}  // namespace commutil
