#pragma once

#include <sys/types.h>

#include <string>

namespace commutil_test {

/// Another process that holds a `VexaProcessLock`. Ends with the object at the latest.
class LockHolder {
 public:
  /// Starts the process and waits for its result.
  LockHolder(const std::string& name, const std::string& directory);
  ~LockHolder();
  LockHolder(const LockHolder&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;

  /// Returns the result of `EnterProcessMutex` there.
  int entered() const { return m_entered; }
  /// Makes the process call `ExitProcessMutex`; returns its result.
  int exitMutex();
  /// Ends the process without that: by _exit, or by SIGKILL.
  void leave();
  void kill();

 private:
  void serve(const std::string& name, const std::string& directory);
  void reap();

  pid_t m_child = -1;
  int m_socket = -1;
  int m_entered = 0;
};

/// Returns the result of `EnterProcessMutex` in another process, which ends at once.
int enterElsewhere(const std::string& name, const std::string& directory);

}  // namespace commutil_test
