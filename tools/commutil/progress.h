#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

/// While it lives: says after a second, and each second from then on, what the command is doing.
/// A line on standard error, only if that is a terminal. One at a time.
class Progress {
 public:
  explicit Progress(std::string what);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Says from now on that the command is doing something else.
  void update(const std::string& what);

  /// Removes the line, if there is one, before other output.
  static void hide();

 private:
  void run();
  void show();

  std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
  std::mutex m_mutex;  // guards what follows
  std::condition_variable m_changed;
  std::string m_what;
  bool m_isEnding = false;
  bool m_isShown = false;
  std::thread m_thread;  // last: it uses the others
};
