#pragma once

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <initializer_list>
#include <thread>

namespace commutil_test {

/// Runs `body` in `count` threads that start together, each with its number from 0, and waits for
/// them.
void inThreads(int count, const std::function<void(int)>& body);

/// Waits until `thread` of this process sleeps for a lock and keeps sleeping.
void awaitLockWait(pid_t thread);

/// Waits until `thread` of this process stays inside one of the system calls `numbers` (SYS_write,
/// ...) or has ended.
void awaitSystemCall(pid_t thread, std::initializer_list<long> numbers);

/// A thread whose system calls can be watched. The destructor joins it.
class WatchedThread {
 public:
  explicit WatchedThread(const std::function<void()>& body);
  ~WatchedThread();
  WatchedThread(const WatchedThread&) = delete;
  WatchedThread& operator=(const WatchedThread&) = delete;

  /// Waits until the thread stays inside one of the system calls `numbers` or has ended.
  void await(std::initializer_list<long> numbers) const { awaitSystemCall(m_id, numbers); }
  void join();
  /// Sends the thread a signal (pthread_kill(3)).
  void signal(int number);
  /// Cancels the thread (pthread_cancel(3)) and joins it.
  void cancel();

 private:
  std::atomic<pid_t> m_id{0};
  std::thread m_thread;
};

}  // namespace commutil_test
