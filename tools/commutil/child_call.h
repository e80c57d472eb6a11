#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

// Calls that may hang, each in a separate child, which is killed at its deadline.

/// The outcome of a call.
struct CallResult {
  std::string bytes;  ///< what the call returned
  std::string fault;  ///< why there is no result: "no answer within 2 s"; "" if there is one
};

/// Runs calls concurrently. Not thread-safe.
class ChildCalls {
 public:
  explicit ChildCalls(std::chrono::milliseconds deadline);
  ~ChildCalls();
  ChildCalls(const ChildCalls&) = delete;
  ChildCalls& operator=(const ChildCalls&) = delete;

  /// Starts `body` in a child. `name` is for the progress line. The child's own output is
  /// discarded; an exception ends it without a result.
  void start(std::string name, const std::function<std::string()>& body,
             std::function<void(CallResult)> done);

  /// How often a call's deadline is extended, each time by the same time again, because the call
  /// waits for a processor: on a busy host it does not hang then.
  static constexpr int kExtensions = 4;

  /// Waits for all calls, each until its deadline, and passes on their results. After a second,
  /// writes a progress line to standard error if it is a terminal.
  void finish();

 private:
  struct Call;

  void receive(Call& call);
  bool extend(Call& call) const;
  void expire(Call& call);
  void close(Call& call, CallResult result);
  int untilNextDeadline() const;
  void showProgress();
  void clearProgress();

  std::chrono::milliseconds m_deadline;
  std::chrono::steady_clock::time_point m_begin;
  std::vector<Call> m_calls;
  bool m_progress = false;
};
