#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

/// During its lifetime, shows every second what the command is doing, in a line on standard error,
/// if that is a terminal. One at a time.
class Progress {
 public:
  explicit Progress(std::string what);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Changes what is shown.
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
