#pragma once

#include <cstdio>

namespace commutil {

/// Holds a stdio handle's own lock for a scope, so that a loop of unlocked calls costs one locking.
class HandleLock {
 public:
  explicit HandleLock(std::FILE* file) : m_file(file) { ::flockfile(file); }
  ~HandleLock() { ::funlockfile(m_file); }
  HandleLock(const HandleLock&) = delete;
  HandleLock& operator=(const HandleLock&) = delete;

 private:
  std::FILE* m_file;
};

}  // namespace commutil
