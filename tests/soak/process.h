#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace commutil_soak {

/// A child that works in rounds.
class Process {
 public:
  using Round = std::function<void(int index)>;

  /// Starts a child that calls `make` and then its result for each round.
  Process(std::string name, const std::function<Round()>& make);
  /// Kills the child if it still runs.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// Starts a round.
  void start(int index) const;
  /// Waits for the end of the round; returns false if the child has ended, or after `patience`.
  bool await(std::chrono::seconds patience) const;
  /// Lets the child end, and returns how it ended if that was not with the exit code 0.
  std::optional<std::string> end(std::chrono::seconds patience);

 private:
  [[noreturn]] static void serve(int socket, const std::function<Round()>& make);

  std::string m_name;
  pid_t m_child = -1;
  int m_socket = -1;
};

}  // namespace commutil_soak
