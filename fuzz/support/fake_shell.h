#pragma once

#include <cstdio>
#include <functional>
#include <optional>
#include <string>

namespace commutil_fuzz {

/// While one exists, no command that the library hands to a shell runs: this answers in its place,
/// by the program's own popen(3) and pclose(3), which stand before the C library's.
class FakeShell {
 public:
  /// What a command prints; none when it cannot be started.
  using Answer = std::function<std::optional<std::string>(const std::string& command)>;

  explicit FakeShell(Answer answer);
  ~FakeShell();
  FakeShell(const FakeShell&) = delete;
  FakeShell& operator=(const FakeShell&) = delete;

  std::FILE* open(const std::string& command);
  int close(std::FILE* stream);
  /// The number of streams that were not closed yet.
  int openStreams() const { return m_open; }

 private:
  Answer m_answer;
  int m_open = 0;
};

}  // namespace commutil_fuzz
