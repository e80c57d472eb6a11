#pragma once

#include <cstdio>
#include <functional>
#include <optional>
#include <string>

namespace commutil_fuzz {

/// While one exists, the library's shell commands do not run: it supplies their output through the
/// program's own popen(3) and pclose(3), which the linker finds before the C library's.
class FakeShell {
 public:
  /// Returns what a command prints; nothing if it cannot be started.
  using Answer = std::function<std::optional<std::string>(const std::string& command)>;

  explicit FakeShell(Answer answer);
  ~FakeShell();
  FakeShell(const FakeShell&) = delete;
  FakeShell& operator=(const FakeShell&) = delete;

  std::FILE* open(const std::string& command);
  int close(std::FILE* stream);
  /// Returns the number of streams that are not closed yet.
  int openStreams() const { return m_open; }

 private:
  Answer m_answer;
  int m_open = 0;
};

}  // namespace commutil_fuzz
